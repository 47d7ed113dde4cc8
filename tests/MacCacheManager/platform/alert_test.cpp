#include "MacCacheManager/platform/alert.h"

#include "tests/support/dialog_user.h"

#include <gmock/gmock.h>

#include <QDialog>
#include <QWidget>

namespace {

using corvid::AlertAnswer;
using corvid::alertFormat;
using corvid::runAlertPanel;
using corvid::test::DialogUser;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class AlertPanel : public ::testing::Test {
protected:
    AlertPanel() { window.show(); }
    AlertAnswer ask() { return runAlertPanel(&window, "title", "message", "Yes", "No"); }

    QWidget window;
    DialogUser user;
};

TEST_F(AlertPanel, ShowsTitleMessageAndButtons) {
    user.willClick("Yes");
    ask();
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "title");
    EXPECT_EQ(user.seen()[0].message, "message");
    EXPECT_THAT(user.seen()[0].buttons, UnorderedElementsAre("Yes", "No"));
    EXPECT_EQ(user.seen()[0].defaultButton, "Yes");
}

TEST_F(AlertPanel, AnswersWithTheButtonThatWasClicked) {
    user.willClick("Yes");
    EXPECT_EQ(ask(), AlertAnswer::Default);
    user.willClick("No");
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
}

TEST_F(AlertPanel, EscapeIsTheAlternateAnswer) {
    user.willPressEscape();
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
    EXPECT_EQ(user.seen().size(), 1U);
}

TEST_F(AlertPanel, EscapeAnswersWithTheOnlyButton) {
    user.willPressEscape();
    EXPECT_EQ(runAlertPanel(&window, "title", "message", "OK"), AlertAnswer::Default);
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_THAT(user.seen()[0].buttons, ElementsAre("OK"));
}

TEST_F(AlertPanel, ClosingItIsTheAlternateAnswer) {
    user.will([](QDialog& alert) { alert.close(); });
    EXPECT_EQ(ask(), AlertAnswer::Alternate);
}

TEST_F(AlertPanel, ReadsNothingAsMarkup) {
    const QString markup = "<h1>big</h1> &amp; <img src=\"x\"> %1 %s";
    user.willClick("OK");
    runAlertPanel(&window, markup, markup, "OK");
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, markup.toStdString());
    EXPECT_EQ(user.seen()[0].message, markup.toStdString());
    EXPECT_TRUE(user.seen()[0].isPlain);
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
