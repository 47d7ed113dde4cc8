#pragma once

// A desktop of its own for one program: a virtual X server, a private session bus, and the program,
// all ended with the object. Every wait ends as soon as what it waits for is there, and throws
// std::runtime_error with the program's output when it does not come in time.

#include "tests/e2e/x_display.h"

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvid::test {

// Sanitized programs are slow, and so are busy machines; nobody waits for a deadline that is met.
constexpr std::chrono::seconds kPatience{60};

// Polls until the condition holds; whether it did before the deadline.
bool waitFor(const std::function<bool()>& condition,
             std::chrono::milliseconds patience = kPatience);

class XSession {
public:
    explicit XSession(QSize screen = QSize(1400, 1000));
    ~XSession();
    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    // What started programs get to see; change it before start(). Holds the display and the bus.
    QProcessEnvironment& environment() { return m_environment; }
    const QString& busAddress() const { return m_busAddress; }
    XDisplay& display() { return *m_display; }

    // Starts the program, one per session at a time.
    void start(const std::string& program, const std::vector<std::string>& arguments = {});
    bool isRunning();
    qint64 programId() const { return m_program.processId(); }
    // Everything the program wrote to its standard output and error so far.
    std::string output();
    // Waits for the program's end: its exit status, or 128 and the signal that ended it.
    int waitForExit();

    // Waits for a visible window with this title.
    XWindow waitForWindow(const std::string& title);
    // Waits for a menu or another window without a title bar that was not there before the call of
    // `open`.
    XWindow waitForPopup(const std::function<void()>& open);
    // Opens a menu, walks down to its item (counted from 1, separators left out), triggers it with
    // the keyboard and waits until the menu is gone.
    void chooseFromMenu(const std::function<void()>& open, int item);
    // Waits until the window is gone.
    void waitUntilClosed(WindowId window);
    // The window as listed now, if it is visible.
    std::optional<XWindow> window(WindowId id);
    // Waits until the program has handled all events before this call, and what they started.
    void waitUntilIdle(WindowId window);
    // Waits until the window is idle and looks the same twice in a row; the picture.
    QImage settledPicture(WindowId window);

    // Mouse at a place given relative to the window's upper left corner.
    void click(WindowId window, QPoint place, MouseButton button = MouseButton::Left,
               const std::string& modifier = {});
    void doubleClick(WindowId window, QPoint place);
    void clickOnScreen(QPoint place, MouseButton button = MouseButton::Left,
                       const std::string& modifier = {});
    // Gives the window the keyboard and presses a key such as "Ctrl+W".
    void pressKey(WindowId window, const std::string& key);
    void type(WindowId window, const std::string& text);
    // Asks the window to close, as the button in its title bar does.
    void close(WindowId window) { m_display->close(window); }

    // Lets programs reveal files in a file manager of this desktop, which appends every URI that it
    // is asked to show to a file, one per line.
    void offerFileManager(const std::string& file);

private:
    void startServer(QSize screen);
    void startBus();
    void startServices(const QStringList& arguments);
    void waitOrThrow(const std::string& what, const std::function<bool()>& condition);
    QPoint onScreen(WindowId window, QPoint place);

    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
    QProcess m_server;
    QProcess m_bus;
    QString m_busAddress;
    std::unique_ptr<XDisplay> m_display;
    QProcess m_services;
    QProcess m_program;
    QByteArray m_output;
    unsigned long m_pings = 0;
};

} // namespace corvid::test
