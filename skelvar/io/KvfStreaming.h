#pragma once

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>

#include <orvel/Streams.h>

namespace Skelvar {
class ByteStreamBuf;
}

/// The streams that serve the library and the graph runtime at once: one stream of bytes with both
/// interfaces, so that values of either side follow each other in one file.
namespace Skelvar::KvfStreaming {

/// `OutputStream` over the runtime's wrapper of a standard stream, which is borrowed. One thread at
/// a time.
class SKELVAR_API StreamWriter : public OutputStream, public orvel::compute::COutStreamWrapper {
public:
    explicit StreamWriter(std::ostream* in_stream = nullptr) : COutStreamWrapper(in_stream) {}

    bool write(float in_value) override;
    bool write(double in_value) override;
    bool write(unsigned short in_value) override;
    bool write(short in_value) override;
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
    bool write(const mat4f& in_value) override;

    CompressionQuality quality() const override { return m_quality; }
    KvfVersion version() const override { return m_version; }
    unsigned long long userdata() const override { return m_userdata; }
    void userdata(unsigned long long in_value) override { m_userdata = in_value; }

    void setQuality(CompressionQuality in_quality) { m_quality = in_quality; }
    void setVersion(KvfVersion in_version) { m_version = in_version; }

private:
    CompressionQuality m_quality = eQualityPlain;
    KvfVersion m_version = kKvfVersion4;
    unsigned long long m_userdata = 0;
};

/// `InputStream` over the runtime's wrapper of a standard stream, which is borrowed. Over a
/// `ByteStreamBuf` small reads come straight from its memory. One thread at a time.
class SKELVAR_API StreamReader : public InputStream, public orvel::compute::CInStreamWrapper {
public:
    explicit StreamReader(std::istream* in_stream = nullptr) { setStream(in_stream); }

    /// Points at another stream; null makes each read fail.
    void setStream(std::istream* in_stream);

    /// The buffer below, for bulk readers that decode in place; null if the stream has failed or
    /// stands on another kind of buffer. Whoever finds bytes missing there calls `fail`.
    ByteStreamBuf* bytes() const;
    /// Puts the stream into its failed state. Always false.
    bool fail();

    bool read(float& out_value) override;
    bool read(double& out_value) override;
    bool read(unsigned short& out_value) override;
    bool read(short& out_value) override;
    bool read(unsigned int& out_value) override;
    bool read(unsigned long long& out_value) override;
    bool read(int& out_value) override;
    bool read(long long& out_value) override;
    bool read(unsigned char& out_value) override;
    bool read(signed char& out_value) override;
    bool read(bool& out_value) override;
    bool read(std::string& out_text) override;
    bool readbytes(unsigned long in_count, char* out_bytes) override;
    unsigned long length() override;
    unsigned long length() const override;
    bool read(vec2f& out_value) override;
    bool read(vec3f& out_value) override;
    bool read(vec4f& out_value) override;
    bool read(vec2i& out_value) override;
    bool read(vec3i& out_value) override;
    bool read(vec4i& out_value) override;
    bool read(mat4f& out_value) override;

    CompressionQuality quality() const override { return m_quality; }
    KvfVersion version() const override { return m_version; }
    unsigned long long userdata() const override { return m_userdata; }
    void userdata(unsigned long long in_value) override { m_userdata = in_value; }

    void setQuality(CompressionQuality in_quality) { m_quality = in_quality; }
    void setVersion(KvfVersion in_version) { m_version = in_version; }

private:
    ByteStreamBuf* m_bytes = nullptr;  ///< the stream's buffer, if it is of that kind
    CompressionQuality m_quality = eQualityPlain;
    KvfVersion m_version = kKvfVersion4;
    unsigned long long m_userdata = 0;
};

}  // namespace Skelvar::KvfStreaming
