#include "MacCacheManager/columns.h"

#include "MacCacheManager/platform/date_formatter.h"
#include "files/size_text.h"

#include <QDateTime>
#include <QtGlobal>

#include <cmath>
#include <cstdint>
#include <ctime>

namespace corvid {

namespace {

using Node = FrameCacheEntry;

int digitsOf(double number) {
    int digits = 1;
    for (auto rest = static_cast<std::uint64_t>(number); rest >= 10; rest /= 10) {
        ++digits;
    }
    return digits;
}

int shapeOfSize(const FrameCacheEntry& node) {
    const SizeInUnit size = sizeInUnit(node.getFileSize());
    constexpr double kRounding = 0.005; // 9.995 has the shape of 10.00
    const int digits = digitsOf(size.number + (size.decimals > 0 ? kRounding : 0));
    return size.unit[0] * 16 + digits;
}

int shapeOfCount(const FrameCacheEntry& node) {
    const auto count = static_cast<double>(node.getFileCount());
    return digitsOf(std::fabs(count)) + (count < 0 ? 16 : 0);
}

// Months and halves of the day can have names, days and hours one digit or two.
int shapeOfDate(const FrameCacheEntry& node) {
    const std::time_t seconds = node.getModifiedTime();
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return (local.tm_mon * 24 + local.tm_hour) * 2 + (local.tm_mday < 10 ? 0 : 1);
}

std::vector<QString> datesOfAllShapes() {
    std::vector<QString> texts;
    for (int month = 1; month <= 12; ++month) {
        for (const int hour : {10, 22}) {
            const QDateTime time(QDate(2028, month, 28), QTime(hour, 58));
            texts.push_back(shortDateTime(time.toSecsSinceEpoch()));
        }
    }
    return texts;
}

} // namespace

const std::vector<Column>& outlineColumns() {
    static const std::vector<Column> columns = {
        {"cache_type", QT_TRANSLATE_NOOP("OutlineModel", "Name"), Qt::AlignLeft, 0,
         [](const Node& node) { return node.getDisplayName(); }, nullptr, nullptr, nullptr},
        {"file_size", QT_TRANSLATE_NOOP("OutlineModel", "Size"), Qt::AlignRight, 60,
         [](const Node& node) { return node.getFileSizeString(); }, shapeOfSize,
         [](const Node& node) { return Node::readableFileSize(node.getFileSize()); }, nullptr},
        {"file_count", QT_TRANSLATE_NOOP("OutlineModel", "Files"), Qt::AlignRight, 60,
         [](const Node& node) { return node.getFileCountString(); }, shapeOfCount,
         [](const Node& node) { return QString::number(node.getFileCount()); }, nullptr},
        {"modified", QT_TRANSLATE_NOOP("OutlineModel", "Last modified"), Qt::AlignRight, 150,
         [](const Node& node) { return node.getLastModifiedTime(); }, shapeOfDate,
         [](const Node& node) { return shortDateTime(node.getModifiedTime()); }, datesOfAllShapes}};
    return columns;
}

} // namespace corvid
