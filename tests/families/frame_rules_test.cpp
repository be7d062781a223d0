// Rules every command family shares, each tested once over every command it applies to: an
// enumeration travels as its value cut to one byte, an init and its set-parameters twin differ
// only in the command code, a data count is cut to its field while all the data follows, and a
// bad argument is refused unsent, but only once the session is connected.
#include <sdk_fixture.hpp>

#include <algorithm>
#include <functional>

using namespace tarvix_test;

namespace {

using A = TarvixAsyncSDK;
using FrameRules = AsyncSessionTest;

struct FrameCase {
    const char* name;
    std::function<StatusCode(A&)> send;
    Bytes frame;
};

TEST_F(FrameRules, Enumerations_TravelAsTheirLowByteUnchecked)
{
    const auto pin = GpioPinNumber(0x105);
    const FrameCase cases[] = {
        {"gpioConfigurePin",
         [&](A& a) { return a.gpioConfigurePin(0x0A0B, pin, GpioFunctionality(0x201), GpioLogicLevel(0x1FF)); },
         {0x0B, 0x0A, 0x01, 0x14, 0x05, 0x01, 0xFF}},
        {"gpioDigitalWrite",
         [&](A& a) { return a.gpioDigitalWrite(1, pin, GpioLogicLevel::HIGH); },
         {0x01, 0x00, 0x02, 0x14, 0x05, 0x01}},
        {"gpioDigitalRead", [&](A& a) { return a.gpioDigitalRead(1, pin); }, {0x01, 0x00, 0x03, 0x14, 0x05}},
        {"gpioConfigureInterrupt",
         [&](A& a) { return a.gpioConfigureInterrupt(1, pin, GpioTriggerType::BOTH_EDGES); },
         {0x01, 0x00, 0x04, 0x14, 0x05, 0x03}},
        {"gpioDisableInterrupt", [&](A& a) { return a.gpioDisableInterrupt(1, pin); }, {0x01, 0x00, 0x05, 0x14, 0x05}},
    };
    for (const FrameCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(requestOf(c.send), c.frame);
    }
    // The I3C settings are bytes on the non-blocking face; the blocking one cuts its enumerations.
    TarvixSDK blocking(kTimeoutMs);
    ASSERT_TRUE(blocking.connect(adapter().path()));
    adapter().clearRecords();
    EXPECT_EQ(blocking.i3cControllerInit(static_cast<I3cPushPullRate>(0x1FE), I3cOpenDrainTransferRate::RATE_400_KHZ,
                                         I2cTransferRate::RATE_1_MHZ, I3cDriveStrength::MAXIMUM),
              StatusCode::SUCCESS);
    const Bytes sent = lastRequest();
    EXPECT_EQ(Bytes(sent.begin() + 2, sent.end()), (Bytes{0x01, 0x19, 0xFE, 4, 2, 3}));
}

// The SPI and UART rows carry out-of-range enumerators too (bit order 0x101, baud rate 0x10A).
TEST_F(FrameRules, SettingsPairs_InitAndSetParametersDifferOnlyInTheCommandCode)
{
    const auto spi = [](A& a, bool init) {
        const auto send = init ? &A::spiControllerInit : &A::spiSetParameters;
        return (a.*send)(1, SpiBitOrder(0x101), SpiMode::MODE_3, SpiDataWidth::BITS_16, SpiChipSelect::CS_2,
                         SpiChipSelectPolarity::ACTIVE_HIGH, 1000000);
    };
    const auto uart = [](A& a, bool init) {
        const auto send = init ? &A::uartInit : &A::uartSetParameters;
        return (a.*send)(1, UartBaudRate(0x10A), UartHwHandshake::ENABLED, UartParity::ODD, UartDataSize::BITS_7,
                         UartStopBit::TWO);
    };
    const struct {
        const char* name;
        std::function<StatusCode(A&, bool init)> send;
        Bytes initFrame; // the set-parameters frame is the same with byte 2 one higher
    } cases[] = {
        {"I2C",
         [](A& a, bool init) {
             return init ? a.i2cControllerInit(0x0201, 2, 400000, 7) : a.i2cSetParameters(0x0201, 2, 400000, 7);
         },
         {0x01, 0x02, 0x01, 0x09, 0x02, 0x80, 0x1A, 0x06, 0x00, 0x07}},
        {"SPI", spi, {0x01, 0x00, 0x01, 0x0D, 0x01, 0x03, 0x10, 0x02, 0x01, 0x40, 0x42, 0x0F, 0x00}},
        {"UART", uart, {0x01, 0x00, 0x02, 0x10, 0x0A, 0x01, 0x02, 0x07, 0x02}},
        {"I3C",
         [](A& a, bool init) {
             return init ? a.i3cControllerInit(0x0102, 1, 2, 3, 4) : a.i3cSetParameters(0x0102, 1, 2, 3, 4);
         },
         {0x02, 0x01, 0x01, 0x19, 1, 2, 3, 4}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes setFrame = c.initFrame;
        ++setFrame[2];
        EXPECT_EQ(requestOf([&](A& a) { return c.send(a, true); }), c.initFrame);
        EXPECT_EQ(requestOf([&](A& a) { return c.send(a, false); }), setFrame);
    }
}

TEST_F(FrameRules, Counts_AreCutToTheirFieldWhileAllTheDataFollows)
{
    const struct {
        const char* name;
        std::size_t size;
        std::function<StatusCode(A&, const Bytes&)> send;
        std::size_t countAt;
        std::size_t dataAt;
    } cases[] = {
        {"i2cWrite", 0x10001, [](A& a, const Bytes& d) { return a.i2cWrite(1, 0, 0x50, {}, d, false); }, 5, 14},
        {"uartSendMessage", 0x10001, [](A& a, const Bytes& d) { return a.uartSendMessage(1, d); }, 4, 6},
        {"i3cSdrWrite", 0x10002,
         [](A& a, const Bytes& d) { return a.i3cSdrWrite(1, 8, {}, d, I3cTransferFlags::NONE); }, 12, 14},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bytes data(c.size);
        for (std::size_t i = 0; i < data.size(); ++i) {
            data[i] = static_cast<std::uint8_t>(i * 13 + 5); // so that a misplaced byte shows
        }
        const Bytes frame = requestOf([&](A& a) { return c.send(a, data); });
        ASSERT_EQ(frame.size(), c.dataAt + data.size());
        EXPECT_EQ(frame[c.countAt], c.size & 0xFF);
        EXPECT_EQ(frame[c.countAt + 1], 0x00);
        EXPECT_TRUE(std::equal(data.begin(), data.end(), frame.begin() + static_cast<std::ptrdiff_t>(c.dataAt)));
    }
    // The target count of the bus initialisation is one byte; every record follows.
    const std::vector<I3cTargetInfo> targets(257, I3cTargetInfo{});
    const Bytes frame = requestOf([&](A& a) { return a.i3cInitBus(1, targets); });
    ASSERT_EQ(frame.size(), 5u + 257u * 16u);
    EXPECT_EQ(frame[4], 0x01);
}

// A register address of five bytes, or a CCC read carrying data.
TEST_F(FrameRules, BadArguments_AreRefusedUnsentButOnlyOnceConnected)
{
    const Bytes five{1, 2, 3, 4, 5};
    const auto none = I3cTransferFlags::NONE;
    const std::pair<const char*, std::function<StatusCode(A&)>> cases[] = {
        {"i2cWrite", [&](A& a) { return a.i2cWrite(1, 0, 0x50, five, {0xAA}, false); }},
        {"i2cRead", [&](A& a) { return a.i2cRead(1, 0, 0x50, five, 1, false); }},
        {"i3cSdrRead", [&](A& a) { return a.i3cSdrRead(1, 8, five, 1, none); }},
        {"i3cSdrWrite", [&](A& a) { return a.i3cSdrWrite(1, 8, five, {}, none); }},
        {"i3cLegacyI2cRead", [&](A& a) { return a.i3cLegacyI2cRead(1, 8, five, 1, none); }},
        {"i3cLegacyI2cWrite", [&](A& a) { return a.i3cLegacyI2cWrite(1, 8, five, {}, none); }},
        {"CCC read with data",
         [](A& a) {
             return a.i3cCccTransfer(1, 0x30, I3cTransferDirection::READ, I3cTransferMode::SDR, false,
                                     I3cCccType::WITHOUT_DEFINING_BYTE, 1, CCC::GETBCR, 0, {0xAA});
         }},
    };
    adapter().clearRecords();
    for (const auto& [name, send] : cases) {
        EXPECT_EQ(send(sdk()), StatusCode::INVALID_ARGUMENT) << name;
    }
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    for (const auto& [name, send] : cases) {
        EXPECT_EQ(send(sdk()), StatusCode::NOT_CONNECTED) << name;
    }
}

} // namespace
