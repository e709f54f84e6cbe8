#pragma once

#include <optional>
#include <string>
#include <vector>

// Where this platform keeps the outside tools the system runs. Tools are always
// run by these absolute paths, never found along PATH; a tool that is not at
// its path simply fails to start, which its caller treats as absent.
namespace tarno::Platform {

// Docker's command-line tool, in the order to try: the Mac's places first
// (Homebrew, Docker Desktop), then Linux packages and snaps.
std::vector<std::string> dockerCandidates(const std::string& home);

// Homebrew, in the order to try: Apple silicon, Intel, then Linuxbrew.
std::vector<std::string> brewCandidates();

// The Xcode tool runner that lists simulators; there is none on Linux.
std::string xcrun();

std::string git();

// The GitHub command-line tool, in the order to try: Homebrew on Apple silicon
// and Intel, then the Linux package.
std::vector<std::string> ghCandidates();

// polkit's way of running a command as the administrator.
std::string pkexec();

// Flatpak's command-line tool, in the order to try: each absolute folder of
// `searchPath` (a PATH value), then the distribution's place. Flatpak is
// where the user installed it, and the one on their PATH is the one they
// run themselves.
std::vector<std::string> flatpakCandidates(const std::string& searchPath);

// The first candidate that is an executable regular file (a link to one
// counts); std::nullopt when none is. Runs nothing.
std::optional<std::string> firstExecutable(const std::vector<std::string>& candidates);

} // namespace tarno::Platform
