#include "TarnoCore/Projects/ArtifactKind.hpp"

namespace tarno {

namespace {

const std::vector<std::string> gradleFiles = {"build.gradle", "build.gradle.kts", "settings.gradle",
                                              "settings.gradle.kts"};
const std::vector<std::string> pythonFiles = {"pyproject.toml", "requirements.txt", "setup.py", "Pipfile",
                                              "uv.lock"};

std::vector<std::string> gradleFilesAnd(const std::string& more)
{
    std::vector<std::string> markers = gradleFiles;
    markers.push_back(more);
    return markers;
}

constexpr const char* nextBuild = "Rebuilt by the next build or dev run.";
constexpr const char* rebuilt = "Rebuilt by the next build.";
constexpr const char* gradleRebuilt = "Rebuilt by the next Gradle build.";
constexpr const char* pythonRestore = "You have to create it again and reinstall the packages.";

} // namespace

const std::vector<ArtifactKind>& ArtifactKind::all()
{
    static const std::vector<ArtifactKind> table = {
        {"node_modules", {"package.json"}, "Node packages",
         "Comes back when you install the project's packages again (npm, bun, pnpm or yarn).", Safety::safe},
        {".next", {"package.json"}, "Next.js build output", nextBuild, Safety::safe},
        {".nuxt", {"package.json"}, "Nuxt build output", nextBuild, Safety::safe},
        {".svelte-kit", {"package.json"}, "SvelteKit build output", nextBuild, Safety::safe},
        {".turbo", {"package.json", "turbo.json"}, "Turborepo cache", rebuilt, Safety::safe},
        {".parcel-cache", {"package.json"}, "Parcel cache", rebuilt, Safety::safe},
        {".angular", {"angular.json"}, "Angular cache", rebuilt, Safety::safe},
        {".dart_tool", {"pubspec.yaml"}, "Dart tool files", "Restored by flutter pub get.", Safety::safe},
        {"build", {"pubspec.yaml"}, "Flutter build output", "Rebuilt by the next flutter run or build.",
         Safety::safe},
        {"build", gradleFiles, "Gradle build output", gradleRebuilt, Safety::safe},
        {".gradle", gradleFilesAnd("gradlew"), "Gradle project cache", gradleRebuilt, Safety::safe},
        {".cxx", {"build.gradle", "build.gradle.kts"}, "Android native build files", gradleRebuilt, Safety::safe},
        {"Pods", {"Podfile"}, "CocoaPods", "Restored by pod install.", Safety::safe},
        {"target", {"Cargo.toml"}, "Rust build output", "Rebuilt by the next cargo build.", Safety::safe},
        {"target", {"pom.xml"}, "Maven build output", "Rebuilt by the next Maven build.", Safety::safe},
        {".build", {"Package.swift"}, "Swift build output", "Rebuilt by the next swift build.", Safety::safe},
        {".venv", pythonFiles, "Python environment", pythonRestore, Safety::review},
        {"venv", pythonFiles, "Python environment", pythonRestore, Safety::review},
    };
    return table;
}

const std::map<std::string, std::vector<const ArtifactKind*>, std::less<>>& ArtifactKind::byFolder()
{
    // Built once; a function-local static is safe against concurrent first use.
    static const auto index = [] {
        std::map<std::string, std::vector<const ArtifactKind*>, std::less<>> rows;
        for (const ArtifactKind& kind : all())
            rows[kind.folder].push_back(&kind);
        return rows;
    }();
    return index;
}

} // namespace tarno
