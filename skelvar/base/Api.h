#pragma once

#include <bit>

/// Marks what the library shows to its users; all else is hidden. A class template is marked on
/// its declaration, and its instances are exported only if their argument types are visible too.
#define SKELVAR_API __attribute__((visibility("default")))

/// Marks the forward declaration of a class template that is marked so. clang takes the visibility
/// of all instances from it; g++ takes it from the definition, and warns of a mark behind that.
#ifdef __clang__
#define SKELVAR_API_FORWARD SKELVAR_API
#else
#define SKELVAR_API_FORWARD
#endif

static_assert(std::endian::native == std::endian::little,
              "Skelvar stores some fields of its files as raw memory; a big-endian host needs a "
              "decision on those first");
