// The outline under the user's hands: keys, triangles, clicks.

#include "tests/support/outline_fixture.h"

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
