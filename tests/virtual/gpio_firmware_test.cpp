// GPIO: pin functions, the jumper between pins and the interrupts it carries.
#include "virtual_test_support.hpp"

namespace {

constexpr std::uint8_t kInput = 0, kOutput = 1, kInterrupt = 2, kDisabled = 3;
constexpr std::uint8_t kRising = 1, kFalling = 2, kBoth = 3;

class Gpio : public BenchTest {
protected:
    std::uint16_t configure(std::uint8_t pin, std::uint8_t function, std::uint8_t level = 0)
    {
        return status(vt::codes::GPIO_CONFIGURE_PIN, {pin, function, level});
    }
    std::uint16_t write(std::uint8_t pin, std::uint8_t level) { return status(vt::codes::GPIO_WRITE, {pin, level}); }
    vt::Bytes read(std::uint8_t pin) { return call(vt::codes::GPIO_READ, {pin}); }
    std::uint16_t arm(std::uint8_t pin, std::uint8_t trigger)
    {
        return status(vt::codes::GPIO_ARM_INTERRUPT, {pin, trigger});
    }
};

TEST_F(Gpio, ArmedPin_FiresOnlyOnTheEdgesOfItsTrigger)
{
    struct Case {
        std::uint8_t trigger;
        std::vector<bool> firesOnRiseThenFall;
    };
    for (const Case& c : {Case{kRising, {true, false}}, Case{kFalling, {false, true}}, Case{kBoth, {true, true}}}) {
        SCOPED_TRACE(int{c.trigger});
        ASSERT_EQ(configure(0, kOutput, 0), 0);
        ASSERT_EQ(configure(1, kInterrupt), 0);
        ASSERT_EQ(arm(1, c.trigger), 0);
        for (std::size_t edge = 0; edge < 2; ++edge) {
            const vt::Bytes answer = call(vt::codes::GPIO_WRITE, {0, edge == 0 ? std::uint8_t{1} : std::uint8_t{0}});
            EXPECT_EQ(statusOf(answer), 0); // the answer comes before the interrupt
            if (c.firesOnRiseThenFall[edge]) {
                EXPECT_EQ(nextNotification(), vt::notificationFrame(vt::codes::GPIO_INTERRUPT, 0, {1}));
            }
            EXPECT_TRUE(nothingPending());
        }
    }
}

TEST_F(Gpio, DisarmedOrReconfiguredPin_StaysQuiet)
{
    ASSERT_EQ(configure(0, kOutput), 0);
    ASSERT_EQ(configure(1, kInterrupt), 0);
    ASSERT_EQ(arm(1, kBoth), 0);
    EXPECT_EQ(status(vt::codes::GPIO_DISARM_INTERRUPT, {1}), 0);
    EXPECT_EQ(write(0, 1), 0);
    EXPECT_TRUE(nothingPending());
    ASSERT_EQ(arm(1, kBoth), 0);
    ASSERT_EQ(configure(1, kInput), 0);
    EXPECT_EQ(write(0, 0), 0);
    EXPECT_TRUE(nothingPending());
}

TEST_F(Gpio, CommandsThePinsFunctionDoesNotAllow_AreRefused)
{
    const auto mismatch = code(vt::DeviceStatus::PIN_FUNCTION_MISMATCH);
    EXPECT_EQ(write(3, 1), mismatch); // an input
    EXPECT_EQ(arm(3, kRising), mismatch);
    ASSERT_EQ(configure(3, kDisabled), 0);
    const vt::Bytes disabled = read(3);
    EXPECT_EQ(statusOf(disabled), mismatch);
    EXPECT_EQ(payloadOf(disabled), vt::Bytes{0}); // the level byte is there all the same

    const auto invalid = code(vt::DeviceStatus::INVALID_PARAMETER);
    const auto unsupported = code(vt::DeviceStatus::UNSUPPORTED_SETTING);
    EXPECT_EQ(configure(8, kOutput), invalid);
    EXPECT_EQ(configure(0, 4), unsupported);
    EXPECT_EQ(configure(0, kOutput, 2), invalid);
    ASSERT_EQ(configure(0, kInterrupt), 0);
    EXPECT_EQ(arm(0, 0), unsupported);
    EXPECT_EQ(arm(0, 4), unsupported);
}

} // namespace
