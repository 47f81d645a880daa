#pragma once

#include <orvel/Math/Mat.h>
#include <orvel/Math/Vec.h>

#include <string>

namespace Skelvar {

using vec2f = orvel::Math::vec<2, float>;
using vec3f = orvel::Math::vec<3, float>;
using vec4f = orvel::Math::vec<4, float>;
using vec2i = orvel::Math::vec<2, int>;
using vec3i = orvel::Math::vec<3, int>;
using vec4i = orvel::Math::vec<4, int>;
using vec3d = orvel::Math::vec<3, double>;
using mat4f = orvel::Math::mat<4, 4, float>;

}  // namespace Skelvar

// The closed lists of element types. Each template family is instantiated over one of them, and
// nowhere else is such a list written out.

/// Vector types whose text names files and factories use.
#define SKELVAR_FOR_VEC_TYPES(X) X(vec2f) X(vec3f) X(vec4f) X(vec2i) X(vec3i) X(vec4i)

/// Element types that a factory can make a channel of from its text name.
#define SKELVAR_FOR_FACTORY_TYPES(X) \
    X(float)                         \
    X(vec2f)                         \
    X(vec3f)                         \
    X(vec4f) X(int) X(vec2i) X(vec3i) X(vec4i) X(long long) X(unsigned int) X(unsigned long long)

/// Element types of particle channels.
#define SKELVAR_FOR_PARTICLE_TYPES(X) SKELVAR_FOR_FACTORY_TYPES(X) X(unsigned char)

/// Element types of voxel channels.
#define SKELVAR_FOR_VOXEL_TYPES(X) SKELVAR_FOR_PARTICLE_TYPES(X) X(bool)

/// Types of the values of a dictionary, in the order of their tags, which files store.
#define SKELVAR_FOR_DICTIONARY_TYPES(X) \
    X(float)                            \
    X(bool)                             \
    X(signed char)                      \
    X(unsigned char)                    \
    X(short)                            \
    X(unsigned short)                   \
    X(int)                              \
    X(unsigned int)                     \
    X(long long)                        \
    X(unsigned long long) X(std::string) X(vec2f) X(vec3f) X(vec2i) X(vec3i) X(vec4f) X(mat4f)

/// Element types of the channels of a mesh.
#define SKELVAR_FOR_MESH_TYPES(X) X(int) X(float) X(vec2f) X(vec3f) X(vec3i)
