#pragma once

// The settings sheet over a "Config.txt" of the test's own.

#include "MacCacheManager/views/StepperView.h"
#include "store/KavroPISSConfig.h"
#include "tests/support/command_fixture.h"

#include <QCheckBox>
#include <QLabel>

namespace corvid::test {

class SettingsTest : public CommandTest {
protected:
    SettingsTest() {
        KavroPISSConfig::initializePISSConfig();
        setSetting("DirectoryLocationOfFrameCache", cacheRoot() + "/");
    }

    std::string configFile() const { return root.productFile("Config.txt"); }
    std::string config() const { return readFile(configFile()); }
    // The configuration's text with one setting's value replaced, or its line removed for null.
    static std::string with(const std::string& text, const std::string& key,
                            const std::optional<std::string>& value) {
        const std::size_t found = text.find("\t" + key + " ");
        if (found == std::string::npos) {
            throw std::runtime_error("no setting " + key);
        }
        const std::size_t end = text.find('\n', found);
        if (value) {
            const std::size_t start = found + key.size() + 2;
            return text.substr(0, start) + *value + text.substr(end);
        }
        const std::size_t before = text.rfind('\n', found);
        const std::size_t start = before == std::string::npos ? 0 : before + 1;
        return text.substr(0, start) + text.substr(end + 1);
    }
    void setSetting(const std::string& key, const std::string& value) {
        writeFile(configFile(), with(config(), key, value));
    }
    void removeSetting(const std::string& key) {
        writeFile(configFile(), with(config(), key, std::nullopt));
    }

    // Opens the window and the sheet, the latter with the toolbar's button.
    void openSheet() {
        open();
        clickButton("m_btnSettings");
        QCoreApplication::processEvents();
    }
    QDialog& sheet() { return widget<QDialog>("m_sheetSettings"); }
    QLineEdit& size() { return widget<QLineEdit>("m_tbMaxCacheValue"); }
    QLineEdit& path() { return widget<QLineEdit>("m_tbPathToRootCache"); }
    QCheckBox& unlimited() { return widget<QCheckBox>("m_btnUnlimitedCache"); }
    QCheckBox& creation() { return widget<QCheckBox>("m_btnEnableCacheCreation"); }
    QCheckBox& warnings() { return widget<QCheckBox>("m_btnEnableCacheWarnings"); }
    StepperView& stepper() { return widget<StepperView>("m_stepperCacheSize"); }
    std::string sizeText() { return size().text().toStdString(); }

    static void toggle(QCheckBox& box) { QTest::keyClick(&box, Qt::Key_Space); }
    static void enter(QLineEdit& field, const std::string& text) {
        field.setFocus();
        field.selectAll();
        if (text.empty()) {
            QTest::keyClick(&field, Qt::Key_Delete);
        } else {
            QTest::keyClicks(&field, QString::fromStdString(text));
        }
    }
    void save() { clickButton("m_btnSaveSettings"); }
    void cancel() { clickButton("m_btnCancelSettings"); }
};

} // namespace corvid::test
