// The outline under the user's hands: keys, triangles, clicks.

#include "tests/support/outline_fixture.h"

#include <QMenu>
#include <QScrollBar>

namespace {

using corvid::test::addNode;

class OutlineKeys : public corvid::test::OutlineTest {
protected:
    OutlineKeys() { view.selectRow(0, false); }
};

TEST_F(OutlineKeys, ArrowsMoveTheSelection) {
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), QStringList("beta"));
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), QStringList("empty"));
    press(Qt::Key_Up);
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineKeys, ShiftAndArrowsExtendTheSelection) {
    press(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta"}));
}

TEST_F(OutlineKeys, HomeAndEndGoToTheFirstAndTheLastRow) {
    view.expandItem(project(1), true);
    press(Qt::Key_End);
    EXPECT_EQ(selected(), QStringList("empty"));
    press(Qt::Key_Home);
    EXPECT_EQ(selected(), QStringList("alpha"));
}

TEST_F(OutlineKeys, PagesMoveByAViewsHeight) {
    for (int i = 0; i < 100; ++i) {
        addNode(*source.getRootNode(), corvid::kProjectNode, "more " + std::to_string(i));
    }
    model.reloadData();
    view.selectRow(0, false);
    press(Qt::Key_PageDown);
    const int row = view.selectedRow();
    EXPECT_GT(row, 5);
    EXPECT_LT(row, 60);
    EXPECT_EQ(view.numberOfSelectedRows(), 1);
    press(Qt::Key_PageUp);
    EXPECT_LT(view.selectedRow(), row);
}

TEST_F(OutlineKeys, TypingAheadFindsTheRow) {
    QTest::keyClicks(&view, "em");
    EXPECT_EQ(selected(), QStringList("empty"));
}

TEST_F(OutlineKeys, TypingAheadFindsOnlyVisibleRows) {
    QTest::keyClicks(&view, "beta t");
    EXPECT_NE(selected(), QStringList("beta two"));
    QTest::qWait(QApplication::keyboardInputInterval() + 50);
    view.expandItem(project(1), false);
    QTest::keyClicks(&view, "beta t");
    EXPECT_EQ(selected(), QStringList("beta two"));
}

TEST_F(OutlineKeys, RightOpensThenGoesToTheFirstChild) {
    press(Qt::Key_Right);
    EXPECT_EQ(rows(), (QStringList{"alpha", "alpha one", "alpha two", "beta", "empty"}));
    EXPECT_EQ(selected(), QStringList("alpha"));
    press(Qt::Key_Right);
    EXPECT_EQ(selected(), QStringList("alpha one"));
}

TEST_F(OutlineKeys, LeftGoesToTheParentThenCloses) {
    view.expandItem(project(0), true);
    view.selectRow(2, false); // a feature
    press(Qt::Key_Left);
    EXPECT_EQ(selected(), QStringList("alpha one"));
    press(Qt::Key_Left);
    EXPECT_FALSE(model.isItemExpanded(project(0)->getChildAt(0)));
    press(Qt::Key_Left);
    EXPECT_EQ(selected(), QStringList("alpha"));
    press(Qt::Key_Left);
    EXPECT_EQ(rows(), (QStringList{"alpha", "beta", "empty"}));
    press(Qt::Key_Left);
    EXPECT_EQ(selected(), QStringList("alpha"));
}

TEST_F(OutlineKeys, RightOnALeafDoesNothing) {
    view.selectRow(2, false);
    press(Qt::Key_Right);
    EXPECT_EQ(selected(), QStringList("empty"));
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(OutlineKeys, WithAltTheWholeSubtreeOpensAndCloses) {
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_EQ(model.rowCount(), 9);
    press(Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(model.rowCount(), 3);
    press(Qt::Key_Right);
    EXPECT_EQ(model.rowCount(), 5);
}

TEST_F(OutlineKeys, ARowReachedByKeyIsInSight) {
    for (int i = 0; i < 200; ++i) {
        addNode(*source.getRootNode(), corvid::kProjectNode, "more " + std::to_string(i));
    }
    model.reloadData();
    view.selectRow(0, false);
    press(Qt::Key_End);
    EXPECT_TRUE(view.viewport()->rect().intersects(rowRect(model.rowCount() - 1)));
    EXPECT_GT(view.verticalScrollBar()->value(), 0);
}

TEST_F(OutlineKeys, AnEmptyOutlineTakesEveryKey) {
    model.forgetData();
    for (const Qt::Key key :
         {Qt::Key_Left, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down, Qt::Key_Home, Qt::Key_End,
          Qt::Key_Asterisk, Qt::Key_Space, Qt::Key_Return, Qt::Key_A}) {
        press(key);
    }
    EXPECT_EQ(view.numberOfSelectedRows(), 0);
}

struct FirstKey {
    Qt::Key key;
    const char* selected;
};

// Nothing is selected and no row has the keyboard yet.
class OutlineFirstKey : public corvid::test::OutlineTest,
                        public ::testing::WithParamInterface<FirstKey> {
protected:
    void expectSelected() { EXPECT_EQ(selected(), QStringList(GetParam().selected)); }
};

TEST_P(OutlineFirstKey, BeginsAtTheEndThatItPointsTo) {
    press(GetParam().key);
    expectSelected();
}

TEST_P(OutlineFirstKey, BeginsThereWheneverTheKeyboardCame) {
    view.clearFocus();
    view.setFocus();
    EXPECT_FALSE(view.currentIndex().isValid());
    press(GetParam().key);
    expectSelected();
}

TEST_P(OutlineFirstKey, BeginsThereWhenItWasPressedBeforeTheDataCameToo) {
    model.forgetData();
    press(GetParam().key);
    model.reloadData();
    press(GetParam().key);
    expectSelected();
}

TEST_P(OutlineFirstKey, BeginsThereWhenAllRowsWereSelectedFromTheMenu) {
    view.selectAll();
    press(GetParam().key);
    expectSelected();
}

INSTANTIATE_TEST_SUITE_P(
    Keys, OutlineFirstKey,
    ::testing::Values(FirstKey{Qt::Key_Down, "alpha"}, FirstKey{Qt::Key_Home, "alpha"},
                      FirstKey{Qt::Key_PageDown, "alpha"}, FirstKey{Qt::Key_Right, "alpha"},
                      FirstKey{Qt::Key_Up, "empty"}, FirstKey{Qt::Key_End, "empty"},
                      FirstKey{Qt::Key_PageUp, "empty"}));

struct NextKey {
    int row; // has the keyboard, is not selected
    Qt::Key key;
    const char* selected;
};

class OutlineNextKey : public corvid::test::OutlineTest,
                       public ::testing::WithParamInterface<NextKey> {};

TEST_P(OutlineNextKey, GoesOnFromTheRowWithTheKeyboard) {
    view.selectRow(GetParam().row, false);
    view.deselectAll();
    press(GetParam().key);
    EXPECT_EQ(selected(), QStringList(GetParam().selected));
}

TEST_P(OutlineNextKey, SelectsItsRowAlone) {
    const int other = GetParam().row == 0 ? 1 : 0;
    view.selectRow(other, false);
    click(GetParam().row, Qt::ControlModifier);
    click(GetParam().row, Qt::ControlModifier);
    ASSERT_EQ(view.selectedRow(), other);
    press(GetParam().key);
    EXPECT_EQ(selected(), QStringList(GetParam().selected));
}

INSTANTIATE_TEST_SUITE_P(
    Keys, OutlineNextKey,
    ::testing::Values(NextKey{1, Qt::Key_Down, "empty"}, NextKey{1, Qt::Key_Up, "alpha"},
                      NextKey{1, Qt::Key_Home, "alpha"}, NextKey{1, Qt::Key_End, "empty"},
                      NextKey{0, Qt::Key_Down, "beta"}, NextKey{0, Qt::Key_Up, "alpha"},
                      NextKey{0, Qt::Key_Home, "alpha"}, NextKey{0, Qt::Key_PageUp, "alpha"},
                      NextKey{2, Qt::Key_Down, "empty"}, NextKey{2, Qt::Key_End, "empty"},
                      NextKey{2, Qt::Key_PageDown, "empty"}, NextKey{2, Qt::Key_Up, "beta"}));

TEST_F(OutlineKeys, ControlMovesTheKeyboardWithoutSelecting) {
    press(Qt::Key_Down, Qt::ControlModifier);
    press(Qt::Key_Down, Qt::ControlModifier);
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(view.currentIndex().row(), 2);
    EXPECT_EQ(selected(), QStringList("alpha"));
}

struct MenuKey {
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
};

class OutlineMenuKey : public corvid::test::OutlineTest,
                       public ::testing::WithParamInterface<MenuKey> {
protected:
    OutlineMenuKey() {
        menu.addAction(QStringLiteral("Command"));
        view.setMenu(&menu);
        view.move(0, 40);
    }
    // Presses the key; whether the menu came up in the row's name.
    bool opensAt(int row) {
        press(GetParam().key, GetParam().modifiers);
        const bool isOpen = QApplication::activePopupWidget() == &menu;
        const QRect cell = rowRect(row).intersected(view.viewport()->rect());
        const bool isThere = cell.contains(view.viewport()->mapFromGlobal(menu.pos()));
        menu.close();
        return isOpen && isThere;
    }
    QMenu menu;
};

TEST_P(OutlineMenuKey, OpensTheMenuAtTheRowWithTheKeyboard) {
    click(1);
    EXPECT_TRUE(opensAt(1));
    click(0, Qt::ControlModifier);
    EXPECT_TRUE(opensAt(0));
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta"}));
    press(Qt::Key_Down, Qt::ControlModifier);
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_TRUE(opensAt(2));
}

TEST_P(OutlineMenuKey, BringsTheRowIntoSight) {
    for (int i = 0; i < 200; ++i) {
        addNode(*source.getRootNode(), corvid::kProjectNode, "more " + std::to_string(i));
    }
    model.reloadData();
    view.selectRow(3, false);
    view.scrollToBottom();
    EXPECT_TRUE(opensAt(3));
}

TEST_P(OutlineMenuKey, OpensTheMenuAtTheSelectionWhenNoRowHasTheKeyboard) {
    view.selectAll();
    EXPECT_TRUE(opensAt(0));
}

TEST_P(OutlineMenuKey, OpensNothingWithoutASelection) {
    press(GetParam().key, GetParam().modifiers);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    click(1);
    view.deselectAll();
    press(GetParam().key, GetParam().modifiers);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Keys, OutlineMenuKey,
                         ::testing::Values(MenuKey{Qt::Key_F10, Qt::ShiftModifier},
                                           MenuKey{Qt::Key_Menu, Qt::NoModifier}));

TEST_F(OutlineKeys, F10AloneOpensNoMenu) {
    QMenu menu;
    menu.addAction(QStringLiteral("Command"));
    view.setMenu(&menu);
    press(Qt::Key_F10);
    EXPECT_FALSE(menu.isVisible());
}

class OutlineMouse : public corvid::test::OutlineTest {};

TEST_F(OutlineMouse, AClickSelectsTheRow) {
    click(1);
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineMouse, ControlAddsAndTakesAway) {
    click(0);
    click(2, Qt::ControlModifier);
    EXPECT_EQ(selected(), (QStringList{"alpha", "empty"}));
    click(0, Qt::ControlModifier);
    EXPECT_EQ(selected(), QStringList("empty"));
}

TEST_F(OutlineMouse, ShiftSelectsUpToTheRow) {
    click(0);
    click(2, Qt::ShiftModifier);
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta", "empty"}));
}

TEST_F(OutlineMouse, ATriangleOpensAndClosesWithoutSelecting) {
    click(1);
    clickTriangle(0);
    EXPECT_EQ(rows(), (QStringList{"alpha", "alpha one", "alpha two", "beta", "empty"}));
    EXPECT_EQ(selected(), QStringList("beta"));
    clickTriangle(0);
    EXPECT_EQ(rows(), (QStringList{"alpha", "beta", "empty"}));
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineMouse, ATriangleBelowIsWhereItsDepthPutsIt) {
    clickTriangle(0);
    clickTriangle(1);
    EXPECT_EQ(rows(), (QStringList{"alpha", "alpha one", "Precomp Proxy", "Spec Render",
                                   "alpha two", "beta", "empty"}));
}

TEST_F(OutlineMouse, WithAltATriangleOpensTheWholeSubtree) {
    clickTriangle(0, Qt::AltModifier);
    EXPECT_EQ(model.rowCount(), 9);
    clickTriangle(0, Qt::AltModifier);
    clickTriangle(0);
    EXPECT_EQ(model.rowCount(), 5);
}

TEST_F(OutlineMouse, TwoQuickClicksOnATriangleOpenAndClose) {
    clickTriangle(0);
    EXPECT_EQ(model.rowCount(), 5);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(OutlineMouse, ATriangleTurnsWhenTheButtonIsReleased) {
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    EXPECT_EQ(model.rowCount(), 3);
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    EXPECT_EQ(model.rowCount(), 5);
}

TEST_F(OutlineMouse, APressOnATriangleSelectsNothingWhereverThePointerGoes) {
    click(2); // an anchor for what must not be selected
    view.deselectAll();
    const QPoint below(50, rowRect(2).bottom() + 30);
    for (const QPoint& end : {triangleAt(0) + QPoint(30, 0), nameAt(1), triangleAt(1), nameAt(2),
                              below, QPoint(-20, -20), QPoint(2000, 2000)}) {
        drag({triangleAt(0), triangleAt(0) + QPoint(1, 0), nameAt(0), end});
        EXPECT_EQ(selected(), QStringList());
        EXPECT_EQ(rows(), (QStringList{"alpha", "beta", "empty"}));
        EXPECT_EQ(view.currentIndex().row(), 2);
    }
}

TEST_F(OutlineMouse, APressOnATriangleLeavesTheSelectionAlone) {
    click(1);
    drag({triangleAt(0), nameAt(0), nameAt(2)});
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineMouse, ATriangleTurnsWhenThePointerComesBack) {
    drag({triangleAt(0), nameAt(2), triangleAt(1), triangleAt(0)});
    EXPECT_EQ(model.rowCount(), 5);
    EXPECT_EQ(selected(), QStringList());
}

TEST_F(OutlineMouse, ATriangleThatWentMeanwhileDoesNotTurn) {
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    model.reloadData();
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    EXPECT_EQ(model.rowCount(), 3);
    clickTriangle(0);
    EXPECT_EQ(model.rowCount(), 5);
}

TEST_F(OutlineMouse, ASecondPressOnATriangleSelectsNothingEither) {
    click(2);
    view.deselectAll();
    clickTriangle(0);
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, triangleAt(0));
    EXPECT_EQ(model.rowCount(), 3);
    moveHeld({nameAt(0), nameAt(1)});
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, Qt::NoModifier, nameAt(1));
    EXPECT_EQ(selected(), QStringList());
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(OutlineMouse, ADragFromANameSelectsWhatItPasses) {
    drag({triangleAt(0), nameAt(1)});
    drag({nameAt(0), nameAt(1), nameAt(2)});
    EXPECT_EQ(selected(), (QStringList{"alpha", "beta", "empty"}));
}

TEST_F(OutlineMouse, ADoubleClickOnANameOpensTheItem) {
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, nameAt(0));
    QTest::mouseDClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, nameAt(0));
    EXPECT_TRUE(model.isItemExpanded(project(0)));
    EXPECT_EQ(selected(), QStringList("alpha"));
}

TEST_F(OutlineMouse, ALeafHasNoTriangle) {
    clickTriangle(2);
    EXPECT_EQ(selected(), QStringList("empty"));
}

TEST_F(OutlineMouse, AClickBelowTheRowsDeselects) {
    click(1);
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(50, rowRect(2).bottom() + 30));
    EXPECT_EQ(selected(), QStringList());
}

TEST_F(OutlineMouse, OtherButtonsSelectNothing) {
    click(1);
    QTest::mouseClick(view.viewport(), Qt::RightButton, Qt::NoModifier, nameAt(0));
    QTest::mouseClick(view.viewport(), Qt::MiddleButton, Qt::NoModifier, nameAt(2));
    QTest::mouseDClick(view.viewport(), Qt::RightButton, Qt::NoModifier, nameAt(0));
    EXPECT_EQ(selected(), QStringList("beta"));
    EXPECT_EQ(model.rowCount(), 3);
}

} // namespace
