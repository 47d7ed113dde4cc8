#include "MacCacheManager/CorvidPanel.h"

#include "MacCacheManager/UISettings.h"
#include "tests/support/user_defaults_folder.h"

#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

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

} // namespace
