#pragma once

namespace Skelvar {

/// Tag of a reconstruction kernel that a sampler may be asked to use.
struct Kernel3D {};

}  // namespace Skelvar
