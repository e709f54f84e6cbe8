#pragma once

#include "Tarno/KeyedRows.hpp"
#include "Tarno/SizeChoices.hpp"
#include "Tarno/LargeFilesModel.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <set>
#include <string>
#include <vector>

namespace tarno {

// One file of the Large Files table; its properties are the roles the view reads.
struct LargeFilesRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString path MEMBER path)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString iconSource MEMBER iconSource)
    Q_PROPERTY(bool belongsToApp MEMBER belongsToApp)
    Q_PROPERTY(QString sizeText MEMBER sizeText)
    Q_PROPERTY(QString modifiedText MEMBER modifiedText)
    Q_PROPERTY(QString folderText MEMBER folderText)
    Q_PROPERTY(QString folderToolTip MEMBER folderToolTip)
    Q_PROPERTY(bool isSelected MEMBER isSelected)

public:
    QString key; // the path
    QString path;
    QString name;
    QString iconSource;     // the file type's icon
    bool belongsToApp = false;
    QString sizeText;
    QString modifiedText;
    QString folderText;     // with "~" for the home
    QString folderToolTip;  // in full
    bool isSelected = false;

    bool operator==(const LargeFilesRow&) const = default;
};

using LargeFilesRows = RowList<LargeFilesRow>;

// What the Large Files screen says and allows, worked out from the section's
// model and the screen's own state: the ticked files and whether the
// confirmation is up. Both are the screen's, and go when it goes. The QML
// lays these out and forwards the user's actions here.
class LargeFilesScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::LargeFilesModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(tarno::KeyedRows* rows READ rows CONSTANT)

    Q_PROPERTY(Content content READ content NOTIFY changed)
    Q_PROPERTY(QString progressText READ progressText NOTIFY changed)
    Q_PROPERTY(QString emptyTitle READ emptyTitle CONSTANT)
    Q_PROPERTY(QString emptySymbol READ emptySymbol CONSTANT)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)

    Q_PROPERTY(bool showsFailures READ showsFailures NOTIFY changed)
    Q_PROPERTY(QString failuresTitle READ failuresTitle NOTIFY changed)
    Q_PROPERTY(QString failuresDetail READ failuresDetail NOTIFY changed)
    Q_PROPERTY(QString dismissLabel READ dismissLabel CONSTANT)
    Q_PROPERTY(QString appDataToolTip READ appDataToolTip CONSTANT)
    Q_PROPERTY(QStringList columnTitles READ columnTitles CONSTANT)

    Q_PROPERTY(QString thresholdLabel READ thresholdLabel CONSTANT)
    Q_PROPERTY(QString thresholdToolTip READ thresholdToolTip CONSTANT)
    Q_PROPERTY(QStringList thresholdNames READ thresholdNames CONSTANT)
    Q_PROPERTY(int thresholdIndex READ thresholdIndex WRITE setThresholdIndex NOTIFY changed)
    Q_PROPERTY(QString trashLabel READ trashLabel CONSTANT)
    Q_PROPERTY(bool trashEnabled READ trashEnabled NOTIFY changed)
    Q_PROPERTY(QString searchAgainLabel READ searchAgainLabel CONSTANT)
    Q_PROPERTY(bool searchAgainEnabled READ searchAgainEnabled NOTIFY changed)

    Q_PROPERTY(bool showsFooter READ showsFooter NOTIFY changed)
    Q_PROPERTY(QString footerText READ footerText NOTIFY changed)
    Q_PROPERTY(QString accessNote READ accessNote NOTIFY changed)
    Q_PROPERTY(QString selectedText READ selectedText NOTIFY changed)
    Q_PROPERTY(QString moveLabel READ moveLabel CONSTANT)
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)

    Q_PROPERTY(bool isConfirming READ isConfirming NOTIFY changed)
    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY changed)
    Q_PROPERTY(QString confirmationText READ confirmationText CONSTANT)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(QString confirmLabel READ confirmLabel CONSTANT)

public:
    enum class Content { Progress, Empty, List };
    Q_ENUM(Content)

    static constexpr SizeChoice thresholds[] = {
        {"100 MB", 100'000'000}, {"500 MB", 500'000'000}, {"1 GB", 1'000'000'000}};

    explicit LargeFilesScreen(QObject* parent = nullptr);

    LargeFilesModel* model() const { return m_model; }
    void setModel(LargeFilesModel* model);
    LargeFilesRows* rows() const { return m_rows; }

    Content content() const { return m_state.content; }
    QString progressText() const { return m_state.progressText; }
    QString emptyTitle() const { return QStringLiteral("No files this large"); }
    QString emptySymbol() const { return QStringLiteral("doc.viewfinder"); }
    QString emptyText() const { return QStringLiteral("Try a smaller minimum size."); }

    bool showsFailures() const { return !m_state.failuresTitle.isEmpty(); }
    QString failuresTitle() const { return m_state.failuresTitle; }
    QString failuresDetail() const { return m_state.failuresDetail; }
    QString dismissLabel() const { return QStringLiteral("Dismiss"); }
    QString appDataToolTip() const
    {
        return QStringLiteral("This belongs to an app. Removing it can break that app or lose its data.");
    }
    QStringList columnTitles() const;

    QString thresholdLabel() const { return QStringLiteral("Minimum size"); }
    QString thresholdToolTip() const { return QStringLiteral("Smallest file to list"); }
    QStringList thresholdNames() const { return sizeChoiceNames(thresholds); }
    int thresholdIndex() const { return m_state.thresholdIndex; }
    void setThresholdIndex(int index);
    QString trashLabel() const { return QStringLiteral("Move to Trash"); }
    bool trashEnabled() const { return !m_state.selectedText.isEmpty(); }
    QString searchAgainLabel() const { return QStringLiteral("Search Again"); }
    bool searchAgainEnabled() const { return m_state.searchAgainEnabled; }

    bool showsFooter() const { return m_state.content == Content::List; }
    QString footerText() const { return m_state.footerText; }
    QString accessNote() const { return m_state.accessNote; }
    QString selectedText() const { return m_state.selectedText; }
    QString moveLabel() const { return QStringLiteral("Move to Trash…"); }
    QString revealLabel() const { return QStringLiteral("Show in Finder"); }

    bool isConfirming() const { return m_isConfirming; }
    QString confirmationTitle() const { return m_state.confirmationTitle; }
    QString confirmationText() const
    {
        return QStringLiteral("You can put them back from the Trash. The space is freed when you empty it.");
    }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    QString confirmLabel() const { return QStringLiteral("Move to Trash"); }

    // The ticked files that the threshold shows: what a move would take.
    std::vector<LargeFile> selectedFiles() const;
    const std::set<std::string>& selection() const { return m_selection; }

    // The screen came into view: the first search starts then.
    Q_INVOKABLE void appeared();
    Q_INVOKABLE void searchAgain();
    Q_INVOKABLE void setSelected(const QString& path, bool selected);
    // A click on a row, as a file manager's list takes it: alone it selects
    // the row, with Control it toggles it, with Shift it selects the rows from
    // the last one clicked. A right click on a row outside the selection
    // selects it alone, so the context menu acts on what it was opened on.
    Q_INVOKABLE void click(const QString& path, int modifiers);
    Q_INVOKABLE void rightClick(const QString& path);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void revealSelection();
    Q_INVOKABLE void askToTrashSelection();
    Q_INVOKABLE void cancelTrash();
    Q_INVOKABLE void confirmTrash();
    Q_INVOKABLE void dismissFailures();

Q_SIGNALS:
    void modelChanged();
    void changed();

private:
    struct State {
        Content content = Content::Progress;
        QString progressText;
        QString failuresTitle;
        QString failuresDetail;
        int thresholdIndex = -1;
        bool searchAgainEnabled = false;
        QString footerText;
        QString accessNote;
        QString selectedText;
        QString confirmationTitle;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();
    void setSelection(std::set<std::string> selection);
    void setConfirming(bool confirming);

    QPointer<LargeFilesModel> m_model;
    LargeFilesRows* m_rows = nullptr;
    std::set<std::string> m_selection;
    std::string m_anchor; // the row a Shift-click extends from
    bool m_isConfirming = false;
    State m_state;
};

} // namespace tarno
