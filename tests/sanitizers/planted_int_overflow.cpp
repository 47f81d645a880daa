#include <iostream>
#include <limits>

// Wrong on purpose: the sum does not fit.
int main(int in_count, char**)
{
    std::cout << std::numeric_limits<int>::max() + in_count << '\n';
    return 0;
}
