// The kernel's bounded report list, in process: the virtual adapter drops what hidraw would
// drop, the library's reader keeps up with a fast adapter while handlers are slow, and what is
// lost anyway never comes back as SUCCESS.
#include <hidapi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "transport/report_queue.hpp"
#include "sdk_fixture.hpp"

namespace tarvix_test {
namespace {

constexpr std::uint16_t kSpiTransfer = 0x0D04;

// A frame cut into the segments of a 64-byte adapter (62 bytes each after the 2-byte header).
std::vector<Bytes> segments64(const Bytes& frame)
{
    std::vector<Bytes> reports;
    for (std::size_t offset = 0; offset < frame.size(); offset += 62) {
        const std::size_t count = std::min<std::size_t>(62, frame.size() - offset);
        const auto header = static_cast<std::uint16_t>(count << 2 | (offset == 0 ? 1u : 0u) |
                                                       (offset + count == frame.size() ? 2u : 0u));
        Bytes report(64, 0);
        report[0] = static_cast<std::uint8_t>(header);
        report[1] = static_cast<std::uint8_t>(header >> 8);
        std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(offset), count, report.begin() + 2);
        reports.push_back(report);
    }
    return reports;
}

// An SPI transfer answer: tid, code, status 0, u16 count, then `count` bytes.
Bytes spiAnswer(std::uint16_t tid, std::uint16_t count, std::uint8_t fill)
{
    Bytes frame{static_cast<std::uint8_t>(tid),   static_cast<std::uint8_t>(tid >> 8),  0x04, 0x0D, 0, 0,
                static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8)};
    frame.resize(8u + count, fill);
    return frame;
}

tv::AdapterConfig pacedConfig(std::uint16_t productId)
{
    tv::AdapterConfig config;
    config.productId = productId;
    config.serialNumber = L"TVX-Q";
    config.usbTiming.enabled = true;
    return config;
}

TEST(VirtualHostQueue, UnreadHandleKeepsTheFirst64ReportsAndCountsTheRest)
{
    for (const bool paced : {true, false}) {
        tv::AdapterConfig config = pacedConfig(0x82FC);
        config.usbTiming.enabled = paced;
        tv::VirtualAdapter adapter = tv::attach(config);
        hid_device* handle = hid_open_path(adapter.path().c_str());
        ASSERT_NE(handle, nullptr);
        for (int i = 0; i < 100; ++i) adapter.sendReport(Bytes(64, static_cast<std::uint8_t>(i)));
        unsigned char report[64];
        int read = 0;
        while (hid_read_timeout(handle, report, sizeof report, 0) > 0) {
            // The oldest reports are the ones kept, in order.
            EXPECT_EQ(report[0], read);
            ++read;
        }
        EXPECT_EQ(read, paced ? 64 : 100) << "paced " << paced;
        EXPECT_EQ(adapter.droppedInputReports(), paced ? 36u : 0u) << "paced " << paced;
        hid_close(handle);
        tv::reset();
    }
}

TEST(VirtualHostQueue, ReadingFreesRoomForLaterReports)
{
    tv::VirtualAdapter adapter = tv::attach(pacedConfig(0x82FC));
    hid_device* handle = hid_open_path(adapter.path().c_str());
    ASSERT_NE(handle, nullptr);
    unsigned char report[64];
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 64; ++i) adapter.sendReport(Bytes(64, 1));
        for (int i = 0; i < 64; ++i) ASSERT_EQ(hid_read_timeout(handle, report, sizeof report, 0), 64);
    }
    EXPECT_EQ(adapter.droppedInputReports(), 0u);
    hid_close(handle);
    tv::reset();
}

TEST(ReportQueue, HandsOverInOrderAndEndsAfterTheLastReport)
{
    tarvix_detail::ReportQueue queue(4, 8);
    std::thread producer([&] {
        for (std::uint8_t i = 0; i < 20; ++i) {
            std::uint8_t* slot = queue.slot(); // waits while the 4 slots are taken
            ASSERT_NE(slot, nullptr);
            std::fill(slot, slot + 8, i);
            queue.commit();
        }
        queue.finish();
    });
    std::uint8_t expected = 0;
    while (const std::uint8_t* report = queue.front()) {
        EXPECT_EQ(report[0], expected);
        EXPECT_EQ(report[7], expected);
        ++expected;
        queue.pop();
    }
    producer.join();
    EXPECT_EQ(expected, 20);
}

TEST(ReportQueue, StopWakesBothSides)
{
    tarvix_detail::ReportQueue full(1, 8);
    ASSERT_NE(full.slot(), nullptr);
    full.commit();
    tarvix_detail::ReportQueue empty(1, 8);
    std::thread producer([&] { EXPECT_EQ(full.slot(), nullptr); });
    std::thread consumer([&] { EXPECT_EQ(empty.front(), nullptr); });
    std::this_thread::sleep_for(20ms);
    full.stop();
    empty.stop();
    producer.join();
    consumer.join();
}

// A high-speed adapter streams UART bytes back as notifications and then a 64-KiB answer, 8,000
// reports per second, into a list of 64; the handler spends 1 ms on each notification.
TEST(SlowHandler, LongAnswerAndNotificationsArriveWhole)
{
    tv::VirtualAdapter adapter = tv::attach(pacedConfig(0x82FD));
    SessionOptions options{};
    options.matchResponses = true;
    options.queueReports = true;
    TarvixSDK sdk(kTimeoutMs, options);
    std::mutex mutex;
    Bytes looped;
    sdk.onNotification([&](const Notification& n) {
        if (const UartRxNotification* rx = n.uartRx()) {
            std::this_thread::sleep_for(1ms);
            std::lock_guard<std::mutex> lock(mutex);
            looped.insert(looped.end(), rx->data, rx->data + rx->dataLength);
        }
    });
    ASSERT_TRUE(sdk.connect());
    ASSERT_EQ(sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                           UartStopBit::ONE),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, SpiChipSelect::CS_0,
                                    SpiChipSelectPolarity::ACTIVE_LOW, 1000000),
              StatusCode::SUCCESS);
    Bytes message(60000);
    for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<std::uint8_t>(i * 31 + 7);
    for (int round = 0; round < 2; ++round) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            looped.clear();
        }
        ASSERT_EQ(sdk.uartSendMessage(message), StatusCode::SUCCESS);
        Bytes miso;
        EXPECT_EQ(sdk.spiTransfer({0x03, 0, 0, 0}, miso, 65535), StatusCode::SUCCESS);
        EXPECT_EQ(miso.size(), 65535u);
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(looped, message); // the notifications came before the answer, all of them
    }
    EXPECT_EQ(adapter.droppedInputReports(), 0u);
}

// What the kernel dropped cannot be told from the reports that remain; the frame's own counts
// still show it.
class LostSegmentTest : public SyncSessionTest {};

TEST_F(LostSegmentTest, AnswerMissingAMiddleSegmentIsTooShort)
{
    std::vector<Bytes> reports = segments64(spiAnswer(1, 300, 0xA5));
    reports.erase(reports.begin() + 2);
    adapter().answerNextRequestWithReports(reports);
    Bytes miso;
    EXPECT_EQ(sdk().spiTransfer({0x03, 0, 0, 0}, miso, 300), StatusCode::RESPONSE_TOO_SHORT);
}

} // namespace
} // namespace tarvix_test
