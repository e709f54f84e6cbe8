#include "CommandLine.hpp"
#include "Commands.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include <fmt/core.h>


namespace tarno::cli {

namespace {

void printHuman(const SizeResult& size)
{
    fmt::print("Size: {}\n", ByteFormat::string(size.bytes));
    fmt::print("Files: {}\n", size.files);
    fmt::print("Unreadable folders: {}\n", size.unreadableDirectories);
    fmt::print("Newest modification: {}\n",
               size.newestModification ? TextFormat::isoTimestamp(*size.newestModification) : "none");
}

} // namespace

int runMeasure(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(measureSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    std::vector<std::string> paths;
    for (const std::string& operand : parsed->operands)
        paths.push_back(absolutePath(operand));
    const SizeResult size = SizeScanner::measure(paths);

    if (parsed->has("--json"))
        JsonEncoding::print(JsonEncoding::encode(size));
    else
        printHuman(size);
    return statusAfterMeasuring(size.unreadableDirectories);
}

} // namespace tarno::cli
