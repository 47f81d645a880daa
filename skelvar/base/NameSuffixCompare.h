#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar::NS {

/// The strict weak order of the library's name sets: by base, byte for byte (unsigned), a shorter
/// base first; names of one base by their number, no number first. So a < a1 < a2 < a10 < b, and
/// a1 and a01 are one name.
///
/// Throws `std::out_of_range`, out of the operation of the set, if two names of one base are
/// compared and a number does not fit an `int`.
struct SKELVAR_API NameSuffixCompare {
    bool operator()(const std::string& in_a, const std::string& in_b) const;
};

}  // namespace Skelvar::NS
