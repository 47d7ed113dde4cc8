// outline_bench: how long the window's commands on all rows take, each with the painting that
// follows, and the painting of a window that is scrolled through. Prints one line per figure: its
// name, a TAB and the milliseconds of each run. CORVIDPRO_ROOT chooses the caches.

#include "benchmarks/offscreen_window.h"

#include "MacCacheManager/CorvidPanel.h"

#include <QScrollBar>

#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 5;
constexpr int kScrollSteps = 500;

double millisecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

class OutlineBench {
public:
    OutlineBench() {
        m_controller.awakeFromNib();
        m_controller.getWindow()->resize(1000, 800);
        m_controller.applicationDidFinishLaunching();
        QCoreApplication::processEvents();
        m_view = m_controller.getWindow()->findChild<CacheOutlineView*>();
    }

    void run() {
        for (int i = 0; i < kRuns; ++i) {
            command("expand all", &AppController::expandAll);
            command("select all", &AppController::selectAll);
            command("totals of the selection", &AppController::refreshStats);
            command("select the oldest project", &AppController::selectOldestProject);
            if (i == 0) {
                std::printf("rows\t%d\n", m_view->outlineModel()->rowCount());
                scroll();
            }
            command("collapse all", &AppController::collapseAll);
        }
    }

    void print() const {
        for (const auto& [name, times] : m_times) {
            std::printf("%s\t", name.c_str());
            for (const double time : times) {
                std::printf(" %.3f", time);
            }
            std::printf("\n");
        }
    }

private:
    void command(const char* name, void (AppController::*action)()) {
        m_times[name].push_back(millisecondsOf([this, action] {
            (m_controller.*action)();
            QCoreApplication::processEvents();
        }));
    }

    void scroll() {
        QScrollBar* bar = m_view->verticalScrollBar();
        for (int step = 0; step < kScrollSteps; ++step) {
            bar->setValue(
                static_cast<int>(static_cast<long>(bar->maximum()) * step / kScrollSteps));
            m_times["paint after scrolling"].push_back(
                millisecondsOf([this] { m_view->viewport()->repaint(); }));
        }
    }

    AppController m_controller;
    const CacheOutlineView* m_view = nullptr;
    std::map<std::string, std::vector<double>> m_times;
};

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    corvid::bench::setUpApplication();
    OutlineBench bench;
    bench.run();
    bench.print();
    return 0;
}
