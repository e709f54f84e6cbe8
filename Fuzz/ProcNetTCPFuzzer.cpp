// /proc/<pid>/net/tcp and tcp6: the sockets of a process's network namespace.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

#include <algorithm>

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    std::unordered_set<std::uint64_t> inodes;
    for (std::uint64_t inode = 1; inode <= 64; ++inode)
        inodes.insert(inode);
    inodes.insert(4'294'967'295);
    const std::vector<TCPSocket> sockets = Platform::ProcessTable::parseTCPTable(text, inodes);
    // At most one socket a line, and the heading is none.
    Fuzz::require(sockets.size() <= static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')));
    return 0;
}
