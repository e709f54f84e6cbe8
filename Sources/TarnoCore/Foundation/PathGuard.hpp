#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarno {

// The last check before anything is removed: it looks only at the path, so a
// fault upstream cannot take out credentials, the user's own files or the
// folders whose contents alone may be cleaned. Immutable; any thread.
class PathGuard {
public:
    struct Refused {
        std::string reason; // a lower-case fragment for a failure report
        bool operator==(const Refused&) const = default;
    };
    struct Allowed {
        bool operator==(const Allowed&) const = default;
    };
    using Verdict = std::variant<Refused, Allowed>;

    // The guard of the user whose home this is, with the platform's folder of
    // applications.
    static PathGuard forHome(std::string_view home);

    // The running program counts as the running application; this
    // platform's Trash folder is kept when it lies in the home folder.
    PathGuard(std::string_view home, std::string_view systemApplications);

    // The same with the running application named.
    PathGuard(std::string_view home, std::string_view systemApplications, std::string_view runningApplication);

    const std::string& home() const { return m_home; }
    const std::string& systemApplications() const { return m_systemApplications; }

    // Absolute and standard, with links in the parent folders resolved and
    // the last component kept as it is. An empty path stays empty.
    static std::string normalize(std::string_view path);

    Verdict checkDelete(std::string_view path) const;   // removal for good
    Verdict checkTrash(std::string_view path) const;    // a move to the Trash
    // An application to the Trash: a ".app" bundle in an Applications
    // folder, or an AppImage directly in the home's Applications or .local/bin.
    Verdict checkTrashApp(std::string_view path) const;
    // A Flatpak app's folder, for Flatpak to uninstall: directly in one of
    // Flatpak's app folders, the system's or this home's.
    Verdict checkUninstallFlatpak(std::string_view path) const;

    // The fixed tables, relative to the home folder.
    static std::span<const std::string_view> neverTouch();
    static std::span<const std::string_view> personalTrees();
    static std::span<const std::string_view> keptFolders();
    static std::span<const std::string_view> removableTopLevel();

    // The fixed tables with this platform's places added (Platform::guardedPlaces);
    // the kept folders hold the Trash folder's home-relative path when it has one.
    const std::vector<std::string>& neverTouchEntries() const { return m_neverTouch; }
    const std::vector<std::string>& personalTreeEntries() const { return m_personalTrees; }
    const std::vector<std::string>& keptFolderEntries() const { return m_keptFolders; }

private:
    Verdict checkTrashAppImage(const std::string& normalized) const;

    std::string m_home;
    std::string m_systemApplications;
    std::string m_runningApplication;
    std::vector<std::string> m_neverTouch;
    std::vector<std::string> m_personalTrees;
    std::vector<std::string> m_keptFolders;
};

inline bool isAllowed(const PathGuard::Verdict& verdict) { return std::holds_alternative<PathGuard::Allowed>(verdict); }

} // namespace tarno
