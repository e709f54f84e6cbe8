#pragma once

#include <QAbstractListModel>
#include <QMetaObject>
#include <QMetaProperty>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <vector>

namespace tarno {

// A list the screens show, made of rows that keep their identity (their
// "key") while their contents change, so a view keeps its place and its
// animations as sizes arrive and rows come and go. The roles are the
// properties of the row type, a Q_GADGET, by name.
class KeyedRows : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A section's screen owns its rows")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    // A row as the view sees it: its key and its values in role order.
    struct Entry {
        QString key;
        QVariantList values;
        bool operator==(const Entry&) const = default;
    };

    KeyedRows(const QMetaObject& rowType, QObject* parent);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(m_entries.size()); }

Q_SIGNALS:
    void countChanged();

protected:
    // Moves to these entries removing, inserting and changing as little as
    // it can. Both lists are expected in one order; if they disagree the
    // list starts afresh.
    void updateEntries(std::vector<Entry> entries);

    const QMetaObject& m_rowType;

private:
    std::vector<Entry> m_entries;
    QHash<int, QByteArray> m_roles;
};

// The rows of one section's list: Row is a Q_GADGET with a QString property
// "key" and one property per role.
template <typename Row>
class RowList : public KeyedRows {
public:
    explicit RowList(QObject* parent = nullptr) : KeyedRows(Row::staticMetaObject, parent) {}

    const std::vector<Row>& rows() const { return m_rows; }

    void update(std::vector<Row> rows)
    {
        std::vector<Entry> entries;
        entries.reserve(rows.size());
        for (const Row& row : rows) {
            Entry entry;
            for (int property = 0; property < m_rowType.propertyCount(); ++property)
                entry.values.append(m_rowType.property(property).readOnGadget(&row));
            entry.key = row.key;
            entries.push_back(std::move(entry));
        }
        m_rows = std::move(rows);
        updateEntries(std::move(entries));
    }

private:
    std::vector<Row> m_rows;
};

} // namespace tarno
