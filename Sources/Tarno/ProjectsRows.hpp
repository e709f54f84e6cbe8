#pragma once

#include "Tarno/KeyedRows.hpp"

#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>
#include <vector>

namespace tarno {

class ProjectsModel;

// One line of the Projects list: a section's header, the label over the
// worktrees kept, a worktree or an artifact folder. Its properties are the
// roles the view reads.
struct ProjectsRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString kind READ kindName)
    Q_PROPERTY(QString path MEMBER path)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QString symbol MEMBER symbol)
    Q_PROPERTY(QString detail MEMBER detail)
    Q_PROPERTY(QString extra MEMBER extra)
    Q_PROPERTY(QString sizeText MEMBER sizeText)
    Q_PROPERTY(QString finderText MEMBER finderText)
    Q_PROPERTY(QString selectionButton MEMBER selectionButton)
    Q_PROPERTY(bool hasCheckbox MEMBER hasCheckbox)
    Q_PROPERTY(bool isChecked MEMBER isChecked)
    Q_PROPERTY(bool checkboxEnabled MEMBER checkboxEnabled)
    Q_PROPERTY(QStringList badges MEMBER badges)
    Q_PROPERTY(QStringList badgeTones MEMBER badgeTones)

public:
    enum class Kind { header, label, worktree, artifact };

    QString key;             // "worktrees", "kept", "project:<path>", "worktree:<path>", "artifact:<path>"
    Kind kind = Kind::artifact;
    QString path;            // rows: the folder; project headers: the project
    QString title;
    QString symbol;          // headers and labels; a worktree that cannot go: "lock"
    QString detail;          // headers: "changed …"; rows: the line under the title
    QString extra;           // worktrees: the ignored files that go with it
    QString sizeText;        // headers: what the section frees; rows: their real size
    QString finderText;      // "Finder: …" when the plain size is far above
    QString selectionButton; // headers: "Select All" or "Deselect All"
    bool hasCheckbox = false;
    bool isChecked = false;
    bool checkboxEnabled = false;
    QStringList badges;      // "In use", "Your call"
    QStringList badgeTones;  // the kit's colour of each badge, by name

    QString kindName() const;
    bool operator==(const ProjectsRow&) const = default;
};

// The rows of the Projects list for the model's state, dates told relative to `now`.
std::vector<ProjectsRow> projectsRows(const ProjectsModel& model, std::chrono::system_clock::time_point now);

using ProjectsRows = RowList<ProjectsRow>;

} // namespace tarno
