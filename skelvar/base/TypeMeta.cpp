#include <skelvar/base/TypeMeta.h>

#include <string>

namespace Skelvar {

#define SKELVAR_SCALAR_NAME(T, NAME)            \
    template <>                                 \
    const std::string& typeNameOf<T>()          \
    {                                           \
        static const std::string s_Name = NAME; \
        return s_Name;                          \
    }
SKELVAR_SCALAR_NAME(signed char, "int8_t")
SKELVAR_SCALAR_NAME(short, "int16_t")
SKELVAR_SCALAR_NAME(int, "int32_t")
SKELVAR_SCALAR_NAME(long long, "int64_t")
SKELVAR_SCALAR_NAME(unsigned char, "uint8_t")
SKELVAR_SCALAR_NAME(unsigned short, "uint16_t")
SKELVAR_SCALAR_NAME(unsigned int, "uint32_t")
SKELVAR_SCALAR_NAME(unsigned long long, "uint64_t")
SKELVAR_SCALAR_NAME(bool, "bool")
SKELVAR_SCALAR_NAME(float, "float")
SKELVAR_SCALAR_NAME(double, "double")
#undef SKELVAR_SCALAR_NAME

namespace {

template <int N, typename T>
std::string nameOfVec(const orvel::Math::vec<N, T>&)
{
    return "vec<" + std::to_string(N) + "," + typeNameOf<T>() + ">";
}

}  // namespace

}  // namespace Skelvar

namespace orvel::Math {

#define SKELVAR_DEFINE(T)                                                       \
    template <>                                                                 \
    const std::string& Skelvar::T::typeName()                                   \
    {                                                                           \
        static const std::string s_typeName = Skelvar::nameOfVec(Skelvar::T()); \
        return s_typeName;                                                      \
    }
SKELVAR_FOR_VEC_TYPES(SKELVAR_DEFINE)
#undef SKELVAR_DEFINE

}  // namespace orvel::Math
