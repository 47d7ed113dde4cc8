#include "MacCacheManager/UISettings.h"

#include "MacCacheManager/platform/user_defaults.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int kNoBrightnessSet = -100;
constexpr int kLastDarkBrightness = -74;
constexpr float kGreyWithoutBrightness = 0.28F;
constexpr float kDarkSchemeTextGrey = 0.76F;
constexpr float kKnobOutlineGrey = 0.15F;

int brightnessSet() {
    return corvid::userDefaultInteger(QStringLiteral("brightness")).value_or(kNoBrightnessSet);
}

// Negative levels darken by one step a unit, positive ones brighten by one step per two units.
float greyLevel(int brightness) {
    constexpr int kMiddleStep = 166;
    constexpr float kWhiteStep = 255.0F;
    if (brightness <= kNoBrightnessSet) {
        return kGreyWithoutBrightness;
    }
    const int step = brightness < 0 ? kMiddleStep + brightness : kMiddleStep + brightness / 2;
    return std::min(static_cast<float>(step) / kWhiteStep, 1.0F);
}

QColor grey(float level) {
    return QColor::fromRgbF(level, level, level);
}

} // namespace

UISettings::UISettings() : UISettings(sharedBrightness()) {
    setupDefaults();
}

UISettings::UISettings(int brightness) : UISettings(std::make_shared<int>(brightness)) {}

UISettings::UISettings(std::shared_ptr<int> brightness) : m_brightness(std::move(brightness)) {}

const std::shared_ptr<int>& UISettings::sharedBrightness() {
    static const auto shared = std::make_shared<int>(brightnessSet());
    return shared;
}

UISettings* UISettings::instance() {
    static UISettings shared(sharedBrightness());
    return &shared;
}

void UISettings::setupDefaults() {
    *m_brightness = brightnessSet();
}

bool UISettings::isUsingBrightColorScheme() const {
    return *m_brightness > kLastDarkBrightness;
}

QColor UISettings::scaleColor(const QColor& color, float brightnessFactor) {
    float hue = 0;
    float saturation = 0;
    float brightness = 0;
    float alpha = 0;
    color.getHsvF(&hue, &saturation, &brightness, &alpha);
    const float scaled = std::clamp(brightness * brightnessFactor, 0.0F, 1.0F);
    return QColor::fromHsvF(hue, saturation, scaled, alpha).toRgb();
}

QColor UISettings::getClrFillPrimary() const {
    return grey(greyLevel(*m_brightness));
}
QColor UISettings::getClrFillSecondary() const {
    return scaledPrimary(0.9F);
}
QColor UISettings::getClrFillToolbar() const {
    return scaledPrimary(1.15F);
}
QColor UISettings::getClrHeaderGradStart() const {
    return scaledPrimary(1.2F);
}
QColor UISettings::getClrHeaderGradEnd() const {
    return scaledPrimary(0.85F);
}
QColor UISettings::getClrHeaderOutlineHighlight() const {
    return scaledPrimary(2.0F);
}
QColor UISettings::getClrHeaderOutlineShadow() const {
    return scaledPrimary(0.7F);
}
QColor UISettings::getClrOutlineViewHighlight() const {
    return scaledPrimary(0.75F);
}
QColor UISettings::getClrScrollKnobGradStart() const {
    return scaledPrimary(1.3F);
}
QColor UISettings::getClrScrollKnobGradEnd() const {
    return scaledPrimary(0.95F);
}
QColor UISettings::getClrScrollSlotGradStart() const {
    return scaledPrimary(0.65F);
}
QColor UISettings::getClrScrollSlotGradEnd() const {
    return scaledPrimary(1.5F);
}
QColor UISettings::getClrScrollKnobOutline() const {
    return grey(kKnobOutlineGrey);
}
QColor UISettings::getClrTextOutlineView() const {
    return textColor();
}
QColor UISettings::getClrTextTableHeader() const {
    return textColor();
}
QColor UISettings::getClrTextStats() const {
    return textColor();
}

QColor UISettings::scaledPrimary(float brightnessFactor) const {
    return scaleColor(getClrFillPrimary(), brightnessFactor);
}

QColor UISettings::textColor() const {
    return isUsingBrightColorScheme() ? grey(0.0F) : grey(kDarkSchemeTextGrey);
}
