// States that a user has to see, on the real window, sheet, menu and alert: what has the keyboard,
// what is under the mouse, where a field ends, what Return presses, what cannot be used now.

#include "MacCacheManager/views/SchemeStyle.h"

#include "MacCacheManager/AppController.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/views/SchemePalette.h"
#include "MacCacheManager/views/StepperView.h"
#include "tests/support/dialog_user.h"
#include "tests/support/product_root.h"
#include "tests/support/view_pixels.h"

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QStyleOption>
#include <QTest>
#include <QToolButton>

#include <algorithm>

namespace {

// Small letters seldom cover a pixel wholly.
constexpr double kInLetters = 2.8;

class States : public ViewPixels {
protected:
    States() {
        controller.awakeFromNib();
        controller.displaySettingsSheet();
        sheet = widget<QDialog>("m_sheetSettings");
        EXPECT_TRUE(QTest::qWaitForWindowActive(sheet));
    }
    ~States() override { sheet->reject(); }

    template <class Kind>
    Kind* widget(const char* name) const {
        return controller.getWindow()->findChild<Kind*>(QString::fromLatin1(name));
    }
    QPushButton* button(const char* name) const { return widget<QPushButton>(name); }
    static QImage picture(QWidget* widget) { return widget->grab().toImage(); }

    // The pixels that a mark around a widget has at least.
    static int outlineOf(const QWidget& widget) {
        const QSize size = widget.size().boundedTo(widget.sizeHint());
        return (size.width() + size.height()) / 2;
    }
    static QColor windowOf(const QWidget& widget) {
        return widget.palette().color(QPalette::Window);
    }

    std::vector<QWidget*> controls() const {
        auto* stepper = widget<corvid::StepperView>("m_stepperCacheSize");
        std::vector<QWidget*> all{stepper->upButton(), stepper->downButton()};
        for (const char* name :
             {"m_btnEnableCacheCreation", "m_btnUnlimitedCache", "m_btnEnableCacheWarnings",
              "m_btnSelectPath", "m_btnCancelSettings", "m_btnSaveSettings"}) {
            all.push_back(widget<QWidget>(name));
        }
        return all;
    }
    std::vector<QLineEdit*> fields() const {
        return {widget<QLineEdit>("m_tbPathToRootCache"), widget<QLineEdit>("m_tbMaxCacheValue")};
    }

    corvid::test::ProductRoot root;
    AppController controller;
    QDialog* sheet = nullptr;
};

TEST_P(States, WhatHasTheKeyboardIsMarked) {
    std::vector<QWidget*> all = controls();
    for (QLineEdit* field : fields()) {
        field->setText(QString());
        all.push_back(field);
    }
    for (QWidget* control : all) {
        QWidget* other = control == all.front() ? all.back() : all.front();
        other->setFocus(Qt::TabFocusReason);
        // A button with the keyboard is the one that Return presses, which has a mark of its own.
        if (auto* button = qobject_cast<QPushButton*>(control)) {
            button->setDefault(true);
        }
        const QImage before = picture(control);
        control->setFocus(Qt::TabFocusReason);
        EXPECT_GT(visibleChange(before, picture(control)), outlineOf(*control))
            << control->objectName().toStdString();
    }
}

TEST_P(States, WhatIsUnderTheMouseIsMarked) {
    for (QWidget* control : controls()) {
        const QImage before = picture(control);
        control->setAttribute(Qt::WA_UnderMouse);
        const int least = qobject_cast<QCheckBox*>(control) != nullptr ? 30 : outlineOf(*control);
        EXPECT_GT(visibleChange(before, picture(control)), least)
            << control->objectName().toStdString();
        control->setAttribute(Qt::WA_UnderMouse, false);
    }
}

TEST_P(States, FieldsHaveAnOutline) {
    for (QLineEdit* field : fields()) {
        for (const bool isEnabled : {true, false}) {
            field->setText(QString());
            field->setEnabled(isEnabled);
            const QImage image = picture(field);
            const QColor inside = image.pixelColor(image.rect().center());
            for (const QRect& side :
                 {QRect(0, image.height() / 2, 4, 1), QRect(image.width() / 2, 0, 1, 4),
                  QRect(image.width() - 4, image.height() / 2, 4, 1),
                  QRect(image.width() / 2, image.height() - 4, 1, 4)}) {
                EXPECT_GE(greatestContrast(image.copy(side), inside), 3.0);
                EXPECT_GE(greatestContrast(image.copy(side), windowOf(*field)), 3.0);
            }
        }
    }
}

TEST_P(States, CheckBoxesHaveAnOutlineAndACheck) {
    for (const char* name : {"m_btnEnableCacheCreation", "m_btnUnlimitedCache"}) {
        auto* box = widget<QCheckBox>(name);
        box->clearFocus();
        QStyleOptionButton option;
        option.initFrom(box);
        const QRect place =
            box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box);
        box->setChecked(false);
        const QImage open = picture(box).copy(place);
        const QColor inside = open.pixelColor(open.rect().center());
        for (const QRect& side :
             {QRect(0, open.height() / 2, 3, 1), QRect(open.width() / 2, 0, 1, 3)}) {
            EXPECT_GE(greatestContrast(open.copy(side), inside), 3.0);
            EXPECT_GE(greatestContrast(open.copy(side), windowOf(*box)), 3.0);
        }
        box->setChecked(true);
        EXPECT_GT(visibleChange(open, picture(box).copy(place)), 8);
    }
}

TEST_P(States, TheButtonThatReturnPressesIsMarked) {
    QPushButton* save = button("m_btnSaveSettings");
    const QImage marked = picture(save);
    save->setDefault(false);
    EXPECT_GT(visibleChange(picture(save), marked), 2 * outlineOf(*save));
}

TEST_P(States, TheMarkFollowsTheKeyboard) {
    const QImage before = picture(button("m_btnCancelSettings"));
    const QImage saveBefore = picture(button("m_btnSaveSettings"));
    button("m_btnCancelSettings")->setFocus(Qt::TabFocusReason);
    EXPECT_GT(visibleChange(before, picture(button("m_btnCancelSettings"))),
              2 * outlineOf(*button("m_btnCancelSettings")));
    EXPECT_GT(visibleChange(saveBefore, picture(button("m_btnSaveSettings"))),
              2 * outlineOf(*button("m_btnSaveSettings")));
}

TEST_P(States, ALabelCanBeReadOnEveryButton) {
    for (const char* name : {"m_btnSelectPath", "m_btnCancelSettings", "m_btnSaveSettings"}) {
        const QImage image = picture(button(name));
        const QColor plate = image.pixelColor(8, image.height() / 2);
        EXPECT_GE(greatestContrast(image.copy(image.rect().adjusted(8, 5, -8, -5)), plate), 4.2)
            << name;
    }
}

TEST_P(States, AlertsMarkTheButtonThatReturnPresses) {
    corvid::test::DialogUser user;
    user.will([](QDialog& alert) {
        for (auto* button : alert.findChildren<QPushButton*>()) {
            const QImage image = picture(button);
            const QColor plate = image.pixelColor(8, image.height() / 2);
            EXPECT_EQ(contrastOf(plate, windowOf(alert)) >= 3.0, button->text() == "Yes");
        }
        alert.reject();
    });
    corvid::runAlertPanel(sheet, "title", "message", "Yes", "No");
    EXPECT_TRUE(user.hasAnsweredAll());
}

TEST_P(States, ADisabledTextCanBeReadAndLooksDisabled) {
    auto* field = widget<QLineEdit>("m_tbMaxCacheValue");
    auto* box = widget<QCheckBox>("m_btnUnlimitedCache");
    field->setText(QStringLiteral("lillillilli"));
    for (QWidget* control : {static_cast<QWidget*>(field), static_cast<QWidget*>(box)}) {
        const auto textOf = [control] {
            return picture(control).copy(control->rect().adjusted(24, 4, -4, -4));
        };
        const QColor surface = textOf().pixelColor(0, 0);
        const double enabled = greatestContrast(textOf(), surface);
        control->setEnabled(false);
        const double disabled = greatestContrast(textOf(), textOf().pixelColor(0, 0));
        EXPECT_GE(disabled, kInLetters);
        EXPECT_GT(enabled, disabled + 1.0);
    }
}

// The same at every brightness, on controls of their own.
TEST(SchemeStyle, OutlinesAreSeenAtEveryBrightness) {
    corvid::SchemeStyle style;
    QLineEdit field;
    QCheckBox box;
    QPushButton button;
    for (QWidget* control : {static_cast<QWidget*>(&field), static_cast<QWidget*>(&box),
                             static_cast<QWidget*>(&button)}) {
        control->setStyle(&style);
        control->resize(40, 20);
    }
    for (int brightness = -101; brightness <= 200; ++brightness) {
        const QPalette scheme = corvid::schemePalette(UISettings(brightness));
        for (QWidget* control : {static_cast<QWidget*>(&field), static_cast<QWidget*>(&box),
                                 static_cast<QWidget*>(&button)}) {
            control->setPalette(scheme);
            const QImage image = control->grab().toImage();
            const QImage edge = image.copy(0, image.height() / 2, 2, 1);
            for (const auto surface : {QPalette::Window, QPalette::Base, QPalette::Button}) {
                EXPECT_GE(greatestContrast(edge, scheme.color(surface)), 3.0) << brightness;
            }
        }
        button.setDefault(true);
        const QImage marked = button.grab().toImage();
        EXPECT_GE(
            contrastOf(marked.pixelColor(marked.rect().center()), scheme.color(QPalette::Window)),
            3.0)
            << brightness;
        button.setDefault(false);
    }
}

class MenuStates : public States {
protected:
    MenuStates() {
        sheet->reject();
        menu = controller.getWindow()->menuBar()->actions().at(0)->menu();
        menu->popup(QPoint(50, 50));
        EXPECT_TRUE(QTest::qWaitForWindowExposed(menu));
    }
    ~MenuStates() override { menu->close(); }

    QImage itemPicture(int item) const {
        return picture(menu).copy(menu->actionGeometry(menu->actions().at(item)));
    }
    QMenu* menu;
};

TEST_P(MenuStates, TheItemUnderTheMouseIsMarkedAndCanBeRead) {
    const QImage before = itemPicture(1);
    menu->setActiveAction(menu->actions().at(1));
    const QImage active = itemPicture(1);
    EXPECT_GT(visibleChange(before, active), active.width() * active.height() / 2);
    EXPECT_GE(greatestContrast(active.copy(active.rect().adjusted(10, 4, -10, -4)),
                               active.pixelColor(5, active.height() / 2)),
              4.2);
}

TEST_P(MenuStates, ADisabledItemCanBeReadAndLooksDisabled) {
    const QImage enabled = itemPicture(1);
    menu->actions().at(1)->setEnabled(false);
    const QImage disabled = itemPicture(1);
    const QRect letters = enabled.rect().adjusted(10, 4, -10, -4);
    const QColor surface = disabled.pixelColor(5, disabled.height() / 2);
    const double contrast = greatestContrast(disabled.copy(letters), surface);
    EXPECT_GE(contrast, kInLetters);
    EXPECT_LT(contrast, greatestContrast(enabled.copy(letters), surface) - 1.0);
}

// The folder chooser's, which have no plate.
TEST_P(States, AFlatToolButtonWithTheKeyboardIsMarked) {
    QDialog window;
    QToolButton button(&window);
    button.setAutoRaise(true);
    button.resize(24, 24);
    window.resize(100, 100);
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    button.clearFocus();
    const QImage before = picture(&window);
    button.setFocus(Qt::TabFocusReason);
    EXPECT_GT(visibleChange(before, picture(&window)), outlineOf(button));
}

TEST_P(MenuStates, TheMenuBarsItemUnderTheMouseIsMarked) {
    menu->close();
    QMenuBar* bar = controller.getWindow()->menuBar();
    const QRect place = bar->actionGeometry(bar->actions().at(1));
    const QImage before = picture(bar).copy(place);
    bar->setActiveAction(bar->actions().at(1));
    const QImage active = picture(bar).copy(place);
    EXPECT_GT(visibleChange(before, active), active.width() * active.height() / 2);
    bar->setActiveAction(nullptr);
}

INSTANTIATE_TEST_SUITE_P(Brightness, States,
                         ::testing::Values(-100, -99, -74, -73, -50, 0, 100, 200));
INSTANTIATE_TEST_SUITE_P(Brightness, MenuStates,
                         ::testing::Values(-100, -99, -74, -73, -50, 0, 100, 200));

} // namespace
