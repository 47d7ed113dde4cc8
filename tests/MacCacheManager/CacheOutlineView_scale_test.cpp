// The commands on a tree of 82,000 rows: right, and not quadratic.

#include "tests/support/controller_fixture.h"

#include <QElapsedTimer>

#include <iostream>

namespace {

using corvid::test::ControllerTest;

constexpr int kProjects = 80;
constexpr int kCompositions = 256;
constexpr int kFeatures = 3;
constexpr int kRows = kProjects * (1 + kCompositions * (1 + kFeatures));
// Far above what they take, far below what comparing every row with every other takes.
constexpr qint64 kMilliseconds = 2000;

FrameCacheEntry* addTo(FrameCacheEntry& parent, int type, const std::string& name) {
    const std::string path = std::string(parent.getPath()) + "/" + name;
    FrameCacheEntry* child =
        parent.addChild(std::make_unique<FrameCacheEntry>(type, name.c_str(), path.c_str()));
    child->setParent(&parent);
    return child;
}

class ManyRows : public ControllerTest {
protected:
    ManyRows() {
        launch();
        FrameCacheEntry& tree = *controller->dataSource()->getRootNode();
        for (int p = 0; p < kProjects; ++p) {
            FrameCacheEntry* project =
                addTo(tree, corvid::kProjectNode, "project " + std::to_string(p));
            for (int c = 0; c < kCompositions; ++c) {
                FrameCacheEntry* composition =
                    addTo(*project, corvid::kCompositionNode, "comp " + std::to_string(c));
                for (int f = 0; f < kFeatures; ++f) {
                    FrameCacheEntry* feature =
                        addTo(*composition, corvid::kFeatureNode, "feature " + std::to_string(f));
                    feature->setFileSize(1024);
                    feature->setFileCount(2);
                    feature->setModifiedTime(1000000 - p % 79);
                }
            }
        }
        CacheDataSource::calculateFilesizeForNode(&tree);
        CacheDataSource::calculateFilecountForNode(&tree);
        CacheDataSource::calculateLastModifiedForNode(&tree);
        model().reloadData();
    }

    template <class Command>
    void timed(const char* what, Command command) {
        QElapsedTimer timer;
        timer.start();
        command();
        const qint64 taken = timer.elapsed();
        std::cout << what << ": " << taken << " ms\n";
        RecordProperty(what, static_cast<int>(taken));
        EXPECT_LT(taken, kMilliseconds) << what;
    }
};

TEST_F(ManyRows, EveryCommandHandlesThemAll) {
    static_assert(kRows == 82000);
    timed("expandAll", [this] { controller->expandAll(); });
    ASSERT_EQ(model().rowCount(), kRows);
    timed("selectAll", [this] { controller->selectAll(); });
    EXPECT_EQ(outline().numberOfSelectedRows(), kRows);
    timed("refreshStats", [this] { controller->refreshStats(); });
    EXPECT_EQ(statistics(),
              (QStringList{"80", "122880", "60.00 MB", "82000", "122880", "60.00 MB"}));
    timed("collapseAll", [this] { controller->collapseAll(); });
    EXPECT_EQ(model().rowCount(), kProjects);
    EXPECT_EQ(outline().numberOfSelectedRows(), kProjects);
    timed("expandAll again", [this] { controller->expandAll(); });
    EXPECT_EQ(outline().numberOfSelectedRows(), kProjects);
    timed("selectOldestProject", [this] { controller->selectOldestProject(); });
    EXPECT_EQ(outline().numberOfSelectedRows(), 1);
    EXPECT_STREQ(controller->getSelectedItem()->getName(), "project 78");
    timed("deselectAll", [this] { controller->deselectAll(); });
    EXPECT_EQ(labelText("m_labelSelectedProjects"), "0");
}

TEST_F(ManyRows, EverySecondRowIsSelectedInBearableTime) {
    controller->expandAll();
    QItemSelection selection;
    for (int row = 0; row < 4000; row += 2) {
        selection.append(QItemSelectionRange(model().index(row, 0), model().index(row, 3)));
    }
    timed("select 2,000 single rows", [&] {
        outline().selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    });
    EXPECT_EQ(outline().numberOfSelectedRows(), 2000);
    timed("refreshStats of them", [this] { controller->refreshStats(); });
    timed("refreshing the row table around them",
          [this] { outline().restoreState(outline().takeState()); });
    EXPECT_EQ(outline().numberOfSelectedRows(), 2000);
    EXPECT_EQ(model().rowCount(), kRows);
}

TEST_F(ManyRows, FiguresThatNeedMoreRoomAreFoundInBearableTime) {
    controller->expandAll();
    QFont large = outline().font();
    large.setPixelSize(60);
    timed("another font", [&] {
        outline().setFont(large);
        QCoreApplication::processEvents();
    });
    const QFontMetricsF metrics(large);
    EXPECT_GT(outline().columnWidth(1), metrics.horizontalAdvance(QStringLiteral("768.00 KB")));
    EXPECT_GT(outline().columnWidth(2), metrics.horizontalAdvance(QStringLiteral("1536")));
    EXPECT_GT(outline().columnWidth(3), 150);
    timed("collapsing one project", [this] {
        outline().collapseItem(model().itemAtRow(0), false);
        QCoreApplication::processEvents();
    });
}

TEST_F(ManyRows, DeselectingTheDescendantsOfOneProject) {
    controller->expandAll();
    controller->selectAll();
    timed("deselectAllDescendants of one project",
          [this] { controller->deselectAllDescendants(model().itemAtRow(0)); });
    EXPECT_EQ(outline().numberOfSelectedRows(), kRows - kCompositions * (1 + kFeatures));
}

} // namespace
