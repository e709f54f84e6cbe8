#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/AppBundles.hpp"
#include "Support/RuleFamilyItems.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>

#include <plist/plist.h>
#include <sys/stat.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;

// 2025-03-05 12:00 UTC, counted from 2001 as property lists count.
constexpr std::int32_t march5th2025 = 762868800;

void writeBackupInfo(const std::string& path, plist_t name, bool dated)
{
    plist_t info = plist_new_dict();
    if (name != nullptr)
        plist_dict_set_item(info, "Device Name", name);
    if (dated)
        plist_dict_set_item(info, "Last Backup Date", plist_new_date(march5th2025, 0));
    test::writeBinaryPlist(path, info);
}

CleanupItem backup(const std::string& entry, const std::string& title, const std::string& path)
{
    return test::ruleItem("backup." + entry, title, CleanupCategory::personalData,
                          "Erased for good. You can no longer restore the device from it.", Safety::review,
                          CleanupAction::Delete{{path}});
}

TEST(PersonalDataRulesTests, BackupsAreNamedByDeviceAndDateAndMailDownloadsAreEmptied)
{
    const test::ScopedEnvironment zone("TZ", "UTC");
    ::tzset();
    test::TemporaryFolder home;
    const std::string folder = home.makeFolder("Library/Application Support/MobileSync/Backup");
    home.makeFolder("Library/Application Support/MobileSync/Backup/00008110-A");
    writeBackupInfo(folder + "/00008110-A/Info.plist", plist_new_string("Anna\u2019s iPhone"), true);
    home.makeFolder("Library/Application Support/MobileSync/Backup/B-undated");
    writeBackupInfo(folder + "/B-undated/Info.plist", plist_new_string("iPad"), false);
    home.makeFolder("Library/Application Support/MobileSync/Backup/C-garbled");
    std::ofstream(folder + "/C-garbled/Info.plist") << "<plist><dict><key>Device Name";
    home.makeFolder("Library/Application Support/MobileSync/Backup/D-numbered");
    writeBackupInfo(folder + "/D-numbered/Info.plist", plist_new_uint(7), true);
    home.makeFolder("Library/Application Support/MobileSync/Backup/E-empty");
    const std::string mail = home.makeFolder("Library/Containers/com.apple.mail/Data/Library/Mail Downloads");

    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    Builder builder(env);
    RuleFamilies::personalData(builder);
    EXPECT_EQ(builder.items(),
              (std::vector<CleanupItem>{
                  backup("00008110-A", "Backup of Anna\u2019s iPhone from Mar 5, 2025", folder + "/00008110-A"),
                  backup("B-undated", "Backup of iPad", folder + "/B-undated"),
                  backup("C-garbled", "Backup of a device", folder + "/C-garbled"),
                  backup("D-numbered", "Backup of a device from Mar 5, 2025", folder + "/D-numbered"),
                  backup("E-empty", "Backup of a device", folder + "/E-empty"),
                  CleanupItem{"mail.downloads", "Mail attachments you opened", CleanupCategory::personalData,
                              "Copies made when you opened attachments; the originals stay in your mail.",
                              Safety::review, CleanupAction::DeleteContents{{mail}}, false, 1, std::nullopt},
              }));
}

TEST(PersonalDataRulesTests, WithoutFullDiskAccessTheGuardedPlacesAreLeftAlone)
{
    // A home the process may enter but not list is a Mac without Full Disk
    // Access: backups, Mail's copies, the Mac's Trash and app containers stay
    // unread, and everything else is offered as before.
    test::TemporaryFolder temp;
    const std::string home = temp.makeFolder("home");
    temp.makeFolder("home/Library/Application Support/MobileSync/Backup/00008110-A");
    temp.makeFolder("home/Library/Containers/com.apple.mail/Data/Library/Mail Downloads");
    temp.makeFolder("home/Library/Containers/org.sample.editor");
    temp.makeFolder("home/Library/WebKit/org.sample.viewer");
    temp.makeFolder("home/.Trash/old");
    temp.makeFolder("home/.local/share/Trash/files");
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod(home.c_str(), 0711), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        const CleanupEnvironment env = CleanupEnvironment::empty(home);
        Builder builder(env);
        RuleFamilies::personalData(builder);
        RuleFamilies::deletedApps(builder);
        RuleFamilies::trash(builder);
        std::string found;
        for (const CleanupItem& item : builder.items()) {
            found += item.id + ":";
            for (const std::string& path : item.action.paths())
                found += " " + path.substr(home.size() + 1);
            found += "\n";
        }
        return found;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, "leftover.app.org.sample.viewer: Library/WebKit/org.sample.viewer\n"
                          "trash: .local/share/Trash/files\n");
}

} // namespace
} // namespace tarno
