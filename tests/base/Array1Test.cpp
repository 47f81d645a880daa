#include <skelvar/base/array1.h>

#include <tests/support/Random.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

TEST(Array1, GrowsExactlyOrByDoubling)
{
    array1<int> array;

    array.reserve(10);
    EXPECT_EQ(10, array.capacity());
    array.reserve_grow(11);
    EXPECT_EQ(20, array.capacity());
    array.reserve_grow(50);
    EXPECT_EQ(50, array.capacity());
    array.resize(51);
    EXPECT_EQ(51, array.capacity());
    array.resize(3);
    array.clear();
    EXPECT_EQ(51, array.capacity());
    array.release();
    EXPECT_EQ(0, array.capacity());
}

TEST(Array1, ThrowsAndStaysAsItWasWhenThereIsNoMemory)
{
    const long long most = std::numeric_limits<long long>::max();
    array1<double> array(2);
    array[1] = 7.0;

    for (const long long count : {most, most / 8 + 1, most / 16, -1ll}) {
        SCOPED_TRACE(count);
        try {
            array.resize(count);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ("Out of memory.", error.what());
        }
    }
    EXPECT_EQ(2, array.size());
    EXPECT_EQ(7.0, array[1]);
}

/// Elements that own memory, against a vector, over random growth, shrinking and copies.
TEST(Array1, BuildsMovesAndDestroysElementsProperly)
{
    Testing::Random random(20240611);
    SCOPED_TRACE(random.seed());
    const auto token = std::make_shared<int>(0);
    std::vector<std::shared_ptr<int>> model;
    array1<std::shared_ptr<int>> array;

    for (int step = 0; step < 2000; ++step) {
        const int size = random.integer(0, 40);
        switch (random.integer(0, 4)) {
            case 0:
                model.push_back(token);
                array.push_back(token);
                break;
            case 1:
                model.resize(size);
                array.resize(size);
                break;
            case 2:
                array.reserve_grow(size);
                break;
            case 3:
                if (!array.empty()) {
                    model.push_back(model.front());
                    array.push_back(array[0]);
                }
                break;
            default:
                array = array1<std::shared_ptr<int>>(array);
        }
        ASSERT_EQ(model, std::vector<std::shared_ptr<int>>(array.begin(), array.end()));
        ASSERT_EQ(1 + 2 * std::count(model.begin(), model.end(), token), token.use_count());
    }
    array.release();
    model.clear();
    EXPECT_EQ(1, token.use_count());
}

/// Large arrays take another road through memory and copying.
TEST(Array1, KeepsEveryElementOfALargeArray)
{
    const long long count = (9 << 20) / 4 + 3;
    array1<int> array(count);
    std::iota(array.begin(), array.end(), 0);

    array1<int> copied(array);
    array.reserve_grow(count + 1);

    long long wrong = 0;
    for (long long n = 0; n < count; ++n) {
        wrong += copied[n] != n || array[n] != n;
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(count, copied.capacity());
}

TEST(Array1, LargeOnesDoNotShareMemory)
{
    // Released memory of large arrays serves others.
    Testing::Random random(5);
    SCOPED_TRACE(random.seed());
    std::vector<array1<int>> arrays(7);
    std::vector<int> tags(arrays.size());
    const auto cells_of = [](array1<int>& io_array) {
        const long long last = io_array.size() - 1;
        return std::vector<int*>{&io_array[0], &io_array[last / 2], &io_array[last]};
    };
    for (int step = 0; step < 120; ++step) {
        const int n = random.integer(0, 6);
        if (arrays[n].empty() || random.integer(0, 2) == 0) {
            arrays[n] = array1<int>(random.integer(10, 24) * 1'000'000LL);  // 40 to 96 MB
        } else if (random.integer(0, 4) == 0) {
            arrays[n].reserve_grow(arrays[n].capacity() + 1);
            ASSERT_EQ(tags[n], arrays[n][0]);
            arrays[n].resize(arrays[n].capacity());
        } else {
            arrays[n].release();
        }
        tags[n] = step;
        for (std::size_t m = 0; m < arrays.size(); ++m) {
            if (arrays[m].empty()) {
                continue;
            }
            for (int* const cell : cells_of(arrays[m])) {
                if (static_cast<int>(m) == n) {
                    *cell = step;
                }
                ASSERT_EQ(tags[m], *cell) << "step " << step << ", array " << m;
            }
        }
    }
}

}  // namespace
}  // namespace Skelvar
