#include "MacCacheManager/views/StateColors.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace corvid {

namespace {

constexpr double kFlare = 0.05; // light that any screen reflects

double linear(int part) {
    const double share = part / 255.0;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

// As painted: of 8 bits a part.
double luminance(const QColor& color) {
    return 0.2126 * linear(color.red()) + 0.7152 * linear(color.green()) +
           0.0722 * linear(color.blue());
}

double greyLevel(double luminance) {
    return 255.0 * (luminance <= 0.0031308 ? luminance * 12.92
                                           : 1.055 * std::pow(luminance, 1 / 2.4) - 0.055);
}

QColor grey(double level) {
    const int part = std::clamp(static_cast<int>(level), 0, 255);
    return {part, part, part};
}

std::optional<QColor> lighterGrey(double lightest, double ratio) {
    const double wanted = ratio * (lightest + kFlare) - kFlare;
    return wanted <= 1.0 ? std::optional(grey(std::ceil(greyLevel(wanted)))) : std::nullopt;
}

std::optional<QColor> darkerGrey(double darkest, double ratio) {
    const double wanted = (darkest + kFlare) / ratio - kFlare;
    return wanted >= 0.0 ? std::optional(grey(std::floor(greyLevel(wanted)))) : std::nullopt;
}

QColor nearestGrey(const std::vector<QColor>& surfaces, const QColor& text, double ratio) {
    double darkest = 1.0;
    double lightest = 0.0;
    for (const QColor& surface : surfaces) {
        darkest = std::min(darkest, luminance(surface));
        lightest = std::max(lightest, luminance(surface));
    }
    const std::optional<QColor> lighter = lighterGrey(lightest, ratio);
    const std::optional<QColor> darker = darkerGrey(darkest, ratio);
    const bool isLight = luminance(text) > darkest;
    if (lighter && (isLight || !darker)) {
        return *lighter;
    }
    return darker ? *darker : isLight ? QColor(Qt::white) : QColor(Qt::black);
}

} // namespace

double contrastRatio(const QColor& left, const QColor& right) {
    const auto [darker, lighter] = std::minmax({luminance(left), luminance(right)});
    return (lighter + kFlare) / (darker + kFlare);
}

QColor stateColor(const std::vector<QColor>& surfaces, const QColor& text) {
    return nearestGrey(surfaces, text, kStateContrast);
}

QColor legibleText(const QColor& surface, const QColor& text) {
    return contrastRatio(surface, text) >= kTextContrast
               ? text
               : nearestGrey({surface}, text, kTextContrast);
}

} // namespace corvid
