#pragma once

#include <cstdio>
#include <string>

// What the removing commands share: a yes from the person at the terminal,
// and Ctrl-C that ends a removal after the path under way.
namespace tarno::cli {

// Whether standard input is a terminal someone can answer on.
bool canAsk();

// Prints "<question> [y/N] " to `stream` (standard error when standard
// output carries JSON) and reads the answer; only "y" or "yes" is a yes.
bool confirmedOnTerminal(const std::string& question, std::FILE* stream);

// While one stands, Ctrl-C is noted instead of ending the program, so that
// what was removed can still be counted and recorded.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    static bool wasInterrupted();
};

} // namespace tarno::cli
