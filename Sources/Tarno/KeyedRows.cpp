#include "Tarno/KeyedRows.hpp"

#include <QSet>

namespace tarno {

KeyedRows::KeyedRows(const QMetaObject& rowType, QObject* parent)
    : QAbstractListModel(parent)
    , m_rowType(rowType)
{
    for (int property = 0; property < rowType.propertyCount(); ++property)
        m_roles.insert(Qt::UserRole + 1 + property, rowType.property(property).name());
}

int KeyedRows::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant KeyedRows::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const qsizetype column = role - (Qt::UserRole + 1);
    const QVariantList& values = m_entries[static_cast<std::size_t>(index.row())].values;
    return column >= 0 && column < values.size() ? values.at(column) : QVariant();
}

QHash<int, QByteArray> KeyedRows::roleNames() const
{
    return m_roles;
}

void KeyedRows::updateEntries(std::vector<Entry> entries)
{
    const int countBefore = count();
    QSet<QString> oldKeys;
    for (const Entry& entry : m_entries)
        oldKeys.insert(entry.key);
    QSet<QString> newKeys;
    for (const Entry& entry : entries)
        newKeys.insert(entry.key);

    // Walk both lists in their common order: an entry only in the old list
    // goes, one only in the new list comes in at its place, one in both is
    // updated where it stands.
    std::size_t next = 0;
    int place = 0;
    bool inOrder = true;
    while (next < entries.size() || static_cast<std::size_t>(place) < m_entries.size()) {
        const bool hasOld = static_cast<std::size_t>(place) < m_entries.size();
        if (hasOld && !newKeys.contains(m_entries[static_cast<std::size_t>(place)].key)) {
            beginRemoveRows({}, place, place);
            m_entries.erase(m_entries.begin() + place);
            endRemoveRows();
            continue;
        }
        if (next == entries.size()) {
            inOrder = false; // an old entry that the new list holds earlier
            break;
        }
        if (!hasOld || !oldKeys.contains(entries[next].key)) {
            beginInsertRows({}, place, place);
            m_entries.insert(m_entries.begin() + place, entries[next]);
            endInsertRows();
            ++next;
            ++place;
            continue;
        }
        Entry& current = m_entries[static_cast<std::size_t>(place)];
        if (current.key != entries[next].key) {
            inOrder = false; // both lists hold the two entries, in another order
            break;
        }
        if (!(current == entries[next])) {
            current = entries[next];
            Q_EMIT dataChanged(index(place), index(place));
        }
        ++next;
        ++place;
    }
    if (!inOrder) {
        beginResetModel();
        m_entries = std::move(entries);
        endResetModel();
    }
    if (count() != countBefore)
        Q_EMIT countChanged();
}

} // namespace tarno
