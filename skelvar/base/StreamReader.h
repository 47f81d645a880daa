#pragma once

#include <skelvar/base/Api.h>

#include <orvel/Streams.h>

#include <sstream>
#include <string>

namespace Skelvar {

/// Reads big-endian values out of a copy of a string.
class SKELVAR_API StreamReader : public orvel::compute::CInStreamWrapper {
public:
    explicit StreamReader(const std::string& in_bytes);
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

private:
    std::istringstream m_text;
};

}  // namespace Skelvar
