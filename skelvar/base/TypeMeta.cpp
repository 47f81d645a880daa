#include <skelvar/base/TypeMeta.h>

#include <sstream>

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

}  // namespace Skelvar

namespace orvel::Math {

template <int N, typename T>
const std::string& vec<N, T>::typeName()
{
    static const std::string s_typeName = [] {
        std::ostringstream text;
        text << "vec<" << N << "," << Skelvar::typeNameOf<T>() << ">";
        return text.str();
    }();
    return s_typeName;
}

#define SKELVAR_INSTANTIATE(T) template SKELVAR_API const std::string& Skelvar::T::typeName();
SKELVAR_FOR_VEC_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

}  // namespace orvel::Math
