#include <skelvar/numerics/Expansion.h>

#include <cmath>

namespace Skelvar {

namespace {

/// Collects the terms of a result, smallest first, without the zeros.
class Terms {
public:
    explicit Terms(double* out_h) : m_h(out_h) {}

    void add(double in_term)
    {
        if (in_term != 0) {
            m_h[m_length++] = in_term;
        }
    }
    /// Ends with the largest term. Returns the length.
    int finish(double in_term)
    {
        if (in_term != 0 || m_length == 0) {
            m_h[m_length++] = in_term;
        }
        return m_length;
    }

private:
    double* m_h;
    int m_length = 0;
};

}  // namespace

int fast_expansion_sum_zeroelim(int in_elen, double* in_e, int in_flen, double* in_f, double* out_h)
{
    int e = 0;
    int f = 0;
    const auto next = [&] {  // the term of least magnitude that is left
        if (f == in_flen || (e < in_elen && std::fabs(in_e[e]) < std::fabs(in_f[f]))) {
            return in_e[e++];
        }
        return in_f[f++];
    };
    Terms terms(out_h);
    double sum = next();
    for (int n = 1; n < in_elen + in_flen; ++n) {
        const Detail::HeadTail rounded = Detail::twoSum(sum, next());
        sum = rounded.head;
        terms.add(rounded.tail);
    }
    return terms.finish(sum);
}

int scale_expansion_zeroelim(int in_elen, double* in_e, double in_b, double* out_h)
{
    const Detail::HeadTail b = Detail::halves(in_b);
    Terms terms(out_h);
    const Detail::HeadTail first = Detail::twoProduct(in_e[0], in_b, b);
    terms.add(first.tail);
    double sum = first.head;
    for (int n = 1; n < in_elen; ++n) {
        const Detail::HeadTail product = Detail::twoProduct(in_e[n], in_b, b);
        const Detail::HeadTail low = Detail::twoSum(sum, product.tail);
        terms.add(low.tail);
        const Detail::HeadTail high = Detail::twoSum(product.head, low.head);
        terms.add(high.tail);
        sum = high.head;
    }
    return terms.finish(sum);
}

}  // namespace Skelvar
