#include "MacCacheManager/CorvidPanel.h"

#include "MacCacheManager/UISettings.h"
#include "tests/support/user_defaults_folder.h"

#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

namespace {

using corvid::liesOffScreen;

class CorvidPanelTest : public UserDefaultsFolder {
protected:
    CorvidPanel panel;
};

TEST_F(CorvidPanelTest, CanBecomeWhatADocumentWindowCan) {
    EXPECT_TRUE(panel.canBecomeKeyWindow());
    EXPECT_TRUE(panel.canBecomeMainWindow());
    EXPECT_FALSE(panel.isExcludedFromWindowsMenu());
}

TEST_F(CorvidPanelTest, HasTheSchemesPrimaryFill) {
    EXPECT_EQ(panel.palette().color(QPalette::Window), UISettings::instance()->getClrFillPrimary());
    EXPECT_TRUE(panel.autoFillBackground());
    EXPECT_EQ(panel.windowOpacity(), 1.0);
}

TEST_F(CorvidPanelTest, CanBeMinimizedAndClosed) {
    EXPECT_TRUE(panel.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_TRUE(panel.windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_TRUE(panel.windowFlags().testFlag(Qt::WindowTitleHint));
    EXPECT_TRUE(panel.windowFlags().testFlag(Qt::Window));
}

TEST_F(CorvidPanelTest, ListsItselfInTheWindowsMenu) {
    panel.setWindowTitle("Cache Manager");
    panel.awakeFromNib();
    const QList<QAction*> entries = panel.windowsMenu()->actions();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0]->text(), "Cache Manager");
    EXPECT_TRUE(panel.menuBar()->actions().contains(panel.windowsMenu()->menuAction()));
}

TEST_F(CorvidPanelTest, ItsEntryBringsItBack) {
    panel.setWindowTitle("Cache Manager");
    panel.awakeFromNib();
    panel.showMinimized();
    QAction* entry = panel.windowsMenu()->actions().at(0);
    entry->trigger();
    EXPECT_FALSE(panel.isMinimized());
    EXPECT_TRUE(panel.isVisible());
    EXPECT_TRUE(entry->isChecked()); // it is the only window, so it always has the mark
    entry->trigger();
    EXPECT_TRUE(entry->isChecked());
}

TEST_F(CorvidPanelTest, CentresOnItsScreen) {
    panel.setGeometry(3, 5, 400, 300);
    panel.center();
    const QPoint off =
        panel.frameGeometry().center() - panel.screen()->availableGeometry().center();
    EXPECT_LE(off.manhattanLength(), 2);
}

TEST_F(CorvidPanelTest, ClosingIsTold) {
    const QSignalSpy told(&panel, &CorvidPanel::windowWillClose);
    panel.show();
    panel.close();
    EXPECT_EQ(told.count(), 1);
    EXPECT_FALSE(panel.isVisible());
}

// A window of 300 x 200 at x and y (of its upper left corner) on a screen of 1000 x 800.
struct Placed {
    int x;
    int y;
    bool isOff;
};

class OffScreen : public ::testing::TestWithParam<Placed> {};

TEST_P(OffScreen, IsTenPixelsOrLessInsideAnEdge) {
    const Placed& place = GetParam();
    EXPECT_EQ(liesOffScreen(QRect(place.x, place.y, 300, 200), QRect(0, 0, 1000, 800)),
              place.isOff);
}

TEST_P(OffScreen, IsMeasuredFromTheScreensOwnCorner) {
    const Placed& place = GetParam();
    EXPECT_EQ(
        liesOffScreen(QRect(place.x + 1920, place.y - 300, 300, 200), QRect(1920, -300, 1000, 800)),
        place.isOff);
}

INSTANTIATE_TEST_SUITE_P(Edges, OffScreen,
                         ::testing::Values(Placed{100, 100, false}, Placed{0, 0, false},
                                           Placed{-290, 100, true},
                                           Placed{-289, 100, false}, // left
                                           Placed{-5000, 100, true}, Placed{990, 100, true},
                                           Placed{989, 100, false}, // right
                                           Placed{5000, 100, true}, Placed{100, 790, true},
                                           Placed{100, 789, false}, // lower
                                           Placed{100, 5000, true}, Placed{100, -199, false},
                                           Placed{100, -5000, false})); // upper

// The main window's first size, and others, on the screens that are the smallest in use, at the
// usual scales, in logical pixels.
class Fitting : public ::testing::TestWithParam<QSize> {
protected:
    // A panel at the top of the screen.
    const QRect available{QPoint(0, 28), GetParam() - QSize(0, 28)};
};

TEST_P(Fitting, TheFirstWindowLeavesRoomForItsFrame) {
    const QRect window = corvid::fittedWindow(QRect(0, 0, 860, 560), available);
    EXPECT_LE(window.width() + 12, available.width());
    EXPECT_LE(window.height() + 46, available.height());
    EXPECT_EQ(window.top(), available.top() + 40);
    EXPECT_GE(window.height(), std::min(560, available.height() - 60));
    EXPECT_GE(window.width(), std::min(860, available.width() - 20));
}

TEST_P(Fitting, AWindowThatFitsIsLeftWhereItIs) {
    const QRect inside = available.marginsRemoved(corvid::kWidestFrame);
    for (const QRect& window : {inside, QRect(inside.topLeft(), QSize(300, 200)),
                                QRect(available.right() - 11, available.bottom() - 11, 300, 200),
                                QRect(available.left() - 289, 100, 300, 200)}) {
        EXPECT_EQ(corvid::fittedWindow(window, available), window);
    }
}

TEST_P(Fitting, ATitleBarAboveTheScreenComesDown) {
    const QRect window(50, available.top() - 150, 300, 200);
    const QRect fitted = corvid::fittedWindow(window, available);
    EXPECT_EQ(fitted, QRect(50, available.top() + corvid::kWidestFrame.top(), 300, 200));
}

INSTANTIATE_TEST_SUITE_P(Screens, Fitting,
                         ::testing::Values(QSize(1366, 768), QSize(1093, 614), QSize(911, 512),
                                           QSize(683, 384), QSize(1280, 720), QSize(1024, 576),
                                           QSize(853, 480), QSize(640, 360), QSize(3840, 2160)));

TEST_F(CorvidPanelTest, CentredItLeavesRoomForItsFrame) {
    const QRect available = panel.screen()->availableGeometry();
    panel.setGeometry(corvid::fittedWindow(QRect(0, 0, 9000, 9000), available));
    panel.center();
    // Where it is put is where its frame begins.
    EXPECT_TRUE(available.contains(QRect(panel.pos(), panel.size().grownBy(corvid::kWidestFrame))));
}

} // namespace
