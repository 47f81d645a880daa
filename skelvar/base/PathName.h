#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar::NS {

/// What stands between the parts of a path of the store: `object.shape.channel`. Read at each use.
SKELVAR_API char& pathSeparator();

/// The two parts with the path separator between them. An empty left part gives the right part
/// alone; an empty right part empties the whole: a child without a name has no path.
SKELVAR_API std::string join(const std::string& in_left, const std::string& in_right);

/// What has a place in the store's paths.
class SKELVAR_API PathName {
public:
    /// The key under which the store holds the thing: its path without the object.
    virtual std::string partialPathName() const = 0;
    /// The path from the object down.
    virtual std::string fullPathName() const = 0;
    /// The key that a child of that name would get. Empty for what has no children.
    virtual std::string makePartialPathName(const std::string& in_child) const = 0;

protected:
    ~PathName() = default;
};

}  // namespace Skelvar::NS
