// Whichever call fails while the tree is built: it shows nothing that is not there, changes
// nothing, and the next one is whole.

#include "tests/reliability/failing_calls_run.h"
#include "tests/reliability/source_tree.h"

#include <gtest/gtest.h>

namespace {

using corvid::test::Answer;
using corvid::test::Call;
using corvid::test::FailingCallsRun;
using corvid::test::Operation;
using corvid::test::ProductWorld;
using corvid::test::Tree;
using corvid::test::treeOfWindow;
using corvid::test::treeOnDisk;

// What cannot be read is left out or counts nothing.
void expectPart(const Tree& built, const Tree& whole) {
    for (const auto& [node, amount] : built) {
        const auto found = whole.find(node);
        if (found == whole.end()) {
            ADD_FAILURE() << node << " is not there";
        } else {
            EXPECT_LE(amount.bytes, found->second.bytes) << node;
            EXPECT_LE(amount.files, found->second.files) << node;
        }
    }
}

Answer buildWholeTree(ProductWorld& world) {
    EXPECT_TRUE(agrees(treeOfWindow(world), treeOnDisk(world)));
    return Answer::None;
}

TEST(FailingCallsTreeTest, TheTreeShowsNothingThatIsNotThere) {
    Tree whole;
    Operation build{.name = "BuildTree", .again = buildWholeTree};
    build.uses = Call::AnyNew; // the window's own code may run out of memory like any program
    build.load = [&whole](ProductWorld& world) { whole = treeOnDisk(world).tree; };
    build.run = [&whole](ProductWorld& world) {
        expectPart(treeOfWindow(world), whole);
        return Answer::None;
    };
    FailingCallsRun run(build);
    EXPECT_GT(run.failEachCall(), 0);
}

} // namespace
