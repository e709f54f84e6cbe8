#pragma once

#include <QAbstractListModel>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <vector>

namespace tarno {

class AppModel;

// One line of the Cleanup list: a category's header or one of its items.
struct CleanupRow {
    enum class Kind { header, item };

    Kind kind = Kind::item;
    QString key;             // "header:<category>" or "item:<id>": the row's identity
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

    bool operator==(const CleanupRow&) const = default;
};

// The rows of the Cleanup list for a model's current state: for each
// category in order its header, then its items.
std::vector<CleanupRow> cleanupRows(const AppModel& model);

// The Cleanup list as the screen shows it. Rows keep their identity while
// sizes arrive and items come and go, so the view keeps its place.
class CleanupRows : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The Cleanup screen owns its rows")

public:
    enum Role {
        KindRole = Qt::UserRole + 1, // "header" or "item"
        KeyRole,
        IdRole,
        TitleRole,
        SymbolRole,
        CategoryIndexRole,
        DetailRole,
        SizeTextRole,
        SelectionButtonRole,
        HasCheckboxRole,
        IsCheckedRole,
        CheckboxEnabledRole,
        BadgesRole,
        BadgeTonesRole,
        AdminButtonRole,
        AdminButtonEnabledRole,
    };
    Q_ENUM(Role)

    explicit CleanupRows(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const std::vector<CleanupRow>& rows() const { return m_rows; }

    // Moves to these rows by removing, inserting and changing as little as
    // it can. Both lists must follow one order (categories, then catalog order).
    void update(std::vector<CleanupRow> rows);

private:
    std::vector<CleanupRow> m_rows;
};

} // namespace tarno
