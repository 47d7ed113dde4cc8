#pragma once

// A controller with its window over a small cache of its own, and the hands of a user: clicks,
// keys, answers.

#include "MacCacheManager/AppController.h"
#include "tests/support/cache_tree.h"
#include "tests/support/dialog_user.h"
#include "tests/support/product_root.h"
#include "tests/support/user_defaults_folder.h"

#include <QPoint>
#include <QString>
#include <QStringList>

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QAction;
class QMenu;

namespace corvid::test {

// Runs the application's loop until the condition holds; whether it did in time.
bool waitFor(const std::function<bool()>& condition, int milliseconds = 5000);

// An entry's title as it is seen: without the "&" in front of its mnemonic.
QString titleOf(const QAction& action);
// A menu's titles, "-" for a separator.
QStringList titlesOf(const QMenu& menu);

class ControllerTest : public UserDefaultsFolder {
protected:
    // Nothing is registered yet and the controller is not made.
    ControllerTest();
    ~ControllerTest() override;

    // Three cache roots of one project each, so that the rows stand in this order:
    //   New.aep    Main (Spec Render: 2 frames of 1000 bytes; Precomp Proxy: 1 of 24), Side (Spec
    //   Preview: 1 of
    //              500); newest frame at kNewest
    //   Old.aep    Intro (Spec Preview: 3 of 100); newest frame at kOldest
    //   Empty.aep  nothing
    void makeSample();
    // Registers one more cache root.
    void registerRoot(const std::string& path);
    // Makes the controller and its window; the tree stays empty.
    void awake();
    // The same, and the tree is read.
    void launch();

    CacheOutlineView& outline() const;
    OutlineModel& model() const { return *outline().outlineModel(); }
    // The first visible row that shows this name; -1 for none.
    int row(const QString& shownName) const;
    FrameCacheEntry* item(const QString& shownName) const {
        return model().itemAtRow(row(shownName));
    }
    // The names of all rows, and of the selected ones, in order.
    QStringList rows() const;
    QStringList selectedRows() const;
    QString labelText(const char* objectName) const;
    // The six labels: projects, files and size of everything, then rows, files and size of the
    // selection.
    QStringList statistics() const;

    // Real events on the outline. The click is on the name.
    void click(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void click(const QString& shownName, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const {
        click(row(shownName), modifiers);
    }
    void triangle(int row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    void expand(const QString& shownName) const { outline().expandItem(item(shownName), false); }
    // As a user's right-click arrives: button down and up, then the request for a menu. The menu
    // that comes up, closed again, or null.
    QMenu* rightClick(const QPoint& position) const;
    QMenu* rightClick(int row) const { return rightClick(nameAt(row)); }
    void clickButton(const char* objectName) const;
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const;
    QPoint nameAt(int row) const;

    static constexpr std::time_t kNewest = 1600000000;
    static constexpr std::time_t kOldest = 1500000000;

    ProductRoot root;
    DialogUser user;
    std::vector<HandMadeCache>
        caches; // New.aep's, Old.aep's and Empty.aep's once there is the sample
    std::unique_ptr<AppController> controller;

private:
    std::string m_registry;
};

} // namespace corvid::test
