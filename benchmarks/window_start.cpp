// window_start program|bare: opens the program's window, or a bare one with an empty tree view
// (four column titles, no rows), and ends once it has been painted with what it has to show. Prints
// the memory it then occupies. CORVIDPRO_ROOT chooses the caches.

#include "benchmarks/offscreen_window.h"
#include "benchmarks/process_memory.h"

#include "MacCacheManager/CorvidPanel.h"

#include <QMainWindow>
#include <QStandardItemModel>
#include <QTimer>
#include <QTreeView>

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
        view->viewport(), [&controller] { return controller.dataSource()->shouldProvideData(); },
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
    static_cast<void>(std::fputs("usage: window_start program|bare\n", stderr));
    return 2;
}
