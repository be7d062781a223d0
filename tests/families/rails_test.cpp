#include "family_test_support.hpp"

#include <atomic>

using namespace tarvix_test;

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

TEST_F(RailsSync, SharedRail_SetThroughOneNameReadsBackThroughAnother)
{
    std::atomic<std::uint16_t> rail{0};
    adapter().setResponder(0x0405, [&](const Bytes& request) {
        rail = static_cast<std::uint16_t>(request[4] | request[5] << 8);
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x0405, 0)};
    });
    adapter().setResponder(0x0409, [&](const Bytes& request) {
        const std::uint16_t v = rail;
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x0409, 0,
                                                    {std::uint8_t(v), std::uint8_t(v >> 8), 0, 0, 0, 0})};
    });
    std::uint16_t voltage = 0;
    ASSERT_EQ(sdk().i2cSetBusVoltage(3300, false), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().spiGetBusVoltage(voltage), StatusCode::SUCCESS);
    EXPECT_EQ(voltage, 3300);
    ASSERT_EQ(sdk().uartSetBusVoltage(1800, true), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().gpioGetVoltage(voltage), StatusCode::SUCCESS);
    EXPECT_EQ(voltage, 1800);
}

TEST_F(RailsSync, Getters_ReadTheirOffsetsEvenOnDeviceError)
{
    answer(0x0409, 0x0031, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77});
    std::uint16_t shared = 0, first = 0, second = 0;
    EXPECT_EQ(sdk().uartGetBusVoltage(shared), StatusCode(0x0031));
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode(0x0031));
    EXPECT_EQ(shared, 0x2211);
    EXPECT_EQ(first, 0x4433);
    EXPECT_EQ(second, 0x6655);
}

TEST_F(RailsSync, Getters_AnswerWithoutTheirFieldIsTooShort)
{
    answer(0x0409, 0, {0x11, 0x22});
    std::uint16_t shared = 0, first = 1, second = 1;
    EXPECT_EQ(sdk().i2cGetBusVoltage(shared), StatusCode::SUCCESS);
    EXPECT_EQ(shared, 0x2211);
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
}
