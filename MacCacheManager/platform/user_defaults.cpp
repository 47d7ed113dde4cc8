#include "MacCacheManager/platform/user_defaults.h"

#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

int leadingInteger(const QString& text) {
    constexpr int kDecimal = 10;
    const long value = std::strtol(text.toLatin1().constData(), nullptr, kDecimal);
    return static_cast<int>(
        std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

constexpr char kOrganisation[] = "Fernwick Software";
constexpr char kApplication[] = "Cache Manager";

} // namespace

namespace corvid {

std::optional<int> userDefaultInteger(const QString& key) {
    QSettings settings(kOrganisation, kApplication);
    settings.setFallbacksEnabled(false);
    if (!settings.contains(key)) {
        return std::nullopt;
    }
    const QVariant value = settings.value(key);
    // A comma in the file makes a list of the text; what stands before it is enough.
    const bool isList = value.typeId() == QMetaType::QStringList;
    return leadingInteger(isList ? value.toStringList().value(0) : value.toString());
}

void setUserDefaultRect(const QString& key, const QRect& rect) {
    QSettings settings(kOrganisation, kApplication);
    settings.setValue(key, rect);
}

std::optional<QRect> userDefaultRect(const QString& key) {
    QSettings settings(kOrganisation, kApplication);
    settings.setFallbacksEnabled(false);
    const QRect rect = settings.value(key).toRect();
    return rect.isValid() ? std::optional<QRect>(rect) : std::nullopt;
}

} // namespace corvid
