#pragma once

#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace tarno::test {

// What a body run in a forked child found.
struct ChildRun {
    bool ran = false;    // the child was set up and finished the body
    std::string output;  // what the body returned
    std::string reason;  // why it did not run, for GTEST_SKIP or a failure message
};

// Runs `body` in a forked child after `prepare` has changed the child (its
// rights, its namespaces); `prepare` returns why it failed, or nothing. The
// body's findings come back through a pipe, so the test process itself is
// never changed.
inline ChildRun runInChild(const std::function<std::optional<std::string>()>& prepare,
                           const std::function<std::string()>& body)
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
        // First byte: 'R' when the body ran, 'F' when the child could not be prepared.
        const std::optional<std::string> failure = prepare();
        const std::string message = failure ? "F" + *failure : "R" + body();
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
        return {false, {}, "the child ended abnormally"};
    if (received[0] == 'F')
        return {false, {}, received.substr(1)};
    return {true, received.substr(1), {}};
}

} // namespace tarno::test
