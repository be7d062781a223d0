// Pipelined blocking calls: requests in flight together, each answer matched to its request.
#include "../support/sdk_fixture.hpp"

#include <future>
#include <thread>

extern "C" int pipeline_c_eeprom_reads(const std::uint8_t pattern[8]);

namespace tarvix_test {
namespace {

constexpr std::uint16_t kGpioRead = 0x1403;

class PipelineTest : public SyncSessionTest {
protected:
    // Answers GPIO reads with the pin number plus one as the level, so each answer is its own.
    void answerGpioReadsWithPinPlusOne()
    {
        adapter().setResponder(kGpioRead, [](const Bytes& request) {
            const std::uint8_t pin = request.size() > 4 ? request[4] : 0;
            return std::vector<Bytes>{
                tv::responseFrame(tv::transactionIdOf(request), kGpioRead, 0, {static_cast<std::uint8_t>(pin + 1)})};
        });
    }
    static void queueGpioRead(TarvixSDK::Pipeline& pipeline, std::uint8_t pin, GpioLogicLevel& level)
    {
        pipeline.add([pin, &level](TarvixSDK& s) { return s.gpioDigitalRead(static_cast<GpioPinNumber>(pin), level); });
    }
};

class ShortTimeoutPipelineTest : public PipelineTest {
protected:
    int sessionTimeoutMs() const override { return kShortTimeoutMs; }
};

TEST_F(PipelineTest, ReadsEveryRegisterInOrderWithDistinctIdsAndDecodesEach)
{
    ASSERT_EQ(sdk().i2cControllerInit(0, 400000, 0), StatusCode::SUCCESS);
    Bytes pattern(8); // one EEPROM page: a longer write wraps within it
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<std::uint8_t>(0xA0 + i);
    }
    ASSERT_EQ(sdk().i2cWrite(0, 0x50, {0x00}, pattern, false), StatusCode::SUCCESS);
    adapter().clearRecords();

    std::vector<Bytes> data(pattern.size());
    TarvixSDK::Pipeline pipeline;
    for (std::uint8_t reg = 0; reg < pattern.size(); ++reg) {
        pipeline.add([reg, &data](TarvixSDK& s) { return s.i2cRead(0, 0x50, {reg}, 1, data[reg], false); });
    }
    const std::vector<StatusCode> statuses = sdk().runPipeline(pipeline);

    ASSERT_EQ(statuses.size(), pattern.size());
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        EXPECT_EQ(statuses[i], StatusCode::SUCCESS) << i;
        EXPECT_EQ(data[i], Bytes{pattern[i]}) << i;
    }
    const std::vector<Bytes> requests = adapter().requests();
    ASSERT_EQ(requests.size(), pattern.size());
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(tv::commandCodeOf(requests[i]), 0x0905);
        if (i > 0) {
            EXPECT_EQ(tv::transactionIdOf(requests[i]), tv::transactionIdOf(requests[i - 1]) + 1);
        }
    }
    // The single calls go on from where the pipeline left the numbering, and still work.
    Bytes after;
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x03}, 1, after, false), StatusCode::SUCCESS);
    EXPECT_EQ(after, Bytes{pattern[3]});
    EXPECT_EQ(tv::transactionIdOf(lastRequest()), tv::transactionIdOf(requests.back()) + 1);
}

TEST_F(PipelineTest, MatchesAnswersByIdAndCodeWhateverTheirOrderAndDropsForeignOnes)
{
    // Requests get ids 1, 2, 3. The adapter answers the first two swapped, throws in a frame for
    // nobody and one with the right id but another code, then answers the third.
    adapter().answerNextRequestWithFrames({});
    adapter().answerNextRequestWithFrames(
        {tv::responseFrame(2, kGpioRead, 0, {0x22}), tv::responseFrame(999, kGpioRead, 0, {0x99}),
         tv::responseFrame(3, 0x1402, 0, {0x77}), tv::responseFrame(1, kGpioRead, 0, {0x11})});
    adapter().answerNextRequestWithFrames({tv::responseFrame(3, kGpioRead, 0x0010, {0x33})});

    GpioLogicLevel levels[3] = {};
    TarvixSDK::Pipeline pipeline;
    for (std::uint8_t i = 0; i < 3; ++i) {
        queueGpioRead(pipeline, i, levels[i]);
    }
    const std::vector<StatusCode> statuses = sdk().runPipeline(pipeline);

    EXPECT_EQ(statuses,
              (std::vector<StatusCode>{StatusCode::SUCCESS, StatusCode::SUCCESS, static_cast<StatusCode>(0x0010)}));
    EXPECT_EQ(static_cast<int>(levels[0]), 0x11);
    EXPECT_EQ(static_cast<int>(levels[1]), 0x22);
    EXPECT_EQ(static_cast<int>(levels[2]), 0x33); // written before the status is looked at
    EXPECT_EQ(sdk().droppedResponseCount(), 2u);
}

TEST_F(ShortTimeoutPipelineTest, AMissingAnswerIsNoResponseForItsStepAloneAndItsLateArrivalIsNeverTaken)
{
    // The read of pin 1 goes unanswered; the others are answered at once.
    std::uint16_t unanswered = 0;
    std::mutex mutex;
    adapter().setResponder(kGpioRead, [&](const Bytes& request) {
        const std::uint8_t pin = request.at(4);
        if (pin == 1) {
            std::lock_guard<std::mutex> lock(mutex);
            unanswered = tv::transactionIdOf(request);
            return std::vector<Bytes>{};
        }
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), kGpioRead, 0, {0x01})};
    });
    GpioLogicLevel levels[3] = {GpioLogicLevel{0x5A}, GpioLogicLevel{0x5A}, GpioLogicLevel{0x5A}};
    TarvixSDK::Pipeline pipeline;
    for (std::uint8_t i = 0; i < 3; ++i) {
        queueGpioRead(pipeline, i, levels[i]);
    }
    EXPECT_EQ(sdk().runPipeline(pipeline),
              (std::vector<StatusCode>{StatusCode::SUCCESS, StatusCode::NO_RESPONSE, StatusCode::SUCCESS}));
    EXPECT_EQ(static_cast<int>(levels[1]), 0x5A) << "outputs of an unanswered call stay untouched";
    EXPECT_EQ(static_cast<int>(levels[2]), 0x01);

    // The lost answer turns up now. Neither a single call (which, by default, takes whatever
    // answer comes first) nor the next pipeline may take it.
    adapter().sendFrame(tv::responseFrame(unanswered, kGpioRead, 0, {0x42}));
    answerGpioReadsWithPinPlusOne();
    GpioLogicLevel single{};
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_3, single), StatusCode::SUCCESS);
    EXPECT_EQ(static_cast<int>(single), 4);
    GpioLogicLevel again{};
    TarvixSDK::Pipeline next;
    queueGpioRead(next, 5, again);
    EXPECT_EQ(sdk().runPipeline(next), std::vector<StatusCode>{StatusCode::SUCCESS});
    EXPECT_EQ(static_cast<int>(again), 6);
}

TEST_F(PipelineTest, KeepsAtMostTheWindowInFlight)
{
    // Nothing is answered until the test says so.
    adapter().setResponder(kGpioRead, [](const Bytes&) { return std::vector<Bytes>{}; });
    GpioLogicLevel levels[5] = {};
    TarvixSDK::Pipeline pipeline(3);
    for (std::uint8_t i = 0; i < 5; ++i) {
        queueGpioRead(pipeline, i, levels[i]);
    }
    auto run = std::async(std::launch::async, [&] { return sdk().runPipeline(pipeline); });

    ASSERT_TRUE(adapter().waitForRequests(3, 5s));
    EXPECT_FALSE(adapter().waitForRequests(4, 100ms)) << "a fourth request went out before any answer";
    const auto answer = [&](std::size_t index) {
        const Bytes request = adapter().requests().at(index);
        adapter().sendFrame(tv::responseFrame(tv::transactionIdOf(request), kGpioRead, 0, {request.at(4)}));
    };
    answer(0);
    ASSERT_TRUE(adapter().waitForRequests(4, 5s));
    EXPECT_FALSE(adapter().waitForRequests(5, 100ms));
    for (std::size_t i = 1; i < 5; ++i) {
        ASSERT_TRUE(adapter().waitForRequests(i + 3 > 5 ? 5 : i + 3, 5s));
        answer(i);
    }
    EXPECT_EQ(run.get(), std::vector<StatusCode>(5, StatusCode::SUCCESS));
    for (std::uint8_t i = 0; i < 5; ++i) {
        EXPECT_EQ(static_cast<int>(levels[i]), i);
    }
}

TEST_F(PipelineTest, EachStepGetsTheStatusOfItsOwnCalls)
{
    answerGpioReadsWithPinPlusOne();
    GpioLogicLevel level{};
    Bytes unused;
    TarvixSDK::Pipeline pipeline;
    // A register address longer than four bytes is refused before anything is sent.
    pipeline.add([&](TarvixSDK& s) { return s.i2cRead(0, 0x50, {1, 2, 3, 4, 5}, 1, unused, false); });
    // Two calls in one step: the status of the last one counts.
    pipeline.add([&](TarvixSDK& s) {
        s.gpioDigitalRead(GpioPinNumber::GPIO_0, level);
        return s.gpioDigitalRead(GpioPinNumber::GPIO_6, level);
    });
    // Commands without an answer, and those whose later requests need earlier answers, cannot be queued.
    pipeline.add([](TarvixSDK& s) { return s.resetDevice(); });
    pipeline.add([](TarvixSDK& s) {
        TarvixSDK::DeviceInfo info;
        return s.getDeviceInfo(info);
    });
    // A pipeline within a pipeline is refused.
    pipeline.add([&](TarvixSDK& s) {
        TarvixSDK::Pipeline inner;
        queueGpioRead(inner, 2, level);
        return s.runPipeline(inner).at(0);
    });
    adapter().clearRecords();

    const std::vector<StatusCode> statuses = sdk().runPipeline(pipeline);

    EXPECT_EQ(statuses[0], StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(statuses[1], StatusCode::SUCCESS);
    EXPECT_EQ(static_cast<int>(level), 7);
    EXPECT_EQ(statuses[2], StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(statuses[3], StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(statuses[4], StatusCode::INVALID_ARGUMENT);
    for (const Bytes& request : adapter().requests()) {
        EXPECT_NE(tv::commandCodeOf(request), 0x0401) << "a queued reset must not be sent";
    }
    EXPECT_EQ(adapter().requests().size(), 3u) << "two GPIO reads and the first USB string, each sent once";
}

TEST_F(VirtualAdapterTest, FlatPipelineFromCReadsIntoTheCallersBuffers)
{
    const std::uint8_t pattern[8] = {9, 8, 7, 6, 5, 4, 3, 2};
    EXPECT_EQ(pipeline_c_eeprom_reads(pattern), 0) << "the line of the C check that failed";
}

TEST_F(PipelineTest, DisconnectedStepsAreNotConnected)
{
    sdk().disconnect();
    GpioLogicLevel level{};
    TarvixSDK::Pipeline pipeline;
    queueGpioRead(pipeline, 0, level);
    queueGpioRead(pipeline, 1, level);
    EXPECT_EQ(sdk().runPipeline(pipeline), std::vector<StatusCode>(2, StatusCode::NOT_CONNECTED));
}

} // namespace
} // namespace tarvix_test
