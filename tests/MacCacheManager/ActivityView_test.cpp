#include "MacCacheManager/ActivityView.h"

#include "tests/support/user_defaults_folder.h"

#include <QElapsedTimer>
#include <QLocale>
#include <QTest>
#include <QVBoxLayout>

namespace {

// An activity view in a window.
class ActivityViewTest : public UserDefaultsFolder {
protected:
    ActivityViewTest() {
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(&view);
        window.resize(300, 120);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    ~ActivityViewTest() override { view.setParent(nullptr); }

    QWidget window;
    ActivityView view;
};

TEST_F(ActivityViewTest, ShowsNothingUntilItIsStarted) {
    EXPECT_FALSE(view.isAnimating());
    view.showFilesRead(5);
    view.showLine("busy");
    EXPECT_EQ(view.line(), "");
    EXPECT_EQ(view.repaints(), 0);
}

TEST_F(ActivityViewTest, TellsHowManyFilesWereRead) {
    view.startAnimation();
    EXPECT_TRUE(view.isAnimating());
    view.showFilesRead(1234567);
    EXPECT_EQ(view.line(), "Reading the cache: " + QLocale::system().toString(1234567) + " files");
}

TEST_F(ActivityViewTest, IsEmptyAgainWhenItStops) {
    view.startAnimation();
    view.showLine("busy");
    EXPECT_EQ(view.line(), "busy");
    view.stopAnimation();
    EXPECT_FALSE(view.isAnimating());
    EXPECT_EQ(view.line(), "");
}

TEST_F(ActivityViewTest, RepaintsAtMostTwentyTimesASecond) {
    view.startAnimation();
    QElapsedTimer timer;
    timer.start();
    std::uint64_t files = 0;
    while (timer.elapsed() < 500) {
        view.showFilesRead(++files);
    }
    EXPECT_GE(view.repaints(), 4);
    EXPECT_LE(view.repaints(), 500 / 50 + 2); // and the one at the start
    EXPECT_GT(files, 100U);
}

TEST_F(ActivityViewTest, CountsItsRepaintsAnewAtEveryStart) {
    view.startAnimation();
    QTest::qSleep(60);
    view.showLine("one");
    const int before = view.repaints();
    view.stopAnimation();
    view.startAnimation();
    EXPECT_LT(view.repaints(), before + 1);
}

TEST_F(ActivityViewTest, ItsSpinnerTurnsOnlyWhileItAnimates) {
    const QImage idle = view.grab().toImage();
    view.startAnimation();
    const QImage first = view.grab().toImage();
    EXPECT_NE(first, idle);
    QTest::qSleep(60);
    view.showLine(QString());
    EXPECT_NE(view.grab().toImage(), first);
    view.stopAnimation();
    EXPECT_EQ(view.grab().toImage(), idle);
}

TEST_F(ActivityViewTest, ALongLineDoesNotWidenTheWindow) {
    const int width = window.minimumSizeHint().width();
    view.startAnimation();
    view.showLine(QString(1000, 'x'));
    EXPECT_EQ(window.minimumSizeHint().width(), width);
}

} // namespace
