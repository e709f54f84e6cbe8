#pragma once

#include "Tarno/KeyedRows.hpp"
#include "Tarno/PerformanceModel.hpp"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <optional>
#include <string>

namespace tarno {

// One application or program of the Apps tab.
struct ProcessRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString subtitle MEMBER subtitle)
    Q_PROPERTY(bool isSystem MEMBER isSystem)
    Q_PROPERTY(QString memoryText MEMBER memoryText)
    Q_PROPERTY(double fraction MEMBER fraction)
    Q_PROPERTY(QString cpuText MEMBER cpuText)
    Q_PROPERTY(bool canQuit MEMBER canQuit)
    Q_PROPERTY(QString helpText MEMBER helpText)
    Q_PROPERTY(QString quitMenuLabel MEMBER quitMenuLabel)
    Q_PROPERTY(QString iconSource MEMBER iconSource)

public:
    QString key; // the group's id
    QString name;
    QString subtitle; // "Part of macOS", "1 process", "3 processes"
    bool isSystem = false;
    QString memoryText;
    double fraction = 0; // of the largest group shown
    QString cpuText;
    bool canQuit = false;
    QString helpText;
    QString quitMenuLabel;
    QString iconSource; // the application's icon; empty for the generic symbol

    bool operator==(const ProcessRow&) const = default;
};

// One developer tool of the Developer Tools tab.
struct ToolRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QString symbol MEMBER symbol)
    Q_PROPERTY(QString tint MEMBER tint)
    Q_PROPERTY(QString badgeText MEMBER badgeText)
    Q_PROPERTY(QString badgeTint MEMBER badgeTint)
    Q_PROPERTY(QString badgeHelp MEMBER badgeHelp)
    Q_PROPERTY(QString startedText MEMBER startedText)
    Q_PROPERTY(QString detailText MEMBER detailText)
    Q_PROPERTY(QString memoryText MEMBER memoryText)
    Q_PROPERTY(QString cpuText MEMBER cpuText)

public:
    QString key; // the tool's id
    QString title;
    QString symbol;
    QString tint; // a Theme colour's name: "orange", "violet", "teal", "green", "blue"
    QString badgeText;
    QString badgeTint;
    QString badgeHelp;
    QString startedText;
    QString detailText; // what it does now, then what stopping it does
    QString memoryText;
    QString cpuText;

    bool operator==(const ToolRow&) const = default;
};

// One item of the Startup tab.
struct StartupRow {
    Q_GADGET
    Q_PROPERTY(QString key MEMBER key)
    Q_PROPERTY(QString section MEMBER section)
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(bool programMissing MEMBER programMissing)
    Q_PROPERTY(bool isLeftover MEMBER isLeftover)
    Q_PROPERTY(QString programText MEMBER programText)
    Q_PROPERTY(QString startsText MEMBER startsText)

public:
    QString key; // the file's path
    QString section; // the scope's label
    QString label;
    bool programMissing = false;
    bool isLeftover = false;
    QString programText;
    QString startsText;

    bool operator==(const StartupRow&) const = default;
};

using ProcessRows = RowList<ProcessRow>;
using ToolRows = RowList<ToolRow>;
using StartupRows = RowList<StartupRow>;

// What the Performance screen says and allows, worked out from the section's
// model: the memory card, the three tabs' rows and the questions asked before
// quitting, stopping and removing, which are the screen's own state.
class PerformanceScreen : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(tarno::PerformanceModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(tarno::KeyedRows* processRows READ processRows CONSTANT)
    Q_PROPERTY(tarno::KeyedRows* toolRows READ toolRows CONSTANT)
    Q_PROPERTY(tarno::KeyedRows* startupRows READ startupRows CONSTANT)

    Q_PROPERTY(bool hasMemory READ hasMemory NOTIFY changed)
    Q_PROPERTY(QString memoryText READ memoryText NOTIFY changed)
    Q_PROPERTY(QVariantList memorySegments READ memorySegments NOTIFY changed)
    Q_PROPERTY(QString memoryAccessibleText READ memoryAccessibleText NOTIFY changed)
    Q_PROPERTY(QString advice READ advice NOTIFY changed)
    Q_PROPERTY(QString viewLabel READ viewLabel CONSTANT)
    Q_PROPERTY(QStringList tabNames READ tabNames CONSTANT)

    Q_PROPERTY(QStringList processColumns READ processColumns CONSTANT)
    Q_PROPERTY(QString quitLabel READ quitLabel CONSTANT)
    Q_PROPERTY(QString forceQuitLabel READ forceQuitLabel CONSTANT)

    Q_PROPERTY(bool hasTools READ hasTools NOTIFY changed)
    Q_PROPERTY(QString toolsEmptyTitle READ toolsEmptyTitle CONSTANT)
    Q_PROPERTY(QString toolsEmptySymbol READ toolsEmptySymbol CONSTANT)
    Q_PROPERTY(QString toolsEmptyText READ toolsEmptyText CONSTANT)
    Q_PROPERTY(QString toolsLine READ toolsLine CONSTANT)
    Q_PROPERTY(QString toolsTotal READ toolsTotal NOTIFY changed)
    Q_PROPERTY(QString stopIdleLabel READ stopIdleLabel CONSTANT)
    Q_PROPERTY(QString stopIdleHelp READ stopIdleHelp CONSTANT)
    Q_PROPERTY(bool stopIdleEnabled READ stopIdleEnabled NOTIFY changed)
    Q_PROPERTY(QString stopLabel READ stopLabel CONSTANT)

    Q_PROPERTY(QString startupLine READ startupLine CONSTANT)
    Q_PROPERTY(QString removeLabel READ removeLabel CONSTANT)
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)
    Q_PROPERTY(QString leftoverBadge READ leftoverBadge CONSTANT)

    Q_PROPERTY(bool isAsking READ isAsking NOTIFY changed)
    Q_PROPERTY(Question question READ question NOTIFY changed)
    Q_PROPERTY(QString questionTitle READ questionTitle NOTIFY changed)
    Q_PROPERTY(QString questionText READ questionText NOTIFY changed)
    Q_PROPERTY(QString confirmLabel READ confirmLabel NOTIFY changed)
    Q_PROPERTY(QString cancelLabel READ cancelLabel CONSTANT)
    Q_PROPERTY(bool hasProblem READ hasProblem NOTIFY changed)
    Q_PROPERTY(QString problemTitle READ problemTitle CONSTANT)
    Q_PROPERTY(QString problemText READ problemText NOTIFY changed)

public:
    // What the question before an action is about.
    enum class Question { None, Quit, Stop, Remove };
    Q_ENUM(Question)

    // The Apps tab shows this many groups at most.
    static constexpr std::size_t shownGroups = 80;
    // A dev server idle for less than this shows no badge.
    static constexpr double idleBadgeSeconds = 1800;

    explicit PerformanceScreen(QObject* parent = nullptr);

    PerformanceModel* model() const { return m_model; }
    void setModel(PerformanceModel* model);
    ProcessRows* processRows() const { return m_processRows; }
    ToolRows* toolRows() const { return m_toolRows; }
    StartupRows* startupRows() const { return m_startupRows; }

    bool hasMemory() const { return m_state.hasMemory; }
    QString memoryText() const { return m_state.memoryText; }
    QVariantList memorySegments() const { return m_state.memorySegments; }
    QString memoryAccessibleText() const { return m_state.memoryAccessibleText; }
    QString advice() const { return m_state.advice; }
    QString viewLabel() const { return QStringLiteral("View"); }
    QStringList tabNames() const;
    // The advice under the memory bar, by the pressure and how much is compressed.
    static QString advice(const MemorySnapshot& memory);
    // The icon of a group: its bundle's, else the icon theme's of the same
    // name as its program, as desktop entries mostly name their icons;
    // nothing when the theme has none.
    static QString iconSource(const ProcessGroup& group);

    QStringList processColumns() const;
    QString quitLabel() const { return QStringLiteral("Quit"); }
    QString forceQuitLabel() const { return QStringLiteral("Force Quit"); }

    bool hasTools() const { return m_state.hasTools; }
    QString toolsEmptyTitle() const { return QStringLiteral("No developer tools running"); }
    QString toolsEmptySymbol() const { return QStringLiteral("hammer"); }
    QString toolsEmptyText() const
    {
        return QStringLiteral("Build daemons, language servers, dev servers, emulators, simulators and Docker show up "
                              "here while they run.");
    }
    QString toolsLine() const { return QStringLiteral("Easy to forget, and each holds memory until it is stopped."); }
    QString toolsTotal() const { return m_state.toolsTotal; }
    QString stopIdleLabel() const { return QStringLiteral("Stop Idle Build Daemons"); }
    QString stopIdleHelp() const { return QStringLiteral("Gradle and Kotlin daemons that are not building right now"); }
    bool stopIdleEnabled() const { return m_state.stopIdleEnabled; }
    QString stopLabel() const { return QStringLiteral("Stop"); }

    QString startupLine() const
    {
        return QStringLiteral("Background items the system starts by itself. Turn off the ones you do not need in "
                              "your desktop's startup settings.");
    }
    QString removeLabel() const { return QStringLiteral("Remove"); }
    QString revealLabel() const { return QStringLiteral("Show in Finder"); }
    QString leftoverBadge() const { return QStringLiteral("Leftover: its program is gone"); }

    bool isAsking() const { return m_state.question != Question::None; }
    Question question() const { return m_state.question; }
    QString questionTitle() const { return m_state.questionTitle; }
    QString questionText() const { return m_state.questionText; }
    QString confirmLabel() const { return m_state.confirmLabel; }
    QString cancelLabel() const { return QStringLiteral("Cancel"); }
    bool hasProblem() const { return m_state.hasProblem; }
    QString problemTitle() const { return QStringLiteral("Could not remove it"); }
    QString problemText() const { return m_state.problemText; }

    // The screen came into view, or went: the live figures run while it shows.
    Q_INVOKABLE void appeared();
    Q_INVOKABLE void disappeared();
    Q_INVOKABLE void startupShown();

    Q_INVOKABLE void askToQuit(const QString& groupID);
    Q_INVOKABLE void askToStop(const QString& toolID);
    Q_INVOKABLE void askToRemove(const QString& path);
    // The confirm button; `force` is Force Quit's.
    Q_INVOKABLE void confirm(bool force = false);
    Q_INVOKABLE void cancel();
    Q_INVOKABLE void stopIdleBuildDaemons();
    Q_INVOKABLE void reveal(const QString& path);
    Q_INVOKABLE void dismissProblem();

Q_SIGNALS:
    void modelChanged();
    void changed();

private:
    struct State {
        bool hasMemory = false;
        QString memoryText;
        QVariantList memorySegments;
        QString memoryAccessibleText;
        QString advice;
        bool hasTools = false;
        QString toolsTotal;
        bool stopIdleEnabled = false;
        Question question = Question::None;
        QString questionTitle;
        QString questionText;
        QString confirmLabel;
        bool hasProblem = false;
        QString problemText;

        bool operator==(const State&) const = default;
    };

    State currentState() const;
    void refresh();
    void setAsking(Question question, std::string subject);

    QPointer<PerformanceModel> m_model;
    ProcessRows* m_processRows = nullptr;
    ToolRows* m_toolRows = nullptr;
    StartupRows* m_startupRows = nullptr;
    bool m_isShown = false;
    Question m_question = Question::None;
    std::string m_subject; // the group id, tool id or file path the question is about
    State m_state;
};

} // namespace tarno
