#pragma once

// What a reader of the caches finds, and what he should find.

#include "tests/reliability/product_world.h"

#include <cstdint>
#include <map>
#include <string>

namespace corvid::test {

struct Amount {
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;

    bool operator==(const Amount&) const = default;
};
// Path and name of each project, composition and feature; amounts for features only.
using Tree = std::map<std::string, Amount>;

inline std::string nodeText(const std::string& path, const std::string& name) {
    return path + " '" + name + "'";
}

// A project directory that its root's table does not name hides what comes behind it.
struct ExpectedTree {
    Tree tree;
    bool hasUnnamed = false;
};
// From the disk, without the product's own code.
ExpectedTree treeOnDisk(const ProductWorld& world);
// By stepping frame cache models.
Tree treeOfModels(const ProductWorld& world);

// Whether the tree is the one on the disk or, where something is unnamed, a part of it.
::testing::AssertionResult agrees(const Tree& tree, const ExpectedTree& expected);

} // namespace corvid::test
