#pragma once

// Shows, inside a command that blocks the window, that it is at work and how far it has come.

#include "MacCacheManager/CacheDataSource.h"

#include <QElapsedTimer>
#include <QWidget>

class QLabel;

// A turning spinner beside one line of text; it keeps its place, and shows nothing, while nothing
// is being done. It repaints at most twenty times a second. What the user presses meanwhile is
// dropped, because it was meant for the list as it was; the window's closing is let through, and
// Escape where what is done can be stopped.
class ActivityView : public QWidget, public corvid::BuildIndicator {
    Q_OBJECT

public:
    explicit ActivityView(QWidget* parent = nullptr);

    void startAnimation() override;
    void showFilesRead(std::uint64_t files) override;
    void stopAnimation() override;
    // Any line, for the other commands that take time: shown now if the last repaint is long enough
    // ago.
    void showLine(const QString& line);
    // Drops what was pressed since the last repaint; for the end of a command that has shown
    // something.
    void dropWaitingInput();
    bool isAnimating() const { return m_isAnimating; }
    // Whether Escape asks for the end of what is being done.
    void setStoppable(bool isStoppable) { m_isStoppable = isStoppable; }
    QString line() const;
    // How often it has been repainted since it was last started.
    int repaints() const { return m_repaints; }

signals:
    void stopRequested();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void setLine(const QString& line);
    void repaintNow();
    void handleEventsButInput();
    QRectF spinnerRect() const;

    QLabel* m_label;
    QElapsedTimer m_sinceRepaint;
    bool m_isAnimating = false;
    bool m_isStoppable = false;
    bool m_mayInputWait = false; // something was shown since input was last dropped for good
    int m_step = 0;
    int m_repaints = 0;
};
