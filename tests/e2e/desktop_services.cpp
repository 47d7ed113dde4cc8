// desktop_services [FILE]: stands in for what a desktop runs on its session bus.
//
// Always: the accessibility bus launcher, which sends programs to the session bus itself, so that
// they describe there what they show. With FILE: the file manager; every URI that it is asked to
// show is appended to FILE, one per line. Prints "ready" when it can be called.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QObject>
#include <QStringList>

#include <fstream>
#include <iostream>
#include <string>

class AccessibilityBus : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.a11y.Bus")

public slots:
    // The name on the bus.
    static QString GetAddress() { return qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"); }
};

class FileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    explicit FileManager(std::string path) : m_path(std::move(path)) {}

public slots:
    // The name on the bus.
    void ShowItems(const QStringList& uris, const QString& /*startupId*/) const {
        std::ofstream file(m_path, std::ios::app);
        for (const QString& uri : uris) {
            file << uri.toStdString() << '\n';
        }
    }

private:
    std::string m_path;
};

namespace {

bool offer(const QString& service, const QString& path, QObject& object) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.registerObject(path, &object, QDBusConnection::ExportAllSlots) &&
           bus.registerService(service);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    AccessibilityBus accessibilityBus;
    FileManager fileManager(argc > 1 ? argv[1] : "");
    bool offered =
        offer(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"), accessibilityBus);
    if (argc > 1) {
        offered = offer(QStringLiteral("org.freedesktop.FileManager1"),
                        QStringLiteral("/org/freedesktop/FileManager1"), fileManager) &&
                  offered;
    }
    if (!offered) {
        std::cerr << "the session bus refuses a service\n";
        return 1;
    }
    std::cout << "ready" << std::endl;
    return QCoreApplication::exec();
}

#include "desktop_services.moc"
