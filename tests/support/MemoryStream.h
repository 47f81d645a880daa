#pragma once

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

// Streams over a string of bytes, written apart from the library's own: what they give is the
// stated form of each value, and they fail where a test wants them to.
namespace Skelvar::Test {

/// What both directions carry beside the bytes.
template <typename Base>
class StreamWords : public Base {
public:
    CompressionQuality quality() const override { return m_quality; }
    KvfVersion version() const override { return m_version; }
    unsigned long long userdata() const override { return m_userdata; }
    void userdata(unsigned long long in_value) override { m_userdata = in_value; }

    void setQuality(int in_quality) { m_quality = static_cast<CompressionQuality>(in_quality); }
    void setVersion(int in_version) { m_version = static_cast<KvfVersion>(in_version); }

private:
    CompressionQuality m_quality = eQualityPlain;
    KvfVersion m_version = kKvfVersion4;
    unsigned long long m_userdata = 0;
};

/// Collects what is written; fails for good at the write that would exceed `in_room` bytes.
class MemoryWriter final : public StreamWords<OutputStream> {
public:
    explicit MemoryWriter(unsigned long in_room = ~0UL) : m_room(in_room) {}

    const std::string& bytes() const { return m_bytes; }

    bool write(float in_value) override { return number(std::bit_cast<unsigned int>(in_value), 4); }
    bool write(double in_value) override
    {
        return number(std::bit_cast<unsigned long long>(in_value), 8);
    }
    bool write(unsigned short in_value) override { return number(in_value, 2); }
    bool write(unsigned int in_value) override { return number(in_value, 4); }
    bool write(unsigned long long in_value) override { return number(in_value, 8); }
    bool write(int in_value) override { return number(static_cast<unsigned int>(in_value), 4); }
    bool write(long long in_value) override
    {
        return number(static_cast<unsigned long long>(in_value), 8);
    }
    bool write(signed char in_value) override
    {
        return number(static_cast<unsigned char>(in_value), 1);
    }
    bool write(unsigned char in_value) override { return number(in_value, 1); }
    bool write(const std::string& in_text) override
    {
        const bool ok = write(static_cast<unsigned int>(in_text.size()));
        return writebytes(in_text.size(), in_text.data()) && ok;
    }
    bool write(const char* in_text) override { return write(std::string(in_text)); }
    bool write(bool in_value) override { return number(in_value ? 1 : 0, 1); }
    bool writebytes(unsigned long in_count, const char* in_bytes) override
    {
        m_good = m_good && in_count <= m_room - m_bytes.size();
        if (m_good) {
            m_bytes.append(in_bytes, in_count);
        }
        return m_good;
    }
    bool write(const vec2f& in_value) override { return components(in_value); }
    bool write(const vec3f& in_value) override { return components(in_value); }
    bool write(const vec4f& in_value) override { return components(in_value); }
    bool write(const vec2i& in_value) override { return components(in_value); }
    bool write(const vec3i& in_value) override { return components(in_value); }
    bool write(const vec4i& in_value) override { return components(in_value); }
    bool write(const mat4f& in_value) override
    {
        return writebytes(sizeof(in_value), reinterpret_cast<const char*>(&in_value));
    }

private:
    bool number(unsigned long long in_value, int in_bytes)
    {
        char bytes[8];
        for (int n = 0; n < in_bytes; ++n) {
            bytes[n] = static_cast<char>(in_value >> (8 * (in_bytes - 1 - n)));
        }
        return writebytes(in_bytes, bytes);
    }
    template <typename Vec>
    bool components(const Vec& in_value)
    {
        bool ok = true;
        for (int a = 0; a < Vec::kSize; ++a) {
            ok = write(in_value[a]) && ok;
        }
        return ok;
    }

    std::string m_bytes;
    unsigned long m_room;
    bool m_good = true;
};

/// Reads from a string of bytes. A read beyond the end fails, and all reads after it.
class MemoryReader final : public StreamWords<InputStream> {
public:
    explicit MemoryReader(std::string in_bytes) : m_bytes(std::move(in_bytes)) {}

    bool atEnd() const { return m_good && m_position == m_bytes.size(); }

    bool read(float& out_value) override { return bits<unsigned int>(out_value); }
    bool read(double& out_value) override { return bits<unsigned long long>(out_value); }
    bool read(unsigned short& out_value) override { return number(out_value); }
    bool read(unsigned int& out_value) override { return number(out_value); }
    bool read(unsigned long long& out_value) override { return number(out_value); }
    bool read(int& out_value) override { return number(out_value); }
    bool read(long long& out_value) override { return number(out_value); }
    bool read(unsigned char& out_value) override { return number(out_value); }
    bool read(signed char& out_value) override { return number(out_value); }
    bool read(bool& out_value) override
    {
        unsigned char value = 0;
        const bool ok = number(value);
        out_value = value != 0;
        return ok;
    }
    bool read(std::string& out_text) override
    {
        out_text.clear();
        unsigned int count = 0;
        m_good = read(count) && count <= length();
        if (m_good) {
            out_text = m_bytes.substr(m_position, count);
            m_position += count;
        }
        return m_good;
    }
    bool readbytes(unsigned long in_count, char* out_bytes) override
    {
        if (in_count == 0) {
            return true;
        }
        m_good = m_good && in_count <= m_bytes.size() - m_position;
        if (m_good) {
            std::memcpy(out_bytes, m_bytes.data() + m_position, in_count);
            m_position += in_count;
        }
        return m_good;
    }
    unsigned long length() override { return m_good ? m_bytes.size() - m_position : 0; }
    bool read(vec2f& out_value) override { return components(out_value); }
    bool read(vec3f& out_value) override { return components(out_value); }
    bool read(vec4f& out_value) override { return components(out_value); }
    bool read(vec2i& out_value) override { return components(out_value); }
    bool read(vec3i& out_value) override { return components(out_value); }
    bool read(vec4i& out_value) override { return components(out_value); }
    bool read(mat4f& out_value) override
    {
        return readbytes(sizeof(out_value), reinterpret_cast<char*>(&out_value));
    }

private:
    template <typename T>
    bool number(T& out_value)
    {
        unsigned char bytes[sizeof(T)] = {};
        if (!readbytes(sizeof(T), reinterpret_cast<char*>(bytes))) {
            return false;
        }
        unsigned long long value = 0;
        for (const unsigned char byte : bytes) {
            value = value << 8 | byte;
        }
        out_value = static_cast<T>(value);
        return true;
    }
    template <typename Bits, typename T>
    bool bits(T& out_value)
    {
        Bits value{};
        const bool ok = number(value);
        if (ok) {
            out_value = std::bit_cast<T>(value);
        }
        return ok;
    }
    template <typename Vec>
    bool components(Vec& out_value)
    {
        bool ok = true;
        for (int a = 0; a < Vec::kSize; ++a) {
            ok = read(out_value[a]) && ok;
        }
        return ok;
    }

    std::string m_bytes;
    unsigned long m_position = 0;
    bool m_good = true;
};

}  // namespace Skelvar::Test
