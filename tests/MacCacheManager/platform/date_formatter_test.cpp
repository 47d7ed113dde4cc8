#include "MacCacheManager/platform/date_formatter.h"

#include "tests/support/product_root.h"

#include <QDateTime>
#include <QLocale>

#include <gtest/gtest.h>

#include <limits>

namespace {

using corvid::shortDateTime;
using corvid::test::EnvironmentGuard;

QString written(int year, int month, int day, int hour, int minute, int second = 0) {
    return QLocale::system().toString(
        QDateTime(QDate(year, month, day), QTime(hour, minute, second)), QLocale::ShortFormat);
}

TEST(ShortDateTime, IsLocalTime) {
    {
        const EnvironmentGuard zone("TZ", "UTC");
        EXPECT_EQ(shortDateTime(0), written(1970, 1, 1, 0, 0));
        EXPECT_EQ(shortDateTime(1600000000), written(2020, 9, 13, 12, 26, 40));
    }
    const EnvironmentGuard zone("TZ", "EST5");
    EXPECT_EQ(shortDateTime(0), written(1969, 12, 31, 19, 0));
}

TEST(ShortDateTime, KnowsSummerTime) {
    const EnvironmentGuard zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(shortDateTime(1751371200), written(2025, 7, 1, 14, 0)); // 12:00 UTC
    EXPECT_EQ(shortDateTime(1735732800), written(2025, 1, 1, 13, 0)); // 12:00 UTC
}

TEST(ShortDateTime, ReachesBothEndsOfASignedNumber) {
    const EnvironmentGuard zone("TZ", "UTC");
    EXPECT_EQ(shortDateTime(std::numeric_limits<int>::min()), written(1901, 12, 13, 20, 45, 52));
    EXPECT_EQ(shortDateTime(std::numeric_limits<int>::max()), written(2038, 1, 19, 3, 14, 7));
}

} // namespace
