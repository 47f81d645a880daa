#include <skelvar/base/TypeMeta.h>

#include <sstream>

namespace Skelvar {

namespace Detail {

template <typename V>
const std::string& vecTypeName()
{
    static const std::string& s_typeName = *new std::string([] {
        std::ostringstream text;
        text << "vec<" << V::kSize << "," << typeNameOf<typename V::value_type>() << ">";
        return text.str();
    }());
    return s_typeName;
}

#define SKELVAR_INSTANTIATE(T) template const std::string& vecTypeName<T>();
SKELVAR_FOR_VEC_TYPES(SKELVAR_INSTANTIATE)
#undef SKELVAR_INSTANTIATE

/// A name that is built at its first use and never destroyed: static objects may ask for it while
/// the process ends.
template <typename T>
const std::string& scalarName(const char* in_name)
{
    static const std::string& s_Name = *new std::string(in_name);
    return s_Name;
}

}  // namespace Detail

template <>
const std::string& typeNameOf<signed char>()
{
    return Detail::scalarName<signed char>("int8_t");
}

template <>
const std::string& typeNameOf<short>()
{
    return Detail::scalarName<short>("int16_t");
}

template <>
const std::string& typeNameOf<int>()
{
    return Detail::scalarName<int>("int32_t");
}

template <>
const std::string& typeNameOf<long long>()
{
    return Detail::scalarName<long long>("int64_t");
}

template <>
const std::string& typeNameOf<unsigned char>()
{
    return Detail::scalarName<unsigned char>("uint8_t");
}

template <>
const std::string& typeNameOf<unsigned short>()
{
    return Detail::scalarName<unsigned short>("uint16_t");
}

template <>
const std::string& typeNameOf<unsigned int>()
{
    return Detail::scalarName<unsigned int>("uint32_t");
}

template <>
const std::string& typeNameOf<unsigned long long>()
{
    return Detail::scalarName<unsigned long long>("uint64_t");
}

template <>
const std::string& typeNameOf<bool>()
{
    return Detail::scalarName<bool>("bool");
}

template <>
const std::string& typeNameOf<float>()
{
    return Detail::scalarName<float>("float");
}

template <>
const std::string& typeNameOf<double>()
{
    return Detail::scalarName<double>("double");
}

}  // namespace Skelvar
