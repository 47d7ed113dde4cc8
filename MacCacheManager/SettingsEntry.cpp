#include "MacCacheManager/SettingsEntry.h"

#include "store/kvp_line.h"

#include <QFile>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <limits>

#include <sys/stat.h>

namespace corvid {

double numberInField(const QString& text) {
    static const QRegularExpression kNumber(
        QStringLiteral(R"(^\s*([+-]?(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eE][+-]?[0-9]+)?))"));
    return QLocale::c().toDouble(kNumber.match(text).captured(1));
}

int limitInField(const QString& text) {
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(numberInField(text), kLeast, kMost));
}

namespace {

// As few digits as tell the number from its neighbours of the same precision.
template <class Number>
QString shortestText(Number number) {
    char text[400]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(text, text + sizeof(text), number, std::chars_format::fixed).ptr;
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace

QString fieldText(double number) {
    return shortestText(number);
}

QString fieldText(float number) {
    return shortestText(number);
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
    if (folder.back() != '/') {
        folder.append(1, '/');
    }
    if (!fitsKvpLine("default", "DirectoryLocationOfFrameCache", folder.c_str())) {
        return std::nullopt;
    }
    return folder;
}

} // namespace corvid
