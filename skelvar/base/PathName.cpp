#include <skelvar/base/PathName.h>

namespace Skelvar::NS {

char& pathSeparator()
{
    static char sep = '.';
    return sep;
}

std::string join(const std::string& in_left, const std::string& in_right)
{
    if (in_left.empty() || in_right.empty()) {
        return in_right;
    }
    return in_left + pathSeparator() + in_right;
}

}  // namespace Skelvar::NS
