#pragma once

#include "Tarno/LargeFilesMachine.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Duplicates/LargeFileFinder.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarno {

class TaskRunner;

// The Large Files section: one search of the home folder for its largest
// files, and moves of the user's choice of them to the Trash. The search
// always keeps files from a fixed floor up; the threshold only filters what
// is shown, so changing it is instant. State lives on the main thread.
class LargeFilesModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")

public:
    enum class Phase { idle, searching, ready };

    // Every search keeps the files from this size up, and at most this many.
    static constexpr std::int64_t floorBytes = 100'000'000;
    static constexpr std::size_t limit = 1000;
    static constexpr std::int64_t defaultThreshold = 500'000'000;

    // The guard outlives the model: the application model owns both.
    LargeFilesModel(LargeFilesMachine machine, std::string home, const PathGuard& guardian, QObject* parent = nullptr);
    ~LargeFilesModel() override;

    // Called with the record of each move, and after it, since the disk changed.
    std::function<void(const CleanupRecord&)> onTrashed;
    std::function<void()> onDiskChanged;

    const LargeFilesMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_home; }

    // Starts a search of the home folder unless one is under way.
    void findLargeFiles();
    // Moves these files to the Trash; what could not go stays listed.
    void moveToTrash(const std::vector<LargeFile>& files);
    // Stops the work under way, for the application going away.
    void cancel();

    Phase phase() const { return m_phase; }
    // The last result, largest first, less what has been moved since.
    const std::vector<LargeFile>& files() const { return m_files; }
    // Those of the files at least as large as the threshold.
    std::vector<LargeFile> visibleFiles() const;
    std::int64_t filesExamined() const { return m_filesExamined; }
    std::int64_t threshold() const { return m_threshold; }
    void setThreshold(std::int64_t bytes);
    const std::vector<CleanReport::Failure>& failures() const { return m_failures; }
    void setFailures(std::vector<CleanReport::Failure> failures);
    bool hasFullDiskAccess() const { return m_hasFullDiskAccess; }

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen. Each signals only a real change.
    void setPhase(Phase phase);
    void setFiles(std::vector<LargeFile> files);
    void setFilesExamined(std::int64_t count);
    void setHasFullDiskAccess(bool hasAccess);

Q_SIGNALS:
    void phaseChanged();
    void filesChanged();
    void filesExaminedChanged();
    void thresholdChanged();
    void failuresChanged();
    void hasFullDiskAccessChanged();

private:
    void trashed(const std::vector<LargeFile>& files, const CleanReport& report);

    LargeFilesMachine m_machine;
    std::string m_home;
    const PathGuard& m_guardian;
    TaskRunner* m_searches;
    TaskRunner* m_moves;

    Phase m_phase = Phase::idle;
    std::vector<LargeFile> m_files;
    std::int64_t m_filesExamined = 0;
    std::int64_t m_threshold = defaultThreshold;
    std::vector<CleanReport::Failure> m_failures;
    bool m_hasFullDiskAccess = true;
};

} // namespace tarno
