#pragma once

#include "Tarno/CleanupModel.hpp"
#include "Tarno/CleanupRows.hpp"

#include "TarnoCore/Cleanup/CleanSummary.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <string>
#include <vector>

namespace tarno {

// What the Cleanup screen says and allows, worked out from the section's
// model: every word, every shown or hidden part and every enabled state. The
// screen's QML lays these out and forwards the user's actions here.
class CleanupScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::CleanupModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(tarno::KeyedRows* rows READ rows CONSTANT)

    Q_PROPERTY(Content content READ content NOTIFY changed)
    // The words of the spinner or of the empty state, when the list is not shown.
    Q_PROPERTY(QString stateTitle READ stateTitle NOTIFY changed)
    Q_PROPERTY(QString stateSymbol READ stateSymbol NOTIFY changed)
    Q_PROPERTY(QString stateText READ stateText NOTIFY changed)

    Q_PROPERTY(QString rescanLabel READ rescanLabel CONSTANT)
    Q_PROPERTY(bool rescanEnabled READ rescanEnabled NOTIFY changed)

    Q_PROPERTY(bool showsSummary READ showsSummary NOTIFY changed)
    Q_PROPERTY(bool summaryHasFailures READ summaryHasFailures NOTIFY changed)
    Q_PROPERTY(QString summarySymbol READ summarySymbol NOTIFY changed)
    Q_PROPERTY(QString summaryTitle READ summaryTitle NOTIFY changed)
    Q_PROPERTY(QString summaryDetail READ summaryDetail NOTIFY changed)
    Q_PROPERTY(QString failuresTitle READ failuresTitle NOTIFY changed)
    Q_PROPERTY(QStringList failureLines READ failureLines NOTIFY changed)
    Q_PROPERTY(QString dismissLabel READ dismissLabel CONSTANT)

    Q_PROPERTY(bool showsFullDiskAccessBanner READ showsFullDiskAccessBanner NOTIFY changed)
    Q_PROPERTY(QString fullDiskAccessTitle READ fullDiskAccessTitle CONSTANT)
    Q_PROPERTY(QString fullDiskAccessDetail READ fullDiskAccessDetail CONSTANT)
    Q_PROPERTY(QString openSettingsLabel READ openSettingsLabel CONSTANT)

    Q_PROPERTY(bool showsDockerBanner READ showsDockerBanner NOTIFY changed)
    Q_PROPERTY(QString dockerTitle READ dockerTitle CONSTANT)
    Q_PROPERTY(QString dockerDetail READ dockerDetail CONSTANT)
    Q_PROPERTY(QString openDockerLabel READ openDockerLabel CONSTANT)

    Q_PROPERTY(bool footerIsBusy READ footerIsBusy NOTIFY changed)
    Q_PROPERTY(QString footerText READ footerText NOTIFY changed)
    Q_PROPERTY(QString selectedBytesText READ selectedBytesText NOTIFY changed)
    Q_PROPERTY(QString cleanLabel READ cleanLabel CONSTANT)
    Q_PROPERTY(bool cleanEnabled READ cleanEnabled NOTIFY changed)

    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY changed)
    Q_PROPERTY(QString confirmationText READ confirmationText NOTIFY changed)
    Q_PROPERTY(QVariantList confirmationItems READ confirmationItems NOTIFY changed)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(QString confirmLabel READ confirmLabel CONSTANT)

public:
    // What fills the space between the toolbar and the footer.
    enum class Content { Spinner, Empty, List };
    Q_ENUM(Content)

    explicit CleanupScreen(QObject* parent = nullptr);

    CleanupModel* model() const { return m_model; }
    void setModel(CleanupModel* model);
    CleanupRows* rows() const { return m_rows; }

    Content content() const { return m_state.content; }
    QString stateTitle() const { return m_state.stateTitle; }
    QString stateSymbol() const { return m_state.stateSymbol; }
    QString stateText() const { return m_state.stateText; }

    QString rescanLabel() const { return QStringLiteral("Rescan"); }
    bool rescanEnabled() const { return m_state.rescanEnabled; }

    bool showsSummary() const { return m_state.showsSummary; }
    bool summaryHasFailures() const { return !m_state.failureLines.isEmpty(); }
    QString summarySymbol() const { return m_state.summarySymbol; }
    QString summaryTitle() const { return m_state.summaryTitle; }
    QString summaryDetail() const { return m_state.summaryDetail; }
    QString failuresTitle() const { return m_state.failuresTitle; }
    QStringList failureLines() const { return m_state.failureLines; }
    QString dismissLabel() const { return QStringLiteral("Dismiss"); }

    bool showsFullDiskAccessBanner() const { return m_state.showsFullDiskAccessBanner; }
    QString fullDiskAccessTitle() const { return QStringLiteral("The Trash is hidden from Tarno"); }
    QString fullDiskAccessDetail() const { return QStringLiteral("macOS only shows it to apps with Full Disk Access."); }
    // Empty: this platform has no settings page that grants the access.
    QString openSettingsLabel() const { return {}; }

    bool showsDockerBanner() const { return m_state.showsDockerBanner; }
    QString dockerTitle() const { return QStringLiteral("Docker is not running"); }
    QString dockerDetail() const;
    // Empty when no Docker application was found.
    QString openDockerLabel() const;

    bool footerIsBusy() const { return m_state.footerIsBusy; }
    QString footerText() const { return m_state.footerText; }
    QString selectedBytesText() const { return m_state.selectedBytesText; }
    QString cleanLabel() const { return QStringLiteral("Clean…"); }
    bool cleanEnabled() const { return m_state.cleanEnabled; }

    QString confirmationTitle() const { return m_state.confirmationTitle; }
    QString confirmationText() const { return m_state.confirmationText; }
    QVariantList confirmationItems() const { return m_state.confirmationItems; }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    QString confirmLabel() const { return QStringLiteral("Clean"); }

    // The screen came into view: a scan when there has been none.
    Q_INVOKABLE void appeared();
    Q_INVOKABLE void rescan();
    Q_INVOKABLE void setItemSelected(const QString& id, bool selected);
    // A header's button: selects or deselects what the category lets the user pick.
    Q_INVOKABLE void toggleCategory(const QString& category);
    // An item's button for an administrator: the password road or the copied command.
    Q_INVOKABLE void adminAction(const QString& id);
    // The text that "Copy Command" puts on the clipboard for the item.
    Q_INVOKABLE QString commandToCopy(const QString& id) const;
    Q_INVOKABLE void openDocker();
    Q_INVOKABLE void dismissSummary();
    Q_INVOKABLE void askToClean();
    Q_INVOKABLE void cancelClean();
    Q_INVOKABLE void confirmClean();

    // The summary banner's words.
    static QString summaryTitle(const CleanSummary& summary);
    static QString summaryDetail(const CleanSummary& summary);
    // "~/path: reason" for the failures list.
    static QString failureLine(const CleanReport::Failure& failure, const std::string& home);
    // "sudo rm -rf" and the paths, each quoted for a POSIX shell.
    static QString removalCommand(const std::vector<std::string>& paths);

Q_SIGNALS:
    void modelChanged();
    // Any of the derived words or states.
    void changed();

private:
    struct State {
        Content content = Content::Spinner;
        QString stateTitle;
        QString stateSymbol;
        QString stateText;
        bool rescanEnabled = false;
        bool showsSummary = false;
        QString summarySymbol;
        QString summaryTitle;
        QString summaryDetail;
        QString failuresTitle;
        QStringList failureLines;
        bool showsFullDiskAccessBanner = false;
        bool showsDockerBanner = false;
        bool footerIsBusy = false;
        QString footerText;
        QString selectedBytesText;
        bool cleanEnabled = false;
        QString confirmationTitle;
        QString confirmationText;
        QVariantList confirmationItems;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();

    QPointer<CleanupModel> m_model;
    CleanupRows* m_rows = nullptr;
    State m_state;
};

} // namespace tarno
