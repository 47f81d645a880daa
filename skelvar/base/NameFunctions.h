#pragma once

#include <skelvar/base/Api.h>

#include <string>
#include <vector>

namespace Skelvar::NS {

/// Splits a name into base and number: "rain12" gives "rain" and "12". A name of digits alone, an
/// empty name and one without trailing digits are all base, and `io_digits` stays as it was: pass
/// it empty.
SKELVAR_API void splitName(const std::string& in_name, std::string& out_base,
                           std::string& io_digits);

/// The pieces of a text between any of the characters of `in_delimiters`, in order. Empty pieces
/// are kept only if `in_keep_empty` is set, a trailing one too. False, and no pieces, for an empty
/// text.
SKELVAR_API bool splitString(const std::string& in_text, const std::string& in_delimiters,
                             std::vector<std::string>& out_parts, bool in_keep_empty);

/// Splits a path of the store from its end: three parts are object, shape and channel, two are
/// shape and channel, one is a channel. Gives the number of parts assigned, 0 for an empty path and
/// for more than three; the other arguments stay as they were. Empty parts do not count.
SKELVAR_API int splitPathName(const std::string& in_path, std::string& io_object,
                              std::string& io_shape, std::string& io_channel);

/// Puts a replacement in the place of each character that a name may not hold: the blank and
/// `~!@#$%^&*()+\[]{};.':=?,<>, 28 in all, the path separator among them. Names may hold
/// `-`, `/`, `|`, `_` and the double quote.
struct SKELVAR_API ReplaceBadChars {
    char replacement;
    char operator()(char in_character) const;
};

/// The name with each character that a name may not hold replaced.
SKELVAR_API std::string substitueBadChars(const std::string& in_name, char in_replacement);

}  // namespace Skelvar::NS
