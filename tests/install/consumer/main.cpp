#include <skelvar/Version.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/base/array1.h>

#include <iostream>

// A program outside the project: it sees the installed headers and libraries and nothing else.
int main()
{
    Skelvar::array1<float> values(125);
    const Skelvar::TypeMeta<Skelvar::vec3f> meta;
    std::cout << "Skelvar " << SKELVAR_VERSION << ": " << values.size() << " values, "
              << meta.typeName() << '\n';
    return meta.typeName().empty() ? 1 : 0;
}
