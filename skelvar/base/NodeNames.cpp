#include <skelvar/base/NodeNames.h>

#include <algorithm>

namespace Skelvar {

std::string buildFilename(const std::string& in_name)
{
    std::string name = in_name;
    for (const char separator : {'|', '-', '/'}) {
        std::replace(name.begin(), name.end(), separator, '_');
    }
    return name;
}

void splitChannelName(const std::string& in_name, std::string& io_object, std::string& io_shape)
{
    const std::string name = in_name;  // either output may be the input
    const std::size_t dash = name.find('-');
    if (dash != std::string::npos) {
        io_object = name.substr(0, dash);
    }
    const std::size_t slash = name.find('/');
    if (slash != std::string::npos) {
        io_shape = name.substr(0, slash);
    }
}

void extractChannelName(const std::string& in_name, std::string& out_channel)
{
    const std::size_t slash = in_name.rfind('/');
    out_channel = slash == std::string::npos ? std::string() : in_name.substr(slash + 1);
}

}  // namespace Skelvar
