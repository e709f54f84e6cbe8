#pragma once

#include "Tarno/ProjectsModel.hpp"
#include "Tarno/ProjectsRows.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <cstdint>

namespace tarno {

// What the Projects screen says and allows, worked out from the section's
// model: every word, every shown part and every enabled state. The screen's
// QML lays these out and forwards the user's actions here.
class ProjectsScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::ProjectsModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(tarno::KeyedRows* rows READ rows CONSTANT)

    Q_PROPERTY(Content content READ content NOTIFY changed)
    Q_PROPERTY(QString progressText READ progressText NOTIFY changed)
    Q_PROPERTY(QString stopLabel READ stopLabel CONSTANT)
    Q_PROPERTY(QString emptyTitle READ emptyTitle CONSTANT)
    Q_PROPERTY(QString emptySymbol READ emptySymbol CONSTANT)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)
    Q_PROPERTY(QString scanLabel READ scanLabel CONSTANT)

    Q_PROPERTY(QString rootsLabel READ rootsLabel CONSTANT)
    Q_PROPERTY(QString rootsText READ rootsText NOTIFY changed)
    Q_PROPERTY(QString rootsToolTip READ rootsToolTip NOTIFY changed)
    Q_PROPERTY(QString changeFoldersLabel READ changeFoldersLabel CONSTANT)
    Q_PROPERTY(QString usualFoldersLabel READ usualFoldersLabel CONSTANT)
    Q_PROPERTY(bool foldersEnabled READ foldersEnabled NOTIFY changed)

    Q_PROPERTY(QString scanAgainLabel READ scanAgainLabel CONSTANT)
    Q_PROPERTY(bool scanAgainEnabled READ scanAgainEnabled NOTIFY changed)

    Q_PROPERTY(bool showsSummary READ showsSummary NOTIFY changed)
    Q_PROPERTY(bool summaryHasFailures READ summaryHasFailures NOTIFY changed)
    Q_PROPERTY(QString summarySymbol READ summarySymbol NOTIFY changed)
    Q_PROPERTY(QString summaryTitle READ summaryTitle NOTIFY changed)
    Q_PROPERTY(QString summaryDetail READ summaryDetail NOTIFY changed)
    Q_PROPERTY(QString dismissLabel READ dismissLabel CONSTANT)

    Q_PROPERTY(bool showsNote READ showsNote NOTIFY changed)
    Q_PROPERTY(QString noteTitle READ noteTitle CONSTANT)
    Q_PROPERTY(QString noteText READ noteText CONSTANT)

    Q_PROPERTY(bool showsFooter READ showsFooter NOTIFY changed)
    Q_PROPERTY(bool footerIsBusy READ footerIsBusy NOTIFY changed)
    Q_PROPERTY(QString footerText READ footerText NOTIFY changed)
    Q_PROPERTY(QString selectedBytesText READ selectedBytesText NOTIFY changed)
    Q_PROPERTY(QString removeLabel READ removeLabel CONSTANT)
    Q_PROPERTY(bool removeEnabled READ removeEnabled NOTIFY changed)

    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY changed)
    Q_PROPERTY(QString confirmationText READ confirmationText CONSTANT)
    Q_PROPERTY(QVariantList confirmationItems READ confirmationItems NOTIFY changed)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(QString confirmLabel READ confirmLabel CONSTANT)

public:
    // What fills the space between the folder bar and the footer.
    enum class Content { Progress, Empty, List };
    Q_ENUM(Content)

    explicit ProjectsScreen(QObject* parent = nullptr);

    ProjectsModel* model() const { return m_model; }
    void setModel(ProjectsModel* model);
    ProjectsRows* rows() const { return m_rows; }

    Content content() const { return m_state.content; }
    QString progressText() const { return m_state.progressText; }
    QString stopLabel() const { return QStringLiteral("Stop"); }
    QString emptyTitle() const { return QStringLiteral("Find space in your projects"); }
    QString emptySymbol() const { return QStringLiteral("folder.badge.gearshape"); }
    QString emptyText() const;
    QString scanLabel() const { return QStringLiteral("Scan Projects"); }

    QString rootsLabel() const { return QStringLiteral("Looks in"); }
    QString rootsText() const { return m_state.rootsText; }
    QString rootsToolTip() const { return m_state.rootsToolTip; }
    QString changeFoldersLabel() const { return QStringLiteral("Change Folders…"); }
    QString usualFoldersLabel() const { return QStringLiteral("Use the Usual Folders"); }
    bool foldersEnabled() const { return m_state.foldersEnabled; }

    QString scanAgainLabel() const { return QStringLiteral("Scan Again"); }
    bool scanAgainEnabled() const { return m_state.scanAgainEnabled; }

    bool showsSummary() const { return m_state.showsSummary; }
    bool summaryHasFailures() const { return !m_state.summaryDetail.isEmpty(); }
    QString summarySymbol() const { return m_state.summarySymbol; }
    QString summaryTitle() const { return m_state.summaryTitle; }
    QString summaryDetail() const { return m_state.summaryDetail; }
    QString dismissLabel() const { return QStringLiteral("Dismiss"); }

    bool showsNote() const { return m_state.showsNote; }
    QString noteTitle() const { return QStringLiteral("Sizes here are what deleting frees"); }
    QString noteText() const;

    bool showsFooter() const { return m_state.showsFooter; }
    bool footerIsBusy() const { return m_state.footerIsBusy; }
    QString footerText() const { return m_state.footerText; }
    QString selectedBytesText() const { return m_state.selectedBytesText; }
    QString removeLabel() const { return QStringLiteral("Remove…"); }
    bool removeEnabled() const { return m_state.removeEnabled; }

    QString confirmationTitle() const { return m_state.confirmationTitle; }
    QString confirmationText() const;
    QVariantList confirmationItems() const { return m_state.confirmationItems; }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    QString confirmLabel() const { return QStringLiteral("Remove"); }

    Q_INVOKABLE void scan();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void changeFolders();
    Q_INVOKABLE void useUsualFolders();
    Q_INVOKABLE void setWorktreeSelected(const QString& path, bool selected);
    Q_INVOKABLE void setArtifactSelected(const QString& path, bool selected);
    // A header's link: selects its section's rows, or deselects them all.
    Q_INVOKABLE void toggleSection(const QString& key);
    Q_INVOKABLE void reveal(const QString& path);
    Q_INVOKABLE void dismissSummary();
    Q_INVOKABLE void askToRemove();
    Q_INVOKABLE void cancelRemove();
    Q_INVOKABLE void confirmRemove();

    // The progress text of a scan's stage.
    static QString describe(const ProjectScanner::Stage& stage);
    // "Finder: 1.2 GB" when the plain size is over a fifth and over 50 MB
    // above the real one; empty otherwise.
    static QString finderText(std::int64_t real, std::int64_t apparent);
    // "3 could not be removed. ~/a: reason ~/b: reason", the first two named.
    static QString failuresText(const CleanSummary& summary, const std::string& home);

Q_SIGNALS:
    void modelChanged();
    void changed();

private:
    struct State {
        Content content = Content::Empty;
        QString progressText;
        QString rootsText;
        QString rootsToolTip;
        bool foldersEnabled = false;
        bool scanAgainEnabled = false;
        bool showsSummary = false;
        QString summarySymbol;
        QString summaryTitle;
        QString summaryDetail;
        bool showsNote = false;
        bool showsFooter = false;
        bool footerIsBusy = false;
        QString footerText;
        QString selectedBytesText;
        bool removeEnabled = false;
        QString confirmationTitle;
        QVariantList confirmationItems;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();

    QPointer<ProjectsModel> m_model;
    ProjectsRows* m_rows = nullptr;
    State m_state;
};

} // namespace tarno
