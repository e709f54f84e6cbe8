#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"
#include "ProgressLine.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Duplicates/DuplicateFinder.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/Overloaded.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"

#include <fmt/core.h>

#include <charconv>
#include <filesystem>

namespace tarno::cli {

namespace {

using JsonEncoding::Json;

// What the application looks for: files of a megabyte or more.
constexpr std::int64_t defaultMinimumBytes = 1'000'000;

Json encode(const DuplicateFile& file)
{
    Json object = Json::object();
    object["path"] = file.path;
    object["bytes"] = file.bytes;
    object["modified"] = TextFormat::isoTimestamp(file.modified);
    object["created"] = TextFormat::isoTimestamp(file.created);
    object["cloneID"] = file.cloneID;
    return object;
}

Json encode(const DuplicateGroup& group)
{
    Json object = Json::object();
    object["hash"] = group.hash;
    object["size"] = group.size;
    object["reclaimable"] = group.reclaimable();
    object["files"] = Json::array();
    for (const DuplicateFile& file : group.files)
        object["files"].push_back(encode(file));
    return object;
}

void printHuman(const std::vector<DuplicateGroup>& groups, const std::string& home)
{
    std::int64_t total = 0;
    for (const DuplicateGroup& group : groups) {
        fmt::print("{} copies of {}, {} to get back\n", group.files.size(), ByteFormat::string(group.size),
                   ByteFormat::string(group.reclaimable()));
        for (std::size_t index = 0; index < group.files.size(); ++index)
            fmt::print("  {} {}\n", index == 0 ? "keep" : "    ", withTilde(group.files[index].path, home));
        total += group.reclaimable();
    }
    if (groups.empty())
        fmt::print("No duplicates found.\n");
    else
        fmt::print("{}; removing every copy but the first gives back {}.\n",
                   groups.size() == 1 ? std::string("1 set") : fmt::format("{} sets", groups.size()),
                   ByteFormat::string(total));
}

} // namespace

int runDuplicates(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(duplicatesSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    std::int64_t minimumBytes = defaultMinimumBytes;
    if (const std::optional<std::string> given = parsed->option("--min")) {
        const auto [end, error] = std::from_chars(given->data(), given->data() + given->size(), minimumBytes);
        if (error != std::errc() || end != given->data() + given->size() || minimumBytes < 1)
            return reportUsageError(fmt::format("--min needs a number of bytes of 1 or more, not '{}'", *given),
                                    duplicatesSyntax);
    }
    const std::string home = homeFor(*parsed);
    std::vector<std::string> roots;
    for (const std::string& operand : parsed->operands) {
        if (!std::filesystem::is_directory(operand))
            return reportUsageError(fmt::format("'{}' is not a folder", operand), duplicatesSyntax);
        roots.push_back(absolutePath(operand));
    }
    if (roots.empty())
        roots = DuplicateFinder::defaultRoots(home);

    std::vector<DuplicateGroup> groups;
    {
        ProgressLine line;
        groups = DuplicateFinder::find(
            roots, minimumBytes, home,
            [&line](const DuplicateFinder::Stage& stage) {
                line.show(std::visit(Overloaded{
                                         [](const DuplicateFinder::Looking& looking) {
                                             return fmt::format("Looking through {} files…", looking.files);
                                         },
                                         [](const DuplicateFinder::Comparing& comparing) {
                                             return fmt::format("Comparing {} of {} files…", comparing.done,
                                                                comparing.of);
                                         },
                                     },
                                     stage));
            },
            [] { return false; });
    }

    if (parsed->has("--json")) {
        Json document = Json::object();
        document["groups"] = Json::array();
        for (const DuplicateGroup& group : groups)
            document["groups"].push_back(encode(group));
        JsonEncoding::print(document);
    } else {
        printHuman(groups, home);
    }
    return successStatus;
}

} // namespace tarno::cli
