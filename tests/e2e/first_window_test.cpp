// The first window on small screens.

#include "tests/e2e/accessible.h"
#include "tests/e2e/program_test.h"

namespace corvid::test {

namespace {

struct Screen {
    QSize size; // in its own pixels
    double scale;
};

class FirstWindow : public ProgramTest, public ::testing::WithParamInterface<Screen> {
protected:
    FirstWindow() : ProgramTest(GetParam().size) {
        session.environment().insert(QStringLiteral("QT_SCALE_FACTOR"),
                                     QString::number(GetParam().scale));
    }
};

TEST_P(FirstWindow, IsOnTheScreenWithRoomForATitleBar) {
    constexpr int kTitleBar = 37; // of the desktop with the highest
    makeCache();

    const QRect window = startProgram().geometry;

    // Where a desktop's frame would begin is where the window is without one.
    const QRect framed(window.topLeft(),
                       window.size() + QSize(0, qRound(kTitleBar * GetParam().scale)));
    EXPECT_TRUE(QRect(QPoint(0, 0), GetParam().size).contains(framed))
        << framed.x() << "," << framed.y() << " " << framed.width() << "x" << framed.height();
}

TEST_P(FirstWindow, ShowsToolbarRowsAndTotals) {
    makeCache();

    startProgram();

    // All in logical pixels.
    const QRect screen(QPoint(0, 0), GetParam().size / GetParam().scale);
    int last = 0;
    for (const char* part : {"Refresh data", "Projects, compositions and features", "Totals"}) {
        const Accessible found = waitForAccessible(session, part);
        EXPECT_TRUE(screen.contains(found.place)) << part;
        EXPECT_GT(found.place.top(), last) << part;
        last = found.place.bottom();
    }
    const int rows = waitForAccessible(session, "Totals").place.top() -
                     waitForAccessible(session, "Refresh data").place.bottom();
    EXPECT_GT(rows, 100);
}

TEST_P(FirstWindow, HasASettingsSheetThatFitsToo) {
    makeCache();
    const XWindow window = startProgram();

    session.pressKey(window.id, "Ctrl+comma");

    const XWindow sheet = session.waitForWindow("Cache Manager Settings");
    EXPECT_TRUE(QRect(QPoint(0, 0), GetParam().size).contains(sheet.geometry))
        << sheet.geometry.width() << "x" << sheet.geometry.height();
}

TEST_P(FirstWindow, HasAFolderChooserThatFitsToo) {
    makeCache();
    session.pressKey(startProgram().id, "Ctrl+comma");
    const XWindow sheet = session.waitForWindow("Cache Manager Settings");

    for (int i = 0; i < 6; ++i) { // from the first field to the button that opens it
        session.pressKey(sheet.id, "Tab");
    }
    session.pressKey(sheet.id, "space");

    const XWindow chooser = session.waitForWindow("Select a new location for the cache files");
    session.waitUntilIdle(chooser.id);
    EXPECT_TRUE(QRect(QPoint(0, 0), GetParam().size).contains(chooser.geometry))
        << chooser.geometry.width() << "x" << chooser.geometry.height();
}

INSTANTIATE_TEST_SUITE_P(Screens, FirstWindow,
                         ::testing::Values(Screen{{1366, 768}, 1}, Screen{{1366, 768}, 1.25},
                                           Screen{{1366, 768}, 1.5}, Screen{{1366, 768}, 2},
                                           Screen{{1280, 720}, 1}, Screen{{1280, 720}, 2}),
                         [](const auto& screen) {
                             return std::to_string(screen.param.size.width()) + "Times" +
                                    std::to_string(static_cast<int>(screen.param.scale * 100));
                         });

} // namespace

} // namespace corvid::test
