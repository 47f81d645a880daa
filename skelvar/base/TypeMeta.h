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

namespace Detail {

/// Name of a vector type `V`, for those of `SKELVAR_FOR_VEC_TYPES`.
template <typename V>
SKELVAR_API const std::string& vecTypeName();

#define SKELVAR_EXTERN(T) extern template SKELVAR_API const std::string& vecTypeName<T>();
SKELVAR_FOR_VEC_TYPES(SKELVAR_EXTERN)
#undef SKELVAR_EXTERN

}  // namespace Detail

/// The record of `T`. Has no data, so it serves as a tag on the stack.
template <typename T>
class SKELVAR_API TypeMeta : public TypeMetaBase {
public:
    const std::string& typeName() const override { return typeNameOf<T>(); }
    TypeMeta* newInstance() const override { return new TypeMeta; }
};

}  // namespace Skelvar

namespace orvel::Math {

template <int N, typename T>
inline const std::string& vec<N, T>::typeName()
{
    return Skelvar::Detail::vecTypeName<vec>();
}

}  // namespace orvel::Math
