#include "MacCacheManager/OutlineModel.h"

#include "tests/support/product_root.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace {

using corvid::test::ProductTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

FrameCacheEntry* addTo(FrameCacheEntry& parent, int type, const std::string& name) {
    const std::string path = std::string(parent.getPath()) + "/" + name;
    FrameCacheEntry* child =
        parent.addChild(std::make_unique<FrameCacheEntry>(type, name.c_str(), path.c_str()));
    child->setParent(&parent);
    return child;
}

// Two projects with two compositions of two features each, and an empty project between them.
class OutlineModelTest : public ProductTest {
protected:
    OutlineModelTest() : tree(*source.getRootNode()) {
        for (const char* name : {"p1", "empty", "p2"}) {
            FrameCacheEntry* project = addTo(tree, corvid::kProjectNode, name);
            for (int c = 1; std::string(name) != "empty" && c <= 2; ++c) {
                FrameCacheEntry* composition = addTo(*project, corvid::kCompositionNode,
                                                     std::string(name) + "c" + std::to_string(c));
                for (const char* feature : {"PROXY", "SPEC_RENDER"}) {
                    addTo(*composition, corvid::kFeatureNode, feature);
                }
            }
        }
        model.reloadData();
    }
    FrameCacheEntry* project(int i) const { return tree.getChildAt(i); }

    // The rows as the model shows them: name, indented by depth.
    std::vector<std::string> rows() const {
        std::vector<std::string> all;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex cell = model.index(row, 0);
            all.push_back(
                std::string(static_cast<std::size_t>(cell.data(corvid::DepthRole).toInt()), '-') +
                cell.data().toString().toStdString());
        }
        return all;
    }
    // The rows that the tree and the open nodes call for.
    void expectConsistent() const {
        std::vector<const FrameCacheEntry*> visible;
        collect(tree, visible);
        ASSERT_EQ(static_cast<std::size_t>(model.rowCount()), visible.size());
        for (std::size_t row = 0; row < visible.size(); ++row) {
            ASSERT_EQ(model.itemAtRow(static_cast<int>(row)), visible[row]);
            ASSERT_EQ(model.rowForItem(visible[row]), static_cast<int>(row));
        }
    }
    void collect(const FrameCacheEntry& node, std::vector<const FrameCacheEntry*>& visible) const {
        for (int i = 0; i < node.getNumberOfChildren(); ++i) {
            visible.push_back(node.getChildAt(i));
            if (model.isItemExpanded(node.getChildAt(i))) {
                collect(*node.getChildAt(i), visible);
            }
        }
    }

    CacheDataSource source;
    FrameCacheEntry& tree;
    OutlineModel model{source};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(OutlineModelTest, IsEmptyUntilItIsLoaded) {
    const OutlineModel fresh(source);
    EXPECT_EQ(fresh.rowCount(), 0);
    EXPECT_EQ(fresh.itemAtRow(0), nullptr);
    EXPECT_EQ(fresh.rowForItem(project(0)), -1);
}

TEST_F(OutlineModelTest, StartsWithTheProjectsAlone) {
    EXPECT_THAT(rows(), ElementsAre("p1", "empty", "p2"));
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.columnCount(), 4);
}

TEST_F(OutlineModelTest, ExpandingShowsTheChildrenBelowTheirParent) {
    model.expandItem(project(0), false);
    EXPECT_THAT(rows(), ElementsAre("p1", "-p1c1", "-p1c2", "empty", "p2"));
    EXPECT_TRUE(model.isItemExpanded(project(0)));
}

TEST_F(OutlineModelTest, ExpandingWithChildrenOpensTheWholeSubtree) {
    model.expandItem(project(2), true);
    EXPECT_THAT(rows(), ElementsAre("p1", "empty", "p2", "-p2c1", "--Precomp Proxy",
                                    "--Spec Render", "-p2c2", "--Precomp Proxy", "--Spec Render"));
}

TEST_F(OutlineModelTest, ExpandingWithChildrenOpensAlsoAPartlyOpenSubtree) {
    model.expandItem(project(0), false);
    model.expandItem(project(0)->getChildAt(1), false);
    model.expandItem(project(0), true);
    EXPECT_EQ(model.rowCount(), 9);
    expectConsistent();
}

TEST_F(OutlineModelTest, CollapsingHidesTheWholeSubtree) {
    model.expandItem(project(0), true);
    model.collapseItem(project(0), false);
    EXPECT_THAT(rows(), ElementsAre("p1", "empty", "p2"));
    EXPECT_FALSE(model.isItemExpanded(project(0)));
}

TEST_F(OutlineModelTest, ReopeningShowsDescendantsAsTheyWereLeft) {
    model.expandItem(project(0), true);
    model.collapseItem(project(0), false);
    model.expandItem(project(0), false);
    EXPECT_EQ(model.rowCount(), 9);
}

TEST_F(OutlineModelTest, CollapsingWithChildrenClosesDescendantsToo) {
    model.expandItem(project(0), true);
    model.collapseItem(project(0), true);
    model.expandItem(project(0), false);
    EXPECT_THAT(rows(), ElementsAre("p1", "-p1c1", "-p1c2", "empty", "p2"));
}

TEST_F(OutlineModelTest, ANodeWithoutChildrenDoesNotOpen) {
    model.expandItem(project(1), false);
    model.expandItem(project(1), true);
    model.expandItem(nullptr, true);
    model.collapseItem(nullptr, true);
    EXPECT_FALSE(model.isItemExpanded(project(1)));
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(OutlineModelTest, OpeningAnOpenOrClosingAClosedNodeDoesNothing) {
    model.expandItem(project(0), false);
    const QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    const QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.expandItem(project(0), false);
    model.collapseItem(project(2), false);
    EXPECT_EQ(inserted.count(), 0);
    EXPECT_EQ(removed.count(), 0);
}

TEST_F(OutlineModelTest, ANodeBelowAClosedOneIsOpenedOutOfSight) {
    model.expandItem(project(0)->getChildAt(0), false);
    EXPECT_EQ(model.rowCount(), 3);
    model.expandItem(project(0), false);
    EXPECT_THAT(rows(), ElementsAre("p1", "-p1c1", "--Precomp Proxy", "--Spec Render", "-p1c2",
                                    "empty", "p2"));
}

TEST_F(OutlineModelTest, OnlyVisibleRowsAreRows) {
    FrameCacheEntry* composition = project(0)->getChildAt(1);
    EXPECT_EQ(model.rowForItem(composition), -1);
    model.expandItem(project(0), false);
    EXPECT_EQ(model.rowForItem(composition), 2);
    EXPECT_EQ(model.rowForItem(project(2)), 4);
    model.collapseItem(project(0), false);
    EXPECT_EQ(model.rowForItem(composition), -1);
    EXPECT_EQ(model.rowForItem(project(2)), 2);
}

TEST_F(OutlineModelTest, TheRootHasNoRow) {
    EXPECT_EQ(model.rowForItem(&tree), -1);
    EXPECT_EQ(model.rowForItem(nullptr), -1);
    EXPECT_EQ(model.itemAtRow(-1), nullptr);
    EXPECT_EQ(model.itemAtRow(3), nullptr);
}

TEST_F(OutlineModelTest, ExpandingADescendantDoesNotMoveItsOwnRow) {
    const int row = model.rowForItem(project(2));
    model.expandItem(project(2), true);
    EXPECT_EQ(model.rowForItem(project(2)), row);
}

TEST_F(OutlineModelTest, ExpandingAndCollapsingSeveralIsOneReset) {
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.expandItems({project(0), project(1), project(2)});
    EXPECT_EQ(resets.count(), 1);
    EXPECT_EQ(model.rowCount(), 15);
    expectConsistent();
    model.collapseItems({project(0), project(1), project(2)});
    EXPECT_EQ(resets.count(), 2);
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_THAT(model.expandedItems(), IsEmpty());
}

TEST_F(OutlineModelTest, ForgettingLeavesNoNodeBehind) {
    model.expandItem(project(0), true);
    model.forgetData();
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_THAT(model.expandedItems(), IsEmpty());
    EXPECT_EQ(model.rowForItem(project(0)), -1);
}

TEST_F(OutlineModelTest, ReloadingOpensWhatIsAskedFor) {
    model.reloadData(
        [](const FrameCacheEntry& node) { return node.getNodeType() == corvid::kProjectNode; });
    EXPECT_THAT(rows(), ElementsAre("p1", "-p1c1", "-p1c2", "empty", "p2", "-p2c1", "-p2c2"));
    EXPECT_FALSE(model.isItemExpanded(project(1)));
    model.reloadData();
    EXPECT_THAT(rows(), ElementsAre("p1", "empty", "p2"));
}

TEST_F(OutlineModelTest, RandomOpeningAndClosingKeepsRowsAndTreeTogether) {
    std::vector<FrameCacheEntry*> nodes;
    for (int p = 0; p < 3; ++p) {
        nodes.push_back(project(p));
        for (int c = 0; c < project(p)->getNumberOfChildren(); ++c) {
            nodes.push_back(project(p)->getChildAt(c));
            nodes.push_back(project(p)->getChildAt(c)->getChildAt(1));
        }
    }
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same walk every time
    for (int step = 0; step < 500; ++step) {
        FrameCacheEntry* node = nodes[random() % nodes.size()];
        const bool withChildren = random() % 2 == 0;
        if (random() % 2 == 0) {
            model.expandItem(node, withChildren);
        } else {
            model.collapseItem(node, withChildren);
        }
        ASSERT_NO_FATAL_FAILURE(expectConsistent()) << step;
    }
}

TEST_F(OutlineModelTest, ColumnsHaveTheirIdentifiersAndTitles) {
    std::vector<std::string> identifiers;
    for (const corvid::Column& column : model.columns()) {
        identifiers.emplace_back(column.identifier);
    }
    EXPECT_THAT(identifiers, ElementsAre("cache_type", "file_size", "file_count", "modified"));
    std::vector<QString> titles;
    for (int column = 0; column < 4; ++column) {
        titles.push_back(model.headerData(column, Qt::Horizontal).toString());
    }
    EXPECT_THAT(titles, ElementsAre("Name", "Size", "Files", "Last modified"));
    EXPECT_FALSE(model.headerData(4, Qt::Horizontal).isValid());
    EXPECT_FALSE(model.headerData(-1, Qt::Horizontal).isValid());
    EXPECT_FALSE(model.headerData(0, Qt::Vertical).isValid());
}

TEST_F(OutlineModelTest, AColumnMoreIsOneLineMoreInTheTable) {
    std::vector<corvid::Column> columns = corvid::outlineColumns();
    columns.push_back({"oldest_frame", "Oldest frame", Qt::AlignRight, 90,
                       [](const FrameCacheEntry& node) {
                           return QStringLiteral("oldest of ") + QString::fromUtf8(node.getName());
                       },
                       nullptr, nullptr, nullptr});
    OutlineModel wider(source, columns);
    const QAbstractItemModelTester widerTester(
        &wider, QAbstractItemModelTester::FailureReportingMode::Fatal);
    wider.reloadData();
    EXPECT_EQ(wider.columnCount(), 5);
    EXPECT_EQ(wider.headerData(4, Qt::Horizontal).toString(), "Oldest frame");
    EXPECT_EQ(wider.index(0, 4).data(), "oldest of p1");
    EXPECT_TRUE(wider.index(0, 4)
                    .data(Qt::TextAlignmentRole)
                    .value<Qt::Alignment>()
                    .testFlag(Qt::AlignRight));
    EXPECT_EQ(model.columnCount(), 4);
}

TEST_F(OutlineModelTest, CellsShowTheNodesTexts) {
    project(0)->setFileSize(4096);
    project(0)->setFileCount(17);
    project(0)->setModifiedTime(1600000000);
    EXPECT_EQ(model.index(0, 0).data(), "p1");
    EXPECT_EQ(model.index(0, 1).data(), "4.00 KB");
    EXPECT_EQ(model.index(0, 2).data(), "17");
    EXPECT_EQ(model.index(0, 3).data(), project(0)->getLastModifiedTime());
    EXPECT_EQ(model.index(1, 3).data(), "\?\?-\?\?-\?\?\?\?");
}

TEST_F(OutlineModelTest, RolesTellLevelAndState) {
    const QModelIndex cell = model.index(0, 2);
    EXPECT_EQ(cell.data(corvid::DepthRole).toInt(), 0);
    EXPECT_TRUE(cell.data(corvid::ExpandableRole).toBool());
    EXPECT_FALSE(cell.data(corvid::ExpandedRole).toBool());
    EXPECT_FALSE(model.index(1, 0).data(corvid::ExpandableRole).toBool());
    model.expandItem(project(0), false);
    EXPECT_TRUE(model.index(0, 0).data(corvid::ExpandedRole).toBool());
    EXPECT_EQ(model.index(1, 0).data(corvid::DepthRole).toInt(), 1);
    EXPECT_FALSE(model.data(QModelIndex(), Qt::DisplayRole).isValid());
}

TEST_F(OutlineModelTest, LevelAndStateAreToldToThosesWhoCannotSeeThem) {
    const auto description = [this](int row) {
        return model.index(row, 0).data(Qt::AccessibleDescriptionRole).toString();
    };
    EXPECT_EQ(description(0), "level 1, collapsed");
    EXPECT_EQ(description(1), "level 1");
    model.expandItem(project(0), false);
    EXPECT_EQ(description(0), "level 1, expanded");
    EXPECT_EQ(description(1), "level 2, collapsed");
    EXPECT_FALSE(model.index(0, 1).data(Qt::AccessibleDescriptionRole).isValid());
}

TEST_F(OutlineModelTest, AChangeOfStateIsAnnouncedForItsRow) {
    const QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.expandItem(project(2), false);
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.at(0).at(0).value<QModelIndex>(), model.index(2, 0));
    EXPECT_EQ(changed.at(0).at(1).value<QModelIndex>(), model.index(2, 3));
    model.collapseItem(project(2), false);
    EXPECT_EQ(changed.count(), 2);
}

TEST_F(OutlineModelTest, RowsCanBeSelectedAndHaveNoChildrenOfTheirOwn) {
    const QModelIndex cell = model.index(0, 0);
    EXPECT_TRUE(cell.flags().testFlag(Qt::ItemIsSelectable));
    EXPECT_TRUE(cell.flags().testFlag(Qt::ItemIsEnabled));
    EXPECT_FALSE(cell.flags().testFlag(Qt::ItemIsEditable));
    EXPECT_EQ(model.rowCount(cell), 0);
    EXPECT_FALSE(model.hasChildren(cell));
}

TEST_F(OutlineModelTest, NumbersStandFlushRightAndNamesLeft) {
    const auto alignment = [this](int column) {
        return model.index(0, column).data(Qt::TextAlignmentRole).value<Qt::Alignment>();
    };
    EXPECT_TRUE(alignment(0).testFlag(Qt::AlignLeft));
    for (int column = 1; column < 4; ++column) {
        EXPECT_TRUE(alignment(column).testFlag(Qt::AlignRight));
    }
}

TEST_F(OutlineModelTest, TheWholeNameIsTheFirstColumnsToolTip) {
    project(0)->setName("/Jobs/Été/Film.aep");
    EXPECT_EQ(model.index(0, 0).data(), "Film.aep");
    EXPECT_EQ(model.index(0, 0).data(Qt::ToolTipRole), "/Jobs/Été/Film.aep");
    EXPECT_FALSE(model.index(0, 1).data(Qt::ToolTipRole).isValid());
}

TEST_F(OutlineModelTest, ANameWithMarkupIsShownAsItStandsInTheToolTip) {
    project(0)->setName("/Jobs/<b>%1</b>.aep");
    EXPECT_EQ(model.index(0, 0).data(Qt::ToolTipRole), "<qt>/Jobs/&lt;b&gt;%1&lt;/b&gt;.aep</qt>");
}

} // namespace
