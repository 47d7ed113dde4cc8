#include "MacCacheManager/SettingsSheet.h"

#include "MacCacheManager/SettingsEntry.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/platform/folder_chooser.h"
#include "MacCacheManager/views/StepperView.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/settings_keys.h"

#include "ui_SettingsSheet.h"

#include <QFile>

namespace corvid {

namespace {

constexpr float kStepInMegabytes = 500;

bool queryGlobal(int& value, const SettingKey& key) {
    return KavroPISSConfigHelper::queryIntegerSetting(&value, key.name, kGlobalScope, nullptr,
                                                      nullptr) != 0;
}

QString unlimitedText() {
    return QStringLiteral("unlimited");
}

} // namespace

SettingsSheet::SettingsSheet(QWidget* window)
    : QDialog(window, Qt::Sheet), m_ui(std::make_unique<Ui::SettingsSheet>()) {
    m_ui->setupUi(this);
    setWindowModality(Qt::WindowModal);
    m_ui->m_stepperCacheSize->setIncrement(kStepInMegabytes);
    setupTabOrder();
    connectControls();
}

SettingsSheet::~SettingsSheet() = default;

void SettingsSheet::setupTabOrder() {
    const StepperView* stepper = m_ui->m_stepperCacheSize;
    QWidget::setTabOrder(m_ui->m_tbMaxCacheValue, stepper->upButton());
    QWidget::setTabOrder(stepper->upButton(), stepper->downButton());
    QWidget::setTabOrder(stepper->downButton(), m_ui->m_btnUnlimitedCache);
}

void SettingsSheet::connectControls() {
    connect(m_ui->m_btnCancelSettings, &QPushButton::clicked, this, &SettingsSheet::reject);
    connect(m_ui->m_btnSaveSettings, &QPushButton::clicked, this, &SettingsSheet::saveRequested);
    connect(m_ui->m_btnSelectPath, &QPushButton::clicked, this, &SettingsSheet::pathRequested);
    connect(m_ui->m_btnUnlimitedCache, &QCheckBox::clicked, this,
            &SettingsSheet::checkedUnlimitedCache);
    connect(m_ui->m_btnEnableCacheCreation, &QCheckBox::clicked, this, [this] {
        // With no limit there is no typed number to go by.
        if (m_ui->m_tbMaxCacheValue->isEnabled()) {
            checkedCacheCreation();
        }
    });
    connect(m_ui->m_stepperCacheSize, &StepperView::stepped, this, [this](float value) {
        if (m_ui->m_tbMaxCacheValue->isEnabled()) { // else there is none to add to
            incrementMaxCacheSize(value);
        }
    });
}

void SettingsSheet::display() {
    initializeSettings();
    initializeWarnings();
    m_ui->m_btnEnableCacheCreation->setFocus();
    open();
}

void SettingsSheet::showLimit(bool isLimited, const QString& text) {
    m_ui->m_btnUnlimitedCache->setChecked(!isLimited);
    m_ui->m_tbMaxCacheValue->setEnabled(isLimited);
    m_ui->m_tbMaxCacheValue->setText(text);
}

void SettingsSheet::initializeSettings() {
    int storesFrames = 1;
    if (!queryGlobal(storesFrames, kStoreFrames)) {
        storesFrames = 1;
    }
    m_ui->m_btnEnableCacheCreation->setChecked(storesFrames != 0);

    int limit = 0;
    if (queryGlobal(limit, kCacheSize)) {
        showLimit(limit >= 0, limit >= 0 ? QString::number(limit) : unlimitedText());
    }

    constexpr int kPathSize = 1024;
    char path[kPathSize];
    if (KavroPISSConfigHelper::queryStringSetting(path, kPathSize, kCacheRoot.name, kGlobalScope,
                                                  nullptr, nullptr) != 0) {
        m_ui->m_tbPathToRootCache->setText(QFile::decodeName(path));
    }
}

void SettingsSheet::initializeWarnings() {
    int shows = 1;
    m_wereWarningsShown = !queryGlobal(shows, kShowWarnings) || shows != 0;
    m_ui->m_btnEnableCacheWarnings->setChecked(m_wereWarningsShown);
}

void SettingsSheet::commitWarnings() {
    const bool shows = m_ui->m_btnEnableCacheWarnings->isChecked();
    if (shows != m_wereWarningsShown) {
        KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(kShowWarnings.name, shows ? 1 : 0);
    }
}

void SettingsSheet::save() {
    if (commitChanges()) {
        commitWarnings();
        accept();
    }
}

bool SettingsSheet::isLowLimitAccepted(int limit) {
    return runAlertPanel(
               this, QStringLiteral("Are you sure you want to set a low cache limit?"),
               QStringLiteral(
                   "You have entered a \"%1\" as your cache limit. This could be due to entering "
                   "non-numeric characters in \"Max. cache size\" field.")
                   .arg(limit),
               QStringLiteral("Yes"), QStringLiteral("No")) == AlertAnswer::Default;
}

bool SettingsSheet::commitChanges() {
    const bool isUnlimited = m_ui->m_btnUnlimitedCache->isChecked();
    const QString path = m_ui->m_tbPathToRootCache->text();
    const std::optional<std::string> folder = folderInField(path);
    if (!folder) {
        runAlertPanel(this, QStringLiteral("The default root cache location is invalid"),
                      QStringLiteral("\"") + path +
                          QStringLiteral("\" is either invalid or does not exist"),
                      QStringLiteral("OK"));
        return false;
    }
    int limit = kUnlimitedCacheSize;
    if (!isUnlimited) {
        limit = limitInField(m_ui->m_tbMaxCacheValue->text());
        if (limit <= 0 && !isLowLimitAccepted(limit)) {
            return false;
        }
        limit = limitInField(m_ui->m_tbMaxCacheValue->text());
    }
    KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(kCacheSize.name, limit);
    KavroPISSConfigHelper::addOrUpdateGlobalStringSetting(kCacheRoot.name, folder->c_str());
    KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(
        kStoreFrames.name, m_ui->m_btnEnableCacheCreation->isChecked() ? 1 : 0);
    return true;
}

void SettingsSheet::checkedUnlimitedCache() {
    const bool isLimited = !m_ui->m_btnUnlimitedCache->isChecked();
    showLimit(isLimited, isLimited ? QString::number(kCacheSize.number) : unlimitedText());
    m_ui->m_stepperCacheSize->setEnabled(isLimited);
}

void SettingsSheet::checkedCacheCreation() {
    const double number = numberInField(m_ui->m_tbMaxCacheValue->text());
    const bool isLimited = number >= 0;
    showLimit(isLimited, fieldText(isLimited ? number : double{kUnlimitedCacheSize}));
    m_ui->m_stepperCacheSize->setEnabled(isLimited);
}

void SettingsSheet::incrementMaxCacheSize(float value) {
    m_ui->m_tbMaxCacheValue->setText(steppedText(m_ui->m_tbMaxCacheValue->text(), value));
}

void SettingsSheet::selectPath() {
    if (const std::optional<QString> folder = selectFolder(m_ui->m_tbPathToRootCache->text())) {
        m_ui->m_tbPathToRootCache->setText(*folder);
    }
}

std::optional<QString> SettingsSheet::selectFolder(const QString& startFolder) {
    return chooseFolder(isVisible() ? this : parentWidget(),
                        QStringLiteral("Select a new location for the cache files"),
                        QStringLiteral("Choose folder"), startFolder);
}

} // namespace corvid
