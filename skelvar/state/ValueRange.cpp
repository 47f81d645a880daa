#include <skelvar/state/ValueRange.h>

#include <skelvar/base/TypeMeta.h>
#include <skelvar/voxel/TreeChannel3DBase.h>

#include <cmath>
#include <sstream>
#include <type_traits>

namespace Skelvar {

namespace {

/// How many components of which type a value has.
template <typename T>
struct Components {
    using Type = T;
    static constexpr int kCount = 1;
};
template <int N, typename T>
struct Components<orvel::Math::vec<N, T>> {
    using Type = T;
    static constexpr int kCount = N;
};

template <typename T>
class RangeOf {
public:
    void take(const T* in_values, unsigned long in_count)
    {
        const auto* component = reinterpret_cast<const Component*>(in_values);
        for (unsigned long n = 0; n < in_count; ++n) {
            for (int a = 0; a < kCount; ++a, ++component) {
                take(*component, a);
            }
        }
    }
    bool empty() const { return !m_found[0]; }
    std::string min() const { return text(m_min); }
    std::string max() const { return text(m_max); }

private:
    using Component = typename Components<T>::Type;
    static constexpr int kCount = Components<T>::kCount;

    void take(const Component& in_value, int in_component)
    {
        if constexpr (std::is_floating_point_v<Component>) {
            if (std::isnan(in_value)) {
                return;
            }
        }
        if (!m_found[in_component] || in_value < m_min[in_component]) {
            m_min[in_component] = in_value;
        }
        if (!m_found[in_component] || in_value > m_max[in_component]) {
            m_max[in_component] = in_value;
        }
        m_found[in_component] = true;
    }
    static std::string text(const Component* in_values)
    {
        std::ostringstream text;
        for (int a = 0; a < kCount; ++a) {
            text << (a > 0 ? " " : "") << +in_values[a];  // a character as its number
        }
        return text.str();
    }

    bool m_found[kCount] = {};
    Component m_min[kCount] = {};
    Component m_max[kCount] = {};
};

template <typename T>
void findRange(const TreeChannel3DBase& in_channel, ValueRange& out_range)
{
    RangeOf<T> range;
    for (int depth = 0; depth <= in_channel.maxDepth(); ++depth) {
        for (int n = 0; n < in_channel.numTiles(depth); ++n) {
            unsigned long count = 0;
            const void* const values = in_channel.tileArrayPtr({n, depth}, count);
            range.take(static_cast<const T*>(values), values ? count : 0);
        }
    }
    if (!range.empty()) {
        out_range.min = range.min();
        out_range.max = range.max();
    }
}

}  // namespace

ValueRange::ValueRange(const TreeChannel3DBase& in_channel)
{
    const std::string& type = in_channel.elementTypeMeta()->typeName();
#define SKELVAR_TRY_TYPE(T)              \
    if (type == typeNameOf<T>()) {       \
        findRange<T>(in_channel, *this); \
    }
    SKELVAR_FOR_VOXEL_TYPES(SKELVAR_TRY_TYPE)
#undef SKELVAR_TRY_TYPE
}

}  // namespace Skelvar
