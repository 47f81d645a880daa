#include <skelvar/particles/ParticleTile.h>

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/particles/BigEndian.h>

#include <algorithm>
#include <string>

namespace Skelvar {

namespace {

constexpr unsigned short kVersion2 = 2;
constexpr unsigned long kReadBatchBytes = 4096;

}  // namespace

template <typename T>
void ParticleTile<T>::resize(unsigned long in_size, const T& in_value)
{
    const unsigned long old_size = size();
    resizeForOverwrite(in_size);
    if (in_size > old_size) {
        std::fill(begin() + old_size, end(), in_value);
    }
}

template <typename T>
unsigned long long ParticleTile<T>::memUsage(MemUsage::Type in_type) const
{
    return sizeof(T) * (in_type == MemUsage::eMemAllocated ? capacity() : size());
}

template <typename T>
bool ParticleTile<T>::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kVersion2);
    ok &= io_stream.write(static_cast<unsigned long long>(size()));
    constexpr unsigned long kBatch = kReadBatchBytes / sizeof(T);
    char batch[kBatch * sizeof(T)];
    for (unsigned long first = 0; first < size(); first += kBatch) {
        const unsigned long count = std::min(kBatch, size() - first);
        Detail::toBigEndian(data() + first, count, batch);
        ok &= io_stream.writebytes(count * sizeof(T), batch);
    }
    return ok;
}

template <typename T>
bool ParticleTile<T>::load(InputStream& io_stream)
{
    m_buffer.size = 0;
    unsigned short version = 0;
    if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
        return false;
    }
    unsigned long long count = 0;
    if (!io_stream.read(count) || count > io_stream.length() / sizeof(T)) {
        return false;
    }
    resizeForOverwrite(count);
    if (!io_stream.readbytes(count * sizeof(T), reinterpret_cast<char*>(data()))) {
        m_buffer.size = 0;
        return false;
    }
    Detail::fromBigEndian(data(), count);
    return true;
}

template <typename T>
bool ParticleTile<T>::dump(OutputStream& io_stream) const
{
    return io_stream.write("Elements: " + std::to_string(size()));
}

#define SKELVAR_INSTANTIATE(T)      \
    template class ParticleTile<T>; \
    template class DynamicParticleTile<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
