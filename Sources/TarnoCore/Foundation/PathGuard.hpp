#pragma once

#include <string>
#include <string_view>
#include <variant>

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

    PathGuard(std::string_view home, std::string_view systemApplications);

    const std::string& home() const { return m_home; }
    const std::string& systemApplications() const { return m_systemApplications; }

    // Absolute and standard, with links in the parent folders resolved and
    // the last component kept as it is.
    static std::string normalize(std::string_view path);

    Verdict checkDelete(std::string_view path) const;   // removal for good
    Verdict checkTrash(std::string_view path) const;    // a move to the Trash
    Verdict checkTrashApp(std::string_view path) const; // an application bundle to the Trash

private:
    std::string m_home;
    std::string m_systemApplications;
};

inline bool isAllowed(const PathGuard::Verdict& verdict) { return std::holds_alternative<PathGuard::Allowed>(verdict); }

} // namespace tarno
