#include "TarnoCore/Platform/FileLock.hpp"

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace tarno::Platform {

// flock, not fcntl record locks: an flock belongs to the open file, so two
// threads of one process exclude each other as two processes do, and closing
// some other descriptor of the same file does not drop it.
std::optional<FileLock> FileLock::acquire(const std::string& path, std::chrono::milliseconds patience)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0)
        return std::nullopt;

    // flock cannot wait for a limited time, so a taken lock is asked again
    // after short, growing pauses.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::chrono::milliseconds pause(1);
    for (;;) {
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return FileLock(descriptor);
        if (errno != EWOULDBLOCK && errno != EINTR)
            break;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            break;
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(pause, deadline - now));
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
    ::close(descriptor);
    return std::nullopt;
}

FileLock::FileLock(FileLock&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept
{
    if (this != &other) {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

// Closing the only descriptor of the open file releases the lock.
FileLock::~FileLock()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

} // namespace tarno::Platform
