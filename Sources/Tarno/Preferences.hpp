#pragma once

#include <QObject>
#include <QSettings>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

namespace tarno {

// The user's preferences: a persistent store with defaults registered in code.
// Registering writes nothing; a key the store does not hold answers with its
// registered default, and a key with neither answers with an invalid QVariant.
class Preferences : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the preferences")
    Q_PROPERTY(bool showInMenuBar READ showInMenuBar WRITE setShowInMenuBar NOTIFY showInMenuBarChanged)

public:
    // Over the standard store of this user (organization and application "Tarno").
    explicit Preferences(QObject* parent = nullptr);
    // Over the given store, such as an INI file in a temporary folder.
    explicit Preferences(std::unique_ptr<QSettings> store, QObject* parent = nullptr);
    ~Preferences() override;

    static std::unique_ptr<QSettings> standardStore();

    void registerDefaults(const QVariantMap& defaults);

    QVariant value(const QString& key) const;
    bool boolValue(const QString& key) const { return value(key).toBool(); }
    int intValue(const QString& key) const { return value(key).toInt(); }

    // Stores the value; valueChanged follows only when the answer for the key changes.
    void setValue(const QString& key, const QVariant& value);
    // Forgets what the user set, so the key answers with its default again.
    void removeValue(const QString& key);

    bool showInMenuBar() const;
    void setShowInMenuBar(bool show);

    // Writes pending changes to disk now rather than at the store's leisure.
    void sync();

Q_SIGNALS:
    void valueChanged(const QString& key);
    void showInMenuBarChanged();

private:
    void changeValue(const QString& key, const std::function<void()>& change);

    std::unique_ptr<QSettings> m_store;
    QVariantMap m_defaults;
};

} // namespace tarno
