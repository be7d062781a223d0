// Finding and opening an adapter, hidapi's lifetime, and the reports on the wire, against virtual
// adapters.
#include <sdk_fixture.hpp>

#include <stdexcept>
#include <string>

namespace tarvix_test {
namespace {

using AdapterChoice = NothingAttachedTest; // the adapters in the order a test lists them

TEST_F(AdapterChoice, Connect_ByPathNeedsTheWholePathOfASupportedAdapter_WithoutOneTakesTheFirstSupported)
{
    tv::VirtualAdapter otherVendor = tv::attach(adapterWith(std::nullopt, "hid/0", 0x82FC, 0x1234));
    tv::VirtualAdapter otherProduct = tv::attach(adapterWith(std::nullopt, "hid/1", 0x1234));
    tv::VirtualAdapter highSpeed = tv::attach(adapterWith(std::nullopt, "hid/10", 0x82FD));
    tv::VirtualAdapter fullSpeed = tv::attach(adapterWith(std::nullopt, "hid/2"));

    TarvixAsyncSDK sdk;
    for (const char* path : {"hid/0", "hid/1", "hid/10/"}) {
        EXPECT_FALSE(sdk.connect(path)) << path;
    }

    ASSERT_TRUE(sdk.connect());
    EXPECT_EQ(highSpeed.openHandles(), 1u);
    // A second connect succeeds and keeps the open adapter, whatever path it names.
    EXPECT_TRUE(sdk.connect("hid/2"));
    EXPECT_EQ(highSpeed.openHandles(), 1u);
    sdk.disconnect();
    EXPECT_TRUE(sdk.connect("hid/2"));
    EXPECT_EQ(fullSpeed.openHandles(), 1u);
    EXPECT_EQ(otherVendor.openHandles() + otherProduct.openHandles() + highSpeed.openHandles(), 0u);
}

TEST_F(AdapterChoice, ConnectWithSerialNumber_MatchesTheUtf8SerialExactly)
{
    tv::VirtualAdapter withoutSerial = tv::attach(adapterWith(std::nullopt));
    tv::VirtualAdapter unsupported = tv::attach(adapterWith(L"TVX-7", "", 0x1234));
    tv::VirtualAdapter longer = tv::attach(adapterWith(L"TVX-70"));
    tv::VirtualAdapter exact = tv::attach(adapterWith(L"TVX-7"));
    tv::VirtualAdapter unicode = tv::attach(adapterWith(L"\u00dcn\u20ac\U0001D11E", "", 0x82FD));

    {
        TarvixAsyncSDK sdk;
        EXPECT_FALSE(sdk.connectWithSerialNumber("TVX"));
        EXPECT_FALSE(sdk.connectWithSerialNumber("tvx-7"));
        EXPECT_EQ(tv::counters().openHandles, 0u);
        ASSERT_TRUE(sdk.connectWithSerialNumber("TVX-7"));
        EXPECT_EQ(exact.openHandles(), 1u);
        EXPECT_EQ(tv::counters().openHandles, 1u);
    }
    TarvixAsyncSDK sdk;
    ASSERT_TRUE(sdk.connectWithSerialNumber("\xC3\x9Cn\xE2\x82\xAC\xF0\x9D\x84\x9E"));
    EXPECT_EQ(unicode.openHandles(), 1u);
    EXPECT_EQ(withoutSerial.openHandles() + unsupported.openHandles() + longer.openHandles(), 0u);
}

TEST_F(AdapterChoice, ListingShowsSupportedAdaptersOnlyAndSelectorsChooseAmongThem)
{
    tv::attach(adapterWith(L"KEYBOARD", "hid/0", 0x82FC, 0x1234));
    tv::VirtualAdapter first = tv::attach(adapterWith(L"TVX-1", "hid/1"));
    tv::VirtualAdapter second = tv::attach(adapterWith(std::wstring(1, static_cast<wchar_t>(0xD800)), "hid/2", 0x82FD));

    const std::vector<TarvixSDK::AdapterInfo> adapters = TarvixSDK::listAdapters();
    ASSERT_EQ(adapters.size(), 2u);
    EXPECT_EQ(adapters[0].path, "hid/1");
    EXPECT_EQ(adapters[0].serialNumber, "TVX-1");
    EXPECT_EQ(adapters[0].reportSize, 64u);
    EXPECT_EQ(adapters[0].product, "Tarvix USB Protocol Adapter");
    EXPECT_EQ(adapters[1].productId, 0x82FD);
    EXPECT_EQ(adapters[1].reportSize, 1024u);
    EXPECT_TRUE(adapters[1].hasSerialNumber);
    EXPECT_EQ(adapters[1].serialNumber, "\xEF\xBF\xBD"); // U+FFFD: listing never throws
    EXPECT_EQ(tv::counters().openHandles, 0u);

    TarvixSDK sdk(1000);
    const struct {
        const char* selector;
        bool connects;
        ConnectError error;
        std::size_t firstHandles;
    } cases[] = {
        {"1", true, ConnectError::NONE, 0},
        {"path:hid/1", true, ConnectError::NONE, 1},
        {"serial:TVX-1", true, ConnectError::NONE, 1},
        {"serial:TVX-9", false, ConnectError::BAD_SERIAL, 0},
        {"2", false, ConnectError::NO_MATCH, 0},
        {"usb:3", false, ConnectError::NO_MATCH, 0},
        {"", true, ConnectError::NONE, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.selector);
        EXPECT_EQ(sdk.connectTo(c.selector), c.connects);
        EXPECT_EQ(sdk.lastConnectError(), c.error);
        EXPECT_EQ(first.openHandles(), c.firstHandles);
        sdk.disconnect();
    }
    EXPECT_EQ(second.openHandles(), 0u);

    // Called directly, the serial walk throws where connectTo says BAD_SERIAL. Without a serial
    // to match, no serial is converted.
    EXPECT_THROW(sdk.connectWithSerialNumber("TVX-9"), std::range_error);
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::BAD_SERIAL);
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(tv::counters().openHandles, 0u);
    first.unplug();
    EXPECT_TRUE(sdk.connect());
    EXPECT_EQ(second.openHandles(), 1u);
}

TEST_F(AdapterChoice, EverySessionInitialisesHidapiAndEveryDestructorReleasesIt)
{
    tv::attach();
    {
        auto first = std::make_unique<TarvixAsyncSDK>();
        TarvixSDK second(kTimeoutMs);
        EXPECT_EQ(tv::counters().initCalls, 2u);
        ASSERT_TRUE(second.connect());
        first.reset();
        EXPECT_EQ(tv::counters().exitCalls, 1u);
    }
    EXPECT_EQ(tv::counters().exitCalls, 2u);
    EXPECT_EQ(tv::counters().openHandles, 0u);
}

// Reports on the wire, on both report sizes.
class OnTheWire : public AsyncSessionTest, public ::testing::WithParamInterface<std::uint16_t> {
protected:
    tv::AdapterConfig adapterConfig() const override { return adapterWith(std::nullopt, "", GetParam()); }
};

TEST_P(OnTheWire, RequestsGoOutAsWholeZeroPaddedReports)
{
    const std::size_t reportSize = adapter().reportSize();
    Bytes message(reportSize - 7); // a frame one byte longer than a segment holds
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<std::uint8_t>(i * 7 + 1);
    }
    ASSERT_EQ(sdk().uartSendMessage(1, message), StatusCode::SUCCESS);
    ASSERT_EQ(sdk().resetDevice(5), StatusCode::SUCCESS); // after a full report: its tail must not leak

    const std::vector<tv::WrittenReport> written = adapter().writtenReports();
    ASSERT_EQ(written.size(), 3u);
    for (const tv::WrittenReport& report : written) {
        EXPECT_EQ(report.bytes.size(), reportSize + 1); // report id 0, then the report
        EXPECT_EQ(report.bytes[0], 0x00);
    }
    const auto firstHeader = static_cast<std::uint16_t>((reportSize - 2) << 2 | 1);
    EXPECT_EQ(written[0].bytes[1], firstHeader & 0xFF);
    EXPECT_EQ(written[0].bytes[2], firstHeader >> 8);
    Bytes expectedLast(reportSize + 1, 0);
    expectedLast[1] = 0x13; // 4 << 2 | first | last
    expectedLast[3] = 0x05;
    expectedLast[5] = 0x01;
    expectedLast[6] = 0x04;
    EXPECT_EQ(written[2].bytes, expectedLast);
    EXPECT_EQ(adapter().requests().at(0).size(), reportSize - 1);
}

TEST_P(OnTheWire, ResponsesArriveWholeWhateverTheirLength)
{
    const std::size_t capacity = adapter().reportSize() - 2;
    std::vector<Bytes> sent;
    for (std::size_t size : {std::size_t{6}, capacity, capacity + 1, 3 * capacity + 5}) {
        Bytes payload(size - 6);
        for (std::size_t i = 0; i < payload.size(); ++i) {
            payload[i] = static_cast<std::uint8_t>(size + i);
        }
        sent.push_back(tv::responseFrame(static_cast<std::uint16_t>(size), 0x0407, 0, payload));
        adapter().sendFrame(sent.back());
    }
    EXPECT_EQ(received().waitFor(sent.size()), sent);
}

INSTANTIATE_TEST_SUITE_P(BothReportSizes, OnTheWire, ::testing::Values(0x82FC, 0x82FD),
                         [](const ::testing::TestParamInfo<std::uint16_t>& value) {
                             return value.param == 0x82FC ? std::string("Reports64") : std::string("Reports1024");
                         });

} // namespace
} // namespace tarvix_test
