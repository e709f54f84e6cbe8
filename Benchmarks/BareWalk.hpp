#pragma once

// The plainest walk that reads what the walkers read: getdents64 and one
// statx per entry, on the calling thread. What any walk of these figures
// must at least do, so the benchmarks' baseline.

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarno::bench {

// The number of entries below root; with looseFilesOnly, root's own entries
// only. A folder is entered only if `enter` (when given) says so of its name.
inline std::int64_t bareWalk(const std::string& root, bool looseFilesOnly = false,
                             const std::function<bool(std::string_view)>& enter = {})
{
    std::vector<std::string> stack{root};
    std::vector<char> buffer(65536);
    std::int64_t entries = 0;
    while (!stack.empty()) {
        const std::string path = std::move(stack.back());
        stack.pop_back();
        const int folder = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC);
        if (folder < 0)
            continue;
        for (;;) {
            const long filled = ::syscall(SYS_getdents64, folder, buffer.data(), buffer.size());
            if (filled <= 0)
                break;
            for (long offset = 0; offset < filled;) {
                const auto* record = reinterpret_cast<const struct dirent64*>(buffer.data() + offset);
                offset += record->d_reclen;
                const char* name = record->d_name;
                if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
                    continue;
                struct statx status;
                if (::statx(folder, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) != 0)
                    continue;
                ++entries;
                if (S_ISDIR(status.stx_mode) && !looseFilesOnly && (!enter || enter(name)))
                    stack.push_back(path + "/" + name);
            }
        }
        ::close(folder);
    }
    return entries;
}

} // namespace tarno::bench
