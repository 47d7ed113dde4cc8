#include "files/path_text.h"

#include <gtest/gtest.h>

namespace {

using corvid::endsWithSeparator;
using corvid::lastComponent;
using corvid::withoutSeparators;
using corvid::withSeparator;

struct Path {
    const char* text;
    const char* with;
    const char* without;
    const char* last;
};

class PathText : public ::testing::TestWithParam<Path> {};

TEST_P(PathText, IsTakenApartAtItsSeparators) {
    EXPECT_EQ(withSeparator(GetParam().text), GetParam().with);
    EXPECT_EQ(withoutSeparators(GetParam().text), GetParam().without);
    EXPECT_EQ(lastComponent(GetParam().text), GetParam().last);
    EXPECT_EQ(endsWithSeparator(GetParam().text), std::string(GetParam().text) == GetParam().with);
}

INSTANTIATE_TEST_SUITE_P(Paths, PathText,
                         ::testing::Values(Path{"", "/", "", ""}, Path{"/", "/", "/", "/"},
                                           Path{"//", "//", "/", "/"}, Path{"a", "a/", "a", "a"},
                                           Path{"/a", "/a/", "/a", "a"},
                                           Path{"/a/b", "/a/b/", "/a/b", "b"},
                                           Path{"a/b/", "a/b/", "a/b", "b"},
                                           Path{"a//b///", "a//b///", "a//b", "b"}));

} // namespace
