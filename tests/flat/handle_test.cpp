// The flat handle: lifecycle, device strings, the notification bridge and its views; and the
// checks written in C.
#include "c_api.h"
#include "flat_test_support.hpp"

#include <algorithm>
#include <cstring>

using namespace tarvix_test;

namespace {

TEST(FlatFromC, EveryFunctionAnswersANullHandleFirst)
{
    EXPECT_EQ(flat_c_null_handle(), 0);
}

// The C constants are written out by hand; they must keep the values of the C++ enumerations.
TEST(FlatFromC, ConstantsHoldTheValuesOfTheCppEnumerations)
{
#define CPP_ENUMERATOR(type, member) std::uint32_t(type::member),
    const std::uint32_t expected[] = {FLAT_C_ENUMS(CPP_ENUMERATOR)};
#undef CPP_ENUMERATOR
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(flat_c_enum_values[i], expected[i]) << "constant " << i;
    }
}

class FlatFromCSession : public VirtualAdapterTest {
protected:
    tv::AdapterConfig adapterConfig() const override { return adapterWith(L"TVX-C"); }
};

TEST_F(FlatFromCSession, ConnectsReadsStringsLevelAndNotification)
{
    adapter().setResponder(0x1403, [](const Bytes& request) {
        return std::vector<Bytes>{tv::notificationFrame(0x1481, 0, {5}),
                                  tv::responseFrame(tv::transactionIdOf(request), 0x1403, 0, {1})};
    });
    EXPECT_EQ(flat_c_session("TVX-C", "Tarvix Instruments"), 0);
}

// A HID device that is no adapter, listed first, whose serial number is an unpaired surrogate.
class FlatFromCBadSerial : public VirtualAdapterTest {
protected:
    tv::AdapterConfig adapterConfig() const override
    {
        return adapterWith(std::wstring(1, static_cast<wchar_t>(0xD800)) + L"1", "", 0xC077, 0x046D);
    }
};

TEST_F(FlatFromCBadSerial, ConnectBySerialFailsWithTheReasonInsteadOfThrowing)
{
    tv::attach(adapterWith(L"TVX-GOOD"));
    EXPECT_EQ(flat_c_bad_serial("TVX-GOOD"), 0);
}

// The names are the C++ library's own (see its status text test); the sentences are static here.
TEST(FlatStatusText, NamesAndSentencesAreStaticForLibraryAndAdapterCodes)
{
    EXPECT_STREQ(TarvixSDK_StatusName(StatusCode::SYSTEM_ERROR), "SYSTEM_ERROR");
    EXPECT_EQ(TarvixSDK_StatusMessage(StatusCode::SYSTEM_ERROR), statusCodeMessage(StatusCode::SYSTEM_ERROR));
    const char* const adapterSentence = TarvixSDK_StatusMessage(StatusCode(0x0102));
    EXPECT_GT(std::strlen(adapterSentence), 0u);
    EXPECT_STREQ(TarvixSDK_StatusMessage(StatusCode(0xA001)), adapterSentence);
    EXPECT_STRNE(TarvixSDK_StatusMessage(StatusCode::RESPONSE_TOO_SHORT), adapterSentence);
}

// What the flat callback received: there is no context pointer, so the tests share this.
struct Received {
    NotificationKind kind;
    std::size_t length;
    Bytes buffer; // the first 256 bytes the record's data points at
};
Inbox<Received>* inbox = nullptr;

void collect(const Notification* n)
{
    inbox->push({n->kind, n->length, Bytes(n->data, n->data + 256)});
}

// What the extended callback received: the frame whole, through the caller's pointer.
struct ReceivedEx {
    NotificationKind kind;
    Bytes frame;
};

void collectEx(const Notification* n, void* userData)
{
    static_cast<Inbox<ReceivedEx>*>(userData)->push({n->kind, Bytes(n->data, n->data + n->length)});
}

class FlatBridge : public FlatSessionTest {
protected:
    void SetUp() override
    {
        inbox = &received_;
        FlatSessionTest::SetUp();
    }
    void TearDown() override
    {
        FlatSessionTest::TearDown(); // the reader has stopped: no callback runs any more
        inbox = nullptr;
    }
    // Once a command has been answered, the reader has handled every notification sent before.
    void roundTrip()
    {
        answer(0x1905, 0);
        EXPECT_EQ(TarvixSDK_I3cResetBus(h()), StatusCode::SUCCESS);
    }
    Inbox<Received> received_;
    Inbox<ReceivedEx> receivedEx_;
};

TEST_F(FlatBridge, NothingArrivesWithoutACallbackThenLengthIsKeptTo8BitsAndTheCopyTo256Bytes)
{
    TarvixSDK_onNotification(h(), nullptr);
    adapter().injectNotification(0x1481, 0, {3});
    roundTrip();
    EXPECT_TRUE(received_.waitFor(0).empty());

    TarvixSDK_onNotification(h(), collect);
    for (const std::size_t size : {std::size_t{255}, std::size_t{256}, std::size_t{300}}) {
        SCOPED_TRACE(size);
        Bytes data(size - 6);
        for (std::size_t i = 0; i < data.size(); ++i) {
            data[i] = static_cast<std::uint8_t>(i * 7 + 3);
        }
        const std::size_t before = received_.waitFor(0).size();
        adapter().injectNotification(0x1081, 0, data);
        const std::vector<Received> all = received_.waitFor(before + 1);
        ASSERT_EQ(all.size(), before + 1);
        EXPECT_EQ(all.back().kind, NotificationKind::UART_RX);
        EXPECT_EQ(all.back().length, size == 255 ? 255u : 0u);
        const Bytes frame = tv::notificationFrame(0x1081, 0, data);
        const auto copied = static_cast<std::ptrdiff_t>(std::min<std::size_t>(size, 256));
        EXPECT_TRUE(std::equal(frame.begin(), frame.begin() + copied, all.back().buffer.begin()));
    }
}

TEST_F(FlatBridge, ExCallbackGetsTheWholeFrameAndUserDataAndTakesTurnsWithThePlainOne)
{
    Bytes data(494);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(i * 13 + 1);
    }
    const Bytes frame = tv::notificationFrame(0x1081, 0, data);
    ASSERT_EQ(frame.size(), 500u);

    TarvixSDK_onNotification(h(), collect);
    TarvixSDK_onNotificationEx(h(), collectEx, &receivedEx_);
    adapter().injectNotification(0x1081, 0, data);
    const std::vector<ReceivedEx> whole = receivedEx_.waitFor(1);
    ASSERT_EQ(whole.size(), 1u);
    EXPECT_EQ(whole[0].kind, NotificationKind::UART_RX);
    EXPECT_EQ(whole[0].frame, frame);

    // Setting the plain callback again replaces the extended one; a null extended one stops both.
    TarvixSDK_onNotification(h(), collect);
    adapter().injectNotification(0x1481, 0, {3});
    EXPECT_EQ(received_.waitFor(1).size(), 1u);
    TarvixSDK_onNotificationEx(h(), nullptr, &receivedEx_);
    adapter().injectNotification(0x1481, 0, {4});
    roundTrip();
    EXPECT_EQ(received_.waitFor(0).size(), 1u);
    EXPECT_EQ(receivedEx_.waitFor(0).size(), 1u);
}

// The handle and what its callback saw.
struct SelfDestroying {
    TarvixSDK_Handle* handle;
    Inbox<int> calls;
};

void destroySelf(const Notification*, void* userData)
{
    auto* self = static_cast<SelfDestroying*>(userData);
    TarvixSDK_Destroy(self->handle);
    self->calls.push(0);
}

using FlatLifecycle = VirtualAdapterTest;

// That a handler may not disconnect its own session is the session's rule (its lifecycle tests).
// What the handle adds: its own fields go with it while its bridge is still on the reader's stack.
TEST_F(FlatLifecycle, ACallbackMayDestroyItsHandle)
{
    SelfDestroying self{TarvixSDK_Create(kTimeoutMs), {}};
    ASSERT_TRUE(TarvixSDK_Connect(self.handle, nullptr));
    TarvixSDK_onNotificationEx(self.handle, destroySelf, &self);
    adapter().injectNotification(0x1481, 0, {0});
    ASSERT_EQ(self.calls.waitFor(1).size(), 1u);
    EXPECT_TRUE(eventually([&] { return adapter().openHandles() == 0; }));
}

void collectLine(const TraceFrame* frame, void* userData)
{
    char text[160];
    const std::size_t length = TarvixSDK_DescribeFrame(frame, text, sizeof text);
    EXPECT_EQ(std::strlen(text), std::min(length, sizeof text - 1));
    static_cast<Inbox<std::string>*>(userData)->push(text);
}

TEST_F(FlatLifecycle, ListsAdaptersChoosesOneBySelectorAndTracesItsFrames)
{
    tv::attach(adapterWith(L"TVX-0002"));

    std::size_t count = 99;
    EXPECT_EQ(TarvixSDK_ListAdapters(nullptr, 0, &count), StatusCode::SUCCESS); // counting only
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(TarvixSDK_ListAdapters(nullptr, 1, &count), StatusCode::INVALID_ARGUMENT);
    TarvixSDK_AdapterInfo records[1];
    EXPECT_EQ(TarvixSDK_ListAdapters(records, 1, &count), StatusCode::SUCCESS);
    EXPECT_EQ(count, 2u); // more than fitted
    EXPECT_STREQ(records[0].path, adapter().path().c_str());
    EXPECT_EQ(records[0].reportSize, 64u);

    TarvixSDK_Handle* handle = TarvixSDK_Create(kTimeoutMs);
    EXPECT_FALSE(TarvixSDK_ConnectTo(handle, "7"));
    EXPECT_EQ(TarvixSDK_LastConnectError(handle), ConnectError::NO_MATCH);
    Inbox<std::string> lines;
    TarvixSDK_onFrame(handle, collectLine, &lines);
    ASSERT_TRUE(TarvixSDK_ConnectTo(handle, "serial:TVX-0002"));
    EXPECT_EQ(TarvixSDK_UartDeinit(handle), StatusCode::SUCCESS);
    const std::vector<std::string> seen = lines.waitFor(2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0], "OUT UART_DEINIT 0x1001 tid=1");
    EXPECT_EQ(seen[1], "IN UART_DEINIT 0x1001 tid=1 status=SUCCESS");
    TarvixSDK_Destroy(handle);

    char tiny[4];
    const Bytes frame{1, 0, 0x01, 0x10};
    const TraceFrame traced{TraceDirection::OUT, 0, frame.data(), frame.size()};
    EXPECT_EQ(TarvixSDK_DescribeFrame(&traced, tiny, sizeof tiny), std::string("OUT UART_DEINIT 0x1001 tid=1").size());
    EXPECT_STREQ(tiny, "OUT");
}

Notification record(NotificationKind kind, const Bytes& data)
{
    Notification n{};
    n.kind = kind;
    n.data = data.data();
    n.length = data.size();
    return n;
}

// The kind and length checks and the field layout are the C++ views' own (see the session's
// notification tests); the flat views add the null checks and keep declared lengths as declared.
TEST(FlatViews, RefuseNullPointersAndReportDeclaredLengthsAsDeclared)
{
    const Bytes seven = {0, 0, 0x81, 0x14, 0, 0, 4};
    const Notification gpioRecord = record(NotificationKind::GPIO_INTERRUPT, seven);
    GpioInterruptNotification gpio{0xEE};
    EXPECT_FALSE(TarvixSDK_notificationAsGpio(nullptr, &gpio));
    EXPECT_FALSE(TarvixSDK_notificationAsGpio(&gpioRecord, nullptr));
    EXPECT_EQ(gpio.pinNumber, 0xEE);
    EXPECT_TRUE(TarvixSDK_notificationAsGpio(&gpioRecord, &gpio));
    EXPECT_EQ(gpio.pinNumber, 4);

    const Bytes uart = {0, 0, 0x81, 0x10, 0, 0, 5, 0, 'a', 'b'};
    const Notification rx = record(NotificationKind::UART_RX, uart);
    UartRxNotification view{};
    ASSERT_TRUE(TarvixSDK_notificationAsUartRx(&rx, &view));
    EXPECT_EQ(view.dataLength, 5u); // two bytes present: the caller compares with the length
    EXPECT_EQ(view.data, uart.data() + 8);

    const Bytes ibi = {0, 0, 0x81, 0x19, 0, 0, 0x08, 200, 0xAB};
    const Notification interrupt = record(NotificationKind::I3C_IBI, ibi);
    I3cIbiNotification ibiView{};
    ASSERT_TRUE(TarvixSDK_notificationAsI3cIbi(&interrupt, &ibiView));
    EXPECT_EQ(ibiView.targetAddress, 0x08);
    EXPECT_EQ(ibiView.payloadLength, 200u);
    EXPECT_EQ(ibiView.payload, ibi.data() + 8);
}

} // namespace
