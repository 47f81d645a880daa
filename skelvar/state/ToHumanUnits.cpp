#include <skelvar/state/ToHumanUnits.h>

#include <iterator>
#include <sstream>

namespace Skelvar {

std::string toHumanUnits(unsigned long long in_bytes)
{
    static const char* const s_units[] = {"bytes", "KB", "MB", "GB", "TB"};
    double value = static_cast<double>(in_bytes);
    int unit = 0;
    for (; in_bytes >= 1024 && unit + 1 < static_cast<int>(std::size(s_units)); in_bytes /= 1024) {
        value /= 1024.0;
        ++unit;
    }
    std::ostringstream text;
    text << value << " " << s_units[unit];
    return text.str();
}

}  // namespace Skelvar
