// print_tree: the cache tree as the window shows it, as an aligned text table. For a look without a
// screen.

#include "MacCacheManager/CacheDataSource.h"
#include "MacCacheManager/FrameCacheEntry.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <array>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kColumns = 4;
using Row = std::array<QString, kColumns>;

void addRows(const FrameCacheEntry* node, qsizetype depth, std::vector<Row>& rows) {
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        const FrameCacheEntry* child = node->getChildAt(i);
        rows.push_back({QString(2 * depth, QLatin1Char(' ')) + child->getDisplayName(),
                        child->getFileSizeString(), child->getFileCountString(),
                        child->getLastModifiedTime()});
        addRows(child, depth + 1, rows);
    }
}

// The first column flush left, sizes and counts flush right.
void print(const std::vector<Row>& rows) {
    std::array<qsizetype, kColumns> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const Row& row : rows) {
        const QString line =
            row[0].leftJustified(static_cast<int>(widths[0])) + QStringLiteral("  ") +
            row[1].rightJustified(static_cast<int>(widths[1])) + QStringLiteral("  ") +
            row[2].rightJustified(static_cast<int>(widths[2])) + QStringLiteral("  ") + row[3];
        std::cout << line.toUtf8().constData() << '\n';
    }
}

} // namespace

int main() {
    CacheDataSource source;
    source.setShouldProvideData(true);
    source.reload();

    const FrameCacheEntry* root = source.getRootNode();
    std::vector<Row> rows = {{QStringLiteral("Name"), QStringLiteral("Size"),
                              QStringLiteral("Files"), QStringLiteral("Last modified")}};
    addRows(root, 0, rows);
    print(rows);
    std::cout << "\nIn all: " << root->getNumberOfChildren() << " projects, "
              << root->getFileSizeString().toUtf8().constData() << ", "
              << root->getFileCountString().toUtf8().constData() << " files\n"
              << std::flush;
    return std::cout ? 0 : 1;
}
