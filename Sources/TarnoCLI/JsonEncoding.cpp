#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include <fmt/core.h>

namespace tarno::cli::JsonEncoding {

Json encode(const SizeResult& size)
{
    Json object = Json::object();
    object["bytes"] = size.bytes;
    object["files"] = size.files;
    object["unreadableDirectories"] = size.unreadableDirectories;
    object["newestModification"] =
        size.newestModification ? Json(TextFormat::isoTimestamp(*size.newestModification)) : Json(nullptr);
    return object;
}

Json encode(const CleanupAction& action)
{
    Json object = Json::object();
    object["kind"] = action.kindName();
    object["paths"] = action.paths();
    if (const auto* run = action.as<CleanupAction::Run>()) {
        object["tool"] = run->tool;
        object["arguments"] = run->arguments;
    }
    if (const auto* worktree = action.as<CleanupAction::RemoveWorktree>()) {
        object["repository"] = worktree->repository;
        object["clearFirst"] = worktree->clearFirst;
    }
    return object;
}

Json encode(const CleanupItem& item)
{
    Json object = Json::object();
    object["id"] = item.id;
    object["title"] = item.title;
    object["category"] = rawValue(item.category);
    object["consequence"] = item.consequence;
    object["safety"] = rawValue(item.safety);
    object["action"] = encode(item.action);
    object["requiresAdmin"] = item.requiresAdmin;
    object["minimumBytesToShow"] = item.minimumBytesToShow;
    object["knownBytes"] = item.knownBytes ? Json(*item.knownBytes) : Json(nullptr);
    return object;
}

void print(const Json& document)
{
    fmt::print("{}\n", document.dump(2, ' ', false, Json::error_handler_t::replace));
}

} // namespace tarno::cli::JsonEncoding
