#pragma once

#include <memory>

namespace orvel {

/// The platform's shared pointer: the very type of the standard library, so that no conversion
/// stands between the two.
template <typename T>
using shared_ptr = std::shared_ptr<T>;

}  // namespace orvel
