#include "MacCacheManager/SettingsEntry.h"

#include "files/path_text.h"
#include "store/kvp_line.h"
#include "store/settings_keys.h"

#include <QFile>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <limits>

#include <sys/stat.h>

namespace corvid {

namespace {

constexpr double kLeast = std::numeric_limits<int>::min();
constexpr double kMost = std::numeric_limits<int>::max();

// As few digits as tell the number from its neighbours of the same precision.
template <class Number>
QString shortestText(Number number) {
    char text[400]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(text, text + sizeof(text), number, std::chars_format::fixed).ptr;
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace

double numberInField(const QString& text) {
    static const QRegularExpression kNumber(
        QStringLiteral(R"(^\s*([+-]?(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eE][+-]?[0-9]+)?))"));
    const double number = QLocale::c().toDouble(kNumber.match(text).captured(1));
    return std::clamp(number, kLeast, kMost) + 0.0; // which takes the sign from a zero
}

int limitInField(const QString& text) {
    return static_cast<int>(numberInField(text));
}

QString fieldText(double number) {
    return shortestText(number);
}

QString steppedText(const QString& text, float step) {
    const auto present = static_cast<float>(numberInField(text));
    const float sum = std::max(0.0F, present + step); // 0 also for what is not a number
    // The limit itself has no equal in single precision.
    return static_cast<double>(sum) < kMost ? shortestText(sum) : shortestText(kMost);
}

std::optional<std::string> folderInField(const QString& path) {
    std::string folder = QFile::encodeName(path).toStdString();
    struct stat status {};
    // A NUL ends the text for the system, and leading blanks are lost when the settings are read:
    // another folder than the typed one would be kept.
    const bool isKeptAsTyped =
        folder.find('\0') == std::string::npos && folder.find_first_of(kBlanks) != 0;
    if (folder.empty() || !isKeptAsTyped || ::stat(folder.c_str(), &status) != 0) {
        return std::nullopt;
    }
    folder = withSeparator(std::move(folder));
    if (!fitsKvpLine(kGlobalScope, kCacheRoot.name, folder.c_str())) {
        return std::nullopt;
    }
    return folder;
}

} // namespace corvid
