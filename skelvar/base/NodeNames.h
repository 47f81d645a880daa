#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar {

// Names that graph nodes give: `object-shape` for a shape, `object-shape/channel` for a channel,
// `|` between the parts of a scope's name.

/// The name as part of a file name: each `|`, `-` and `/` is a `_`.
SKELVAR_API std::string buildFilename(const std::string& in_name);

/// `io_object` becomes the text before the first `-`, `io_shape` the text before the first `/` (so
/// it holds the object and the dash too). Without the separator an argument stays as it was.
SKELVAR_API void splitChannelName(const std::string& in_name, std::string& io_object,
                                  std::string& io_shape);

/// The text after the last `/`; empty without one.
SKELVAR_API void extractChannelName(const std::string& in_name, std::string& out_channel);

}  // namespace Skelvar
