#pragma once

#include "Tarno/DuplicatesModel.hpp"
#include "Tarno/KeyedRows.hpp"
#include "Tarno/SizeChoices.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace tarno {

// One line of the Duplicates list: a set's header or one copy in it. Its
// properties are the roles the view reads.
struct DuplicatesRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(bool isHeader MEMBER isHeader)
    Q_PROPERTY(QString path MEMBER path)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString countText MEMBER countText)
    Q_PROPERTY(QString sizeText MEMBER sizeText)
    Q_PROPERTY(QString folderText MEMBER folderText)
    Q_PROPERTY(QString folderToolTip MEMBER folderToolTip)
    Q_PROPERTY(QString modifiedText MEMBER modifiedText)
    Q_PROPERTY(bool isChecked MEMBER isChecked)
    Q_PROPERTY(bool isKeeper MEMBER isKeeper)

public:
    QString key;        // "set:<hash>" or "file:<path>"
    bool isHeader = false;
    QString path;       // a copy's path
    QString name;       // headers: the first copy's name
    QString countText;  // headers: "3 copies"
    QString sizeText;   // headers: "1.2 GB each"
    QString folderText; // copies: with "~" for the home
    QString folderToolTip;
    QString modifiedText;
    bool isChecked = false;
    bool isKeeper = false; // the first copy of its set: the one to keep

    bool operator==(const DuplicatesRow&) const = default;
};

using DuplicatesRows = RowList<DuplicatesRow>;

// What the Duplicates screen says and allows, worked out from the section's
// model: every word, every shown part and every enabled state. The QML lays
// these out and forwards the user's actions here.
class DuplicatesScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::DuplicatesModel* model READ model WRITE setModel NOTIFY modelChanged)
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

    Q_PROPERTY(bool showsPhotosLibrary READ showsPhotosLibrary NOTIFY changed)
    Q_PROPERTY(QString photosLibraryTitle READ photosLibraryTitle CONSTANT)
    Q_PROPERTY(QString photosLibraryText READ photosLibraryText CONSTANT)
    Q_PROPERTY(QString openPhotosLabel READ openPhotosLabel CONSTANT)
    Q_PROPERTY(bool canOpenPhotos READ canOpenPhotos NOTIFY modelChanged)

    Q_PROPERTY(QString thresholdLabel READ thresholdLabel CONSTANT)
    Q_PROPERTY(QString thresholdToolTip READ thresholdToolTip CONSTANT)
    Q_PROPERTY(QStringList thresholdNames READ thresholdNames CONSTANT)
    Q_PROPERTY(int thresholdIndex READ thresholdIndex WRITE setThresholdIndex NOTIFY changed)
    Q_PROPERTY(QString searchAgainLabel READ searchAgainLabel CONSTANT)
    Q_PROPERTY(bool searchAgainEnabled READ searchAgainEnabled NOTIFY changed)

    Q_PROPERTY(bool showsFooter READ showsFooter NOTIFY changed)
    Q_PROPERTY(QString footerText READ footerText NOTIFY changed)
    Q_PROPERTY(QString footerToolTip READ footerToolTip CONSTANT)
    Q_PROPERTY(QString selectExtraLabel READ selectExtraLabel CONSTANT)
    Q_PROPERTY(QString selectExtraToolTip READ selectExtraToolTip CONSTANT)
    Q_PROPERTY(QString selectedText READ selectedText NOTIFY changed)
    Q_PROPERTY(QString moveLabel READ moveLabel CONSTANT)
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)

    Q_PROPERTY(QString confirmationTitle READ confirmationTitle NOTIFY changed)
    Q_PROPERTY(QString confirmationText READ confirmationText NOTIFY changed)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(QString confirmLabel READ confirmLabel CONSTANT)

public:
    enum class Content { Progress, Empty, List };
    Q_ENUM(Content)

    static constexpr SizeChoice thresholds[] = {{"1 MB", 1'000'000}, {"10 MB", 10'000'000}, {"100 MB", 100'000'000}};

    explicit DuplicatesScreen(QObject* parent = nullptr);

    DuplicatesModel* model() const { return m_model; }
    void setModel(DuplicatesModel* model);
    DuplicatesRows* rows() const { return m_rows; }

    Content content() const { return m_state.content; }
    QString progressText() const { return m_state.progressText; }
    QString emptyTitle() const { return QStringLiteral("No duplicates"); }
    QString emptySymbol() const { return QStringLiteral("doc.on.doc"); }
    QString emptyText() const { return QStringLiteral("No two files this large in your folders are the same."); }

    bool showsFailures() const { return !m_state.failuresTitle.isEmpty(); }
    QString failuresTitle() const { return m_state.failuresTitle; }
    QString failuresDetail() const { return m_state.failuresDetail; }
    QString dismissLabel() const { return QStringLiteral("Dismiss"); }

    bool showsPhotosLibrary() const { return m_state.showsPhotosLibrary; }
    QString photosLibraryTitle() const { return QStringLiteral("Photos finds its own duplicates"); }
    QString photosLibraryText() const;
    QString openPhotosLabel() const { return QStringLiteral("Open Photos"); }
    bool canOpenPhotos() const { return m_model && m_model->machine().openPhotos; }

    QString thresholdLabel() const { return QStringLiteral("Minimum size"); }
    QString thresholdToolTip() const { return QStringLiteral("Smallest copy to list"); }
    QStringList thresholdNames() const { return sizeChoiceNames(thresholds); }
    int thresholdIndex() const { return m_state.thresholdIndex; }
    void setThresholdIndex(int index);
    QString searchAgainLabel() const { return QStringLiteral("Search Again"); }
    bool searchAgainEnabled() const { return m_state.searchAgainEnabled; }

    bool showsFooter() const { return !m_state.footerText.isEmpty(); }
    QString footerText() const { return m_state.footerText; }
    QString footerToolTip() const { return QStringLiteral("What keeping one copy of each set frees"); }
    QString selectExtraLabel() const { return QStringLiteral("Select Extra Copies"); }
    QString selectExtraToolTip() const;
    QString selectedText() const { return m_state.selectedText; }
    QString moveLabel() const { return QStringLiteral("Move to Trash…"); }
    QString revealLabel() const { return QStringLiteral("Show in Finder"); }

    QString confirmationTitle() const { return m_state.confirmationTitle; }
    QString confirmationText() const { return m_state.confirmationText; }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    QString confirmLabel() const { return QStringLiteral("Move to Trash"); }

    // The progress label of a search's stage.
    static QString describe(const DuplicateFinder::Stage& stage);

    // The screen came into view: the first search starts then.
    Q_INVOKABLE void appeared();
    Q_INVOKABLE void searchAgain();
    Q_INVOKABLE void setSelected(const QString& path, bool selected);
    Q_INVOKABLE void selectExtraCopies();
    Q_INVOKABLE void askToTrash();
    Q_INVOKABLE void cancelTrash();
    Q_INVOKABLE void confirmTrash();
    Q_INVOKABLE void dismissFailures();
    Q_INVOKABLE void openPhotos();
    Q_INVOKABLE void reveal(const QString& path);
    Q_INVOKABLE void loadThumbnail(const QString& path);
    Q_INVOKABLE bool hasThumbnail(const QString& path) const;
    // The image source of a loaded picture.
    Q_INVOKABLE QString thumbnailSource(const QString& path) const;

Q_SIGNALS:
    void modelChanged();
    void changed();
    void thumbnailLoaded(const QString& path);

private:
    struct State {
        Content content = Content::Progress;
        QString progressText;
        QString failuresTitle;
        QString failuresDetail;
        bool showsPhotosLibrary = false;
        int thresholdIndex = -1;
        bool searchAgainEnabled = false;
        QString footerText;
        QString selectedText;
        QString confirmationTitle;
        QString confirmationText;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();

    QPointer<DuplicatesModel> m_model;
    DuplicatesRows* m_rows = nullptr;
    State m_state;
};

} // namespace tarno
