#include "TarnoCore/Apps/RunningApps.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

namespace tarno::RunningApps {

namespace {

// The path with its links resolved, as the kernel reports an executable and
// the AppImage runtime its file; the path itself when it cannot be resolved.
std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    return real ? std::string(real.get()) : path;
}

} // namespace

std::vector<std::int32_t> pids(const InstalledApp& app, const Platform::ProcessTable& table)
{
    std::vector<std::int32_t> found;
    if (app.path.empty())
        return found;
    const std::string path = app.path;
    const std::string realPath = resolved(app.path);
    const auto isApp = [&](const std::string& candidate) { return candidate == path || candidate == realPath; };
    const auto isInside = [&](const std::string& candidate) {
        return candidate.starts_with(path + "/") || candidate.starts_with(realPath + "/");
    };
    const std::int32_t self = static_cast<std::int32_t>(::getpid());

    for (const std::int32_t pid : table.allPIDs()) {
        if (pid == self)
            continue;
        const std::optional<Platform::ProcessTable::Status> status = table.status(pid);
        if (!status || status->hasEnded)
            continue;
        bool belongs = false;
        switch (app.kind) {
        case AppKind::bundle:
            belongs = isInside(table.executablePath(pid));
            break;
        case AppKind::flatpak:
            belongs = !app.bundleID.empty() && table.flatpakApplication(pid) == app.bundleID;
            break;
        case AppKind::appImage:
            if (const std::optional<std::string> image = table.environmentVariable(pid, "APPIMAGE"))
                belongs = isApp(*image);
            break;
        }
        if (belongs)
            found.push_back(pid);
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace tarno::RunningApps
