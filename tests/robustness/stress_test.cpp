// One session under a storm: blocking calls on one thread while notifications arrive at more than
// ten thousand a second, handlers are replaced, answers come late, and the session disconnects
// and reconnects between rounds. With matchResponses no call may take another's answer, and no
// notification sent while connected may be lost (each carries a sequence number).
#include <sdk_fixture.hpp>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>

namespace tarvix_test {
namespace {

// Each GPIO interrupt carries its sequence number after the pin.
void recordSequence(Inbox<std::uint32_t>& log, const Notification& notification)
{
    if (notification.kind == NotificationKind::GPIO_INTERRUPT && notification.length >= 11) {
        std::uint32_t sequence = 0;
        std::memcpy(&sequence, notification.data + 7, sizeof sequence);
        log.push(sequence);
    }
}

using SessionStress = VirtualAdapterTest;

TEST_F(SessionStress, CallsKeepTheirOwnAnswersAndNoNotificationIsLostWhileConnected)
{
    constexpr int kRounds = 4;
    constexpr auto kRoundTime = 300ms;
    constexpr int kTimeoutMs = 20;

    // A read of pin p answers level p: an answer decoded into the wrong call shows at once.
    adapter().setResponder(0x1403, [](const Bytes& request) {
        const std::uint8_t pin = request.size() > 4 ? request[4] : 0xFF;
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x1403, 0, {pin})};
    });
    answer(0x0409, 0, {0xE4, 0x0C, 0, 0, 0, 0}); // shared rail 3300 mV
    // One answer in twenty comes after the call has given up.
    adapter().setResponseLatency([generator = std::minstd_rand(7)](const Bytes&) mutable {
        return generator() % 20 == 0 ? std::chrono::microseconds(30000) : std::chrono::microseconds(0);
    });
    adapter().setRecording(false);

    TarvixSDK sdk(kTimeoutMs, optionsWith(true, true));
    auto log = std::make_shared<Inbox<std::uint32_t>>(); // every round's, in the order delivered
    sdk.onNotification([log](const Notification& n) { recordSequence(*log, n); });

    std::size_t wrong = 0;
    std::size_t answered = 0;
    std::uint32_t sequence = 0;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(sdk.connect());
        const std::uint32_t first = sequence;
        std::atomic<bool> stop{false};
        std::thread storm([&] {
            // Bursts of 20 every millisecond: well over ten thousand a second.
            while (!stop.load()) {
                for (int i = 0; i < 20; ++i) {
                    Bytes payload(5);
                    payload[0] = 1;
                    std::memcpy(payload.data() + 1, &sequence, sizeof sequence);
                    adapter().injectNotification(0x1481, 0, payload);
                    ++sequence;
                }
                std::this_thread::sleep_for(1ms);
            }
        });
        std::thread replacer([&] {
            while (!stop.load()) {
                sdk.onNotification([log](const Notification& n) { recordSequence(*log, n); });
                std::this_thread::sleep_for(1ms);
            }
        });
        const auto end = std::chrono::steady_clock::now() + kRoundTime;
        for (std::uint8_t pin = 0; std::chrono::steady_clock::now() < end;
             pin = static_cast<std::uint8_t>((pin + 1) % 8)) {
            GpioLogicLevel level{};
            const StatusCode status = sdk.gpioDigitalRead(static_cast<GpioPinNumber>(pin), level);
            if (status == StatusCode::SUCCESS) {
                ++answered;
                wrong += static_cast<std::uint32_t>(level) != pin ? 1 : 0;
            } else {
                ASSERT_EQ(status, StatusCode::NO_RESPONSE);
            }
            std::uint16_t voltage = 0;
            const StatusCode railStatus = sdk.i2cGetBusVoltage(voltage);
            if (railStatus == StatusCode::SUCCESS) {
                ++answered;
                wrong += voltage != 3300 ? 1 : 0;
            }
        }
        stop.store(true);
        storm.join();
        replacer.join();
        // Every notification of the round arrives, in order, before the session goes.
        const std::vector<std::uint32_t> received = log->waitFor(sequence);
        ASSERT_EQ(received.size(), sequence) << "round " << round;
        for (std::uint32_t i = first; i < sequence; ++i) {
            ASSERT_EQ(received[i], i) << "round " << round;
        }
        sdk.disconnect();
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_GT(answered, 0u);
    EXPECT_GE(sequence, 1000u);
}

} // namespace
} // namespace tarvix_test
