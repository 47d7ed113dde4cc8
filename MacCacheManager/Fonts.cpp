#include "MacCacheManager/Fonts.h"

#include <QFontDatabase>
#include <QFontInfo>

#include <algorithm>

namespace corvid {

double systemFontGrowth() {
    constexpr double kUsualSize = 13.0;
    const QFontInfo system(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    return std::max(1.0, system.pixelSize() / kUsualSize);
}

QFont systemFontOfSize(int size, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(qRound(size * systemFontGrowth()));
    font.setWeight(weight);
    return font;
}

} // namespace corvid
