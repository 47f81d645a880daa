#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar {

/// Writes what a file holds as text, for a person: its items with their sizes and value ranges,
/// with `in_verbose` also depth by depth, and what is wrong with their names. The path needs a
/// folder part; the folder is made if it is missing. Of a damaged file of version 3 or 4 the text
/// shows what could be loaded. False, with `kvfLastError` set, if the file cannot be read or the
/// text not be written. Never throws.
SKELVAR_API bool kvfDump(const std::string& in_path, const std::string& in_output_path,
                         bool in_verbose);

}  // namespace Skelvar
