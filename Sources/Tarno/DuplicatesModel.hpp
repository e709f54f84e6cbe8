#pragma once

#include "Tarno/DuplicatesMachine.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Duplicates/DuplicateFinder.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <QImage>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tarno {

class TaskRunner;

// The Duplicates section's identical files: one search of the usual folders,
// the sets it found less what has gone since, the ticked files and their move
// to the Trash. A search always keeps copies from a fixed floor up; the
// threshold only decides which sets are shown, and so what a move touches.
// State lives on the main thread; the search, the moves and the thumbnails
// run on the model's runners.
class DuplicatesModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")
    Q_PROPERTY(bool isConfirming READ isConfirming WRITE setConfirming NOTIFY isConfirmingChanged)

public:
    enum class Phase { idle, searching, ready };

    static constexpr std::int64_t floorBytes = 1'000'000;
    // The rows' pictures: 40 points square, drawn at twice that.
    static constexpr int thumbnailExtent = 80;

    // The guard outlives the model: the application model owns both.
    DuplicatesModel(DuplicatesMachine machine, std::string home, const PathGuard& guardian, QObject* parent = nullptr);
    ~DuplicatesModel() override;

    // Called with the record of a move that moved something.
    std::function<void(const CleanupRecord&)> onTrashed;
    // Called after every move with the paths it moved, none too.
    std::function<void(const std::set<std::string>&)> onGone;

    const DuplicatesMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_home; }

    // Starts a search unless one is under way.
    void find();
    // Ticks every copy but the first of each shown set, and nothing else.
    void selectExtraCopies();
    // Moves the ticked files of the shown sets to the Trash.
    void moveToTrash();
    // Drops these paths from the sets and the selection; a set left with one
    // file is no longer a set.
    void forget(const std::set<std::string>& gone);
    // Makes the file's picture, once; thumbnailLoaded follows.
    void loadThumbnail(const std::string& path);
    // Stops the work under way, for the application going away.
    void cancel();

    Phase phase() const { return m_phase; }
    const std::vector<DuplicateGroup>& groups() const { return m_groups; }
    // The sets at least as large as the threshold.
    std::vector<DuplicateGroup> visibleGroups() const;
    // The ticked files of the shown sets, in their order.
    std::vector<DuplicateFile> selectedFiles() const;
    // What moving the ticked files of the shown sets frees.
    std::int64_t selectedBytes() const;
    // Shown sets all of whose files are ticked.
    int setsLosingEveryCopy() const;
    const DuplicateFinder::Stage& stage() const { return m_stage; }
    std::int64_t threshold() const { return m_threshold; }
    void setThreshold(std::int64_t bytes);
    const std::set<std::string>& selection() const { return m_selection; }
    void setSelection(std::set<std::string> paths);
    bool isConfirming() const { return m_isConfirming; }
    void setConfirming(bool confirming);
    const std::vector<CleanReport::Failure>& failures() const { return m_failures; }
    void setFailures(std::vector<CleanReport::Failure> failures);
    // Null until loaded.
    QImage thumbnail(const std::string& path) const;
    bool hasPhotosLibrary() const { return m_hasPhotosLibrary; }

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen. Each signals only a real change.
    void setPhase(Phase phase);
    void setStage(DuplicateFinder::Stage stage);
    void setGroups(std::vector<DuplicateGroup> groups);
    void setHasPhotosLibrary(bool hasLibrary);

Q_SIGNALS:
    void phaseChanged();
    void stageChanged();
    void groupsChanged();
    void thresholdChanged();
    void selectionChanged();
    void isConfirmingChanged();
    void failuresChanged();
    void hasPhotosLibraryChanged();
    void thumbnailLoaded(const QString& path);

private:
    void finishTrash(const std::set<std::string>& moved, std::vector<CleanReport::Failure> failures);

    DuplicatesMachine m_machine;
    std::string m_home;
    const PathGuard& m_guardian;
    TaskRunner* m_searches;
    TaskRunner* m_moves;
    TaskRunner* m_pictures;

    Phase m_phase = Phase::idle;
    std::vector<DuplicateGroup> m_groups;
    DuplicateFinder::Stage m_stage = DuplicateFinder::Looking{};
    std::int64_t m_threshold = floorBytes;
    std::set<std::string> m_selection;
    bool m_isConfirming = false;
    std::vector<CleanReport::Failure> m_failures;
    // A path keeps its picture for the life of the model; one asked for is
    // in here as a null image until it arrives.
    std::map<std::string, QImage> m_thumbnails;
    bool m_hasPhotosLibrary = false;
};

} // namespace tarno
