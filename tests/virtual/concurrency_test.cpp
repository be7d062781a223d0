// Many threads at once, as the SDK runs it: a reader thread polling with a
// timeout while callers write and the test thread injects events.
#include <atomic>
#include <thread>

#include "virtual_test_support.hpp"

namespace {

class Concurrency : public VirtualAdapterTest {};

TEST_F(Concurrency, WritersReaderAndControl_LoseNoFrame)
{
    constexpr int kPerWriter = 300;
    constexpr int kNotifications = 100;
    auto adapter = vt::attach();
    hid_device* dev = open(adapter);

    int responses = 0;
    int notifications = 0;
    std::thread reader([&] {
        std::vector<unsigned char> report(64);
        // Every report is one whole frame here; a lost one ends the loop by timeout.
        while (responses + notifications < 2 * kPerWriter + kNotifications &&
               hid_read_timeout(dev, report.data(), 64, 2000) == 64) {
            EXPECT_EQ(report[0] & 3, 3);
            (report[2] == 0 && report[3] == 0 ? notifications : responses)++;
        }
    });
    std::vector<std::thread> writers;
    for (int w = 0; w < 2; ++w) {
        writers.emplace_back([&, w] {
            for (int i = 1; i <= kPerWriter; ++i)
                writeFrame(dev, requestFrame(static_cast<std::uint16_t>(w * 1000 + i), vt::codes::GPIO_READ), 64);
        });
    }
    for (int i = 0; i < kNotifications; ++i) {
        adapter.injectNotification(vt::codes::GPIO_INTERRUPT, 0, {1});
        adapter.setResponseDelay(std::chrono::milliseconds(i % 2));
        if (i % 10 == 0) adapter.clearRecords();
    }
    for (auto& writer : writers) writer.join();
    reader.join();
    EXPECT_EQ(responses, 2 * kPerWriter);
    EXPECT_EQ(notifications, kNotifications);
}

TEST_F(Concurrency, AttachEnumerateOpenAndClose_FromManyThreads)
{
    std::vector<std::thread> threads;
    std::atomic<int> opened{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                auto adapter = vt::attach();
                hid_free_enumeration(hid_enumerate(0, 0));
                hid_device* dev = hid_open_path(adapter.path().c_str());
                if (dev) {
                    ++opened;
                    unsigned char buffer[64];
                    hid_read_timeout(dev, buffer, sizeof buffer, 0);
                    hid_close(dev);
                }
                adapter.unplug();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(opened.load(), 200);
}

} // namespace
