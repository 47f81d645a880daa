#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/InputStream.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/ValueTypes.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace Skelvar {

namespace Detail {

/// Running mean of values of one type. Integers are summed in their own width, so that a sum may
/// wrap, and divided with truncation toward zero; floats in single precision.
template <typename T>
class TileMean {
public:
    void add(const T& in_value) { m_sum = static_cast<Sum>(m_sum + static_cast<Sum>(in_value)); }
    T mean(int in_count) const
    {
        return static_cast<T>(static_cast<T>(m_sum) / static_cast<T>(in_count));
    }

private:
    struct Identity {
        using type = T;
    };
    using Sum = typename std::conditional_t<std::is_integral_v<T>, std::make_unsigned<T>,
                                            Identity>::type;  ///< wraps without overflow
    Sum m_sum{};
};

/// A sum of flags means nothing: always false.
template <>
class TileMean<bool> {
public:
    void add(bool) {}
    bool mean(int) const { return false; }
};

template <int N, typename T>
class TileMean<orvel::Math::vec<N, T>> {
public:
    void add(const orvel::Math::vec<N, T>& in_value)
    {
        for (int a = 0; a < N; ++a) {
            m_axes[a].add(in_value[a]);
        }
    }
    orvel::Math::vec<N, T> mean(int in_count) const
    {
        orvel::Math::vec<N, T> out{};
        for (int a = 0; a < N; ++a) {
            out[a] = m_axes[a].mean(in_count);
        }
        return out;
    }

private:
    TileMean<T> m_axes[N];
};

}  // namespace Detail

/// The dense block of values of one tile: a core of WIDTH^3 cells within a shell HALO cells thick,
/// x fastest. HALO 0 is what channels store; wider ones are scratch of kernels that look at
/// neighbours. A plain trivially copyable array: no allocation, no lock, and a default-built tile
/// is uninitialised. Distinct tiles may be written by several threads.
template <typename T, int HALO, int WIDTH>
class SKELVAR_API VoxelTile {
public:
    using value_type = T;
    static constexpr int kHalo = HALO;
    static constexpr int kWidth = WIDTH;
    static constexpr int kStride = WIDTH + 2 * HALO;           ///< values a row
    static constexpr int kSize = kStride * kStride * kStride;  ///< values in all
    static constexpr int kCoreSize = WIDTH * WIDTH * WIDTH;    ///< values without the shell

    VoxelTile() = default;
    /// Every value, shell included, is `in_value`.
    explicit VoxelTile(const T& in_value) { set(in_value); }

    T* data() { return m_values; }
    const T* data() const { return m_values; }

    /// The value of cell (i, j, k); the core is 0 to WIDTH - 1 on each axis, the shell reaches HALO
    /// further. No range test.
    T& operator()(int in_i, int in_j, int in_k) { return m_values[offset(in_i, in_j, in_k)]; }
    const T& operator()(int in_i, int in_j, int in_k) const
    {
        return m_values[offset(in_i, in_j, in_k)];
    }
    /// Value number n of the flat array. No range test.
    T& operator()(int in_n) { return m_values[in_n]; }
    const T& operator()(int in_n) const { return m_values[in_n]; }

    static constexpr int size() { return kSize; }
    static constexpr int width() { return WIDTH; }
    static constexpr int strideI() { return 1; }
    static constexpr int strideJ() { return kStride; }
    static constexpr int strideK() { return kStride * kStride; }
    /// Does nothing; lets tiles pass through code that is written for growing tiles.
    void resize(std::size_t) {}
    static constexpr unsigned long long memUsage(MemUsage::Type) { return sizeof(VoxelTile); }

    /// All values, shell included.
    void set(const T& in_value) { std::fill_n(m_values, kSize, in_value); }
    /// HALO 0: the values of the other tile. With a shell: `size()` consecutive values from where
    /// the other tile begins, so the memory behind it must hold as many.
    void set(const VoxelTile<T, 0, WIDTH>& in_other)
    {
        const T* const source = in_other.data();
        for (int n = 0; n < kSize; ++n) {
            m_values[n] = source[n];
        }
    }
    /// One value from a `T` behind an untyped pointer.
    void set(int in_i, int in_j, int in_k, const void* in_value)
    {
        (*this)(in_i, in_j, in_k) = *static_cast<const T*>(in_value);
    }

    /// Every value of the shell; the core stays.
    void setHalo(const T& in_value)
    {
        forEachShellRow([&](T* io_row, int, int, int in_first, int in_last) {
            std::fill(io_row + in_first, io_row + in_last, in_value);
        });
    }
    /// The core from the cells of a stored tile.
    void fillCore(const VoxelTile<T, 0, WIDTH>& in_other)
    {
        const T* source = in_other.data();
        for (int k = 0; k < WIDTH; ++k) {
            for (int j = 0; j < WIDTH; ++j, source += WIDTH) {
                std::copy_n(source, WIDTH, m_values + offset(0, j, k));
            }
        }
    }
    /// Each value of the shell from where the cell of the same (i, j, k) would stand by the strides
    /// of the other tile. Nothing is clamped: the memory around the other tile must hold
    /// (1 + WIDTH + WIDTH^2) HALO values on both sides.
    void fillHalo(const VoxelTile<T, 0, WIDTH>& in_other)
    {
        const T* const source = in_other.data();
        forEachShellRow([&](T* io_row, int in_j, int in_k, int in_first, int in_last) {
            const T* const row = source + WIDTH * in_j + WIDTH * WIDTH * in_k;
            std::copy(row + in_first, row + in_last, io_row + in_first);
        });
    }
    /// The edges and corners of the shell: cells that are outside the core on two axes or three.
    /// The faces of the shell and the core stay.
    void fillHaloEdges(const T& in_value)
    {
        forEachShellRow([&](T* io_row, int in_j, int in_k, int in_first, int in_last) {
            const int outside = int(isOutside(in_j)) + int(isOutside(in_k));
            for (int i = in_first; i < in_last; ++i) {
                if (outside + int(isOutside(i)) > 1) {
                    io_row[i] = in_value;
                }
            }
        });
    }

    /// Mean of the core: floats summed in single precision in the order of the cells; integers
    /// summed in their own width, where they may wrap, and divided with truncation toward zero, so
    /// that the mean of `unsigned char` is no statistic; vectors component by component; `bool`
    /// always false.
    T computeTileAverage() const
    {
        Detail::TileMean<T> sum;
        for (int k = 0; k < WIDTH; ++k) {
            for (int j = 0; j < WIDTH; ++j) {
                const T* const row = m_values + offset(0, j, k);
                for (int i = 0; i < WIDTH; ++i) {
                    sum.add(row[i]);
                }
            }
        }
        return sum.mean(kCoreSize);
    }

    /// Writes version 2 (unsigned 16), the byte count (signed 32) and the values as they lie in
    /// memory.
    bool save(OutputStream& io_stream) const
    {
        bool ok = io_stream.write(kVersion);
        ok &= io_stream.write(static_cast<int>(sizeof(m_values)));
        ok &= io_stream.writebytes(sizeof(m_values), reinterpret_cast<const char*>(m_values));
        return ok;
    }
    /// Reads what `save` wrote; streams of format version 1 have no version field. Consumes exactly
    /// the stored number of bytes: what the tile has no room for is dropped, what is missing
    /// becomes zero. A negative count or a short stream is false.
    bool load(InputStream& io_stream)
    {
        unsigned short version = 1;
        if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
            return false;
        }
        int count = 0;
        if (!io_stream.read(count) || count < 0) {
            return false;
        }
        return loadBytes(io_stream, static_cast<unsigned long>(count));
    }
    /// Writes the core values one after the other, in the order of the cells.
    bool dump(OutputStream& io_stream) const
    {
        bool ok = true;
        for (int k = 0; k < WIDTH; ++k) {
            for (int j = 0; j < WIDTH; ++j) {
                for (int i = 0; i < WIDTH; ++i) {
                    ok &= io_stream.write((*this)(i, j, k));
                }
            }
        }
        return ok;
    }

private:
    static constexpr unsigned short kVersion = 2;

    static constexpr int offset(int in_i, int in_j, int in_k)
    {
        return (in_i + HALO) + kStride * ((in_j + HALO) + kStride * (in_k + HALO));
    }
    static constexpr bool isOutside(int in_axis) { return in_axis < 0 || in_axis >= WIDTH; }

    /// Calls in_body(row, j, k, first, last) for each run of shell cells [first, last) in a row;
    /// `row` points at cell 0 of the row. Without a shell there is none.
    template <typename Body>
    void forEachShellRow(const Body& in_body)
    {
        if constexpr (HALO > 0) {
            for (int k = -HALO; k < WIDTH + HALO; ++k) {
                for (int j = -HALO; j < WIDTH + HALO; ++j) {
                    T* const row = m_values + offset(0, j, k);
                    if (isOutside(j) || isOutside(k)) {
                        in_body(row, j, k, -HALO, WIDTH + HALO);
                    } else {
                        in_body(row, j, k, -HALO, 0);
                        in_body(row, j, k, WIDTH, WIDTH + HALO);
                    }
                }
            }
        }
    }

    bool loadBytes(InputStream& io_stream, unsigned long in_count)
    {
        char* const bytes = reinterpret_cast<char*>(m_values);
        const unsigned long taken = std::min<unsigned long>(in_count, sizeof(m_values));
        std::memset(bytes + taken, 0, sizeof(m_values) - taken);
        bool ok = io_stream.readbytes(taken, bytes);
        if constexpr (std::is_same_v<T, bool>) {
            // Any other byte than 0 and 1 would be an invalid bool.
            for (char* byte = bytes; byte != bytes + sizeof(m_values); ++byte) {
                *byte = *byte != 0;
            }
        }
        char dropped[256];
        for (unsigned long left = in_count - taken; ok && left > 0;) {
            const unsigned long piece = std::min<unsigned long>(left, sizeof(dropped));
            ok = io_stream.readbytes(piece, dropped);
            left -= piece;
        }
        return ok;
    }

    T m_values[kSize];
};

#define SKELVAR_EXTERN(T) extern template class VoxelTile<T, 0, 5>;
SKELVAR_FOR_VOXEL_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN
extern template class VoxelTile<bool, 1, 5>;
extern template class VoxelTile<float, 1, 5>;

static_assert(sizeof(VoxelTile<vec3f, 0, 5>) == 1500, "a tile is its values and nothing else");
static_assert(std::is_trivially_copyable_v<VoxelTile<vec3f, 0, 5>> &&
                  std::is_trivially_default_constructible_v<VoxelTile<vec3f, 0, 5>>,
              "arrays of tiles grow and move as raw memory");

}  // namespace Skelvar
