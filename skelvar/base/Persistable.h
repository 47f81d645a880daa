#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar {

class InputStream;
class OutputStream;

/// What writes itself to a stream and reads itself back. All three give the logical and of the
/// stream operations.
class SKELVAR_API Persistable {
public:
    virtual bool save(OutputStream& io_stream) const = 0;
    /// Reads what `save` wrote, and what older versions of it wrote. On false the item is as
    /// it was.
    virtual bool load(InputStream& io_stream) = 0;
    /// The contents as text for a person.
    virtual bool dump(OutputStream& io_stream) const = 0;

protected:
    ~Persistable() = default;
};

}  // namespace Skelvar
