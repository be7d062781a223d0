// SPI: the transfer frame and how its answer is decoded. The controller settings are in
// frame_rules_test.cpp (init and set-parameters, enumerations as low bytes).
#include <sdk_fixture.hpp>

#include <tuple>

using namespace tarvix_test;

namespace {

using SpiAsync = AsyncSessionTest;
using SpiSync = SyncSessionTest;

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

} // namespace
