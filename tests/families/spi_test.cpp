#include "family_test_support.hpp"

using namespace tarvix_test;

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

TEST_F(SpiSync, Transfer_TakesTheDevicesCountFromOffsetSix)
{
    answer(0x0D04, 0, {0x03, 0x00, 1, 2, 3, 4});
    Bytes received;
    EXPECT_EQ(sdk().spiTransfer({0xA1, 0xB2}, received, 8), StatusCode::SUCCESS);
    EXPECT_EQ(received, (Bytes{1, 2, 3}));
    EXPECT_EQ(withoutTransactionId(lastRequest()), (Bytes{0x04, 0x0D, 0x02, 0x00, 0x08, 0x00, 0xA1, 0xB2}));
}

TEST_F(SpiSync, SpiTransfer_TakesAtMostTheBytesThatArrivedEvenOnDeviceError)
{
    answer(0x0D04, 0x0006, {0x00, 0x01, 7, 8});
    Bytes received;
    EXPECT_EQ(sdk().spiTransfer({}, received, 0x100), StatusCode(0x0006));
    EXPECT_EQ(received, (Bytes{7, 8}));
}

TEST_F(SpiSync, Transfer_CountZeroEmptiesAndMissingCountIsTooShort)
{
    answer(0x0D04, 0, {0x00, 0x00, 7, 8});
    Bytes received{1};
    EXPECT_EQ(sdk().spiTransfer({}, received, 2), StatusCode::SUCCESS);
    EXPECT_TRUE(received.empty());

    answer(0x0D04, 0, {0x02});
    received = {1};
    EXPECT_EQ(sdk().spiTransfer({}, received, 2), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_TRUE(received.empty());
}
