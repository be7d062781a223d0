// A session's life at its edges: handlers that disconnect or destroy their own session, handler
// exceptions, the opt-in safeties (matchResponses, detectRemoval, exclusive) and the reasons a
// connect fails.
#include <sdk_fixture.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>
#include <thread>

namespace tarvix_test {
namespace {

// ---------------------------------------------------------------------------- handlers

using HandlerLifecycle = VirtualAdapterTest;

// A handler may not disconnect its own session (that would join the thread it runs on). What a
// handler throws, a standard exception or anything else, is counted with its text on the reader
// thread, which goes on answering and delivering.
TEST_F(HandlerLifecycle, ARefusedDisconnectOrAnyThrowFromAHandlerIsCountedAndTheSessionGoesOn)
{
    TarvixSDK sdk(kTimeoutMs);
    Inbox<std::error_code> refused;
    sdk.onNotification([&](const Notification& n) {
        if (n.gpio()->pinNumber != 0) {
            throw 42;
        }
        try {
            sdk.disconnect();
        } catch (const std::system_error& error) {
            refused.push(error.code());
            throw;
        }
    });
    ASSERT_TRUE(sdk.connect());
    adapter().injectNotification(0x1481, 0, {0});
    ASSERT_EQ(refused.waitFor(1).size(), 1u);
    EXPECT_EQ(refused.waitFor(1)[0], std::errc::resource_deadlock_would_occur);
    ASSERT_TRUE(eventually([&] { return sdk.handlerExceptionCount() == 1; }));
    EXPECT_NE(sdk.lastHandlerException().find("reader thread"), std::string::npos) << sdk.lastHandlerException();

    EXPECT_TRUE(sdk.isConnected());
    std::uint16_t voltage = 0;
    EXPECT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
    adapter().injectNotification(0x1481, 0, {1});
    ASSERT_TRUE(eventually([&] { return sdk.handlerExceptionCount() == 2; }));
    EXPECT_EQ(sdk.lastHandlerException(), "unknown exception");
    sdk.disconnect();
    EXPECT_EQ(adapter().openHandles(), 0u);
}

TEST_F(HandlerLifecycle, ASessionDestroyedByItsOwnHandlerIsTakenDownAfterTheHandlerReturns)
{
    tv::VirtualAdapter other = tv::attach();
    TarvixSDK bystander(kTimeoutMs);
    ASSERT_TRUE(bystander.connect(other.path()));

    const std::size_t exitsBefore = tv::counters().exitCalls;
    auto* blocking = new TarvixSDK(kTimeoutMs);
    Inbox<int> destroyed;
    blocking->onNotification([&](const Notification&) {
        delete blocking;
        destroyed.push(1);
    });
    ASSERT_TRUE(blocking->connect(adapter().path()));

    auto* async = new TarvixAsyncSDK();
    async->onResponse([&](const Bytes&) {
        delete async;
        destroyed.push(2);
    });
    ASSERT_TRUE(async->connect(adapter().path()));

    adapter().injectNotification(0x1481, 0, {0}); // reaches both sessions' readers
    ASSERT_EQ(destroyed.waitFor(2).size(), 2u);
    // Each reader closed its device and released hidapi on its own thread, once its handler
    // had returned.
    EXPECT_TRUE(eventually([&] { return adapter().openHandles() == 0; }));
    EXPECT_TRUE(eventually([&] { return tv::counters().exitCalls == exitsBefore + 2; }));

    std::uint16_t voltage = 0;
    EXPECT_EQ(bystander.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
}

TEST_F(HandlerLifecycle, TheResponseHandlerMayBeReplacedWhileFramesArrive)
{
    constexpr std::size_t kCount = 300;
    auto handled = std::make_shared<Inbox<int>>();
    TarvixAsyncSDK sdk;
    sdk.onResponse([handled](const Bytes&) { handled->push(-1); });
    ASSERT_TRUE(sdk.connect());
    std::atomic<bool> stop{false};
    std::thread replacer([&] {
        for (int generation = 0; !stop.load(); ++generation) {
            sdk.onResponse([handled, generation](const Bytes&) { handled->push(generation); });
        }
    });
    for (std::size_t i = 0; i < kCount; ++i) {
        adapter().sendFrame(tv::responseFrame(7, 0x0407, 0));
    }
    const std::size_t count = handled->waitFor(kCount).size();
    stop.store(true);
    replacer.join();
    EXPECT_EQ(count, kCount);
}

// ---------------------------------------------------------------------------- matchResponses

using MatchResponses = VirtualAdapterTest;

TEST_F(MatchResponses, ALateAnswerIsDroppedInsteadOfCompletingTheNextCall)
{
    TarvixSDK sdk(100, optionsWith(true, false));
    Inbox<int> fence;
    sdk.onNotification([&](const Notification&) { fence.push(0); });
    ASSERT_TRUE(sdk.connect());
    answer(0x0409, 0, {0x13, 0x54, 0, 0, 0, 0}); // a rail of 21523 mV
    answer(0x1403, 0, {1});

    adapter().setResponseDelay(150ms);
    std::uint16_t voltage = 0;
    ASSERT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::NO_RESPONSE);
    adapter().setResponseDelay(0ms);
    // Past the late answer's time, a notification is read after it.
    std::this_thread::sleep_for(100ms);
    adapter().injectNotification(0x1481, 0, {0});
    ASSERT_EQ(fence.waitFor(1).size(), 1u);

    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk.gpioDigitalRead(GpioPinNumber::GPIO_3, level), StatusCode::SUCCESS);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
    EXPECT_EQ(sdk.droppedResponseCount(), 1u);
}

TEST_F(MatchResponses, DuplicatedAndForeignAnswersNeverReachTheOutputs)
{
    TarvixSDK sdk(kTimeoutMs, optionsWith(true, false));
    ASSERT_TRUE(sdk.connect());
    // Every read is answered twice, and preceded by an answer for another id and one with this
    // id but another command's code.
    std::atomic<std::uint8_t> next{0};
    adapter().setResponder(0x1403, [&next](const Bytes& request) {
        const std::uint16_t id = tv::transactionIdOf(request);
        const std::uint8_t level = next.fetch_add(1);
        return std::vector<Bytes>{tv::responseFrame(static_cast<std::uint16_t>(id + 1), 0x1403, 0, {0xE4}),
                                  tv::responseFrame(id, 0x0409, 0, {0xE4}), tv::responseFrame(id, 0x1403, 0, {level}),
                                  tv::responseFrame(id, 0x1403, 0, {0xE4})};
    });
    for (std::uint8_t round = 0; round < 20; ++round) {
        GpioLogicLevel level{};
        ASSERT_EQ(sdk.gpioDigitalRead(GpioPinNumber::GPIO_0, level), StatusCode::SUCCESS);
        ASSERT_EQ(static_cast<std::uint32_t>(level), round);
    }
    // The trailing duplicate of the last round may still be on its way.
    EXPECT_GE(sdk.droppedResponseCount(), 20u * 3 - 1);
}

// An answer whose last segments were lost, joined with the tail of another: the frame carries this
// request's id and code but more bytes than its count declares. Matched, it is dropped unread;
// unmatched, it is taken as it stands.
TEST_F(MatchResponses, AFrameLongerThanItsCountIsAStitchAndIsDropped)
{
    adapter().setResponder(0x0D04, [](const Bytes& request) {
        return std::vector<Bytes>{
            tv::responseFrame(tv::transactionIdOf(request), 0x0D04, 0, {4, 0, 1, 2, 3, 4, 0xEE, 0xEE, 0xEE})};
    });
    for (const bool match : {true, false}) {
        TarvixSDK sdk(kTimeoutMs, optionsWith(match, false));
        ASSERT_TRUE(sdk.connect());
        std::vector<std::uint8_t> miso{0x55};
        const StatusCode status = sdk.spiTransfer({0x9F}, miso, 4);
        if (match) {
            EXPECT_EQ(status, StatusCode::NO_RESPONSE);
            EXPECT_EQ(miso, (std::vector<std::uint8_t>{0x55}));
            EXPECT_EQ(sdk.droppedResponseCount(), 1u);
        } else {
            EXPECT_EQ(status, StatusCode::SUCCESS);
            EXPECT_EQ(miso, (std::vector<std::uint8_t>{1, 2, 3, 4}));
        }
    }
}

// ---------------------------------------------------------------------------- detectRemoval

// An adapter at a path of its own and with a serial number, to come back elsewhere.
class DetectRemoval : public VirtualAdapterTest {
protected:
    tv::AdapterConfig adapterConfig() const override { return adapterWith(L"TVX-7", "bench/usb-1"); }
};

// Both kinds of session learn of the unplug by themselves and then fail at once; they reconnect
// without a disconnect, also to the adapter enumerated again under another path.
TEST_F(DetectRemoval, SessionsLearnOfAnUnplugAndReconnectWhereverTheAdapterComesBack)
{
    TarvixSDK sdk(-1, optionsWith(false, true)); // never times out: a call that waited would hang
    TarvixAsyncSDK async(optionsWith(false, true));
    ASSERT_TRUE(sdk.connect());
    ASSERT_TRUE(async.connect());
    adapter().unplug();
    ASSERT_TRUE(eventually([&] { return !sdk.isConnected() && !async.isConnected(); }));
    std::uint16_t voltage = 0;
    EXPECT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(async.uartDeinit(1), StatusCode::NOT_CONNECTED);
    EXPECT_FALSE(sdk.connect());
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::NO_ADAPTER);

    tv::VirtualAdapter again = tv::attach(adapterWith(L"TVX-7", "bench/usb-2"));
    ASSERT_TRUE(sdk.connectTo("serial:TVX-7"));
    ASSERT_TRUE(async.connect());
    EXPECT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
    EXPECT_EQ(async.uartDeinit(2), StatusCode::SUCCESS);
    EXPECT_EQ(again.openHandles(), 2u);
    EXPECT_EQ(adapter().openHandles(), 0u); // the dead handles were closed
}

// ---------------------------------------------------------------------------- exclusive

using Exclusive = VirtualAdapterTest;

TEST_F(Exclusive, ASecondSessionOnTheAdapterIsBusyWhicheverAskedFirst)
{
    TarvixSDK first(kTimeoutMs, optionsWith(false, false, true));
    ASSERT_TRUE(first.connect());
    TarvixSDK plain(kTimeoutMs);
    EXPECT_FALSE(plain.connect());
    EXPECT_EQ(plain.lastConnectError(), ConnectError::BUSY);
    EXPECT_NE(plain.lastConnectErrorMessage().find(adapter().path()), std::string::npos);
    TarvixSDK second(kTimeoutMs, optionsWith(false, false, true));
    EXPECT_FALSE(second.connect());
    EXPECT_EQ(second.lastConnectError(), ConnectError::BUSY);

    first.disconnect();
    ASSERT_TRUE(plain.connect());  // released at disconnect
    EXPECT_FALSE(first.connect()); // and an exclusive session will not share
    EXPECT_EQ(first.lastConnectError(), ConnectError::BUSY);
    plain.disconnect();
    EXPECT_TRUE(first.connect());
    EXPECT_EQ(first.lastConnectError(), ConnectError::NONE);
}

TEST_F(Exclusive, HoldsAnAdvisoryLockOnADeviceNode)
{
    char node[] = "/tmp/tarvix-node-XXXXXX";
    const int created = ::mkstemp(node);
    ASSERT_GE(created, 0);
    ::close(created);
    tv::attach(adapterWith(std::nullopt, node));

    {
        TarvixSDK sdk(kTimeoutMs, optionsWith(false, false, true));
        ASSERT_TRUE(sdk.connect(node));
        // What another process would see.
        const int fd = ::open(node, O_RDONLY);
        ASSERT_GE(fd, 0);
        EXPECT_NE(::flock(fd, LOCK_SH | LOCK_NB), 0);
        EXPECT_EQ(errno, EWOULDBLOCK);
        sdk.disconnect();
        EXPECT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
        // Held by "another process": both kinds of session stay out.
        TarvixSDK plain(kTimeoutMs);
        EXPECT_FALSE(plain.connect(node));
        EXPECT_EQ(plain.lastConnectError(), ConnectError::BUSY);
        ::close(fd);
        EXPECT_TRUE(plain.connect(node));
    }
    ::unlink(node);
}

// ---------------------------------------------------------------------------- connect reasons

using ConnectReasons = VirtualAdapterTest;

TEST_F(ConnectReasons, EachFailureSaysWhy)
{
    TarvixSDK sdk(kTimeoutMs);
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::NONE);

    EXPECT_FALSE(sdk.connect("no/such/path"));
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::NO_MATCH);
    EXPECT_NE(sdk.lastConnectErrorMessage().find("no/such/path"), std::string::npos);
    EXPECT_FALSE(sdk.connectWithSerialNumber("TVX-9999"));
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::NO_MATCH);

    adapter().setOpenError(EACCES);
    EXPECT_FALSE(sdk.connect());
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::PERMISSION_DENIED);
    EXPECT_NE(sdk.lastConnectErrorMessage().find(adapter().path()), std::string::npos);
    EXPECT_NE(sdk.lastConnectErrorMessage().find("udev"), std::string::npos);
    adapter().setOpenError(0);

    adapter().setOpenFails(true);
    EXPECT_FALSE(sdk.connect());
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::OPEN_FAILED);
    EXPECT_NE(sdk.lastConnectErrorMessage().find("could not be opened"), std::string::npos)
        << sdk.lastConnectErrorMessage(); // hid_error's text
    adapter().setOpenFails(false);

    ASSERT_TRUE(sdk.connect());
    EXPECT_EQ(sdk.lastConnectError(), ConnectError::NONE);
    EXPECT_TRUE(sdk.lastConnectErrorMessage().empty());
    sdk.disconnect();

    EXPECT_STREQ(connectErrorName(ConnectError::NO_ADAPTER), "NO_ADAPTER");
}

} // namespace
} // namespace tarvix_test
