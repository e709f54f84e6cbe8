// Everything the catalog offers on a made-up home, each item against each hostile shape planted in or around
// it, cleaned by the road the application and tarno-cli take: CleanupRun over the real Cleaner and PathGuard.
// Every case gets a tmpfs of its own in a private mount namespace, with the home pointing there, and the real
// home hidden under an empty read-only one. Nothing outside what was confirmed may be lost, changed or
// half-removed; whatever of the confirmed item is not removed is a typed failure in the report.

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Cleanup/CleanupRun.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/TreeRemoval.hpp"

#include "Support/BusyHome.hpp"
#include "Support/FileChecks.hpp"
#include "Support/MountNamespace.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/ThreadCapabilities.hpp"
#include "Support/TreeSnapshot.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

namespace fs = std::filesystem;
namespace TreeRemoval = Platform::TreeRemoval;
using namespace std::string_view_literals;
using Failure = CleanReport::Failure;
using test::exists;

// Files nobody confirmed, relative to the case's root: the user's keys and own files, and another user's
// data beside the home. Every link and hard link a shape plants leads to them.
constexpr std::array canaryFiles = {
    "home/Documents/canary.txt"sv, "home/Documents/sub/deep.txt"sv, "home/.ssh/id_rsa"sv,
    "home/.gnupg/private-keys-v1.d/key.key"sv, "home/.config/app/settings.ini"sv,
    "home/.local/share/keyrings/canary.keyring"sv, "home/Desktop/canary.txt"sv, "home/Pictures/canary.jpg"sv,
    "home/.pki/nssdb/cert9.db"sv, "home/.password-store/mail.gpg"sv, "home/Videos/canary.mp4"sv,
    "other/Documents/theirs.txt"sv, "other/.ssh/id_rsa"sv,
};

constexpr std::array protectedFolders = {
    "home/Documents"sv, "home/Documents/sub"sv, "home/.ssh"sv, "home/.gnupg"sv, "home/.config"sv,
    "home/.local/share/keyrings"sv, "home/Desktop"sv, "home"sv, "other"sv, "other/.ssh"sv,
};

// How a shape is planted.
enum class Plant {
    linksOut,             // symbolic links from inside the item to every protected folder and canary
    hardLinksOut,         // hard links from inside the item to every canary
    bindMount,            // a protected folder bind-mounted inside the item
    offeredIsBindMount,   // a protected folder or file bind-mounted on the offered path itself
    otherFileSystem,      // another file system mounted inside the item
    oddNames,             // newlines, bytes that are not UTF-8, leading dashes, 255-byte names, > PATH_MAX deep
    readOnlyFolder,       // a folder inside that its owner may not write
    immutableFile,        // a file inside that nobody may remove
    racingSwapInside,     // a thread exchanging a folder inside with a link, again and again
    racingSwapOffered,    // a thread exchanging the offered path itself with a link
    swapInsideAtQuestion, // one exchange inside, at the nth time the road asks whether to stop
    swapOfferedAtQuestion,
    swapBeforeEachFolder, // TreeRemoval's hook: every folder becomes a link just before it is opened
    offeredIsLink,        // the offered path replaced by a link after the scan
    parentIsLink,         // the offered path's folder replaced by a link after the scan
    homeIsLink,           // the home given is a link to the home
    homeLinkRetargeted,   // ...and it is pointed at another user's home after the guard was made
};

struct Shape {
    const char* name;
    Plant plant;
    std::string_view target = {}; // where the links lead, relative to the case's root
    int question = 0;             // for the swaps on a question
};

const std::vector<Shape>& shapes()
{
    static const std::vector<Shape> table = {
        {"links out", Plant::linksOut},
        {"hard links out", Plant::hardLinksOut},
        {"bind mount of Documents", Plant::bindMount, "home/Documents"},
        {"bind mount of .ssh", Plant::bindMount, "home/.ssh"},
        {"offered path is a bind mount", Plant::offeredIsBindMount},
        {"another file system", Plant::otherFileSystem},
        {"odd names", Plant::oddNames},
        {"read-only folder", Plant::readOnlyFolder},
        {"immutable file", Plant::immutableFile},
        {"racing swap to Documents", Plant::racingSwapInside, "home/Documents"},
        {"racing swap to another user", Plant::racingSwapInside, "other"},
        {"racing swap of the offered path", Plant::racingSwapOffered, "home/Documents"},
        {"swap inside at question 3", Plant::swapInsideAtQuestion, "home/Documents", 3},
        {"swap inside at question 4", Plant::swapInsideAtQuestion, "home/.ssh", 4},
        {"swap inside at question 6", Plant::swapInsideAtQuestion, "other", 6},
        {"swap of the offered path before the guard", Plant::swapOfferedAtQuestion, "home/Documents", 2},
        {"swap of the offered path after the guard", Plant::swapOfferedAtQuestion, "home/.ssh", 3},
        {"every folder swapped before it is opened", Plant::swapBeforeEachFolder, "home/Documents"},
        {"offered path is a link", Plant::offeredIsLink},
        {"parent is a link to .ssh", Plant::parentIsLink, "home/.ssh"},
        {"parent is a link to another user", Plant::parentIsLink, "other"},
        {"home is a link", Plant::homeIsLink},
        {"home link retargeted", Plant::homeLinkRetargeted},
    };
    return table;
}

// What must become of one path of the confirmed item.
struct Expectation {
    enum class Want {
        gone,           // removed, emptied or in the Trash, with no failure
        failedWith,     // a failure of kind `failed` whose reason holds `words`
        refusedWith,    // a failure of kind `refused` whose reason holds `words`
        typedOrNothing, // a race: the canaries are what count
    };
    Want want = Want::gone;
    std::string words;
};

enum class ActionKind { remove, empty, trash };

ActionKind kindOf(const CleanupItem& item)
{
    if (item.action.as<CleanupAction::DeleteContents>() != nullptr)
        return ActionKind::empty;
    if (item.action.as<CleanupAction::Trash>() != nullptr)
        return ActionKind::trash;
    return ActionKind::remove;
}

bool isRealFolder(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isInside(const std::string& path, const std::string& folder)
{
    return path == folder || (path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/');
}

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

void writeFile(const std::string& path, const std::string& content)
{
    fs::create_directories(parentOf(path));
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

// Exchanges two names in one step, so neither is ever missing.
bool exchangeNames(const std::string& one, const std::string& other)
{
    return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

// A thread that exchanges two names until it is stopped.
class Swapper {
public:
    Swapper(std::string one, std::string other)
        : m_thread([this, one = std::move(one), other = std::move(other)] {
            while (!m_stop.load()) {
                if (exchangeNames(one, other))
                    m_swaps.fetch_add(1);
                else
                    std::this_thread::yield();
            }
        })
    {
    }
    ~Swapper() { stop(); }
    Swapper(const Swapper&) = delete;
    Swapper& operator=(const Swapper&) = delete;

    int stop()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
        return m_swaps.load();
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_swaps{0};
    std::thread m_thread;
};

// The mount points below `root`, deepest first, read from the kernel's own list.
std::vector<std::string> mountsBelow(const std::string& root)
{
    std::vector<std::string> points;
    std::ifstream table("/proc/self/mountinfo");
    std::string line;
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string id, parent, device, inside, point;
        fields >> id >> parent >> device >> inside >> point;
        // Blanks and the like come octal-escaped.
        std::string decoded;
        for (std::size_t index = 0; index < point.size(); ++index) {
            if (point[index] == '\\' && index + 3 < point.size()) {
                decoded += static_cast<char>(std::stoi(point.substr(index + 1, 3), nullptr, 8));
                index += 3;
            } else {
                decoded += point[index];
            }
        }
        if (decoded.size() > root.size() && isInside(decoded, root))
            points.push_back(decoded);
    }
    std::sort(points.begin(), points.end(), [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
    return points;
}

// Whether this file system lets a file be made immutable; why not, else.
std::optional<std::string> immutableRefusal(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return std::string("open: ") + std::strerror(errno);
    int flags = 0;
    std::optional<std::string> refusal;
    if (::ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) {
        refusal = std::string("FS_IOC_GETFLAGS: ") + std::strerror(errno);
    } else {
        flags |= FS_IMMUTABLE_FL;
        if (::ioctl(descriptor, FS_IOC_SETFLAGS, &flags) != 0)
            refusal = std::string("FS_IOC_SETFLAGS: ") + std::strerror(errno);
    }
    ::close(descriptor);
    return refusal;
}

// What the whole run found, in the child.
struct Tally {
    int cases = 0;
    int canaries = 0;
    int canariesLost = 0;
    int refusals = 0;
    int swaps = 0; // exchanges the racing threads and the questions made
    std::map<std::string, std::string> skippedShapes; // shape → why
    std::vector<std::string> problems;
};

// One item against one shape, on a tmpfs of its own at `root`.
class Case {
public:
    Case(std::string root, std::string itemID, const Shape& shape, Tally& tally)
        : m_root(std::move(root))
        , m_itemID(std::move(itemID))
        , m_shape(shape)
        , m_tally(tally)
    {
    }

    void run()
    {
        if (::mkdir(m_root.c_str(), 0755) != 0
            || ::mount("tmpfs", m_root.c_str(), "tmpfs", 0, "size=64m,mode=0755") != 0) {
            problem(std::string("no tmpfs for the case: ") + std::strerror(errno));
            return;
        }
        try {
            runOnItsFileSystem();
        } catch (const std::exception& error) {
            problem(std::string("the case threw: ") + error.what());
        }
        unmountAllBelow();
        ::umount2(m_root.c_str(), MNT_DETACH);
        ::rmdir(m_root.c_str());
    }

private:
    std::string at(std::string_view relative) const { return m_root + "/" + std::string(relative); }

    void problem(const std::string& words)
    {
        m_tally.problems.push_back(m_itemID + " × " + m_shape.name + ": " + words);
    }

    // Two busy homes, ours and another user's, each with its keys and own files.
    void buildHomes()
    {
        for (const std::string_view owner : {"home"sv, "other"sv}) {
            for (const std::string_view file : test::busyLinuxHomeFiles)
                writeFile(at(owner) + "/" + std::string(file), std::string(owner) + " " + std::string(file));
        }
        for (const std::string_view file : canaryFiles)
            writeFile(at(file), "canary " + std::string(file));
        fs::create_directories(at("held"));
    }

    void runOnItsFileSystem()
    {
        buildHomes();
        const bool homeByLink = m_shape.plant == Plant::homeIsLink || m_shape.plant == Plant::homeLinkRetargeted;
        const std::string home = homeByLink ? at("home-link") : at("home");
        if (homeByLink)
            fs::create_directory_symlink(at("home"), home);
        ::setenv("HOME", home.c_str(), 1);

        const std::vector<CleanupItem> items = CleanupCatalog::items(CleanupEnvironment::empty(home));
        const auto found = std::find_if(items.begin(), items.end(), [&](const CleanupItem& each) { return each.id == m_itemID; });
        if (found == items.end()) {
            problem("not offered on this home");
            return;
        }
        const CleanupItem item = *found;
        const std::vector<std::string> paths = item.action.paths();
        for (const std::string& path : paths) {
            if (!isInside(path, home)) {
                problem("offers " + path + ", outside the made-up home: not touched");
                return;
            }
            m_confirmed.push_back(PathGuard::normalize(path));
        }
        m_kind = kindOf(item);
        // The guard is made when the application starts, long before a clean.
        const PathGuard guardian = PathGuard::forHome(home);
        const std::map<std::string, SizeResult> sizes{{item.id, item.measure()}};
        m_trash = Platform::trashFolder(guardian.home());

        if (!plant(item, home))
            return; // not a shape this item can take
        ++m_tally.cases;

        const auto skip = [this](const std::string& path) {
            if (isInside(path, at("held")))
                return true;
            // A folder to be emptied stays itself, unless the shape moves it.
            const bool keptItself = m_kind == ActionKind::empty && !m_swapsOffered;
            return std::any_of(m_confirmed.begin(), m_confirmed.end(), [&](const std::string& confirmed) {
                return keptItself ? path.starts_with(confirmed + "/") : isInside(path, confirmed);
            });
        };
        const test::TreeSnapshot before = test::TreeSnapshot::of(m_root, skip);
        m_tally.canaries += before.files() + static_cast<int>(m_mountedCanaries.size());

        const CleanReport report = clean(item, sizes, guardian);
        if (m_swapper)
            m_tally.swaps += m_swapper->stop();

        for (const auto& [folder, content] : m_mountedCanaries) {
            const int file = ::openat(folder->get(), "theirs.txt", O_RDONLY | O_CLOEXEC);
            char buffer[256] = {};
            const ssize_t length = file < 0 ? -1 : ::read(file, buffer, sizeof buffer);
            if (file >= 0)
                ::close(file);
            if (length < 0 || std::string(buffer, static_cast<std::size_t>(length)) != content) {
                ++m_tally.canariesLost;
                problem("the other file system's canary was lost");
            }
        }
        m_mountedCanaries.clear();
        unmountAllBelow();

        const test::TreeSnapshot after = test::TreeSnapshot::of(m_root, skip);
        for (const std::string& path : before.lostOrChangedIn(after)) {
            if (before.entries().at(path).type == test::TreeSnapshot::Entry::Type::file)
                ++m_tally.canariesLost;
            problem("lost or changed: " + path.substr(m_root.size() + 1));
        }
        for (const std::string& path : before.addedIn(after)) {
            if (!isInside(path, m_trash + "/files") && !isInside(path, m_trash + "/info"))
                problem("appeared outside the Trash: " + path.substr(m_root.size() + 1));
        }
        judge(report, paths);
    }

    // Plants the shape; false when the item has nothing it can be planted in.
    bool plant(const CleanupItem& item, const std::string& home)
    {
        const std::vector<std::string> paths = item.action.paths();
        // The first offered folder is where shapes inside an item go.
        const auto host = std::find_if(paths.begin(), paths.end(), isRealFolder);
        const auto expectAtHost = [&](Expectation::Want want, std::string words) {
            m_expected[*host] = {want, std::move(words)};
        };
        const bool moves = m_kind == ActionKind::trash; // a move takes the tree whole
        switch (m_shape.plant) {
        case Plant::linksOut: {
            if (host == paths.end())
                return false;
            int number = 0;
            for (const std::string_view folder : protectedFolders) {
                fs::create_directory_symlink(at(folder), *host + "/to-folder-" + std::to_string(++number));
                fs::create_directories(*host + "/links");
                fs::create_directory_symlink(at(folder), *host + "/links/folder-" + std::to_string(number));
            }
            for (const std::string_view file : canaryFiles)
                fs::create_symlink(at(file), *host + "/links/file-" + std::to_string(++number));
            fs::create_directory_symlink(fs::relative(at("home/Documents"), *host + "/links"), *host + "/links/up");
            fs::create_directory_symlink(m_root, *host + "/links/case-root");
            return true;
        }
        case Plant::hardLinksOut: {
            if (host == paths.end())
                return false;
            int number = 0;
            for (const std::string_view file : canaryFiles) {
                fs::create_hard_link(at(file), *host + "/hard-" + std::to_string(++number));
                fs::create_directories(*host + "/deeper");
                fs::create_hard_link(at(file), *host + "/deeper/hard-" + std::to_string(number));
            }
            return true;
        }
        case Plant::bindMount:
        case Plant::otherFileSystem: {
            if (host == paths.end())
                return false;
            writeFile(*host + "/beside-the-mount.txt", "beside");
            const std::string point = *host + "/mounted";
            fs::create_directories(point);
            const bool bound = m_shape.plant == Plant::bindMount
                ? ::mount(at(m_shape.target).c_str(), point.c_str(), nullptr, MS_BIND, nullptr) == 0
                : ::mount("tmpfs", point.c_str(), "tmpfs", 0, "size=1m") == 0;
            if (!bound)
                throw std::runtime_error(std::string("mount: ") + std::strerror(errno));
            if (m_shape.plant == Plant::otherFileSystem) {
                writeFile(point + "/theirs.txt", "theirs");
                auto folder = std::make_unique<TreeRemoval::Descriptor>(::open(point.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
                m_mountedCanaries.emplace_back(std::move(folder), "theirs");
            }
            if (!moves) {
                expectAtHost(Expectation::Want::failedWith, "is a mount point");
                m_mustGoToo.push_back(*host + "/beside-the-mount.txt");
            }
            return true;
        }
        case Plant::offeredIsBindMount: {
            for (const std::string& path : paths) {
                const bool folder = isRealFolder(path);
                const std::string source = at(folder ? "home/Documents" : "home/.ssh/id_rsa");
                if (::mount(source.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0)
                    throw std::runtime_error(std::string("mount: ") + std::strerror(errno));
                // A mount point cannot be renamed or unlinked; a folder that is one is never entered.
                m_expected[path] = {Expectation::Want::failedWith,
                                    folder && !moves ? "is a mount point" : "device or resource busy"};
            }
            return true;
        }
        case Plant::oddNames: {
            if (host == paths.end())
                return false;
            const std::string names[] = {"new\nline", "\xff\xfe not UTF-8", "-rf", "--no-preserve-root", "-", " ",
                                         "...", "*", "\\", "$(HOME)", std::string(255, 'n')};
            for (const std::string& name : names) {
                writeFile(*host + "/" + name, name);
                writeFile(*host + "/folder " + name.substr(0, 200) + "/" + name, name);
            }
            fs::create_directory_symlink(at("home/Documents"), *host + "/documents\nlink");
            fs::create_directory_symlink(at("home/.ssh"), *host + "/-keys");
            // Deeper than PATH_MAX: only a removal that works relative to open folders gets down there.
            int folder = ::open(host->c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            for (int level = 0; level < 18 && folder >= 0; ++level) {
                const std::string name(255, static_cast<char>('a' + level));
                ::mkdirat(folder, name.c_str(), 0755);
                const int next = ::openat(folder, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
                ::close(folder);
                folder = next;
            }
            if (folder < 0)
                throw std::runtime_error("cannot build the deep chain");
            ::symlinkat(at("home/Documents").c_str(), folder, "bottom-link");
            ::close(folder);
            return true;
        }
        case Plant::readOnlyFolder: {
            if (host == paths.end())
                return false;
            writeFile(*host + "/locked/inner/c", "c");
            writeFile(*host + "/locked/a", "a");
            ::chmod((*host + "/locked/inner").c_str(), 0555);
            ::chmod((*host + "/locked").c_str(), 0555);
            if (!moves)
                expectAtHost(Expectation::Want::failedWith, "permission denied");
            return true;
        }
        case Plant::immutableFile: {
            if (host == paths.end())
                return false;
            writeFile(*host + "/pinned.txt", "pinned");
            writeFile(*host + "/beside-the-pinned.txt", "beside");
            if (const auto refusal = immutableRefusal(*host + "/pinned.txt")) {
                m_tally.skippedShapes[m_shape.name] = "this file system or process may not set FS_IMMUTABLE_FL ("
                    + *refusal + ")";
                return false;
            }
            if (!moves)
                expectAtHost(Expectation::Want::failedWith, "operation not permitted");
            return true;
        }
        case Plant::racingSwapInside:
        case Plant::swapInsideAtQuestion: {
            if (host == paths.end())
                return false;
            for (int folder = 0; folder < 6; ++folder)
                for (int file = 0; file < 8; ++file)
                    writeFile(*host + "/swap/" + std::to_string(folder) + "/" + std::to_string(file), "swap");
            for (int file = 0; file < 60; ++file)
                writeFile(*host + "/bulk/" + std::to_string(file), "bulk");
            fs::create_directory_symlink(at(m_shape.target), *host + "/swap-link");
            for (const std::string& path : paths)
                m_expected[path] = {Expectation::Want::typedOrNothing, {}};
            if (m_shape.plant == Plant::racingSwapInside)
                m_swapFrom = {*host + "/swap", *host + "/swap-link"};
            else
                m_swapAt = {*host + "/swap", *host + "/swap-link"};
            return true;
        }
        case Plant::racingSwapOffered:
        case Plant::swapOfferedAtQuestion: {
            const std::string& offered = paths.front();
            const std::string partner = at("held/partner");
            if (isRealFolder(offered))
                fs::create_directory_symlink(at(m_shape.target), partner);
            else
                fs::create_symlink(at("home/.ssh/id_rsa"), partner);
            for (const std::string& path : paths)
                m_expected[path] = {Expectation::Want::typedOrNothing, {}};
            if (m_shape.plant == Plant::racingSwapOffered)
                m_swapFrom = {offered, partner};
            else
                m_swapAt = {offered, partner};
            m_swapsOffered = true;
            return true;
        }
        case Plant::swapBeforeEachFolder: {
            if (host == paths.end() || moves)
                return false;
            writeFile(*host + "/a/b/c/file", "deep");
            writeFile(*host + "/a/side/file", "side");
            m_throughHook = true;
            return true;
        }
        case Plant::offeredIsLink: {
            int number = 0;
            for (const std::string& path : paths) {
                const bool folder = isRealFolder(path);
                fs::rename(path, at("held/offered-" + std::to_string(++number)));
                if (folder)
                    fs::create_directory_symlink(at("home/Documents"), path);
                else
                    fs::create_symlink(at("home/.ssh/id_rsa"), path);
                if (m_kind == ActionKind::empty)
                    m_expected[path] = {Expectation::Want::refusedWith, "is a symbolic link"};
            }
            return true;
        }
        case Plant::parentIsLink: {
            // The outermost folders that hold an offered path, the home apart.
            std::vector<std::string> parents;
            for (const std::string& path : paths)
                if (parentOf(path) != home)
                    parents.push_back(parentOf(path));
            std::sort(parents.begin(), parents.end());
            std::vector<std::string> outermost;
            for (const std::string& parent : parents)
                if (std::none_of(outermost.begin(), outermost.end(), [&](const std::string& o) { return isInside(parent, o); }))
                    outermost.push_back(parent);
            if (outermost.empty())
                return false;
            const bool outside = !isInside(at(m_shape.target), at("home"));
            int number = 0;
            for (const std::string& parent : outermost) {
                const std::string shadow = at(m_shape.target) + "/shadow-" + std::to_string(++number);
                // What the offered paths lead to now: a namesake of each, with a canary in it.
                for (const std::string& path : paths) {
                    if (!isInside(path, parent))
                        continue;
                    const std::string namesake = shadow + path.substr(parent.size());
                    if (isRealFolder(path))
                        writeFile(namesake + "/canary", "canary " + namesake);
                    else
                        writeFile(namesake, "canary " + namesake);
                    m_expected[path] = {Expectation::Want::refusedWith,
                                        outside ? "outside the home folder" : "protected folder .ssh"};
                }
                fs::rename(parent, at("held/parent-" + std::to_string(number)));
                fs::create_directory_symlink(shadow, parent);
            }
            return true;
        }
        case Plant::homeIsLink:
            return true;
        case Plant::homeLinkRetargeted:
            fs::remove(home);
            fs::create_directory_symlink(at("other"), home);
            for (const std::string& path : paths)
                m_expected[path] = {Expectation::Want::refusedWith, "outside the home folder"};
            return true;
        }
        return false;
    }

    // The road of a confirmed clean, on a thread that meets file modes as their owner does.
    CleanReport clean(const CleanupItem& item, const std::map<std::string, SizeResult>& sizes, const PathGuard& guardian)
    {
        CleanReport report;
        std::thread worker([&] {
            if (const auto refusal = test::dropOverridingCapabilitiesOfThisThread()) {
                problem("cannot give up root's overrides: " + *refusal);
                return;
            }
            if (m_throughHook) {
                report = removeThroughTheHook(item, guardian);
                return;
            }
            if (m_swapFrom)
                m_swapper = std::make_unique<Swapper>(m_swapFrom->first, m_swapFrom->second);
            int questions = 0;
            const auto isCancelled = [&] {
                if (m_swapAt && ++questions == m_shape.question && exchangeNames(m_swapAt->first, m_swapAt->second))
                    ++m_tally.swaps;
                return pastTheDeadline();
            };
            const Cleaner cleaner{guardian};
            const CleanupRun::Machine machine{
                .perform = [&cleaner](const CleanupAction& action, const CleanupRun::IsCancelled& cancelled) {
                    return cleaner.perform(action, cancelled);
                },
                .measure = [](const CleanupItem& each, const CleanupRun::IsCancelled& cancelled) {
                    return each.measure(cancelled);
                },
            };
            const CleanupRun::Progress progress{
                .started = {},
                .finished = [&report](const CleanupItem&, const CleanupRun::Step& step) { report = step.report; },
            };
            const CleanupRun::Outcome outcome = CleanupRun::clean({item}, sizes, machine, progress, isCancelled);
            if (outcome.cleaned.size() != 1)
                problem("the road did not reach the item");
        });
        worker.join();
        return report;
    }

    // Every folder, the top one too, becomes a link to a protected folder just before it is opened; the
    // real one is moved out of the tree, where no removal of this tree may follow it.
    CleanReport removeThroughTheHook(const CleanupItem& item, const PathGuard& guardian)
    {
        int moved = 0;
        const auto hook = [&](const std::string& folder) {
            std::error_code error;
            fs::rename(folder, at("held/moved-" + std::to_string(++moved)), error);
            if (!error)
                fs::create_directory_symlink(at(m_shape.target), folder, error);
            m_tally.swaps += error ? 0 : 1;
        };
        std::vector<std::string> targets;
        for (const std::string& path : item.action.paths()) {
            if (m_kind != ActionKind::empty) {
                targets.push_back(path);
                continue;
            }
            const TreeRemoval::Listing listing = TreeRemoval::listFolder(PathGuard::normalize(path));
            for (const std::string& name : listing.names)
                targets.push_back(path + "/" + name);
        }
        CleanReport report;
        for (const std::string& path : targets) {
            const std::string target = PathGuard::normalize(path);
            if (!isAllowed(guardian.checkDelete(target))) {
                problem("the guard refuses what the catalog offers: " + path);
                continue;
            }
            const TreeRemoval::Outcome outcome =
                TreeRemoval::remove(target, [this] { return pastTheDeadline(); }, hook);
            if (outcome.status == TreeRemoval::Outcome::Status::cancelled)
                report.wasCancelled = true;
            else if (outcome.status == TreeRemoval::Outcome::Status::done)
                ++report.removed;
            else if (outcome.status == TreeRemoval::Outcome::Status::failed)
                report.failures.push_back({path, outcome.reason, Failure::Kind::failed});
        }
        // Moved out of the tree before it was reached: not the removal's to take.
        for (int number = 1; number <= moved; ++number)
            if (!isRealFolder(at("held/moved-" + std::to_string(number))))
                problem("a folder moved out of the tree was removed all the same");
        return report;
    }

    // The report against what each path was to come to.
    void judge(const CleanReport& report, const std::vector<std::string>& paths)
    {
        if (report.wasCancelled)
            problem("stopped after running past its time");
        for (const Failure& failure : report.failures) {
            ++m_tally.refusals;
            if (failure.reason.empty())
                problem("a failure without words at " + failure.path);
            if (std::none_of(paths.begin(), paths.end(), [&](const std::string& path) { return isInside(failure.path, path); }))
                problem("a failure outside the item: " + failure.path);
        }
        for (const std::string& path : paths) {
            const Expectation expected = m_expected.contains(path) ? m_expected.at(path) : Expectation{};
            std::vector<const Failure*> mine;
            for (const Failure& failure : report.failures)
                if (isInside(failure.path, path))
                    mine.push_back(&failure);
            const auto has = [&](Failure::Kind kind) {
                return std::any_of(mine.begin(), mine.end(), [&](const Failure* failure) {
                    return failure->kind == kind && failure->reason.find(expected.words) != std::string::npos;
                });
            };
            const std::string shown = path.substr(m_root.size() + 1);
            switch (expected.want) {
            case Expectation::Want::gone:
                if (!mine.empty())
                    problem(shown + " failed: " + mine.front()->reason);
                else if (!isGone(path))
                    problem(shown + " is still there and no failure says why");
                break;
            case Expectation::Want::failedWith:
                if (!has(Failure::Kind::failed))
                    problem(shown + " has no failure saying \"" + expected.words + "\"");
                for (const std::string& beside : m_mustGoToo)
                    if (exists(beside))
                        problem(beside.substr(m_root.size() + 1) + " is still there beside the failure");
                break;
            case Expectation::Want::refusedWith:
                if (!has(Failure::Kind::refused))
                    problem(shown + " has no refusal saying \"" + expected.words + "\"");
                break;
            case Expectation::Want::typedOrNothing:
                break;
            }
        }
    }

    bool isGone(const std::string& path) const
    {
        switch (m_kind) {
        case ActionKind::remove:
            return !exists(path);
        case ActionKind::empty:
            return isRealFolder(path) && fs::is_empty(path);
        case ActionKind::trash:
            return !exists(path) && exists(m_trash + "/files/" + nameOf(path))
                && exists(m_trash + "/info/" + nameOf(path) + ".trashinfo");
        }
        return false;
    }

    // A removal that wanders (through a link, round a loop) is stopped rather than left to hang the suite.
    bool pastTheDeadline() const { return std::chrono::steady_clock::now() > m_deadline; }

    void unmountAllBelow()
    {
        for (const std::string& point : mountsBelow(m_root))
            ::umount2(point.c_str(), MNT_DETACH);
    }

    const std::string m_root;
    const std::string m_itemID;
    const Shape& m_shape;
    Tally& m_tally;
    ActionKind m_kind = ActionKind::remove;
    std::vector<std::string> m_confirmed; // the item's paths with their folders' links resolved at the scan
    std::string m_trash;
    std::map<std::string, Expectation> m_expected; // by offered path; gone when absent
    std::vector<std::pair<std::unique_ptr<TreeRemoval::Descriptor>, std::string>> m_mountedCanaries;
    std::optional<std::pair<std::string, std::string>> m_swapFrom; // for the racing thread
    std::optional<std::pair<std::string, std::string>> m_swapAt;   // for the swap on a question
    std::unique_ptr<Swapper> m_swapper;
    bool m_throughHook = false;
    bool m_swapsOffered = false;
    std::vector<std::string> m_mustGoToo; // beside what fails, in the same item
    const std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
};

// The ids the catalog offers on a busy home, from a scratch copy of one.
std::vector<std::string> offeredIDs(const std::string& scratch)
{
    for (const std::string_view file : test::busyLinuxHomeFiles)
        writeFile(scratch + "/home/" + std::string(file), "x");
    std::vector<std::string> ids;
    for (const CleanupItem& item : CleanupCatalog::items(CleanupEnvironment::empty(scratch + "/home")))
        ids.push_back(item.id);
    fs::remove_all(scratch + "/home");
    return ids;
}

std::string runAllCases(const std::string& base)
{
    // Whatever goes wrong, the user's real home is out of reach.
    const char* realHome = std::getenv("HOME");
    if (realHome != nullptr && std::string_view(realHome).size() > 1 && isRealFolder(realHome)
        && !isInside(base, realHome)
        && ::mount("tmpfs", realHome, "tmpfs", MS_RDONLY, "size=16k,mode=0555") != 0)
        return std::string("0 cases run: could not cover the real home: ") + std::strerror(errno) + "\n";
    for (const char* variable : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        ::unsetenv(variable);

    Tally tally;
    const std::vector<std::string> ids = offeredIDs(base);
    // Well within ctest's patience even when a fault makes every case run to its own limit.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    int number = 0;
    for (const std::string& id : ids) {
        for (const Shape& shape : shapes()) {
            if (std::chrono::steady_clock::now() > deadline) {
                tally.problems.push_back("out of time before " + id + " × " + shape.name);
                break;
            }
            Case(base + "/case-" + std::to_string(++number), id, shape, tally).run();
        }
    }

    std::ostringstream text;
    text << tally.cases << " cases run, " << tally.canariesLost << " canaries lost, " << tally.refusals
         << " refusals\n";
    text << ids.size() << " offered items × " << shapes().size() << " shapes; " << tally.canaries
         << " canaries checked; " << tally.swaps << " folders swapped for links mid-removal\n";
    for (const auto& [shape, reason] : tally.skippedShapes)
        text << "skipped: " << shape << ": " << reason << "\n";
    for (const std::string& line : tally.problems)
        text << "problem: " << line << "\n";
    text << "counts " << tally.cases << " " << tally.canariesLost << "\n";
    return text.str();
}

TEST(AdversarialRemovalTests, EveryOfferedItemAgainstEveryHostileShapeLosesNoCanary)
{
    const test::TemporaryFolder base;
    const auto started = std::chrono::steady_clock::now();
    const test::IsolatedRun run = test::runInOwnMountNamespace([&] { return runAllCases(base.path()); });
    // Without the right to mount there is nothing to run; a child that died is a fault.
    if (!run.ran && run.reason.starts_with("no private mount namespace"))
        GTEST_SKIP() << run.reason;
    ASSERT_TRUE(run.ran) << run.reason;
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    std::istringstream lines(run.output);
    std::string line, summary;
    int cases = 0, lost = -1;
    std::vector<std::string> problems;
    while (std::getline(lines, line)) {
        if (summary.empty())
            summary = line;
        if (line.starts_with("problem: "))
            problems.push_back(line.substr(9));
        else if (line.starts_with("counts "))
            std::istringstream(line.substr(7)) >> cases >> lost;
        else
            std::printf("%s\n", line.c_str());
    }
    std::printf("%.1f s\n", seconds);
    EXPECT_GE(cases, 200) << summary;
    EXPECT_EQ(lost, 0) << summary;
    for (const std::string& each : problems)
        ADD_FAILURE() << each;
}

} // namespace
} // namespace tarno
