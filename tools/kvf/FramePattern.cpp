#include <skelvar/io/FileUtils.h>

#include <tools/kvf/Frames.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>

namespace Skelvar::Tool {

namespace {

namespace fs = std::filesystem;

/// A path cut at the component that holds the pattern. All paths of a sequence are `folder` + a
/// name that begins with `prefix` and ends with `suffix` + `rest`.
struct CutPattern {
    std::string folder;  ///< with its last separator; may be empty
    std::string prefix;
    std::string suffix;
    std::string rest;  ///< behind the component, with its first separator; empty for a file's name
};

/// Two frames that differ in every digit tell where the pattern stands, whatever its form.
CutPattern cutAtPattern(const std::string& in_pattern)
{
    const std::string one = FileUtils::buildFilename(in_pattern, 1111);
    const std::string two = FileUtils::buildFilename(in_pattern, 2222);
    const auto [from, unused] = std::mismatch(one.begin(), one.end(), two.begin());
    const std::size_t start = static_cast<std::size_t>(from - one.begin());
    const std::size_t slash = one.rfind('/', start);
    const std::size_t component = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t end = std::min(one.find('/', start), one.size());
    return {one.substr(0, component), one.substr(component, start - component),
            one.substr(start + 4, end - start - 4), one.substr(end)};
}

/// The frame whose number stands between prefix and suffix of a name.
std::optional<int> frameOfName(const CutPattern& in_cut, const std::string& in_name)
{
    if (in_name.size() <= in_cut.prefix.size() + in_cut.suffix.size() ||
        !in_name.starts_with(in_cut.prefix) || !in_name.ends_with(in_cut.suffix)) {
        return std::nullopt;
    }
    const char* const begin = in_name.data() + in_cut.prefix.size();
    const char* const end = in_name.data() + in_name.size() - in_cut.suffix.size();
    int frame = 0;
    const auto [stop, error] = std::from_chars(begin, end, frame);
    return error == std::errc() && stop == end ? std::optional<int>(frame) : std::nullopt;
}

/// A whole number that stands at the start of a text, which then begins behind it.
long long takeNumber(std::string_view& io_text, const std::string& in_whole, const char* in_form)
{
    int number = 0;
    const char* const end = io_text.data() + io_text.size();
    const auto [stop, error] = std::from_chars(io_text.data(), end, number);
    if (error != std::errc()) {
        throw ToolError(eMisuse, in_whole + " is not of the form " + in_form);
    }
    io_text = io_text.substr(static_cast<std::size_t>(stop - io_text.data()));
    return number;
}

bool takeChar(std::string_view& io_text, char in_char)
{
    const bool is_there = !io_text.empty() && io_text.front() == in_char;
    io_text.remove_prefix(is_there ? 1 : 0);
    return is_there;
}

}  // namespace

bool FrameRange::holds(long long in_frame) const
{
    return in_frame >= first && in_frame <= last && (in_frame - first) % step == 0;
}

FrameRange parseFrameRange(const std::string& in_text)
{
    constexpr const char* kForm = "A-B or A-BxS, as in 1-100x5";
    std::string_view text = in_text;
    FrameRange range;
    range.first = takeNumber(text, in_text, kForm);
    range.last = takeChar(text, '-') ? takeNumber(text, in_text, kForm) : range.first;
    range.step = takeChar(text, 'x') ? takeNumber(text, in_text, kForm) : 1;
    if (!text.empty()) {
        throw ToolError(eMisuse, in_text + " is not of the form " + kForm);
    }
    if (range.step < 1) {
        throw ToolError(eMisuse, "the step in " + in_text + " must be 1 or more");
    }
    if (range.last < range.first) {
        throw ToolError(eMisuse,
                        "the frames " + in_text + " run backwards; the lower one goes first");
    }
    range.last -= (range.last - range.first) % range.step;
    return range;
}

Shard parseShard(const std::string& in_text)
{
    constexpr const char* kForm = "I/N, as in 2/8";
    std::string_view text = in_text;
    const long long number = takeNumber(text, in_text, kForm);
    const bool has_count = takeChar(text, '/');
    const long long count = has_count ? takeNumber(text, in_text, kForm) : 0;
    if (!has_count || !text.empty()) {
        throw ToolError(eMisuse, in_text + " is not of the form " + kForm);
    }
    if (count < 1 || number < 1 || number > count) {
        throw ToolError(eMisuse, "shard " + in_text + " is out of range: of N shards, I is 1 to N");
    }
    return {static_cast<int>(number), static_cast<int>(count)};
}

bool hasFramePattern(const std::string& in_path)
{
    return in_path.find_first_of("#@") != std::string::npos;
}

std::vector<FrameFile> findFrames(const std::string& in_pattern)
{
    const CutPattern cut = cutAtPattern(in_pattern);
    const std::string folder = cut.folder.empty() ? "." : cut.folder;
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    std::vector<FrameFile> files;
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        const std::optional<int> frame = frameOfName(cut, entries->path().filename().string());
        if (!frame) {
            continue;
        }
        // The number must be written as the pattern writes it, else there may be two of a frame.
        const std::string path = FileUtils::buildFilename(in_pattern, *frame);
        const std::string found = cut.folder + entries->path().filename().string() + cut.rest;
        std::error_code absent;
        if (path == found && fs::is_regular_file(path, absent)) {
            files.push_back({*frame, path});
        }
    }
    if (error) {
        throw ToolError(eFileUnreadable,
                        "folder " + folder + " cannot be read: " + error.message());
    }
    std::sort(files.begin(), files.end(),
              [](const FrameFile& a, const FrameFile& b) { return a.frame < b.frame; });
    return files;
}

}  // namespace Skelvar::Tool
