// Bytes that claim to be a dictionary.
#include <fuzz/FuzzInput.h>
#include <skelvar/base/Dictionary.h>

using namespace Skelvar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_size)
{
    const std::string bytes(reinterpret_cast<const char*>(in_data), in_size);
    Dictionary dictionary;
    dictionary.setValue("kept", 7);
    if (dictionary.load(bytes)) {
        Dictionary again;
        const std::string saved = dictionary.save();
        Fuzz::require(again.load(saved) && again.save() == saved, "save and load again");
    } else {
        int kept = 0;
        Fuzz::require(dictionary.getValue("kept", kept) && kept == 7, "a refusal changes nothing");
    }
    dictionary.removeValue("kept");
    Fuzz::require(dictionary.setValue("kept", 1.0f), "a removed key is free");
    return 0;
}
