#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Foundation/PropertyList.hpp"

#include <array>
#include <chrono>
#include <ctime>
#include <optional>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

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
        const std::optional<PropertyList::Dictionary> info = PropertyList::readDictionary(backup + "/Info.plist");
        const std::string device = (info ? info->string("Device Name") : std::nullopt).value_or("a device");
        const auto date = info ? info->date("Last Backup Date") : std::nullopt;
        const std::string suffix =
            date ? " from " + abbreviatedDate(std::chrono::system_clock::to_time_t(*date)) : "";
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
