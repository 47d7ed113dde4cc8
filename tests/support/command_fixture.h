#pragma once

// The window on a small cache made by hand, and a user who works it with mouse and keys and answers
// the dialogs that come up.

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/AppController.h"
#include "MacCacheManager/CorvidPanel.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/PISSMD5.h"
#include "tests/support/dialog_user.h"
#include "tests/support/product_root.h"
#include "tests/support/user_defaults_folder.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QTest>
#include <QToolButton>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvid::test {

class CommandTest : public UserDefaultsFolder {
protected:
    CommandTest() {
        makeDirectory(cacheRoot());
        for (const std::string& project : {alpha(), beta()}) {
            makeDirectory(project.substr(0, project.rfind('/')));
        }
    }
    ~CommandTest() override { EXPECT_TRUE(user.hasAnsweredAll()) << "a dialog did not come up"; }

    // The cache root of these tests and the keys of two projects whose folders exist.
    std::string cacheRoot() const { return root.path("Volumes/Cache"); }
    std::string alpha() const { return root.path("Projects/Alpha/Alpha.aep"); }
    std::string beta() const { return root.path("Projects/Beta/Beta.aep"); }

    // Makes a feature with frames whose contents tell them apart, and registers the project.
    std::string addFeature(const std::string& project, const std::string& composition,
                           const std::string& feature, int frames = 2) const {
        return addFeature(cacheRoot(), project, composition, feature, frames);
    }
    static std::string addFeature(const std::string& cache, const std::string& project,
                                  const std::string& composition, const std::string& feature,
                                  int frames = 2) {
        const KavroPISSFrameCache model(cache.c_str(), project.c_str(), composition.c_str(),
                                        feature.c_str());
        const std::string folder = compositionIn(cache, project, composition) + "/" + feature;
        for (int frame = 0; frame < frames; ++frame) {
            const std::string number = std::to_string(frame);
            writeFile(folder + "/" + std::string(8 - number.size(), '0') + number + ".raw",
                      "frame " + number + " of " + folder);
        }
        registerProject(project, cache);
        return folder;
    }
    static void registerProject(const std::string& project, const std::string& cache) {
        KavroPISSConfigHelper::addOrUpdateRegistryStringSetting(project.c_str(), "PathToCache",
                                                                (cache + "/").c_str());
    }
    // The directories of a project and of a composition.
    static std::string projectIn(const std::string& cache, const std::string& project) {
        return cache + "/" + hashOf(project);
    }
    static std::string compositionIn(const std::string& cache, const std::string& project,
                                     const std::string& composition) {
        return projectIn(cache, project) + "/" + hashOf(composition);
    }
    std::string folderOf(const std::string& project) const {
        return projectIn(cacheRoot(), project);
    }
    std::string folderOf(const std::string& project, const std::string& composition) const {
        return compositionIn(cacheRoot(), project, composition);
    }
    std::string projectTable() const { return readFile(cacheRoot() + "/ProjectHash.txt"); }
    std::string compositionTable() const { return readFile(cacheRoot() + "/CompositionHash.txt"); }
    std::string registryFile() const { return root.productFile("FrameCache.cvp"); }

    // Opens the window, as the program does.
    void open() {
        m_controller = std::make_unique<AppController>();
        m_controller->awakeFromNib();
        m_controller->applicationDidFinishLaunching();
        QCoreApplication::processEvents();
    }
    AppController& controller() { return *m_controller; }
    template <class Widget>
    Widget& widget(const char* name) {
        auto* found = m_controller->getWindow()->findChild<Widget*>(QString::fromLatin1(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no ") + name);
        }
        return *found;
    }
    CacheOutlineView& view() { return widget<CacheOutlineView>("m_outlineView"); }
    OutlineModel& model() { return *view().outlineModel(); }
    std::string label(const char* name) { return widget<QLabel>(name).text().toStdString(); }

    // The node with these names, from the project down; throws when there is none.
    FrameCacheEntry* node(const std::vector<std::string>& names) {
        FrameCacheEntry* found = m_controller->dataSource()->getRootNode();
        for (const std::string& name : names) {
            FrameCacheEntry* child = nullptr;
            for (int i = 0; i < found->getNumberOfChildren(); ++i) {
                if (name == found->getChildAt(i)->getName()) {
                    child = found->getChildAt(i);
                }
            }
            if (child == nullptr) {
                throw std::runtime_error("no node " + name);
            }
            found = child;
        }
        return found;
    }
    // The first column of every row, indented by depth.
    std::vector<std::string> rows() {
        std::vector<std::string> lines;
        for (int row = 0; row < model().rowCount(); ++row) {
            const QModelIndex cell = model().index(row, 0);
            lines.push_back(std::string(cell.data(DepthRole).toUInt() * 2, ' ') +
                            cell.data().toString().toStdString());
        }
        return lines;
    }
    // Clicks a node's row; its ancestors are opened first.
    void clickRow(const std::vector<std::string>& names,
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        for (std::size_t depth = 1; depth < names.size(); ++depth) {
            view().expandItem(
                node({names.begin(), names.begin() + static_cast<std::ptrdiff_t>(depth)}), false);
        }
        const QModelIndex cell = model().index(model().rowForItem(node(names)), 1);
        view().scrollTo(cell);
        QTest::mouseClick(view().viewport(), Qt::LeftButton, modifiers,
                          view().visualRect(cell).center());
    }
    void clickButton(const char* name) {
        QTest::mouseClick(&widget<QAbstractButton>(name), Qt::LeftButton);
    }
    // A command's title without mnemonic and dots.
    static std::string titleOf(const QAction& command) {
        QString title = command.text();
        return title.remove(QLatin1Char('&')).remove(QStringLiteral("…")).toStdString();
    }
    // Chooses a command by its title.
    static void choose(const QMenu& menu, const std::string& text) { chooseIn({&menu}, text); }
    void chooseInMenuBar(const std::string& text) {
        std::vector<const QMenu*> menus;
        for (const QAction* top : m_controller->getWindow()->menuBar()->actions()) {
            menus.push_back(top->menu());
        }
        chooseIn(menus, text);
    }

    ProductRoot root; // before the controller, which reads below it
    DialogUser user;

private:
    static void chooseIn(const std::vector<const QMenu*>& menus, const std::string& text) {
        for (const QMenu* menu : menus) {
            for (QAction* action : menu->actions()) {
                if (titleOf(*action) == text) {
                    action->trigger();
                    return;
                }
            }
        }
        ADD_FAILURE() << "no command " << text;
    }

    std::unique_ptr<AppController> m_controller;
};

// What a test saw of the totals and the activity while a command was at work.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(ActivityView& view) : m_view(view) { view.installEventFilter(this); }
    const std::vector<std::string>& lines() const { return m_lines; }
    int paints() const { return m_paints; }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++m_paints;
            m_lines.push_back(m_view.line().toStdString());
        }
        return false;
    }

private:
    ActivityView& m_view;
    std::vector<std::string> m_lines;
    int m_paints = 0;
};

} // namespace corvid::test
