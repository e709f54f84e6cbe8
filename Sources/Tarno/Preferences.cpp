#include "Tarno/Preferences.hpp"

#include "Tarno/Preference.hpp"

namespace tarno {
namespace {

// A value read back from an INI store is a string ("true", "2"), while the same
// value set during this run keeps its type; both spell the same setting.
bool sameValue(const QVariant& a, const QVariant& b)
{
    if (a == b)
        return true;
    if (!a.isValid() || !b.isValid())
        return false;
    const bool eitherIsText = a.typeId() == QMetaType::QString || b.typeId() == QMetaType::QString;
    return eitherIsText && a.toString() == b.toString();
}

} // namespace

Preferences::Preferences(QObject* parent)
    : Preferences(standardStore(), parent)
{
}

Preferences::Preferences(std::unique_ptr<QSettings> store, QObject* parent)
    : QObject(parent)
    , m_store(std::move(store))
{
}

Preferences::~Preferences() = default;

std::unique_ptr<QSettings> Preferences::standardStore()
{
    return std::make_unique<QSettings>(QStringLiteral("Tarno"), QStringLiteral("Tarno"));
}

void Preferences::registerDefaults(const QVariantMap& defaults)
{
    for (auto it = defaults.begin(); it != defaults.end(); ++it) {
        const QString& key = it.key();
        const QVariant& defaultValue = it.value();
        changeValue(key, [&] { m_defaults.insert(key, defaultValue); });
    }
}

QVariant Preferences::value(const QString& key) const
{
    if (m_store->contains(key))
        return m_store->value(key);
    return m_defaults.value(key);
}

void Preferences::setValue(const QString& key, const QVariant& value)
{
    changeValue(key, [&] { m_store->setValue(key, value); });
}

void Preferences::removeValue(const QString& key)
{
    changeValue(key, [&] { m_store->remove(key); });
}

bool Preferences::showInMenuBar() const
{
    return boolValue(Preference::showInMenuBar);
}

void Preferences::setShowInMenuBar(bool show)
{
    setValue(Preference::showInMenuBar, show);
}

void Preferences::sync()
{
    m_store->sync();
}

void Preferences::changeValue(const QString& key, const std::function<void()>& change)
{
    const QVariant before = value(key);
    change();
    if (sameValue(before, value(key)))
        return;
    Q_EMIT valueChanged(key);
    if (key == Preference::showInMenuBar)
        Q_EMIT showInMenuBarChanged();
}

} // namespace tarno
