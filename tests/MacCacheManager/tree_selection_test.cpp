#include "MacCacheManager/tree_selection.h"

#include "tests/support/hand_made_tree.h"

#include <limits>
#include <set>

using namespace corvid::test;
using corvid::selectionSum;
using corvid::topmostSelected;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class TreeSelection : public ::testing::Test {
protected:
    // Two projects of two compositions with one feature each; every node has its own numbers.
    TreeSelection() {
        for (const char* project : {"a", "b"}) {
            FrameCacheEntry* projectNode = add(tree, corvid::kProjectNode, project);
            for (const char* composition : {"1", "2"}) {
                FrameCacheEntry* node =
                    add(*projectNode, corvid::kCompositionNode, std::string(project) + composition);
                add(*node, corvid::kFeatureNode, std::string(project) + composition + "f");
            }
        }
    }
    FrameCacheEntry* add(FrameCacheEntry& parent, int type, const std::string& name) {
        FrameCacheEntry* node = addNode(parent, type, name);
        node->setFileSize(std::uint64_t{1} << nodes);
        node->setFileCount(1 << nodes);
        ++nodes;
        return node;
    }
    auto isSelected() const {
        return [this](const FrameCacheEntry* node) { return selected.count(node->getName()) > 0; };
    }
    std::vector<std::string> names(FrameCacheEntry* node) const {
        std::vector<std::string> found;
        for (const FrameCacheEntry* each : topmostSelected(node, isSelected())) {
            found.emplace_back(each->getName());
        }
        return found;
    }

    FrameCacheEntry tree{corvid::kRootNode, "none", "root"};
    int nodes = 0;
    std::set<std::string> selected;
};

TEST_F(TreeSelection, OfNothingIsNothing) {
    EXPECT_THAT(names(&tree), IsEmpty());
    EXPECT_THAT(names(nullptr), IsEmpty());
    EXPECT_EQ(selectionSum(&tree, isSelected()).bytes, 0U);
    EXPECT_EQ(selectionSum(nullptr, isSelected()).fileCount(), 0);
}

TEST_F(TreeSelection, IsInTheTreesOrderWithNothingBelowASelectedNode) {
    selected = {"b2f", "b1", "b1f", "a", "a2", "a2f"};
    EXPECT_THAT(names(&tree), ElementsAre("a", "b1", "b2f"));
}

TEST_F(TreeSelection, BeginsAtTheNodeThatIsGiven) {
    selected = {"a", "b1"};
    EXPECT_THAT(names(tree.getChildAt(0)), ElementsAre("a"));
    EXPECT_THAT(names(tree.getChildAt(0)->getChildAt(0)), IsEmpty());
    EXPECT_THAT(names(tree.getChildAt(1)), ElementsAre("b1"));
}

TEST_F(TreeSelection, IsSummedByTheTopmostNodesOwnNumbers) {
    selected = {"a", "a1", "b2f"}; // the first node and the tenth
    const corvid::NodeSum sum = selectionSum(&tree, isSelected());
    EXPECT_EQ(sum.bytes, (1U << 0) + (1U << 9));
    EXPECT_EQ(sum.fileCount(), (1 << 0) + (1 << 9));
}

TEST_F(TreeSelection, CountsFilesRoundAndBytesBeyond32Bits) {
    selected = {"a", "b"};
    for (int i : {0, 1}) {
        tree.getChildAt(i)->setFileCount(std::numeric_limits<int>::max());
        tree.getChildAt(i)->setFileSize(std::uint64_t{3} << 31);
    }
    const corvid::NodeSum sum = selectionSum(&tree, isSelected());
    EXPECT_EQ(sum.fileCount(), -2);
    EXPECT_EQ(sum.bytes, std::uint64_t{3} << 32);
}

} // namespace
