// A production station: eight adapters in one process, each driven by its own thread through its
// own session, all sending notifications. Nothing may cross from one adapter's session to
// another's.
#include <sdk_fixture.hpp>

#include <atomic>
#include <string>
#include <thread>

namespace tarvix_test {
namespace {

constexpr std::size_t kAdapters = 8;
constexpr int kCalls = 200;
constexpr int kNotifications = 100;

using Fleet = NothingAttachedTest;

TEST_F(Fleet, EightAdaptersEightSessionsNothingCrosses)
{
    std::vector<tv::VirtualAdapter> adapters;
    for (std::size_t i = 0; i < kAdapters; ++i) {
        tv::VirtualAdapter adapter =
            tv::attach(adapterWith(L"TVX-F" + std::to_wstring(i), "", i % 2 == 0 ? 0x82FC : 0x82FD));
        // Every answer and notification of adapter i carries i.
        const auto index = static_cast<std::uint8_t>(i);
        adapter.setResponder(0x1403, [index](const Bytes& request) {
            return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x1403, 0, {index})};
        });
        adapter.setRecording(false);
        adapters.push_back(adapter);
    }

    std::atomic<std::size_t> crossed{0};
    std::atomic<std::size_t> notified{0};
    std::atomic<std::size_t> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> stations;
    for (std::size_t i = 0; i < kAdapters; ++i) {
        stations.emplace_back([&, i] {
            TarvixSDK sdk(kTimeoutMs, optionsWith(true, true, true));
            sdk.onNotification([&, i](const Notification& n) {
                const GpioInterruptNotification* gpio = n.gpio();
                if (gpio != nullptr && gpio->pinNumber != i) {
                    crossed.fetch_add(1);
                }
                notified.fetch_add(1);
            });
            if (!sdk.connectTo("serial:TVX-F" + std::to_string(i))) {
                crossed.fetch_add(1000);
                ready.fetch_add(1);
                return;
            }
            ready.fetch_add(1);
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (int call = 0; call < kCalls; ++call) {
                GpioLogicLevel level{};
                if (sdk.gpioDigitalRead(GpioPinNumber::GPIO_0, level) != StatusCode::SUCCESS ||
                    static_cast<std::uint32_t>(level) != i) {
                    crossed.fetch_add(1);
                }
            }
            // Stay connected until every notification has come in.
            eventually([&] { return notified.load() >= kAdapters * kNotifications; });
        });
    }
    eventually([&] { return ready.load() == kAdapters; });
    go.store(true);
    for (int n = 0; n < kNotifications; ++n) {
        for (std::size_t i = 0; i < kAdapters; ++i) {
            adapters[i].injectNotification(0x1481, 0, {static_cast<std::uint8_t>(i)});
        }
    }
    for (std::thread& station : stations) {
        station.join();
    }
    EXPECT_EQ(crossed.load(), 0u);
    EXPECT_EQ(notified.load(), kAdapters * kNotifications);
}

} // namespace
} // namespace tarvix_test
