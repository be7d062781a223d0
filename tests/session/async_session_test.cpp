// The non-blocking session: connection state and request frames on the wire.
#include <sdk_fixture.hpp>

namespace tarvix_test {
namespace {

using AsyncSessionState = VirtualAdapterTest;

TEST_F(AsyncSessionState, CommandsWhileDisconnectedSendNothing)
{
    EXPECT_EQ(TarvixAsyncSDK::getVersion(), "1.3.0"); // needs no device
    EXPECT_EQ(TarvixSDK::getVersion(), "1.3.0");
    TarvixAsyncSDK sdk;
    const auto tryAll = [&sdk] {
        EXPECT_EQ(sdk.resetDevice(1), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(sdk.enterBootMode(2), StatusCode::NOT_CONNECTED);
        EXPECT_EQ(sdk.getUsbString(3, 1), StatusCode::NOT_CONNECTED);
    };
    tryAll();
    ASSERT_TRUE(sdk.connect());
    sdk.disconnect();
    sdk.disconnect(); // twice is harmless
    EXPECT_FALSE(sdk.isConnected());
    tryAll();
    EXPECT_TRUE(adapter().writtenReports().empty());
}

TEST_F(AsyncSessionTest, SendsTheTransactionIdAndCodeLittleEndianAndAnyStringIndexAsGiven)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& s) { return s.getUsbString(0x0102, 3); }),
              (Bytes{0x02, 0x01, 0x07, 0x04, 0x03}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& s) { return s.getUsbString(1, 0); }).back(), 0);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& s) { return s.getUsbString(1, 255); }).back(), 255);
}

TEST_F(AsyncSessionTest, ReportsSuccessWhenTheWriteFails)
{
    adapter().setWriteFails(true);
    EXPECT_EQ(sdk().getUsbString(1, 1), StatusCode::SUCCESS);
    const std::vector<tv::WrittenReport> written = adapter().writtenReports();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_FALSE(written[0].accepted);
}

} // namespace
} // namespace tarvix_test
