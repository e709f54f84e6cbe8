#include "CommandLine.hpp"
#include "Commands.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Performance/SystemStats.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace tarno::cli {

namespace {

// The record's fields in order, then the derived values.
nlohmann::ordered_json encode(const DiskUsage& usage)
{
    return {
        {"total", usage.total},
        {"available", usage.available},
        {"used", usage.used()},
        {"usedFraction", usage.usedFraction()},
    };
}

void printHuman(const std::string& path, const DiskUsage& usage)
{
    fmt::print("Volume of {}\n", path);
    fmt::print("Total: {}\n", ByteFormat::string(usage.total));
    fmt::print("Used: {} ({}%)\n", ByteFormat::string(usage.used()),
               static_cast<int>(std::lround(usage.usedFraction() * 100)));
    fmt::print("Available: {}\n", ByteFormat::string(usage.available));
}

} // namespace

int runDisk(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(diskSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    if (parsed->operands.size() > 1)
        return reportUsageError("only one path", diskSyntax);

    const std::string path = parsed->operands.empty() ? Platform::homeFolder() : parsed->operands.front();
    const std::optional<DiskUsage> usage = SystemStats::disk(path);
    if (!usage) {
        fmt::print(stderr, "tarno-cli: cannot read the capacity of the volume holding '{}'\n", path);
        return incompleteStatus;
    }
    if (parsed->has("--json"))
        JsonEncoding::print(encode(*usage));
    else
        printHuman(path, *usage);
    return 0;
}

} // namespace tarno::cli
