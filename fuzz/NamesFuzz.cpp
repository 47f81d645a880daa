// Bytes that claim to be a set of names.
#include <fuzz/FuzzInput.h>
#include <skelvar/state/NamespaceContainer.h>

#include <stdexcept>

using namespace Skelvar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    Fuzz::Input input(in_data, in_size);
    NS::NamespaceContainer names;
    try {
        names.load(input.stream());
        const std::string added = names.addName("name");
        Fuzz::require(names.hasName(added) && names.removeName(added), "a new name comes and goes");
    } catch (const std::out_of_range&) {
        // A number behind a name that no int holds: the one exception that is told.
    }
    names.clear();
    return 0;
}
