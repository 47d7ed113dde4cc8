#pragma once

// The main window: dark, in the scheme's primary colour, and listed in the Windows menu like any
// document.

#include <QMainWindow>
#include <QMargins>
#include <QRect>

#include <functional>

class QMenu;

namespace corvid {

// Whether a window with this frame lies too far off the screen to be found: ten pixels or less of
// it inside the left, right or lower edge. There is no test against the upper edge. Frames are in
// Qt's coordinates.
bool liesOffScreen(const QRect& window, const QRect& screen);

// What a desktop puts around a window at most: borders and a title bar. How much it really is can
// be known only when the window is shown.
constexpr QMargins kWidestFrame(6, 40, 6, 6);

// A window's place, without its frame, made to fit the available part of the screen: cut to its
// size, and where it was cut, wholly inside; with ten pixels or less of its title bar below the
// upper edge, moved down until all of it is. Otherwise as it was.
QRect fittedWindow(const QRect& window, const QRect& available);

} // namespace corvid

class CorvidPanel : public QMainWindow {
    Q_OBJECT

public:
    explicit CorvidPanel(QWidget* parent = nullptr);

    // Adds itself to the application's Windows menu under its own title.
    void awakeFromNib();
    bool isExcludedFromWindowsMenu() const { return false; }
    bool canBecomeKeyWindow() const { return true; }
    bool canBecomeMainWindow() const { return true; }
    // The Windows menu, made on first use.
    QMenu* windowsMenu();
    // Makes the window fit its screen.
    void fitScreen();
    // Centres the window on its screen, with room for its frame.
    void center();
    // Asked before the window closes; it stays open on false.
    void setWindowShouldClose(std::function<bool()> shouldClose) {
        m_shouldClose = std::move(shouldClose);
    }
    // Returns when the window has been painted once, or soon when the desktop shows it nowhere.
    // Input waits.
    void waitForFirstFrame();

signals:
    void windowWillClose();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setupWindow();

    QMenu* m_windowsMenu = nullptr;
    std::function<bool()> m_shouldClose;
};
