#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <fmt/core.h>

namespace tarno::cli {

namespace {

std::string counted(std::size_t count, std::string_view one, std::string_view many)
{
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string joined(const std::vector<std::string>& titles)
{
    std::string text;
    for (const std::string& title : titles)
        text += (text.empty() ? "" : ", ") + title;
    return text;
}

} // namespace

int runHistory(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(historySyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    const CleanupHistory history(homeFor(*parsed));
    const std::vector<CleanupRecord> records = history.load();
    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (const CleanupRecord& record : records)
            list.push_back(JsonEncoding::encode(record));
        JsonEncoding::print(list);
        return 0;
    }

    if (records.empty()) {
        fmt::print("No cleanups yet.\n");
        return 0;
    }
    for (const CleanupRecord& record : records) {
        const std::size_t failures = record.failures > 0 ? static_cast<std::size_t>(record.failures) : 0;
        fmt::print("{}  {}: {} freed, {}, {}\n", TextFormat::isoTimestamp(record.date), record.source,
                   ByteFormat::string(record.freedBytes), counted(record.items.size(), "item", "items"),
                   failures == 0 ? std::string("no failures") : counted(failures, "failure", "failures"));
        if (!record.items.empty())
            fmt::print("  {}\n", joined(record.items));
    }
    fmt::print("Total freed: {} in {}\n", ByteFormat::string(history.totalFreed()),
               counted(records.size(), "cleanup", "cleanups"));
    return 0;
}

} // namespace tarno::cli
