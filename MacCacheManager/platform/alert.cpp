#include "MacCacheManager/platform/alert.h"

#include "MacCacheManager/ImageResources.h"

#include <QAccessible>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>
#include <cmath>
#include <memory>

namespace corvid {

namespace {

constexpr int kMargin = 20;
constexpr int kMarkGap = 16;
constexpr int kTextGap = 8;
constexpr int kCharactersInLine = 64;
constexpr double kGreatestPartOfScreen = 0.5;

// An image of the program in the colour of the text.
class MarkView : public QWidget {
public:
    MarkView(const QString& image, const QString& name) : m_image(imageNamed(image)) {
        setFixedSize(imageSize(m_image));
        setAccessibleName(name);
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        drawShape(&painter, QPointF(0, 0), m_image, palette().color(QPalette::WindowText));
    }

private:
    QIcon m_image;
};

} // namespace

// A text that can be marked and copied. What is too long for a line, such as a name without blanks,
// is broken wherever the line ends. What is copied is the text as it was given.
class MessageView : public QTextEdit {
public:
    explicit MessageView(const QString& text) : m_text(text) {
        setPlainText(text);
        setReadOnly(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        setTabChangesFocus(true);
        setFrameShape(QFrame::NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        viewport()->setAutoFillBackground(false);
        document()->setDocumentMargin(0);
        setAccessibleName(text);
    }
    // Makes it as wide as the line and as high as the text in it, or as high as goes.
    void fit(int width, int greatestHeight) {
        // On a copy, because the view gives its own document the width that it has itself.
        const std::unique_ptr<QTextDocument> measured(document()->clone());
        measured->setTextWidth(width);
        const int height = static_cast<int>(std::ceil(measured->size().height()));
        const bool isTooHigh = height > greatestHeight;
        setVerticalScrollBarPolicy(isTooHigh ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
        setFixedSize(width, std::min(height, greatestHeight));
    }
    // What is marked, or everything when nothing is.
    void copyMarked() {
        if (!textCursor().hasSelection()) {
            selectAll();
        }
        copy();
    }

protected:
    QMimeData* createMimeDataFromSelection() const override {
        const QTextCursor cursor = textCursor();
        const bool isWhole =
            cursor.selectionEnd() - cursor.selectionStart() == document()->characterCount() - 1;
        QString marked = cursor.selectedText();
        marked.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
        auto* copied = new QMimeData;
        copied->setText(isWhole ? m_text : marked);
        return copied;
    }
    void contextMenuEvent(QContextMenuEvent* event) override {
        if (!textCursor().hasSelection()) {
            selectAll();
        }
        QTextEdit::contextMenuEvent(event);
    }
    void keyPressEvent(QKeyEvent* event) override {
        if (event->matches(QKeySequence::Copy)) {
            copyMarked();
        } else {
            QTextEdit::keyPressEvent(event);
        }
    }

private:
    QString m_text;
};

AlertPanel::AlertPanel(QWidget* window, const QString& title, const QString& message,
                       const QString& defaultButton, const QString& alternateButton)
    : QDialog(window), m_message(new MessageView(message)),
      m_hasAlternate(!alternateButton.isEmpty()) {
    setWindowTitle(QStringLiteral("Cache Manager"));
    setWindowModality(Qt::WindowModal);
    auto* buttons = new QDialogButtonBox;
    QPushButton* accept = buttons->addButton(defaultButton, QDialogButtonBox::AcceptRole);
    if (m_hasAlternate) {
        buttons->addButton(alternateButton, QDialogButtonBox::RejectRole);
    }
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layOut(m_hasAlternate ? new MarkView(QStringLiteral("alert_warning"), tr("Warning"))
                          : new MarkView(QStringLiteral("alert_information"), tr("Information")),
           new QLabel(title), buttons);
    accept->setDefault(true);
    accept->setFocus();
}

void AlertPanel::layOut(QWidget* mark, QLabel* title, QWidget* buttons) {
    title->setTextFormat(Qt::PlainText);
    title->setWordWrap(true);
    const int width = kCharactersInLine * fontMetrics().averageCharWidth();
    title->setFixedWidth(width);
    m_message->setFont(font());
    m_message->fit(
        width, static_cast<int>(screen()->availableGeometry().height() * kGreatestPartOfScreen));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    grid->setHorizontalSpacing(kMarkGap);
    grid->setVerticalSpacing(kTextGap);
    grid->addWidget(mark, 0, 0, 2, 1, Qt::AlignTop);
    grid->addWidget(title, 0, 1);
    grid->addWidget(m_message, 1, 1);
    grid->setRowMinimumHeight(2, kTextGap);
    grid->addWidget(buttons, 3, 0, 1, 2);
    grid->setSizeConstraint(QLayout::SetFixedSize);
}

// The cursor stands before the text, so that a long one is read from its beginning.
void AlertPanel::markMessage() {
    QTextCursor all = m_message->textCursor();
    all.movePosition(QTextCursor::End);
    all.movePosition(QTextCursor::Start, QTextCursor::KeepAnchor);
    m_message->setTextCursor(all);
}

AlertAnswer AlertPanel::run() {
    QAccessibleEvent shown(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&shown);
    return exec() == QDialog::Accepted || !m_hasAlternate ? AlertAnswer::Default
                                                          : AlertAnswer::Alternate;
}

void AlertPanel::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        m_message->copyMarked();
    } else {
        QDialog::keyPressEvent(event);
    }
}

AlertAnswer runAlertPanel(QWidget* window, const QString& title, const QString& message,
                          const QString& defaultButton, const QString& alternateButton,
                          AlertMessage shown) {
    AlertPanel alert(window, title, message, defaultButton, alternateButton);
    if (shown == AlertMessage::Marked) {
        alert.markMessage();
    }
    return alert.run();
}

QString alertFormat(const QString& format) {
    QString text = format;
    return text.replace(QStringLiteral("%%"), QStringLiteral("%"));
}

} // namespace corvid
