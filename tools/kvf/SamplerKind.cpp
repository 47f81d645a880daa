#include <tools/kvf/SamplerKind.h>

#include <skelvar/voxel/TreeChannel3DBase.h>
#include <skelvar/voxel/TreeShape3DBase.h>

#include <tools/kvf/ToolError.h>

namespace Skelvar::Tool {

Option addKindOption(Command& io_command, std::string& io_kind, const std::string& in_more)
{
    return io_command
        .option("--kind", io_kind,
                "how to read between the values: linear, qbspline (smooth, but of the background "
                "value in the outermost cells of a root) or weno (sharp, for float)" +
                    in_more)
        .oneOf({"linear", "qbspline", "weno"});
}

std::shared_ptr<BaseSampler> makeSampler(const TreeChannel3DBase& in_channel,
                                         const std::string& in_kind, SamplerSpace in_space)
{
    std::shared_ptr<BaseSampler> sampler;
    if (in_channel.shapePtr() && in_channel.shapePtr()->layoutPtr()) {
        const std::string& type = in_kind == "linear"     ? kVoxelSamplerLinearType
                                  : in_kind == "qbspline" ? kVoxelSamplerQBSplineType
                                                          : kVoxelSamplerWENOType;
        in_channel.createSampler(type, in_space, sampler);
    }
    if (!sampler) {
        throw ToolError(eDataSaysNo, "channel " + in_channel.name() + " (" +
                                         in_channel.typeMeta()->typeName() +
                                         ") cannot be sampled by kind " + in_kind);
    }
    return sampler;
}

}  // namespace Skelvar::Tool
