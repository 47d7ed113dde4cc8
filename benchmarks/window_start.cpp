// window_start program|bare: opens the program's window, or a bare one with an empty tree view
// (four column titles, no rows), and ends once it has been painted with what it has to show. Prints
// the memory it then occupies. CORVIDPRO_ROOT chooses the caches.
//
// window_start gap: opens the program's window with its rows and has them read anew. Prints the
// longest time, in milliseconds, for which something to be painted had to wait meanwhile.

#include "benchmarks/offscreen_window.h"
#include "benchmarks/process_memory.h"

#include "MacCacheManager/CorvidPanel.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QStandardItemModel>
#include <QTimer>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Without taking the window down, which is no part of a start.
[[noreturn]] void reportAndLeave() {
    std::printf("%ld kB\n", corvid::bench::ownKilobytes("VmRSS:"));
    static_cast<void>(std::fflush(stdout));
    std::_Exit(0);
}

int showProgram() {
    AppController controller;
    controller.awakeFromNib();
    const auto* view = controller.getWindow()->findChild<CacheOutlineView*>();
    const corvid::bench::AfterPaint watch(
        view->viewport(), [&controller] { return controller.dataSource()->sources().hasRegistry; },
        reportAndLeave);
    QTimer launched;
    launched.setSingleShot(true);
    QObject::connect(&launched, &QTimer::timeout, &controller,
                     &AppController::applicationDidFinishLaunching);
    launched.start(0);
    return QApplication::exec();
}

int showBareWindow() {
    QMainWindow window;
    auto* view = new QTreeView;
    QStandardItemModel model(0, 4); // with titles, because every window that shows text loads fonts
    model.setHorizontalHeaderLabels({"Name", "Size", "Files", "Last modified"});
    view->setModel(&model);
    window.setCentralWidget(view);
    const corvid::bench::AfterPaint watch(
        view->viewport(), [] { return true; }, reportAndLeave);
    window.show();
    return QApplication::exec();
}

// Has itself painted all the time and keeps the longest time between two paintings.
class Restless : public QWidget {
public:
    explicit Restless(QWidget* parent) : QWidget(parent) {
        resize(1, 1);
        show();
        connect(&m_timer, &QTimer::timeout, this, [this] { update(); });
        m_timer.start(1);
        m_sincePainting.start();
    }
    void begin() { m_longest = 0; }
    // The time since the last painting counts, too.
    double longest() {
        note();
        return static_cast<double>(m_longest) / 1e6;
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override { note(); }

private:
    void note() {
        m_longest = std::max(m_longest, m_sincePainting.nsecsElapsed());
        m_sincePainting.start();
    }

    QTimer m_timer;
    QElapsedTimer m_sincePainting;
    qint64 m_longest = 0;
};

int showLongestGap() {
    constexpr int kSettling = 100; // milliseconds
    AppController controller;
    controller.awakeFromNib();
    Restless restless(controller.getWindow());
    QTimer::singleShot(0, &controller, [&controller, &restless] {
        controller.applicationDidFinishLaunching();
        QTimer::singleShot(kSettling, &controller, [&controller, &restless] {
            restless.begin();
            controller.refreshData();
            std::printf("%.1f ms\n", restless.longest());
            static_cast<void>(std::fflush(stdout));
            std::_Exit(0);
        });
    });
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    const std::string window = argc > 1 ? argv[1] : "";
    if (window == "program") {
        corvid::bench::setUpApplication();
        return showProgram();
    }
    if (window == "bare") {
        return showBareWindow();
    }
    if (window == "gap") {
        corvid::bench::setUpApplication();
        return showLongestGap();
    }
    static_cast<void>(std::fputs("usage: window_start program|bare|gap\n", stderr));
    return 2;
}
