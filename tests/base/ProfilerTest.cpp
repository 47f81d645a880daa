#include <skelvar/base/SkelvarProfiler.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Skelvar {
namespace {

std::vector<std::string> s_events;

/// Sets the hooks for the length of a test; each event is told by its name.
struct RecordEvents {
    RecordEvents()
    {
        s_events.clear();
        SkelvarProfiler::eventBeginFunc = [](int, int, const char* in_name, int) -> void* {
            s_events.push_back(std::string("begin ") + in_name);
            return nullptr;
        };
        SkelvarProfiler::eventEndFunc = [](void*) { s_events.push_back("end"); };
    }
    ~RecordEvents()
    {
        SkelvarProfiler::eventBeginFunc = nullptr;
        SkelvarProfiler::eventEndFunc = nullptr;
    }
};

TEST(SkelvarProfiler, EndsAnEventThatAnExceptionLeaves)
{
    const RecordEvents record;

    EXPECT_THROW(
        {
            const SkelvarProfiler::Scope scope("work");
            throw std::runtime_error("stop");
        },
        std::runtime_error);

    EXPECT_EQ((std::vector<std::string>{"begin work", "end"}), s_events);
}

TEST(SkelvarProfiler, DoesNotEndWhatItDidNotBegin)
{
    const SkelvarProfiler::Scope scope("before the host came");
    {
        const SkelvarProfiler::Scope inner("too");
        s_events.clear();
        SkelvarProfiler::eventEndFunc = [](void*) { s_events.push_back("end"); };
    }
    SkelvarProfiler::eventEndFunc = nullptr;

    EXPECT_TRUE(s_events.empty());
}

}  // namespace
}  // namespace Skelvar
