// What the window shows while the first reading takes its time.

#include "MacCacheManager/UISettings.h"
#include "tests/e2e/program_test.h"

#include <QFile>

namespace corvid::test {

namespace {

class FirstReading : public ProgramTest {
protected:
    ~FirstReading() override { endReading(); }

    // Starts a program whose reading does not end.
    void startReading(const char* how) {
        makeCache();
        session.start(CORVID_READING_WINDOW, {how, endFile()});
        window = session.waitForWindow("Cache Manager");
    }
    void endReading() {
        EXPECT_TRUE(QFile(QString::fromStdString(endFile())).open(QIODevice::WriteOnly));
    }

    QImage picture() { return session.display().picture(window.id); }

    // The list's rows in a picture: what lies between the header and the box of the totals, left of
    // the scroller. Empty while one of them is not there.
    QRect list(const QImage& picture) const {
        const std::vector<Stretch> stretches = stretchesOf(picture, colors.getClrFillPrimary());
        const auto longest = std::max_element(
            stretches.begin(), stretches.end(),
            [](const Stretch& left, const Stretch& right) { return left.length < right.length; });
        return longest != stretches.end()
                   ? QRect(0, longest->top, picture.width() - kScroller, longest->length)
                   : QRect();
    }
    // The text in the list; empty when there is none or something that is no text.
    QRect text(const QImage& picture) const {
        const QRect rows = list(picture);
        QRect text;
        for (int y = rows.top(); y <= rows.bottom(); ++y) {
            for (int x = rows.left(); x <= rows.right(); ++x) {
                if (picture.pixel(x, y) != colors.getClrFillPrimary().rgb()) {
                    text |= QRect(x, y, 1, 1);
                }
            }
        }
        return text;
    }
    // Whether the list is in the scheme's fill with one short line in its middle.
    bool saysReading(const QImage& picture) const {
        const QRect line = text(picture);
        const QPoint off = line.center() - list(picture).center();
        return line.width() > 30 && line.width() < 150 && line.height() > 5 && line.height() < 25 &&
               std::abs(off.x()) < 20 && std::abs(off.y()) < 5;
    }
    // How many boxes of totals there are, each with a line through it.
    std::size_t boxesOfTotals(const QImage& picture) const {
        return stretchesOf(picture, colors.getClrFillSecondary()).size() / 2;
    }

    const UISettings colors{-100};
    XWindow window;

private:
    struct Stretch {
        int top;
        int length;
    };
    // Where a column left of all texts, through list and box, has a colour.
    static std::vector<Stretch> stretchesOf(const QImage& picture, const QColor& color) {
        constexpr int kColumn = 28;
        std::vector<Stretch> found;
        for (int y = 0; y < picture.height(); ++y) {
            if (picture.pixel(kColumn, y) != color.rgb()) {
                continue;
            }
            if (!found.empty() && found.back().top + found.back().length == y) {
                ++found.back().length;
            } else {
                found.push_back({y, 1});
            }
        }
        return found;
    }
    std::string endFile() const { return root() + "/end"; }

    static constexpr int kScroller = 20;
};

TEST_F(FirstReading, TheListIsThereWithTheFirstFrameEvenWhenTheDiskGivesNoAnswer) {
    startReading("silent");

    EXPECT_TRUE(waitFor([this] { return saysReading(picture()); }, std::chrono::seconds(10)));
    EXPECT_EQ(boxesOfTotals(picture()), 1U);
}

TEST_F(FirstReading, TheListSaysThatItIsBeingRead) {
    startReading("telling");

    EXPECT_TRUE(waitFor([this] { return saysReading(picture()); }, std::chrono::seconds(10)));
}

TEST_F(FirstReading, NothingIsDrawnTwiceWhenTheWindowIsResized) {
    startReading("telling");
    EXPECT_TRUE(waitFor([this] { return saysReading(picture()); }, std::chrono::seconds(10)));

    for (const QSize& size : {QSize(860, 740), QSize(1100, 700), QSize(700, 450)}) {
        session.display().resize(window.id, size);
        EXPECT_TRUE(waitFor(
            [this, &size] {
                const QImage now = picture();
                return now.size() == size && boxesOfTotals(now) == 1 && saysReading(now);
            },
            std::chrono::seconds(10)))
            << size.width() << "x" << size.height();
    }
}

TEST_F(FirstReading, TheRowsAreThereWhenItEnds) {
    startReading("telling");
    EXPECT_TRUE(waitFor([this] { return saysReading(picture()); }, std::chrono::seconds(10)));

    endReading();

    EXPECT_TRUE(waitFor([this] { return !saysReading(session.settledPicture(window.id)); },
                        std::chrono::seconds(10)));
}

} // namespace

} // namespace corvid::test
