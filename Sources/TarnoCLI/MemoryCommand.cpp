#include "CommandLine.hpp"
#include "Commands.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Performance/SystemStats.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

namespace tarno::cli {

namespace {

// The record's fields in order, then the derived `used`.
nlohmann::ordered_json encode(const MemorySnapshot& memory)
{
    return {
        {"total", memory.total},
        {"app", memory.app},
        {"wired", memory.wired},
        {"compressed", memory.compressed},
        {"cached", memory.cached},
        {"swapUsed", memory.swapUsed},
        {"freePercent", memory.freePercent},
        {"pressure", rawValue(memory.pressure)},
        {"used", memory.used()},
    };
}

void printHuman(const MemorySnapshot& memory)
{
    fmt::print("Total: {}\n", ByteFormat::memory(memory.total));
    fmt::print("Used: {}\n", ByteFormat::memory(memory.used()));
    fmt::print("  App: {}\n", ByteFormat::memory(memory.app));
    fmt::print("  Wired: {}\n", ByteFormat::memory(memory.wired));
    fmt::print("  Compressed: {}\n", ByteFormat::memory(memory.compressed));
    fmt::print("Cached: {}\n", ByteFormat::memory(memory.cached));
    fmt::print("Swap used: {}\n", ByteFormat::memory(memory.swapUsed));
    fmt::print("Free: {}%\n", memory.freePercent);
    fmt::print("Pressure: {}\n", rawValue(memory.pressure));
}

} // namespace

int runMemory(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(memorySyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    const MemorySnapshot memory = SystemStats::memory();
    if (memory.total == 0) {
        fmt::print(stderr, "tarno-cli: cannot read the memory figures from /proc/meminfo\n");
        return incompleteStatus;
    }
    if (parsed->has("--json"))
        JsonEncoding::print(encode(memory));
    else
        printHuman(memory);
    return successStatus;
}

} // namespace tarno::cli
