#pragma once

// The main window: dark, in the scheme's primary colour, and listed in the Windows menu like any
// document.

#include <QMainWindow>
#include <QRect>

class QMenu;

namespace corvid {

// Whether a window with this frame lies too far off the screen to be found: ten pixels or less of
// it inside the left, right or lower edge. There is no test against the upper edge. Frames are in
// Qt's coordinates.
bool liesOffScreen(const QRect& window, const QRect& screen);

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
    // Centres the window on its screen.
    void center();

signals:
    void windowWillClose();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setupWindow();

    QMenu* m_windowsMenu = nullptr;
};
