#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/CommandMenus.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/SettingsSheet.h"
#include "MacCacheManager/StatisticsView.h"
#include "MacCacheManager/ToolbarView.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/platform/user_defaults.h"
#include "MacCacheManager/views/SchemePalette.h"
#include "MacCacheManager/views/SchemeStyle.h"
#include "MacCacheManager/views/ToolbarButton.h"
#include "runtime/maro_log.h"

#include "ui_MainWindow.h"

#include <QApplication>
#include <QScreen>

bool g_shouldJumpToLastModified = false;

namespace {

constexpr int kStatisticsFontSize = 11;

QString windowFrameKey() {
    return QStringLiteral("windowFrame");
}

} // namespace

AppController::AppController()
    : m_model(m_dataSource), m_window(std::make_unique<CorvidPanel>()),
      m_ui(std::make_unique<Ui::MainWindow>()) {
    corvid::startDecodingImages();
#ifndef Q_OS_MACOS
    QApplication::setStyle(new corvid::SchemeStyle);
#endif
    QApplication::setPalette(corvid::schemePalette(*UISettings::instance()));
    loadWindow();
    QApplication::setWindowIcon(corvid::programIcon());
    m_settingsSheet = new corvid::SettingsSheet(m_window.get());
    connectWindow();
    m_window->awakeFromNib();
}

AppController::~AppController() = default;

void AppController::loadWindow() {
    m_ui->setupUi(m_window.get());
    // The menu bar would otherwise be made only when the first menu is.
    m_window->setCentralWidget(m_ui->m_viewContent);
    m_outlineView = m_ui->m_outlineView;
    m_progressSpinner = m_ui->m_progressSpinner;

    m_dataSource.setProgressSpinner(m_progressSpinner);
    m_outlineView->setOutlineModel(&m_model);
    m_outlineView->setupOutlineView();
    m_outlineView->setFocus();
    setupFonts();
    m_ui->m_viewToolbar->awakeFromNib();
    m_ui->m_viewStatistics->awakeFromNib();
    m_menus = std::make_unique<corvid::CommandMenus>(*this, *m_window, *m_ui);
}

void AppController::setupFonts() {
    for (QLabel* label : m_ui->m_viewStatistics->findChildren<QLabel*>()) {
        const bool isTitle = label->objectName().startsWith(QLatin1String("m_title"));
        label->setFont(corvid::systemFontOfSize(kStatisticsFontSize,
                                                isTitle ? QFont::DemiBold : QFont::Normal));
        label->setTextFormat(Qt::PlainText);
    }
}

void AppController::connectWindow() {
    connect(m_outlineView, &CacheOutlineView::selectionDidChange, this,
            &AppController::outlineViewSelectionDidChange);
    connect(m_progressSpinner, &ActivityView::stopRequested, this,
            [this] { m_dataSource.stopReading(); });
    connect(m_window.get(), &CorvidPanel::windowWillClose, this, &AppController::windowWillClose);
    connect(m_settingsSheet, &corvid::SettingsSheet::saveRequested, this,
            &AppController::saveSettings);
    connect(m_settingsSheet, &corvid::SettingsSheet::pathRequested, this,
            &AppController::selectPath);
    m_window->setWindowShouldClose([this] { return windowShouldClose(); });
    m_outlineView->setWillDisplayOutlineCell(
        [this](corvid::DisclosureCell& cell) { outlineViewWillDisplayOutlineCell(cell); });
}

void AppController::awakeFromNib() {
    m_deletionArray.reset();
    placeWindow();
    m_outlineView->setPlaceholderText(readingText());
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    setupContextMenus();
    outlineViewSelectionDidChange();
}

void AppController::placeWindow() {
    const std::optional<QRect> saved = corvid::userDefaultRect(windowFrameKey());
    if (saved) {
        m_window->setGeometry(*saved);
    }
    // Whether it is to be centred is decided by where it was, not by what is made of it.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const bool isCentred = !saved || corvid::liesOffScreen(m_window->geometry(), screen);
    m_window->fitScreen();
    if (isCentred) {
        m_window->center();
    }
}

void AppController::applicationDidFinishLaunching() {
    maro_log("Application finished launching.");
    maro_log("Notifying the datasource that it should provide data");
    m_dataSource.setShouldProvideData(true);
    m_window->waitForFirstFrame();
    refreshData();
    if (g_shouldJumpToLastModified) {
        selectOldestProject();
    }
}

void AppController::windowWillClose() {
    corvid::setUserDefaultRect(windowFrameKey(), m_window->geometry());
    QCoreApplication::quit();
}

QString AppController::readingText() {
    return tr("Reading…");
}

FrameCacheEntry* AppController::getSelectedItem() const {
    const int row = m_outlineView->selectedRow();
    return row >= 0 ? m_model.itemAtRow(row) : nullptr;
}

void AppController::initializeSettings() {
    m_settingsSheet->initializeSettings();
}

bool AppController::commitChanges() {
    return m_settingsSheet->commitChanges();
}

std::optional<QString> AppController::selectFolder(const QString& startFolder) {
    return m_settingsSheet->selectFolder(startFolder);
}

void AppController::displaySettingsSheet() {
    runCommand(&AppController::displaySettingsSheet, [this] { m_settingsSheet->display(); });
}

void AppController::cancelSettings() {
    m_settingsSheet->reject();
}

void AppController::saveSettings() {
    runCommand(&AppController::saveSettings, [this] { m_settingsSheet->save(); });
}

void AppController::checkedUnlimitedCache() {
    m_settingsSheet->checkedUnlimitedCache();
}

void AppController::checkedCacheCreation() {
    m_settingsSheet->checkedCacheCreation();
}

void AppController::incrementMaxCacheSize(float value) {
    m_settingsSheet->incrementMaxCacheSize(value);
}

void AppController::selectPath() {
    runCommand(&AppController::selectPath, [this] { m_settingsSheet->selectPath(); });
}
