#include "tests/support/controller_fixture.h"

#include "MacCacheManager/CorvidPanel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDeadlineTimer>
#include <QLabel>
#include <QMenu>
#include <QTest>

namespace corvid::test {

bool waitFor(const std::function<bool()>& condition, int milliseconds) {
    const QDeadlineTimer deadline(milliseconds);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QTest::qWait(5);
    }
    return true;
}

QString titleOf(const QAction& action) {
    return action.text().remove(QLatin1Char('&'));
}

QStringList titlesOf(const QMenu& menu) {
    QStringList titles;
    for (const QAction* action : menu.actions()) {
        titles << (action->isSeparator() ? QStringLiteral("-") : titleOf(*action));
    }
    return titles;
}

ControllerTest::ControllerTest() {
    g_shouldJumpToLastModified = false;
}

ControllerTest::~ControllerTest() {
    EXPECT_TRUE(user.hasAnsweredAll()) << "a dialog did not come up";
    g_shouldJumpToLastModified = false;
}

void ControllerTest::registerRoot(const std::string& path) {
    m_registry += registryLine(path, "PathToCache", path + "/");
    writeFile(root.productFile("FrameCache.cvp"), m_registry);
}

void ControllerTest::makeSample() {
    const struct {
        const char* folder;
        const char* project;
    } projects[] = {
        {"new", "/Jobs/New.aep"}, {"old", "/Jobs/Old.aep"}, {"empty", "/Jobs/Empty.aep"}};
    for (const auto& [folder, project] : projects) {
        caches.emplace_back(root.path(folder));
        caches.back().addProject(project);
        registerRoot(caches.back().path());
    }
    HandMadeCache& newest = caches[0];
    newest.addComposition("/Jobs/New.aep", "Main");
    newest.addFrame("/Jobs/New.aep", "Main", "SPEC_RENDER", 0, 1000, kNewest);
    newest.addFrame("/Jobs/New.aep", "Main", "SPEC_RENDER", 1, 1000, kNewest - 5);
    newest.addFrame("/Jobs/New.aep", "Main", "PROXY", 0, 24, kNewest - 10);
    newest.addComposition("/Jobs/New.aep", "Side");
    newest.addFrame("/Jobs/New.aep", "Side", "SPEC_PREVIEW", 0, 500, kNewest - 20);
    HandMadeCache& oldest = caches[1];
    oldest.addComposition("/Jobs/Old.aep", "Intro");
    for (int frame = 0; frame < 3; ++frame) {
        oldest.addFrame("/Jobs/Old.aep", "Intro", "SPEC_PREVIEW", frame, 100, kOldest - frame);
    }
}

void ControllerTest::awake() {
    controller = std::make_unique<AppController>();
    controller->awakeFromNib();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(controller->getWindow()));
}

void ControllerTest::launch() {
    awake();
    controller->applicationDidFinishLaunching();
}

CacheOutlineView& ControllerTest::outline() const {
    return *controller->getWindow()->findChild<CacheOutlineView*>(QStringLiteral("m_outlineView"));
}

QStringList ControllerTest::rows() const {
    QStringList names;
    for (int i = 0; i < model().rowCount(); ++i) {
        names << model().index(i, 0).data().toString();
    }
    return names;
}

int ControllerTest::row(const QString& shownName) const {
    return static_cast<int>(rows().indexOf(shownName));
}

QStringList ControllerTest::selectedRows() const {
    QStringList names;
    for (int i = 0; i < model().rowCount(); ++i) {
        if (outline().isRowSelected(i)) {
            names << model().index(i, 0).data().toString();
        }
    }
    return names;
}

QString ControllerTest::labelText(const char* objectName) const {
    return controller->getWindow()->findChild<QLabel*>(QString::fromLatin1(objectName))->text();
}

QStringList ControllerTest::statistics() const {
    return {labelText("m_labelTotalProjects"), labelText("m_labelTotalFiles"),
            labelText("m_labelTotalSpace"),    labelText("m_labelSelectedProjects"),
            labelText("m_labelSelectedFiles"), labelText("m_labelSelectedSpace")};
}

QPoint ControllerTest::nameAt(int row) const {
    const QRect cell = outline().visualRect(model().index(row, 0));
    const int depth = model().index(row, 0).data(corvid::DepthRole).toInt();
    return {CacheOutlineView::disclosureRect(cell, depth).right() + 10, cell.center().y()};
}

void ControllerTest::click(int row, Qt::KeyboardModifiers modifiers) const {
    outline().scrollTo(model().index(row, 0));
    QTest::mouseClick(outline().viewport(), Qt::LeftButton, modifiers, nameAt(row));
}

void ControllerTest::triangle(int row, Qt::KeyboardModifiers modifiers) const {
    const QRect cell = outline().visualRect(model().index(row, 0));
    const int depth = model().index(row, 0).data(corvid::DepthRole).toInt();
    QTest::mouseClick(outline().viewport(), Qt::LeftButton, modifiers,
                      CacheOutlineView::disclosureRect(cell, depth).center());
}

QMenu* ControllerTest::rightClick(const QPoint& position) const {
    QWidget* viewport = outline().viewport();
    QTest::mousePress(viewport, Qt::RightButton, Qt::NoModifier, position);
    QContextMenuEvent request(QContextMenuEvent::Mouse, position, viewport->mapToGlobal(position));
    QApplication::sendEvent(viewport, &request);
    QTest::mouseRelease(viewport, Qt::RightButton, Qt::NoModifier, position);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (menu != nullptr) {
        menu->close();
    }
    return menu;
}

void ControllerTest::clickButton(const char* objectName) const {
    auto* button =
        controller->getWindow()->findChild<QAbstractButton*>(QString::fromLatin1(objectName));
    ASSERT_NE(button, nullptr) << objectName;
    QTest::mouseClick(button, Qt::LeftButton);
}

void ControllerTest::press(Qt::Key key, Qt::KeyboardModifiers modifiers) const {
    QTest::keyClick(&outline(), key, modifiers);
}

} // namespace corvid::test
