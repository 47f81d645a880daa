#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar {

/// An amount of memory as a person reads it: "1023 bytes", "1 KB", "1.5 GB". Powers of 1024.
SKELVAR_API std::string toHumanUnits(unsigned long long in_bytes);

}  // namespace Skelvar
