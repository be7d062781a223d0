// Every flat C function that waits for an answer (each calls the blocking TarvixSDK method of
// the same name, so together they reach every decoder of the C++ face too), against a virtual
// adapter whose answer to the call's request comes from the input: well-formed frames with any
// status and payload, foreign transaction ids and codes, notifications, truncated and over-long
// frames, and raw input reports with lying segment headers.
//
// Input:
//   byte 0     the call (index into kFlatCalls)
//   byte 1     bit 0: 1024-byte adapter (else 64); bit 1: SessionOptions all on (else all off);
//              bit 2: the answer items are raw input reports (else frames, segmented by the
//              adapter); bits 3-4: which items get the request's transaction id and code written
//              over bytes 0..3 of their frame (0 none, 1 the first, 2 the last, 3 all);
//              bit 5: notifications come through TarvixSDK_onNotificationEx
//              (else the plain 256-byte copy of TarvixSDK_onNotification)
//   byte 2     n, the size of the argument block that follows (the call's arguments are read
//              from it; past its end they read as 0)
//   then       the answer: items [length u16 LE][length bytes] up to the end of the input
// The answer is queued from the session's frame tap when the call's first request is written,
// so it answers that request only and a call refused before sending leaves nothing behind. An
// empty answer still takes the request away from the firmware model, so that no reset or
// boot-mode command ever reaches it. One long-lived session per adapter kind and option set,
// with a 5 ms response timeout so that unanswered calls do not stall the run.
//
// Oracles, beyond the sanitizers: flat outputs are heap blocks of exactly the size the header
// promises, so a write past them is a report, and counts returned with them stay within their
// capacity; every notification a handler sees meets the views' oracle; after every input a
// well-formed probe gets its answer within 2 s, so the reader thread is back to reading.
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

#include "fuzz_support.hpp"

namespace tv = tarvix_virtual;
using Bytes = std::vector<std::uint8_t>;

namespace {

constexpr int kTimeoutMs = 5;
constexpr auto kProbeBound = std::chrono::seconds(2);
using fuzz::Block;
using fuzz::expect;
using fuzz::fail;
using fuzz::kManufacturer;

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
    std::optional<Bytes> optBytes(std::size_t max)
    {
        const bool present = flag();
        Bytes value = bytes(max);
        return present ? std::optional<Bytes>(std::move(value)) : std::nullopt;
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
        const bool patched =
            plan.patch == 3 || (plan.patch == 1 && i == 0) || (plan.patch == 2 && i + 1 == items.size());
        for (std::size_t b = 0; patched && b < 4 && offset + b < items[i].size(); ++b) {
            items[i][offset + b] = frame.data[b]; // the request's transaction id and code
        }
    }
    if (plan.raw) {
        plan.adapter->answerNextRequestWithReports(std::move(items));
    } else {
        plan.adapter->answerNextRequestWithFrames(std::move(items));
    }
}

// Every frame either way is also turned into its trace line: a device's frames of any shape must
// give one without reading past them.
void onTrace(const TraceFrame* frame, void*)
{
    armAnswer(*frame);
    volatile std::size_t length = describeFrame(*frame).size();
    (void)length;
}

// ------------------------------------------------------------------------------ notifications

// Every record a handler sees meets the views' oracle (fuzz_support.hpp); a plain record is a
// copy of at most 256 bytes with an 8-bit length.
void plainCallback(const Notification* n)
{
    expect(n->length <= 255, "a plain flat notification longer than its 8-bit length");
    fuzz::checkViews(*n);
}

void extendedCallback(const Notification* n, void*)
{
    fuzz::checkViews(*n);
}

// ------------------------------------------------------------------------------ sessions

struct Rig {
    tv::VirtualAdapter adapter;
    TarvixSDK_Handle* handle = nullptr;
};

Rig& rig(bool large, bool options)
{
    static Rig* rigs[4] = {};
    const unsigned index = (large ? 1u : 0u) | (options ? 2u : 0u);
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
    Rig* r = new Rig{tv::attach(config), nullptr};
    r->adapter.setRecording(false);
    r->handle = TarvixSDK_CreateWithOptions(kTimeoutMs, &sessionOptions);
    if (r->handle == nullptr || !TarvixSDK_Connect(r->handle, r->adapter.path().c_str())) {
        fail("a session cannot connect to its virtual adapter");
    }
    TarvixSDK_onFrame(r->handle, onTrace, nullptr);
    rigs[index] = r;
    return *r;
}

// The reader must be back to reading: a well-formed request gets its own answer in time. Stale
// answers of the input may complete attempts first (without matchResponses); the probe reads five
// strings, so it ends on its own answers.
void probe(Rig& r)
{
    const auto deadline = std::chrono::steady_clock::now() + kProbeBound;
    while (std::chrono::steady_clock::now() < deadline) {
        TarvixSDK_DeviceInfo info{};
        const StatusCode status = TarvixSDK_GetDeviceInfo(r.handle, &info);
        TarvixSDK_FreeDeviceInfo(&info);
        if (status == StatusCode::SUCCESS) {
            return;
        }
    }
    fail("no answer to a well-formed request within 2 s after the input");
}

// ------------------------------------------------------------------------------ the calls

using FlatCall = void (*)(TarvixSDK_Handle*, Args&);

#define FLAT(body)                                                                                                     \
    [](TarvixSDK_Handle* h, Args& a) {                                                                                 \
        (void)a;                                                                                                       \
        body;                                                                                                          \
    }

// One of four calls of one signature (the four buses' rails, the four activity states), picked
// by an argument byte.
template <class Call>
Call oneOf(Args& a, Call first, Call second, Call third, Call fourth)
{
    const Call calls[] = {first, second, third, fourth};
    return calls[a.u8() % 4];
}

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
    // Rails: GPIO, I2C, SPI and UART
    FLAT(oneOf(a, TarvixSDK_GpioSetVoltage, TarvixSDK_I2cSetBusVoltage, TarvixSDK_SpiSetBusVoltage,
               TarvixSDK_UartSetBusVoltage)(h, a.u16(), a.flag())),
    FLAT(oneOf(a, TarvixSDK_GpioUseExternalVoltage, TarvixSDK_I2cUseExternalVoltage, TarvixSDK_SpiUseExternalVoltage,
               TarvixSDK_UartUseExternalVoltage)(h, a.flag())),
    FLAT(std::uint16_t v = 0; oneOf(a, TarvixSDK_GpioGetVoltage, TarvixSDK_I2cGetBusVoltage, TarvixSDK_SpiGetBusVoltage,
                                    TarvixSDK_UartGetBusVoltage)(h, a.null() ? nullptr : &v)),
    // I3C rail
    FLAT(TarvixSDK_I3cSetBusVoltage(h, a.u16())),
    FLAT(TarvixSDK_I3cUseExternalVoltage(h, a.flag())),
    FLAT(std::uint16_t v1 = 0; std::uint16_t v2 = 0;
         TarvixSDK_I3cGetBusVoltage(h, a.null() ? nullptr : &v1, a.null() ? nullptr : &v2)),
    // GPIO
    FLAT(const auto pin = a.e<GpioPinNumber>(); const auto function = a.e<GpioFunctionality>();
         const bool has = a.flag(); TarvixSDK_GpioConfigurePin(h, pin, function, has, a.e<GpioLogicLevel>())),
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
         const StatusCode st =
             TarvixSDK_I2cScanBus(h, a.null() ? nullptr : addresses.get(), capacity, &one, &two, a.u8(), a.flag());
         expect(st != StatusCode::SUCCESS || one + 2u * two <= capacity,
                "TarvixSDK_I2cScanBus SUCCESS with more addresses than its capacity")),
    // SPI
    FLAT(TarvixSDK_SpiControllerInit(h, a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                                     a.e<SpiChipSelectPolarity>(), a.u32())),
    FLAT(TarvixSDK_SpiSetParameters(h, a.e<SpiBitOrder>(), a.e<SpiMode>(), a.e<SpiDataWidth>(), a.e<SpiChipSelect>(),
                                    a.e<SpiChipSelectPolarity>(), a.u32())),
    FLAT(const Bytes tx = a.bytes(64); const std::uint16_t length = a.u16(); Block rx(length); TarvixSDK_SpiTransfer(
             h, tx.data(), static_cast<std::uint16_t>(tx.size()), a.null() ? nullptr : rx.get(), length)),
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
    FLAT(oneOf(a, TarvixSDK_I3cCccENTAS0Broadcast, TarvixSDK_I3cCccENTAS1Broadcast, TarvixSDK_I3cCccENTAS2Broadcast,
               TarvixSDK_I3cCccENTAS3Broadcast)(h)),
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
    FLAT(oneOf(a, TarvixSDK_I3cCccENTAS0Direct, TarvixSDK_I3cCccENTAS1Direct, TarvixSDK_I3cCccENTAS2Direct,
               TarvixSDK_I3cCccENTAS3Direct)(h, a.u8())),
    FLAT(TarvixSDK_I3cCccSETDASA(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccSETNEWDA(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccSETMWLDirect(h, a.u8(), a.u16())),
    FLAT(TarvixSDK_I3cCccSETMRLDirect(h, a.u8(), a.u16(), a.flag(), a.u8())),
    FLAT(const std::uint8_t address = a.u8(); const std::uint8_t sub = a.u8();
         const std::optional<Bytes> extra = a.optBytes(16);
         TarvixSDK_I3cCccSETXTIMEDirect(h, address, sub, extra ? extra->data() : nullptr, extra ? extra->size() : 0)),
    FLAT(TarvixSDK_I3cCccSETGRPADirect(h, a.u8(), a.u8())),
    FLAT(TarvixSDK_I3cCccRSTGRPADirect(h, a.u8())),
    FLAT(std::uint8_t time = 0; const std::uint8_t address = a.u8(); const std::uint32_t action = a.u32();
         const std::uint32_t direction = a.u32();
         TarvixSDK_I3cCccRSTACTDirect(h, address, action, direction, a.null() ? nullptr : &time)),
    FLAT(std::uint16_t v = 0; TarvixSDK_I3cCccGETMWL(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(std::uint16_t v = 0; std::uint8_t ibi = 0; std::uint8_t has = 0; const std::uint8_t address = a.u8();
         TarvixSDK_I3cCccGETMRL(h, address, a.null() ? nullptr : &v, a.flag() ? &ibi : nullptr,
                                a.flag() ? &has : nullptr)),
    FLAT(Block pid(6); TarvixSDK_I3cCccGETPID(h, a.u8(), a.null() ? nullptr : pid.get())),
    FLAT(std::uint8_t v = 0; TarvixSDK_I3cCccGETBCR(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(std::uint8_t v = 0; TarvixSDK_I3cCccGETDCR(h, a.u8(), a.null() ? nullptr : &v)),
    FLAT(cccRead(TarvixSDK_I3cCccGETMXDS, h, a)),
    FLAT(cccRead(TarvixSDK_I3cCccGETXTIME, h, a)),
    FLAT(cccReadWithDefiningByte(TarvixSDK_I3cCccGETCAPS, h, a)),
    FLAT(cccReadWithDefiningByte(TarvixSDK_I3cCccGETSTATUS, h, a)),
};

constexpr std::size_t kFlatCount = sizeof kFlatCalls / sizeof kFlatCalls[0];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    const std::size_t call = data[0] % kFlatCount;
    const unsigned config = data[1];
    const std::size_t argsSize = std::min<std::size_t>(data[2], size - 3);
    Args args(data + 3, argsSize);

    std::vector<Bytes> items;
    fuzz::Items answer(data + 3 + argsSize, size - 3 - argsSize, false);
    unsigned control = 0;
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    while (items.size() < 64 && answer.next(control, bytes, length)) {
        items.emplace_back(bytes, bytes + length);
    }

    Rig& r = rig((config & 1) != 0, (config & 2) != 0);
    plan.armed = true;
    plan.raw = (config & 4) != 0;
    plan.patch = (config >> 3) & 3;
    plan.items = std::move(items);
    plan.adapter = &r.adapter;

    if (config & 0x20) {
        TarvixSDK_onNotificationEx(r.handle, extendedCallback, nullptr);
    } else {
        TarvixSDK_onNotification(r.handle, plainCallback);
    }
    kFlatCalls[call](r.handle, args);
    plan.armed = false; // a call refused before sending leaves nothing queued
    plan.items.clear();

    probe(r);
    return 0;
}
