#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/NameSuffixCompare.h>

#include <set>
#include <string>

namespace Skelvar {

class InputStream;
class OutputStream;

namespace NS {

/// A set of names that are unique under the order of `NameSuffixCompare`. Not guarded. A name whose
/// trailing number does not fit an `int` may throw `std::out_of_range` out of any operation.
class SKELVAR_API NamespaceContainer {
public:
    using Names = std::set<std::string, NameSuffixCompare>;

    virtual ~NamespaceContainer() = default;

    virtual bool save(OutputStream& io_stream) const;
    /// Adds the stored names to those that are here: a name that is taken is made unique. False on
    /// bytes that `save` does not write, and then nothing changes.
    virtual bool load(InputStream& io_stream);
    /// One string for each name, between two true booleans.
    virtual bool dump(OutputStream& io_stream) const;

    /// Enters `in_name`, made unique, and gives the name as entered.
    const std::string& addName(const std::string& in_name);
    /// True if there was such a name.
    bool removeName(const std::string& in_name);
    /// Takes `in_old` out and adds `in_new`. The empty string if there is no `in_old`.
    const std::string& updateName(const std::string& in_old, const std::string& in_new);
    bool hasName(const std::string& in_name) const;
    void clear() { m_names.clear(); }
    Names::const_iterator cbegin() const { return m_names.cbegin(); }
    Names::const_iterator cend() const { return m_names.cend(); }

private:
    Names m_names;
};

}  // namespace NS
}  // namespace Skelvar
