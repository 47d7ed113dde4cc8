// What is asked for while a command is at work waits for its end.

#include "tests/support/command_fixture.h"
#include "tests/support/controller_fixture.h"
#include "tests/support/failing_calls.h"

#include <QMetaObject>
#include <QPointer>
#include <QTemporaryDir>
#include <QTimer>

#include <cerrno>
#include <functional>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>

using namespace corvid::test;
using corvid::hashOf;
using ::testing::UnorderedElementsAre;

namespace {

enum class Work { Rebuild, Deletion, Move };
enum class Asked { Refresh, Delete, SelectAll, Close, Reveal };
enum class Way { Slot, Action }; // the second is how menus, keys and assistive programs ask

// Does something once, at a moment of a command's work: when the progress is painted so. What it
// posts arrives while the command still runs.
class AtProgress : public QObject {
public:
    AtProgress(ActivityView& view, std::function<bool(const ActivityView&)> isMoment,
               std::function<void()> act)
        : m_view(view), m_isMoment(std::move(isMoment)), m_act(std::move(act)) {
        view.installEventFilter(this);
    }
    bool wasThere() const { return m_wasThere; }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (!m_wasThere && event->type() == QEvent::Paint && m_isMoment(m_view)) {
            m_wasThere = true;
            m_act();
        }
        return false;
    }

private:
    ActivityView& m_view;
    std::function<bool(const ActivityView&)> m_isMoment;
    std::function<void()> m_act;
    bool m_wasThere = false;
};

bool saysDeleting(const ActivityView& view) {
    return view.line().startsWith(QStringLiteral("Deleting"));
}

class OneAtATimeTest : public CommandTest {
protected:
    OneAtATimeTest() {
        makeDirectory(gamma().substr(0, gamma().rfind('/')));
        makeDirectory(newRoot());
        // A file browser of our own, as far as the desktop is asked for one.
        writeFile(bin() + "/xdg-open", "#!/bin/sh\necho \"$1\" >>" + opened() + "\n");
        EXPECT_EQ(::chmod((bin() + "/xdg-open").c_str(), 0755), 0);
        for (const std::string& project : {alpha(), beta(), gamma()}) {
            addFeature(project, "Main", "PROXY", 30);
        }
        open();
    }
    std::string gamma() const { return root.path("Projects/Gamma/Gamma.aep"); }
    std::string newRoot() const { return root.path("Volumes/New Place"); }
    std::string bin() const { return root.path("bin"); }
    std::string opened() const { return root.path("opened.txt"); }
    CorvidPanel& window() { return *controller().getWindow(); }
    ActivityView& activity() { return widget<ActivityView>("m_progressSpinner"); }

    // Lets everything run that waits to, each started by the end of the one before.
    static void settle() {
        constexpr int kMoreThanAreAskedFor = 20;
        for (int i = 0; i < kMoreThanAreAskedFor; ++i) {
            QCoreApplication::processEvents();
        }
    }
    // The names of the projects whose directories are there.
    std::multiset<std::string> projectsOnDisk() const {
        std::multiset<std::string> names;
        for (const std::string& project : {alpha(), beta(), gamma()}) {
            for (const std::string& cache : {cacheRoot(), newRoot()}) {
                if (exists(projectIn(cache, project))) {
                    names.insert(project);
                }
            }
        }
        return names;
    }
    std::multiset<std::string> projectsShown() {
        std::multiset<std::string> names;
        for (int row = 0; row < model().rowCount(); ++row) {
            if (model().itemAtRow(row)->getNodeType() == corvid::kProjectNode) {
                names.insert(model().itemAtRow(row)->getName());
            }
        }
        return names;
    }
    void expectTreeAsOnDisk() {
        EXPECT_EQ(projectsShown(), projectsOnDisk());
        EXPECT_EQ(label("m_labelTotalProjects"), std::to_string(projectsOnDisk().size()));
        EXPECT_EQ(controller().dataSource()->getRootNode()->getNumberOfChildren(),
                  static_cast<int>(projectsOnDisk().size()));
    }
    // The file browser has ended and is given up.
    static bool hasNoChildren() {
        siginfo_t child{};
        return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == -1 && errno == ECHILD;
    }
    std::size_t filesIn(const std::string& folder) const {
        std::size_t files = 0;
        for (const auto& [name, text] : exists(folder) ? snapshot(folder) : Snapshot{}) {
            files += name.size() > 4 && name.substr(name.size() - 4) == ".raw" ? 1U : 0U;
        }
        return files;
    }

private:
    const EnvironmentGuard m_noBus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"};
    const EnvironmentGuard m_path{"PATH", (root.path("bin") + ":/usr/bin:/bin").c_str()};
};

class OneAtATime : public OneAtATimeTest,
                   public ::testing::WithParamInterface<std::tuple<Work, Asked, Way>> {
protected:
    static Work work() { return std::get<0>(GetParam()); }
    static Asked asked() { return std::get<1>(GetParam()); }

    static bool isUnderWay(const ActivityView& view) {
        switch (work()) {
        case Work::Rebuild:
            return view.isAnimating();
        case Work::Deletion:
            return saysDeleting(view);
        case Work::Move:
            break;
        }
        return view.line().startsWith(QStringLiteral("Moving"));
    }
    static const char* slotName() {
        switch (asked()) {
        case Asked::Refresh:
            return "refreshData";
        case Asked::Delete:
            return "delete_";
        case Asked::SelectAll:
            return "selectAll";
        case Asked::Reveal:
        case Asked::Close:
            break;
        }
        return "revealInFinder";
    }
    static std::string title() {
        static const std::map<Asked, std::string> kTitles = {
            {Asked::Refresh, "Refresh data"},
            {Asked::Delete, "Delete selected item(s)"},
            {Asked::SelectAll, "Select all"},
            {Asked::Close, "Close"},
            {Asked::Reveal, "Reveal in Finder"}};
        return kTitles.at(asked());
    }
    // Asks for the command so that it comes when events are handled next.
    void ask() {
        if (std::get<2>(GetParam()) == Way::Action) {
            QTimer::singleShot(0, &window(), [this] { chooseInMenuBar(title()); });
        } else if (asked() == Asked::Close) {
            QMetaObject::invokeMethod(&window(), "close", Qt::QueuedConnection);
        } else {
            QMetaObject::invokeMethod(&controller(), slotName(), Qt::QueuedConnection);
        }
        QTimer::singleShot(0, &window(), [this] { m_wasVisible = window().isVisible(); });
    }
    void doTheWork() {
        switch (work()) {
        case Work::Rebuild:
            controller().refreshData();
            break;
        case Work::Deletion:
            user.willClick("Yes");
            controller().delete_();
            break;
        case Work::Move: {
            const FailNth otherFileSystem(Call::Rename, 1, EXDEV, hashOf(alpha()));
            user.willChoose(newRoot());
            controller().migrateCache();
            break;
        }
        }
    }
    void expectAlphaWhereItBelongs() {
        EXPECT_EQ(filesIn(folderOf(alpha())), work() == Work::Rebuild ? 30U : 0U);
        if (work() == Work::Move) {
            EXPECT_EQ(filesIn(projectIn(newRoot(), alpha())), 30U);
            EXPECT_THAT(
                readFile(registryFile()),
                ::testing::HasSubstr(hashOf(alpha()) + " string\tPathToCache " + newRoot() + "\n"));
        }
    }

    bool m_wasVisible = false;
};

TEST_P(OneAtATime, TheSecondCommandWaits) {
    clickRow({alpha()});
    const Snapshot neighbours[] = {snapshot(folderOf(beta())), snapshot(folderOf(gamma()))};
    std::size_t rowsWhenAsked = 99;
    const AtProgress progress(activity(), isUnderWay, [this] { ask(); });
    const std::size_t alerts = work() == Work::Rebuild ? 0 : 1; // the work's own

    doTheWork();
    if (asked() == Asked::Delete) {
        user.will([&](QDialog& dialog) {
            rowsWhenAsked = rows().size();
            EXPECT_FALSE(activity().isAnimating());
            // After the others what was selected is gone.
            DialogUser::click(dialog, work() == Work::Rebuild ? "No" : "OK");
        });
    }
    ASSERT_TRUE(progress.wasThere());
    settle();

    expectTreeAsOnDisk();
    expectAlphaWhereItBelongs();
    EXPECT_EQ(snapshot(folderOf(beta())), neighbours[0]);
    EXPECT_EQ(snapshot(folderOf(gamma())), neighbours[1]);
    EXPECT_EQ(window().isVisible(), asked() != Asked::Close);
    EXPECT_TRUE(m_wasVisible) << "the window is there until the work is done";
    EXPECT_EQ(user.seen().size(), alerts + (asked() == Asked::Delete ? 1 : 0));
    if (asked() == Asked::Delete) {
        EXPECT_EQ(rowsWhenAsked, projectsOnDisk().size());
    }
    if (asked() == Asked::SelectAll) {
        EXPECT_EQ(label("m_labelSelectedProjects"), std::to_string(projectsOnDisk().size()));
    }
    if (asked() == Asked::Reveal && work() == Work::Rebuild) {
        EXPECT_TRUE(waitFor([this] { return exists(opened()); }));
        EXPECT_TRUE(waitFor(hasNoChildren));
        settle();
    }
}

std::string nameOf(const ::testing::TestParamInfo<OneAtATime::ParamType>& info) {
    static const char* const kWorks[] = {"Rebuild", "Deletion", "Move"};
    static const char* const kAsked[] = {"Refresh", "Delete", "SelectAll", "Close", "Reveal"};
    static const char* const kWays[] = {"BySlot", "ByAction"};
    return std::string(kAsked[static_cast<int>(std::get<1>(info.param))]) + "During" +
           kWorks[static_cast<int>(std::get<0>(info.param))] +
           kWays[static_cast<int>(std::get<2>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(
    Commands, OneAtATime,
    ::testing::Combine(::testing::Values(Work::Rebuild, Work::Deletion, Work::Move),
                       ::testing::Values(Asked::Refresh, Asked::Delete, Asked::SelectAll,
                                         Asked::Close, Asked::Reveal),
                       ::testing::Values(Way::Slot, Way::Action)),
    nameOf);

class WhileAtWork : public OneAtATimeTest {};

TEST_F(WhileAtWork, ARefreshAskedForAtTheEndOfAReadingReadsOnceMore) {
    const std::string late = root.path("Projects/Late.aep");
    bool hasBegun = false;
    const AtProgress progress(
        activity(),
        [&hasBegun](const ActivityView& view) {
            const bool isOver = hasBegun && !view.isAnimating();
            hasBegun = hasBegun || view.isAnimating();
            return isOver;
        },
        [&] {
            addFeature(late, "Main", "PROXY");
            for (int i = 0; i < 3; ++i) {
                QMetaObject::invokeMethod(&controller(), "refreshData", Qt::QueuedConnection);
            }
        });
    controller().refreshData();
    ASSERT_TRUE(progress.wasThere());
    settle();
    EXPECT_THAT(projectsShown(), UnorderedElementsAre(alpha(), beta(), gamma(), late));
}

TEST_F(WhileAtWork, EscapeStopsAReadingAndKeepsTheTreeThatWasThere) {
    view().expandItem(node({beta()}), false);
    clickRow({beta(), "Main"});
    const std::size_t rowsBefore = rows().size();
    const std::string late = root.path("Projects/Late.aep");
    addFeature(late, "Main", "PROXY");
    const FrameCacheEntry* selected = node({beta(), "Main"});
    const AtProgress progress(
        activity(), [](const ActivityView& view) { return view.isAnimating(); },
        [this] {
            EXPECT_TRUE(activity().line().isEmpty() || activity().line().contains("Esc stops"));
            QTimer::singleShot(
                0, &window(), [this] { QTest::keyClick(window().windowHandle(), Qt::Key_Escape); });
        });
    controller().refreshData();
    ASSERT_TRUE(progress.wasThere());
    settle();
    EXPECT_THAT(projectsShown(), UnorderedElementsAre(alpha(), beta(), gamma()));
    EXPECT_EQ(rows().size(), rowsBefore);
    EXPECT_EQ(node({beta(), "Main"}), selected) << "the nodes are the same";
    EXPECT_TRUE(view().isItemSelected(selected));
    EXPECT_EQ(label("m_labelTotalProjects"), "3");

    controller().refreshData();
    EXPECT_THAT(projectsShown(), UnorderedElementsAre(alpha(), beta(), gamma(), late));
}

// The tree from before would show what is gone.
TEST_F(WhileAtWork, EscapeDoesNotStopTheReadingAfterADeletion) {
    clickRow({alpha()});
    bool isDeleting = false;
    const AtProgress progress(
        activity(),
        [&isDeleting](const ActivityView& view) {
            isDeleting = isDeleting || saysDeleting(view);
            return isDeleting && view.isAnimating() && !saysDeleting(view);
        },
        [this] {
            QTimer::singleShot(
                0, &window(), [this] { QTest::keyClick(window().windowHandle(), Qt::Key_Escape); });
        });
    user.willClick("Yes");
    controller().delete_();
    ASSERT_TRUE(progress.wasThere());
    settle();
    expectTreeAsOnDisk();
    EXPECT_THAT(projectsShown(), UnorderedElementsAre(beta(), gamma()));
}

TEST_F(WhileAtWork, CommandsComeInTheOrderInWhichTheyWereAskedFor) {
    clickRow({alpha()});
    const AtProgress progress(
        activity(), [](const ActivityView& view) { return view.isAnimating(); },
        [&] {
            for (const char* slot : {"expandAll", "selectAll", "collapseAll"}) {
                QMetaObject::invokeMethod(&controller(), slot, Qt::QueuedConnection);
            }
        });
    controller().refreshData();
    EXPECT_EQ(rows().size(), 3U) << "nothing comes before the end";
    settle();
    EXPECT_EQ(rows().size(), 3U);
    EXPECT_EQ(label("m_labelSelectedProjects"), "3");
}

TEST_F(WhileAtWork, TheOpenSettingsAreSavedAfterwards) {
    clickButton("m_btnSettings");
    const auto& sheet = widget<QDialog>("m_sheetSettings");
    widget<QLineEdit>("m_tbPathToRootCache").setText(QString::fromStdString(newRoot()));
    bool wasOpen = false;
    const AtProgress progress(
        activity(), [](const ActivityView& view) { return view.isAnimating(); },
        [&] {
            QMetaObject::invokeMethod(&controller(), "saveSettings", Qt::QueuedConnection);
            QTimer::singleShot(0, &window(), [&] { wasOpen = sheet.isVisible(); });
        });
    controller().refreshData();
    EXPECT_TRUE(wasOpen);
    settle();
    EXPECT_FALSE(sheet.isVisible());
}

// What is posted while an alert waits for its answer does not change what was asked about.
TEST_F(WhileAtWork, OnlyWhatWasAskedAboutIsDeleted) {
    clickRow({alpha()});
    user.will([&](QDialog& dialog) {
        QMetaObject::invokeMethod(&controller(), "selectAll", Qt::QueuedConnection);
        QMetaObject::invokeMethod(&controller(), "refreshData", Qt::QueuedConnection);
        QCoreApplication::processEvents();
        // Assistive programs select rows without a command.
        view().selectRow(model().rowForItem(node({beta()})), false);
        DialogUser::click(dialog, "Yes");
    });
    controller().delete_();
    settle();
    EXPECT_THAT(projectsOnDisk(), UnorderedElementsAre(beta(), gamma()));
    expectTreeAsOnDisk();
}

TEST_F(WhileAtWork, RowsMayBeSelectedAndOpenedWhileTheirNodesAreDeleted) {
    clickRow({alpha()});
    const AtProgress progress(activity(), saysDeleting, [&] {
        QTimer::singleShot(0, &window(), [this] {
            view().selectAll();
            view().expandItem(model().itemAtRow(0), true);
            view().collapseItem(model().itemAtRow(0), true);
            view().selectRow(1, false);
        });
    });
    user.willClick("Yes");
    controller().delete_();
    ASSERT_TRUE(progress.wasThere());
    settle();
    EXPECT_THAT(projectsOnDisk(), UnorderedElementsAre(beta(), gamma()));
    expectTreeAsOnDisk();
}

// The project being deleted goes whole; the others stay as they are.
TEST_F(WhileAtWork, ClosingEndsADeletionAfterTheItemInHand) {
    controller().selectAll();
    const AtProgress progress(activity(), saysDeleting, [&] {
        QMetaObject::invokeMethod(&window(), "close", Qt::QueuedConnection);
    });
    const std::string first = model().itemAtRow(0)->getName();
    user.willClick("Yes");
    controller().delete_();
    ASSERT_TRUE(progress.wasThere());
    settle();
    EXPECT_FALSE(window().isVisible());
    EXPECT_FALSE(exists(folderOf(first)));
    EXPECT_EQ(projectsOnDisk().size(), 2U);
    for (const std::string& project : projectsOnDisk()) {
        EXPECT_EQ(filesIn(folderOf(project)), 30U);
    }
    expectTreeAsOnDisk();
}

// A command of projects is not done to whatever the selection has become meanwhile.
TEST_F(WhileAtWork, ACommandThatMeansNothingAnyMoreIsLeftOut) {
    clickRow({alpha()});
    const AtProgress progress(activity(), saysDeleting, [&] {
        QTimer::singleShot(0, &window(), [this] { chooseInMenuBar("Move cache to new location"); });
        QTimer::singleShot(0, &window(), [this] {
            view().expandItem(node({beta()}), true);
            view().selectRow(model().rowForItem(node({beta(), "Main"})), false);
        });
    });
    user.willClick("Yes");
    controller().delete_();
    ASSERT_TRUE(progress.wasThere());
    const Snapshot before = snapshot(root.path());
    settle();
    EXPECT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(snapshot(root.path()), before);
}

} // namespace
