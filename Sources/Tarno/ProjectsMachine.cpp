#include "Tarno/ProjectsMachine.hpp"

#include "Tarno/FileViewer.hpp"
#include "Tarno/Preferences.hpp"

#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Projects/ProjectFinder.hpp"

#include <QAbstractItemView>
#include <QFileDialog>
#include <QListView>
#include <QTreeView>

namespace tarno {

namespace {

const QString rootsKey = QStringLiteral("projectRoots");

// The desktop's folder picker offers one folder at a time; Qt's own dialog
// lets the list select several, which is what choosing roots needs.
std::optional<ProjectsMachine::Roots> chooseFoldersWithDialog(const std::string& start)
{
    QFileDialog dialog(nullptr, QStringLiteral("Choose the folders that hold your projects."),
                       QString::fromStdString(start));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, true);
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Search These Folders"));
    for (auto* view : dialog.findChildren<QListView*>())
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    for (auto* view : dialog.findChildren<QTreeView*>())
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    ProjectsMachine::Roots chosen;
    for (const QString& folder : dialog.selectedFiles())
        chosen.push_back(folder.toStdString());
    if (chosen.empty())
        return std::nullopt;
    return chosen;
}

} // namespace

ProjectsMachine ProjectsMachine::live()
{
    return ProjectsMachine{
        .defaultRoots = [](const std::string& home) { return ProjectFinder::defaultRoots(home); },
        .workingDirectories = [] { return ProcessSampler::workingDirectories(); },
        .scan = [](const Roots& roots, const std::string& home, const PathGuard& guardian,
                   const std::vector<std::string>& workingDirectories,
                   const std::function<void(const ProjectScanner::Stage&)>& stage, const IsCancelled& isCancelled) {
            return ProjectScanner::scan(roots, home, guardian, workingDirectories, stage, isCancelled);
        },
        .perform = [](const PathGuard& guardian, const CleanupAction& action, const IsCancelled& isCancelled) {
            return Cleaner{guardian}.perform(action, isCancelled);
        },
        .exists = ProjectRemoval::isPresent,
        .chooseFolders = chooseFoldersWithDialog,
        .reveal = [](const std::string& path) { FileViewer::reveal(path); },
        .rememberedRoots = RememberedRoots{
            .load = []() -> std::optional<Roots> {
                const QVariant stored = Preferences::standardStore()->value(rootsKey);
                if (!stored.isValid())
                    return std::nullopt;
                Roots roots;
                for (const QString& root : stored.toStringList())
                    roots.push_back(root.toStdString());
                return roots;
            },
            .store = [](const Roots& roots) {
                QStringList list;
                for (const std::string& root : roots)
                    list.append(QString::fromStdString(root));
                Preferences::standardStore()->setValue(rootsKey, list);
            },
        },
    };
}

ProjectRemoval::Machine ProjectsMachine::removal(const PathGuard& guardian) const
{
    return ProjectRemoval::Machine{
        .perform = [perform = perform, guardian](const CleanupAction& action, const IsCancelled& isCancelled) {
            return perform(guardian, action, isCancelled);
        },
        .exists = exists,
    };
}

} // namespace tarno
