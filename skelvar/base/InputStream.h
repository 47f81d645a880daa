#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>
#include <skelvar/base/KvfVersion.h>
#include <skelvar/base/ValueTypes.h>

#include <string>

namespace Skelvar {

/// The stream through which every persistent class reads; the mirror of `OutputStream`. Each read
/// gives true if the whole value came; else false, and the stream stays failed. Never throws. One
/// thread at a time.
///
/// Bytes may be hostile: a count that was read is held against `length()` before memory is taken
/// for it.
class SKELVAR_API InputStream {
public:
    virtual bool read(float& out_value) = 0;
    virtual bool read(double& out_value) = 0;
    virtual bool read(unsigned short& out_value) = 0;
    virtual bool read(unsigned int& out_value) = 0;
    virtual bool read(unsigned long long& out_value) = 0;
    virtual bool read(int& out_value) = 0;
    virtual bool read(long long& out_value) = 0;
    virtual bool read(unsigned char& out_value) = 0;
    virtual bool read(signed char& out_value) = 0;
    virtual bool read(bool& out_value) = 0;
    /// On a short read the string is empty.
    virtual bool read(std::string& out_text) = 0;
    /// `in_count` bytes as they stand. A count of 0 is true and does not touch the stream.
    virtual bool readbytes(unsigned long in_count, char* out_bytes) = 0;
    /// Bytes left from the current position to the end. 0 on a failed stream.
    virtual unsigned long length() = 0;
    virtual bool read(vec2f& out_value) = 0;
    virtual bool read(vec3f& out_value) = 0;
    virtual bool read(vec4f& out_value) = 0;
    virtual bool read(vec2i& out_value) = 0;
    virtual bool read(vec3i& out_value) = 0;
    virtual bool read(vec4i& out_value) = 0;
    virtual bool read(mat4f& out_value) = 0;

    /// As in `OutputStream`.
    virtual CompressionQuality quality() const = 0;
    virtual KvfVersion version() const = 0;
    virtual unsigned long long userdata() const = 0;
    virtual void userdata(unsigned long long in_value) = 0;

protected:
    ~InputStream() = default;
};

}  // namespace Skelvar
