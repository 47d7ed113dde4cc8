#pragma once

// Shows, inside a command that blocks the window, that it is at work and how far it has come.

#include "MacCacheManager/CacheDataSource.h"

#include <QElapsedTimer>
#include <QWidget>

class QLabel;

// A turning spinner beside one line of text; it keeps its place, and shows nothing, while nothing
// is being done. It repaints at most twenty times a second and holds the user's input back until
// the command is done.
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
    bool isAnimating() const { return m_isAnimating; }
    QString line() const;
    // How often it has been repainted since it was last started.
    int repaints() const { return m_repaints; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void repaintNow();
    QRectF spinnerRect() const;

    QLabel* m_label;
    QElapsedTimer m_sinceRepaint;
    bool m_isAnimating = false;
    int m_step = 0;
    int m_repaints = 0;
};
