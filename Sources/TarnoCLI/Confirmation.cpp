#include "Confirmation.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <csignal>
#include <iostream>

#include <signal.h>
#include <unistd.h>

namespace tarno::cli {

namespace {

bool isYes(std::string answer)
{
    std::erase_if(answer, [](unsigned char character) { return std::isspace(character) != 0; });
    std::transform(answer.begin(), answer.end(), answer.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return answer == "y" || answer == "yes";
}

std::atomic<bool> interrupted{false};
struct sigaction previousAction {};

extern "C" void noteInterrupt(int /*signal*/) { interrupted = true; }

} // namespace

bool canAsk()
{
    return ::isatty(STDIN_FILENO) != 0;
}

bool confirmedOnTerminal(const std::string& question, std::FILE* stream)
{
    fmt::print(stream, "{} [y/N] ", question);
    std::fflush(stream);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        // End of file: no answer, and no newline typed after the prompt either.
        fmt::print(stream, "\n");
        return false;
    }
    return isYes(answer);
}

InterruptWatch::InterruptWatch()
{
    struct sigaction action {};
    action.sa_handler = noteInterrupt;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &previousAction);
}

InterruptWatch::~InterruptWatch()
{
    ::sigaction(SIGINT, &previousAction, nullptr);
}

bool InterruptWatch::wasInterrupted()
{
    return interrupted.load();
}

} // namespace tarno::cli
