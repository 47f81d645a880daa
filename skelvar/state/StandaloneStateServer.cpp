#include <skelvar/state/StandaloneStateServer.h>

#include <skelvar/state/StandaloneHost.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

namespace Skelvar {

namespace {

struct CleanUp {
    void operator()(StandaloneStateServer* in_instance) const
    {
        StandaloneStateServer::cleanUp(in_instance);
    }
};

thread_local std::unique_ptr<StandaloneStateServer, CleanUp> s_instance;

}  // namespace

StandaloneStateServer::StandaloneStateServer(const unsigned int& in_id)
{
    if (in_id != StateServerManager::invalidId) {
        m_host = std::make_unique<StandaloneHost>(in_id);
    } else {
        m_host = std::make_unique<StandaloneHost>();
    }
    orvel::runtime::SetLocalServiceTable(m_host->serviceTable());
}

StandaloneStateServer::~StandaloneStateServer()
{
    orvel::runtime::SetLocalServiceTable(nullptr);
}

std::shared_ptr<VoxelState> StandaloneStateServer::getStateServer(const unsigned int& in_id)
{
    if (!s_instance) {
        s_instance.reset(new StandaloneStateServer(in_id));
    }
    return s_instance->m_host->server();
}

bool StandaloneStateServer::exists()
{
    return s_instance != nullptr;
}

void StandaloneStateServer::kill()
{
    s_instance.reset();
}

void StandaloneStateServer::cleanUp(StandaloneStateServer* in_instance)
{
    delete in_instance;
}

}  // namespace Skelvar
