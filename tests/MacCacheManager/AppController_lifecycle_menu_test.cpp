// The menu bar, and what those are told who use the window without seeing it.

#include "MacCacheManager/CorvidPanel.h"
#include "tests/support/controller_fixture.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QTest>

#include <map>

namespace {

using corvid::test::ControllerTest;
using corvid::test::titleOf;

class MenuBar : public ControllerTest {
protected:
    MenuBar() {
        makeSample();
        launch();
    }
    QList<QMenu*> menus() const {
        QList<QMenu*> all;
        for (const QAction* action : controller->getWindow()->menuBar()->actions()) {
            all << action->menu();
        }
        return all;
    }
    QMenu* windowsMenu() const { return controller->getWindow()->windowsMenu(); }
    // The commands by their titles; not the list of windows.
    std::map<QString, QAction*> commands() const {
        std::map<QString, QAction*> all;
        for (const QMenu* menu : menus()) {
            for (QAction* action : menu->actions()) {
                if (!action->isSeparator() && menu != windowsMenu()) {
                    all[titleOf(*action)] = action;
                }
            }
        }
        return all;
    }
};

TEST_F(MenuBar, EveryCommandOfTheContextMenusIsInIt) {
    const std::map<QString, QAction*> all = commands();
    for (const QAction* action : controller->contextMenuProjectsOnly()->actions()) {
        if (!action->isSeparator()) {
            EXPECT_EQ(all.count(titleOf(*action)), 1U) << action->text().toStdString();
        }
    }
}

TEST_F(MenuBar, EveryCommandHasAShortcutOfItsOwn) {
    std::map<QString, QString> owners;
    for (const auto& [title, action] : commands()) {
        EXPECT_FALSE(action->shortcut().isEmpty()) << title.toStdString();
        for (const QKeySequence& keys : action->shortcuts()) {
            EXPECT_EQ(owners.count(keys.toString()), 0U)
                << title.toStdString() << " and " << owners[keys.toString()].toStdString();
            owners[keys.toString()] = title;
        }
    }
}

TEST_F(MenuBar, MnemonicsAreDifferentWithinAMenu) {
    QList<QMenu*> all = menus();
    all << controller->contextMenu() << controller->contextMenuProjectsOnly();
    for (const QMenu* menu : all) {
        std::map<QChar, QString> owners;
        for (const QAction* action : menu->actions()) {
            const auto at = action->text().indexOf('&');
            if (at >= 0) {
                const QChar key = action->text().at(at + 1).toLower();
                EXPECT_EQ(owners.count(key), 0U) << action->text().toStdString();
                owners[key] = action->text();
            }
        }
    }
}

TEST_F(MenuBar, TheWindowsMenuListsTheWindow) {
    ASSERT_TRUE(menus().contains(windowsMenu()));
    EXPECT_EQ(windowsMenu()->title().remove('&'), "Windows");
    ASSERT_EQ(windowsMenu()->actions().size(), 1);
    EXPECT_EQ(windowsMenu()->actions().at(0)->text(), "Cache Manager");
}

TEST_F(MenuBar, ShortcutsReachTheCommands) {
    CorvidPanel* window = controller->getWindow();
    QTest::keyClick(window, Qt::Key_E, Qt::ControlModifier);
    EXPECT_EQ(model().rowCount(), 10);
    QTest::keyClick(window, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(selectedRows().size(), 10);
    QTest::keyClick(window, Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(selectedRows().size(), 0);
    QTest::keyClick(window, Qt::Key_E, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(model().rowCount(), 3);
    QTest::keyClick(window, Qt::Key_O, Qt::ControlModifier);
    EXPECT_EQ(selectedRows(), QStringList("Empty.aep"));
    caches[2].addProject("/Jobs/Another.aep");
    QTest::keyClick(window, Qt::Key_F5);
    EXPECT_GE(row("Another.aep"), 0);
}

TEST_F(MenuBar, ShortcutsWorkWhileTheOutlineHasTheKeyboard) {
    outline().setFocus();
    press(Qt::Key_E, Qt::ControlModifier);
    EXPECT_EQ(model().rowCount(), 10);
    user.willClick("OK");
    press(Qt::Key_Delete);
    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "You have not selected any items for deletion.");
}

TEST_F(MenuBar, ItsSettingsCommandOpensTheSheet) {
    commands().at("Settings…")->trigger();
    auto* sheet = controller->getWindow()->findChild<QDialog*>("m_sheetSettings");
    EXPECT_TRUE(sheet->isVisible());
    sheet->reject();
}

class Accessibility : public ControllerTest {
protected:
    Accessibility() {
        makeSample();
        launch();
    }
    static bool isControl(const QWidget* widget) {
        return qobject_cast<const QAbstractButton*>(widget) != nullptr ||
               qobject_cast<const QLabel*>(widget) != nullptr ||
               qobject_cast<const QLineEdit*>(widget) != nullptr ||
               qobject_cast<const QScrollBar*>(widget) != nullptr ||
               qobject_cast<const QAbstractItemView*>(widget) != nullptr ||
               widget->focusPolicy() != Qt::NoFocus || widget->inherits("QGroupBox") ||
               qobject_cast<const QDialog*>(widget) != nullptr;
    }
    // A header is a scroll area whose scroll bars never show; a menu is named by its entry.
    static bool isNeverMet(const QWidget* widget) {
        const QWidget* area = widget->parentWidget()->parentWidget();
        return qobject_cast<const QMenu*>(widget) != nullptr ||
               widget->objectName().startsWith("qt_") ||
               (qobject_cast<const QScrollBar*>(widget) != nullptr &&
                qobject_cast<const QHeaderView*>(area) != nullptr);
    }
    static QString nameOf(QWidget* widget) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(widget);
        return interface != nullptr ? interface->text(QAccessible::Name) : QString();
    }
};

TEST_F(Accessibility, EveryControlHasAName) {
    controller->displaySettingsSheet();
    int seen = 0;
    for (QWidget* widget : controller->getWindow()->findChildren<QWidget*>()) {
        if (isControl(widget) && !isNeverMet(widget)) {
            ++seen;
            EXPECT_NE(nameOf(widget), "")
                << widget->metaObject()->className() << " " << widget->objectName().toStdString()
                << " in " << widget->parentWidget()->objectName().toStdString();
        }
    }
    EXPECT_GT(seen, 30);
    EXPECT_EQ(nameOf(controller->getWindow()), "Cache Manager");
    controller->cancelSettings();
}

TEST_F(Accessibility, TheOutlineTellsItsCellsLevelAndState) {
    expand("New.aep");
    outline().visualRect(model().index(4, 0)); // lays the new rows out
    QAccessibleInterface* table = QAccessible::queryAccessibleInterface(&outline());
    ASSERT_NE(table, nullptr);
    ASSERT_NE(table->tableInterface(), nullptr);
    ASSERT_EQ(table->tableInterface()->rowCount(), 5);
    QAccessibleInterface* cell = table->tableInterface()->cellAt(0, 0);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->text(QAccessible::Name), "New.aep");
    EXPECT_EQ(cell->text(QAccessible::Description), "level 1, expanded");
    EXPECT_EQ(table->tableInterface()->cellAt(4, 0)->text(QAccessible::Description), "level 1");
}

TEST_F(Accessibility, TheWholeWindowCanBeReachedByTab) {
    outline().setFocus();
    QStringList reached;
    for (int i = 0; i < 12; ++i) {
        if (const QWidget* at = controller->getWindow()->focusWidget()) {
            reached << at->objectName();
        }
        QTest::keyClick(controller->getWindow()->focusWidget(), Qt::Key_Tab);
    }
    for (const char* name : {"m_outlineView", "m_btnDelete", "m_btnRefresh", "m_btnSettings"}) {
        EXPECT_TRUE(reached.contains(name)) << name;
    }
}

} // namespace
