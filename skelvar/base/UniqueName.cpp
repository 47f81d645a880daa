#include <skelvar/base/UniqueName.h>

#include <skelvar/base/NameFunctions.h>

#include <iterator>

namespace Skelvar::NS {

template <typename Container, typename Adaptor>
void UniqueName<Container, Adaptor>::create(const Container& in_container,
                                            const std::string& in_name, std::string& out_name)
{
    const std::string clean = substitueBadChars(in_name, '_');
    std::string last;
    searchLast(in_container, clean, last);
    if (last.empty()) {
        out_name = clean;
        return;
    }
    std::string base;
    std::string digits;
    splitName(last, base, digits);
    if (digits.empty()) {
        out_name = clean + "1";
    } else {
        out_name = base + std::to_string(static_cast<long long>(std::stoi(digits)) + 1);
    }
}

template <typename Container, typename Adaptor>
void UniqueName<Container, Adaptor>::searchLast(const Container& in_container,
                                                const std::string& in_name, std::string& io_last)
{
    if (in_container.find(in_name) == in_container.end()) {
        return;
    }
    std::string base;
    std::string digits;
    splitName(in_name, base, digits);
    // The highest name on the base stands ahead of the base's largest number but one.
    auto next = in_container.upper_bound(base + "2147483646");
    io_last = in_name;
    if (next == in_container.begin()) {
        return;
    }
    const std::string& candidate = Adaptor::key(*std::prev(next));
    std::string candidate_base;
    splitName(candidate, candidate_base, digits);
    if (candidate_base == base) {
        io_last = candidate;
    }
}

template struct UniqueName<NameSet, SetAdaptor<NameSet>>;
template struct UniqueName<ChannelMap, MapAdaptor<ChannelMap>>;

}  // namespace Skelvar::NS
