#include <tests/support/TempFolder.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace Skelvar {
namespace {

using namespace Test;

TEST(BuildFilename, PutsTheFrameInPlaceOfThePattern)
{
    const struct {
        const char* path;
        int frame;
        const char* expected;
    } rows[] = {
        {"", 7, ""},
        {"a.kvf", 7, "a.kvf"},
        {"a\\b.kvf", 7, "a\\b.kvf"},  // no pattern: not even normalised
        {"a\\b.#.kvf", 7, "a/b.0007.kvf"},
        {"a.#.kvf", 7, "a.0007.kvf"},
        {"a.#.kvf", -7, "a.-007.kvf"},
        {"a.#.kvf", 123456, "a.123456.kvf"},
        {"a.#.kvf", -12345, "a.-12345.kvf"},
        {"x.@@@.y", 5, "x.005.y"},
        {"x.@@@@.y", 5, "x.0005.y"},
        {"x.@@.y", -5, "x.-5.y"},
        {"x.@.y", 12, "x.12.y"},
        {"x.@.y", -1, "x.-1.y"},
        {"x.@@@@@.y", 5, "x.0005@.y"},
        {"x.@.@@@.y", 5, "x.@.005.y"},  // the longest form wins over an earlier one
        {"x.@@@@.#.y", 5, "x.@@@@.0005.y"},
        {"x.#.#.y", 5, "x.0005.#.y"},
        {"f.#/x.kvf", 5, "f.0005/x.kvf"},
        {"a.#.kvf", INT_MIN, "a.-2147483648.kvf"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, FileUtils::buildFilename(row.path, row.frame)) << row.path;
    }
}

TEST(FolderPath, EndsWithTheLastSeparatorOfEitherKind)
{
    EXPECT_EQ("", FileUtils::extractFolderPath("a.kvf"));
    EXPECT_EQ("/", FileUtils::extractFolderPath("/a.kvf"));
    EXPECT_EQ("a/b/", FileUtils::extractFolderPath("a/b/c"));
    EXPECT_EQ("a\\b\\", FileUtils::extractFolderPath("a\\b\\c"));
    EXPECT_EQ("a/b/", FileUtils::extractFolderPath("a/b/"));
    EXPECT_TRUE(FileUtils::isPathFolderSyntax("a\\"));
    EXPECT_FALSE(FileUtils::isPathFolderSyntax(""));
}

TEST(PathExists, SaysWhyNot)
{
    const TempFolder folder;
    writeFile(folder.file("f"), "x");
    ::symlink("loop", folder.file("loop").c_str());
    const std::string long_name = folder.file(std::string(300, 'n'));
    const struct {
        std::string path;
        const char* reason;
    } rows[] = {
        {folder.file("none"), " (Part of path doesn't exist)"},
        {folder.file("f/g"), " (Part of path prefix is not a directory)"},
        {folder.file("f/"), " (Part of path prefix is not a directory)"},
        {folder.file("loop"), " (Too many symbolic links)"},
        {long_name, " (Name too long)"},
    };
    std::string reason;
    for (const auto& row : rows) {
        EXPECT_FALSE(FileUtils::filePathExists(row.path, reason)) << row.path;
        EXPECT_EQ(row.path + row.reason, reason);
    }
    EXPECT_TRUE(FileUtils::filePathExists(folder.file("f"), reason));
    EXPECT_TRUE(FileUtils::filePathExists(folder.path() + "/", reason));
}

TEST(CreateFolder, MakesParentsAndTakesEachCharacterAsItIs)
{
    const TempFolder folder;
    const std::string marker = folder.file("marker");
    for (const char* name : {"a/b/c", "a/b/d/", "q\"uote/x", "do$(touch MARKER)llar/x",
                             "back`touch MARKER`quote", "semi; touch MARKER", " blank "}) {
        std::string path = folder.file(name);
        if (const auto at = path.find("MARKER"); at != std::string::npos) {
            path.replace(at, 6, marker.substr(1));  // a shell would run this
        }
        EXPECT_TRUE(FileUtils::createFolder(path)) << path;
        EXPECT_TRUE(FileUtils::createFolder(path)) << "again: " << path;
        EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
    }
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST(CreateFolder, FailsOverAFileAndForNoPath)
{
    const TempFolder folder;
    writeFile(folder.file("f"), "x");

    EXPECT_FALSE(FileUtils::createFolder(""));
    EXPECT_FALSE(FileUtils::createFolder(folder.file("f")));
    EXPECT_FALSE(FileUtils::createFolder(folder.file("f/g")));
}

TEST(TempFolders, AreForTheirOwnerOnlyAndNamedByTheModel)
{
    const std::string path = FileUtils::createTempFolder();

    struct stat status;
    ASSERT_EQ(0, ::stat(path.c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 0777u);
    const std::string name = std::filesystem::path(path).filename().string();
    EXPECT_EQ(11u, name.size());
    for (std::size_t n = 0; n < name.size(); ++n) {
        EXPECT_EQ(n % 3 == 2, name[n] == '-') << name;
    }
    EXPECT_NE(FileUtils::uniqueTempFolder(), FileUtils::uniqueTempFolder());
    EXPECT_TRUE(FileUtils::deleteFolder(path));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(DeleteFolder, RemovesLinksWithoutFollowingThem)
{
    const TempFolder folder;
    const TempFolder other;
    writeFile(other.file("kept"), "x");
    FileUtils::createFolder(folder.file("gone/sub"));
    std::filesystem::create_symlink(other.path(), folder.file("gone/sub/link"));

    EXPECT_TRUE(FileUtils::deleteFolder(folder.file("gone")));

    EXPECT_FALSE(std::filesystem::exists(folder.file("gone")));
    EXPECT_TRUE(std::filesystem::exists(other.file("kept")));
    EXPECT_FALSE(FileUtils::deleteFolder(""));
    EXPECT_FALSE(FileUtils::deleteFolder("/"));
    EXPECT_FALSE(FileUtils::deleteFolder("//"));
}

}  // namespace
}  // namespace Skelvar
