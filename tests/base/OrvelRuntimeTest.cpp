#include <orvel/Compute.h>
#include <orvel/Vector.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

using orvel::compute::EvaluationParameters;
using orvel::compute::wrapCopy;
using orvel::compute::wrapCreate;
using orvel::compute::wrapDestroy;
using orvel::compute::wrapIn;

template <typename T>
void set(EvaluationParameters& io_parameters, const char* in_name, const T& in_value)
{
    io_parameters.setGlobal(in_name, &in_value, wrapCreate<T>, wrapCopy<T>, wrapDestroy<T>);
}

template <typename T>
bool get(const EvaluationParameters& in_parameters, const char* in_name, T& out_value)
{
    return in_parameters.getGlobal(in_name, &out_value, wrapIn<T>, wrapCopy<T>);
}

TEST(EvaluationParameters, GiveBackTheLastValueOfANameInItsTypeOnly)
{
    const auto parameters = orvel::compute::createEvaluationParameters();
    set(*parameters, "G.dt", 0.5f);
    set(*parameters, "G.dt", 0.25f);
    float value = 0;
    unsigned int other = 7;

    EXPECT_TRUE(get(*parameters, "G.dt", value));
    EXPECT_FALSE(get(*parameters, "G.dt", other));
    EXPECT_FALSE(get(*parameters, "G.time", other));
    EXPECT_EQ(0.25f, value);
    EXPECT_EQ(7u, other);
}

TEST(EvaluationParameters, OwnTheirValues)
{
    const auto shared = std::make_shared<int>(1);
    auto parameters = orvel::compute::createEvaluationParameters();

    set(*parameters, "a", shared);
    set(*parameters, "b", shared);
    EXPECT_EQ(3, shared.use_count());
    set(*parameters, "a", 1.0f);
    EXPECT_EQ(2, shared.use_count());
    parameters.reset();
    EXPECT_EQ(1, shared.use_count());
}

TEST(OrvelVector, ChecksItsIndexAndSharesItsList)
{
    orvel::Vector<int> null;
    EXPECT_EQ(0u, null.size());
    EXPECT_THROW(null[0], std::runtime_error);

    orvel::Vector<int> list = {1, 2};
    orvel::Vector<int> other = list;
    other.push_back(3);
    other[0] = 9;

    EXPECT_EQ(3u, list.size());
    EXPECT_EQ(9, list.at(0));
    EXPECT_THROW(list.at(3), std::runtime_error);
}

}  // namespace
