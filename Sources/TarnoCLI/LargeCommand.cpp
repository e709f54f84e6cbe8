#include "CommandLine.hpp"
#include "Commands.hpp"
#include "JsonEncoding.hpp"
#include "ProgressLine.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Platform/BulkDirectoryReader.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Duplicates/LargeFileFinder.hpp"

#include <fmt/core.h>

#include <charconv>
#include <atomic>

#include <unistd.h>

namespace tarno::cli {

namespace {

// The application's own floor and length of the list.
constexpr std::int64_t defaultMinimumBytes = 100'000'000;
constexpr std::size_t defaultLimit = 1000;

// A whole number of 0 or more, or nothing.
template <typename Number>
std::optional<Number> wholeNumber(const std::string& text)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0)
        return std::nullopt;
    return value;
}

void printHuman(const std::vector<LargeFile>& files, std::int64_t minimumBytes)
{
    if (files.empty()) {
        fmt::print("No files of {} or more.\n", ByteFormat::string(minimumBytes));
        return;
    }
    const std::string home = Platform::homeFolder();
    for (const LargeFile& file : files)
        fmt::print("{:>10}  {}\n", ByteFormat::string(file.bytes), withTilde(file.path, home));
}

} // namespace

int runLarge(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(largeSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    if (parsed->operands.size() > 1)
        return reportUsageError(fmt::format("unexpected operand '{}'", parsed->operands[1]), largeSyntax);

    std::int64_t minimumBytes = defaultMinimumBytes;
    if (const std::optional<std::string> given = parsed->option("--min")) {
        const std::optional<std::int64_t> value = wholeNumber<std::int64_t>(*given);
        if (!value)
            return reportUsageError(fmt::format("--min needs a whole number of bytes, not '{}'", *given), largeSyntax);
        minimumBytes = *value;
    }
    std::size_t limit = defaultLimit;
    if (const std::optional<std::string> given = parsed->option("--limit")) {
        const std::optional<std::int64_t> value = wholeNumber<std::int64_t>(*given);
        if (!value)
            return reportUsageError(fmt::format("--limit needs a whole number, not '{}'", *given), largeSyntax);
        limit = static_cast<std::size_t>(*value);
    }

    // The finder takes a root it cannot read for an empty one; here that is worth saying.
    const std::string root = absolutePath(parsed->operands.front());
    const int folder = Platform::BulkDirectoryReader::openFolder(root.c_str());
    if (folder < 0) {
        fmt::print(stderr, "tarno-cli: cannot read the folder '{}' (a link to one is not followed)\n", root);
        return incompleteStatus;
    }
    ::close(folder);

    std::vector<LargeFile> files;
    {
        ProgressLine line;
        // The finder's threads report at once and out of order: only a larger total is shown.
        std::atomic<std::int64_t> shown = 0;
        // What lies in the user's Trash is on its way out already.
        files = LargeFileFinder::find(
            root, minimumBytes, limit, {Platform::trashFolder(Platform::homeFolder())},
            [&](std::int64_t total) {
                std::int64_t before = shown.load();
                while (total > before && !shown.compare_exchange_weak(before, total)) {
                }
                if (total > before)
                    line.show(fmt::format("Looking through {} files…", total));
            },
            [] { return false; });
    }

    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (const LargeFile& file : files)
            list.push_back({{"path", file.path},
                            {"bytes", file.bytes},
                            {"modified", TextFormat::isoTimestamp(file.modified)}});
        JsonEncoding::Json document = JsonEncoding::Json::object();
        document["files"] = std::move(list);
        JsonEncoding::print(document);
    } else {
        printHuman(files, minimumBytes);
    }
    return successStatus;
}

} // namespace tarno::cli
