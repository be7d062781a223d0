// Finding and opening an adapter, hidapi's lifetime, and the reader thread, against virtual
// adapters.
#include <sdk_fixture.hpp>

#include <stdexcept>
#include <string>
#include <system_error>

namespace tarvix_test {
namespace {

tv::AdapterConfig adapterAt(std::string path, std::uint16_t vendorId = 0x1FC9, std::uint16_t productId = 0x82FC,
                            std::optional<std::wstring> serial = std::nullopt)
{
    tv::AdapterConfig config;
    config.path = std::move(path);
    config.vendorId = vendorId;
    config.productId = productId;
    config.serialNumber = std::move(serial);
    return config;
}

tv::AdapterConfig adapterWithSerial(std::optional<std::wstring> serial, std::uint16_t vendorId = 0x1FC9,
                                    std::uint16_t productId = 0x82FC)
{
    return adapterAt("", vendorId, productId, std::move(serial)); // an empty path is made unique
}

// Several adapters attached in the order a test lists them (no default one).
class AdapterChoice : public ::testing::Test {
protected:
    void SetUp() override { tv::reset(); }
    void TearDown() override { tv::reset(); }
};

TEST_F(AdapterChoice, Connect_ByPathNeedsTheWholePathOfASupportedAdapter_WithoutOneTakesTheFirstSupported)
{
    tv::VirtualAdapter otherVendor = tv::attach(adapterAt("hid/0", 0x1234, 0x82FC));
    tv::VirtualAdapter otherProduct = tv::attach(adapterAt("hid/1", 0x1FC9, 0x1234));
    tv::VirtualAdapter highSpeed = tv::attach(adapterAt("hid/10", 0x1FC9, 0x82FD));
    tv::VirtualAdapter fullSpeed = tv::attach(adapterAt("hid/2"));

    TarvixAsyncSDK sdk;
    for (const char* path : {"hid/0", "hid/1", "hid/10/"}) {
        EXPECT_FALSE(sdk.connect(path)) << path;
    }
    highSpeed.setOpenFails(true);
    EXPECT_FALSE(sdk.connect("hid/10"));
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(tv::counters().openHandles, 0u);
    highSpeed.setOpenFails(false);

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
    tv::VirtualAdapter withoutSerial = tv::attach(adapterWithSerial(std::nullopt));
    tv::VirtualAdapter unsupported = tv::attach(adapterWithSerial(L"TVX-7", 0x1FC9, 0x1234));
    tv::VirtualAdapter longer = tv::attach(adapterWithSerial(L"TVX-70"));
    tv::VirtualAdapter exact = tv::attach(adapterWithSerial(L"TVX-7"));
    tv::VirtualAdapter unicode = tv::attach(adapterWithSerial(L"\u00dcn\u20ac\U0001D11E", 0x1FC9, 0x82FD));

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

TEST_F(AdapterChoice, ConnectWithSerialNumber_ThrowsWhenItMeetsAnUnconvertibleSerial)
{
    tv::VirtualAdapter wanted = tv::attach(adapterWithSerial(L"TVX-1"));
    tv::VirtualAdapter broken = tv::attach(adapterWithSerial(std::wstring(1, static_cast<wchar_t>(0xD800))));
    tv::VirtualAdapter behind = tv::attach(adapterWithSerial(L"TVX-2"));

    TarvixAsyncSDK sdk;
    try {
        sdk.connectWithSerialNumber("TVX-2");
        ADD_FAILURE() << "no exception";
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "bad conversion");
    }
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(tv::counters().openHandles, 0u);

    // The walk stops at the first match, before the broken serial; without a serial filter no
    // serial is converted at all.
    EXPECT_TRUE(sdk.connectWithSerialNumber("TVX-1"));
    sdk.disconnect();
    wanted.unplug();
    EXPECT_TRUE(sdk.connect());
    EXPECT_EQ(broken.openHandles(), 1u);
    EXPECT_EQ(behind.openHandles(), 0u);
}

TEST_F(AdapterChoice, ListingShowsSupportedAdaptersOnlyAndSelectorsChooseAmongThem)
{
    tv::attach(adapterAt("hid/0", 0x1234, 0x82FC, L"KEYBOARD"));
    tv::VirtualAdapter first = tv::attach(adapterAt("hid/1", 0x1FC9, 0x82FC, L"TVX-1"));
    tv::VirtualAdapter second =
        tv::attach(adapterAt("hid/2", 0x1FC9, 0x82FD, std::wstring(1, static_cast<wchar_t>(0xD800))));

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

        // The surviving session still talks to its adapter.
        Bytes text;
        EXPECT_EQ(second.getUsbString(text, 4), StatusCode::SUCCESS);
        EXPECT_EQ(std::string(text.begin(), text.end()), "1.0.0");
    }
    EXPECT_EQ(tv::counters().exitCalls, 2u);
    EXPECT_EQ(tv::counters().openHandles, 0u);
}

// Reports on the wire, on both report sizes.
class OnTheWire : public AsyncSessionTest, public ::testing::WithParamInterface<std::uint16_t> {
protected:
    tv::AdapterConfig adapterConfig() const override
    {
        tv::AdapterConfig config;
        config.productId = GetParam();
        return config;
    }
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

using ReaderThread = VirtualAdapterTest;

TEST_F(ReaderThread, RefusesToDisconnectFromItself)
{
    Inbox<std::error_code> errors;
    TarvixAsyncSDK sdk;
    sdk.onResponse([&](const Bytes&) {
        try {
            sdk.disconnect();
            errors.push(std::error_code());
        } catch (const std::system_error& error) {
            errors.push(error.code());
        }
    });
    ASSERT_TRUE(sdk.connect());
    adapter().sendFrame(tv::responseFrame(2, 0x0407, 0));
    const std::vector<std::error_code> seen = errors.waitFor(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], std::errc::resource_deadlock_would_occur);

    sdk.disconnect();
    EXPECT_FALSE(sdk.isConnected());
    EXPECT_EQ(adapter().openHandles(), 0u);
}

} // namespace
} // namespace tarvix_test
