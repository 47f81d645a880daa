// Reading a channel between its values: each kind of sampler, at random positions and along walks.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>
#include <bench/support/Scene.h>

#include <skelvar/sampling/Sampler3D.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bench::vec3f;
using Range = tbb::blocked_range<std::size_t>;

constexpr std::size_t kGrain = 50000;  ///< positions for one sampler

const std::vector<vec3f>& positions(bool in_walk)
{
    static const std::vector<vec3f> s_random = Bench::bandRandomPositions();
    static const std::vector<vec3f> s_walk = Bench::bandWalkPositions();
    return in_walk ? s_walk : s_random;
}

double sumOf(float in_value)
{
    return in_value;
}
double sumOf(const vec3f& in_value)
{
    return in_value[0] + in_value[1] + in_value[2];
}

/// The same of some positions, many at a time.
double sumOfMany(const Skelvar::Sampler3D<float>& in_sampler, const vec3f* in_at,
                 std::size_t in_count, bool in_gradient)
{
    constexpr std::size_t kMost = 256;
    float values[kMost];
    vec3f gradients[kMost];
    double sum = 0.0;
    for (std::size_t begin = 0; begin < in_count; begin += kMost) {
        const std::size_t count = std::min(kMost, in_count - begin);
        if (in_gradient) {
            in_sampler.sampleGradient(in_at + begin, count, values, gradients);
        } else {
            in_sampler.sample(in_at + begin, count, values);
        }
        for (std::size_t n = 0; n < count; ++n) {
            sum += in_gradient ? sumOf(values[n]) + sumOf(gradients[n]) : sumOf(values[n]);
        }
    }
    return sum;
}

/// Sum of the values, and of the gradients if wanted, at all positions.
double sumOfSamples(bool in_walk, const std::string& in_kind, bool in_gradient, bool in_single)
{
    const auto sum_of = [&](const Range& in_range, double io_sum) {
        std::shared_ptr<Skelvar::BaseSampler> made;
        Bench::bandScene().channel->createSampler(in_kind, Skelvar::eTreeSpace, made);
        const auto& sampler = static_cast<const Skelvar::Sampler3D<float>&>(*made);
        const vec3f* const at = positions(in_walk).data();
        if (!in_single) {
            return io_sum + sumOfMany(sampler, at + in_range.begin(), in_range.size(), in_gradient);
        }
        for (std::size_t n = in_range.begin(); n != in_range.end(); ++n) {
            if (in_gradient) {
                vec3f gradient;
                io_sum += sampler.sampleGradient(at[n], &gradient);
                io_sum += sumOf(gradient);
            } else {
                io_sum += sampler.sample(at[n]);
            }
        }
        return io_sum;
    };
    return tbb::parallel_reduce(Range(0, positions(in_walk).size(), kGrain), 0.0, sum_of,
                                std::plus<double>());
}

void addJobs(const std::string& in_job, const std::string& in_kind, bool in_gradient)
{
    for (const bool walk : {false, true}) {
        for (const bool single : {false, true}) {
            for (const int threads : {1, 2}) {
                Bench::add({in_job + (walk ? ".walk" : ".random") +
                                (single ? "/skelvar-single" : "/skelvar"),
                            threads, "Msamples/s",
                            [=] { return static_cast<double>(positions(walk).size()) * 1e-6; },
                            [=] { Bench::keep(sumOfSamples(walk, in_kind, in_gradient, single)); },
                            [=] { Bench::bandScene(), positions(walk); }});
            }
        }
    }
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    addJobs("sample.linear", Skelvar::kVoxelSamplerLinearType, false);
    addJobs("sample.gradient", Skelvar::kVoxelSamplerLinearType, true);
    addJobs("sample.quadratic", Skelvar::kVoxelSamplerQBSplineType, false);
    addJobs("sample.quadraticgradient", Skelvar::kVoxelSamplerQBSplineType, true);
    addJobs("sample.weno", Skelvar::kVoxelSamplerWENOType, false);
    return Bench::runAll(in_argc, in_argv);
}
