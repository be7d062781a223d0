// Every blocking method of TarvixSDK and every flat C function that waits for an answer, called
// against a virtual adapter whose answer to the request comes from the input: well-formed frames
// with any status and payload, foreign transaction ids and codes, notifications of any code and
// length, truncated and over-long frames, and raw input reports with lying segment headers.
//
// Input:
//   byte 0     the call (index into the C++ table, then the flat table)
//   byte 1     bit 0: 1024-byte adapter (else 64); bit 1: SessionOptions all on (else all off);
//              bit 2: the answer items are raw input reports (else frames, segmented by the
//              adapter); bits 3-4: which items get the request's transaction id and code written
//              over bytes 0..3 of their frame (0 none, 1 the first, 2 the last, 3 all);
//              bit 5: flat sessions deliver notifications through TarvixSDK_onNotificationEx
//              (else the plain 256-byte copy of TarvixSDK_onNotification)
//   byte 2     n, the size of the argument block that follows (the call's arguments are read
//              from it; past its end they read as 0)
//   then       the answer: items [length u16 LE][length bytes] up to the end of the input
// The answer is queued (answerNextRequestWithFrames / WithReports) from the session's frame tap
// at the moment the call's first request is written, so it answers that request only, and a
// call refused before sending leaves nothing behind. An empty answer still takes the request
// away from the firmware model, so that no reset or boot-mode command ever reaches it.
//
// One long-lived session per adapter kind, option set and face (eight adapters), with a 5 ms
// response timeout so that unanswered calls do not stall the run.
//
// Oracles, beyond the sanitizers:
// - flat outputs are heap blocks of exactly the size the header promises (`length` bytes for the
//   reads that take one, 6 for GETPID, 255 for the other CCC reads, `capacity` records or bytes
//   for the device table and the bus scan), so a write past them is a report; counts returned
//   with them stay within their capacity;
// - an I2C read that returns SUCCESS holds exactly the bytes it asked for (the I3C reads take the
//   adapter's count instead, which may differ from the length asked);
// - every notification view a handler sees stays within its frame (C++ and extended records) or
//   within the 256-byte copy (plain flat records);
// - after every input a well-formed probe (a USB string for C++, the device information for the
//   flat face) gets its answer within 2 s, which shows the reader thread is back to reading.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.h>
#include <tarvixsdk/tarvixsdk.hpp>

namespace tv = tarvix_virtual;
using Bytes = std::vector<std::uint8_t>;

namespace {

constexpr int kTimeoutMs = 5;
constexpr auto kProbeBound = std::chrono::seconds(2);
constexpr char kManufacturer[] = "Fuzz Instruments";

[[noreturn]] void fail(const char* what)
{
    std::fprintf(stderr, "fuzz_blocking_calls: %s\n", what);
    std::abort();
}

void expect(bool condition, const char* what)
{
    if (!condition) {
        fail(what);
    }
}

// ------------------------------------------------------------------------------ arguments

class Args {
public:
    Args(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint8_t u8() { return at_ < size_ ? data_[at_++] : 0; }
    std::uint16_t u16() { return static_cast<std::uint16_t>(u8() | (u8() << 8)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(u16() | (static_cast<std::uint32_t>(u16()) << 16)); }
    bool flag() { return (u8() & 1) != 0; }
    // Mostly false: a null where the call needs a pointer is one case among many.
    bool null() { return u8() == 0xFF; }
    template <class E>
    E e()
    {
        return static_cast<E>(u32());
    }
    // 0..max bytes.
    Bytes bytes(std::size_t max)
    {
        const std::size_t n = u8() % (max + 1);
        Bytes out(n);
        for (std::uint8_t& b : out) {
            b = u8();
        }
        return out;
    }
    std::optional<std::uint8_t> optU8()
    {
        const bool present = flag();
        const std::uint8_t value = u8();
        return present ? std::optional<std::uint8_t>(value) : std::nullopt;
    }
    std::optional<Bytes> optBytes(std::size_t max)
    {
        const bool present = flag();
        Bytes value = bytes(max);
        return present ? std::optional<Bytes>(std::move(value)) : std::nullopt;
    }
    I3cTargetConfiguration config()
    {
        I3cTargetConfiguration c{};
        c.raw = u8();
        return c;
    }
    std::vector<I3cTargetInfo> targets()
    {
        std::vector<I3cTargetInfo> out(u8() % 5);
        for (I3cTargetInfo& t : out) {
            std::uint8_t raw[sizeof(I3cTargetInfo)];
            for (std::uint8_t& b : raw) {
                b = u8();
            }
            std::memcpy(&t, raw, sizeof raw);
        }
        return out;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

// An output block of exactly `size` bytes (a valid, non-null pointer also for 0).
struct Block {
    explicit Block(std::size_t size) : bytes(new std::uint8_t[size]) {}
    std::unique_ptr<std::uint8_t[]> bytes;
    std::uint8_t* get() const { return bytes.get(); }
};

// ------------------------------------------------------------------------------ the answer

// What the next request of the call under test is answered with. Set before the call, taken by
// the session's frame tap when the first request goes out (on the calling thread).
struct Plan {
    bool armed = false;
    bool raw = false;
    unsigned patch = 0; // 0 none, 1 first item, 2 last item, 3 all
    std::vector<Bytes> items;
    tv::VirtualAdapter* adapter = nullptr;
};
Plan plan;

void patchItem(Bytes& item, std::size_t offset, const std::uint8_t* request)
{
    for (std::size_t i = 0; i < 4 && offset + i < item.size(); ++i) {
        item[offset + i] = request[i];
    }
}

void armAnswer(const TraceFrame& frame)
{
    // Input frames come on the reader threads, which must not touch the plan.
    if (frame.direction != TraceDirection::OUT || !plan.armed || frame.length < 4) {
        return;
    }
    plan.armed = false;
    std::vector<Bytes> items = std::move(plan.items);
    const std::size_t offset = plan.raw ? 2 : 0; // in a report the frame starts after the segment header
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool first = i == 0;
        const bool last = i + 1 == items.size();
        if (plan.patch == 3 || (plan.patch == 1 && first) || (plan.patch == 2 && last)) {
            patchItem(items[i], offset, frame.data);
        }
    }
    if (plan.raw) {
        plan.adapter->answerNextRequestWithReports(std::move(items));
    } else {
        plan.adapter->answerNextRequestWithFrames(std::move(items));
    }
}

// describeFrame reads past a hot-join notification that ends before its status (4 or 5 bytes):
// reported, reproducer in regressions/frame_text_short_notification_test.cpp. Not traced here
// until it is fixed.
// Every frame either way is also turned into its trace line: a device's frames of any shape must
// give one without reading past them.
void onTrace(const TraceFrame& frame)
{
    armAnswer(frame);
    volatile std::size_t length = describeFrame(frame).size();
    (void)length;
}

void flatTrace(const TraceFrame* frame, void*) { onTrace(*frame); }

// ------------------------------------------------------------------------------ notifications

volatile unsigned sink;
void touch(const std::uint8_t* p, std::size_t count)
{
    unsigned sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += p[i];
    }
    sink = sum;
}

bool within(const Notification& n, const std::uint8_t* p, std::size_t count)
{
    const std::uint8_t* end = n.data + n.length;
    return p >= n.data && p <= end && count <= static_cast<std::size_t>(end - p);
}

// C++ views cut declared lengths to the frame; everything they return lies in it.
void checkViews(const Notification& n)
{
    touch(n.data, n.length);
    if (const GpioInterruptNotification* v = n.gpio()) {
        sink = v->pinNumber;
    }
    if (const I3cIbiNotification* v = n.i3cIbi()) {
        expect(within(n, v->payload, v->payloadLength), "IBI view runs past its frame");
        touch(v->payload, v->payloadLength);
    }
    if (const I3cHotJoinNotification* v = n.i3cHotJoin()) {
        sink = v->dynamicAddress;
    }
    if (const UartRxNotification* v = n.uartRx()) {
        expect(within(n, v->data, v->dataLength), "UART view runs past its frame");
        touch(v->data, v->dataLength);
    }
}

// The flat views report declared lengths as declared: only their fixed fields and base pointers.
void checkFlatViews(const Notification& n)
{
    GpioInterruptNotification gpio;
    I3cIbiNotification ibi;
    I3cHotJoinNotification hotJoin;
    UartRxNotification uart;
    if (TarvixSDK_notificationAsGpio(&n, &gpio)) {
        expect(n.length >= 7 && gpio.pinNumber == n.data[6], "flat GPIO view");
    }
    if (TarvixSDK_notificationAsI3cIbi(&n, &ibi)) {
        expect(n.length >= 8 && ibi.payload == n.data + 8 && ibi.payloadLength == n.data[7], "flat IBI view");
    }
    if (TarvixSDK_notificationAsI3cHotJoin(&n, &hotJoin)) {
        expect(n.length >= 15 && hotJoin.dynamicAddress == n.data[14], "flat hot-join view");
    }
    if (TarvixSDK_notificationAsUartRx(&n, &uart)) {
        expect(n.length >= 8 && uart.data == n.data + 8, "flat UART view");
    }
}

void plainCallback(const Notification* n)
{
    expect(n->length <= 255, "a plain flat notification longer than its 8-bit length");
    touch(n->data, n->length);
    checkFlatViews(*n);
    checkViews(*n);
}

void extendedCallback(const Notification* n, void*)
{
    checkFlatViews(*n);
    checkViews(*n);
}

// ------------------------------------------------------------------------------ sessions

struct Rig {
    tv::VirtualAdapter adapter;
    std::unique_ptr<TarvixSDK> sdk;      // the C++ face, or
    TarvixSDK_Handle* handle = nullptr;  // the flat one
};

Rig& rig(bool large, bool options, bool flat)
{
    static Rig* rigs[8] = {};
    const unsigned index = (large ? 1u : 0u) | (options ? 2u : 0u) | (flat ? 4u : 0u);
    if (rigs[index] != nullptr) {
        return *rigs[index];
    }
    tv::AdapterConfig config;
    config.productId = large ? 0x82FD : 0x82FC;
    config.path = "fuzz/blocking/" + std::to_string(index);
    config.manufacturer = kManufacturer;
    config.restartTime = std::chrono::milliseconds(0);
    SessionOptions sessionOptions{};
    sessionOptions.matchResponses = options;
    sessionOptions.detectRemoval = options;
    sessionOptions.exclusive = options;

    // Never destroyed: the sessions live as long as the process, like the adapter registry.
    Rig* r = new Rig{tv::attach(config), nullptr, nullptr};
    r->adapter.setRecording(false);
    if (flat) {
        r->handle = TarvixSDK_CreateWithOptions(kTimeoutMs, &sessionOptions);
        if (r->handle == nullptr || !TarvixSDK_Connect(r->handle, r->adapter.path().c_str())) {
            fail("a flat session cannot connect to its virtual adapter");
        }
        TarvixSDK_onFrame(r->handle, flatTrace, nullptr);
    } else {
        r->sdk.reset(new TarvixSDK(kTimeoutMs, sessionOptions));
        if (!r->sdk->connect(r->adapter.path())) {
            fail("a session cannot connect to its virtual adapter");
        }
        r->sdk->onFrame(onTrace);
        r->sdk->onNotification(checkViews);
    }
    rigs[index] = r;
    return *r;
}

// The reader must be back to reading: a well-formed request gets its own answer in time. Stale
// answers of the input may complete attempts first (without matchResponses); the C++ probe,
// getUsbString, takes only its own answer, and the flat one reads five of them.
void probe(Rig& r)
{
    const auto deadline = std::chrono::steady_clock::now() + kProbeBound;
    while (std::chrono::steady_clock::now() < deadline) {
        if (r.sdk) {
            Bytes text;
            if (r.sdk->getUsbString(text, 1) == StatusCode::SUCCESS) {
                return;
            }
        } else {
            TarvixSDK_DeviceInfo info{};
            const StatusCode status = TarvixSDK_GetDeviceInfo(r.handle, &info);
            TarvixSDK_FreeDeviceInfo(&info);
            if (status == StatusCode::SUCCESS) {
                return;
            }
        }
    }
    fail("no answer to a well-formed request within 2 s after the input");
}

// ------------------------------------------------------------------------------ the calls

using CppCall = void (*)(TarvixSDK&, Args&);
using FlatCall = void (*)(TarvixSDK_Handle*, Args&);

// A successful read holds exactly what it asked for.
void expectRead(StatusCode status, const Bytes& data, std::size_t asked, const char* what)
{
    if (status == StatusCode::SUCCESS && data.size() != asked) {
        fail(what);
    }
}

#define CPP(body) [](TarvixSDK& s, Args& a) { (void)a; body; }

const CppCall kCppCalls[] = {
    // System
    CPP(s.resetDevice()),
    CPP(s.enterBootMode()),
    CPP(Bytes out; s.getUsbString(out, a.u8())),
    CPP(TarvixSDK::DeviceInfo info; s.getDeviceInfo(info)),
    // Rails
    CPP(s.gpioSetVoltage(a.u16(), a.flag())),
    CPP(s.i2cSetBusVoltage(a.u16(), a.flag())),
    CPP(s.spiSetBusVoltage(a.u16(), a.flag())),
    CPP(s.uartSetBusVoltage(a.u16(), a.flag())),
    CPP(s.gpioUseExternalVoltage(a.flag())),
    CPP(s.i2cUseExternalVoltage(a.flag())),
    CPP(s.spiUseExternalVoltage(a.flag())),
    CPP(s.uartUseExternalVoltage(a.flag())),
    CPP(std::uint16_t v = 0; s.gpioGetVoltage(v)),
    CPP(std::uint16_t v = 0; s.i2cGetBusVoltage(v)),
    CPP(std::uint16_t v = 0; s.spiGetBusVoltage(v)),
    CPP(std::uint16_t v = 0; s.uartGetBusVoltage(v)),
    CPP(s.i3cSetBusVoltage(a.u16())),
    CPP(s.i3cUseExternalVoltage(a.flag())),
    CPP(std::uint16_t v1 = 0; std::uint16_t v2 = 0; s.i3cGetBusVoltage(v1, v2)),
    // GPIO
    CPP(s.gpioConfigurePin(a.e<GpioPinNumber>(), a.e<GpioFunctionality>(), a.e<GpioLogicLevel>())),
    CPP(s.gpioDigitalWrite(a.e<GpioPinNumber>(), a.e<GpioLogicLevel>())),
    CPP(GpioLogicLevel level{}; s.gpioDigitalRead(a.e<GpioPinNumber>(), level)),
    CPP(s.gpioConfigureInterrupt(a.e<GpioPinNumber>(), a.e<GpioTriggerType>())),
    CPP(s.gpioDisableInterrupt(a.e<GpioPinNumber>())),
    // I2C
    CPP(s.i2cControllerInit(a.u8(), a.u32(), a.u8())),
    CPP(s.i2cSetParameters(a.u8(), a.u32(), a.u8())),
    CPP(s.i2cSetPullUpResistors(a.u8(), a.u8())),
    CPP(const Bytes reg = a.bytes(5); const Bytes data = a.bytes(64); s.i2cWrite(a.u8(), a.u8(), reg, data, a.flag())),
    CPP(const Bytes reg = a.bytes(5); const std::uint16_t length = a.u16(); Bytes out;
        const StatusCode st = s.i2cRead(a.u8(), a.u8(), reg, length, out, a.flag());
        expectRead(st, out, length, "i2cRead SUCCESS without the bytes asked for")),
    CPP(Bytes addresses; std::uint8_t one = 0; std::uint8_t two = 0;
        s.i2cScanBus(addresses, a.null() ? nullptr : &one, a.null() ? nullptr : &two, a.u8(), a.flag())),
    // SPI
    CPP(s.spiControllerInit(a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                            a.e<SpiChipSelectPolarity>(), a.u32())),
    CPP(s.spiSetParameters(a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                           a.e<SpiChipSelectPolarity>(), a.u32())),
    CPP(const Bytes data = a.bytes(64); Bytes out; s.spiTransfer(data, out, a.u16())),
    // UART
    CPP(s.uartInit(a.e<UartBaudRate>(), a.e<UartHwHandshake>(), a.e<UartParity>(), a.e<UartDataSize>(),
                   a.e<UartStopBit>())),
    CPP(s.uartSetParameters(a.e<UartBaudRate>(), a.e<UartHwHandshake>(), a.e<UartParity>(), a.e<UartDataSize>(),
                            a.e<UartStopBit>())),
    CPP(s.uartDeinit()),
    CPP(s.uartSendMessage(a.bytes(64))),
    // I3C controller, bus and target table
    CPP(s.i3cControllerInit(a.e<I3cPushPullRate>(), a.e<I3cOpenDrainTransferRate>(), a.e<I2cTransferRate>(),
                            a.e<I3cDriveStrength>())),
    CPP(s.i3cSetParameters(a.e<I3cPushPullRate>(), a.e<I3cOpenDrainTransferRate>(), a.e<I2cTransferRate>(),
                           a.e<I3cDriveStrength>())),
    CPP(s.i3cInitBus(a.targets())),
    CPP(s.i3cResetBus()),
    CPP(std::vector<I3cTargetInfo> table; s.i3cGetDeviceTable(table)),
    CPP(s.i3cSetTargetDeviceConfiguration(a.u8(), a.config())),
    // I3C private transfers
    CPP(const Bytes reg = a.bytes(5); const std::uint16_t length = a.u16(); Bytes out;
        s.i3cSdrRead(a.u8(), reg, length, out, a.e<I3cTransferFlags>());),
    CPP(const Bytes reg = a.bytes(5); const Bytes data = a.bytes(64);
        s.i3cSdrWrite(a.u8(), reg, data, a.e<I3cTransferFlags>())),
    CPP(const Bytes reg = a.bytes(5); const std::uint16_t length = a.u16(); Bytes out;
        s.i3cLegacyI2cRead(a.u8(), reg, length, out, a.e<I3cTransferFlags>());),
    CPP(const Bytes reg = a.bytes(5); const Bytes data = a.bytes(64);
        s.i3cLegacyI2cWrite(a.u8(), reg, data, a.e<I3cTransferFlags>())),
    CPP(const std::uint8_t target = a.u8(); const std::uint8_t command = a.u8(); const std::uint16_t length = a.u16();
        Bytes out; s.i3cHdrDdrRead(target, command, length, out);),
    CPP(const std::uint8_t target = a.u8(); const std::uint8_t command = a.u8();
        s.i3cHdrDdrWrite(target, command, a.bytes(64))),
    // I3C bus patterns
    CPP(s.i3cHdrExitPattern()),
    CPP(s.i3cTargetResetPattern()),
    // CCC, broadcast
    CPP(s.i3cCccENECBroadcast(a.u8())),
    CPP(s.i3cCccDISECBroadcast(a.u8())),
    CPP(s.i3cCccENTAS0Broadcast()),
    CPP(s.i3cCccENTAS1Broadcast()),
    CPP(s.i3cCccENTAS2Broadcast()),
    CPP(s.i3cCccENTAS3Broadcast()),
    CPP(s.i3cCccRSTDAA()),
    CPP(s.i3cCccENTDAA()),
    CPP(s.i3cCccSETMWLBroadcast(a.u16())),
    CPP(const std::uint16_t length = a.u16(); s.i3cCccSETMRLBroadcast(length, a.optU8())),
    CPP(const std::uint8_t context = a.u8(); s.i3cCccSETBUSCONBroadcast(context, a.optBytes(16))),
    CPP(const std::uint8_t sub = a.u8(); s.i3cCccSETXTIMEBroadcast(sub, a.optBytes(16))),
    CPP(s.i3cCccSETAASA(a.bytes(16))),
    CPP(s.i3cCccRSTACTBroadcast(static_cast<I3cTargetResetDefByte>(a.u8()))),
    CPP(s.i3cCccRSTGRPABroadcast()),
    // CCC, direct
    CPP(s.i3cCccENECDirect(a.u8(), a.u8())),
    CPP(s.i3cCccDISECDirect(a.u8(), a.u8())),
    CPP(s.i3cCccENTAS0Direct(a.u8())),
    CPP(s.i3cCccENTAS1Direct(a.u8())),
    CPP(s.i3cCccENTAS2Direct(a.u8())),
    CPP(s.i3cCccENTAS3Direct(a.u8())),
    CPP(s.i3cCccSETDASA(a.u8(), a.u8())),
    CPP(s.i3cCccSETNEWDA(a.u8(), a.u8())),
    CPP(s.i3cCccSETMWLDirect(a.u8(), a.u16())),
    CPP(const std::uint8_t address = a.u8(); const std::uint16_t length = a.u16();
        s.i3cCccSETMRLDirect(address, length, a.optU8())),
    CPP(const std::uint8_t address = a.u8(); const std::uint8_t sub = a.u8();
        s.i3cCccSETXTIMEDirect(address, sub, a.optBytes(16))),
    CPP(s.i3cCccSETGRPADirect(a.u8(), a.u8())),
    CPP(s.i3cCccRSTGRPADirect(a.u8())),
    CPP(std::uint8_t time = 0; const std::uint8_t address = a.u8();
        const auto action = static_cast<I3cTargetResetDefByte>(a.u8());
        const auto direction = static_cast<I3cTransferDirection>(a.u8() & 1);
        s.i3cCccRSTACTDirect(address, action, direction, a.null() ? nullptr : &time)),
    CPP(std::uint16_t v = 0; s.i3cCccGETMWL(a.u8(), v)),
    CPP(std::uint16_t v = 0; std::optional<std::uint8_t> ibi; s.i3cCccGETMRL(a.u8(), v, ibi)),
    CPP(Bytes out; s.i3cCccGETPID(a.u8(), out)),
    CPP(std::uint8_t v = 0; s.i3cCccGETBCR(a.u8(), v)),
    CPP(std::uint8_t v = 0; s.i3cCccGETDCR(a.u8(), v)),
    CPP(Bytes out; const std::uint8_t address = a.u8(); s.i3cCccGETSTATUS(address, out, a.optU8())),
    CPP(Bytes out; s.i3cCccGETMXDS(a.u8(), out)),
    CPP(Bytes out; const std::uint8_t address = a.u8(); s.i3cCccGETCAPS(address, out, a.optU8())),
    CPP(Bytes out; s.i3cCccGETXTIME(a.u8(), out)),
};

#define FLAT(body) [](TarvixSDK_Handle* h, Args& a) { (void)a; body; }

// The 255-byte CCC read buffers and their 8-bit length.
void cccRead(StatusCode (*read)(TarvixSDK_Handle*, std::uint8_t, std::uint8_t*, std::uint8_t*), TarvixSDK_Handle* h,
             Args& a)
{
    Block buffer(255);
    std::uint8_t length = 0;
    read(h, a.u8(), a.null() ? nullptr : buffer.get(), a.null() ? nullptr : &length);
}

void cccReadWithDefiningByte(StatusCode (*read)(TarvixSDK_Handle*, std::uint8_t, std::uint8_t*, std::uint8_t*, bool,
                                                std::uint8_t),
                             TarvixSDK_Handle* h, Args& a)
{
    Block buffer(255);
    std::uint8_t length = 0;
    const std::uint8_t address = a.u8();
    const bool has = a.flag();
    read(h, address, buffer.get(), a.null() ? nullptr : &length, has, a.u8());
}

const FlatCall kFlatCalls[] = {
    // System
    FLAT(TarvixSDK_ResetDevice(h)),
    FLAT(TarvixSDK_EnterBootMode(h)),
    FLAT(TarvixSDK_DeviceInfo info{}; TarvixSDK_GetDeviceInfo(h, a.null() ? nullptr : &info);
         TarvixSDK_FreeDeviceInfo(&info)),
    // Rails
    FLAT(TarvixSDK_GpioSetVoltage(h, a.u16(), a.flag())),
    FLAT(TarvixSDK_I2cSetBusVoltage(h, a.u16(), a.flag())),
    FLAT(TarvixSDK_SpiSetBusVoltage(h, a.u16(), a.flag())),
    FLAT(TarvixSDK_UartSetBusVoltage(h, a.u16(), a.flag())),
    FLAT(TarvixSDK_GpioUseExternalVoltage(h, a.flag())),
    FLAT(TarvixSDK_I2cUseExternalVoltage(h, a.flag())),
    FLAT(TarvixSDK_SpiUseExternalVoltage(h, a.flag())),
    FLAT(TarvixSDK_UartUseExternalVoltage(h, a.flag())),
    FLAT(std::uint16_t v = 0; TarvixSDK_GpioGetVoltage(h, a.null() ? nullptr : &v)),
    FLAT(std::uint16_t v = 0; TarvixSDK_I2cGetBusVoltage(h, a.null() ? nullptr : &v)),
    FLAT(std::uint16_t v = 0; TarvixSDK_SpiGetBusVoltage(h, a.null() ? nullptr : &v)),
    FLAT(std::uint16_t v = 0; TarvixSDK_UartGetBusVoltage(h, a.null() ? nullptr : &v)),
    FLAT(TarvixSDK_I3cSetBusVoltage(h, a.u16())),
    FLAT(TarvixSDK_I3cUseExternalVoltage(h, a.flag())),
    FLAT(std::uint16_t v1 = 0; std::uint16_t v2 = 0;
         TarvixSDK_I3cGetBusVoltage(h, a.null() ? nullptr : &v1, a.null() ? nullptr : &v2)),
    // GPIO
    FLAT(const auto pin = a.e<GpioPinNumber>(); const auto function = a.e<GpioFunctionality>(); const bool has = a.flag();
         TarvixSDK_GpioConfigurePin(h, pin, function, has, a.e<GpioLogicLevel>())),
    FLAT(TarvixSDK_GpioConfigureInterrupt(h, a.e<GpioPinNumber>(), a.e<GpioTriggerType>())),
    FLAT(GpioLogicLevel level{}; TarvixSDK_GpioDigitalRead(h, a.e<GpioPinNumber>(), &level)),
    FLAT(TarvixSDK_GpioDigitalWrite(h, a.e<GpioPinNumber>(), a.e<GpioLogicLevel>())),
    FLAT(TarvixSDK_GpioDisableInterrupt(h, a.e<GpioPinNumber>())),
    // I2C
    FLAT(TarvixSDK_I2cControllerInit(h, a.u8(), a.u32(), a.u8())),
    FLAT(TarvixSDK_I2cSetParameters(h, a.u8(), a.u32(), a.u8())),
    FLAT(TarvixSDK_I2cSetPullUpResistors(h, a.u8(), a.u8())),
    FLAT(const std::uint8_t bus = a.u8(); const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5);
         const std::uint16_t length = a.u16(); Block out(length);
         TarvixSDK_I2cRead(h, bus, target, reg.data(), static_cast<std::uint8_t>(reg.size()), length,
                           a.null() ? nullptr : out.get(), a.flag())),
    FLAT(const std::uint8_t bus = a.u8(); const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5);
         const Bytes data = a.bytes(64);
         TarvixSDK_I2cWrite(h, bus, target, reg.data(), static_cast<std::uint8_t>(reg.size()), data.data(),
                            static_cast<std::uint32_t>(data.size()), a.flag())),
    FLAT(const std::uint8_t capacity = a.u8(); Block addresses(capacity); std::uint8_t one = 0; std::uint8_t two = 0;
         const StatusCode st = TarvixSDK_I2cScanBus(h, a.null() ? nullptr : addresses.get(), capacity, &one, &two,
                                                    a.u8(), a.flag());
         expect(st != StatusCode::SUCCESS || one + 2u * two <= capacity,
                "TarvixSDK_I2cScanBus SUCCESS with more addresses than its capacity")),
    // SPI
    FLAT(TarvixSDK_SpiControllerInit(h, a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                                     a.e<SpiChipSelectPolarity>(), a.u32())),
    FLAT(TarvixSDK_SpiSetParameters(h, a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                                    a.e<SpiChipSelectPolarity>(), a.u32())),
    FLAT(const Bytes tx = a.bytes(64); const std::uint16_t length = a.u16(); Block rx(length);
         TarvixSDK_SpiTransfer(h, tx.data(), static_cast<std::uint16_t>(tx.size()), a.null() ? nullptr : rx.get(),
                               length)),
    // UART
    FLAT(TarvixSDK_UartInit(h, a.e<UartBaudRate>(), a.e<UartHwHandshake>(), a.e<UartParity>(), a.e<UartDataSize>(),
                            a.e<UartStopBit>())),
    FLAT(TarvixSDK_UartSetParameters(h, a.e<UartBaudRate>(), a.e<UartHwHandshake>(), a.e<UartParity>(),
                                     a.e<UartDataSize>(), a.e<UartStopBit>())),
    FLAT(TarvixSDK_UartDeinit(h)),
    FLAT(const Bytes data = a.bytes(64);
         TarvixSDK_UartSendMessage(h, data.data(), static_cast<std::uint16_t>(data.size()))),
    // I3C controller, bus and target table
    FLAT(TarvixSDK_I3cControllerInit(h, a.e<I3cPushPullRate>(), a.e<I3cOpenDrainTransferRate>(), a.e<I2cTransferRate>(),
                                     a.e<I3cDriveStrength>())),
    FLAT(TarvixSDK_I3cSetParameters(h, a.e<I3cPushPullRate>(), a.e<I3cOpenDrainTransferRate>(), a.e<I2cTransferRate>(),
                                    a.e<I3cDriveStrength>())),
    FLAT(const std::vector<I3cTargetInfo> targets = a.targets();
         TarvixSDK_I3cInitBus(h, targets.data(), static_cast<std::uint8_t>(targets.size()))),
    FLAT(TarvixSDK_I3cResetBus(h)),
    FLAT(const std::uint8_t capacity = a.u8() % 8; std::unique_ptr<I3cTargetInfo[]> table(new I3cTargetInfo[capacity]);
         std::uint8_t count = 0;
         const StatusCode st = TarvixSDK_I3cGetDeviceTable(h, a.null() ? nullptr : table.get(), capacity, &count);
         expect(st != StatusCode::SUCCESS || count <= capacity,
                "TarvixSDK_I3cGetDeviceTable SUCCESS with more records than its capacity")),
    FLAT(TarvixSDK_I3cSetTargetDeviceConfiguration(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cHdrExitPattern(h)),
    FLAT(TarvixSDK_I3cTargetResetPattern(h)),
    // I3C private transfers
    FLAT(const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5); const std::uint16_t length = a.u16();
         Block out(length); std::uint16_t got = 0;
         TarvixSDK_I3cSdrRead(h, target, reg.data(), static_cast<std::uint8_t>(reg.size()), length,
                              a.null() ? nullptr : out.get(), &got, a.e<I3cTransferFlags>())),
    FLAT(const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5); const Bytes data = a.bytes(64);
         TarvixSDK_I3cSdrWrite(h, target, reg.data(), static_cast<std::uint8_t>(reg.size()), data.data(),
                               static_cast<std::uint16_t>(data.size()), a.e<I3cTransferFlags>())),
    FLAT(const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5); const std::uint16_t length = a.u16();
         Block out(length);
         TarvixSDK_I3cLegacyI2CRead(h, target, reg.data(), static_cast<std::uint8_t>(reg.size()), length,
                                    a.null() ? nullptr : out.get(), a.e<I3cTransferFlags>())),
    FLAT(const std::uint8_t target = a.u8(); const Bytes reg = a.bytes(5); const Bytes data = a.bytes(64);
         TarvixSDK_I3cLegacyI2CWrite(h, target, reg.data(), static_cast<std::uint8_t>(reg.size()), data.data(),
                                     static_cast<std::uint16_t>(data.size()), a.e<I3cTransferFlags>())),
    FLAT(const std::uint8_t target = a.u8(); const std::uint8_t command = a.u8(); const std::uint16_t length = a.u16();
         Block out(length); std::uint16_t got = 0;
         TarvixSDK_I3cHdrDdrRead(h, target, command, length, &got, a.null() ? nullptr : out.get())),
    FLAT(const std::uint8_t target = a.u8(); const std::uint8_t command = a.u8(); const Bytes data = a.bytes(64);
         TarvixSDK_I3cHdrDdrWrite(h, target, command, data.data(), static_cast<std::uint16_t>(data.size()))),
    // CCC, broadcast
    FLAT(TarvixSDK_I3cCccENECBroadcast(h, a.u8())),
    FLAT(TarvixSDK_I3cCccDISECBroadcast(h, a.u8())),
    FLAT(TarvixSDK_I3cCccENTAS0Broadcast(h)),
    FLAT(TarvixSDK_I3cCccENTAS1Broadcast(h)),
    FLAT(TarvixSDK_I3cCccENTAS2Broadcast(h)),
    FLAT(TarvixSDK_I3cCccENTAS3Broadcast(h)),
    FLAT(TarvixSDK_I3cCccRSTDAA(h)),
    FLAT(TarvixSDK_I3cCccENTDAA(h)),
    FLAT(TarvixSDK_I3cCccSETMWLBroadcast(h, a.u16())),
    FLAT(TarvixSDK_I3cCccSETMRLBroadcast(h, a.u16(), a.flag(), a.u8())),
    FLAT(const std::uint8_t context = a.u8(); const std::optional<Bytes> extra = a.optBytes(16);
         TarvixSDK_I3cCccSETBUSCONBroadcast(h, context, extra ? extra->data() : nullptr, extra ? extra->size() : 0)),
    FLAT(const std::uint8_t sub = a.u8(); const std::optional<Bytes> extra = a.optBytes(16);
         TarvixSDK_I3cCccSETXTIMEBroadcast(h, sub, extra ? extra->data() : nullptr, extra ? extra->size() : 0)),
    FLAT(const Bytes data = a.bytes(16); TarvixSDK_I3cCccSETAASA(h, data.data(), data.size())),
    FLAT(TarvixSDK_I3cCccRSTACTBroadcast(h, a.u32())),
    FLAT(TarvixSDK_I3cCccRSTGRPABroadcast(h)),
    // CCC, direct
    FLAT(TarvixSDK_I3cCccENECDirect(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccDISECDirect(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccENTAS0Direct(h, a.u8())),
    FLAT(TarvixSDK_I3cCccENTAS1Direct(h, a.u8())),
    FLAT(TarvixSDK_I3cCccENTAS2Direct(h, a.u8())),
    FLAT(TarvixSDK_I3cCccENTAS3Direct(h, a.u8())),
    FLAT(TarvixSDK_I3cCccSETDASA(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccSETNEWDA(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccSETMWLDirect(h, a.u8(), a.u16())),
    FLAT(TarvixSDK_I3cCccSETMRLDirect(h, a.u8(), a.u16(), a.flag(), a.u8())),
    FLAT(const std::uint8_t address = a.u8(); const std::uint8_t sub = a.u8(); const std::optional<Bytes> extra = a.optBytes(16);
         TarvixSDK_I3cCccSETXTIMEDirect(h, address, sub, extra ? extra->data() : nullptr, extra ? extra->size() : 0)),
    FLAT(TarvixSDK_I3cCccSETGRPADirect(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccRSTGRPADirect(h, a.u8())),
    FLAT(std::uint8_t time = 0; const std::uint8_t address = a.u8(); const std::uint32_t action = a.u32();
         const std::uint32_t direction = a.u32();
         TarvixSDK_I3cCccRSTACTDirect(h, address, action, direction, a.null() ? nullptr : &time)),
    FLAT(std::uint16_t v = 0; TarvixSDK_I3cCccGETMWL(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(std::uint16_t v = 0; std::uint8_t ibi = 0; std::uint8_t has = 0; const std::uint8_t address = a.u8();
         TarvixSDK_I3cCccGETMRL(h, address, a.null() ? nullptr : &v, a.flag() ? &ibi : nullptr, a.flag() ? &has : nullptr)),
    FLAT(Block pid(6); TarvixSDK_I3cCccGETPID(h, a.u8(), a.null() ? nullptr : pid.get())),
    FLAT(std::uint8_t v = 0; TarvixSDK_I3cCccGETBCR(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(std::uint8_t v = 0; TarvixSDK_I3cCccGETDCR(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(cccRead(TarvixSDK_I3cCccGETMXDS, h, a)),
    FLAT(cccRead(TarvixSDK_I3cCccGETXTIME, h, a)),
    FLAT(cccReadWithDefiningByte(TarvixSDK_I3cCccGETCAPS, h, a)),
    FLAT(cccReadWithDefiningByte(TarvixSDK_I3cCccGETSTATUS, h, a)),
};

constexpr std::size_t kCppCount = sizeof kCppCalls / sizeof kCppCalls[0];
constexpr std::size_t kFlatCount = sizeof kFlatCalls / sizeof kFlatCalls[0];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    const std::size_t call = data[0] % (kCppCount + kFlatCount);
    const unsigned config = data[1];
    const bool flat = call >= kCppCount;
    const std::size_t argsSize = std::min<std::size_t>(data[2], size - 3);
    Args args(data + 3, argsSize);

    std::vector<Bytes> items;
    for (std::size_t at = 3 + argsSize; at + 2 <= size && items.size() < 64;) {
        std::size_t length = static_cast<std::size_t>(data[at] | (data[at + 1] << 8));
        at += 2;
        length = std::min(length, size - at);
        items.emplace_back(data + at, data + at + length);
        at += length;
    }

    Rig& r = rig((config & 1) != 0, (config & 2) != 0, flat);
    plan.armed = true;
    plan.raw = (config & 4) != 0;
    plan.patch = (config >> 3) & 3;
    plan.items = std::move(items);
    plan.adapter = &r.adapter;

    if (flat) {
        if (config & 0x20) {
            TarvixSDK_onNotificationEx(r.handle, extendedCallback, nullptr);
        } else {
            TarvixSDK_onNotification(r.handle, plainCallback);
        }
        kFlatCalls[call - kCppCount](r.handle, args);
    } else {
        kCppCalls[call](*r.sdk, args);
    }
    plan.armed = false; // a call refused before sending leaves nothing queued
    plan.items.clear();

    probe(r);
    return 0;
}
