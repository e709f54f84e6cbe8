#include "ProgressLine.hpp"

#include <fmt/core.h>

#include <cstdio>

#include <unistd.h>

namespace tarno::cli {

ProgressLine::ProgressLine() : m_isShown(::isatty(STDERR_FILENO) != 0) {}

ProgressLine::~ProgressLine()
{
    if (m_hasText)
        fmt::print(stderr, "\r\033[K");
}

void ProgressLine::show(const std::string& text)
{
    if (!m_isShown)
        return;
    const std::lock_guard lock(m_lock);
    const auto now = std::chrono::steady_clock::now();
    if (m_hasText && now - m_lastShown < std::chrono::milliseconds(100))
        return;
    m_lastShown = now;
    m_hasText = true;
    // Back to the start of the line, the text, and nothing left of a longer one.
    fmt::print(stderr, "\r{}\033[K", text);
    std::fflush(stderr);
}

} // namespace tarno::cli
