// The command families against the virtual adapter: exact request bytes where the layout is
// subtle, and how each blocking method decodes its answer.
#include <sdk_fixture.hpp>

#include <algorithm>
#include <tuple>

using namespace tarvix_test;

namespace {

// `count` distinct-ish bytes, so that a misplaced byte shows.
Bytes pattern(std::size_t count)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 13 + 5);
    }
    return bytes;
}

} // namespace

// Supply rails: the shared rail under four names, the I3C rail, their getters.

using RailsAsync = AsyncSessionTest;
using RailsSync = SyncSessionTest;

TEST_F(RailsAsync, SharedRail_IsOneCommandUnderFourNames)
{
    using Set = StatusCode (TarvixAsyncSDK::*)(TransactionId, std::uint16_t, bool);
    using UseExternal = StatusCode (TarvixAsyncSDK::*)(TransactionId, bool);
    for (Set set : {&TarvixAsyncSDK::gpioSetVoltage, &TarvixAsyncSDK::i2cSetBusVoltage,
                    &TarvixAsyncSDK::spiSetBusVoltage, &TarvixAsyncSDK::uartSetBusVoltage}) {
        EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return (a.*set)(0x0102, 0xFFFF, true); }),
                  (Bytes{0x02, 0x01, 0x05, 0x04, 0xFF, 0xFF, 0x01}));
    }
    for (UseExternal use : {&TarvixAsyncSDK::gpioUseExternalVoltage, &TarvixAsyncSDK::i2cUseExternalVoltage,
                            &TarvixAsyncSDK::spiUseExternalVoltage, &TarvixAsyncSDK::uartUseExternalVoltage}) {
        EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return (a.*use)(0x0102, true); }),
                  (Bytes{0x02, 0x01, 0x0B, 0x04, 0x01}));
    }
}

TEST_F(RailsAsync, I3cRailAndMeasurements_CarryNoFlag)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cSetBusVoltage(1, 0x0CE4); }),
              (Bytes{0x01, 0x00, 0x04, 0x04, 0xE4, 0x0C}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cUseExternalVoltage(1, false); }),
              (Bytes{0x01, 0x00, 0x0A, 0x04, 0x00}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.getAnalogMeasurements(1); }), (Bytes{0x01, 0x00, 0x09, 0x04}));
}

TEST_F(RailsSync, Getters_ReadTheirOffsetsAndAreTooShortOnlyWhenSuccessLacksTheirField)
{
    answer(0x0409, 0x0031, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77});
    std::uint16_t shared = 0, first = 0, second = 0;
    EXPECT_EQ(sdk().uartGetBusVoltage(shared), StatusCode(0x0031));
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode(0x0031));
    EXPECT_EQ(shared, 0x2211);
    EXPECT_EQ(first, 0x4433);
    EXPECT_EQ(second, 0x6655);

    answer(0x0409, 0, {0x11, 0x22});
    EXPECT_EQ(sdk().i2cGetBusVoltage(shared), StatusCode::SUCCESS);
    EXPECT_EQ(shared, 0x2211);
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);

    // A device error is passed on even when the fields are missing; no status at all is too short.
    answer(0x0409, 0x0031);
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode(0x0031));
    adapter().setResponder(0x0409, [](const Bytes& request) { return std::vector<Bytes>{request}; });
    EXPECT_EQ(sdk().gpioGetVoltage(shared), StatusCode::RESPONSE_TOO_SHORT);
}

// GPIO.

using GpioAsync = AsyncSessionTest;
using GpioSync = SyncSessionTest;
using GpioSyncShortTimeout = ShortTimeoutSyncSessionTest;

TEST_F(GpioAsync, Frames_CarryEachEnumeratorAsItsLowByte)
{
    const auto pin = GpioPinNumber(0x105);
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) {
                  return a.gpioConfigurePin(0x0A0B, pin, GpioFunctionality(0x201), GpioLogicLevel(0x1FF));
              }),
              (Bytes{0x0B, 0x0A, 0x01, 0x14, 0x05, 0x01, 0xFF}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDigitalWrite(1, pin, GpioLogicLevel::HIGH); }),
              (Bytes{0x01, 0x00, 0x02, 0x14, 0x05, 0x01}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDigitalRead(1, pin); }),
              (Bytes{0x01, 0x00, 0x03, 0x14, 0x05}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioConfigureInterrupt(1, pin, GpioTriggerType::BOTH_EDGES); }),
              (Bytes{0x01, 0x00, 0x04, 0x14, 0x05, 0x03}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDisableInterrupt(1, pin); }),
              (Bytes{0x01, 0x00, 0x05, 0x14, 0x05}));
}

TEST_F(GpioSync, DigitalRead_ZeroExtendsTheLevelEvenOnDeviceError)
{
    answer(0x1403, 0x0009, {0xFE});
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_3, level), StatusCode(0x0009));
    EXPECT_EQ(level, GpioLogicLevel(0xFE));
}

TEST_F(GpioSyncShortTimeout, DigitalRead_LeavesLevelUntouchedWhenNothingArrives)
{
    adapter().dropNextResponses(1);
    GpioLogicLevel level = GpioLogicLevel::HIGH;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_0, level), StatusCode::NO_RESPONSE);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
}

// I2C.

using I2cAsync = AsyncSessionTest;
using I2cSync = SyncSessionTest;

TEST_F(I2cAsync, ControllerSettings_InitAndSetParametersDifferOnlyInByteTwo)
{
    const Bytes init{0x01, 0x02, 0x01, 0x09, 0x02, 0x80, 0x1A, 0x06, 0x00, 0x07};
    Bytes set = init;
    set[2] = 0x02;
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cControllerInit(0x0201, 2, 400000, 7); }), init);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cSetParameters(0x0201, 2, 400000, 7); }), set);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cSetPullUpResistors(0x0201, 2, 5); }),
              (Bytes{0x01, 0x02, 0x02, 0x08, 0x02, 0x05}));
}

TEST_F(I2cAsync, Transfers_FoldTheRegisterAddressIntoALittleEndianWord)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cWrite(1, 0, 0x50, {0x12, 0x34}, {0xAA}, true); }),
              (Bytes{0x01, 0x00, 0x04, 0x09, 0x00, 0x01, 0x00, 0x50, 0x02, 0x34, 0x12, 0x00, 0x00, 0x01, 0xAA}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cRead(1, 1, 0x50, {1, 2, 3, 4}, 0x1234, false); }),
              (Bytes{0x01, 0x00, 0x05, 0x09, 0x01, 0x34, 0x12, 0x50, 0x04, 0x04, 0x03, 0x02, 0x01, 0x00}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cRead(1, 1, 0x50, {}, 2, false); }),
              (Bytes{0x01, 0x00, 0x05, 0x09, 0x01, 0x02, 0x00, 0x50, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    // The scan's bus index is for the blocking method to judge.
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cScanBus(1, 7, true); }),
              (Bytes{0x01, 0x00, 0x06, 0x09, 0x07, 0x01}));
}

TEST_F(I2cAsync, RegisterAddressOverFourBytes_IsRefusedAfterTheConnectionCheck)
{
    const Bytes tooLong{1, 2, 3, 4, 5};
    adapter().clearRecords();
    EXPECT_EQ(sdk().i2cWrite(1, 0, 0x50, tooLong, {0xAA}, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cRead(1, 0, 0x50, tooLong, 1, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    EXPECT_EQ(sdk().i2cRead(1, 0, 0x50, tooLong, 1, false), StatusCode::NOT_CONNECTED);
}

TEST_F(I2cSync, I2cRead_TakesAtMostTheBytesThatArrivedEvenOnDeviceError)
{
    answer(0x0905, 0, {0xE0, 0xE1, 0xE2, 1, 2, 3, 4, 5}); // data from offset 9, `length` of it
    Bytes data;
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x10}, 4, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4}));

    answer(0x0905, 0x0002, {0xE0, 0xE1, 0xE2, 9, 8});
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {}, 10, data, false), StatusCode(0x0002));
    EXPECT_EQ(data, (Bytes{9, 8}));

    // Fewer than the length asked for, with status 0: what came, but never a success.
    answer(0x0905, 0, {0xE0, 0xE1, 0xE2, 9, 8});
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {}, 3, data, false), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(data, (Bytes{9, 8}));
}

TEST_F(I2cSync, ScanBus_ListsOneByteThenTwoByteEntriesAndCallsAnAnswerPromisingMoreTooShort)
{
    answer(0x0906, 0, {0x00, 3, 2, 0x10, 0x20, 0x30, 0x41, 0x42, 0x51, 0x52, 0xEE});
    Bytes addresses;
    std::uint8_t one = 0, two = 0;
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 1, false), StatusCode::SUCCESS);
    EXPECT_EQ(one, 3);
    EXPECT_EQ(two, 2);
    EXPECT_EQ(addresses, (Bytes{0x10, 0x20, 0x30, 0x41, 0x42, 0x51, 0x52}));

    // The verdict overrides the device's own status; the counts are still reported.
    answer(0x0906, 0x0004, {0x00, 3, 1, 0x10, 0x20, 0x30, 0x41});
    addresses = {0xAB};
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 0, false), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(one, 3);
    EXPECT_EQ(two, 1);
    EXPECT_EQ(addresses, Bytes{0xAB});
}

TEST_F(I2cSync, ScanBus_ChecksBusAndPointersBeforeAnythingElse)
{
    Bytes addresses;
    std::uint8_t one = 9, two = 9;
    adapter().clearRecords();
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 2, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 2, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, nullptr, &two, 0, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, nullptr, 0, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 1, false), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(one, 9);
    EXPECT_EQ(two, 9);
}

// SPI.

using SpiAsync = AsyncSessionTest;
using SpiSync = SyncSessionTest;

TEST_F(SpiAsync, ControllerSettings_InitAndSetParametersDifferOnlyInByteTwo)
{
    const auto settings = [](TarvixAsyncSDK& a, bool init) {
        const auto send = init ? &TarvixAsyncSDK::spiControllerInit : &TarvixAsyncSDK::spiSetParameters;
        return (a.*send)(1, SpiBitOrder(0x101), SpiMode::MODE_3, SpiDataWidth::BITS_16, SpiChipSelect::CS_2,
                         SpiChipSelectPolarity::ACTIVE_HIGH, 1000000);
    };
    const Bytes init{0x01, 0x00, 0x01, 0x0D, 0x01, 0x03, 0x10, 0x02, 0x01, 0x40, 0x42, 0x0F, 0x00};
    Bytes set = init;
    set[2] = 0x02;
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return settings(a, true); }), init);
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return settings(a, false); }), set);
}

TEST_F(SpiAsync, Transfer_SendsDataCountAndTransferLengthAsGiven)
{
    Bytes none, three{0xA1, 0xB2, 0xC3};
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.spiTransfer(1, none, 4); }),
              (Bytes{0x01, 0x00, 0x04, 0x0D, 0x00, 0x00, 0x04, 0x00}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.spiTransfer(1, three, 0x0201); }),
              (Bytes{0x01, 0x00, 0x04, 0x0D, 0x03, 0x00, 0x01, 0x02, 0xA1, 0xB2, 0xC3}));
}

TEST_F(SpiSync, SpiTransfer_TakesTheDevicesCountButAtMostTheBytesThatArrivedEvenOnDeviceError)
{
    const std::tuple<std::uint16_t, Bytes, StatusCode, Bytes> cases[] = {
        {0, {0x03, 0x00, 1, 2, 3, 4}, StatusCode::SUCCESS, {1, 2, 3}}, // count at offset 6
        {0x0006, {0x00, 0x01, 7, 8}, StatusCode(0x0006), {7, 8}},
        {0, {0x00, 0x00, 7, 8}, StatusCode::SUCCESS, {}},
        {0, {0x02}, StatusCode::RESPONSE_TOO_SHORT, {}},
        {0, {0x03, 0x00, 7, 8}, StatusCode::RESPONSE_TOO_SHORT, {7, 8}}, // counted more than came
    };
    for (const auto& [status, payload, result, data] : cases) {
        answer(0x0D04, status, payload);
        Bytes received{1};
        EXPECT_EQ(sdk().spiTransfer({0xA1}, received, 8), result);
        EXPECT_EQ(received, data);
    }
}

// UART.

using UartAsync = AsyncSessionTest;

TEST_F(UartAsync, PortSettings_InitAndSetParametersDifferOnlyInByteTwo)
{
    const Bytes init{0x01, 0x00, 0x02, 0x10, 0x0A, 0x01, 0x02, 0x07, 0x02};
    Bytes set = init;
    set[2] = 0x03;
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.uartInit(1, UartBaudRate(0x10A), UartHwHandshake::ENABLED, UartParity::ODD,
                                    UartDataSize::BITS_7, UartStopBit::TWO);
              }),
              init);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.uartSetParameters(1, UartBaudRate(0x10A), UartHwHandshake::ENABLED, UartParity::ODD,
                                             UartDataSize::BITS_7, UartStopBit::TWO);
              }),
              set);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartDeinit(1); }), (Bytes{0x01, 0x00, 0x01, 0x10}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartSendMessage(1, {}); }),
              (Bytes{0x01, 0x00, 0x05, 0x10, 0x00, 0x00}));
}

// Payloads past 65535 bytes.

using LongPayloads = AsyncSessionTest;

TEST_F(LongPayloads, I2cWriteAndUartSend_CutTheCountTo16BitsWhileAllDataFollows)
{
    const Bytes data = pattern(0x10001);
    const Bytes i2c = requestOf([&](TarvixAsyncSDK& a) { return a.i2cWrite(1, 0, 0x50, {}, data, false); });
    const Bytes uart = requestOf([&](TarvixAsyncSDK& a) { return a.uartSendMessage(1, data); });
    ASSERT_EQ(i2c.size(), 14 + data.size());
    ASSERT_EQ(uart.size(), 6 + data.size());
    EXPECT_EQ(Bytes(i2c.begin() + 5, i2c.begin() + 7), (Bytes{0x01, 0x00}));
    EXPECT_EQ(Bytes(uart.begin() + 4, uart.begin() + 6), (Bytes{0x01, 0x00}));
    EXPECT_TRUE(std::equal(data.begin(), data.end(), i2c.begin() + 14));
    EXPECT_TRUE(std::equal(data.begin(), data.end(), uart.begin() + 6));
}
