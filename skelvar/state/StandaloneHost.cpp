#include <skelvar/state/StandaloneHost.h>

#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

namespace Skelvar {

StandaloneHost::StandaloneHost()
    : m_parameters(orvel::compute::createEvaluationParameters()),
      m_server(StateServerManager::instance().createNewStateServer()),
      m_borrowed(false)
{
    publish(m_server ? m_server->getId() : StateServerManager::invalidId);
}

StandaloneHost::StandaloneHost(unsigned int in_id)
    : m_parameters(orvel::compute::createEvaluationParameters()),
      m_server(StateServerManager::instance().getStateServer(in_id)),
      m_borrowed(true)
{
    publish(in_id);
}

void StandaloneHost::publish(unsigned int in_id)
{
    setGlobal("G.__stateserver__", in_id);
    m_table[orvel::runtime::kEvaluationParametersEntry] = m_parameters.get();
}

StandaloneHost::~StandaloneHost()
{
    if (m_server && !m_borrowed) {
        StateServerManager::instance().removeStateServer(m_server->getId());
    }
}

}  // namespace Skelvar
