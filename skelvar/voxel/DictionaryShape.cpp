#include <skelvar/voxel/DictionaryShape.h>

namespace Skelvar {

const TypeMeta<DictionaryShape> DictionaryShape::m_typeMeta{};

const std::string& DictionaryShape::typeName()
{
    static const std::string& s_typeName = *new std::string("DictionaryShape");
    return s_typeName;
}

bool DictionaryShape::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeShape3DBase::isCastableTo(in_type_name);
}

std::shared_ptr<TreeShape3DBase> DictionaryShape::copy(bool in_copy_data, bool in_share) const
{
    const auto shape = std::make_shared<DictionaryShape>();
    copyShapeInto(*shape, in_copy_data, in_share);
    return shape;
}

void DictionaryShape::copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                               bool in_share) const
{
    requireClass(io_target, typeName());
    copyShapeInto(*io_target, in_copy_data, in_share);
}

}  // namespace Skelvar
