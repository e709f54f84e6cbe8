#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace tarno::cli {

// One line on standard error that long work rewrites as it goes, shown only
// when standard error is a terminal, at most ten times a second. Safe to
// update from several threads.
class ProgressLine {
public:
    ProgressLine();
    // Clears the line, so the result starts on a clean one.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(const std::string& text);

private:
    const bool m_isShown;
    std::mutex m_lock;
    std::chrono::steady_clock::time_point m_lastShown;
    bool m_hasText = false;
};

} // namespace tarno::cli
