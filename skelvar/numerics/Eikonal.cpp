#include <skelvar/numerics/Eikonal.h>

#include <algorithm>
#include <cmath>

namespace Skelvar {

float solveEikonal(float in_a, float in_b, float in_c, float in_dx)
{
    float values[3] = {in_a, in_b, in_c};
    std::sort(values, values + 3);
    const double dx = in_dx;
    double result = double(values[0]) + dx;
    // with n axes: the larger root d of the sum of (d - v)^2 = dx^2, from the least value on
    double sum = 0.0;
    double squares = 0.0;
    for (int count = 1; count <= 3 && result > double(values[count - 1]); ++count) {
        const double offset = double(values[count - 1]) - double(values[0]);
        sum += offset;
        squares += offset * offset;
        const double root = std::sqrt(std::max(sum * sum - count * (squares - dx * dx), 0.0));
        result = double(values[0]) + (sum + root) / count;
    }
    return static_cast<float>(result);
}

}  // namespace Skelvar
