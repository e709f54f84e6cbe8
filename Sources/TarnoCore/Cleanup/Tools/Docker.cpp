#include "TarnoCore/Cleanup/Tools/Docker.hpp"

#include "TarnoCore/Cleanup/Tools/SizeText.hpp"
#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <nlohmann/json.hpp>

#include <cctype>

namespace tarno::Docker {

namespace {

constexpr std::chrono::seconds statusTimeout{45};

std::string lowercased(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view firstWord(std::string_view text)
{
    std::size_t start = 0;
    while (start < text.size() && isBlank(text[start]))
        ++start;
    std::size_t end = start;
    while (end < text.size() && !isBlank(text[end]))
        ++end;
    return text.substr(start, end - start);
}

struct UsageLine {
    std::string type;
    std::string reclaimable;
};

std::optional<UsageLine> decodeLine(std::string_view line)
{
    const nlohmann::json object = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object())
        return std::nullopt;
    const auto type = object.find("Type");
    const auto reclaimable = object.find("Reclaimable");
    if (type == object.end() || reclaimable == object.end() || !type->is_string() || !reclaimable->is_string())
        return std::nullopt;
    return UsageLine{type->get<std::string>(), reclaimable->get<std::string>()};
}

CleanupItem pruneItem(const std::string& cli, std::string id, std::string title, std::string consequence,
                      Safety safety, std::vector<std::string> arguments, std::int64_t knownBytes)
{
    return CleanupItem{
        .id = std::move(id),
        .title = std::move(title),
        .category = CleanupCategory::docker,
        .consequence = std::move(consequence),
        .safety = safety,
        .action = CleanupAction::Run{cli, std::move(arguments), {}},
        .requiresAdmin = false,
        .minimumBytesToShow = 1'000'000,
        .knownBytes = knownBytes,
    };
}

} // namespace

std::vector<std::string> cliCandidates(const std::string& home)
{
    return Platform::dockerCandidates(home);
}

DockerStatus status(const std::vector<std::string>& cliCandidates, const std::function<bool()>& isCancelled)
{
    const std::optional<std::string> cli = Platform::firstExecutable(cliCandidates);
    if (!cli)
        return DockerStatus::notInstalled();
    // Only the first executable candidate is asked, whatever it answers.
    const std::optional<Shell::Output> output =
        Shell::run(*cli, {"system", "df", "--format", "{{json .}}"}, {}, statusTimeout, isCancelled);
    if (!output || !output->succeeded())
        return DockerStatus::notRunning();
    const std::optional<DockerUsage> usage = parseUsage(output->standardOutput);
    if (!usage)
        return DockerStatus::notRunning();
    return DockerStatus::running(*cli, *usage);
}

std::optional<DockerUsage> parseUsage(std::string_view output)
{
    DockerUsage usage;
    bool decodedAny = false;
    while (!output.empty()) {
        const std::size_t lineEnd = output.find('\n');
        const std::string_view line = output.substr(0, lineEnd);
        output = lineEnd == std::string_view::npos ? std::string_view() : output.substr(lineEnd + 1);
        if (line.empty())
            continue;
        const std::optional<UsageLine> decoded = decodeLine(line);
        if (!decoded)
            continue;
        decodedAny = true;
        const std::int64_t size = parseSize(decoded->reclaimable);
        if (decoded->type == "Containers")
            usage.containers = size;
        else if (decoded->type == "Images")
            usage.images = size;
        else if (decoded->type == "Local Volumes")
            usage.volumes = size;
        else if (decoded->type == "Build Cache")
            usage.buildCache = size;
    }
    if (!decodedAny)
        return std::nullopt;
    return usage;
}

std::int64_t parseSize(std::string_view text)
{
    const SizeText::Number number = SizeText::leadingNumber(firstWord(text));
    const std::string unit = lowercased(number.rest);
    double factor = 1;
    if (unit == "kb")
        factor = 1e3;
    else if (unit == "mb")
        factor = 1e6;
    else if (unit == "gb")
        factor = 1e9;
    else if (unit == "tb")
        factor = 1e12;
    return SizeText::bytes(number.value.value_or(0.0), factor);
}

std::vector<CleanupItem> cleanupItems(const DockerStatus& status)
{
    const auto* running = std::get_if<DockerStatus::Running>(&status.value);
    if (running == nullptr)
        return {};
    const std::string& cli = running->cli;
    const DockerUsage& usage = running->usage;
    return {
        pruneItem(cli, "docker.containers", "Stopped containers",
                  "Anything written inside those containers is lost.", Safety::review,
                  {"container", "prune", "--force"}, usage.containers),
        pruneItem(cli, "docker.images", "Images no container uses",
                  "They are pulled or built again the next time you need them.", Safety::review,
                  {"image", "prune", "--all", "--force"}, usage.images),
        pruneItem(cli, "docker.volumes", "Volumes no container uses",
                  "Erases the data stored in them, such as databases, for good.", Safety::review,
                  {"volume", "prune", "--all", "--force"}, usage.volumes),
        pruneItem(cli, "docker.buildCache", "Build cache", "The next image build starts from scratch.",
                  Safety::safe, {"builder", "prune", "--all", "--force"}, usage.buildCache),
    };
}

} // namespace tarno::Docker
