#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/SchemePalette.h"
#include "MacCacheManager/StatisticsView.h"
#include "MacCacheManager/StepperView.h"
#include "MacCacheManager/ToolbarButton.h"
#include "MacCacheManager/ToolbarView.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/platform/user_defaults.h"
#include "runtime/maro_log.h"

#include "ui_MainWindow.h"

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>

bool g_shouldJumpToLastModified = false;

namespace {

constexpr int kStatisticsFontSize = 11;

QString windowFrameKey() {
    return QStringLiteral("windowFrame");
}

} // namespace

AppController::AppController() : m_model(m_dataSource), m_window(std::make_unique<CorvidPanel>()) {
    corvid::startDecodingImages();
    QApplication::setPalette(corvid::schemePalette(*UISettings::instance()));
    loadWindow();
    QApplication::setWindowIcon(corvid::programIcon());
    loadSettingsSheet();
    connectWindow();
    m_window->awakeFromNib();
}

AppController::~AppController() = default;

void AppController::loadWindow() {
    Ui::MainWindow ui;
    ui.setupUi(m_window.get());
    // The menu bar would otherwise be made only when the first menu is.
    m_window->setCentralWidget(ui.m_viewContent);
    m_outlineView = ui.m_outlineView;
    m_progressSpinner = ui.m_progressSpinner;
    m_labelTotalSpace = ui.m_labelTotalSpace;
    m_labelTotalFiles = ui.m_labelTotalFiles;
    m_labelTotalProjects = ui.m_labelTotalProjects;
    m_labelSelectedSpace = ui.m_labelSelectedSpace;
    m_labelSelectedFiles = ui.m_labelSelectedFiles;
    m_labelSelectedProjects = ui.m_labelSelectedProjects;

    m_dataSource.setProgressSpinner(m_progressSpinner);
    m_outlineView->setOutlineModel(&m_model);
    m_outlineView->setupOutlineView();
    m_outlineView->setFocus();
    setupFonts();
    ui.m_viewToolbar->awakeFromNib();
    ui.m_viewStatistics->awakeFromNib();

    connect(ui.m_btnDelete, &QToolButton::clicked, this, &AppController::delete_);
    connect(ui.m_btnRefresh, &QToolButton::clicked, this, &AppController::refreshData);
    connect(ui.m_btnFinder, &QToolButton::clicked, this, &AppController::revealInFinder);
    connect(ui.m_btnSettings, &QToolButton::clicked, this, &AppController::displaySettingsSheet);
    setupMenuBar();
}

void AppController::setupFonts() {
    auto* statistics = m_window->findChild<StatisticsView*>();
    for (QLabel* label : statistics->findChildren<QLabel*>()) {
        const bool isTitle = label->objectName().startsWith(QLatin1String("m_title"));
        label->setFont(corvid::systemFontOfSize(kStatisticsFontSize,
                                                isTitle ? QFont::DemiBold : QFont::Normal));
        label->setTextFormat(Qt::PlainText);
    }
}

void AppController::connectWindow() {
    connect(m_outlineView, &CacheOutlineView::selectionDidChange, this,
            &AppController::outlineViewSelectionDidChange);
    connect(m_window.get(), &CorvidPanel::windowWillClose, this, &AppController::windowWillClose);
    m_outlineView->setWillDisplayOutlineCell(
        [this](corvid::DisclosureCell& cell) { outlineViewWillDisplayOutlineCell(cell); });
}

void AppController::addMenuCommand(QMenu* menu, const QString& title,
                                   void (AppController::*action)(),
                                   const QList<QKeySequence>& shortcuts) {
    QAction* command = menu->addAction(title, this, action);
    command->setShortcuts(shortcuts);
}

void AppController::setupMenuBar() {
    QMenuBar* bar = m_window->menuBar();
    QMenu* file = bar->addMenu(tr("&File"));
    addMenuCommand(file, tr("&Reveal in Finder"), &AppController::revealInFinder,
                   {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R)});
    addMenuCommand(file, tr("Re&fresh data"), &AppController::refreshData,
                   {QKeySequence(Qt::Key_F5), QKeySequence(Qt::CTRL | Qt::Key_R)});
    addMenuCommand(file, tr("Get &location of AE project"), &AppController::showProjectPath,
                   {QKeySequence(Qt::CTRL | Qt::Key_L)});
    addMenuCommand(file, tr("&Move cache to new location"), &AppController::migrateCache,
                   {QKeySequence(Qt::CTRL | Qt::Key_M)});
    file->addSeparator();
    addMenuCommand(file, tr("&Settings…"), &AppController::displaySettingsSheet,
                   {QKeySequence(Qt::CTRL | Qt::Key_Comma)});
    file->addSeparator();
    QAction* close = file->addAction(tr("&Close"), m_window.get(), &QWidget::close);
    close->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::CTRL | Qt::Key_Q)});

    QMenu* edit = bar->addMenu(tr("&Edit"));
    addMenuCommand(edit, tr("&Delete selected item(s)"), &AppController::delete_,
                   {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::CTRL | Qt::Key_Backspace)});
    addMenuCommand(edit, tr("Delete a&ll…"), &AppController::deleteAll,
                   {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Delete)});
    edit->addSeparator();
    addMenuCommand(edit, tr("Select &all"), &AppController::selectAll,
                   {QKeySequence(Qt::CTRL | Qt::Key_A)});
    addMenuCommand(edit, tr("D&eselect all"), &AppController::deselectAll,
                   {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A)});
    addMenuCommand(edit, tr("Select the &oldest project"), &AppController::selectOldestProject,
                   {QKeySequence(Qt::CTRL | Qt::Key_O)});

    QMenu* view = bar->addMenu(tr("&View"));
    addMenuCommand(view, tr("&Expand all"), &AppController::expandAll,
                   {QKeySequence(Qt::CTRL | Qt::Key_E)});
    addMenuCommand(view, tr("&Collapse all"), &AppController::collapseAll,
                   {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E)});
}

void AppController::awakeFromNib() {
    m_deletionArray.reset();
    placeWindow();
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
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    if (!saved || corvid::liesOffScreen(m_window->geometry(), screen)) {
        m_window->center();
    }
}

void AppController::applicationDidFinishLaunching() {
    maro_log("Application finished launching.");
    maro_log("Notifying the datasource that it should provide data");
    m_dataSource.setShouldProvideData(true);
    refreshData();
    if (g_shouldJumpToLastModified) {
        selectOldestProject();
    }
}

void AppController::windowWillClose() {
    corvid::setUserDefaultRect(windowFrameKey(), m_window->geometry());
    QCoreApplication::quit();
}

FrameCacheEntry* AppController::getSelectedItem() const {
    const int row = m_outlineView->selectedRow();
    return row >= 0 ? m_model.itemAtRow(row) : nullptr;
}
