#include "MacCacheManager/views/StepperView.h"

#include <gmock/gmock.h>

#include <QTest>
#include <QToolButton>

#include <vector>

using ::testing::ElementsAre;

namespace {

class StepperViewTest : public ::testing::Test {
protected:
    StepperViewTest() {
        QObject::connect(&stepper, &corvid::StepperView::stepped,
                         [this](float value) { steps.push_back(value); });
        stepper.show();
    }

    corvid::StepperView stepper;
    std::vector<float> steps;
};

TEST_F(StepperViewTest, StepsByOneUntilToldOtherwise) {
    QTest::mouseClick(stepper.upButton(), Qt::LeftButton);

    EXPECT_THAT(steps, ElementsAre(1.0F));
}

TEST_F(StepperViewTest, TellsTheIncrementForTheUpperButton) {
    stepper.setIncrement(500);

    QTest::mouseClick(stepper.upButton(), Qt::LeftButton);
    QTest::mouseClick(stepper.upButton(), Qt::LeftButton);

    EXPECT_THAT(steps, ElementsAre(500.0F, 500.0F));
}

TEST_F(StepperViewTest, TellsMinusTheIncrementForTheLowerButton) {
    stepper.setIncrement(500);

    QTest::mouseClick(stepper.downButton(), Qt::LeftButton);

    EXPECT_THAT(steps, ElementsAre(-500.0F));
}

TEST_F(StepperViewTest, ObeysTheKeyboard) {
    QTest::keyClick(stepper.upButton(), Qt::Key_Space);
    QTest::keyClick(stepper.downButton(), Qt::Key_Space);

    EXPECT_THAT(steps, ElementsAre(1.0F, -1.0F));
}

TEST_F(StepperViewTest, GoesOnWhileAButtonIsHeld) {
    QTest::mousePress(stepper.upButton(), Qt::LeftButton);
    const bool repeats = QTest::qWaitFor([this] { return steps.size() >= 3; });
    QTest::mouseRelease(stepper.upButton(), Qt::LeftButton);

    EXPECT_TRUE(repeats);
}

TEST_F(StepperViewTest, TellsNothingWhileDisabled) {
    stepper.setEnabled(false);

    QTest::mouseClick(stepper.upButton(), Qt::LeftButton);
    QTest::keyClick(stepper.downButton(), Qt::Key_Space);

    EXPECT_TRUE(steps.empty());
}

TEST_F(StepperViewTest, StandsTheButtonsOneAboveTheOther) {
    EXPECT_LT(stepper.upButton()->geometry().bottom(), stepper.downButton()->geometry().top());
    EXPECT_EQ(stepper.upButton()->size(), stepper.downButton()->size());
}

TEST_F(StepperViewTest, NamesItsButtonsForTheAccessibilityLayer) {
    EXPECT_FALSE(stepper.upButton()->accessibleName().isEmpty());
    EXPECT_FALSE(stepper.downButton()->accessibleName().isEmpty());
}

} // namespace
