// busy_window FILE: a window that is busy, as during a build or a deletion, until FILE exists. It
// prints how many keys and clicks reached it while it was busy ("busy: 0"), afterwards each new
// number ("idle: 1", ...), and when it is asked to close, which it does not.

#include "MacCacheManager/ActivityView.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

namespace {

class BusyWindow : public QWidget {
public:
    explicit BusyWindow(QString endFile) : m_endFile(std::move(endFile)) {
        setWindowTitle(QStringLiteral("Busy"));
        resize(300, 100);
        setFocusPolicy(Qt::StrongFocus);
        auto* column = new QVBoxLayout(this);
        column->addWidget(&m_activity);
    }

    void work() {
        m_activity.startAnimation();
        m_isBusy = true;
        for (std::uint64_t files = 0; !QFileInfo::exists(m_endFile); ++files) {
            m_activity.showFilesRead(files);
            QThread::msleep(5);
        }
        m_activity.stopAnimation();
        m_activity.dropWaitingInput();
        m_isBusy = false;
        tell("busy");
    }

protected:
    void keyPressEvent(QKeyEvent* /*event*/) override { count(); }
    void mousePressEvent(QMouseEvent* /*event*/) override { count(); }

    void closeEvent(QCloseEvent* event) override {
        event->ignore();
        say("asked to close\n");
    }

private:
    static void say(const char* what) {
        static_cast<void>(std::fputs(what, stdout));
        static_cast<void>(std::fflush(stdout));
    }
    void count() {
        ++m_inputs;
        if (!m_isBusy) {
            tell("idle");
        }
    }
    void tell(const char* when) const {
        std::printf("%s: %d\n", when, m_inputs);
        static_cast<void>(std::fflush(stdout));
    }

    QString m_endFile;
    ActivityView m_activity;
    bool m_isBusy = false;
    int m_inputs = 0;
};

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    BusyWindow window(QString::fromLocal8Bit(argc > 1 ? argv[1] : ""));
    window.show();
    QTimer::singleShot(0, &window, [&window] { window.work(); });
    return QApplication::exec();
}
