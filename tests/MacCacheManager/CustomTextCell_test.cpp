#include "MacCacheManager/CustomTextCell.h"

#include "tests/support/view_pixels.h"

#include <QPainter>
#include <QStandardItemModel>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

class CustomTextCellPixels : public ViewPixels {};

QImage drawnCell(const QString& text, Qt::Alignment alignment) {
    QStandardItemModel model(1, 1);
    model.setData(model.index(0, 0), text);
    model.setData(model.index(0, 0), QVariant(static_cast<int>(alignment)), Qt::TextAlignmentRole);
    QImage image(200, 20, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QStyleOptionViewItem option;
    option.rect = QRect(20, 0, 160, 20);
    option.state = QStyle::State_Selected | QStyle::State_Enabled;
    CustomTextCell().paint(&painter, option, model.index(0, 0));
    return image;
}

// The columns from first to last pixel that was drawn.
std::pair<int, int> inkOf(const QImage& image) {
    int first = image.width();
    int last = -1;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixelColor(x, y).alpha() > 0) {
                first = std::min(first, x);
                last = std::max(last, x);
            }
        }
    }
    return {first, last};
}

} // namespace

TEST_P(CustomTextCellPixels, LongTextIsShortenedInItsMiddle) {
    const QString ends(5, QLatin1Char('M'));
    const QString text = ends + QString(200, QLatin1Char('.')) + ends;
    QImage image(200, 20, QImage::Format_ARGB32_Premultiplied);
    image.fill(m_colors.getClrFillPrimary());
    QPainter painter(&image);
    QFont font = painter.font();
    font.setPixelSize(11);
    painter.setFont(font);
    CustomTextCell::drawWithFrame(&painter, QRectF(10, 0, 180, 20), text);
    // Letters reach the middle of the line, dots do not.
    const auto hasLetters = [&](int from, int to) {
        const int paper = m_colors.getClrFillPrimary().red();
        for (int x = from; x < to; ++x) {
            if (std::abs(greyAt(image, x, 9) - paper) > 20) {
                return true;
            }
        }
        return false;
    };
    EXPECT_FALSE(hasLetters(0, 10));
    EXPECT_TRUE(hasLetters(10, 20));
    EXPECT_FALSE(hasLetters(75, 125));
    EXPECT_TRUE(hasLetters(175, 190));
    EXPECT_FALSE(hasLetters(190, 200));
}

INSTANTIATE_TEST_SUITE_P(Brightness, CustomTextCellPixels, schemeBrightnesses());

TEST(CustomTextCell, SelectedCellDrawsItsTextAndNoBackground) {
    const auto [first, last] = inkOf(drawnCell(QStringLiteral("Name"), Qt::AlignLeft));
    EXPECT_GE(first, 20);
    EXPECT_LT(first, 24);
    EXPECT_LT(last, 70);
}

TEST(CustomTextCell, AlignmentOfTheModelIsKept) {
    const auto [first, last] = inkOf(drawnCell(QStringLiteral("12"), Qt::AlignRight));
    EXPECT_GT(first, 150);
    EXPECT_GE(last, 176);
    EXPECT_LT(last, 180);
}

TEST(CustomTextCell, EmptyTextDrawsNothing) {
    EXPECT_EQ(inkOf(drawnCell(QString(), Qt::AlignLeft)).second, -1);
}

TEST(CustomTextCell, LineBreaksAndAmpersandsStandOnOneLine) {
    EXPECT_EQ(drawnCell(QStringLiteral("a\nb"), Qt::AlignLeft),
              drawnCell(QStringLiteral("a b"), Qt::AlignLeft));
    EXPECT_NE(drawnCell(QStringLiteral("a&b"), Qt::AlignLeft),
              drawnCell(QStringLiteral("ab"), Qt::AlignLeft));
}
