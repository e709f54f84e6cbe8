#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"

#include "TarnoCore/Cleanup/Tools/SizeText.hpp"
#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/Text.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

namespace tarno::Homebrew {

namespace {

constexpr std::chrono::seconds estimateTimeout{180};

constexpr std::string_view phrase = "approximately ";
constexpr std::string_view digitsAndPoints = "0123456789.";
// The first match of "approximately ([0-9.]+)\s*([KMGT]?B)", found by hand:
// std::regex backtracks recursively, so a long enough run of digits in a
// tool's output would overflow the stack. The pattern never needs to back
// up, so one pass from each occurrence of the phrase decides it.
std::optional<std::string_view> firstEstimatePhrase(std::string_view text)
{
    for (std::size_t start = text.find(phrase); start != std::string_view::npos;
         start = text.find(phrase, start + 1)) {
        std::size_t position = start + phrase.size();
        const std::size_t numberEnd = std::min(text.find_first_not_of(digitsAndPoints, position), text.size());
        if (numberEnd == position)
            continue;
        position = std::min(text.find_first_not_of(Text::whiteSpace, numberEnd), text.size());
        if (position < text.size() && std::string_view("KMGT").find(text[position]) != std::string_view::npos
            && position + 1 < text.size() && text[position + 1] == 'B')
            return text.substr(start, position + 2 - start);
        if (position < text.size() && text[position] == 'B')
            return text.substr(start, position + 1 - start);
    }
    return std::nullopt;
}

} // namespace

const std::map<std::string, std::string>& quietly()
{
    static const std::map<std::string, std::string> environment{
        {"HOMEBREW_NO_AUTO_UPDATE", "1"},
        {"HOMEBREW_NO_ENV_HINTS", "1"},
    };
    return environment;
}

std::optional<CleanupItem> cleanupItem(const std::function<bool()>& isCancelled)
{
    return cleanupItem(Platform::brewCandidates(), isCancelled);
}

std::optional<CleanupItem> cleanupItem(const std::vector<std::string>& brewCandidates,
                                       const std::function<bool()>& isCancelled)
{
    const std::optional<std::string> brew = Platform::firstExecutable(brewCandidates);
    if (!brew)
        return std::nullopt;
    const std::optional<Shell::Output> output = Shell::run(*brew, {"cleanup", "--dry-run"}, quietly(), estimateTimeout, isCancelled);
    if (!output || !output->succeeded())
        return std::nullopt;
    const std::optional<std::int64_t> estimate =
        parseEstimate(output->standardOutput + "\n" + output->standardError);
    if (!estimate || *estimate < 1)
        return std::nullopt;
    return CleanupItem{
        .id = "homebrew.oldVersions",
        .title = "Homebrew: old versions",
        .category = CleanupCategory::developerTools,
        .consequence = "None. Homebrew keeps them only so you could switch back.",
        .safety = Safety::safe,
        .action = CleanupAction::Run{*brew, {"cleanup"}, {}},
        .requiresAdmin = false,
        .minimumBytesToShow = 1'000'000,
        .knownBytes = *estimate,
    };
}

std::optional<std::int64_t> parseEstimate(std::string_view text)
{
    const std::optional<std::string_view> match = firstEstimatePhrase(text);
    if (!match)
        return std::nullopt;
    const SizeText::Number number = SizeText::leadingNumber(Text::trimmed(match->substr(phrase.size())));
    if (!number.value)
        return std::nullopt;
    const std::string_view unit = Text::trimmed(number.rest);
    double factor = 1;
    if (unit == "KB")
        factor = 1024.0;
    else if (unit == "MB")
        factor = 1024.0 * 1024;
    else if (unit == "GB")
        factor = 1024.0 * 1024 * 1024;
    else if (unit == "TB")
        factor = 1024.0 * 1024 * 1024 * 1024;
    return SizeText::bytes(*number.value, factor);
}

} // namespace tarno::Homebrew
