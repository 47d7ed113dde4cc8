#pragma once

#include <QDialog>

#include <memory>
#include <optional>

namespace Ui {
class SettingsSheet;
}

namespace corvid {

// The sheet of the main window in which the settings are shown, checked and saved. It asks for
// what has to wait until no command is at work; the rest it does at once.
class SettingsSheet : public QDialog {
    Q_OBJECT

public:
    explicit SettingsSheet(QWidget* window);
    ~SettingsSheet() override;

    // Opens with what the settings say now.
    void display();
    // Fills the controls from the settings.
    void initializeSettings();
    // Checks the entries and writes them; false, with nothing written, when a check fails.
    bool commitChanges();
    // Writes the entries and closes; stays open when a check fails.
    void save();
    // Lets the user choose the folder of new caches.
    void selectPath();
    // The folder chooser, over the sheet while it is open and else over the window; nothing when
    // the user cancels.
    std::optional<QString> selectFolder(const QString& startFolder);

    void checkedUnlimitedCache();
    void checkedCacheCreation();
    // Adds megabytes to the limit that is typed.
    void incrementMaxCacheSize(float value);

signals:
    void saveRequested();
    void pathRequested();

private:
    void setupTabOrder();
    void connectControls();
    void initializeWarnings();
    void commitWarnings();
    void showLimit(bool isLimited, const QString& text);
    bool isLowLimitAccepted(int limit);

    std::unique_ptr<Ui::SettingsSheet> m_ui;
    bool m_wereWarningsShown = true;
};

} // namespace corvid
