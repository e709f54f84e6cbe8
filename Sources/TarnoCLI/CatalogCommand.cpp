#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "ItemMeasurer.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <fmt/core.h>

namespace tarno::cli {

namespace {

void printList(std::string_view label, const std::vector<std::string>& values)
{
    fmt::print("  {}:", label);
    if (values.empty())
        fmt::print(" (none)");
    fmt::print("\n");
    for (const std::string& value : values)
        fmt::print("    {}\n", value);
}

void printHuman(const CleanupItem& item, const std::optional<SizeResult>& size)
{
    fmt::print("{}\n", item.id);
    fmt::print("  title: {}\n", item.title);
    fmt::print("  category: {}\n", rawValue(item.category));
    fmt::print("  consequence: {}\n", item.consequence);
    fmt::print("  safety: {}\n", rawValue(item.safety));
    fmt::print("  action: {}\n", item.action.kindName());
    if (const auto* run = item.action.as<CleanupAction::Run>()) {
        fmt::print("  tool: {}\n", run->tool);
        printList("arguments", run->arguments);
    }
    if (const auto* worktree = item.action.as<CleanupAction::RemoveWorktree>()) {
        fmt::print("  repository: {}\n", worktree->repository);
        printList("clearFirst", worktree->clearFirst);
    }
    printList("paths", item.action.paths());
    fmt::print("  requiresAdmin: {}\n", item.requiresAdmin);
    fmt::print("  minimumBytesToShow: {}\n", item.minimumBytesToShow);
    fmt::print("  knownBytes: {}\n", item.knownBytes ? fmt::format("{}", *item.knownBytes) : "none");
    if (size) {
        fmt::print("  size: {} ({} bytes), {} files, {} unreadable folders\n", ByteFormat::string(size->bytes),
                   size->bytes, size->files, size->unreadableDirectories);
    }
}

} // namespace

int runCatalog(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(catalogSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    std::optional<CleanupCategory> category;
    if (const std::optional<std::string> name = parsed->option("--category")) {
        category = cleanupCategory(*name);
        if (!category)
            return reportUsageError(fmt::format("no category is named '{}'", *name), catalogSyntax);
    }

    std::vector<CleanupItem> items = CleanupCatalog::items(environmentFor(*parsed));
    if (category)
        std::erase_if(items, [&category](const CleanupItem& item) { return item.category != *category; });
    std::vector<SizeResult> sizes;
    if (parsed->has("--measure"))
        sizes = ItemMeasurer::measureAll(items);
    const auto sizeOf = [&sizes](std::size_t index) -> std::optional<SizeResult> {
        if (index < sizes.size())
            return sizes[index];
        return std::nullopt;
    };

    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (std::size_t index = 0; index < items.size(); ++index) {
            const std::optional<SizeResult> size = sizeOf(index);
            list.push_back(size ? JsonEncoding::encode(items[index], *size) : JsonEncoding::encode(items[index]));
        }
        JsonEncoding::print(list);
    } else {
        if (items.empty())
            fmt::print("No items.\n");
        for (std::size_t index = 0; index < items.size(); ++index)
            printHuman(items[index], sizeOf(index));
    }
    return statusAfterMeasuring(ItemMeasurer::unreadableDirectories(sizes));
}

} // namespace tarno::cli
