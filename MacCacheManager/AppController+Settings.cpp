#include "MacCacheManager/AppController.h"

#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/SettingsEntry.h"
#include "MacCacheManager/StepperView.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/platform/folder_chooser.h"
#include "store/KavroPISSConfigHelper.h"

#include "ui_SettingsSheet.h"

#include <QCheckBox>
#include <QDialog>
#include <QFile>
#include <QToolButton>

#include <algorithm>

namespace {

constexpr char kGlobalScope[] = "default";
constexpr char kStoreFrames[] = "SpecPreviewStoreFramesCache";
constexpr char kCacheSize[] = "SizeOfFrameCacheInMB";
constexpr char kCacheRoot[] = "DirectoryLocationOfFrameCache";
constexpr char kShowWarnings[] = "ShowCacheManagementWarnings";
constexpr int kUnlimited = -1;
constexpr float kStepInMegabytes = 500;

bool queryGlobal(int& value, const char* key) {
    return KavroPISSConfigHelper::queryIntegerSetting(&value, key, kGlobalScope, nullptr,
                                                      nullptr) != 0;
}

QString unlimitedText() {
    return QStringLiteral("unlimited");
}

} // namespace

void AppController::loadSettingsSheet() {
    m_sheetSettings = new QDialog(m_window.get(), Qt::Sheet);
    Ui::SettingsSheet ui;
    ui.setupUi(m_sheetSettings);
    m_sheetSettings->setWindowModality(Qt::WindowModal);
    m_btnEnableCacheCreation = ui.m_btnEnableCacheCreation;
    m_btnEnableCacheWarnings = ui.m_btnEnableCacheWarnings;
    m_btnUnlimitedCache = ui.m_btnUnlimitedCache;
    m_btnSelectPath = ui.m_btnSelectPath;
    m_stepperCacheSize = ui.m_stepperCacheSize;
    m_boxCacheSettings = ui.m_boxCacheSettings;
    m_tbPathToRootCache = ui.m_tbPathToRootCache;
    m_tbMaxCacheValue = ui.m_tbMaxCacheValue;
    m_stepperCacheSize->setIncrement(kStepInMegabytes);
    QWidget::setTabOrder(m_tbMaxCacheValue, m_stepperCacheSize->upButton());
    QWidget::setTabOrder(m_stepperCacheSize->upButton(), m_stepperCacheSize->downButton());
    QWidget::setTabOrder(m_stepperCacheSize->downButton(), m_btnUnlimitedCache);

    connect(ui.m_btnCancelSettings, &QPushButton::clicked, this, &AppController::cancelSettings);
    connect(ui.m_btnSaveSettings, &QPushButton::clicked, this, &AppController::saveSettings);
    connect(m_btnSelectPath, &QPushButton::clicked, this, &AppController::selectPath);
    connect(m_btnUnlimitedCache, &QCheckBox::clicked, this, &AppController::checkedUnlimitedCache);
    connect(m_btnEnableCacheCreation, &QCheckBox::clicked, this, [this] {
        if (m_tbMaxCacheValue->isEnabled()) { // with no limit there is no typed number to go by
            checkedCacheCreation();
        }
    });
    connect(m_stepperCacheSize, &corvid::StepperView::stepped, this,
            &AppController::incrementMaxCacheSize);
}

void AppController::displaySettingsSheet() {
    initializeSettings();
    initializeWarnings();
    m_stepperCacheSize->setEnabled(!m_btnUnlimitedCache->isChecked());
    m_btnEnableCacheCreation->setFocus();
    m_sheetSettings->open();
}

void AppController::showLimit(bool isLimited, const QString& text) {
    m_btnUnlimitedCache->setChecked(!isLimited);
    m_tbMaxCacheValue->setEnabled(isLimited);
    m_tbMaxCacheValue->setText(text);
}

void AppController::initializeSettings() {
    int storesFrames = 1;
    if (!queryGlobal(storesFrames, kStoreFrames)) {
        storesFrames = 1;
    }
    m_btnEnableCacheCreation->setChecked(storesFrames != 0);

    int limit = 0;
    if (queryGlobal(limit, kCacheSize)) {
        showLimit(limit >= 0, limit >= 0 ? QString::number(limit) : unlimitedText());
    }

    constexpr int kPathSize = 1024;
    char path[kPathSize];
    if (KavroPISSConfigHelper::queryStringSetting(path, kPathSize, kCacheRoot, kGlobalScope,
                                                  nullptr, nullptr) != 0) {
        m_tbPathToRootCache->setText(QFile::decodeName(path));
    }
}

void AppController::initializeWarnings() {
    int shows = 1;
    m_wereWarningsShown = !queryGlobal(shows, kShowWarnings) || shows != 0;
    m_btnEnableCacheWarnings->setChecked(m_wereWarningsShown);
}

void AppController::commitWarnings() {
    const bool shows = m_btnEnableCacheWarnings->isChecked();
    if (shows != m_wereWarningsShown) {
        KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(kShowWarnings, shows ? 1 : 0);
    }
}

void AppController::cancelSettings() {
    m_sheetSettings->reject();
}

void AppController::saveSettings() {
    if (commitChanges()) {
        commitWarnings();
        m_sheetSettings->accept();
    }
}

bool AppController::isLowLimitAccepted(int limit) {
    return corvid::runAlertPanel(
               m_sheetSettings, QStringLiteral("Are you sure you want to set a low cache limit?"),
               QStringLiteral(
                   "You have entered a \"%1\" as your cache limit. This could be due to entering "
                   "non-numeric characters in \"Max. cache size\" field.")
                   .arg(limit),
               QStringLiteral("Yes"), QStringLiteral("No")) == corvid::AlertAnswer::Default;
}

bool AppController::commitChanges() {
    const bool isUnlimited = m_btnUnlimitedCache->isChecked();
    const QString path = m_tbPathToRootCache->text();
    const std::optional<std::string> folder = corvid::folderInField(path);
    if (!folder) {
        corvid::runAlertPanel(
            m_sheetSettings, QStringLiteral("The default root cache location is invalid"),
            QStringLiteral("\"") + path + QStringLiteral("\" is either invalid or does not exist"),
            QStringLiteral("OK"));
        return false;
    }
    int limit = kUnlimited;
    if (!isUnlimited) {
        limit = corvid::limitInField(m_tbMaxCacheValue->text());
        if (limit <= 0 && !isLowLimitAccepted(limit)) {
            return false;
        }
        limit = corvid::limitInField(m_tbMaxCacheValue->text());
    }
    KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(kCacheSize, limit);
    KavroPISSConfigHelper::addOrUpdateGlobalStringSetting(kCacheRoot, folder->c_str());
    KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(
        kStoreFrames, m_btnEnableCacheCreation->isChecked() ? 1 : 0);
    return true;
}

void AppController::checkedUnlimitedCache() {
    const bool isLimited = !m_btnUnlimitedCache->isChecked();
    showLimit(isLimited, isLimited ? QStringLiteral("20000") : unlimitedText());
    m_stepperCacheSize->setEnabled(isLimited);
}

void AppController::checkedCacheCreation() {
    const double number = corvid::numberInField(m_tbMaxCacheValue->text());
    const bool isLimited = number >= 0;
    showLimit(isLimited, corvid::fieldText(isLimited ? number : double{kUnlimited}));
    m_stepperCacheSize->setEnabled(isLimited);
}

void AppController::incrementMaxCacheSize(float value) {
    const auto present = static_cast<float>(corvid::numberInField(m_tbMaxCacheValue->text()));
    m_tbMaxCacheValue->setText(corvid::fieldText(std::max(present + value, 0.0F)));
}

void AppController::selectPath() {
    if (const std::optional<QString> folder = selectFolder(m_tbPathToRootCache->text())) {
        m_tbPathToRootCache->setText(*folder);
    }
}

std::optional<QString> AppController::selectFolder(const QString& startFolder) {
    QWidget* window = m_sheetSettings->isVisible() ? static_cast<QWidget*>(m_sheetSettings)
                                                   : static_cast<QWidget*>(m_window.get());
    return corvid::chooseFolder(window, QStringLiteral("Select a new location for the cache files"),
                                QStringLiteral("Choose folder"), startFolder);
}
