#include "TarnoCore/Foundation/NaturalOrder.hpp"

namespace tarno::NaturalOrder {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// ASCII only: other letters compare by their bytes.
unsigned char folded(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 'A' && byte <= 'Z') ? static_cast<unsigned char>(byte - 'A' + 'a') : byte;
}

// The run of digits at `at`, without its leading zeros; `at` moves past the run.
std::string_view digitRun(std::string_view text, std::size_t& at)
{
    const std::size_t start = at;
    while (at < text.size() && isDigit(text[at]))
        ++at;
    std::string_view run = text.substr(start, at - start);
    while (run.size() > 1 && run.front() == '0')
        run.remove_prefix(1);
    return run;
}

} // namespace

std::strong_ordering compare(std::string_view left, std::string_view right)
{
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < left.size() && j < right.size()) {
        if (isDigit(left[i]) && isDigit(right[j])) {
            // Numbers of any length: the longer one is larger, equal lengths
            // compare digit by digit.
            const std::string_view a = digitRun(left, i);
            const std::string_view b = digitRun(right, j);
            if (a.size() != b.size())
                return a.size() <=> b.size();
            if (const auto order = a <=> b; order != 0)
                return order;
            continue;
        }
        if (const auto order = folded(left[i]) <=> folded(right[j]); order != 0)
            return order;
        ++i;
        ++j;
    }
    if (const auto order = (left.size() - i) <=> (right.size() - j); order != 0)
        return order;
    return left <=> right;
}

} // namespace tarno::NaturalOrder
