#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"

#include "TarnoCore/Foundation/PathGuard.hpp"

#include <fmt/core.h>

namespace tarno::cli {

namespace {

using Check = PathGuard::Verdict (PathGuard::*)(std::string_view) const;

std::optional<Check> checkNamed(std::string_view mode)
{
    if (mode == "delete")
        return &PathGuard::checkDelete;
    if (mode == "trash")
        return &PathGuard::checkTrash;
    if (mode == "app")
        return &PathGuard::checkTrashApp;
    return std::nullopt;
}

} // namespace

int runGuard(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(guardSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string& mode = parsed->operands.front();
    const std::optional<Check> check = checkNamed(mode);
    if (!check)
        return reportUsageError(fmt::format("unknown check '{}'", mode), guardSyntax);
    if (parsed->operands.size() < 2)
        return reportUsageError("missing path", guardSyntax);

    // The application's own guard: this home, and the system's Applications folder.
    const PathGuard guardian = PathGuard::forHome(homeFor(*parsed));
    JsonEncoding::Json list = JsonEncoding::Json::array();
    for (auto path = parsed->operands.begin() + 1; path != parsed->operands.end(); ++path) {
        const PathGuard::Verdict verdict = (guardian.**check)(*path);
        const auto* refused = std::get_if<PathGuard::Refused>(&verdict);
        if (parsed->has("--json")) {
            JsonEncoding::Json object = JsonEncoding::Json::object();
            object["path"] = *path;
            object["allowed"] = refused == nullptr;
            object["reason"] = refused ? JsonEncoding::Json(refused->reason) : JsonEncoding::Json(nullptr);
            list.push_back(std::move(object));
        } else if (refused) {
            fmt::print("{}: refused: {}\n", *path, refused->reason);
        } else {
            fmt::print("{}: allowed\n", *path);
        }
    }
    if (parsed->has("--json"))
        JsonEncoding::print(list);
    return 0;
}

} // namespace tarno::cli
