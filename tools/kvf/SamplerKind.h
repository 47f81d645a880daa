#pragma once

#include <skelvar/base/SamplerSpace.h>
#include <skelvar/sampling/BaseSampler.h>

#include <tools/kvf/CommandLine.h>

#include <memory>
#include <string>

namespace Skelvar::Tool {

/// Adds --kind, one of linear, qbspline and weno, to a command, with more words for its help. The
/// kind must live until the command has run; it is the default.
Option addKindOption(Command& io_command, std::string& io_kind, const std::string& in_more = {});

/// A sampler of a kind. Throws `ToolError` with `eDataSaysNo` if the channel has none of it, or no
/// layout.
std::shared_ptr<BaseSampler> makeSampler(const TreeChannel3DBase& in_channel,
                                         const std::string& in_kind, SamplerSpace in_space);

}  // namespace Skelvar::Tool
