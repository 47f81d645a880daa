#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/ValueMap.h>
#include <skelvar/base/ValueTypes.h>

#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Skelvar {

class StreamReader;
class StreamWriter;

namespace Detail {

template <typename... T>
struct DictionaryTypeList {
    static constexpr int kCount = sizeof...(T);

    /// Place of `U` in the list; `kCount` if it is not there.
    template <typename U>
    static constexpr int find()
    {
        int place = 0;
        (void)((std::is_same_v<T, U> || (++place, false)) || ...);
        return place;
    }
    template <int... Tag>
    static std::tuple<ValueMap<T, Tag, std::string, StreamWriter, StreamReader>...> mapsFor(
        std::integer_sequence<int, Tag...>);

    /// One map for each type, with its place as its tag.
    using Maps = decltype(mapsFor(std::make_integer_sequence<int, kCount>()));
};

template <typename Nothing, typename... T>
using DictionaryTypesAfter = DictionaryTypeList<T...>;

#define SKELVAR_COMMA_TYPE(T) , T
using DictionaryTypes = DictionaryTypesAfter<void SKELVAR_FOR_DICTIONARY_TYPES(SKELVAR_COMMA_TYPE)>;
#undef SKELVAR_COMMA_TYPE

}  // namespace Detail

/// A type that a dictionary holds: float, bool, the integers from 8 to 64 bits, `std::string`,
/// vectors of two to four floats and two or three ints, the 4 by 4 matrix.
template <typename T>
concept DictionaryValue = Detail::DictionaryTypes::find<T>()
< Detail::DictionaryTypes::kCount;

/// A store of typed values by key; a key has one value, of one type. Saves itself to a string of
/// bytes. Copies are deep. Without a lock: the owner serialises.
class SKELVAR_API Dictionary {
public:
    Dictionary();
    Dictionary(const Dictionary& in_other);
    Dictionary& operator=(const Dictionary& in_other);
    virtual ~Dictionary();

    /// No keys.
    void clear();

    /// Whether the key has a value, of whatever type.
    bool hasValue(const std::string& in_key) const;

    /// Gives a new key its value. False, and nothing changes, if the key has one already, of
    /// whatever type: the first value wins until `removeValue`.
    template <DictionaryValue T>
    bool setValue(const std::string& in_key, const T& in_value);
    /// Stores a `std::string`.
    bool setValue(const std::string& in_key, const char* in_text);

    /// False, and `out_value` stays as it was, if the key has no value of this very type.
    template <DictionaryValue T>
    bool getValue(const std::string& in_key, T& out_value) const;

    /// Whether there was a value to remove.
    bool removeValue(const std::string& in_key);

    /// The byte form, of the version `kVersionWritten`: a magic word, the version (unsigned 16),
    /// the maps in the order of their tags. Empty if writing fails.
    std::string save() const;

    /// Adds the values of a byte form; a key that is already there gets the new value, and its type
    /// with it. False for damaged bytes and for a later version, and then nothing changes. Before
    /// version 3 the bytes may end behind any map.
    bool load(const std::string& in_bytes);

private:
    template <typename T>
    static constexpr int kTagOf = Detail::DictionaryTypes::find<T>();

    Detail::DictionaryTypes::Maps m_maps;
    std::map<std::string, int> m_types;  ///< tag of each key; it stands in the map of that tag only
};

#define SKELVAR_EXTERN(T)                                                                \
    extern template SKELVAR_API bool Dictionary::setValue(const std::string&, const T&); \
    extern template SKELVAR_API bool Dictionary::getValue(const std::string&, T&) const;
SKELVAR_FOR_DICTIONARY_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Skelvar
