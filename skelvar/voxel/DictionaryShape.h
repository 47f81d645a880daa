#pragma once

#include <skelvar/voxel/TreeShape3DBase.h>

namespace Skelvar {

/// A shape that carries a dictionary and no data of its own; an object keeps its values in one.
class SKELVAR_API DictionaryShape : public TreeShape3DBase {
public:
    using TreeShape3DBase::TreeShape3DBase;

    static const std::string& typeName();
    const TypeMetaBase* typeMeta() const override { return &m_typeMeta; }
    bool isCastableTo(const std::string& in_type_name) const override;

    std::shared_ptr<TreeShape3DBase> copy(bool in_copy_data, bool in_share) const override;
    void copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                  bool in_share) const override;

    static const TypeMeta<DictionaryShape> m_typeMeta;
};

}  // namespace Skelvar
