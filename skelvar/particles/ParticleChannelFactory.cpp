#include <skelvar/particles/ParticleChannelFactory.h>

#include <skelvar/particles/ParticleChannel.h>

namespace Skelvar {

namespace {

template <typename Channel>
bool createIfNamed(const std::string& in_type_name, std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    if (in_type_name != Channel::typeName()) {
        return false;
    }
    out_channel = std::make_shared<Channel>();
    return true;
}

}  // namespace

bool ParticleChannelFactory::create(const std::string& in_type_name,
                                    std::shared_ptr<TreeChannel3DBase>& out_channel)
{
    bool created = false;
#define SKELVAR_CREATE(T) \
    created = created || createIfNamed<ParticleChannel<T>>(in_type_name, out_channel);
    SKELVAR_FOR_FACTORY_TYPES(SKELVAR_CREATE)
#undef SKELVAR_CREATE
    return created;
}

}  // namespace Skelvar
