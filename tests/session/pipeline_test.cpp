// Pipelined blocking calls: requests in flight together, each answer matched to its request.
#include <sdk_fixture.hpp>
#include <tarvixsdk/tarvixsdk.h>

#include <future>
#include <thread>

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

TEST_F(PipelineTest, SendsInOrderAndMatchesAnswersByIdAndCodeWhateverTheirOrderDroppingForeignOnes)
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

    // The steps went out in order, and single calls go on from the pipeline's numbering.
    answerGpioReadsWithPinPlusOne();
    GpioLogicLevel single{};
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_3, single), StatusCode::SUCCESS);
    EXPECT_EQ(static_cast<int>(single), 4);
    std::vector<std::pair<std::uint16_t, std::uint8_t>> sent; // id, pin
    for (const Bytes& request : adapter().requests()) {
        sent.emplace_back(tv::transactionIdOf(request), request.at(4));
    }
    EXPECT_EQ(sent, (std::vector<std::pair<std::uint16_t, std::uint8_t>>{{1, 0}, {2, 1}, {3, 2}, {4, 3}}));
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

// The flat pipeline's own part (the Python package runs it end to end): its argument checks, the
// statuses written on run, and a run that returns the first failed step's status.
TEST_F(VirtualAdapterTest, FlatPipelineChecksItsArgumentsAndRunReturnsTheFirstFailure)
{
    EXPECT_EQ(TarvixSDK_PipelineCreate(nullptr, 8), nullptr);
    answer(kGpioRead, 0, {1});
    TarvixSDK_Handle* handle = TarvixSDK_Create(kTimeoutMs);
    ASSERT_TRUE(TarvixSDK_Connect(handle, nullptr));
    TarvixSDK_Pipeline* pipeline = TarvixSDK_PipelineCreate(handle, 4);
    const std::uint8_t tooLong[5] = {};
    std::uint8_t data = 0;
    GpioLogicLevel level = GpioLogicLevel::LOW;
    StatusCode statuses[2] = {StatusCode::SYSTEM_ERROR, StatusCode::SYSTEM_ERROR};
    // Refused at queueing: a null array with a length. Refused on run: a 5-byte register.
    EXPECT_EQ(TarvixSDK_PipelineI2cRead(pipeline, nullptr, 0, 0x50, nullptr, 1, 1, &data, false),
              StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(TarvixSDK_PipelineGpioDigitalRead(pipeline, &statuses[0], GpioPinNumber::GPIO_1, &level),
              StatusCode::SUCCESS);
    EXPECT_EQ(TarvixSDK_PipelineI2cRead(pipeline, &statuses[1], 0, 0x50, tooLong, 5, 1, &data, false),
              StatusCode::SUCCESS);
    EXPECT_EQ(TarvixSDK_PipelineRun(pipeline), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(statuses[0], StatusCode::SUCCESS);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
    EXPECT_EQ(statuses[1], StatusCode::INVALID_ARGUMENT);
    TarvixSDK_PipelineDestroy(pipeline);
    TarvixSDK_Destroy(handle);
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
