#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace tarno::Platform {

// An exclusive lock on a file that exists only to be locked, shared by every
// process and thread of the user that opens the same file. The lock is the
// kernel's: it goes with the process, so a writer that dies never leaves it
// taken. Moving only; the destructor lets it go.
class FileLock {
public:
    // Creates the file if need be (private to the user) and waits up to
    // `patience` for the lock; absent when the file cannot be opened or the
    // lock stays taken that long.
    static std::optional<FileLock> acquire(const std::string& path, std::chrono::milliseconds patience);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

private:
    explicit FileLock(int descriptor) : m_descriptor(descriptor) {}

    int m_descriptor = -1;
};

} // namespace tarno::Platform
