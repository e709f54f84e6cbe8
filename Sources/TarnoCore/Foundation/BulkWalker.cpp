#include "TarnoCore/Foundation/BulkWalker.hpp"

#include "TarnoCore/Platform/BulkDirectoryReader.hpp"

#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

bool BulkFolder::contains(std::string_view name) const
{
    for (const BulkEntry& entry : entries) {
        if (entry.isNamed(name))
            return true;
    }
    return false;
}

std::string BulkFolder::pathOf(const BulkEntry& entry) const
{
    std::string result;
    result.reserve(path.size() + 1 + static_cast<std::size_t>(entry.nameLength));
    result.append(path);
    result.push_back('/');
    result.append(entry.namePointer, static_cast<std::size_t>(entry.nameLength));
    return result;
}

namespace {

// The one folder descriptor a walk holds at a time.
class OpenFolder {
public:
    explicit OpenFolder(const std::string& path)
        : m_descriptor(Platform::BulkDirectoryReader::openFolder(path.c_str()))
    {
    }
    ~OpenFolder()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

struct PendingFolder {
    std::string path;
    int depth = 0;
};

} // namespace

namespace BulkWalker {

void walk(const std::string& root, const Visit& visit, const Unreadable& unreadable)
{
    struct stat rootStatus;
    if (::lstat(root.c_str(), &rootStatus) != 0 || !S_ISDIR(rootStatus.st_mode))
        return;
    const dev_t rootDevice = rootStatus.st_dev;

    Platform::BulkDirectoryReader reader;
    std::vector<PendingFolder> stack;
    stack.push_back({root, 0});
    // One folder value serves the whole walk so its entry list keeps its capacity.
    BulkFolder folder;

    while (!stack.empty()) {
        PendingFolder pending = std::move(stack.back());
        stack.pop_back();

        const OpenFolder open(pending.path);
        if (!open.isOpen()) {
            unreadable(pending.path);
            continue;
        }
        // Another device below the root is a mount point: not ours to enter.
        struct stat status;
        if (::fstat(open.descriptor(), &status) != 0 || status.st_dev != rootDevice)
            continue;

        folder.entries.clear();
        folder.skipped.clear();
        switch (reader.read(open.descriptor(), folder.entries)) {
        case Platform::BulkDirectoryReader::Result::complete:
            break;
        case Platform::BulkDirectoryReader::Result::failedAtStart:
            unreadable(pending.path);
            continue;
        case Platform::BulkDirectoryReader::Result::failedPartway:
            continue;
        }

        folder.path = std::move(pending.path);
        folder.depth = pending.depth;
        if (!visit(folder))
            return;

        // Pushed last to first so the first subfolder is entered next:
        // depth-first, in the volume's own order.
        for (std::size_t index = folder.entries.size(); index-- > 0;) {
            const BulkEntry& entry = folder.entries[index];
            if (entry.kind == BulkEntry::Kind::directory && !folder.skipped.contains(index))
                stack.push_back({folder.pathOf(entry), folder.depth + 1});
        }
    }
}

} // namespace BulkWalker
} // namespace tarno
