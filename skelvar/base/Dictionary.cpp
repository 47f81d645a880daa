#include <skelvar/base/Dictionary.h>

#include <skelvar/base/StreamReader.h>
#include <skelvar/base/StreamWriter.h>

namespace Skelvar {

namespace {

constexpr unsigned int kMagic = 0xFFAAAAFF;
constexpr unsigned short kVersionWritten = 3;      ///< the first with all maps
constexpr unsigned short kVersionWithAllMaps = 3;  ///< earlier bytes may end behind any map

template <typename T>
bool writeValue(StreamWriter& io_writer, const T& in_value)
{
    return io_writer.write(in_value);
}

template <int N, typename T>
bool writeValue(StreamWriter& io_writer, const orvel::Math::vec<N, T>& in_value)
{
    bool ok = true;
    for (int axis = 0; axis < N; ++axis) {
        ok = ok && io_writer.write(in_value[axis]);
    }
    return ok;
}

bool writeValue(StreamWriter& io_writer, const mat4f& in_value)
{
    return io_writer.writebytes(sizeof(in_value), reinterpret_cast<const char*>(&in_value));
}

template <typename T>
bool readValue(StreamReader& io_reader, T& out_value)
{
    return io_reader.read(out_value);
}

template <int N, typename T>
bool readValue(StreamReader& io_reader, orvel::Math::vec<N, T>& out_value)
{
    bool ok = true;
    for (int axis = 0; axis < N; ++axis) {
        ok = ok && io_reader.read(out_value[axis]);
    }
    return ok;
}

bool readValue(StreamReader& io_reader, mat4f& out_value)
{
    return io_reader.readbytes(sizeof(out_value), reinterpret_cast<char*>(&out_value));
}

}  // namespace

template <typename T, int Tag, typename Key, typename Writer, typename Reader>
bool ValueMap<T, Tag, Key, Writer, Reader>::save(Writer& io_writer) const
{
    bool ok = io_writer.write(static_cast<unsigned long long>(m_values.size()));
    for (const auto& [key, value] : m_values) {
        ok = ok && io_writer.write(key) && writeValue(io_writer, value);
    }
    return ok;
}

template <typename T, int Tag, typename Key, typename Writer, typename Reader>
bool ValueMap<T, Tag, Key, Writer, Reader>::load(Reader& io_reader)
{
    unsigned long long count = 0;
    if (!io_reader.read(count)) {
        return false;
    }
    for (unsigned long long n = 0; n < count; ++n) {
        Key key;
        T value{};
        if (!io_reader.read(key) || !readValue(io_reader, value)) {
            return false;
        }
        m_values.insert_or_assign(std::move(key), std::move(value));
    }
    return true;
}

Dictionary::Dictionary() = default;
Dictionary::Dictionary(const Dictionary& in_other) = default;
Dictionary& Dictionary::operator=(const Dictionary& in_other) = default;
Dictionary::~Dictionary() = default;

void Dictionary::clear()
{
    *this = Dictionary();
}

bool Dictionary::hasValue(const std::string& in_key) const
{
    return m_types.count(in_key) != 0;
}

template <DictionaryValue T>
bool Dictionary::setValue(const std::string& in_key, const T& in_value)
{
    if (!m_types.emplace(in_key, kTagOf<T>).second) {
        return false;
    }
    std::get<kTagOf<T>>(m_maps).values()[in_key] = in_value;
    return true;
}

bool Dictionary::setValue(const std::string& in_key, const char* in_text)
{
    return setValue(in_key, std::string(in_text));
}

template <DictionaryValue T>
bool Dictionary::getValue(const std::string& in_key, T& out_value) const
{
    const auto& values = std::get<kTagOf<T>>(m_maps).values();
    const auto found = values.find(in_key);
    if (found == values.end()) {
        return false;
    }
    out_value = found->second;
    return true;
}

bool Dictionary::removeValue(const std::string& in_key)
{
    const auto found = m_types.find(in_key);
    if (found == m_types.end()) {
        return false;
    }
    const int tag = found->second;
    std::size_t erased = 0;
    std::apply(
        [&](auto&... io_map) {
            ((io_map.kTag == tag ? void(erased = io_map.values().erase(in_key)) : void()), ...);
        },
        m_maps);
    m_types.erase(found);
    return erased == 1;
}

std::string Dictionary::save() const
{
    StreamWriter writer;
    const bool ok =
        writer.write(kMagic) && writer.write(kVersionWritten) &&
        std::apply([&](const auto&... in_map) { return (in_map.save(writer) && ...); }, m_maps);
    return ok ? writer.bytes() : std::string();
}

bool Dictionary::load(const std::string& in_bytes)
{
    StreamReader reader(in_bytes);
    unsigned int magic = 0;
    unsigned short version = 0;
    if (!reader.read(magic) || magic != kMagic || !reader.read(version) ||
        version > kVersionWritten) {
        return false;
    }
    const auto may_end = [&] { return version < kVersionWithAllMaps && reader.length() == 0; };
    Detail::DictionaryTypes::Maps loaded;
    const bool ok = std::apply(
        [&](auto&... out_map) { return ((may_end() || out_map.load(reader)) && ...); }, loaded);
    if (!ok) {
        return false;
    }
    const auto adopt = [this](auto& io_loaded) {
        auto& values =
            std::get<std::remove_reference_t<decltype(io_loaded)>::kTag>(m_maps).values();
        while (!io_loaded.values().empty()) {
            auto entry = io_loaded.values().extract(io_loaded.values().begin());
            removeValue(entry.key());  // a key may arrive under another tag than it had
            m_types[entry.key()] = io_loaded.kTag;
            values.insert(std::move(entry));
        }
    };
    std::apply([&](auto&... io_loaded) { (adopt(io_loaded), ...); }, loaded);
    return true;
}

#define SKELVAR_INSTANTIATE(T)                                        \
    template bool Dictionary::setValue(const std::string&, const T&); \
    template bool Dictionary::getValue(const std::string&, T&) const;
SKELVAR_FOR_DICTIONARY_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
