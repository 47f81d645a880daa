#pragma once

#include <skelvar/base/ValueTypes.h>

namespace Skelvar {

/// An object's place in the world: two matrices that are each other's inverse. Row vectors:
/// x_world = x_object * toWorld. Both start as the identity. Whoever sets one sets both.
struct Similarity {
    mat4f toWorld;    ///< object to world
    mat4f fromWorld;  ///< world to object
};

static_assert(sizeof(Similarity) == 128, "files hold the two matrices one after the other");

}  // namespace Skelvar
