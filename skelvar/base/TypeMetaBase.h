#pragma once

#include <skelvar/base/Api.h>

#include <string>

namespace Skelvar {

/// A record of a type: it carries the text name that files, casts and factories use. Without data.
class SKELVAR_API TypeMetaBase {
public:
    virtual ~TypeMetaBase() = default;

    /// The type's name. The string lives as long as the process.
    virtual const std::string& typeName() const = 0;

    /// A further record (not a value) of the same type. The caller deletes it.
    virtual TypeMetaBase* newInstance() const = 0;
};

}  // namespace Skelvar
