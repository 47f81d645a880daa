#include <skelvar/particles/ParticleTile.h>

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/particles/BigEndian.h>

#include <tbb/scalable_allocator.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <type_traits>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SKELVAR_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define SKELVAR_ADDRESS_SANITIZER
#endif

namespace Skelvar {

namespace {

// The address sanitizer watches the memory of the system's allocator alone.
#ifdef SKELVAR_ADDRESS_SANITIZER
void* resizeMemory(void* io_memory, unsigned long in_bytes)
{
    return std::realloc(io_memory, in_bytes);
}
void releaseMemory(void* io_memory)
{
    std::free(io_memory);
}
#else
void* resizeMemory(void* io_memory, unsigned long in_bytes)
{
    return scalable_realloc(io_memory, in_bytes);
}
void releaseMemory(void* io_memory)
{
    scalable_free(io_memory);
}
#endif

constexpr unsigned short kVersion2 = 2;
constexpr unsigned long kReadBatchBytes = 4096;
constexpr unsigned long kMostBytes = 1UL << 47;  ///< more than a process can address

}  // namespace

void* Detail::resizeTileMemory(void* io_memory, unsigned long in_bytes)
{
    if (in_bytes == 0) {
        releaseMemory(io_memory);
        return nullptr;
    }
    void* const memory = resizeMemory(io_memory, in_bytes);
    if (memory == nullptr) {
        throw std::runtime_error("Out of memory.");
    }
    return memory;
}

template <typename T>
void ParticleTile<T>::setCapacity(unsigned long in_capacity)
{
    static_assert(std::is_trivially_copyable_v<T>, "memory is moved whole");
    if (in_capacity > kMostBytes / sizeof(T)) {
        throw std::runtime_error("Out of memory.");
    }
    m_data = static_cast<T*>(Detail::resizeTileMemory(m_data, in_capacity * sizeof(T)));
    m_capacity = in_capacity;
}

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
    m_size = 0;
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
        m_size = 0;
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

template <typename T>
void DynamicParticleTile<T>::repack(float in_factor)
{
    const float bound = (in_factor + 1.0f) * static_cast<float>(this->size());
    if (this->capacity() > static_cast<unsigned long long>(bound)) {
        // Fresh memory: the allocator may shrink a block without giving anything back.
        DynamicParticleTile exact(*this);
        this->swap(exact);
    }
}

#define SKELVAR_INSTANTIATE(T)      \
    template class ParticleTile<T>; \
    template class DynamicParticleTile<T>;
SKELVAR_FOR_PARTICLE_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace Skelvar
