#pragma once

#include <map>

namespace Skelvar {

/// The values of one type of a `Dictionary`, by key. `Tag` is the type's number in the byte form:
/// the entry count (unsigned 64), then key and value of each entry in key order.
template <typename T, int Tag, typename Key, typename Writer, typename Reader>
class ValueMap {
public:
    using Map = std::map<Key, T>;

    static constexpr int kTag = Tag;

    Map& values() { return m_values; }
    const Map& values() const { return m_values; }

    /// False as soon as a write fails.
    bool save(Writer& io_writer) const;

    /// Adds the entries read; a key already there has its value replaced. Stops with false at the
    /// first entry that does not come whole. The count is only a bound of the loop: memory follows
    /// the bytes that are there.
    bool load(Reader& io_reader);

private:
    Map m_values;
};

}  // namespace Skelvar
