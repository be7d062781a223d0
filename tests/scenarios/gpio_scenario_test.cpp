// GPIO through the jumper between pins 0 and 1, end to end.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

#include <thread>

namespace tarvix_test {
namespace {

class GpioScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        sdk().onNotification([this](const Notification& n) {
            if (const GpioInterruptNotification* gpio = n.gpio()) {
                interrupts_.push(gpio->pinNumber);
            }
        });
    }
    Inbox<std::uint8_t>& interrupts() { return interrupts_; }

private:
    Inbox<std::uint8_t> interrupts_;
};

TEST_F(GpioScenario, WriteOnPinZeroIsReadOnPinOneAndRaisesItsInterrupt)
{
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_0, GpioFunctionality::DIGITAL_OUTPUT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_1, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigureInterrupt(GpioPinNumber::GPIO_1, GpioTriggerType::RISING_EDGE), StatusCode::SUCCESS);

    EXPECT_EQ(sdk().gpioDigitalWrite(GpioPinNumber::GPIO_0, GpioLogicLevel::HIGH), StatusCode::SUCCESS);
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_1, level), StatusCode::SUCCESS);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
    EXPECT_EQ(interrupts().waitFor(1), std::vector<std::uint8_t>{1});

    // A falling edge does not fire a rising trigger; the next rise does.
    EXPECT_EQ(sdk().gpioDigitalWrite(GpioPinNumber::GPIO_0, GpioLogicLevel::LOW), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().gpioDigitalWrite(GpioPinNumber::GPIO_0, GpioLogicLevel::HIGH), StatusCode::SUCCESS);
    EXPECT_EQ(interrupts().waitFor(2), (std::vector<std::uint8_t>{1, 1}));
}

TEST_F(GpioScenario, InterruptArrivesWhileABlockingCallWaits)
{
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_6, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigureInterrupt(GpioPinNumber::GPIO_6, GpioTriggerType::BOTH_EDGES), StatusCode::SUCCESS);
    adapter().clearRecords();
    // The read's answer is held back; the pin changes while the call waits for it.
    adapter().setResponseDelay(300ms);
    std::thread outside([this] {
        ASSERT_TRUE(adapter().waitForRequests(1, 5s));
        tv::gpioDrive(adapter(), 6, true);
    });
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_6, level), StatusCode::SUCCESS);
    outside.join();
    EXPECT_EQ(interrupts().waitFor(1), std::vector<std::uint8_t>{6});
    EXPECT_EQ(level, GpioLogicLevel::LOW); // the answer carries the level from before
}

} // namespace
} // namespace tarvix_test
