#include <tests/io/Scene.h>
#include <tests/support/TempFolder.h>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

namespace Skelvar {
namespace {

using namespace Test;

Scene sceneOf(int in_tiles)
{
    Scene scene(in_tiles);
    scene.add<float>("density");
    return scene;
}

/// Lets no file grow beyond a size, so that writing fails there as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(unsigned long in_bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{in_bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before{};
    void (*m_handler)(int);
};

TEST(KvfSave, KeepsTheOlderFileWhenTheDiskIsFull)
{
    const TempFolder folder;
    const std::string path = folder.file("a.kvf");
    ASSERT_TRUE(sceneOf(3).save(path));
    const std::string before = readFile(path);
    const Scene large = sceneOf(4000);
    for (const unsigned long limit : {0ul, 100ul, 300000ul, 1000000ul}) {
        const FileSizeLimit full(limit);
        EXPECT_FALSE(large.save(path)) << limit;
        EXPECT_NE(std::string::npos, kvfLastError().find("cannot write: File too large"))
            << kvfLastError();
    }

    EXPECT_EQ(before, readFile(path));
    EXPECT_EQ(std::set<std::string>{"a.kvf"}, folder.names());
}

TEST(KvfSave, FailsIntoADeviceThatTakesNothing)
{
    const Scene scene = sceneOf(3);

    EXPECT_FALSE(scene.save("/dev/full"));

    EXPECT_NE(std::string::npos, kvfLastError().find("No space left on device"));
    struct stat status;
    ASSERT_EQ(0, ::stat("/dev/full", &status));
    EXPECT_TRUE(S_ISCHR(status.st_mode)) << "the device is still there";
}

TEST(KvfSave, ReplacesAFileAndKeepsItsPermissions)
{
    const TempFolder folder;
    const std::string path = folder.file("a.kvf");
    writeFile(path, "older");
    ::chmod(path.c_str(), 0640);

    ASSERT_TRUE(sceneOf(3).save(path)) << kvfLastError();

    const auto loaded = newState();
    EXPECT_TRUE(kvfLoad(*loaded, path));
    struct stat status;
    ASSERT_EQ(0, ::stat(path.c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 0777u);
    EXPECT_EQ(std::set<std::string>{"a.kvf"}, folder.names());
}

TEST(KvfSave, WritesBehindALink)
{
    const TempFolder folder;
    FileUtils::createFolder(folder.file("elsewhere"));
    writeFile(folder.file("elsewhere/real.kvf"), "older");
    std::filesystem::create_symlink("elsewhere/real.kvf", folder.file("link.kvf"));

    ASSERT_TRUE(sceneOf(3).save(folder.file("link.kvf"))) << kvfLastError();

    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link.kvf")));
    EXPECT_GT(std::filesystem::file_size(folder.file("elsewhere/real.kvf")), 100u);
}

TEST(KvfSave, RefusesAFolderInPlaceOfTheFile)
{
    const TempFolder folder;
    const std::string path = folder.file("a.kvf");
    FileUtils::createFolder(path);

    testing::internal::CaptureStdout();
    EXPECT_FALSE(sceneOf(3).save(path));

    EXPECT_EQ("[KVF error] - Failed to open file for writing:" + path + "\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(path + ": cannot be opened for writing: Is a directory", kvfLastError());
    EXPECT_EQ(std::set<std::string>{"a.kvf"}, folder.names());
}

/// Runs the body as a user who may not write everywhere; its result is the child's exit status.
template <typename Body>
int runUnprivileged(const Body& in_body)
{
    const ::pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && ::setuid(65534) != 0) {
            ::_exit(99);
        }
        ::_exit(in_body());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(KvfSave, FailsInAFolderThatMayNotBeWritten)
{
    const TempFolder folder;
    const std::string path = folder.file("a.kvf");
    writeFile(path, "older");
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
    const Scene scene(1);

    EXPECT_EQ(7, runUnprivileged([&] {
                  testing::internal::CaptureStdout();
                  const bool saved = scene.save(path);
                  const bool told = testing::internal::GetCapturedStdout() ==
                                    "[KVF error] - Failed to open file for writing:" + path + "\n";
                  return (saved ? 0 : 1) + (told ? 2 : 0) + (readFile(path) == "older" ? 4 : 0);
              }));
}

TEST(KvfSave, TakesEveryCharacterOfAPathAsItIsAndNamesOfFullLength)
{
    const TempFolder folder;
    const Scene scene = sceneOf(3);
    const std::vector<std::string> names = {"q\"uote/a.kvf",
                                            "$(touch marker)/a.kvf",
                                            "`touch marker`.kvf",
                                            "a b;touch marker.kvf",
                                            "'single'.kvf",
                                            "*.kvf",
                                            std::string(251, 'n') + ".kvf"};
    for (const std::string& name : names) {
        ASSERT_TRUE(scene.save(folder.file(name))) << name << ": " << kvfLastError();
        const auto loaded = newState();
        EXPECT_TRUE(kvfLoad(*loaded, folder.file(name))) << name;
    }
    EXPECT_FALSE(std::filesystem::exists("marker"));
    EXPECT_EQ(0u, folder.names().count("marker"));
}

/// Starts a program and gives its process.
::pid_t start(std::vector<std::string> in_words)
{
    std::vector<char*> words;
    for (std::string& word : in_words) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    ::pid_t process = -1;
    ::posix_spawn(&process, words[0], nullptr, nullptr, words.data(), environ);
    return process;
}

TEST(KvfSave, LeavesAWholeFileWheneverItIsKilled)
{
#ifdef SKELVAR_CHECKED_BUILD
    constexpr int kProcesses = 40;
#else
    constexpr int kProcesses = 1000;
#endif
    const TempFolder folder;
    const std::string path = folder.file("a.kvf");
    std::string fields[2];
    const auto begin = std::chrono::steady_clock::now();
    for (int n = 0; n < 2; ++n) {
        ::waitpid(start({SAVE_LOOP_PROGRAM, std::to_string(n), path}), nullptr, 0);
        fields[n] = readFile(path);
        ASSERT_FALSE(fields[n].empty());
    }
    const std::chrono::microseconds longest = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - begin);
    const unsigned int seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int changes = 0;
    std::string before = fields[1];
    for (int n = 0; n < kProcesses; ++n) {
        const ::pid_t process = start({SAVE_LOOP_PROGRAM, path});
        ASSERT_GT(process, 0);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % longest.count()));
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);

        const std::string after = readFile(path);
        ASSERT_TRUE(after == fields[0] || after == fields[1]) << "process " << n;
        changes += after != before ? 1 : 0;
        before = after;
    }
    EXPECT_GT(changes, kProcesses / 20) << "most were killed before they saved anything";
}

}  // namespace
}  // namespace Skelvar
