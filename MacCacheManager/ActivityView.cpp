#include "MacCacheManager/ActivityView.h"

#include "MacCacheManager/CountText.h"
#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/UISettings.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>

#include <functional>

namespace {

constexpr int kSpinnerSize = 16;
constexpr int kSpokes = 12;
constexpr int kRepaintInterval = 50; // milliseconds
constexpr int kLineFontSize = 11;

// While it lives, no press, key or turn of the wheel reaches the program. Releases do: what was
// pressed before must not stay down.
class InputDropper : public QObject {
public:
    explicit InputDropper(const std::function<void()>& onEscape) : m_onEscape(onEscape) {
        qApp->installEventFilter(this);
    }
    ~InputDropper() override { qApp->removeEventFilter(this); }
    Q_DISABLE_COPY_MOVE(InputDropper)

    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            m_onEscape();
        }
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::ContextMenu:
        case QEvent::KeyPress:
        case QEvent::ShortcutOverride:
        case QEvent::Shortcut:
        case QEvent::TabletPress:
        case QEvent::TouchBegin:
            return true;
        default:
            return false;
        }
    }

private:
    const std::function<void()>& m_onEscape;
};

} // namespace

ActivityView::ActivityView(QWidget* parent) : QWidget(parent), m_label(new QLabel(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_label, 1);
    row->addSpacing(kSpinnerSize + 8);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_label->setFont(corvid::systemFontOfSize(kLineFontSize));
    m_label->setObjectName(QStringLiteral("m_labelActivity"));
    m_label->setForegroundRole(QPalette::ButtonText); // it lies on the toolbar, as its buttons do
    m_label->setMinimumWidth(1); // a long line is cut rather than widening the window
    setLine(QString());
}

// A screen reader is told what it says; an empty label would have no name.
void ActivityView::setLine(const QString& line) {
    m_label->setText(line);
    m_label->setAccessibleName(line.isEmpty() ? tr("Nothing is being done") : line);
}

void ActivityView::startAnimation() {
    m_isAnimating = true;
    m_step = 0;
    m_repaints = 0;
    m_sinceRepaint.invalidate();
    showLine(QString());
    m_sinceRepaint.invalidate(); // the first thing to say is shown at once
}

void ActivityView::showFilesRead(std::uint64_t files) {
    const QString line =
        m_isStoppable ? tr("Reading the cache: %1 (Esc stops)") : tr("Reading the cache: %1");
    showLine(line.arg(corvid::filesText(files)));
    if (isVisible()) {
        handleEventsButInput(); // what else is to be painted does not wait for the spinner's turn
    }
}

void ActivityView::showLine(const QString& line) {
    if (!m_isAnimating) {
        return;
    }
    if (m_sinceRepaint.isValid() && m_sinceRepaint.elapsed() < kRepaintInterval) {
        return;
    }
    setLine(line);
    ++m_step;
    repaintNow();
}

void ActivityView::handleEventsButInput() {
    m_mayInputWait = true;
    const std::function<void()> onEscape = [this] {
        if (m_isStoppable && m_isAnimating) {
            emit stopRequested();
        }
    };
    const InputDropper dropper(onEscape);
    QCoreApplication::processEvents();
}

void ActivityView::stopAnimation() {
    m_isAnimating = false;
    setLine(QString());
    repaintNow();
}

QString ActivityView::line() const {
    return m_label->text();
}

void ActivityView::repaintNow() {
    ++m_repaints;
    m_sinceRepaint.start();
    if (isVisible()) {
        repaint();
        handleEventsButInput();
    }
}

void ActivityView::dropWaitingInput() {
    if (m_mayInputWait) {
        handleEventsButInput();
        m_mayInputWait = false;
    }
}

QRectF ActivityView::spinnerRect() const {
    return {static_cast<double>(width() - kSpinnerSize), (height() - kSpinnerSize) / 2.0,
            kSpinnerSize, kSpinnerSize};
}

void ActivityView::paintEvent(QPaintEvent* /*event*/) {
    if (!m_isAnimating) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(spinnerRect().center());
    for (int spoke = 0; spoke < kSpokes; ++spoke) {
        QColor color = UISettings::instance()->getClrTextOutlineView();
        // The spoke at the current step is the strongest, those it has passed fade behind it.
        const int age = (m_step - spoke % kSpokes + 2 * kSpokes) % kSpokes;
        color.setAlphaF(1.0F - static_cast<float>(age) / (kSpokes + 1));
        painter.save();
        painter.rotate(360.0 / kSpokes * spoke);
        painter.setPen(QPen(color, 1.6, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -kSpinnerSize * 0.25), QPointF(0, -kSpinnerSize * 0.45));
        painter.restore();
    }
}
