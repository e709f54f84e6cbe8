#include "Tarno/Demo/DemoFiles.hpp"

#include "Tarno/Demo/DemoMachine.hpp"
#include "Tarno/FileIcons.hpp"

#include <QColor>
#include <QLinearGradient>
#include <QPainter>
#include <QString>

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>

namespace tarno::Demo {
namespace {

using Clock = std::chrono::system_clock;
constexpr std::int64_t megabytes = 1'000'000;

std::string inHome(const std::string& relative)
{
    return std::string(home) + "/" + relative;
}

Clock::time_point date(int year, unsigned month, unsigned day)
{
    return std::chrono::sys_days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}}
           + std::chrono::hours{10};
}

// Moves in memory: what went is not found again.
struct Trash {
    std::mutex mutex;
    std::set<std::string> moved;

    CleanReport move(const CleanupAction& action)
    {
        const std::lock_guard lock(mutex);
        const std::vector<std::string> paths = action.paths();
        moved.insert(paths.begin(), paths.end());
        return CleanReport{.removed = static_cast<int>(paths.size()), .failures = {}, .wasCancelled = false};
    }

    bool wasMoved(const std::string& path)
    {
        const std::lock_guard lock(mutex);
        return moved.contains(path);
    }
};

// A sunset or a sea, told apart by the name, for the pictures' thumbnails.
QImage madeUpPhoto(const std::string& path, QSize size)
{
    const std::size_t seed = std::hash<std::string>{}(path.substr(path.rfind('/') + 1));
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor::fromHsv(static_cast<int>(seed % 360), 120, 235));
    sky.setColorAt(1, QColor::fromHsv(static_cast<int>((seed / 360) % 360), 160, 120));
    painter.fillRect(image.rect(), sky);
    painter.setBrush(QColor::fromHsv(static_cast<int>((seed / 7) % 360), 90, 250));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(size.width() * 0.65, size.height() * 0.4), size.width() / 6.0, size.width() / 6.0);
    return image;
}

bool isPicture(const std::string& path)
{
    std::string extension = path.substr(path.rfind('.') + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return std::tolower(c); });
    return extension == "heic" || extension == "jpg" || extension == "png";
}

// Each copy its own data: a clone identity of its own, as the file's number gives one.
DuplicateFile copy(const std::string& relative, std::int64_t bytes, Clock::time_point created)
{
    return DuplicateFile{inHome(relative), bytes, created + std::chrono::hours{2}, created,
                         std::hash<std::string>{}(relative) | 1};
}

// A made-up digest, one per set.
std::string digest(int set)
{
    static constexpr char hex[] = "0123456789abcdef";
    std::string made;
    for (int index = 0; index < 64; ++index)
        made.push_back(hex[(set * 7 + index * 13 + index / 5) % 16]);
    return made;
}

} // namespace

std::vector<LargeFile> largeFiles()
{
    std::vector<LargeFile> files = {
        {inHome("VirtualBox VMs/Debian 12/Debian 12.vdi"), 9'842 * megabytes, date(2026, 10, 30)},
        {inHome(".android/avd/Pixel_6_API_33.avd/userdata-qemu.img"), 6'442 * megabytes, date(2026, 11, 18)},
        {inHome("Downloads/ubuntu-24.04.1-desktop-amd64.iso"), 6'114 * megabytes, date(2026, 9, 2)},
        {inHome("Videos/Lisbon trip 2026.mov"), 4'208 * megabytes, date(2026, 6, 14)},
        {inHome(".local/share/Steam/steamapps/common/Hades/Content/Audio/Desktop/Music.bank"), 2'904 * megabytes,
         date(2025, 12, 27)},
        {inHome("Pictures/Exports/wedding-album-full.zip"), 2'315 * megabytes, date(2026, 5, 3)},
        {inHome("Downloads/android-studio-2024.2.1.12-linux.tar.gz"), 1'201 * megabytes, date(2026, 8, 21)},
        {inHome("Documents/Backups/pocket-app-prod-2026-08.sql.gz"), 812 * megabytes, date(2026, 8, 31)},
        {inHome(".config/Slack/Service Worker/CacheStorage/5e1c0a7b/index-dir/data_3"), 644 * megabytes,
         date(2026, 11, 19)},
        {inHome("Music/Podcasts/Season 3 masters.flac"), 433 * megabytes, date(2026, 2, 9)},
        {inHome("work/field-app/build/app/outputs/bundle/release/app-release.aab"), 187 * megabytes,
         date(2026, 11, 12)},
        {inHome("Downloads/node-v20.20.2-linux-x64.tar.xz"), 124 * megabytes, date(2026, 10, 4)},
    };
    return files;
}

std::vector<DuplicateGroup> duplicateGroups()
{
    const auto group = [](int set, std::int64_t size, std::vector<DuplicateFile> files) {
        return DuplicateGroup{digest(set), size, DuplicateFinder::keeperFirst(std::move(files), home)};
    };
    std::vector<DuplicateGroup> groups = {
        group(1, 6'114 * megabytes,
              {copy("Downloads/ubuntu-24.04.1-desktop-amd64.iso", 6'114 * megabytes, date(2026, 9, 2)),
               copy("ISOs/ubuntu-24.04.1-desktop-amd64.iso", 6'114 * megabytes, date(2026, 9, 3))}),
        group(2, 2'096 * megabytes,
              {copy("Videos/Lisbon trip 2026 (1).mov", 2'096 * megabytes, date(2026, 7, 1)),
               copy("Videos/Lisbon trip 2026 - raw.mov", 2'096 * megabytes, date(2026, 6, 14))}),
        group(3, 812 * megabytes,
              {copy("Documents/Backups/pocket-app-prod-2026-08.sql.gz", 812 * megabytes, date(2026, 8, 31)),
               copy("Downloads/pocket-app-prod-2026-08.sql.gz", 812 * megabytes, date(2026, 9, 1)),
               copy("work/pocket-app/db/pocket-app-prod-2026-08.sql.gz", 812 * megabytes, date(2026, 9, 4))}),
        group(4, 62 * megabytes,
              {copy("Music/Podcasts/Episode 42 - final.mp3", 62 * megabytes, date(2026, 3, 12)),
               copy("Desktop/Episode 42 - final copy.mp3", 62 * megabytes, date(2026, 3, 15))}),
        group(5, 48 * megabytes,
              {copy("Documents/Design/design-system.fig", 48 * megabytes, date(2026, 4, 2)),
               copy("Downloads/design-system.fig", 48 * megabytes, date(2026, 4, 20))}),
        group(6, 25 * megabytes,
              {copy("Downloads/node-v20.20.2-linux-x64.tar.xz", 25 * megabytes, date(2026, 10, 4)),
               copy("tools/node-v20.20.2-linux-x64.tar.xz", 25 * megabytes, date(2026, 10, 4))}),
        group(7, 8 * megabytes,
              {copy("Documents/Work/Quarterly report.pdf", 8 * megabytes, date(2026, 10, 8)),
               copy("Downloads/Quarterly report.pdf", 8 * megabytes, date(2026, 10, 7)),
               copy("Desktop/Quarterly report copy.pdf", 8 * megabytes, date(2026, 10, 9))}),
        group(8, 3'400'000,
              {copy("Pictures/Phone/IMG_4471.HEIC", 3'400'000, date(2026, 6, 15)),
               copy("Pictures/Phone/IMG_4471 copy.HEIC", 3'400'000, date(2026, 6, 16)),
               copy("Downloads/IMG_4471.HEIC", 3'400'000, date(2026, 6, 20))}),
        group(9, 2'100'000,
              {copy("Pictures/Phone/IMG_4502.HEIC", 2'100'000, date(2026, 6, 18)),
               copy("Pictures/Lisbon/IMG_4502.HEIC", 2'100'000, date(2026, 6, 22))}),
    };
    std::stable_sort(groups.begin(), groups.end(), [](const DuplicateGroup& left, const DuplicateGroup& right) {
        return left.reclaimable() > right.reclaimable();
    });
    return groups;
}

LargeFilesMachine largeFilesMachine()
{
    auto trash = std::make_shared<Trash>();
    return LargeFilesMachine{
        .find = [trash](const std::string&, std::int64_t minimumBytes, std::size_t limit, const std::set<std::string>&,
                        const std::function<void(std::int64_t)>& progress, const LargeFilesMachine::IsCancelled&) {
            progress(48'212);
            progress(131'877);
            std::vector<LargeFile> found;
            for (const LargeFile& file : largeFiles()) {
                if (file.bytes >= minimumBytes && found.size() < limit && !trash->wasMoved(file.path))
                    found.push_back(file);
            }
            return found;
        },
        .hasFullDiskAccess = [](const std::string&) { return true; },
        .excludedFolders = [](const std::string&, bool) { return std::set<std::string>{}; },
        .appDataFolders = [](const std::string& demoHome) {
            return LargeFileFinder::appDataFolders(demoHome, Platform::userFolders(demoHome, false, [](std::string_view) {
                                                       return std::optional<std::string>();
                                                   }));
        },
        .perform = [trash](const PathGuard&, const CleanupAction& action) { return trash->move(action); },
        .reveal = [](const std::vector<std::string>&) {},
    };
}

DuplicatesMachine duplicatesMachine()
{
    auto trash = std::make_shared<Trash>();
    return DuplicatesMachine{
        .defaultRoots = DuplicateFinder::defaultRoots,
        .find = [trash](const std::vector<std::string>&, std::int64_t minimumBytes, const std::string&,
                        const std::function<void(const DuplicateFinder::Stage&)>& progress,
                        const DuplicatesMachine::IsCancelled&) {
            progress(DuplicateFinder::Looking{21'604});
            progress(DuplicateFinder::Comparing{12, 31});
            std::vector<DuplicateGroup> found;
            for (DuplicateGroup group : duplicateGroups()) {
                std::erase_if(group.files, [&](const DuplicateFile& file) { return trash->wasMoved(file.path); });
                if (group.size >= minimumBytes && group.files.size() >= 2)
                    found.push_back(std::move(group));
            }
            return found;
        },
        .hasPhotosLibrary = [](const std::string&) { return false; },
        .perform = [trash](const PathGuard&, const CleanupAction& action) { return trash->move(action); },
        .thumbnail = [](const std::string& path, QSize size) {
            return isPicture(path) ? madeUpPhoto(path, size) : QImage();
        },
        .typeIcon = [](const std::string& path, QSize size) {
            return FileIcons::typeIcon(QString::fromStdString(path), size);
        },
        .reveal = [](const std::vector<std::string>&) {},
        .openPhotos = nullptr,
    };
}

} // namespace tarno::Demo
