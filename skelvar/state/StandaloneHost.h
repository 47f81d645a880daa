#pragma once

#include <skelvar/base/Api.h>

#include <orvel/Compute.h>
#include <orvel/Runtime.h>

#include <array>
#include <memory>
#include <string>

namespace Skelvar {

class VoxelState;

/// What a host gives its graph, for programs and tests that have none: a state server, named
/// globals with its id as "G.__stateserver__", and a service table through which nodes find both.
/// `bind` puts the table on a thread; the host outlives the use there. Any number of threads may be
/// bound to one host.
class SKELVAR_API StandaloneHost {
public:
    /// With a server of its own, which leaves the registry with the host.
    StandaloneHost();
    /// With the registry's server of that id, which stays; without one if there is none.
    explicit StandaloneHost(unsigned int in_id);
    ~StandaloneHost();
    StandaloneHost(const StandaloneHost&) = delete;
    StandaloneHost& operator=(const StandaloneHost&) = delete;

    /// Empty only for an id that no server had.
    const std::shared_ptr<VoxelState>& server() const { return m_server; }

    /// Binds this host to the calling thread until the result goes, which it does on that thread.
    [[nodiscard]] orvel::runtime::ServiceTableScope bind()
    {
        return orvel::runtime::ServiceTableScope(m_table.data());
    }
    void** serviceTable() { return m_table.data(); }
    /// The frame that the calling thread evaluates.
    static void setFrame(int in_frame) { orvel::runtime::SetCurrentFrame(in_frame); }

    /// Sets a global of the graph, as "G.__dt__", to a value of any type.
    template <typename T>
    void setGlobal(const std::string& in_name, const T& in_value)
    {
        using namespace orvel::compute;
        m_parameters->setGlobal(in_name.c_str(), &in_value, wrapCreate<T>, wrapCopy<T>,
                                wrapDestroy<T>);
    }
    /// False, and `out_value` stays as it was, if there is no global of that name and type.
    template <typename T>
    bool global(const std::string& in_name, T& out_value) const
    {
        using namespace orvel::compute;
        return m_parameters->getGlobal(in_name.c_str(), &out_value, wrapIn<T>, wrapCopy<T>);
    }

private:
    void publish(unsigned int in_id);

    std::array<void*, orvel::runtime::kServiceTableSize> m_table{};
    std::shared_ptr<orvel::compute::EvaluationParameters> m_parameters;
    std::shared_ptr<VoxelState> m_server;
    bool m_borrowed;
};

}  // namespace Skelvar
