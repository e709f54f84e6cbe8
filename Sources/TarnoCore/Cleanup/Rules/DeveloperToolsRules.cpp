#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include <sys/stat.h>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

bool isRegularFile(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Only the package files themselves: apt's folder, its partial/ downloads and
// its lock stay, and a link among them is not a package.
std::vector<std::string> downloadedPackages(const std::string& archives)
{
    std::vector<std::string> packages =
        RuleSupport::childrenOfRealFolder(archives, [](std::string_view name) { return name.ends_with(".deb"); });
    std::erase_if(packages, [](const std::string& path) { return !isRegularFile(path); });
    return packages;
}

} // namespace

void developerTools(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const std::string& home = env.home;
    const std::string caches = home + "/Library/Caches";
    const std::string& cache = env.folders.cache;
    const CleanupCategory category = CleanupCategory::developerTools;
    const auto bothPlaces = [&](std::string_view name) {
        const std::string suffix = "/" + std::string(name);
        return RuleSupport::withoutRepeats({caches + suffix, cache + suffix});
    };

    builder.add("homebrew.cache", "Homebrew downloads", category,
                "None. Homebrew keeps them only so a reinstall can skip the download.", Safety::safe,
                CleanupAction::Delete{bothPlaces("Homebrew")});
    builder.add("jetbrains.caches", "JetBrains IDE caches", category,
                "The IDE re-indexes each project the next time you open it.", Safety::safe,
                CleanupAction::DeleteContents{bothPlaces("JetBrains")});
    builder.add("pip.cache", "pip cache", category, "Packages download again on the next install.", Safety::safe,
                CleanupAction::Delete{bothPlaces("pip")});
    builder.add("go.buildCache", "Go build cache", category, "The next Go build compiles everything again.",
                Safety::safe, CleanupAction::Delete{bothPlaces("go-build")});
    builder.add("cargo.cache", "Cargo download cache", category, "Crates download again when a build needs them.",
                Safety::safe, CleanupAction::Delete{{home + "/.cargo/registry/cache"}});
    builder.add("kraftkit.packages", "KraftKit unikernel images", category,
                "kraft downloads the images it needs again on the next build.", Safety::review,
                CleanupAction::DeleteContents{{home + "/.local/share/kraftkit/runtime/oci"}});
    builder.add("docker.scout", "Docker Scout cache", CleanupCategory::docker,
                "Rebuilt the next time Docker Scout analyses an image.", Safety::safe,
                CleanupAction::Delete{{home + "/.docker/scout"}});
    builder.add("maven.repository", "Maven repository", category, "Dependencies download again on the next build.",
                Safety::review, CleanupAction::Delete{{home + "/.m2/repository"}});
    if (env.aptArchives) {
        builder.add("apt.archives", "Downloaded system packages", category,
                    "None. The package manager downloads a package again if it needs it.", Safety::safe,
                    CleanupAction::Delete{downloadedPackages(*env.aptArchives)});
    }
}

} // namespace tarno::RuleFamilies
