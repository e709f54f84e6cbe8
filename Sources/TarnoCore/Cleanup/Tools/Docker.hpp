#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarno {

// Reclaimable sizes as Docker reports them.
struct DockerUsage {
    std::int64_t containers = 0;
    std::int64_t images = 0;
    std::int64_t volumes = 0;
    std::int64_t buildCache = 0;

    bool operator==(const DockerUsage&) const = default;
};

// Whether Docker's command-line tool is here and answering.
struct DockerStatus {
    struct Running {
        std::string cli;
        DockerUsage usage;
        bool operator==(const Running&) const = default;
    };
    struct NotInstalled {
        bool operator==(const NotInstalled&) const = default;
    };
    struct NotRunning {
        bool operator==(const NotRunning&) const = default;
    };

    std::variant<Running, NotInstalled, NotRunning> value = NotInstalled{};

    static DockerStatus notInstalled() { return {NotInstalled{}}; }
    static DockerStatus notRunning() { return {NotRunning{}}; }
    static DockerStatus running(std::string cli, DockerUsage usage) { return {Running{std::move(cli), usage}}; }

    bool isRunning() const { return std::holds_alternative<Running>(value); }
    bool isNotRunning() const { return std::holds_alternative<NotRunning>(value); }

    bool operator==(const DockerStatus&) const = default;
};

// Asks Docker's command-line tool what it can give back. A tool that is
// missing, stopped, slow or talking nonsense means there is nothing to offer.
namespace Docker {

// The paths to try for the tool, in order: the platform's table.
std::vector<std::string> cliCandidates(const std::string& home);

// Runs the first candidate that is an executable file (only that one) with
// "system df". Blocks for up to 45 seconds, less once `isCancelled` answers
// yes (a stopped question answers "not running"): call it off the main thread.
DockerStatus status(const std::vector<std::string>& cliCandidates, const std::function<bool()>& isCancelled = {});

// `docker system df --format {{json .}}`: one JSON object a line. Absent when
// no line decodes; a type no line names stays 0, the last line of a type wins.
std::optional<DockerUsage> parseUsage(std::string_view output);

// "1.2GB (30%)" → 1,200,000,000: Docker counts in decimal units. A number
// that does not read gives 0; one beyond the 64-bit range gives its maximum.
std::int64_t parseSize(std::string_view text);

// The four prune items of a running tool, each with the size Docker reported;
// nothing for a tool that is absent or not running.
std::vector<CleanupItem> cleanupItems(const DockerStatus& status);

} // namespace Docker

} // namespace tarno
