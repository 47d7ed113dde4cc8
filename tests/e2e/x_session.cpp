#include "tests/e2e/x_session.h"

#include <QFile>

#include <algorithm>
#include <stdexcept>
#include <thread>

#if __has_include(<sys/prctl.h>)
#include <csignal>
#include <sys/prctl.h>
#endif

namespace corvid::test {

namespace {

constexpr std::chrono::milliseconds kPollInterval{10};

QStringList toList(const std::vector<std::string>& texts) {
    QStringList list;
    for (const std::string& text : texts) {
        list.append(QString::fromStdString(text));
    }
    return list;
}

int milliseconds(std::chrono::milliseconds duration) {
    return static_cast<int>(duration.count());
}

// The first line of a program's standard output; empty when it ends or is silent for too long.
QByteArray firstLine(QProcess& process) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!process.canReadLine()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !process.waitForReadyRead(milliseconds(left))) {
            return {};
        }
    }
    return process.readLine().trimmed();
}

// Lets a process end with this one, even when this one is killed because a test took too long.
void endWithUs(QProcess& process) {
#if __has_include(<sys/prctl.h>)
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
#else
    static_cast<void>(process);
#endif
}

void end(QProcess& process) {
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    process.terminate();
    if (!process.waitForFinished(milliseconds(std::chrono::seconds(5)))) {
        process.kill();
        process.waitForFinished(-1);
    }
}

QByteArray startAndReadLine(QProcess& process, const QString& program,
                            const QStringList& arguments) {
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    QByteArray line = firstLine(process);
    if (line.isEmpty()) {
        throw std::runtime_error(program.toStdString() +
                                 " did not start: " + process.errorString().toStdString());
    }
    return line;
}

// A bus that starts no services of the machine it runs on.
const char* const kBusConfiguration =
    "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
    " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
    "<busconfig><type>session</type><listen>unix:dir=%1</listen>\n"
    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
    "<allow own=\"*\"/></policy></busconfig>\n";

} // namespace

bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return true;
}

XSession::XSession(QSize screen) : m_environment(QProcessEnvironment::systemEnvironment()) {
    for (QProcess* process : {&m_server, &m_bus, &m_services, &m_program}) {
        endWithUs(*process);
    }
    startServer(screen);
    try {
        startBus();
        startServices({});
    } catch (...) {
        end(m_bus);
        end(m_server);
        throw;
    }
}

XSession::~XSession() {
    end(m_program);
    end(m_services);
    end(m_bus);
    m_display.reset();
    end(m_server);
}

void XSession::startServer(QSize screen) {
    const QString size = QStringLiteral("%1x%2x24").arg(screen.width()).arg(screen.height());
    const QByteArray number = startAndReadLine(
        m_server, QStringLiteral("Xvfb"),
        {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
         QStringLiteral("0"), size, QStringLiteral("-nolisten"), QStringLiteral("tcp")});
    const QString name = QStringLiteral(":") + QString::fromLatin1(number);
    m_display = std::make_unique<XDisplay>(name.toStdString());
    m_display->moveMouse(
        {0, 0}); // a server starts with it in the middle, where it would hover over something
    m_environment.insert(QStringLiteral("DISPLAY"), name);
    m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    for (const char* other :
         {"WAYLAND_DISPLAY", "XAUTHORITY", "QT_SCALE_FACTOR", "QT_STYLE_OVERRIDE"}) {
        m_environment.remove(QString::fromLatin1(other));
    }
}

void XSession::startBus() {
    const QString configuration = m_folder.filePath(QStringLiteral("bus.conf"));
    QFile file(configuration);
    const QByteArray text = QString::fromLatin1(kBusConfiguration).arg(m_folder.path()).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        throw std::runtime_error("cannot write " + configuration.toStdString());
    }
    file.close();
    m_busAddress = QString::fromUtf8(startAndReadLine(
        m_bus, QStringLiteral("dbus-daemon"),
        {QStringLiteral("--config-file=") + configuration, QStringLiteral("--nofork"),
         QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")}));
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    m_environment.remove(QStringLiteral("AT_SPI_BUS_ADDRESS"));
    m_environment.remove(QStringLiteral("NO_AT_BRIDGE"));
    m_environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
}

void XSession::startServices(const QStringList& arguments) {
    m_services.setProcessEnvironment(m_environment);
    startAndReadLine(m_services, QStringLiteral(CORVID_DESKTOP_SERVICES), arguments);
}

void XSession::start(const std::string& program, const std::vector<std::string>& arguments) {
    if (isRunning()) {
        throw std::logic_error("a program is running already");
    }
    m_output.clear();
    m_program.setProcessChannelMode(QProcess::MergedChannels);
    m_program.setProcessEnvironment(m_environment);
    m_program.start(QString::fromStdString(program), toList(arguments));
    if (!m_program.waitForStarted(-1)) {
        throw std::runtime_error("cannot start " + program + ": " +
                                 m_program.errorString().toStdString());
    }
}

bool XSession::isRunning() {
    // Without an event loop the object learns of the end, and of output, only when asked to wait.
    if (m_program.state() != QProcess::NotRunning) {
        m_program.waitForFinished(0);
    }
    if (m_program.isReadable()) {
        m_output += m_program.readAll();
    }
    return m_program.state() != QProcess::NotRunning;
}

std::string XSession::output() {
    isRunning();
    return m_output.toStdString();
}

int XSession::waitForExit() {
    if (!waitFor([this] { return !isRunning(); })) {
        throw std::runtime_error("the program did not end; its output:\n" + output());
    }
    return m_program.exitStatus() == QProcess::NormalExit ? m_program.exitCode()
                                                          : 128 + m_program.exitCode();
}

void XSession::waitOrThrow(const std::string& what, const std::function<bool()>& condition) {
    bool ended = false;
    const bool met = waitFor([&] {
        ended = !isRunning();
        return condition() || ended;
    });
    if (met && (!ended || condition())) {
        return;
    }
    std::string message = ended ? "the program ended" : "nothing came in time";
    message += " while waiting for " + what + "; visible windows:";
    for (const XWindow& window : m_display->windows()) {
        message += " '" + window.title + "'";
    }
    throw std::runtime_error(message + "; the program's output:\n" + output());
}

XWindow XSession::waitForWindow(const std::string& title) {
    XWindow found;
    waitOrThrow("a window '" + title + "'", [&] {
        const std::vector<XWindow> windows = m_display->windows();
        const auto match =
            std::find_if(windows.rbegin(), windows.rend(),
                         [&](const XWindow& window) { return window.title == title; });
        if (match == windows.rend()) {
            return false;
        }
        found = *match;
        return true;
    });
    return found;
}

XWindow XSession::waitForPopup(const std::function<void()>& open) {
    const std::vector<XWindow> before = m_display->windows();
    open();
    XWindow found;
    waitOrThrow("a menu", [&] {
        for (const XWindow& window : m_display->windows()) {
            const bool isNew = std::none_of(before.begin(), before.end(), [&](const XWindow& old) {
                return old.id == window.id;
            });
            if (isNew && window.isPopup) {
                found = window;
                return true;
            }
        }
        return false;
    });
    return found;
}

void XSession::chooseFromMenu(const std::function<void()>& open, int item) {
    const XWindow menu = waitForPopup(open);
    for (int i = 0; i < item; ++i) {
        m_display->pressKey("Down");
    }
    m_display->pressKey("Return");
    waitUntilClosed(menu.id);
}

std::optional<XWindow> XSession::window(WindowId id) {
    for (const XWindow& window : m_display->windows()) {
        if (window.id == id) {
            return window;
        }
    }
    return std::nullopt;
}

void XSession::waitUntilClosed(WindowId id) {
    if (!waitFor([&] { return !window(id); })) {
        throw std::runtime_error("a window did not close; the program's output:\n" + output());
    }
}

void XSession::waitUntilIdle(WindowId id) {
    // The first answer tells that the event loop turns; what was due before it, such as work that
    // waits for the loop to start, has been done by the second.
    for (int round = 0; round < 2; ++round) {
        const unsigned long serial = ++m_pings;
        m_display->sendPing(id, serial);
        waitOrThrow("an answer of the event loop", [&] { return m_display->hasAnswered(serial); });
    }
}

QImage XSession::settledPicture(WindowId id) {
    QImage last;
    waitOrThrow("a picture that stays the same", [&] {
        waitUntilIdle(id);
        QImage now = m_display->picture(id);
        const bool same = !now.isNull() && now == last;
        last = std::move(now);
        return same;
    });
    return last;
}

QPoint XSession::onScreen(WindowId id, QPoint place) {
    const std::optional<XWindow> found = window(id);
    if (!found) {
        throw std::runtime_error("the window to click into is not visible");
    }
    return found->geometry.topLeft() + place;
}

void XSession::click(WindowId id, QPoint place, MouseButton button, const std::string& modifier) {
    clickOnScreen(onScreen(id, place), button, modifier);
}

void XSession::clickOnScreen(QPoint place, MouseButton button, const std::string& modifier) {
    m_display->moveMouse(place);
    m_display->clickWith(button, modifier);
}

void XSession::doubleClick(WindowId id, QPoint place) {
    click(id, place);
    click(id, place);
}

void XSession::pressKey(WindowId id, const std::string& key) {
    m_display->focus(id);
    m_display->pressKey(key);
}

void XSession::type(WindowId id, const std::string& text) {
    m_display->focus(id);
    m_display->type(text);
}

void XSession::offerFileManager(const std::string& file) {
    end(m_services);
    startServices({QString::fromStdString(file)});
}

} // namespace corvid::test
