#pragma once

#include "Tarno/KeyedRows.hpp"

#include <QObject>
#include <QString>
#include <QStringList>

#include <vector>

namespace tarno {

class CleanupModel;

// One line of the Cleanup list: a category's header or one of its items. Its
// properties are the roles the view reads.
struct CleanupRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString kind READ kindName)
    Q_PROPERTY(QString rowId MEMBER id)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QString symbol MEMBER symbol)
    Q_PROPERTY(int categoryIndex MEMBER categoryIndex)
    Q_PROPERTY(QString detail MEMBER detail)
    Q_PROPERTY(QString sizeText MEMBER sizeText)
    Q_PROPERTY(QString selectionButton MEMBER selectionButton)
    Q_PROPERTY(bool hasCheckbox MEMBER hasCheckbox)
    Q_PROPERTY(bool isChecked MEMBER isChecked)
    Q_PROPERTY(bool checkboxEnabled MEMBER checkboxEnabled)
    Q_PROPERTY(QStringList badges MEMBER badges)
    Q_PROPERTY(QStringList badgeTones MEMBER badgeTones)
    Q_PROPERTY(QString adminButton MEMBER adminButton)
    Q_PROPERTY(bool adminButtonEnabled MEMBER adminButtonEnabled)

public:
    enum class Kind { header, item };

    QString key;             // "header:<category>" or "item:<id>": the row's identity
    Kind kind = Kind::item;
    QString id;              // the item's id, or the category's raw value
    QString title;
    QString symbol;          // headers: the category's symbol; items that need an administrator: "lock"
    int categoryIndex = 0;   // the category's place, for its tint
    QString detail;          // items: the consequence, after the administrator sentence if any
    QString sizeText;        // headers: the category's total; items: their size, or empty while unmeasured
    QString selectionButton; // headers: "Select All", "Deselect All" or empty for none
    bool hasCheckbox = false;
    bool isChecked = false;
    bool checkboxEnabled = false;
    QStringList badges;      // "Your call", "To Trash"
    QStringList badgeTones;  // the kit's colour of each badge, by name
    QString adminButton;     // "Clean with Password…", "Copy Command" or empty
    bool adminButtonEnabled = false;

    QString kindName() const { return kind == Kind::header ? QStringLiteral("header") : QStringLiteral("item"); }
    bool operator==(const CleanupRow&) const = default;
};

// The rows of the Cleanup list for a model's current state: for each
// category in order its header, then its items.
std::vector<CleanupRow> cleanupRows(const CleanupModel& model);

using CleanupRows = RowList<CleanupRow>;

} // namespace tarno
