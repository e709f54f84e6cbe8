#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Performance/StartupItems.hpp"

#include <fmt/core.h>

namespace tarno::cli {

int runStartup(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(startupSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);
    const std::vector<StartupItem> items = StartupItems::list(home);
    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (const StartupItem& item : items)
            list.push_back(JsonEncoding::encode(item));
        JsonEncoding::print(JsonEncoding::Json{{"items", std::move(list)}});
        return successStatus;
    }
    if (items.empty())
        fmt::print("Nothing starts by itself.\n");
    // The items come scope by scope: a heading where the scope changes.
    std::optional<StartupItem::Scope> scope;
    for (const StartupItem& item : items) {
        if (item.scope != scope) {
            fmt::print("{}{}:\n", scope ? "\n" : "", rawValue(item.scope));
            scope = item.scope;
        }
        fmt::print("  {}{}\n", item.label, item.isLeftover()      ? "  (leftover: its program is gone)"
                                           : item.programMissing ? "  (its program is gone)"
                                                                 : "");
        fmt::print("    {}, {}\n", item.program ? withTilde(*item.program, home) : std::string("no program listed"),
                   item.startsAutomatically ? "starts automatically" : "starts on demand");
    }
    return successStatus;
}

} // namespace tarno::cli
