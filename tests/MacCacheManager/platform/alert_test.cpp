#include "MacCacheManager/platform/alert.h"

#include "MacCacheManager/ImageResources.h"
#include "tests/support/dialog_user.h"
#include "tests/support/own_process.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDialog>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QTextEdit>
#include <QWidget>

#include <functional>
#include <iostream>

namespace {

using corvid::AlertAnswer;
using corvid::alertFormat;
using corvid::runAlertPanel;
using corvid::test::DialogUser;
using corvid::test::runDisabledTest;
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

class AlertMessageText : public AlertPanel {
protected:
    // Shows an alert and does something with its message before it is answered.
    void show(const QString& message, const std::function<void(QTextEdit&)>& act,
              corvid::AlertMessage shown = corvid::AlertMessage::Plain) {
        QGuiApplication::clipboard()->setText("before");
        user.will([&act](QDialog& alert) {
            act(*alert.findChild<QTextEdit*>());
            QTest::keyClick(&alert, Qt::Key_Return);
        });
        EXPECT_EQ(runAlertPanel(&window, "title", message, "OK", QString(), shown),
                  AlertAnswer::Default);
    }
    static std::string copied() { return QGuiApplication::clipboard()->text().toStdString(); }
};

TEST_F(AlertMessageText, IsCopiedWholeByTheKeysOfTheAlert) {
    show("/Jobs/a\u00A0b\nc.aep",
         [](QTextEdit& text) { QTest::keyClick(text.window(), Qt::Key_C, Qt::ControlModifier); });
    EXPECT_EQ(copied(), "/Jobs/a\u00A0b\nc.aep");
}

TEST_F(AlertMessageText, IsMarkedAndCopiedWithTheMouse) {
    show("first second third", [](QTextEdit& text) {
        QTextCursor inside(text.document());
        inside.setPosition(9);
        QTest::mouseDClick(text.viewport(), Qt::LeftButton, Qt::NoModifier,
                           text.cursorRect(inside).center());
        QTest::keyClick(&text, Qt::Key_C, Qt::ControlModifier);
    });
    EXPECT_EQ(copied(), "second");
}

TEST_F(AlertMessageText, IsMarkedAndCopiedWithTheKeyboard) {
    show("/Jobs/Film.aep", [](QTextEdit& text) {
        QTest::keyClick(text.window()->focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(text.window()->focusWidget(), &text);
        QTest::keyClick(&text, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(&text, Qt::Key_C, Qt::ControlModifier);
    });
    EXPECT_EQ(copied(), "/Jobs/Film.aep");
}

TEST_F(AlertMessageText, IsCopiedFromItsContextMenu) {
    show("/Jobs/Film.aep", [](QTextEdit& text) {
        QContextMenuEvent request(QContextMenuEvent::Mouse, QPoint(2, 2),
                                  text.viewport()->mapToGlobal(QPoint(2, 2)));
        QApplication::sendEvent(text.viewport(), &request);
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        for (QAction* action : menu->actions()) {
            if (action->text().contains("Copy")) {
                EXPECT_TRUE(action->isEnabled());
                action->trigger();
            }
        }
        menu->close();
    });
    EXPECT_EQ(copied(), "/Jobs/Film.aep");
}

TEST_F(AlertMessageText, IsMarkedFromTheStartWhereItIsToBeCopied) {
    show(
        "/Jobs/Film.aep",
        [](QTextEdit& text) { EXPECT_EQ(text.textCursor().selectedText(), "/Jobs/Film.aep"); },
        corvid::AlertMessage::Marked);
    show("plain", [](QTextEdit& text) { EXPECT_FALSE(text.textCursor().hasSelection()); });
}

TEST_F(AlertMessageText, IsNotChangedByTyping) {
    show("message", [](QTextEdit& text) {
        QTest::keyClicks(&text, "abc");
        QTest::keyClick(&text, Qt::Key_X, Qt::ControlModifier);
        EXPECT_EQ(text.toPlainText(), "message");
    });
}

TEST_F(AlertMessageText, ALongNameWithoutBlanksIsBroken) {
    show(QString(1000, 'x'), [](QTextEdit& text) {
        EXPECT_LE(text.window()->width(), 800);
        EXPECT_LE(text.document()->idealWidth(), text.viewport()->width());
        EXPECT_GT(text.height(), 5 * text.fontMetrics().height());
        EXPECT_GE(text.height(), text.document()->size().height());
    });
}

TEST_F(AlertMessageText, AVeryLongOneStaysOnTheScreenAndScrolls) {
    show(QString("line\n").repeated(500), [](QTextEdit& text) {
        EXPECT_LE(text.window()->height(), text.screen()->availableGeometry().height());
        EXPECT_TRUE(text.verticalScrollBar()->isVisible());
        EXPECT_EQ(text.verticalScrollBar()->value(), 0);
    });
}

TEST_F(AlertPanel, BearsTheMarkOfWhatItDoes) {
    const auto willTellMark = [this](QStringList& marks) {
        user.will([&marks](QDialog& alert) {
            for (const auto* widget : alert.findChildren<QWidget*>()) {
                if (widget->accessibleName() == "Information" ||
                    widget->accessibleName() == "Warning") {
                    marks << widget->accessibleName();
                }
            }
            alert.reject();
        });
    };
    QStringList marks;
    willTellMark(marks);
    runAlertPanel(&window, "title", "message", "OK");
    willTellMark(marks);
    ask();
    EXPECT_EQ(marks, (QStringList{"Information", "Warning"}));
}

// Half a pixel of the screen is told apart where there are two to a point, as in the images of the
// window. The density is the environment's, so that the alert is shown by a process of its own.
TEST(AlertPanelChild, DISABLED_PaintsItsMark) {
    QWidget window;
    window.show();
    DialogUser user;
    user.will([](QDialog& alert) {
        for (auto* widget : alert.findChildren<QWidget*>()) {
            if (widget->accessibleName() == "Information") {
                const QImage painted = widget->grab().toImage();
                QImage drawn(painted.size(), QImage::Format_ARGB32_Premultiplied);
                drawn.setDevicePixelRatio(painted.devicePixelRatio());
                drawn.fill(alert.palette().color(QPalette::Window));
                QPainter painter(&drawn);
                corvid::drawShape(&painter, QPointF(0, 0),
                                  corvid::imageNamed(QStringLiteral("alert_information")),
                                  widget->palette().color(QPalette::WindowText));
                painter.end();
                EXPECT_EQ(painted, drawn.convertToFormat(painted.format()));
                std::cout << "mark of " << painted.width() << "\n";
            }
        }
        alert.reject();
    });
    runAlertPanel(&window, "title", "message", "OK");
}

TEST(AlertPanelMark, IsSharpAtEveryDensity) {
    for (const int density : {1, 2, 3}) {
        const corvid::test::EnvironmentGuard scale("QT_SCALE_FACTOR",
                                                   std::to_string(density).c_str());
        const QByteArray output = runDisabledTest("AlertPanelChild.DISABLED_PaintsItsMark");
        EXPECT_TRUE(output.contains("mark of " + QByteArray::number(32 * density) + "\n"))
            << output.constData();
    }
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
