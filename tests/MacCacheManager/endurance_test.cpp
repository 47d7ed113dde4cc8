// A window that has been in use for a long time needs no more than a new one.

#include "MacCacheManager/CorvidPanel.h"
#include "store/KavroPISSConfig.h"
#include "tests/reliability/runs.h"
#include "tests/support/controller_fixture.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDialog>
#include <QPixmapCache>
#include <QTest>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include <malloc.h>
#include <unistd.h>

using namespace corvid::test;

namespace {

constexpr char kDoomed[] = "/Jobs/Doomed.aep";
constexpr std::time_t kDate = 1400000000;

// What the process holds, after everything that was only put off is done.
struct Footprint {
    std::size_t allocated = 0;
    std::size_t resident = 0;
    std::ptrdiff_t descriptors = 0;

    static Footprint now() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        Footprint footprint;
        const std::filesystem::directory_iterator open("/proc/self/fd");
        footprint.descriptors = std::distance(begin(open), end(open));
        if (!kSanitized) { // they keep memory of their own
            ::malloc_trim(0);
            const struct mallinfo2 heap = ::mallinfo2();
            footprint.allocated = heap.uordblks + heap.hblkhd;
            std::size_t pages = 0;
            std::ifstream("/proc/self/statm") >> pages >> pages;
            footprint.resident = pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        }
        return footprint;
    }
};

std::ostream& operator<<(std::ostream& out, const Footprint& footprint) {
    return out << footprint.allocated << " bytes allocated, " << footprint.resident << " resident, "
               << footprint.descriptors << " descriptors";
}

class EnduranceTest : public ControllerTest {
protected:
    EnduranceTest() {
        // What Qt keeps of drawn buttons has a limit of its own, beyond what is measured here.
        QPixmapCache::setCacheLimit(0);
        KavroPISSConfig::initializePISSConfig();
        makeDirectory(root.productFile("Cache"));
        makeSample();
        caches[2].addProject(kDoomed);
        caches[2].addComposition(kDoomed, "Scratch");
        launch();
    }
    ~EnduranceTest() override { QPixmapCache::setCacheLimit(m_cacheLimit); }

    // Everything that a user does again and again, as often as that; with the rounds, other answers
    // are given.
    void use(int refreshes) {
        constexpr int kRefreshesPerRound = 10;
        for (int i = 0; i < refreshes; ++i) {
            refresh(i);
            if (i % kRefreshesPerRound == 0) {
                const int round = i / kRefreshesPerRound;
                removeSomething(round);
                changeSettings(round);
            }
            if (HasFailure()) {
                return;
            }
        }
    }

private:
    void refresh(int number) const {
        if (number % 2 == 0) {
            press(Qt::Key_F5);
        } else {
            clickButton("m_btnRefresh");
        }
        QCoreApplication::processEvents();
    }

    // A project, its composition or one of its features, and every fourth time not after all.
    void removeSomething(int round) {
        for (const char* feature : {"PROXY", "SPEC_RENDER"}) {
            caches[2].addFrame(kDoomed, "Scratch", feature, round % 3, 1000, kDate);
        }
        clickButton("m_btnRefresh");
        controller->selectAll();
        controller->deselectAll();
        const QString names[] = {QStringLiteral("Doomed.aep"), QStringLiteral("Scratch"),
                                 QStringLiteral("Precomp Proxy")};
        for (int depth = 0; depth < round % 3; ++depth) {
            expand(names[depth]);
        }
        const bool isMeant = round % 4 != 3;
        user.willClick(isMeant ? "Yes" : "No");
        click(names[round % 3]);
        clickButton("m_btnDelete");
        EXPECT_EQ(user.seen().size(), 1U);
        user.forgetSeen(); // what a session needs is the window's, not its user's
        const std::string project = caches[2].projectPath(kDoomed);
        EXPECT_EQ(exists(project), round % 3 != 0 || !isMeant);
    }

    void changeSettings(int round) const {
        clickButton("m_btnSettings");
        auto* sheet = controller->getWindow()->findChild<QDialog*>("m_sheetSettings");
        ASSERT_NE(sheet, nullptr);
        ASSERT_TRUE(waitFor([sheet] { return sheet->isVisible(); }));
        auto* creation = sheet->findChild<QCheckBox*>("m_btnEnableCacheCreation");
        QTest::keyClick(creation, Qt::Key_Space);
        const bool isChecked = creation->isChecked();
        const bool isSaved = round % 2 == 0;
        clickButton(isSaved ? "m_btnSaveSettings" : "m_btnCancelSettings");
        ASSERT_TRUE(waitFor([sheet] { return !sheet->isVisible(); }));
        const std::string line =
            std::string("default int\tSpecPreviewStoreFramesCache ") + (isChecked ? "1\n" : "0\n");
        const bool isWritten =
            readFile(root.productFile("Config.txt")).find(line) != std::string::npos;
        EXPECT_EQ(isWritten, isSaved);
    }

    int m_cacheLimit = QPixmapCache::cacheLimit();
};

TEST_F(EnduranceTest, ALongSessionNeedsNoMoreThanAShortOne) {
    constexpr int kWarmUp = 60;
    constexpr std::size_t kMargin = 1U << 20U;
    use(kWarmUp);
    const Footprint before = Footprint::now();
    use(reliabilityRuns(kSanitized ? 40 : 200));
    const Footprint after = Footprint::now();
    std::cout << "before: " << before << "\nafter:  " << after << '\n';
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.allocated, before.allocated + kMargin);
    EXPECT_LE(after.resident, before.resident + kMargin);
}

} // namespace
