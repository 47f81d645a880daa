#pragma once

#include <skelvar/base/Api.h>

#include <orvel/Streams.h>

#include <sstream>
#include <string>

namespace Skelvar {

/// Writes big-endian values into a string of its own.
class SKELVAR_API StreamWriter : public orvel::compute::COutStreamWrapper {
public:
    StreamWriter();
    StreamWriter(const StreamWriter&) = delete;
    StreamWriter& operator=(const StreamWriter&) = delete;

    /// The bytes written so far.
    std::string bytes() const;

private:
    std::ostringstream m_text;
};

}  // namespace Skelvar
