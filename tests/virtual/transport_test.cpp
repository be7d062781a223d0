// Reports on the wire: write rules, segmentation both ways, read timeouts, unplug.
#include <thread>

#include "virtual_test_support.hpp"

namespace {

class Transport : public VirtualAdapterTest {};

TEST_F(Transport, Write_AcceptsOnlyOneWholeOutputReport)
{
    for (const std::uint16_t productId : {std::uint16_t{0x82FC}, std::uint16_t{0x82FD}}) {
        vt::AdapterConfig config;
        config.productId = productId;
        auto adapter = vt::attach(config);
        const std::size_t size = adapter.reportSize() + 1;
        hid_device* dev = open(adapter);
        vt::Bytes report = outputReports(requestFrame(1, vt::codes::GET_USB_STRING, {1}), adapter.reportSize())[0];
        ASSERT_EQ(report.size(), size);
        EXPECT_EQ(hid_write(dev, report.data(), size - 1), -1);
        EXPECT_EQ(hid_write(dev, report.data(), size), static_cast<int>(size));
        report.push_back(0);
        EXPECT_EQ(hid_write(dev, report.data(), size + 1), -1);
        report[0] = 1; // the adapter has no numbered reports
        EXPECT_EQ(hid_write(dev, report.data(), size), -1);

        const auto written = adapter.writtenReports(); // refused reports are recorded too
        ASSERT_EQ(written.size(), 4u);
        for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(written[i].accepted, i == 1);
        EXPECT_EQ(written[2].bytes.size(), size + 1);
        EXPECT_EQ(adapter.requests().size(), 1u);
    }
}

TEST_F(Transport, MalformedSegments_AreReadNoFurtherThanTheReportAndAContinuationJoinsTheLastFrame)
{
    auto adapter = vt::attach();
    hid_device* dev = open(adapter);
    vt::Bytes report(65, 0xAA);
    report[0] = 0;
    report[1] = 0xFF; // 1023 bytes, first and last
    report[2] = 0x0F;
    ASSERT_EQ(hid_write(dev, report.data(), report.size()), 65);
    report = vt::Bytes(65, 0);
    report[1] = 2 << 2 | 2; // last only, 2 bytes
    report[3] = 0xA1;
    report[4] = 0xA2;
    ASSERT_EQ(hid_write(dev, report.data(), report.size()), 65);
    EXPECT_EQ(adapter.requests(),
              (std::vector<vt::Bytes>{vt::Bytes(62, 0xAA), concat(vt::Bytes(62, 0xAA), {0xA1, 0xA2})}));
}

TEST_F(Transport, Read_ZeroTimeoutOrNonblockingReturnsAtOncePositiveWaitsItOut)
{
    auto adapter = vt::attach();
    hid_device* dev = open(adapter);
    unsigned char buffer[64];
    EXPECT_EQ(hid_read_timeout(dev, buffer, sizeof buffer, 0), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hid_read_timeout(dev, buffer, sizeof buffer, 30), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    ASSERT_EQ(hid_set_nonblocking(dev, 1), 0);
    EXPECT_EQ(hid_read(dev, buffer, sizeof buffer), 0);
    ASSERT_EQ(hid_set_nonblocking(dev, 0), 0);

    adapter.sendReport(patternBytes(64));
    EXPECT_EQ(hid_read(dev, buffer, 10), 10); // at most len bytes
    EXPECT_EQ(buffer[9], patternBytes(10)[9]);
    EXPECT_EQ(hid_read_timeout(dev, buffer, sizeof buffer, 0), 0); // the rest is gone with it
}

TEST_F(Transport, BlockingRead_IsWokenByClose)
{
    auto adapter = vt::attach();
    hid_device* dev = hid_open_path(adapter.path().c_str());
    int result = 0;
    std::thread reader([&] { result = hid_read_timeout(dev, std::vector<unsigned char>(64).data(), 64, -1); });
    ASSERT_TRUE(adapter.waitForBlockedReaders(1, 5s));
    hid_close(dev);
    reader.join();
    EXPECT_EQ(result, -1);
}

TEST_F(Transport, Unplug_FailsPendingReadThenEveryCallAtOnce)
{
    auto adapter = vt::attach();
    hid_device* dev = open(adapter);
    hid_device* other = open(adapter);
    adapter.injectNotification(0x1983, 0, {});
    int result = 0;
    std::thread reader([&] {
        std::vector<unsigned char> buffer(64);
        hid_read_timeout(dev, buffer.data(), 64, -1); // takes the queued report
        result = hid_read_timeout(dev, buffer.data(), 64, -1);
    });
    ASSERT_TRUE(adapter.waitForBlockedReaders(1, 5s));
    adapter.unplug();
    reader.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(hid_read_timeout(other, std::vector<unsigned char>(64).data(), 64, 0), -1); // queued report lost

    const vt::Bytes report = outputReports(requestFrame(1, vt::codes::GET_USB_STRING, {1}), 64)[0];
    EXPECT_EQ(hid_write(dev, report.data(), report.size()), -1);
    EXPECT_EQ(hid_read_timeout(dev, std::vector<unsigned char>(64).data(), 64, 1000), -1);
    adapter.replug(); // the old handle stays dead; a new one works
    EXPECT_EQ(hid_write(dev, report.data(), report.size()), -1);
    hid_device* fresh = open(adapter);
    ASSERT_NE(fresh, nullptr);
    EXPECT_TRUE(roundTrip(fresh, requestFrame(2, vt::codes::GET_USB_STRING, {1})));
}

TEST_F(Transport, Replug_ForgetsHalfAFrame)
{
    auto adapter = vt::attach();
    hid_device* dev = open(adapter);
    const auto reports = outputReports(requestFrame(1, vt::codes::SPI_TRANSFER, patternBytes(100)), 64);
    ASSERT_EQ(hid_write(dev, reports[0].data(), reports[0].size()), 65);
    adapter.unplug();
    adapter.replug();
    dev = open(adapter);
    ASSERT_EQ(hid_write(dev, reports[1].data(), reports[1].size()), 65);
    ASSERT_EQ(adapter.requests().size(), 1u);
    EXPECT_EQ(adapter.requests()[0].size(), 42u); // only the continuation
}

TEST_F(Transport, EveryOpenHandle_ReceivesEveryReport)
{
    auto adapter = vt::attach();
    hid_device* first = open(adapter);
    hid_device* second = open(adapter);
    const auto answer = roundTrip(first, requestFrame(3, vt::codes::GET_USB_STRING, {4}));
    ASSERT_TRUE(answer);
    EXPECT_EQ(readFrame(second, 64, 0), answer);
}

} // namespace
