#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>
#include <skelvar/base/KvfVersion.h>
#include <skelvar/base/ValueTypes.h>

#include <string>

namespace Skelvar {

/// The stream through which every persistent class writes. It hides where the bytes go and fixes
/// their form: numbers big-endian, `float` and `double` as their bit patterns; a string as its byte
/// count (unsigned 32) and the bytes, without a terminator; a vec component after component; a
/// matrix as its raw memory. Each write gives true while the stream is good; a failed stream stays
/// failed, and callers may go on writing. Never throws. One thread at a time.
///
/// 64-bit values are `long long` and `unsigned long long`: other 64-bit types are ambiguous here
/// and are cast by the caller.
class SKELVAR_API OutputStream {
public:
    virtual bool write(float in_value) = 0;
    virtual bool write(double in_value) = 0;
    virtual bool write(unsigned short in_value) = 0;
    virtual bool write(unsigned int in_value) = 0;
    virtual bool write(unsigned long long in_value) = 0;
    virtual bool write(int in_value) = 0;
    virtual bool write(long long in_value) = 0;
    virtual bool write(signed char in_value) = 0;
    virtual bool write(unsigned char in_value) = 0;
    virtual bool write(const std::string& in_text) = 0;
    /// As a string of its `strlen` bytes.
    virtual bool write(const char* in_text) = 0;
    virtual bool write(bool in_value) = 0;
    /// `in_count` bytes as they stand.
    virtual bool writebytes(unsigned long in_count, const char* in_bytes) = 0;
    virtual bool write(const vec2f& in_value) = 0;
    virtual bool write(const vec3f& in_value) = 0;
    virtual bool write(const vec4f& in_value) = 0;
    virtual bool write(const vec2i& in_value) = 0;
    virtual bool write(const vec3i& in_value) = 0;
    virtual bool write(const vec4i& in_value) = 0;
    virtual bool write(const mat4f& in_value) = 0;

    /// The encoding that payloads take. 0 at the start.
    virtual CompressionQuality quality() const = 0;
    /// Version of the file format that the stream carries. 4 at the start.
    virtual KvfVersion version() const = 0;
    /// A free word through which a class tells its parts how to read or write. 0 at the start.
    virtual unsigned long long userdata() const = 0;
    virtual void userdata(unsigned long long in_value) = 0;

protected:
    ~OutputStream() = default;
};

}  // namespace Skelvar
