#pragma once

#include <cstdint>
#include <string>
#include <variant>

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

} // namespace tarno
