#include <skelvar/base/TypeMeta.h>

#include <gtest/gtest.h>

namespace Skelvar {
namespace {

TEST(TypeMeta, GivesTheNamesThatFilesHold)
{
    EXPECT_EQ("int8_t", TypeMeta<signed char>().typeName());
    EXPECT_EQ("int16_t", TypeMeta<short>().typeName());
    EXPECT_EQ("int32_t", TypeMeta<int>().typeName());
    EXPECT_EQ("int64_t", TypeMeta<long long>().typeName());
    EXPECT_EQ("uint8_t", TypeMeta<unsigned char>().typeName());
    EXPECT_EQ("uint16_t", TypeMeta<unsigned short>().typeName());
    EXPECT_EQ("uint32_t", TypeMeta<unsigned int>().typeName());
    EXPECT_EQ("uint64_t", TypeMeta<unsigned long long>().typeName());
    EXPECT_EQ("bool", TypeMeta<bool>().typeName());
    EXPECT_EQ("float", TypeMeta<float>().typeName());
    EXPECT_EQ("double", TypeMeta<double>().typeName());
    EXPECT_EQ("vec<2,float>", TypeMeta<vec2f>().typeName());
    EXPECT_EQ("vec<3,float>", TypeMeta<vec3f>().typeName());
    EXPECT_EQ("vec<4,float>", TypeMeta<vec4f>().typeName());
    EXPECT_EQ("vec<2,int32_t>", TypeMeta<vec2i>().typeName());
    EXPECT_EQ("vec<3,int32_t>", TypeMeta<vec3i>().typeName());
    EXPECT_EQ("vec<4,int32_t>", TypeMeta<vec4i>().typeName());
}

}  // namespace
}  // namespace Skelvar
