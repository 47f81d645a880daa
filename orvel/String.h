#pragma once

#include <orvel/Api.h>

#include <memory>
#include <string>
#include <utility>

namespace orvel {

/// A handle to a text that its copies share. A null handle reads as the empty text. The text does
/// not change: assignment points the handle at another one.
class ORVEL_API String {
public:
    String() = default;
    String(std::string in_text) : m_text(std::make_shared<std::string>(std::move(in_text))) {}
    String(const char* in_text) : String(std::string(in_text)) {}

    const std::string& str() const
    {
        static const std::string& s_empty = *new std::string;
        return m_text ? *m_text : s_empty;
    }
    bool empty() const { return str().empty(); }

    friend bool operator==(const String& in_a, const String& in_b)
    {
        return in_a.str() == in_b.str();
    }

private:
    std::shared_ptr<std::string> m_text;
};

}  // namespace orvel
