#pragma once

#include <orvel/Api.h>

#include <iosfwd>
#include <map>
#include <set>
#include <string>

namespace orvel::compute {

/// The runtime's abstract output stream. Numbers go big-endian, `float` and `double` as their bit
/// patterns, `bool` and the one-byte types as one byte; a string as its byte count (unsigned 32)
/// and the bytes. Each write gives true while the stream is good; a failed stream stays failed.
/// The id operations let a shared object be written once: its first writer follows the id with the
/// object, later ones write the id alone. Never throws. One thread at a time.
class ORVEL_API IOutputStream {
public:
    virtual ~IOutputStream() = default;

    virtual bool hasWrittenID(unsigned long long in_id) const = 0;
    /// Writes the id and notes it. `out_is_new`: it was not written before.
    virtual bool writeID(unsigned long long in_id, bool& out_is_new) = 0;
    /// Advice to the stream about what follows. A stream is free to ignore it.
    virtual void hint(unsigned long long in_hint) = 0;

    virtual bool write(float in_value) = 0;
    virtual bool write(double in_value) = 0;
    virtual bool write(unsigned int in_value) = 0;
    virtual bool write(unsigned long long in_value) = 0;
    virtual bool write(int in_value) = 0;
    virtual bool write(long long in_value) = 0;
    virtual bool write(signed char in_value) = 0;
    virtual bool write(unsigned char in_value) = 0;
    virtual bool write(bool in_value) = 0;
    /// False, and the stream fails, for a text of 4 GiB or more.
    virtual bool write(const std::string& in_text) = 0;
    /// `in_count` bytes as they stand.
    virtual bool writebytes(unsigned long in_count, const char* in_bytes) = 0;
    virtual bool write(unsigned short in_value) = 0;
    virtual bool write(short in_value) = 0;
};

/// The runtime's abstract input stream; the mirror of `IOutputStream`. Each read gives true if the
/// whole value came; else false, the value is 0, false or empty, and the stream stays failed. Never
/// throws. One thread at a time.
class ORVEL_API IInputStream {
public:
    virtual ~IInputStream() = default;

    /// Reads an id. `out_is_new`: it was not read before; its object follows.
    virtual bool readID(unsigned long long& out_id, bool& out_is_new) = 0;
    /// Keeps a pointer for the id. The stream does not own what it points at.
    virtual void associateMetaDataToID(unsigned long long in_id, void* in_data) = 0;
    /// The pointer kept for the id; null if there is none.
    virtual void* getIDMetaData(unsigned long long in_id) const = 0;

    virtual bool read(float& out_value) = 0;
    virtual bool read(double& out_value) = 0;
    virtual bool read(unsigned int& out_value) = 0;
    virtual bool read(unsigned long long& out_value) = 0;
    virtual bool read(int& out_value) = 0;
    virtual bool read(long long& out_value) = 0;
    virtual bool read(unsigned char& out_value) = 0;
    virtual bool read(signed char& out_value) = 0;
    virtual bool read(bool& out_value) = 0;
    /// A byte count above 4096 is held against `length()` before memory is taken for it.
    virtual bool read(std::string& out_text) = 0;
    /// `in_count` bytes as they stand. A count of 0 is true and does not touch the stream.
    virtual bool readbytes(unsigned long in_count, char* out_bytes) = 0;
    /// Bytes left from the current position to the end, which does not move. 0 on a failed stream
    /// and on one that cannot seek.
    virtual unsigned long length() const = 0;
    virtual bool read(short& out_value) = 0;
    virtual bool read(unsigned short& out_value) = 0;
};

/// The set of written ids over a standard output stream, which is borrowed and may be exchanged.
class ORVEL_API CBaseOutStreamWrapper : public IOutputStream {
public:
    explicit CBaseOutStreamWrapper(std::ostream* in_stream = nullptr) : m_stream(in_stream) {}

    /// Points at another stream; null makes each write fail. The set of ids stays.
    void setStream(std::ostream* in_stream) { m_stream = in_stream; }
    std::ostream* stream() const { return m_stream; }

    using IOutputStream::write;

    bool hasWrittenID(unsigned long long in_id) const override;
    bool writeID(unsigned long long in_id, bool& out_is_new) override;
    void hint(unsigned long long in_hint) override;

protected:
    std::ostream* m_stream;

private:
    std::set<unsigned long long> m_written;
};

/// The map of read ids over a standard input stream, which is borrowed and may be exchanged.
class ORVEL_API CBaseInStreamWrapper : public IInputStream {
public:
    explicit CBaseInStreamWrapper(std::istream* in_stream = nullptr) : m_stream(in_stream) {}

    /// Points at another stream; null makes each read fail. The map of ids stays.
    void setStream(std::istream* in_stream) { m_stream = in_stream; }
    std::istream* stream() const { return m_stream; }

    using IInputStream::read;

    bool readID(unsigned long long& out_id, bool& out_is_new) override;
    void associateMetaDataToID(unsigned long long in_id, void* in_data) override;
    void* getIDMetaData(unsigned long long in_id) const override;

protected:
    std::istream* m_stream;

private:
    std::map<unsigned long long, void*> m_data;  ///< by id; the values are borrowed
};

/// Writes the primitives. Blocks of bytes go to the standard stream in one piece.
class ORVEL_API COutStreamWrapper : public CBaseOutStreamWrapper {
public:
    using CBaseOutStreamWrapper::CBaseOutStreamWrapper;

    bool write(float in_value) override;
    bool write(double in_value) override;
    bool write(unsigned int in_value) override;
    bool write(unsigned long long in_value) override;
    bool write(int in_value) override;
    bool write(long long in_value) override;
    bool write(signed char in_value) override;
    bool write(unsigned char in_value) override;
    bool write(bool in_value) override;
    bool write(const std::string& in_text) override;
    bool writebytes(unsigned long in_count, const char* in_bytes) override;
    bool write(unsigned short in_value) override;
    bool write(short in_value) override;

    /// As a string of its `strlen` bytes; without this a literal would be written as a bool.
    bool write(const char* in_text);
};

/// Reads the primitives. Blocks of bytes come from the standard stream in one piece.
class ORVEL_API CInStreamWrapper : public CBaseInStreamWrapper {
public:
    using CBaseInStreamWrapper::CBaseInStreamWrapper;

    bool read(float& out_value) override;
    bool read(double& out_value) override;
    bool read(unsigned int& out_value) override;
    bool read(unsigned long long& out_value) override;
    bool read(int& out_value) override;
    bool read(long long& out_value) override;
    bool read(unsigned char& out_value) override;
    bool read(signed char& out_value) override;
    bool read(bool& out_value) override;
    bool read(std::string& out_text) override;
    bool readbytes(unsigned long in_count, char* out_bytes) override;
    unsigned long length() const override;
    bool read(short& out_value) override;
    bool read(unsigned short& out_value) override;
};

}  // namespace orvel::compute
