#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/NameSuffixCompare.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace Skelvar {

class TreeChannel3DBase;

namespace NS {

/// Key of an element of a set of names.
template <typename Container>
struct SetAdaptor {
    static const std::string& key(const typename Container::value_type& in_element)
    {
        return in_element;
    }
};

/// Key of an element of a map by name.
template <typename Container>
struct MapAdaptor {
    static const std::string& key(const typename Container::value_type& in_element)
    {
        return in_element.first;
    }
};

/// Finds free names in a container ordered by `NameSuffixCompare`, whose exceptions pass through.
template <typename Container, typename Adaptor>
struct UniqueName {
    /// A name for a new element: bad characters become '_'; a name that is taken gets the number
    /// after the highest one on its base, so that a taken "rain" gives "rain1", then "rain2".
    /// A name of digits alone has no number and gets a "1" behind it, which may be taken too: the
    /// caller's insertion decides.
    static void create(const Container& in_container, const std::string& in_name,
                       std::string& out_name);

    /// The name with the highest number on the base of `in_name`. `io_last` stays as it was if
    /// `in_name` is not in the container.
    static void searchLast(const Container& in_container, const std::string& in_name,
                           std::string& io_last);
};

using NameSet = std::set<std::string, NameSuffixCompare>;
using ChannelMap = std::map<std::string, std::shared_ptr<TreeChannel3DBase>, NameSuffixCompare>;

using UniqueSetName = UniqueName<NameSet, SetAdaptor<NameSet>>;
using UniqueChannelName = UniqueName<ChannelMap, MapAdaptor<ChannelMap>>;

extern template struct SKELVAR_API UniqueName<NameSet, SetAdaptor<NameSet>>;
extern template struct SKELVAR_API UniqueName<ChannelMap, MapAdaptor<ChannelMap>>;

}  // namespace NS

}  // namespace Skelvar
