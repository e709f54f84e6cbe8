#pragma once

#include "Tarno/ApplicationsModel.hpp"
#include "Tarno/KeyedRows.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <string>
#include <vector>

namespace tarno {

// One application of the table; its properties are the roles the view reads.
struct ApplicationsRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString version MEMBER version)
    Q_PROPERTY(QString kindText MEMBER kindText)
    Q_PROPERTY(QString iconSource MEMBER iconSource)
    Q_PROPERTY(bool needsPassword MEMBER needsPassword)
    Q_PROPERTY(QString passwordToolTip MEMBER passwordToolTip)
    Q_PROPERTY(bool isMeasured MEMBER isMeasured)
    Q_PROPERTY(QString sizeText MEMBER sizeText)
    Q_PROPERTY(QString lastOpenedText MEMBER lastOpenedText)
    Q_PROPERTY(QString lastOpenedToolTip MEMBER lastOpenedToolTip)
    Q_PROPERTY(bool isSelected MEMBER isSelected)

public:
    QString key; // the app's path
    QString name;
    QString version;
    QString kindText; // "Flatpak", "AppImage", nothing for a bundle
    QString iconSource;
    bool needsPassword = false;
    QString passwordToolTip;
    bool isMeasured = false;
    QString sizeText;
    QString lastOpenedText;
    QString lastOpenedToolTip;
    bool isSelected = false;

    bool operator==(const ApplicationsRow&) const = default;
};

using ApplicationsRows = RowList<ApplicationsRow>;

// What the Applications screen says and allows, worked out from the
// section's model, which holds the selection, the spared parts and whether
// the confirmation is up. The QML lays these out and forwards the user's
// actions here.
class ApplicationsScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::ApplicationsModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(tarno::KeyedRows* rows READ rows CONSTANT)

    Q_PROPERTY(Content content READ content NOTIFY changed)
    Q_PROPERTY(QString progressText READ progressText CONSTANT)
    Q_PROPERTY(QString emptyTitle READ emptyTitle CONSTANT)
    Q_PROPERTY(QString emptySymbol READ emptySymbol CONSTANT)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)

    Q_PROPERTY(bool showsSummary READ showsSummary NOTIFY changed)
    Q_PROPERTY(bool summaryHasFailures READ summaryHasFailures NOTIFY changed)
    Q_PROPERTY(QString summarySymbol READ summarySymbol NOTIFY changed)
    Q_PROPERTY(QString summaryTitle READ summaryTitle NOTIFY changed)
    Q_PROPERTY(QString summaryDetail READ summaryDetail NOTIFY changed)
    Q_PROPERTY(QString failuresTitle READ failuresTitle NOTIFY changed)
    Q_PROPERTY(QStringList failureLines READ failureLines NOTIFY changed)
    Q_PROPERTY(QString dismissLabel READ dismissLabel CONSTANT)

    Q_PROPERTY(bool showsAccessBanner READ showsAccessBanner NOTIFY changed)
    Q_PROPERTY(QString accessSymbol READ accessSymbol CONSTANT)
    Q_PROPERTY(QString accessTitle READ accessTitle CONSTANT)
    Q_PROPERTY(QString accessDetail READ accessDetail CONSTANT)

    Q_PROPERTY(QStringList columnTitles READ columnTitles CONSTANT)
    Q_PROPERTY(QString orderLabel READ orderLabel CONSTANT)
    Q_PROPERTY(QString orderToolTip READ orderToolTip CONSTANT)
    Q_PROPERTY(QStringList orderNames READ orderNames CONSTANT)
    Q_PROPERTY(int orderIndex READ orderIndex WRITE setOrderIndex NOTIFY changed)
    Q_PROPERTY(QString rescanLabel READ rescanLabel CONSTANT)
    Q_PROPERTY(bool rescanEnabled READ rescanEnabled NOTIFY changed)
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)

    Q_PROPERTY(bool footerIsBusy READ footerIsBusy NOTIFY changed)
    Q_PROPERTY(QString footerText READ footerText NOTIFY changed)
    Q_PROPERTY(bool showsLeftoversLink READ showsLeftoversLink NOTIFY changed)
    Q_PROPERTY(QString leftoversLabel READ leftoversLabel CONSTANT)
    Q_PROPERTY(QString selectedBytesText READ selectedBytesText NOTIFY changed)
    Q_PROPERTY(QString uninstallLabel READ uninstallLabel CONSTANT)
    Q_PROPERTY(bool uninstallEnabled READ uninstallEnabled NOTIFY changed)

    Q_PROPERTY(bool isConfirming READ isConfirming NOTIFY changed)
    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY changed)
    Q_PROPERTY(QString confirmationText READ confirmationText NOTIFY changed)
    Q_PROPERTY(QString passwordNote READ passwordNote NOTIFY changed)
    Q_PROPERTY(QVariantList confirmationItems READ confirmationItems NOTIFY changed)
    Q_PROPERTY(QString trashNote READ trashNote CONSTANT)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(QString confirmLabel READ confirmLabel CONSTANT)

public:
    enum class Content { Progress, Empty, List };
    Q_ENUM(Content)

    explicit ApplicationsScreen(QObject* parent = nullptr);

    ApplicationsModel* model() const { return m_model; }
    void setModel(ApplicationsModel* model);
    ApplicationsRows* rows() const { return m_rows; }

    Content content() const { return m_state.content; }
    QString progressText() const { return QStringLiteral("Looking for apps…"); }
    QString emptyTitle() const { return QStringLiteral("No apps to uninstall"); }
    QString emptySymbol() const { return QStringLiteral("square.grid.2x2"); }
    QString emptyText() const { return QStringLiteral("Apps you install in Applications appear here."); }

    bool showsSummary() const { return !m_state.summaryTitle.isEmpty(); }
    bool summaryHasFailures() const { return !m_state.failureLines.isEmpty(); }
    QString summarySymbol() const;
    QString summaryTitle() const { return m_state.summaryTitle; }
    QString summaryDetail() const { return m_state.summaryDetail; }
    QString failuresTitle() const { return m_state.failuresTitle; }
    QStringList failureLines() const { return m_state.failureLines; }
    QString dismissLabel() const { return QStringLiteral("Dismiss"); }

    bool showsAccessBanner() const { return m_state.showsAccessBanner; }
    QString accessSymbol() const { return QStringLiteral("eye.slash"); }
    QString accessTitle() const { return QStringLiteral("Apps' containers are left out"); }
    QString accessDetail() const
    {
        return QStringLiteral("macOS only lets apps with Full Disk Access into them, so that part of an app's data "
                              "stays behind.");
    }

    QStringList columnTitles() const;
    QString orderLabel() const { return QStringLiteral("Sort by"); }
    QString orderToolTip() const { return QStringLiteral("Order of the list"); }
    QStringList orderNames() const;
    int orderIndex() const { return m_state.orderIndex; }
    void setOrderIndex(int index);
    QString rescanLabel() const { return QStringLiteral("Rescan"); }
    bool rescanEnabled() const { return m_state.rescanEnabled; }
    QString revealLabel() const { return QStringLiteral("Show in Finder"); }

    bool footerIsBusy() const { return m_state.footerIsBusy; }
    QString footerText() const { return m_state.footerText; }
    bool showsLeftoversLink() const { return m_state.showsLeftoversLink; }
    QString leftoversLabel() const { return QStringLiteral("Leftovers of deleted apps are in Cleanup"); }
    QString selectedBytesText() const { return m_state.selectedBytesText; }
    QString uninstallLabel() const { return QStringLiteral("Uninstall…"); }
    bool uninstallEnabled() const { return m_state.uninstallEnabled; }

    bool isConfirming() const { return m_state.isConfirming; }
    QString confirmationTitle() const { return m_state.confirmationTitle; }
    QString confirmationText() const { return m_state.confirmationText; }
    QString passwordNote() const { return m_state.passwordNote; }
    QVariantList confirmationItems() const { return m_state.confirmationItems; }
    QString trashNote() const { return QStringLiteral("You can put everything back until you empty the Trash."); }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    QString confirmLabel() const { return QStringLiteral("Uninstall"); }

    // The name of a part in the sheet, its folders joined by " › ": what
    // follows the first "/Library/", or the path from the home for one in the
    // config, data or cache folder; else the path with "~" for the home.
    static QString partLabel(const std::string& path, const std::string& home);

    // The screen came into view: the first listing starts then.
    Q_INVOKABLE void appeared();
    Q_INVOKABLE void rescan();
    // A click on a row, as a file manager's list takes it: alone it selects
    // the row, with Control it toggles it, with Shift it selects the rows from
    // the last one clicked. A right click outside the selection selects its
    // row alone, so that the context menu acts on what it was opened on.
    Q_INVOKABLE void click(const QString& path, int modifiers);
    Q_INVOKABLE void rightClick(const QString& path);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void revealSelection();
    // Every part ticked again, and the sheet up.
    Q_INVOKABLE void askToUninstall();
    Q_INVOKABLE void setPartKept(const QString& path, bool kept);
    Q_INVOKABLE void cancelUninstall();
    Q_INVOKABLE void confirmUninstall();
    Q_INVOKABLE void dismissSummary();
    // Ctrl+1 … shows the Cleanup section: the application model does it.
    Q_INVOKABLE void showLeftovers() { Q_EMIT leftoversRequested(); }

Q_SIGNALS:
    void modelChanged();
    void changed();
    void leftoversRequested();

private:
    struct State {
        Content content = Content::Progress;
        QString summaryTitle;
        QString summaryDetail;
        QString failuresTitle;
        QStringList failureLines;
        bool showsAccessBanner = false;
        int orderIndex = 0;
        bool rescanEnabled = false;
        bool footerIsBusy = false;
        QString footerText;
        bool showsLeftoversLink = false;
        QString selectedBytesText;
        bool uninstallEnabled = false;
        bool isConfirming = false;
        QString confirmationTitle;
        QString confirmationText;
        QString passwordNote;
        QVariantList confirmationItems;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();

    QPointer<ApplicationsModel> m_model;
    ApplicationsRows* m_rows = nullptr;
    std::string m_anchor; // the row a Shift-click extends from
    State m_state;
};

} // namespace tarno
