#include "MacCacheManager/ActivityView.h"

#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/UISettings.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPainter>

namespace {

constexpr int kSpinnerSize = 16;
constexpr int kSpokes = 12;
constexpr int kRepaintInterval = 50; // milliseconds
constexpr int kLineFontSize = 11;

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
    m_label->setAccessibleName(tr("What is being done"));
    m_label->setMinimumWidth(1); // a long line is cut rather than widening the window
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
    showLine(tr("Reading the cache: %1 files").arg(QLocale::system().toString(qulonglong{files})));
}

void ActivityView::showLine(const QString& line) {
    if (!m_isAnimating) {
        return;
    }
    if (m_sinceRepaint.isValid() && m_sinceRepaint.elapsed() < kRepaintInterval) {
        return;
    }
    m_label->setText(line);
    ++m_step;
    repaintNow();
}

void ActivityView::stopAnimation() {
    m_isAnimating = false;
    m_label->clear();
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
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
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
