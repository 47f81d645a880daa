#pragma once

#include <skelvar/base/OutputStream.h>

#include <ostream>
#include <string>

namespace Skelvar {

/// The stream through which items print themselves as text: each write is one line, the prefix and
/// the value in the default form of `std::ostream`. A vector or a matrix takes one line, each of
/// the bytes of `writebytes` its own. Borrows the stream. A write gives whether that is good.
class SKELVAR_API SkelvarAsciiWriter : public OutputStream {
public:
    explicit SkelvarAsciiWriter(std::ostream& io_stream, const std::string& in_prefix = {});

    bool write(float in_value) override;
    bool write(double in_value) override;
    bool write(unsigned short in_value) override;
    bool write(unsigned int in_value) override;
    bool write(unsigned long long in_value) override;
    bool write(int in_value) override;
    bool write(long long in_value) override;
    bool write(signed char in_value) override;
    bool write(unsigned char in_value) override;
    bool write(const std::string& in_text) override;
    bool write(const char* in_text) override;
    bool write(bool in_value) override;
    bool writebytes(unsigned long in_count, const char* in_bytes) override;
    bool write(const vec2f& in_value) override;
    bool write(const vec3f& in_value) override;
    bool write(const vec4f& in_value) override;
    bool write(const vec2i& in_value) override;
    bool write(const vec3i& in_value) override;
    bool write(const vec4i& in_value) override;
    /// Sixteen values, in the order in which they lie in memory.
    bool write(const mat4f& in_value) override;

    CompressionQuality quality() const override { return eQualityPlain; }
    KvfVersion version() const override { return kKvfVersion4; }
    /// Text carries no such word: 0, and setting it does nothing.
    unsigned long long userdata() const override { return 0; }
    void userdata(unsigned long long) override {}

private:
    template <typename T>
    bool line(const T& in_value);
    template <typename T>
    bool lineOf(const T* in_values, int in_count);

    std::ostream* m_stream;
    std::string m_prefix;
};

}  // namespace Skelvar
