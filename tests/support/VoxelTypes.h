#pragma once

#include <skelvar/base/ValueTypes.h>
#include <skelvar/voxel/VoxelTile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

// The element types of voxel channels for typed tests, and values to tell apart.
namespace Skelvar::Test {

template <typename First, typename... Rest>
using TypesAfter = ::testing::Types<Rest...>;
#define SKELVAR_COMMA_TYPE(T) , T
using VoxelTypes = TypesAfter<void SKELVAR_FOR_VOXEL_TYPES(SKELVAR_COMMA_TYPE)>;
#undef SKELVAR_COMMA_TYPE

template <typename T>
struct IsVec : std::false_type {
};
template <int N, typename T>
struct IsVec<orvel::Math::vec<N, T>> : std::true_type {
};

/// A value that shows its number as far as the type can; vectors count on over their components.
template <typename T>
T valueOf(int in_number)
{
    if constexpr (IsVec<T>::value) {
        T value{};
        for (int a = 0; a < T::kSize; ++a) {
            value[a] = static_cast<typename T::value_type>(in_number + a);
        }
        return value;
    } else if constexpr (std::is_same_v<T, bool>) {
        return in_number % 3 == 1;
    } else {
        return static_cast<T>(in_number);
    }
}

template <typename T>
bool isFilledWith(const VoxelTile<T, 0, 5>& in_tile, const T& in_value)
{
    return std::all_of(in_tile.data(), in_tile.data() + 125,
                       [&](const T& in_cell) { return in_cell == in_value; });
}

}  // namespace Skelvar::Test
