// What a user may type into the settings sheet. The number is compared with what the C library
// reads from the same characters; a folder that is taken exists, ends in "/" and comes back from
// the configuration as it was.

#include "MacCacheManager/SettingsEntry.h"
#include "files/owned_text.h"
#include "fuzz/round_trip.h"
#include "store/KavroPISSConfig.h"

#include <QString>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::size_t skipDigits(const std::string& text, std::size_t place) {
    while (place < text.size() && isDigit(text[place])) {
        ++place;
    }
    return place;
}

std::size_t skipSign(const std::string& text, std::size_t place) {
    return place < text.size() && (text[place] == '+' || text[place] == '-') ? place + 1 : place;
}

// The decimal number that the text begins with, blanks in front of it aside, as text; "" for none.
std::string numberText(const std::string& text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const std::size_t whole = skipSign(text, begin);
    std::size_t end = skipDigits(text, whole);
    std::size_t digits = end - whole;
    if (end < text.size() && text[end] == '.') {
        const std::size_t fraction = skipDigits(text, end + 1);
        digits += fraction - end - 1;
        end = fraction;
    }
    if (digits == 0) {
        return "";
    }
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        const std::size_t power = skipSign(text, end + 1);
        const std::size_t behind = skipDigits(text, power);
        end = behind > power ? behind : end;
    }
    return text.substr(begin, end - begin);
}

void requireNumber(const std::string& typed) {
    const QString field = QString::fromLatin1(typed.data(), static_cast<qsizetype>(typed.size()));
    const double expected =
        std::clamp<double>(std::strtod(numberText(typed).c_str(), nullptr), INT_MIN, INT_MAX);
    const double number = corvid::numberInField(field);
    require(number == expected,
            "the number is that of the leading decimal digits, held within 32 bits");
    require(number != 0 || !std::signbit(number), "zero has no sign");
    require(corvid::limitInField(field) == static_cast<int>(expected),
            "the limit is the number without its fraction");
    require(corvid::numberInField(corvid::fieldText(number)) == number,
            "the field shows the number itself");
}

void requireFolder(const std::string& typed) {
    const QString field = QString::fromUtf8(typed.data(), static_cast<qsizetype>(typed.size()));
    const std::optional<std::string> folder = corvid::folderInField(field);
    if (!folder) {
        return;
    }
    require(folder->size() > 0 && folder->back() == '/', "a folder ends in a separator");
    require(std::strlen(folder->c_str()) == folder->size(), "a folder is one text");
    {
        KavroPISSConfig config;
        require(config.ChangeItem("default", "DirectoryLocationOfFrameCache", folder->c_str()),
                "a folder can be kept");
        require(config.Commit(), "the configuration can be committed");
    }
    KavroPISSConfig config;
    char* kept = nullptr;
    require(config.GetItem(&kept, "default", "DirectoryLocationOfFrameCache"), "a folder is kept");
    const corvid::OwnedText owned(kept);
    requireEqual(*folder, kept, "a folder is kept as it was typed");
}

// Names to be found by what is typed, in the directory that relative names begin at.
bool makeWorld() {
    namespace fs = std::filesystem;
    fs::current_path(ScratchRoot::path());
    for (const char* name :
         {"folder", "a b", " leading", "trailing ", "l\nf", "\xc3\xa4", "-p", "\t"}) {
        fs::create_directory(name);
    }
    writeFile("file", "", 0);
    KavroPISSConfig::initializePISSConfig();
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool kReady = makeWorld();
    static_cast<void>(kReady);
    const std::string typed(reinterpret_cast<const char*>(data), size);
    requireNumber(typed);
    requireFolder(typed);
    return 0;
}
