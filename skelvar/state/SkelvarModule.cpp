#include <skelvar/state/SkelvarModule.h>

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

#include <memory>
#include <sstream>

namespace {

/// The word of a callback, taken apart.
struct ServerAndValue {
    std::shared_ptr<Skelvar::VoxelState> server;
    unsigned int value;

    explicit ServerAndValue(unsigned long long in_word)
        : server(Skelvar::StateServerManager::instance().getStateServer(
              static_cast<unsigned int>(in_word))),
          value(static_cast<unsigned int>(in_word >> 32))
    {
    }
};

}  // namespace

void skelvarcore_loadModule() {}

void skelvarcore_unloadModule() {}

void skelvar_submitjobCB() {}

void skelvar_dumpStateServerCB(const unsigned long long* in_arg, std::string* out_text)
{
    const ServerAndValue call(*in_arg);
    if (call.server) {
        std::ostringstream text;
        call.server->dump(text, 0, static_cast<int>(call.value));
        *out_text = std::move(text).str();
    }
}

void skelvar_memoryUsageCB(const unsigned long long* in_arg, std::string* out_text)
{
    const ServerAndValue call(*in_arg);
    if (call.server) {
        *out_text = std::to_string(call.server->totalMemUsage(Skelvar::MemUsage::eMemAllocated));
        if (Skelvar::VoxelState::OffloadManager* manager = call.server->offloadManager()) {
            manager->memoryReport(call.value);
        }
    }
}
