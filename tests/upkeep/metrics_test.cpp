#include "upkeep/metrics.h"

#include "tests/support/small_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace corvid;       // NOLINT(google-build-using-namespace)
using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::HasSubstr;
using ::testing::Not;

// A list of so many projects, each a kilobyte larger than the one before.
CacheList listOf(std::size_t projects) {
    CacheList list;
    ListedRoot& root = list.roots.emplace_back();
    root.path = "/cache";
    root.state = ListedState::Ok;
    root.volume = ListedVolume{.id = "8:1", .total = 1000, .free = 400};
    for (std::size_t i = 0; i < projects; ++i) {
        ListedProject& project = root.projects.emplace_back();
        project.key = "/p" + std::to_string(i) + ".aep";
        project.numbers.bytes = 1024 * (i + 1);
        project.numbers.newest = 1000;
        root.numbers.bytes += project.numbers.bytes;
    }
    return list;
}

std::size_t seriesIn(const std::string& text) {
    std::size_t series = 0;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        series += text[begin] != '#' ? 1U : 0U;
    }
    return series;
}

TEST(Metrics, NameTheLargestProjectsAndSumUpTheRest) {
    const std::string text = metricsText(listOf(2000), {}, MetricsDialect::Prometheus);
    EXPECT_LE(seriesIn(text), 200U);
    EXPECT_THAT(text, HasSubstr("{root=\"/cache\",project=\"/p1999.aep\"} 2048000\n"));
    EXPECT_THAT(text, Not(HasSubstr("/p1.aep")));
    std::uint64_t other = 0;
    for (std::uint64_t i = 1; i <= 1940; ++i) {
        other += 1024 * i;
    }
    EXPECT_THAT(text, HasSubstr("corvid_cache_project_bytes{root=\"/cache\",project=\"other\"} " +
                                std::to_string(other) + "\n"));
}

TEST(Metrics, HaveEachFamilyOnceWithItsHelp) {
    const std::string text = metricsText(
        listOf(2), {.limit = 5000, .lastCompleteReading = 1793547026}, MetricsDialect::OpenMetrics);
    EXPECT_THAT(text,
                HasSubstr("# HELP corvid_cache_root_bytes Sizes of the files of all projects.\n"
                          "# TYPE corvid_cache_root_bytes gauge\n"
                          "# UNIT corvid_cache_root_bytes bytes\n"
                          "corvid_cache_root_bytes{root=\"/cache\"} 3072\n"));
    EXPECT_THAT(text, HasSubstr("corvid_cache_volume_free_bytes{root=\"/cache\"} 400\n"));
    EXPECT_THAT(text, HasSubstr("\ncorvid_cache_limit_bytes 5000\n"));
    EXPECT_TRUE(text.size() > 6 && text.substr(text.size() - 6) == "# EOF\n");
    EXPECT_EQ(lastCompleteReadingIn(text), 1793547026);
    const std::string classic = metricsText(listOf(2), {}, MetricsDialect::Prometheus);
    EXPECT_THAT(classic, Not(HasSubstr("# UNIT")));
    EXPECT_THAT(classic, Not(HasSubstr("# EOF")));
    EXPECT_THAT(classic, Not(HasSubstr("corvid_cache_limit_bytes")));
    EXPECT_EQ(lastCompleteReadingIn(classic), 0);
}

TEST(Metrics, EscapeLabelsAndAddUpWhatBecomesEqual) {
    CacheList list = listOf(0);
    for (const char* key : {"a\\b\"c\nd", "x\xff", "x\xfe"}) {
        ListedProject& project = list.roots[0].projects.emplace_back();
        project.key = key;
        project.numbers.bytes = 10;
    }
    const std::string text = metricsText(list, {}, MetricsDialect::Prometheus);
    EXPECT_THAT(text, HasSubstr("project=\"a\\\\b\\\"c\\nd\"} 10\n"));
    EXPECT_THAT(text, HasSubstr("project=\"x\xef\xbf\xbd\"} 20\n"));
}

TEST(Metrics, OfARootThatCannotBeReadSayOnlyThat) {
    CacheList list = listOf(1);
    list.roots[0].state = ListedState::Missing;
    list.roots[0].volume.reset();
    list.roots[0].projects.clear();
    list.problems.push_back({"/cache", ListProblemKind::Missing, "Gone.", 3});
    const std::string text = metricsText(list, {}, MetricsDialect::Prometheus);
    EXPECT_THAT(text, HasSubstr("corvid_cache_root_readable{root=\"/cache\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("corvid_cache_problems 3\n"));
    EXPECT_THAT(text, Not(HasSubstr("root_bytes")));
    EXPECT_THAT(text, Not(HasSubstr("last_complete")));
}

} // namespace
