#include "Tarno/Demo/DemoMachine.hpp"
#include "Tarno/Snapshotter.hpp"
#include "Tarno/TarnoApp.hpp"

#include "Support/TemporaryFolder.hpp"

#include <QImage>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSet>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <map>

namespace tarno {
namespace {

using test::TemporaryFolder;

// Waits for the snapshotter's one finished signal; its arguments, or none on time-out.
std::optional<QList<QVariant>> runToEnd(Snapshotter& snapshotter)
{
    QSignalSpy finished(&snapshotter, &Snapshotter::finished);
    snapshotter.start();
    if (finished.isEmpty() && !finished.wait(60'000))
        return std::nullopt;
    return finished.takeFirst();
}

bool hasMoreThanOneColour(const QImage& image)
{
    const QRgb first = image.pixel(0, 0);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != first)
                return true;
    return false;
}

TEST(Snapshotter, RendersEverySectionAndStateToItsOwnImage)
{
    TemporaryFolder folder;
    LaunchOptions options;
    options.demo = true;
    TarnoApp app(options, std::make_unique<QSettings>(QString::fromStdString(folder / "Tarno.conf"), QSettings::IniFormat),
                 [] { return Demo::machine(); });
    QQmlApplicationEngine engine;
    QQuickWindow* window = app.loadMainWindow(engine);
    ASSERT_NE(window, nullptr);

    const QString snapshots = QString::fromStdString(folder / "snapshots");
    Snapshotter snapshotter(window, app.model(), snapshots);
    const auto outcome = runToEnd(snapshotter);
    ASSERT_TRUE(outcome.has_value());
    ASSERT_TRUE(outcome->at(0).toBool()) << outcome->at(1).toString().toStdString();

    std::map<QString, QImage> images;
    for (const QString& name : Snapshotter::names()) {
        const QString path = snapshots + QLatin1Char('/') + name + QStringLiteral(".png");
        SCOPED_TRACE(path.toStdString());
        const QImage image(path);
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.size(), window->size() * window->devicePixelRatio());
        EXPECT_TRUE(hasMoreThanOneColour(image));
        images[name] = image;
    }
    // Every further state of a screen shows something its first picture does not.
    for (const auto& [name, image] : images) {
        if (const qsizetype dash = name.indexOf(QLatin1Char('-')); dash > 0) {
            EXPECT_NE(image, images[name.left(dash)]) << name.toStdString();
        }
    }
    EXPECT_NE(images[QStringLiteral("overview")], images[QStringLiteral("projects")]);

    // A folder that cannot be made ends the run with a message naming it.
    folder.makeFile("taken");
    const QString blocked = QString::fromStdString(folder / "taken/snapshots");
    Snapshotter refused(window, app.model(), blocked);
    const auto failure = runToEnd(refused);
    ASSERT_TRUE(failure.has_value());
    EXPECT_FALSE(failure->at(0).toBool());
    EXPECT_TRUE(failure->at(1).toString().contains(blocked));
}

} // namespace
} // namespace tarno
