// reading_window HOW FILE: the program with a first reading that takes until FILE exists. With HOW
// "telling" it tells of files all the while, with "silent" it is stuck on a disk that gives no
// answer.

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/AppController.h"
#include "MacCacheManager/CorvidPanel.h"

#include <QApplication>
#include <QFileInfo>
#include <QThread>

namespace {

// Between the data source and the window's own indicator.
class SlowReading : public corvid::BuildIndicator {
public:
    SlowReading(ActivityView& activity, bool isTelling, QString endFile)
        : m_activity(activity), m_isTelling(isTelling), m_endFile(std::move(endFile)) {}

    void startAnimation() override {
        constexpr int kBetweenFiles = 5; // milliseconds
        m_activity.startAnimation();
        for (std::uint64_t files = 0; !QFileInfo::exists(m_endFile); ++files) {
            if (m_isTelling) {
                m_activity.showFilesRead(files);
            }
            QThread::msleep(kBetweenFiles);
        }
    }
    void showFilesRead(std::uint64_t files) override { m_activity.showFilesRead(files); }
    void stopAnimation() override { m_activity.stopAnimation(); }

private:
    ActivityView& m_activity;
    const bool m_isTelling;
    const QString m_endFile;
};

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cache Manager"));
    const QStringList words = QCoreApplication::arguments();
    AppController controller;
    SlowReading reading(*controller.getWindow()->findChild<ActivityView*>(),
                        words.value(1) == QLatin1String("telling"), words.value(2));
    controller.dataSource()->setProgressSpinner(&reading);
    controller.awakeFromNib();
    QMetaObject::invokeMethod(&controller, &AppController::applicationDidFinishLaunching,
                              Qt::QueuedConnection);
    return QApplication::exec();
}
