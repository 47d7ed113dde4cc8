#include "MacCacheManager/DarkCornerView.h"

#include "tests/support/view_pixels.h"

namespace {

class DarkCornerViewPixels : public ViewPixels {};

} // namespace

TEST_P(DarkCornerViewPixels, CornerLooksLikeAnEmptyHeaderCell) {
    DarkCornerView corner(20);
    corner.resize(15, 20);
    EXPECT_EQ(corner.height(), 20);
    expectHeaderCell(pixelsOf(corner), QRect(0, 0, 15, 20), m_colors);
}

INSTANTIATE_TEST_SUITE_P(Brightness, DarkCornerViewPixels, schemeBrightnesses());
