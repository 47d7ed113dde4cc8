// From loading the interface to closing the window.

#include "MacCacheManager/AEScroller.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/UISettings.h"
#include "runtime/maro_log.h"
#include "tests/support/controller_fixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QSettings>
#include <QTest>

#include <gmock/gmock.h>

#include <functional>

namespace {

using corvid::test::ControllerTest;
using corvid::test::HandMadeCache;
using ::testing::HasSubstr;

class ControllerStart : public ControllerTest {
protected:
    template <class Kind>
    Kind* outlet(const char* name) const {
        return controller->getWindow()->findChild<Kind*>(QString::fromLatin1(name));
    }
};

TEST_F(ControllerStart, EveryWindowCarriesTheProgramsIcon) {
    awake();
    for (const QWidget* window : {static_cast<QWidget*>(controller->getWindow()),
                                  static_cast<QWidget*>(outlet<QDialog>("m_sheetSettings"))}) {
        ASSERT_NE(window, nullptr);
        for (const int size : {16, 24, 32, 48, 64, 128}) {
            EXPECT_TRUE(window->windowIcon().availableSizes().contains(QSize(size, size))) << size;
        }
    }
}

TEST_F(ControllerStart, EveryOutletIsThere) {
    awake();
    EXPECT_EQ(controller->getWindow()->objectName(), "m_window");
    EXPECT_EQ(controller->getWindow()->windowTitle(), "Cache Manager");
    EXPECT_NE(outlet<CacheOutlineView>("m_outlineView"), nullptr);
    EXPECT_NE(outlet<QFrame>("m_scrollView"), nullptr);
    for (const char* name :
         {"m_labelTotalSpace", "m_labelTotalFiles", "m_labelTotalProjects", "m_labelSelectedSpace",
          "m_labelSelectedFiles", "m_labelSelectedProjects"}) {
        EXPECT_NE(outlet<QLabel>(name), nullptr) << name;
    }
    EXPECT_NE(outlet<QDialog>("m_sheetSettings"), nullptr);
    for (const char* name :
         {"m_btnEnableCacheCreation", "m_btnEnableCacheWarnings", "m_btnUnlimitedCache"}) {
        EXPECT_NE(outlet<QCheckBox>(name), nullptr) << name;
    }
    EXPECT_NE(outlet<QAbstractButton>("m_btnSelectPath"), nullptr);
    EXPECT_NE(outlet<QWidget>("m_stepperCacheSize"), nullptr);
    EXPECT_NE(outlet<QGroupBox>("m_boxCacheSettings"), nullptr);
    EXPECT_NE(outlet<QLineEdit>("m_tbPathToRootCache"), nullptr);
    EXPECT_NE(outlet<QLineEdit>("m_tbMaxCacheValue"), nullptr);
    for (const char* name : {"m_btnDelete", "m_btnRefresh", "m_btnFinder", "m_btnSettings"}) {
        EXPECT_NE(outlet<QAbstractButton>(name), nullptr) << name;
    }
}

TEST_F(ControllerStart, SearchAndWindowBarTakeNoRoom) {
    awake();
    for (const char* name : {"m_viewSearch", "m_viewWindowBar"}) {
        auto* view = outlet<QWidget>(name);
        ASSERT_NE(view, nullptr) << name;
        EXPECT_TRUE(view->isHidden()) << name;
    }
}

TEST_F(ControllerStart, TheWindowIsHiddenUntilTheInterfaceIsLoaded) {
    const AppController fresh;
    EXPECT_FALSE(fresh.getWindow()->isVisible());
}

TEST_F(ControllerStart, TheTreeIsEmptyUntilLaunchHasFinished) {
    makeSample();
    setLoggingEnabled(true);
    root.clearLog();
    awake();
    EXPECT_TRUE(controller->getWindow()->isVisible());
    EXPECT_FALSE(controller->dataSource()->shouldProvideData());
    EXPECT_EQ(rows(), QStringList());
    EXPECT_EQ(outline().placeholderText(), "Reading…");
    EXPECT_EQ(root.logText(), "");
    EXPECT_EQ(statistics(), (QStringList{"0", "0", "0", "0", "0", "0 bytes"}));
}

TEST_F(ControllerStart, LaunchLogsTwoLinesAndReadsTheTree) {
    makeSample();
    setLoggingEnabled(true);
    root.clearLog();
    launch();
    EXPECT_THAT(root.logMessages(),
                ::testing::ElementsAre("Application finished launching.",
                                       "Notifying the datasource that it should provide data"));
    EXPECT_TRUE(controller->dataSource()->shouldProvideData());
    EXPECT_EQ(rows(), (QStringList{"New.aep", "Old.aep", "Empty.aep"}));
    EXPECT_EQ(labelText("m_labelTotalFiles"), "7");
    EXPECT_EQ(selectedRows(), QStringList());
}

TEST_F(ControllerStart, TheSwitchSelectsTheOldestProjectAtLaunch) {
    makeSample();
    g_shouldJumpToLastModified = true;
    launch();
    EXPECT_EQ(selectedRows(), QStringList("Empty.aep"));
}

TEST_F(ControllerStart, TheSwitchHasNothingToSelectInAnEmptyTree) {
    g_shouldJumpToLastModified = true;
    launch();
    EXPECT_EQ(selectedRows(), QStringList());
}

TEST_F(ControllerStart, TheWindowIsInTheSchemesPrimaryFill) {
    awake();
    EXPECT_EQ(controller->getWindow()->palette().color(QPalette::Window),
              UISettings::instance()->getClrFillPrimary());
}

TEST_F(ControllerStart, TheOutlineHasTheKeyboardAndTakesSeveralRows) {
    awake();
    EXPECT_EQ(outline().selectionMode(), QAbstractItemView::ExtendedSelection);
    EXPECT_EQ(controller->getWindow()->focusWidget(), &outline());
}

TEST_F(ControllerStart, TheToolbarsButtonsDoWhatTheySay) {
    makeSample();
    launch();
    caches[2].addProject("/Jobs/Another.aep");
    clickButton("m_btnRefresh");
    EXPECT_GE(row("Another.aep"), 0);
    user.willClick("OK");
    clickButton("m_btnDelete");
    EXPECT_EQ(user.seen().size(), 1U);
    clickButton("m_btnSettings");
    auto* sheet = outlet<QDialog>("m_sheetSettings");
    EXPECT_TRUE(sheet->isVisible());
    sheet->reject();
}

class NothingToShow : public ControllerTest {
protected:
    std::string text() const { return outline().placeholderText().toStdString(); }
};

TEST_F(NothingToShow, WithoutARegistry) {
    launch();
    EXPECT_THAT(text(), HasSubstr("No cache is registered on this machine yet"));
}

TEST_F(NothingToShow, WithARegistryThatNamesNoFolder) {
    corvid::test::writeFile(root.productFile("FrameCache.cvp"),
                            corvid::test::registryLine("p", "LastOpened", "/somewhere"));
    launch();
    EXPECT_EQ(text(), "The registry of cache folders names no folder.");
}

TEST_F(NothingToShow, WithFoldersThatCannotBeRead) {
    corvid::test::writeFile(root.path("file1"), "x");
    corvid::test::writeFile(root.path("file2"), "x");
    registerRoot(root.path("file1"));
    launch();
    EXPECT_EQ(text(), "No registered cache can be read: 1 folder.");
    registerRoot(root.path("file2"));
    controller->refreshData();
    EXPECT_EQ(text(), "No registered cache can be read: 2 folders.");
}

TEST_F(NothingToShow, WithFoldersThatHoldNothing) {
    const HandMadeCache cache(root.path("cache"));
    registerRoot(cache.path());
    corvid::test::writeFile(root.path("file"), "x");
    registerRoot(root.path("file"));
    launch();
    EXPECT_EQ(text(), "The registered cache folders hold no projects.");
}

TEST_F(NothingToShow, IsNotSaidOnceThereIsSomething) {
    launch();
    EXPECT_NE(text(), "");
    makeSample();
    controller->refreshData();
    EXPECT_EQ(text(), "");
}

// A reading that can be looked into: what is on the screen once it has begun.
class LookedInto : public corvid::BuildIndicator {
public:
    explicit LookedInto(std::function<void()> look) : m_look(std::move(look)) {}
    void startAnimation() override {
        QCoreApplication::processEvents();
        m_look();
    }
    void showFilesRead(std::uint64_t /*files*/) override {}
    void stopAnimation() override {}

private:
    std::function<void()> m_look;
};

class WhileReading : public ControllerTest {
protected:
    // What the outline has on the screen, rather than what it would paint when asked to.
    QImage listOnScreen() const {
        CorvidPanel* window = controller->getWindow();
        QWidget* list = outline().viewport();
        const QImage picture = window->screen()->grabWindow(window->winId()).toImage();
        return picture.copy(QRect(list->mapTo(window, QPoint(0, 0)), list->size()));
    }
    // Whether the list is in the scheme's fill but for a text in its middle.
    static bool saysReading(const QImage& list) {
        const QRgb fill = UISettings::instance()->getClrFillPrimary().rgb();
        QRect text;
        for (int y = 0; y < list.height(); ++y) {
            for (int x = 0; x < list.width(); ++x) {
                text |= list.pixel(x, y) != fill ? QRect(x, y, 1, 1) : QRect();
            }
        }
        return !text.isEmpty() && text.width() < 150 && text.height() < 30 &&
               (text.center() - list.rect().center()).manhattanLength() < 20;
    }
};

TEST_F(WhileReading, TheFirstTimeTheListSaysSo) {
    makeSample();
    awake();
    QImage seen;
    LookedInto reading([this, &seen] { seen = listOnScreen(); });
    controller->dataSource()->setProgressSpinner(&reading);
    controller->applicationDidFinishLaunching();
    EXPECT_TRUE(saysReading(seen));
    EXPECT_EQ(outline().placeholderText(), "");
}

TEST_F(WhileReading, AFirstReadingThatIsStoppedSaysHowToGoOn) {
    makeSample();
    awake();
    LookedInto reading([this] { controller->dataSource()->stopReading(); });
    controller->dataSource()->setProgressSpinner(&reading);
    controller->applicationDidFinishLaunching();
    EXPECT_EQ(outline().placeholderText(), "The reading was stopped. Refresh reads anew.");
    EXPECT_EQ(controller->dataSource()->getRootNode()->getNumberOfChildren(), 0);

    controller->dataSource()->setProgressSpinner(nullptr);
    controller->refreshData();
    EXPECT_EQ(outline().placeholderText(), "");
    EXPECT_GT(controller->dataSource()->getRootNode()->getNumberOfChildren(), 0);
}

TEST_F(WhileReading, LaterTheOldRowsStayInSight) {
    makeSample();
    launch();
    QCoreApplication::processEvents();
    const QImage before = listOnScreen();
    QImage seen;
    LookedInto reading([this, &seen] { seen = listOnScreen(); });
    controller->dataSource()->setProgressSpinner(&reading);
    controller->refreshData();
    EXPECT_EQ(seen, before);
}

TEST_F(WhileReading, AListThatIsResizedSaysSoAndHasItsRowsAfterwards) {
    makeSample();
    launch();
    controller->getWindow()->resize(650, 420);
    QCoreApplication::processEvents();
    QImage seen;
    LookedInto reading([this, &seen] {
        controller->getWindow()->resize(700, 500);
        QCoreApplication::processEvents();
        seen = listOnScreen();
    });
    controller->dataSource()->setProgressSpinner(&reading);
    controller->refreshData();
    EXPECT_TRUE(saysReading(seen));
    QCoreApplication::processEvents();
    EXPECT_FALSE(saysReading(listOnScreen()));
}

class WindowPlacing : public ControllerTest {
protected:
    WindowPlacing() : screen(QGuiApplication::primaryScreen()->geometry()) {}
    // The window's frame in the run after one that was closed at this place. The place is put where
    // the program keeps it, because the test's window system does not take windows quite
    // everywhere.
    QRect reopenedFrom(const QRect& place) {
        awake();
        controller->getWindow()->close();
        controller = nullptr;
        QSettings settings(QStringLiteral("Fernwick Software"), QStringLiteral("Cache Manager"));
        EXPECT_EQ(settings.allKeys().size(), 1);
        settings.setValue(settings.allKeys().value(0), place);
        settings.sync();
        awake();
        return controller->getWindow()->geometry();
    }
    // The test's window system moves a window that is off the screen by the width of its frame.
    static bool isAt(const QRect& window, const QRect& place) {
        constexpr int kFrame = 2;
        return window.size() == place.size() &&
               (window.topLeft() - place.topLeft()).manhattanLength() <= 2 * kFrame;
    }
    static bool isCentred(const QRect& window) {
        const QPoint off =
            window.center() - QGuiApplication::primaryScreen()->availableGeometry().center();
        return off.manhattanLength() <= 8; // the frame is not known before the window shows
    }

    const QRect screen;
    static constexpr int kWidth = 700;
    static constexpr int kHeight = 500;
};

TEST_F(WindowPlacing, StartsInTheMiddle) {
    awake();
    EXPECT_TRUE(isCentred(controller->getWindow()->frameGeometry()));
}

TEST_F(WindowPlacing, ComesBackWhereItWasClosed) {
    awake();
    controller->getWindow()->setGeometry(20, 30, kWidth, kHeight);
    const QRect place = controller->getWindow()->geometry();
    controller->getWindow()->close();
    controller = nullptr;
    awake();
    EXPECT_EQ(controller->getWindow()->geometry(), place);
}

TEST_F(WindowPlacing, TenPixelsInsideTheRightEdgeIsTooFewElevenAreNot) {
    const QRect far(screen.right() + 1 - 10, 30, kWidth, kHeight);
    EXPECT_TRUE(isCentred(reopenedFrom(far)));
    EXPECT_TRUE(isAt(reopenedFrom(far.translated(-1, 0)), far.translated(-1, 0)));
}

TEST_F(WindowPlacing, TenPixelsInsideTheLeftEdgeIsTooFewElevenAreNot) {
    const QRect far(screen.left() + 10 - kWidth, 30, kWidth, kHeight);
    EXPECT_TRUE(isCentred(reopenedFrom(far)));
    EXPECT_TRUE(isAt(reopenedFrom(far.translated(1, 0)), far.translated(1, 0)));
}

TEST_F(WindowPlacing, TenPixelsInsideTheLowerEdgeIsTooFewElevenAreNot) {
    const QRect far(20, screen.bottom() + 1 - 10, kWidth, kHeight);
    EXPECT_TRUE(isCentred(reopenedFrom(far)));
    EXPECT_TRUE(isAt(reopenedFrom(far.translated(0, -1)), far.translated(0, -1)));
}

// The upper edge does not make it centred, but nobody could take hold of a title bar above it.
TEST_F(WindowPlacing, FromAboveTheUpperEdgeItOnlyComesDown) {
    const QRect window = reopenedFrom(QRect(20, screen.top() - kHeight - 100, kWidth, kHeight));
    EXPECT_EQ(window.size(), QSize(kWidth, kHeight));
    EXPECT_NEAR(window.left(), 20, 4);
    EXPECT_GT(window.top(), screen.top() + 20);
    EXPECT_LT(window.top(), screen.top() + 60);
}

TEST_F(WindowPlacing, ASizeOfALargerScreenIsCutToThisOne) {
    const QRect window = reopenedFrom(QRect(100, 60, 2500, 1400));
    EXPECT_TRUE(screen.contains(window)) << window.width() << "x" << window.height();
    EXPECT_GT(window.width(), screen.width() - 40);
    EXPECT_GT(window.height(), screen.height() - 80);
    EXPECT_GT(window.top(), screen.top() + 20); // the title bar is above it
}

TEST_F(WindowPlacing, WhatIsCutInOneDirectionKeepsItsPlaceInTheOther) {
    const QRect window = reopenedFrom(QRect(100, 60, kWidth - 100, 1400));
    EXPECT_NEAR(window.left(), 100, 4);
    EXPECT_EQ(window.width(), kWidth - 100);
    EXPECT_LE(window.bottom(), screen.bottom());
}

TEST_F(WindowPlacing, ASizeIsKeptWhenTheWindowIsCentred) {
    const QRect window = reopenedFrom(QRect(5000, 30, kWidth, kHeight));
    EXPECT_EQ(window.size(), QSize(kWidth, kHeight));
}

class ControllerEnd : public ControllerTest {
protected:
    // Runs the program's loop, does something in it, and gives the exit status; 99 when it does not
    // end.
    static int runAnd(const std::function<void()>& action) {
        QTimer::singleShot(0, qApp, action);
        QTimer watchdog;
        QObject::connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(99); });
        watchdog.start(5000);
        return QApplication::exec();
    }
};

TEST_F(ControllerEnd, ClosingTheWindowEndsTheProgram) {
    launch();
    EXPECT_EQ(runAnd([this] { controller->getWindow()->close(); }), 0);
}

TEST_F(ControllerEnd, ClosingTheWindowEndsTheProgramWhileTheSheetIsOpen) {
    launch();
    EXPECT_EQ(runAnd([this] {
                  controller->displaySettingsSheet();
                  controller->getWindow()->close();
              }),
              0);
}

TEST_F(ControllerEnd, ClosingASheetDoesNot) {
    launch();
    bool isStillRunning = false;
    EXPECT_EQ(runAnd([this, &isStillRunning] {
                  controller->displaySettingsSheet();
                  controller->cancelSettings();
                  QTimer::singleShot(200, qApp, [this, &isStillRunning] {
                      isStillRunning = true;
                      controller->getWindow()->close();
                  });
              }),
              0);
    EXPECT_TRUE(isStillRunning);
}

TEST_F(ControllerEnd, TheMenusEntryClosesToo) {
    launch();
    EXPECT_EQ(runAnd([this] {
                  QTest::keyClick(controller->getWindow(), Qt::Key_W, Qt::ControlModifier);
              }),
              0);
}

} // namespace
