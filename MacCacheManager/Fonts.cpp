#include "MacCacheManager/Fonts.h"

#include <QFontDatabase>
#include <QFontInfo>

#include <algorithm>

namespace corvid {

QFont systemFontOfSize(int size, QFont::Weight weight) {
    constexpr double kUsualSize = 13.0;
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    const double growth = std::max(1.0, QFontInfo(font).pixelSize() / kUsualSize);
    font.setPixelSize(qRound(size * growth));
    font.setWeight(weight);
    return font;
}

} // namespace corvid
