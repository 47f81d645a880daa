#pragma once

#include <skelvar/base/TypeMetaBase.h>
#include <skelvar/base/ValueTypes.h>

#include <string>

namespace Skelvar {

/// The text name of `T`: of a scalar the name of the table below, of a class its `T::typeName()`.
/// Built once, on first use; any thread may ask.
template <typename T>
const std::string& typeNameOf()
{
    return T::typeName();
}

template <>
SKELVAR_API const std::string& typeNameOf<signed char>();  // "int8_t"
template <>
SKELVAR_API const std::string& typeNameOf<short>();  // "int16_t"
template <>
SKELVAR_API const std::string& typeNameOf<int>();  // "int32_t"
template <>
SKELVAR_API const std::string& typeNameOf<long long>();  // "int64_t"
template <>
SKELVAR_API const std::string& typeNameOf<unsigned char>();  // "uint8_t"
template <>
SKELVAR_API const std::string& typeNameOf<unsigned short>();  // "uint16_t"
template <>
SKELVAR_API const std::string& typeNameOf<unsigned int>();  // "uint32_t"
template <>
SKELVAR_API const std::string& typeNameOf<unsigned long long>();  // "uint64_t"
template <>
SKELVAR_API const std::string& typeNameOf<bool>();  // "bool"
template <>
SKELVAR_API const std::string& typeNameOf<float>();  // "float"
template <>
SKELVAR_API const std::string& typeNameOf<double>();  // "double"

/// The record of `T`. Has no data, so it serves as a tag on the stack.
template <typename T>
class SKELVAR_API TypeMeta : public TypeMetaBase {
public:
    const std::string& typeName() const override { return typeNameOf<T>(); }
    TypeMeta* newInstance() const override { return new TypeMeta; }
};

}  // namespace Skelvar

namespace orvel::Math {

#define SKELVAR_DECLARE(T) \
    template <>            \
    SKELVAR_API const std::string& Skelvar::T::typeName();
SKELVAR_FOR_VEC_TYPES(SKELVAR_DECLARE)
#undef SKELVAR_DECLARE

}  // namespace orvel::Math
