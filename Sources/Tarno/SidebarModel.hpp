#pragma once

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

namespace tarno {

// The rows of the main window's sidebar: one per section, in the sections' order.
class SidebarModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT

public:
    enum Role {
        TitleRole = Qt::UserRole + 1,
        SymbolRole,
        RawValueRole,
        SectionRole, // the section's number, as AppModel.section takes it
    };
    Q_ENUM(Role)

    explicit SidebarModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The title and symbol of the section with this number; empty for no section.
    Q_INVOKABLE QString title(int section) const;
    Q_INVOKABLE QString symbol(int section) const;
    Q_INVOKABLE QString rawValue(int section) const;
    // The number of the section with that raw value, -1 for none.
    Q_INVOKABLE int number(const QString& rawValue) const;
};

} // namespace tarno
