// How a deletion walks the tree, and what the window shows meanwhile.

#include "tests/support/command_fixture.h"

#include <sys/stat.h>

#include <algorithm>

using namespace corvid::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class DeletionTree : public CommandTest {
protected:
    void deleteSelected() {
        user.willClick("Yes");
        clickButton("m_btnDelete");
    }
    static void protect(const std::string& feature) {
        ASSERT_EQ(::chmod((feature + "/00000000.raw").c_str(), 0444), 0);
    }
    // The logged failures of one operation, in order.
    std::vector<std::string> failuresOf(const std::string& operation) const {
        std::vector<std::string> found;
        const std::string start = "ERROR\t" + operation + ": Failed to DeleteDirectory '";
        for (const std::string& message : root.logMessages()) {
            if (message.rfind(start, 0) == 0) {
                found.push_back(message.substr(start.size(), message.size() - start.size() - 2));
            }
        }
        return found;
    }
};

// Protected frames make every deletion fail with a message, which shows what was tried.
TEST_F(DeletionTree, DeletesAProjectOnceWhenItsFeatureIsSelectedToo) {
    protect(addFeature(alpha(), "Main", "PROXY"));
    open();

    clickRow({alpha(), "Main", "PROXY"});
    clickRow({alpha()}, Qt::ControlModifier);
    deleteSelected();

    EXPECT_THAT(failuresOf("DeleteProject"), ElementsAre(folderOf(alpha())));
    EXPECT_THAT(failuresOf("DeleteFeature"), IsEmpty());
}

TEST_F(DeletionTree, DeletesInTheOrderOfTheTreeWhateverTheOrderOfTheClicks) {
    std::vector<std::string> keys;
    for (const char* name : {"a", "b", "c"}) {
        keys.push_back(root.path(std::string("Projects/") + name + ".aep"));
        protect(addFeature(keys.back(), "Main", "PROXY"));
    }
    open();
    std::vector<std::string> inTree;
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();
    for (int i = 0; i < rootNode->getNumberOfChildren(); ++i) {
        inTree.push_back(folderOf(rootNode->getChildAt(i)->getName()));
    }
    ASSERT_EQ(inTree.size(), keys.size());

    clickRow({rootNode->getChildAt(2)->getName()});
    clickRow({rootNode->getChildAt(0)->getName()}, Qt::ControlModifier);
    clickRow({rootNode->getChildAt(1)->getName()}, Qt::ControlModifier);
    deleteSelected();

    EXPECT_EQ(failuresOf("DeleteProject"), inTree);
}

TEST_F(DeletionTree, GoesOnWithTheNextNodeAfterAFailure) {
    protect(addFeature(alpha(), "Main", "PROXY", 1));
    addFeature(beta(), "Main", "PROXY");
    open();

    user.willClick("Yes");
    chooseInMenuBar("Delete all");

    EXPECT_TRUE(exists(folderOf(alpha())));
    EXPECT_FALSE(exists(folderOf(beta())));
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep"));
}

TEST_F(DeletionTree, TriesAllThreeLevelsWhenTheLastFeatureCannotBeRemoved) {
    const std::string feature = addFeature(alpha(), "Main", "PROXY", 1);
    protect(feature);
    open();

    clickRow({alpha(), "Main", "PROXY"});
    deleteSelected();

    EXPECT_THAT(failuresOf("DeleteFeature"), ElementsAre(feature));
    EXPECT_THAT(failuresOf("DeleteComposition"), ElementsAre(folderOf(alpha(), "Main")));
    EXPECT_THAT(failuresOf("DeleteProject"), ElementsAre(folderOf(alpha())));
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep", "  Main", "    Precomp Proxy"));
}

TEST_F(DeletionTree, CollectsNothingOutsideARun) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    const Snapshot before = snapshot(root.path("Volumes"));

    controller().buildDeletionArray(nullptr);
    controller().buildDeletionArray(controller().dataSource()->getRootNode());

    EXPECT_EQ(snapshot(root.path("Volumes")), before);
}

TEST_F(DeletionTree, TakesAFeatureAndItsEmptiedParentsOutOfTheTree) {
    addFeature(alpha(), "Main", "PROXY");
    open();

    controller().deleteCacheWithFrameCacheEntry(node({alpha(), "Main", "PROXY"}));

    EXPECT_EQ(controller().dataSource()->getRootNode()->getNumberOfChildren(), 0);
}

TEST_F(DeletionTree, TakesACompositionOutOfTheTreeThoughItStaysOnTheDisk) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Titles", "PROXY");
    open();

    controller().deleteCacheWithFrameCacheEntry(node({alpha(), "Main"}));

    ASSERT_EQ(node({alpha()})->getNumberOfChildren(), 1);
    EXPECT_STREQ(node({alpha()})->getChildAt(0)->getName(), "Titles");
}

TEST_F(DeletionTree, DoesNothingForTheRootNode) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    const Snapshot before = snapshot(root.path("Volumes"));

    controller().deleteCacheWithFrameCacheEntry(controller().dataSource()->getRootNode());

    EXPECT_EQ(snapshot(root.path("Volumes")), before);
    EXPECT_THAT(rows(), ElementsAre("Alpha.aep"));
}

// Rows of nodes that have left the tree are still on the screen until the rebuild.
TEST_F(DeletionTree, PaintsRowsOfNodesThatHaveLeftTheTree) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();
    controller().expandAll();

    controller().deleteCacheWithFrameCacheEntry(node({alpha(), "Main", "PROXY"}));
    controller().getWindow()->grab();
    QTest::mouseMove(view().viewport(), QPoint(20, 20));
    controller().refreshStats();
    controller().refreshData();

    EXPECT_THAT(rows(), ElementsAre("Beta.aep", "  Main", "    Precomp Proxy"));
}

TEST_F(DeletionTree, SetsTheRootsTotalsToZeroBeforeTheRebuild) {
    addFeature(alpha(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    std::vector<QString> texts;
    QObject::connect(&model(), &QAbstractItemModel::modelAboutToBeReset, &model(), [&] {
        const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();
        texts.push_back(rootNode->getFileCountString());
        texts.push_back(rootNode->getFileSizeString());
    });

    deleteSelected();

    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts[0], QStringLiteral("0"));
    EXPECT_EQ(texts[1], QStringLiteral("0 bytes"));
}

TEST_F(DeletionTree, KeepsTheRootsTotalsUntilTheRebuildWhileProjectsAreLeft) {
    addFeature(alpha(), "Main", "PROXY", 3);
    addFeature(beta(), "Main", "PROXY", 4);
    open();
    clickRow({alpha()});
    std::vector<int> counts;
    QObject::connect(&model(), &QAbstractItemModel::modelAboutToBeReset, &model(), [&] {
        counts.push_back(controller().dataSource()->getRootNode()->getFileCount());
    });

    deleteSelected();

    ASSERT_FALSE(counts.empty());
    EXPECT_EQ(counts.front(), 7);
    EXPECT_EQ(label("m_labelTotalFiles"), "4");
}

TEST_F(DeletionTree, TellsWhatItIsDeletingWhileItDoes) {
    addFeature(alpha(), "Main", "PROXY", 40);
    open();
    clickRow({alpha()});
    const PaintWatch watch(widget<ActivityView>("m_progressSpinner"));

    deleteSelected();

    EXPECT_THAT(watch.lines(), Contains("Deleting “" + alpha() + "”: 1 file"));
    EXPECT_FALSE(widget<ActivityView>("m_progressSpinner").isAnimating());
    EXPECT_EQ(widget<ActivityView>("m_progressSpinner").line(), QString());
}

TEST_F(DeletionTree, ShowsItsRowsUntilTheRebuildWhileItRepaints) {
    addFeature(alpha(), "Main", "PROXY", 40);
    addFeature(beta(), "Main", "PROXY");
    open();
    clickRow({alpha()});
    std::vector<int> rowsWhileDeleting;
    auto& activity = widget<ActivityView>("m_progressSpinner");
    class Look : public QObject {
    public:
        std::function<void()> atPaint;
        bool eventFilter(QObject* /*watched*/, QEvent* event) override {
            if (event->type() == QEvent::Paint) {
                atPaint();
            }
            return false;
        }
    } look;
    look.atPaint = [&] {
        if (activity.line().startsWith(QStringLiteral("Deleting"))) {
            rowsWhileDeleting.push_back(model().rowCount());
            view().grab();
        }
    };
    activity.installEventFilter(&look);

    deleteSelected();

    EXPECT_THAT(rowsWhileDeleting, Contains(2));
    EXPECT_THAT(rows(), ElementsAre("Beta.aep"));
}

TEST_F(DeletionTree, LeavesNothingSelectedThatIsGone) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(beta(), "Main", "PROXY");
    open();

    clickRow({alpha()});
    deleteSelected();

    EXPECT_EQ(controller().getSelectedItem(), nullptr);
    EXPECT_EQ(label("m_labelSelectedProjects"), "0");
    EXPECT_EQ(label("m_labelTotalProjects"), "1");
}

// Five projects of one feature each, and the keyboard after a deletion.
class DeletionKeyboard : public DeletionTree {
protected:
    DeletionKeyboard() {
        for (const char* name : {"P0", "P1", "P2", "P3", "P4"}) {
            addFeature(name, "Main", "PROXY");
        }
        open();
        projects = rows();
    }
    std::vector<std::string> selected() {
        std::vector<std::string> names;
        for (int row = 0; row < model().rowCount(); ++row) {
            if (view().isRowSelected(row)) {
                names.push_back(model().index(row, 0).data().toString().toStdString());
            }
        }
        return names;
    }
    // Deletes, and sees where the keyboard is and goes on to.
    void expectAfterDeletion(const std::string& neighbour, Qt::Key key, const std::string& next) {
        deleteSelected();
        EXPECT_EQ(view().currentIndex().data().toString().toStdString(), neighbour);
        EXPECT_THAT(selected(), IsEmpty());
        QTest::keyClick(&view(), key);
        EXPECT_THAT(selected(), ElementsAre(next));
    }

    std::vector<std::string> projects; // in the tree's order
};

TEST_F(DeletionKeyboard, GoesOnFromTheRowAfterWhatWent) {
    clickRow({projects[1]});
    expectAfterDeletion(projects[2], Qt::Key_Down, projects[3]);
}

TEST_F(DeletionKeyboard, GoesOnUpwardsToo) {
    clickRow({projects[1]});
    expectAfterDeletion(projects[2], Qt::Key_Up, projects[0]);
}

TEST_F(DeletionKeyboard, GoesOnFromTheRowBeforeWhenTheLastWent) {
    clickRow({projects[4]});
    expectAfterDeletion(projects[3], Qt::Key_Up, projects[2]);
}

TEST_F(DeletionKeyboard, GoesOnAfterSeveralThatWent) {
    clickRow({projects[1]});
    clickRow({projects[2]}, Qt::ShiftModifier);
    expectAfterDeletion(projects[3], Qt::Key_Down, projects[4]);
}

TEST_F(DeletionKeyboard, GoesOnAfterTheOneOfSeveralThatWasSelectedLast) {
    clickRow({projects[3]});
    clickRow({projects[0]}, Qt::ControlModifier);
    expectAfterDeletion(projects[1], Qt::Key_Down, projects[2]);
}

TEST_F(DeletionKeyboard, GoesOnAfterTheParentsThatWereEmptied) {
    clickRow({projects[2], "Main", "PROXY"});
    expectAfterDeletion(projects[3], Qt::Key_Down, projects[4]);
}

TEST_F(DeletionKeyboard, GoesOnBeforeTheParentsThatWereEmptiedAtTheEnd) {
    clickRow({projects[4], "Main", "PROXY"});
    expectAfterDeletion(projects[3], Qt::Key_Up, projects[2]);
}

TEST_F(DeletionKeyboard, StaysAtWhatTheDeletionLeft) {
    clickRow({projects[2], "Main"});
    expectAfterDeletion("Main", Qt::Key_Down, projects[3]);
}

TEST_F(DeletionKeyboard, IsNowhereWhenNothingIsLeft) {
    view().selectAll();
    deleteSelected();
    EXPECT_FALSE(view().currentIndex().isValid());
    QTest::keyClick(&view(), Qt::Key_Down);
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(DeletionTree, CanBeRepeatedUntilNothingIsLeft) {
    addFeature(alpha(), "Main", "PROXY");
    addFeature(alpha(), "Main", "SPEC_RENDER");
    addFeature(beta(), "Main", "PROXY");
    open();

    clickRow({alpha(), "Main", "PROXY"});
    deleteSelected();
    clickRow({alpha(), "Main", "SPEC_RENDER"});
    deleteSelected();
    clickRow({beta()});
    deleteSelected();

    EXPECT_THAT(rows(), IsEmpty());
    EXPECT_FALSE(exists(folderOf(alpha())));
    EXPECT_FALSE(exists(folderOf(beta())));
}

// A name that does not fit is handed down as an empty one, never as its beginning: the directory
// that the beginning names stays.
TEST_F(DeletionTree, DoesNotTakeALongNameForTheShorterOneItBeginsWith) {
    const std::string name(900, 'n'); // a table's line holds no more than 1,023 bytes
    addFeature(name, "Main", "PROXY");
    open();
    const Snapshot before = snapshot(folderOf(name));

    controller().deleteCacheWithProject((name + std::string(200, 'x')).c_str(), node({name}));

    EXPECT_EQ(snapshot(folderOf(name)), before);
}

TEST_F(DeletionTree, DeletesAProjectWithALongName) {
    const std::string name(900, 'n');
    addFeature(name, "Main", "PROXY");
    open();

    clickRow({name});
    deleteSelected();

    EXPECT_FALSE(exists(folderOf(name)));
}

} // namespace
