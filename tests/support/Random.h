#pragma once

#include <gtest/gtest.h>

#include <random>

namespace Skelvar::Testing {

/// Random numbers of one test. A failure prints the seed through `SCOPED_TRACE(random.seed())`.
class Random {
public:
    explicit Random(unsigned int in_seed) : m_seed(in_seed), m_engine(in_seed) {}

    std::string seed() const { return "seed " + std::to_string(m_seed); }

    /// Uniform, both ends included.
    int integer(int in_low, int in_high)
    {
        return std::uniform_int_distribution<int>(in_low, in_high)(m_engine);
    }
    double real(double in_low, double in_high)
    {
        return std::uniform_real_distribution<double>(in_low, in_high)(m_engine);
    }

private:
    unsigned int m_seed;
    std::mt19937 m_engine;
};

}  // namespace Skelvar::Testing
