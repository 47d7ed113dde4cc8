// What the outline puts on the screen.

#include "tests/support/outline_fixture.h"
#include "tests/support/view_pixels.h"

#include <QPainter>
#include <QPixmap>

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OutlineDrawing : public corvid::test::OutlineTest {
protected:
    OutlineDrawing() {
        view.clearFocus();
        takeMouseAway();
    }
    ~OutlineDrawing() override { takeBrightness(-100); }

    void takeMouseAway() {
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(view.viewport(), &leave);
    }
    void putMouseOver(int row) {
        const QPoint place = rowRect(row).center();
        const QPoint onScreen = view.viewport()->mapToGlobal(place);
        QMouseEvent move(QEvent::MouseMove, place, onScreen, Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(view.viewport(), &move);
    }
    void takeBrightness(int brightness) {
        setBrightness(brightness);
        UISettings::instance()->setupDefaults();
        QPalette scheme = view.palette();
        scheme.setColor(QPalette::Base, colors().getClrFillPrimary());
        view.setPalette(scheme);
    }
    QImage picture() { return pixelsOf(*view.viewport()); }
    const UISettings& colors() const { return *UISettings::instance(); }

    // The rectangles, as (top, height), in which the whole width at column x shows the selection's
    // colour.
    std::vector<std::pair<int, int>> highlights(const QImage& image) const {
        std::vector<std::pair<int, int>> found;
        const QRgb color = colors().getClrOutlineViewHighlight().rgb();
        for (const int x : {1, image.width() - 2}) {
            std::vector<std::pair<int, int>> here;
            for (int y = 0; y < image.height(); ++y) {
                const bool isHighlight = image.pixelColor(x, y).rgb() == color;
                const bool isNew = here.empty() || here.back().first + here.back().second != y;
                if (isHighlight && isNew) {
                    here.emplace_back(y, 1);
                } else if (isHighlight) {
                    ++here.back().second;
                }
            }
            EXPECT_TRUE(x == 1 || here == found) << "both edges of the row show the same";
            found = here;
        }
        return found;
    }
};

TEST_F(OutlineDrawing, WithoutASelectionNothingIsFilled) {
    EXPECT_THAT(highlights(picture()), IsEmpty());
    const QImage image = picture();
    EXPECT_EQ(image.pixelColor(1, rowRect(1).center().y()).rgb(),
              colors().getClrFillPrimary().rgb());
}

TEST_F(OutlineDrawing, AFocusedOutlineWithoutASelectionFillsNothingEither) {
    view.selectRow(1, false);
    view.deselectAll();
    view.setFocus();
    view.activateWindow();
    EXPECT_THAT(highlights(picture()), IsEmpty());
}

TEST_F(OutlineDrawing, ASelectedRowIsOneRectangleOnePointShorterThanTheRow) {
    view.selectRow(1, false);
    EXPECT_THAT(highlights(picture()),
                ElementsAre(std::pair(rowRect(1).top() + 1, rowRect(1).height() - 1)));
}

TEST_F(OutlineDrawing, NeighboursAreDividedByOneLine) {
    view.selectRow(0, false);
    view.selectRow(1, true);
    const int height = rowRect(0).height() - 1;
    EXPECT_THAT(highlights(picture()), ElementsAre(std::pair(rowRect(0).top() + 1, height),
                                                   std::pair(rowRect(1).top() + 1, height)));
}

TEST_F(OutlineDrawing, DeselectingClearsTheRow) {
    view.selectRow(1, false);
    view.deselectRow(1);
    EXPECT_THAT(highlights(picture()), IsEmpty());
}

TEST_F(OutlineDrawing, TheRowUnderTheMouseIsMarkedAtEveryBrightness) {
    for (int brightness = -100; brightness <= 200; brightness += 4) {
        takeBrightness(brightness);
        const QImage before = picture();
        putMouseOver(1);
        const QImage after = picture();
        EXPECT_GE(visibleChange(before.copy(rowRect(1)), after.copy(rowRect(1))),
                  2 * (rowRect(1).height() - 1))
            << brightness;
        EXPECT_EQ(visibleChange(before, after),
                  visibleChange(before.copy(rowRect(1)), after.copy(rowRect(1))));
        takeMouseAway();
    }
}

TEST_F(OutlineDrawing, TheRowWithTheKeyboardIsFramedAtEveryBrightness) {
    view.selectRow(1, false);
    view.deselectAll();
    for (int brightness = -100; brightness <= 200; brightness += 4) {
        takeBrightness(brightness);
        view.clearFocus();
        const QImage before = picture();
        view.setFocus();
        view.activateWindow();
        EXPECT_GE(visibleChange(before, picture()), 2 * view.viewport()->width()) << brightness;
    }
}

TEST_F(OutlineDrawing, EveryExpandableRowAsksForItsTriangle) {
    int asked = 0;
    view.setWillDisplayOutlineCell([&asked](corvid::DisclosureCell&) { ++asked; });
    picture();
    EXPECT_EQ(asked, 2); // the empty project has none
}

TEST_F(OutlineDrawing, TheTrianglesImageIsChosenByTheItemsState) {
    view.setWillDisplayOutlineCell([](corvid::DisclosureCell& cell) {
        QPixmap closed(10, 10);
        closed.fill(Qt::red);
        QPixmap open(10, 10);
        open.fill(Qt::green);
        cell.image = QIcon(closed);
        cell.alternateImage = QIcon(open);
    });
    view.expandItem(project(0), false);
    const QImage image = picture();
    EXPECT_EQ(image.pixelColor(triangleAt(0)), QColor(Qt::green));
    EXPECT_EQ(image.pixelColor(triangleAt(1)), QColor(Qt::red)); // a closed composition
    EXPECT_EQ(image.pixelColor(triangleAt(3)), QColor(Qt::red)); // a closed project
    EXPECT_EQ(image.pixelColor(triangleAt(4)).rgb(),
              colors().getClrFillPrimary().rgb()); // no children
}

TEST_F(OutlineDrawing, APlaceholderShowsOnlyInPlaceOfRows) {
    const QImage withRows = picture();
    view.setPlaceholderText("Nothing to show");
    EXPECT_EQ(picture(), withRows);
    model.forgetData();
    const QImage empty = picture();
    view.setPlaceholderText(QString());
    EXPECT_NE(picture(), empty);
}

TEST_F(OutlineDrawing, ALongNameKeepsItsStartAndEnd) {
    project(0)->setName(
        "START of a very long name that does not fit into a narrow column at all and its END");
    model.reloadData();
    view.resize(420, 300);
    const QImage cut = picture();
    const QRect cell = rowRect(0);
    // Its last letters still end at the right edge of the column.
    bool hasInk = false;
    for (int x = cell.right() - 25; x < cell.right(); ++x) {
        for (int y = cell.top(); y < cell.bottom(); ++y) {
            hasInk = hasInk || cut.pixelColor(x, y).rgb() != colors().getClrFillPrimary().rgb();
        }
    }
    EXPECT_TRUE(hasInk);
}

} // namespace
