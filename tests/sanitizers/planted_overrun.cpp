#include <skelvar/base/array1.h>

#include <iostream>

// Wrong on purpose: reads one past the end of an array of the library's own allocator.
int main(int in_count, char**)
{
    Skelvar::array1<float> values(125);
    values[0] = 1.0f;
    std::cout << values[124 + in_count] << '\n';
    return 0;
}
