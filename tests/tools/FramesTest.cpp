#include <tools/kvf/Frames.h>
#include <tools/kvf/Interrupt.h>
#include <tools/kvf/Output.h>
#include <tools/kvf/Progress.h>

#include <tests/support/TempFolder.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

namespace Skelvar::Tool::Test {

using Skelvar::Test::TempFolder;
namespace {

std::set<int> framesOf(const std::vector<FrameTask>& in_tasks)
{
    std::set<int> frames;
    for (const FrameTask& task : in_tasks) {
        EXPECT_TRUE(frames.insert(task.frame.value()).second) << "frame twice";
    }
    return frames;
}

/// The frames of a range, counted up.
std::set<int> countUp(int in_first, int in_last, int in_step)
{
    std::set<int> frames;
    for (int frame = in_first; frame <= in_last; frame += in_step) {
        frames.insert(frame);
    }
    return frames;
}

TEST(Frames, AreThoseThatCountingUpFindsAndShardsPartitionThem)
{
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto number = [&](int in_least, int in_most) {
        return std::uniform_int_distribution<int>(in_least, in_most)(random);
    };
    for (const char* const pattern : {"f.#.kvf", "take@@/f.kvf", "@x7.kvf"}) {
        const TempFolder folder;
        std::filesystem::create_directories(folder.file("take-9"));
        std::map<int, std::string> files;
        for (int n = 0; n < 40; ++n) {
            const int frame = number(-20, 200);
            files[frame] = FileUtils::buildFilename(folder.file(pattern), frame);
            std::filesystem::create_directories(std::filesystem::path(files[frame]).parent_path());
            std::ofstream(files[frame]) << "x";
        }
        folder.write("f.12.kvf", "of another width");
        folder.write("f.kvf", "of no number");
        for (int round = 0; round < 60; ++round) {
            const int first = number(-20, 100), last = first + number(0, 100), step = number(1, 9);
            FrameOptions options;
            options.frames =
                std::to_string(first) + "-" + std::to_string(last) + "x" + std::to_string(step);
            std::set<int> expected;
            for (const int frame : countUp(first, last, step)) {
                if (files.count(frame) > 0) {
                    expected.insert(frame);
                }
            }
            EXPECT_EQ(static_cast<long long>(countUp(first, last, step).size()),
                      parseFrameRange(options.frames).count());
            if (expected.empty()) {
                continue;
            }
            testing::internal::CaptureStderr();
            const auto tasks = selectFrames(folder.file(pattern), "", options);
            EXPECT_EQ(expected, framesOf(tasks)) << options.frames;
            EXPECT_EQ(files[*expected.begin()], tasks.front().input);
            std::set<int> shared;
            const int count = number(1, 5);
            for (int shard = 1; shard <= count; ++shard) {
                options.shard = std::to_string(shard) + "/" + std::to_string(count);
                for (const int frame : framesOf(selectFrames(folder.file(pattern), "", options))) {
                    EXPECT_TRUE(shared.insert(frame).second) << "in two shards: " << frame;
                }
            }
            EXPECT_EQ(expected, shared);
            testing::internal::GetCapturedStderr();
        }
    }
}

TEST(Frames, OfAShardStayWhenMoreFilesAppear)
{
    const TempFolder folder;
    FrameOptions options;
    options.frames = "1-20";
    options.shard = "2/3";
    folder.write("f.0005.kvf", "x");
    testing::internal::CaptureStderr();

    EXPECT_EQ(std::set<int>{5}, framesOf(selectFrames(folder.file("f.#.kvf"), "", options)));
    folder.write("f.0001.kvf", "x");
    folder.write("f.0002.kvf", "x");
    EXPECT_EQ((std::set<int>{2, 5}), framesOf(selectFrames(folder.file("f.#.kvf"), "", options)));

    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("17 of 20 frames"));
}

TEST(Frames, ThatMakeNoSenseAreRefused)
{
    for (const char* text :
         {"", "a", "1-", "5-1", "1-9x0", "1-9x-2", "1-9x2 ", "1,2", "1-99999999999"}) {
        EXPECT_THROW(parseFrameRange(text), ToolError) << text;
    }
    for (const char* text : {"", "1", "0/4", "5/4", "1/0", "-1/4", "1/4x", "1/"}) {
        EXPECT_THROW(parseShard(text), ToolError) << text;
    }
}

TEST(Frames, RunEachOnceInOrderAndGoOnAfterAFailure)
{
    std::vector<FrameTask> tasks;
    std::string expected;
    for (int frame = 1; frame <= 50; ++frame) {
        tasks.push_back({frame, "in", ""});
        expected += frame == 7 ? "" : std::to_string(frame) + "\n";
    }
    for (const int jobs : {1, 4}) {
        FrameOptions options;
        options.jobs = jobs;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();

        const ExitStatus status = runFrames("test", tasks, options, [](const FrameTask& in_task) {
            if (*in_task.frame == 7) {
                throw ToolError(eFileUnreadable, "no good");
            }
            return FrameResult{std::to_string(*in_task.frame) + "\n"};
        });

        EXPECT_EQ(eFileUnreadable, status);
        EXPECT_EQ(expected, testing::internal::GetCapturedStdout());
        EXPECT_EQ("kvf: frame 7: no good\n", testing::internal::GetCapturedStderr());
    }
}

TEST(Frames, AfterAnInterruptAreLeftAlone)
{
    std::vector<FrameTask> tasks(20, FrameTask{1, "in", ""});
    int done = 0;
    testing::internal::CaptureStderr();

    const ExitStatus status = runFrames("test", tasks, {}, [&](const FrameTask&) {
        if (++done == 3) {
            std::raise(SIGTERM);
        }
        return FrameResult{};
    });

    EXPECT_EQ(eInterrupted, status);
    EXPECT_EQ(3, done);
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("3 of 20 frames"));
}

TEST(OutputFileDeathTest, AppearsWholeWhenAnInterruptComesWhileItIsWritten)
{
    const TempFolder folder;
    const auto write = [&](bool in_twice) {
        OutputFile file(folder.file("a.txt"));
        std::ofstream(file.path()) << "half";
        std::raise(SIGTERM);
        if (in_twice) {
            std::raise(SIGTERM);
        }
        std::ofstream(file.path(), std::ios::app) << " and half";
        file.commit();
    };
    EXPECT_EXIT(write(true), ::testing::KilledBySignal(SIGTERM), "");
    EXPECT_FALSE(std::filesystem::exists(folder.file("a.txt")));
    EXPECT_EXIT(write(false), ::testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ("half and half", folder.read("a.txt"));
}

TEST(ProgressDeathTest, IsWipedAwayBeforeAnInterruptEndsTheProgram)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const int its_end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    const auto interrupt = [&] {
        dup2(its_end, STDERR_FILENO);
        wipeLineOnInterrupt();
        Progress progress("Tracing", 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        progress.advance(5);
        std::raise(SIGINT);
    };

    EXPECT_EXIT(interrupt(), ::testing::KilledBySignal(SIGINT), "");

    char text[200] = {};
    ASSERT_GT(read(terminal, text, sizeof(text) - 1), 0);
    const std::string bar = "\rTracing [" + std::string(20, '#') + std::string(20, '.') + "]  50%";
    EXPECT_EQ(bar + "\r\033[K", text);
    close(its_end);
    close(terminal);
}

}  // namespace
}  // namespace Skelvar::Tool::Test
