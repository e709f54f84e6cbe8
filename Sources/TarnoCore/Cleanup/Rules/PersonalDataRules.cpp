#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Foundation/PrivacyAccess.hpp"

#include <array>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>

#include <plist/plist.h>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

// Seconds from the Unix epoch to 2001-01-01, where property list dates count from.
constexpr std::int64_t plistEpoch = 978307200;

// The backup's Info.plist, binary or XML, when it is a dictionary.
Plist readDictionary(const std::string& path)
{
    Plist none(nullptr, plist_free);
    // Only a regular file: reading a pipe left in its place would never end.
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return none;
    std::ifstream in(path, std::ios::binary);
    const std::string data{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (data.empty() || data.size() > std::numeric_limits<std::uint32_t>::max())
        return none;
    plist_t root = nullptr;
    plist_from_memory(data.data(), static_cast<std::uint32_t>(data.size()), &root);
    Plist dictionary(root, plist_free);
    if (!dictionary || plist_get_node_type(root) != PLIST_DICT)
        return none;
    return dictionary;
}

std::optional<std::string> stringValue(const Plist& dictionary, const char* key)
{
    plist_t node = dictionary ? plist_dict_get_item(dictionary.get(), key) : nullptr;
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return text == nullptr ? std::string() : std::string(text, length);
}

std::optional<std::time_t> dateValue(const Plist& dictionary, const char* key)
{
    plist_t node = dictionary ? plist_dict_get_item(dictionary.get(), key) : nullptr;
    if (node == nullptr || plist_get_node_type(node) != PLIST_DATE)
        return std::nullopt;
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    return static_cast<std::time_t>(plistEpoch + seconds);
}

// An abbreviated date in the local time zone, without a time: "Mar 5, 2025".
std::string abbreviatedDate(std::time_t when)
{
    static constexpr std::array<const char*, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm local {};
    if (::localtime_r(&when, &local) == nullptr)
        return {};
    return std::string(months[static_cast<std::size_t>(local.tm_mon)]) + " " + std::to_string(local.tm_mday) + ", "
        + std::to_string(local.tm_year + 1900);
}

void addBackups(Builder& builder)
{
    const std::string folder = builder.env().home + "/Library/Application Support/MobileSync/Backup";
    for (const std::string& backup : Builder::children(folder)) {
        const Plist info = readDictionary(backup + "/Info.plist");
        const std::string device = stringValue(info, "Device Name").value_or("a device");
        const std::optional<std::time_t> date = dateValue(info, "Last Backup Date");
        const std::string suffix = date ? " from " + abbreviatedDate(*date) : "";
        builder.add("backup." + backup.substr(folder.size() + 1), "Backup of " + device + suffix,
                    CleanupCategory::personalData,
                    "Erased for good. You can no longer restore the device from it.", Safety::review,
                    CleanupAction::Delete{{backup}});
    }
}

} // namespace

void personalData(Builder& builder)
{
    const std::string& home = builder.env().home;
    if (!PrivacyAccess::hasFullDiskAccess(home))
        return;
    addBackups(builder);
    builder.add("mail.downloads", "Mail attachments you opened", CleanupCategory::personalData,
                "Copies made when you opened attachments; the originals stay in your mail.", Safety::review,
                CleanupAction::DeleteContents{
                    {home + "/Library/Containers/com.apple.mail/Data/Library/Mail Downloads"}});
}

} // namespace tarno::RuleFamilies
