#include "MacCacheManager/platform/alert.h"

#include "tests/support/controller_fixture.h"

#include <QApplication>
#include <QMessageBox>
#include <QWidget>

namespace {

using corvid::AlertAnswer;
using corvid::alertFormat;
using corvid::runAlertPanel;
using corvid::test::AlertAnswerer;

class AlertPanel : public ::testing::Test {
protected:
    AlertPanel() { window.show(); }
    AlertAnswer ask() { return runAlertPanel(&window, "title", "message", "Yes", "No"); }

    QWidget window;
};

TEST_F(AlertPanel, ShowsTitleMessageAndButtons) {
    const AlertAnswerer answer("Yes");
    ask();
    EXPECT_EQ(answer.shown(), 1);
    EXPECT_EQ(answer.title(), "title");
    EXPECT_EQ(answer.message(), "message");
    EXPECT_EQ(answer.buttons().size(), 2);
    EXPECT_TRUE(answer.buttons().contains("Yes"));
    EXPECT_TRUE(answer.buttons().contains("No"));
    EXPECT_EQ(answer.defaultButton(), "Yes");
}

TEST_F(AlertPanel, AnswersWithTheButtonThatWasClicked) {
    {
        const AlertAnswerer answer("Yes");
        EXPECT_EQ(ask(), AlertAnswer::Default);
    }
    const AlertAnswerer answer("No");
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
}

TEST_F(AlertPanel, EscapeIsTheAlternateAnswer) {
    const AlertAnswerer answer{QString()};
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
    EXPECT_EQ(answer.shown(), 1);
}

TEST_F(AlertPanel, EscapeAnswersWithTheOnlyButton) {
    const AlertAnswerer answer{QString()};
    EXPECT_EQ(runAlertPanel(&window, "title", "message", "OK"), AlertAnswer::Default);
    EXPECT_EQ(answer.buttons(), QStringList("OK"));
}

TEST_F(AlertPanel, ClosingItIsTheAlternateAnswer) {
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [] {
        if (QWidget* alert = QApplication::activeModalWidget()) {
            alert->close();
        }
    });
    closer.start(10);
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
}

TEST_F(AlertPanel, ReadsNothingAsMarkup) {
    const QString markup = "<h1>big</h1> &amp; <img src=\"x\"> %1 %s";
    const AlertAnswerer answer("OK");
    runAlertPanel(&window, markup, markup, "OK");
    EXPECT_EQ(answer.title(), markup);
    EXPECT_EQ(answer.message(), markup);
    EXPECT_TRUE(answer.isPlain());
}

TEST(AlertFormat, OnlyADoubledPercentSignIsRead) {
    EXPECT_EQ(alertFormat("plain"), "plain");
    EXPECT_EQ(alertFormat("%"), "%");
    EXPECT_EQ(alertFormat("100%"), "100%");
    EXPECT_EQ(alertFormat("%s %d %1 %n"), "%s %d %1 %n");
    EXPECT_EQ(alertFormat("%%"), "%");
    EXPECT_EQ(alertFormat("%%%"), "%%");
    EXPECT_EQ(alertFormat("%%%%"), "%%");
    EXPECT_EQ(alertFormat(""), "");
}

} // namespace
