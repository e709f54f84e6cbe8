#include "Tarno/CleanupRows.hpp"

#include <QSet>

namespace tarno {

CleanupRows::CleanupRows(QObject* parent) : QAbstractListModel(parent) {}

int CleanupRows::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant CleanupRows::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const CleanupRow& row = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case TitleRole: return row.title;
    case KindRole: return row.kind == CleanupRow::Kind::header ? QStringLiteral("header") : QStringLiteral("item");
    case KeyRole: return row.key;
    case IdRole: return row.id;
    case SymbolRole: return row.symbol;
    case CategoryIndexRole: return row.categoryIndex;
    case DetailRole: return row.detail;
    case SizeTextRole: return row.sizeText;
    case SelectionButtonRole: return row.selectionButton;
    case HasCheckboxRole: return row.hasCheckbox;
    case IsCheckedRole: return row.isChecked;
    case CheckboxEnabledRole: return row.checkboxEnabled;
    case BadgesRole: return row.badges;
    case BadgeTonesRole: return row.badgeTones;
    case AdminButtonRole: return row.adminButton;
    case AdminButtonEnabledRole: return row.adminButtonEnabled;
    default: return {};
    }
}

QHash<int, QByteArray> CleanupRows::roleNames() const
{
    return {
        {KindRole, "kind"},
        {KeyRole, "key"},
        {IdRole, "rowId"},
        {TitleRole, "title"},
        {SymbolRole, "symbol"},
        {CategoryIndexRole, "categoryIndex"},
        {DetailRole, "detail"},
        {SizeTextRole, "sizeText"},
        {SelectionButtonRole, "selectionButton"},
        {HasCheckboxRole, "hasCheckbox"},
        {IsCheckedRole, "isChecked"},
        {CheckboxEnabledRole, "checkboxEnabled"},
        {BadgesRole, "badges"},
        {BadgeTonesRole, "badgeTones"},
        {AdminButtonRole, "adminButton"},
        {AdminButtonEnabledRole, "adminButtonEnabled"},
    };
}

void CleanupRows::update(std::vector<CleanupRow> rows)
{
    QSet<QString> oldKeys;
    for (const CleanupRow& row : m_rows)
        oldKeys.insert(row.key);
    QSet<QString> newKeys;
    for (const CleanupRow& row : rows)
        newKeys.insert(row.key);

    // Walk both lists in their common order: a row only in the old list goes,
    // one only in the new list comes in at its place, one in both is updated.
    std::size_t next = 0;
    int place = 0;
    while (next < rows.size() || static_cast<std::size_t>(place) < m_rows.size()) {
        const bool hasOld = static_cast<std::size_t>(place) < m_rows.size();
        if (hasOld && !newKeys.contains(m_rows[static_cast<std::size_t>(place)].key)) {
            beginRemoveRows({}, place, place);
            m_rows.erase(m_rows.begin() + place);
            endRemoveRows();
            continue;
        }
        if (next == rows.size())
            break; // an old row the new list holds earlier: out of order
        if (!hasOld || !oldKeys.contains(rows[next].key)) {
            beginInsertRows({}, place, place);
            m_rows.insert(m_rows.begin() + place, rows[next]);
            endInsertRows();
            ++next;
            ++place;
            continue;
        }
        CleanupRow& current = m_rows[static_cast<std::size_t>(place)];
        if (current.key != rows[next].key)
            break; // both lists hold the two rows, in another order
        if (!(current == rows[next])) {
            current = rows[next];
            Q_EMIT dataChanged(index(place), index(place));
        }
        ++next;
        ++place;
    }
    if (next == rows.size() && static_cast<std::size_t>(place) == m_rows.size())
        return;

    // The orders disagree, which a caller's lists never should: start afresh.
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

} // namespace tarno
