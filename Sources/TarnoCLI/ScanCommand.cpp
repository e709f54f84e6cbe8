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

struct ShownItem {
    const CleanupItem* item;
    const SizeResult* size;
};

struct CategoryGroup {
    CleanupCategory category;
    std::vector<ShownItem> rows;
    std::int64_t total = 0;
};

// The items big enough to list, grouped in category order. The catalog's items
// are already sorted by category, so a group ends where its category changes.
std::vector<CategoryGroup> groupShown(const std::vector<CleanupItem>& items, const std::vector<SizeResult>& sizes)
{
    std::vector<CategoryGroup> groups;
    for (std::size_t index = 0; index < items.size(); ++index) {
        const CleanupItem& item = items[index];
        if (sizes[index].bytes < item.minimumBytesToShow)
            continue;
        if (groups.empty() || groups.back().category != item.category)
            groups.push_back(CategoryGroup{item.category, {}, 0});
        groups.back().rows.push_back(ShownItem{&item, &sizes[index]});
        groups.back().total += sizes[index].bytes;
    }
    return groups;
}

void printReport(const std::vector<CategoryGroup>& groups)
{
    std::int64_t total = 0;
    std::size_t count = 0;
    for (const CategoryGroup& group : groups) {
        fmt::print("{} ({})\n", title(group.category), ByteFormat::string(group.total));
        for (const ShownItem& row : group.rows) {
            fmt::print("  {}: {}, {}{}\n", row.item->title, ByteFormat::string(row.size->bytes),
                       TextFormat::safetyLabel(row.item->safety),
                       row.item->requiresAdmin ? ", needs an administrator" : "");
            fmt::print("    {}\n", row.item->consequence);
        }
        fmt::print("\n");
        total += group.total;
        count += group.rows.size();
    }
    fmt::print("Total: {} in {} {}\n", ByteFormat::string(total), count, count == 1 ? "item" : "items");
}

} // namespace

int runScan(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(scanSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    const std::vector<CleanupItem> items = CleanupCatalog::items(environmentFor(*parsed));
    const std::vector<SizeResult> sizes = ItemMeasurer::measureAll(items);
    const std::vector<CategoryGroup> groups = groupShown(items, sizes);
    if (parsed->has("--json")) {
        JsonEncoding::Json list = JsonEncoding::Json::array();
        for (const CategoryGroup& group : groups) {
            for (const ShownItem& row : group.rows)
                list.push_back(JsonEncoding::encode(*row.item, *row.size));
        }
        JsonEncoding::print(list);
    } else if (groups.empty())
        fmt::print("Nothing to clean\nTarno found no caches or leftovers worth removing.\n");
    else
        printReport(groups);
    return statusAfterMeasuring(ItemMeasurer::unreadableDirectories(sizes));
}

} // namespace tarno::cli
