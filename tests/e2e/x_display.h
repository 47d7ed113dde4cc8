#pragma once

// One connection to an X server as a user's eyes and hands: which windows are there, what they
// show, and real mouse and key events that take the way of a device's.

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QSize>

#include <memory>
#include <string>
#include <vector>

namespace corvid::test {

using WindowId = unsigned long;

enum class MouseButton { Left = 1, Middle = 2, Right = 3, WheelUp = 4, WheelDown = 5 };

struct XWindow {
    WindowId id = 0;
    std::string title;
    QRect geometry;       // on the screen
    bool isPopup = false; // a menu, a tool tip: no window manager would touch it
};

// Every function throws std::runtime_error when the server cannot do what is asked. A window that
// goes away meanwhile is no error: it is then not found, or has an empty picture.
class XDisplay {
public:
    explicit XDisplay(const std::string& displayName);
    ~XDisplay();
    XDisplay(const XDisplay&) = delete;
    XDisplay& operator=(const XDisplay&) = delete;

    // All visible top-level windows, the lowest first.
    std::vector<XWindow> windows();
    // The pixels of a window as the server shows them.
    QImage picture(WindowId window);

    void moveMouse(QPoint place); // on the screen
    // Clicks where the mouse is, with a modifier such as "Ctrl" held down, if one is given.
    void clickWith(MouseButton button, const std::string& modifier);
    // Moves the mouse from one place to the other with the left button held down.
    void drag(QPoint from, QPoint to);
    // Presses and releases a key with its modifiers, named as "Ctrl+Shift+Q", "Return", "Down",
    // "F5", "a".
    void pressKey(const std::string& name);
    // Types ASCII text.
    void type(const std::string& text);
    // Gives the keyboard to a window, as a window manager would.
    void focus(WindowId window);
    // Makes a window as large as this, as a user who drags its corner.
    void resize(WindowId window, QSize size);
    // Asks a window to close, as its title bar's button does.
    void close(WindowId window);

    // Asks whether the window's program is still handling its events; its answer comes when it
    // does.
    void sendPing(WindowId window, unsigned long serial);
    // Whether the answer to that question has come.
    bool hasAnswered(unsigned long serial);

private:
    struct Connection;
    void setKey(unsigned long symbol, bool down);

    std::unique_ptr<Connection> m_connection;
};

} // namespace corvid::test
