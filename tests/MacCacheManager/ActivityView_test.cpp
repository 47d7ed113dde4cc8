#include "MacCacheManager/ActivityView.h"

#include "tests/support/user_defaults_folder.h"

#include <QAccessible>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
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
    QTest::qSleep(60);
    view.showFilesRead(1);
    EXPECT_EQ(view.line(), "Reading the cache: 1 file");
}

TEST_F(ActivityViewTest, EscapeAsksForTheEndOfWhatCanBeStopped) {
    int asked = 0;
    QObject::connect(&view, &ActivityView::stopRequested, &view, [&asked] { ++asked; });
    const auto pressWhileReading = [this] {
        QCoreApplication::postEvent(
            &window, new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
        view.showFilesRead(7);
    };
    view.startAnimation();
    pressWhileReading();
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(view.line(), "Reading the cache: 7 files");

    view.setStoppable(true);
    view.startAnimation();
    pressWhileReading();
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(view.line(), "Reading the cache: 7 files (Esc stops)");
    QCoreApplication::postEvent(&window,
                                new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
    view.stopAnimation();
    EXPECT_EQ(asked, 1) << "there is nothing to stop any more";
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

TEST_F(ActivityViewTest, SpeaksItsLine) {
    auto* label = view.findChild<QLabel*>();
    const QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(label);
    EXPECT_EQ(spoken->text(QAccessible::Name), "Nothing is being done");
    view.startAnimation();
    view.showLine("Reading the cache: 5 files");
    EXPECT_EQ(spoken->text(QAccessible::Name), "Reading the cache: 5 files");
    view.stopAnimation();
    EXPECT_EQ(spoken->text(QAccessible::Name), "Nothing is being done");
}

// Counts what a user does to it.
class PressedWidget : public QWidget {
public:
    using QWidget::QWidget;
    int presses = 0;
    int closes = 0;

protected:
    void keyPressEvent(QKeyEvent* /*event*/) override { ++presses; }
    void mousePressEvent(QMouseEvent* /*event*/) override { ++presses; }
    void closeEvent(QCloseEvent* event) override {
        ++closes;
        event->ignore();
    }
};

TEST_F(ActivityViewTest, DropsWhatIsPressedAndLetsAWindowClose) {
    PressedWidget pressed;
    pressed.resize(100, 100);
    pressed.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&pressed));
    // As the display's events arrive: waiting until somebody handles events.
    const auto input = [&pressed](QEvent::Type key, QEvent::Type button) {
        QCoreApplication::postEvent(&pressed, new QKeyEvent(key, Qt::Key_A, Qt::NoModifier));
        QCoreApplication::postEvent(
            &pressed, new QMouseEvent(button, QPointF(5, 5), pressed.mapToGlobal(QPointF(5, 5)),
                                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier));
    };
    view.startAnimation();
    QTest::qSleep(60);
    input(QEvent::KeyPress, QEvent::MouseButtonPress);
    QCoreApplication::postEvent(&pressed, new QCloseEvent);
    view.showLine("busy");
    EXPECT_EQ(pressed.presses, 0);
    EXPECT_EQ(pressed.closes, 1);

    view.stopAnimation();
    input(QEvent::KeyPress, QEvent::MouseButtonPress);
    view.dropWaitingInput();
    EXPECT_EQ(pressed.presses, 0);

    input(QEvent::KeyPress, QEvent::MouseButtonPress);
    view.dropWaitingInput(); // nothing was shown since
    QCoreApplication::processEvents();
    EXPECT_EQ(pressed.presses, 2);
}

TEST_F(ActivityViewTest, ALongLineDoesNotWidenTheWindow) {
    const int width = window.minimumSizeHint().width();
    view.startAnimation();
    view.showLine(QString(1000, 'x'));
    EXPECT_EQ(window.minimumSizeHint().width(), width);
}

} // namespace
