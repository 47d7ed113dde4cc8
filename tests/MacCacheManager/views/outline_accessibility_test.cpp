// What a screen reader learns of the outline, and can do with it.

#include "tests/support/outline_fixture.h"

#include <gmock/gmock.h>

#include <QAccessible>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OutlineAccessibility : public corvid::test::OutlineTest {
protected:
    QAccessibleInterface& tree() { return *QAccessible::queryAccessibleInterface(&view); }
    QAccessibleTableInterface& table() { return *tree().tableInterface(); }
    QAccessibleInterface& cell(int row, int column = 0) { return *table().cellAt(row, column); }
    static QString nameOf(const QAccessibleInterface& element) {
        return element.text(QAccessible::Name);
    }
    static QStringList actionsOf(QAccessibleInterface& element) {
        return element.actionInterface()->actionNames();
    }
    static bool isGone(QAccessible::Id id) {
        const QAccessibleInterface* element = QAccessible::accessibleInterface(id);
        return element == nullptr || !element->isValid();
    }
    void toggle(int row) {
        cell(row).actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    }
};

TEST_F(OutlineAccessibility, IsATreeOfTitlesAndCells) {
    EXPECT_EQ(tree().role(), QAccessible::Tree);
    EXPECT_EQ(tree().object(), &view);
    ASSERT_EQ(tree().childCount(), 4 * (1 + 3));
    const QStringList titles = {"Name", "Size", "Files", "Last modified"};
    for (int i = 0; i < tree().childCount(); ++i) {
        const QAccessibleInterface& child = *tree().child(i);
        EXPECT_TRUE(child.isValid());
        EXPECT_EQ(child.parent(), &tree());
        EXPECT_EQ(child.window(), view.window()->windowHandle());
        EXPECT_EQ(child.childCount(), 0);
        EXPECT_EQ(tree().indexOfChild(&child), i);
        EXPECT_EQ(child.role(), i < 4 ? QAccessible::ColumnHeader : QAccessible::TreeItem);
        EXPECT_EQ(nameOf(child),
                  i < 4 ? titles[i] : model.index(i / 4 - 1, i % 4).data().toString());
        EXPECT_FALSE(child.state().invisible);
        const QPoint middle = child.rect().center();
        EXPECT_EQ(tree().childAt(middle.x(), middle.y()), &child);
    }
    EXPECT_EQ(tree().child(-1), nullptr);
    EXPECT_EQ(tree().child(16), nullptr);
    EXPECT_EQ(tree().childAt(-5000, 0), nullptr);
    EXPECT_EQ(tree().indexOfChild(&tree()), -1);
}

TEST_F(OutlineAccessibility, ACellLiesWhereItIsDrawn) {
    const QRect place = view.visualRect(model.index(1, 2));
    EXPECT_EQ(cell(1, 2).rect(),
              QRect(view.viewport()->mapToGlobal(place.topLeft()), place.size()));
    EXPECT_EQ(tree().child(0)->rect().size(), QSize(view.columnWidth(0), view.header()->height()));
}

TEST_F(OutlineAccessibility, ARowThatIsScrolledAwayIsInvisible) {
    for (int i = 0; i < 100; ++i) {
        corvid::test::addNode(*source.getRootNode(), corvid::kProjectNode, "more");
    }
    model.reloadData();
    EXPECT_FALSE(cell(0).state().invisible);
    EXPECT_TRUE(cell(99).state().invisible);
    view.scrollToBottom();
    EXPECT_TRUE(cell(0).state().invisible);
}

TEST_F(OutlineAccessibility, ARowTellsWhetherItCanOpenAndIsOpen) {
    EXPECT_TRUE(cell(0).state().expandable);
    EXPECT_TRUE(cell(0).state().collapsed);
    EXPECT_FALSE(cell(0).state().expanded);
    EXPECT_EQ(cell(0).text(QAccessible::Description), "level 1, collapsed");
    view.expandItem(project(0), false);
    EXPECT_TRUE(cell(0).state().expandable);
    EXPECT_FALSE(cell(0).state().collapsed);
    EXPECT_TRUE(cell(0).state().expanded);
    EXPECT_EQ(cell(0).text(QAccessible::Description), "level 1, expanded");
    for (QAccessibleInterface* other : {&cell(0, 1), &cell(4)}) { // a figure, and a leaf
        EXPECT_FALSE(other->state().expandable);
        EXPECT_FALSE(other->state().expanded);
        EXPECT_FALSE(other->state().collapsed);
    }
}

TEST_F(OutlineAccessibility, ToggleOpensAndClosesARowAndSelectsNothing) {
    view.selectRow(1, false);
    ASSERT_TRUE(actionsOf(cell(0)).contains(QAccessibleActionInterface::toggleAction()));
    toggle(0);
    EXPECT_EQ(model.rowCount(), 5);
    EXPECT_EQ(selected(), QStringList("beta"));
    toggle(0);
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_EQ(selected(), QStringList("beta"));
}

TEST_F(OutlineAccessibility, WhatCannotOpenDoesNotToggle) {
    EXPECT_FALSE(actionsOf(cell(2)).contains(QAccessibleActionInterface::toggleAction()));
    EXPECT_FALSE(actionsOf(cell(0, 1)).contains(QAccessibleActionInterface::toggleAction()));
    toggle(2);
    cell(0).actionInterface()->doAction(QStringLiteral("no such action"));
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_EQ(selected(), QStringList());
}

TEST_F(OutlineAccessibility, PressSelectsARowAlone) {
    view.selectRow(0, false);
    ASSERT_TRUE(actionsOf(cell(2)).contains(QAccessibleActionInterface::pressAction()));
    cell(2, 1).actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(selected(), QStringList("empty"));
    EXPECT_EQ(view.currentIndex().row(), 2);
}

TEST_F(OutlineAccessibility, RowsAreSelectedAndDeselected) {
    EXPECT_TRUE(table().selectRow(0));
    EXPECT_TRUE(table().selectRow(2));
    EXPECT_EQ(selected(), (QStringList{"alpha", "empty"}));
    EXPECT_THAT(table().selectedRows(), ElementsAre(0, 2));
    EXPECT_EQ(table().selectedRowCount(), 2);
    EXPECT_EQ(table().selectedCellCount(), 8);
    ASSERT_EQ(table().selectedCells().size(), 8);
    EXPECT_EQ(nameOf(*table().selectedCells()[4]), "empty");
    EXPECT_TRUE(table().isRowSelected(2));
    EXPECT_FALSE(table().isRowSelected(1));
    EXPECT_TRUE(cell(2, 3).state().selected);
    EXPECT_TRUE(cell(2, 3).tableCellInterface()->isSelected());
    EXPECT_TRUE(table().unselectRow(0));
    EXPECT_EQ(selected(), QStringList("empty"));
}

TEST_F(OutlineAccessibility, WhatIsNoRowIsNotSelected) {
    for (const int row : {-1, 3}) {
        EXPECT_FALSE(table().selectRow(row));
        EXPECT_FALSE(table().unselectRow(row));
        EXPECT_FALSE(table().isRowSelected(row));
        EXPECT_EQ(table().cellAt(row, 0), nullptr);
    }
    EXPECT_EQ(table().cellAt(0, 4), nullptr);
    EXPECT_FALSE(table().selectColumn(0));
    EXPECT_FALSE(table().unselectColumn(0));
    EXPECT_FALSE(table().isColumnSelected(0));
    EXPECT_EQ(table().selectedColumnCount(), 0);
    EXPECT_THAT(table().selectedColumns(), IsEmpty());
    EXPECT_EQ(selected(), QStringList());
}

TEST_F(OutlineAccessibility, SaysThatSeveralRowsCanBeSelected) {
    EXPECT_TRUE(tree().state().multiSelectable);
    EXPECT_TRUE(cell(0).state().selectable);
    EXPECT_TRUE(cell(0).state().focusable);
}

TEST_F(OutlineAccessibility, TheRowWithTheKeyboardIsTheFocus) {
    EXPECT_EQ(tree().focusChild(), nullptr);
    view.selectRow(1, false);
    EXPECT_EQ(tree().focusChild(), &cell(1));
    EXPECT_TRUE(cell(1).state().focused);
    EXPECT_FALSE(cell(0).state().focused);
}

TEST_F(OutlineAccessibility, ACellKnowsItsPlaceInTheTable) {
    const QAccessibleTableCellInterface& place = *cell(1, 2).tableCellInterface();
    EXPECT_EQ(place.rowIndex(), 1);
    EXPECT_EQ(place.columnIndex(), 2);
    EXPECT_EQ(place.rowExtent(), 1);
    EXPECT_EQ(place.columnExtent(), 1);
    EXPECT_EQ(place.table(), &tree());
    ASSERT_EQ(place.columnHeaderCells().size(), 1);
    EXPECT_EQ(nameOf(*place.columnHeaderCells()[0]), "Files");
    EXPECT_THAT(place.rowHeaderCells(), IsEmpty());
    EXPECT_EQ(table().rowCount(), 3);
    EXPECT_EQ(table().columnCount(), 4);
    EXPECT_EQ(table().columnDescription(3), "Last modified");
    EXPECT_EQ(table().rowDescription(1), "beta");
    EXPECT_EQ(table().caption(), nullptr);
    EXPECT_EQ(table().summary(), nullptr);
}

TEST_F(OutlineAccessibility, ACellStaysWithItsRowWhileRowsComeAndGo) {
    QAccessibleInterface* beta = &cell(1);
    view.expandItem(project(0), true);
    EXPECT_EQ(nameOf(*beta), "beta");
    EXPECT_EQ(&cell(7), beta);
    QAccessibleInterface* inner = &cell(1);
    const QAccessible::Id innerId = QAccessible::uniqueId(inner);
    view.collapseItem(project(0), false);
    EXPECT_EQ(&cell(1), beta);
    EXPECT_EQ(tree().indexOfChild(beta), 8);
    EXPECT_TRUE(isGone(innerId));
}

TEST_F(OutlineAccessibility, ACellOfATreeThatIsGoneSaysSo) {
    const QAccessible::Id id = QAccessible::uniqueId(&cell(1));
    model.forgetData();
    EXPECT_EQ(tree().childCount(), 4);
    EXPECT_EQ(tree().child(8), nullptr);
    EXPECT_TRUE(isGone(id));
    model.reloadData();
    EXPECT_EQ(nameOf(cell(1)), "beta");
}

TEST_F(OutlineAccessibility, GoesWithItsView) {
    auto* other = new CacheOutlineView;
    other->setOutlineModel(&model);
    other->setupOutlineView();
    QAccessibleInterface* otherTree = QAccessible::queryAccessibleInterface(other);
    const QAccessible::Id cellId = QAccessible::uniqueId(otherTree->tableInterface()->cellAt(1, 1));
    ASSERT_NE(QAccessible::accessibleInterface(cellId), nullptr);
    delete other;
    EXPECT_EQ(QAccessible::accessibleInterface(cellId), nullptr);
}

} // namespace
