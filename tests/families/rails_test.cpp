// Supply rails: the shared rail under four names, the I3C rail, and the getters that read the
// analog measurements.
#include <sdk_fixture.hpp>

using namespace tarvix_test;

namespace {

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

} // namespace
