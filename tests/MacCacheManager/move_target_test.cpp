#include "MacCacheManager/move_target.h"

#include "tests/support/cache_tree.h"
#include "tests/support/product_root.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::MoveTarget;
using corvid::test::HandMadeCache;
using corvid::test::makeDirectory;
using corvid::test::snapshot;
using corvid::test::writeFile;

// Two cache roots with a project each.
class MoveTargetTest : public corvid::test::ProductTest {
protected:
    MoveTargetTest() : first(root.path("first")), second(root.path("deep/second")) {
        first.addProject("Own.aep");
        first.addProject("Neighbour.aep");
        second.addProject("Other.aep");
    }
    std::string own() const { return first.projectPath("Own.aep"); }
    std::string neighbour() const { return first.projectPath("Neighbour.aep"); }
    std::string other() const { return second.projectPath("Other.aep"); }
    std::string made(const std::string& path) const {
        makeDirectory(path);
        return path;
    }
    std::string linkTo(const std::string& target) {
        const std::string link = root.path("link" + std::to_string(m_links++));
        EXPECT_EQ(::symlink(target.c_str(), link.c_str()), 0);
        return link;
    }
    MoveTarget of(const std::string& folder) const {
        return corvid::moveTarget(folder, own(), {first.path(), second.path() + "/"});
    }

    HandMadeCache first;
    HandMadeCache second;

private:
    int m_links = 0;
};

TEST_F(MoveTargetTest, FoldersOutsideOfProjectsAreUsable) {
    for (const std::string& folder :
         {root.path(), first.path(), second.path(), made(root.path("new place")),
          made(first.path() + "/not a project"), std::string("/"), root.path("missing/folder")}) {
        EXPECT_EQ(of(folder), MoveTarget::Usable) << folder;
    }
}

TEST_F(MoveTargetTest, TheProjectsOwnDirectoryIsKnownInAnySpelling) {
    makeDirectory(own() + "/sub/folder");
    for (const std::string& folder :
         {own(), own() + "/", own() + "//sub/", own() + "/sub/folder", own() + "/sub/..",
          first.path() + "/./" + own().substr(own().rfind('/') + 1), linkTo(own()),
          linkTo(own() + "/sub"), linkTo(first.path()) + own().substr(own().rfind('/')),
          own() + "/not/there/yet", linkTo(own() + "/sub") + "/folder/../folder"}) {
        EXPECT_EQ(of(folder), MoveTarget::InOwnProject) << folder;
    }
    EXPECT_EQ(of(own() + "/.."), MoveTarget::Usable);
    EXPECT_EQ(of(own() + "x"), MoveTarget::Usable);
}

TEST_F(MoveTargetTest, OtherProjectsOfEveryRootAreKnown) {
    for (const std::string& folder : {neighbour(), other(), made(other() + "/a/b"), linkTo(other()),
                                      linkTo(other() + "/a"), other() + "/missing"}) {
        EXPECT_EQ(of(folder), MoveTarget::InOtherProject) << folder;
    }
}

TEST_F(MoveTargetTest, OwnCountsWhenItLiesBelowAnother) {
    const std::string nested = made(other() + "/own");
    EXPECT_EQ(corvid::moveTarget(nested + "/x", nested, {second.path()}), MoveTarget::InOwnProject);
}

TEST_F(MoveTargetTest, ADirectoryNamedLikeAHashIsAProjectWithoutALineToo) {
    EXPECT_EQ(of(made(first.path() + "/0123456789abcdef0123456789abcdef")),
              MoveTarget::InOtherProject);
    EXPECT_EQ(of(made(first.path() + "/0123456789ABCDEF0123456789abcdef")), MoveTarget::Usable);
    first.addProjectLine("oddly-named", "Odd.aep");
    EXPECT_EQ(of(made(first.path() + "/oddly-named/x")), MoveTarget::InOtherProject);
    // Somewhere else it is a folder like any other.
    EXPECT_EQ(of(made(root.path("0123456789abcdef0123456789abcdef"))), MoveTarget::Usable);
}

TEST_F(MoveTargetTest, RootsThatCannotBeReadAreLeftOut) {
    const std::string file = root.path("file");
    writeFile(file, "no root");
    const std::vector<std::string> roots = {"", "/nowhere", file, second.path()};
    EXPECT_EQ(corvid::moveTarget(other(), "/nowhere/project", roots), MoveTarget::InOtherProject);
    EXPECT_EQ(corvid::moveTarget(file, "", roots), MoveTarget::Usable);
    EXPECT_EQ(corvid::moveTarget("", own(), roots), MoveTarget::Usable);
}

TEST_F(MoveTargetTest, NothingIsTouched) {
    makeDirectory(other() + "/a");
    const auto before = snapshot(root.path());
    EXPECT_EQ(of(own() + "/missing"), MoveTarget::InOwnProject);
    EXPECT_EQ(of(other() + "/a"), MoveTarget::InOtherProject);
    EXPECT_EQ(snapshot(root.path()), before);
}

} // namespace
