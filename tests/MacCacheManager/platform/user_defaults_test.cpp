#include "MacCacheManager/platform/user_defaults.h"

#include "tests/support/user_defaults_folder.h"

#include <QDir>
#include <QFile>

#include <limits>

namespace {

class UserDefaultInteger : public UserDefaultsFolder {
protected:
    static std::optional<int> brightness() {
        return corvid::userDefaultInteger(QStringLiteral("brightness"));
    }

    // The settings as a user or another program would write them.
    void writeFile(const char* text) const {
        ASSERT_TRUE(QDir(folder()).mkpath(QStringLiteral("Fernwick Software")));
        QFile file(folder() + QStringLiteral("/Fernwick Software/Cache Manager.conf"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
};

} // namespace

TEST_F(UserDefaultInteger, AbsentKeyHasNoValue) {
    EXPECT_EQ(brightness(), std::nullopt);
}

TEST_F(UserDefaultInteger, NumbersAreReadAsTheyStand) {
    setBrightness(-74);
    EXPECT_EQ(brightness(), -74);
}

TEST_F(UserDefaultInteger, FileWrittenByHandIsRead) {
    writeFile("[General]\nbrightness=-99\n");
    EXPECT_EQ(brightness(), -99);
}

TEST_F(UserDefaultInteger, TextReadsAsItsLeadingInteger) {
    setBrightness(QStringLiteral("  +42 percent"));
    EXPECT_EQ(brightness(), 42);
}

TEST_F(UserDefaultInteger, FractionIsCutOff) {
    setBrightness(QStringLiteral("-12.9"));
    EXPECT_EQ(brightness(), -12);
}

TEST_F(UserDefaultInteger, ListOfTheFileReadsAsItsFirstNumber) {
    writeFile("[General]\nbrightness=12,9\n");
    EXPECT_EQ(brightness(), 12);
}

TEST_F(UserDefaultInteger, TextWithoutDigitsIsZero) {
    setBrightness(QStringLiteral("bright"));
    EXPECT_EQ(brightness(), 0);
}

TEST_F(UserDefaultInteger, EmptyTextIsZero) {
    setBrightness(QString());
    EXPECT_EQ(brightness(), 0);
}

TEST_F(UserDefaultInteger, NumberBeyondAnIntIsTheNearestInt) {
    setBrightness(QStringLiteral("99999999999999999999"));
    EXPECT_EQ(brightness(), std::numeric_limits<int>::max());
    setBrightness(QStringLiteral("-99999999999"));
    EXPECT_EQ(brightness(), std::numeric_limits<int>::min());
}

TEST_F(UserDefaultInteger, SettingsOfTheWholeOrganisationDoNotCount) {
    QSettings organisation(QStringLiteral("Fernwick Software"));
    organisation.setValue(QStringLiteral("brightness"), 50);
    organisation.sync();
    EXPECT_EQ(brightness(), std::nullopt);
}
