#pragma once

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarno::test {

// Root reads every folder whatever its mode, so a test of what cannot be read
// runs its body in a forked child that has become "nobody" (uid and gid 65534).
// The body returns its findings as a string, which comes back through a pipe.
struct UnprivilegedRun {
    bool ran = false;    // the child gave up its rights and finished the body
    std::string output;  // what the body returned
    std::string reason;  // why it did not run, for GTEST_SKIP or a failure message
};

inline constexpr unsigned nobodyID = 65534;

// Lets "nobody" reach and list `folder` (a fresh temporary folder is private to its owner).
inline void openToEveryone(const std::string& folder)
{
    ::chmod(folder.c_str(), 0755);
}

inline UnprivilegedRun runAsNobody(const std::function<std::string()>& body)
{
    int channel[2];
    if (::pipe(channel) != 0)
        return {false, {}, std::string("pipe: ") + std::strerror(errno)};

    const pid_t child = ::fork();
    if (child < 0) {
        ::close(channel[0]);
        ::close(channel[1]);
        return {false, {}, std::string("fork: ") + std::strerror(errno)};
    }

    if (child == 0) {
        ::close(channel[0]);
        // First byte: 'R' when the body ran, 'F' when the rights could not be dropped.
        std::string message;
        if (::setgroups(0, nullptr) != 0 || ::setgid(nobodyID) != 0 || ::setuid(nobodyID) != 0
            || ::geteuid() != nobodyID || ::setuid(0) == 0) {
            message = std::string("F") + "cannot become uid/gid 65534: " + std::strerror(errno);
        } else {
            message = "R" + body();
        }
        const char* data = message.data();
        std::size_t left = message.size();
        while (left > 0) {
            const ssize_t written = ::write(channel[1], data, left);
            if (written <= 0)
                break;
            data += written;
            left -= static_cast<std::size_t>(written);
        }
        ::close(channel[1]);
        ::_exit(0); // skip the test framework's exit handlers in the child
    }

    ::close(channel[1]);
    std::string received;
    char chunk[4096];
    for (;;) {
        const ssize_t count = ::read(channel[0], chunk, sizeof chunk);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        received.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(channel[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || received.empty())
        return {false, {}, "the unprivileged child ended abnormally"};
    if (received[0] == 'F')
        return {false, {}, received.substr(1)};
    return {true, received.substr(1), {}};
}

} // namespace tarno::test
