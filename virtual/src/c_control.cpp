// The C control interface: each function unwraps its handle, converts C arrays and records to the
// C++ control API's types, calls the one C++ function of the same meaning and turns any exception
// into -1 (or null) with the reason kept for TarvixVirtual_LastError.
#pragma GCC visibility push(default)
#include "tarvix_virtual/tarvix_virtual.h"
#pragma GCC visibility pop

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <vector>
#include <stdexcept>
#include <string>
#include <utility>

#include "tarvix_virtual/i3c_bus.hpp"
#include "tarvix_virtual/targets.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

struct TarvixVirtual_Adapter {
    tarvix_virtual::VirtualAdapter adapter;
};

namespace {

using tarvix_virtual::Bytes;
using tarvix_virtual::VirtualAdapter;

thread_local std::string lastError;

// Runs `action`; an exception becomes `failed`, with its text kept for TarvixVirtual_LastError.
template <class Result, class Action>
Result guarded(Result failed, Action&& action) noexcept
{
    try {
        lastError.clear();
        return action();
    } catch (const std::exception& error) {
        try {
            lastError = error.what();
        } catch (...) {}
    } catch (...) {
        try {
            lastError = "unknown error";
        } catch (...) {}
    }
    return failed;
}

// The adapter behind a handle, or std::invalid_argument for a null one.
VirtualAdapter adapterOf(const TarvixVirtual_Adapter* handle)
{
    if (handle == nullptr) throw std::invalid_argument("no adapter (null handle)");
    return handle->adapter;
}

// For the functions that return 0 or -1.
template <class Action>
int call(const TarvixVirtual_Adapter* handle, Action&& action) noexcept
{
    return guarded(-1, [&] {
        VirtualAdapter adapter = adapterOf(handle);
        action(adapter);
        return 0;
    });
}

Bytes bytesOf(const std::uint8_t* data, std::size_t length)
{
    if (length == 0) return {};
    if (data == nullptr) throw std::invalid_argument("null byte array with a non-zero count");
    return Bytes(data, data + length);
}

// A target's memory: the given bytes, or as many zeros when none are given.
Bytes memoryOf(const std::uint8_t* data, std::size_t length)
{
    return data == nullptr ? Bytes(length, 0) : bytesOf(data, length);
}

// Hands out a byte array the snprintf way: at most `capacity` bytes copied, the whole length stored.
void copyOut(const Bytes& bytes, std::uint8_t* buffer, std::size_t capacity, std::size_t* length)
{
    if (length == nullptr || (buffer == nullptr && capacity > 0)) throw std::invalid_argument("null output pointer");
    std::copy_n(bytes.begin(), std::min(capacity, bytes.size()), buffer);
    *length = bytes.size();
}

template <class T>
T& required(T* pointer)
{
    if (pointer == nullptr) throw std::invalid_argument("null pointer argument");
    return *pointer;
}

// hidapi reports serial numbers as wide strings (UTF-32 on Linux); the C side speaks UTF-8.
std::wstring wideFromUtf8(const std::string& text)
{
    std::wstring wide;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t extra = 0;
        if (lead >= 0x80) {
            if ((lead & 0xE0) == 0xC0) {
                extra = 1;
            } else if ((lead & 0xF0) == 0xE0) {
                extra = 2;
            } else if ((lead & 0xF8) == 0xF0) {
                extra = 3;
            } else {
                throw std::invalid_argument("serial number is not UTF-8");
            }
        }
        if (extra > text.size() - i - 1) throw std::invalid_argument("serial number is not UTF-8");
        std::uint32_t code = extra == 0 ? lead : lead & (0x7Fu >> (extra + 1));
        for (std::size_t k = 1; k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) throw std::invalid_argument("serial number is not UTF-8");
            code = code << 6 | (next & 0x3Fu);
        }
        wide.push_back(static_cast<wchar_t>(code));
        i += extra + 1;
    }
    return wide;
}

tarvix_virtual::Rail railOf(std::uint8_t rail)
{
    if (rail > TarvixVirtual_RAIL_I3C) throw std::invalid_argument("rail must be 0 (shared) or 1 (I3C)");
    return static_cast<tarvix_virtual::Rail>(rail);
}

tarvix_virtual::I3cTargetConfig targetConfigOf(const TarvixVirtual_I3cTargetConfig* config)
{
    const TarvixVirtual_I3cTargetConfig& c = required(config);
    tarvix_virtual::I3cTargetConfig target;
    if (c.hasStaticAddress) target.staticAddress = c.staticAddress;
    target.pid = c.pid;
    target.bcr = c.bcr;
    target.dcr = c.dcr;
    target.maxWriteLength = c.maxWriteLength;
    target.maxReadLength = c.maxReadLength;
    if (c.hasMaxIbiPayloadSize) target.maxIbiPayloadSize = c.maxIbiPayloadSize;
    target.maxDataSpeed = bytesOf(c.maxDataSpeed, c.maxDataSpeedLength);
    target.capabilities = bytesOf(c.capabilities, c.capabilitiesLength);
    target.status = c.status;
    target.extendedTiming = bytesOf(c.extendedTiming, c.extendedTimingLength);
    target.resetTime = c.resetTime;
    target.hdrDdr = c.hdrDdr;
    target.memory = memoryOf(c.memory, c.memoryLength);
    return target;
}

const std::uint8_t kDefaultCapabilities[] = {0x01};

} // namespace

extern "C" {

const char* TarvixVirtual_LastError(void)
{
    return lastError.c_str();
}

void TarvixVirtual_InitAdapterConfig(TarvixVirtual_AdapterConfig* config)
{
    if (config == nullptr) return;
    const tarvix_virtual::AdapterConfig defaults;
    *config = TarvixVirtual_AdapterConfig{defaults.vendorId, defaults.productId, nullptr, nullptr, 0, defaults.bench};
}

TarvixVirtual_Adapter* TarvixVirtual_Attach(const TarvixVirtual_AdapterConfig* config)
{
    return guarded<TarvixVirtual_Adapter*>(nullptr, [&] {
        const TarvixVirtual_AdapterConfig& c = required(config);
        tarvix_virtual::AdapterConfig attached;
        attached.vendorId = c.vendorId;
        attached.productId = c.productId;
        if (c.path != nullptr) attached.path = c.path;
        if (c.serialNumber != nullptr) attached.serialNumber = wideFromUtf8(c.serialNumber);
        attached.reportSize = c.reportSize;
        attached.bench = c.bench;
        return new TarvixVirtual_Adapter{tarvix_virtual::attach(attached)};
    });
}

void TarvixVirtual_Release(TarvixVirtual_Adapter* adapter)
{
    delete adapter;
}

void TarvixVirtual_Reset(void)
{
    guarded(0, [] {
        tarvix_virtual::reset();
        return 0;
    });
}

const char* TarvixVirtual_Path(const TarvixVirtual_Adapter* adapter)
{
    return adapter == nullptr ? "" : adapter->adapter.path().c_str();
}

size_t TarvixVirtual_ReportSize(const TarvixVirtual_Adapter* adapter)
{
    return adapter == nullptr ? 0 : adapter->adapter.reportSize();
}

int TarvixVirtual_Unplug(TarvixVirtual_Adapter* adapter)
{
    return call(adapter, [](VirtualAdapter& a) { a.unplug(); });
}

int TarvixVirtual_UnplugAfterReports(TarvixVirtual_Adapter* adapter, size_t count)
{
    return call(adapter, [&](VirtualAdapter& a) { a.unplugAfterReports(count); });
}

int TarvixVirtual_Replug(TarvixVirtual_Adapter* adapter)
{
    return call(adapter, [](VirtualAdapter& a) { a.replug(); });
}

bool TarvixVirtual_IsPlugged(const TarvixVirtual_Adapter* adapter)
{
    return guarded(false, [&] { return adapterOf(adapter).plugged(); });
}

bool TarvixVirtual_WaitForPlugged(const TarvixVirtual_Adapter* adapter, uint32_t timeoutMs)
{
    return guarded(false, [&] { return adapterOf(adapter).waitForPlugged(std::chrono::milliseconds(timeoutMs)); });
}

size_t TarvixVirtual_OpenHandles(const TarvixVirtual_Adapter* adapter)
{
    return guarded<std::size_t>(0, [&] { return adapterOf(adapter).openHandles(); });
}

int TarvixVirtual_InjectNotification(TarvixVirtual_Adapter* adapter, uint16_t code, uint16_t status,
                                     const uint8_t* payload, size_t length)
{
    return call(adapter, [&](VirtualAdapter& a) { a.injectNotification(code, status, bytesOf(payload, length)); });
}

int TarvixVirtual_SendFrame(TarvixVirtual_Adapter* adapter, const uint8_t* frame, size_t length)
{
    return call(adapter, [&](VirtualAdapter& a) { a.sendFrame(bytesOf(frame, length)); });
}

int TarvixVirtual_SetResponseDelay(TarvixVirtual_Adapter* adapter, uint32_t delayMs)
{
    return call(adapter, [&](VirtualAdapter& a) { a.setResponseDelay(std::chrono::milliseconds(delayMs)); });
}

int TarvixVirtual_DropNextResponses(TarvixVirtual_Adapter* adapter, size_t count)
{
    return call(adapter, [&](VirtualAdapter& a) { a.dropNextResponses(count); });
}

int TarvixVirtual_SetWriteFails(TarvixVirtual_Adapter* adapter, bool on)
{
    return call(adapter, [&](VirtualAdapter& a) { a.setWriteFails(on); });
}

int TarvixVirtual_SetOpenError(TarvixVirtual_Adapter* adapter, int error)
{
    return call(adapter, [&](VirtualAdapter& a) { a.setOpenError(error); });
}

size_t TarvixVirtual_RequestCount(const TarvixVirtual_Adapter* adapter)
{
    return guarded<std::size_t>(0, [&] { return adapterOf(adapter).requests().size(); });
}

int TarvixVirtual_GetRequest(const TarvixVirtual_Adapter* adapter, size_t index, uint8_t* buffer, size_t capacity,
                             size_t* length)
{
    return call(adapter, [&](VirtualAdapter& a) {
        const std::vector<Bytes> requests = a.requests();
        if (index >= requests.size()) throw std::out_of_range("no request recorded at this index");
        copyOut(requests[index], buffer, capacity, length);
    });
}

int TarvixVirtual_ClearRecords(TarvixVirtual_Adapter* adapter)
{
    return call(adapter, [](VirtualAdapter& a) { a.clearRecords(); });
}

int TarvixVirtual_SetRecording(TarvixVirtual_Adapter* adapter, bool on)
{
    return call(adapter, [&](VirtualAdapter& a) { a.setRecording(on); });
}

bool TarvixVirtual_WaitForRequests(const TarvixVirtual_Adapter* adapter, size_t count, uint32_t timeoutMs)
{
    return guarded(false,
                   [&] { return adapterOf(adapter).waitForRequests(count, std::chrono::milliseconds(timeoutMs)); });
}

int TarvixVirtual_GetRailState(const TarvixVirtual_Adapter* adapter, uint8_t rail, TarvixVirtual_RailState* state)
{
    return call(adapter, [&](VirtualAdapter& a) {
        const tarvix_virtual::RailState r = tarvix_virtual::railState(a, railOf(rail));
        required(state) =
            TarvixVirtual_RailState{r.setMillivolts, r.external, r.externalMillivolts, r.measuredMillivolts};
    });
}

int TarvixVirtual_SetExternalSupply(TarvixVirtual_Adapter* adapter, uint8_t rail, uint16_t millivolts)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::setExternalSupply(a, railOf(rail), millivolts); });
}

int TarvixVirtual_GpioWire(TarvixVirtual_Adapter* adapter, uint8_t a, uint8_t b)
{
    return call(adapter, [&](VirtualAdapter& v) { tarvix_virtual::gpioWire(v, a, b); });
}

int TarvixVirtual_GpioUnwire(TarvixVirtual_Adapter* adapter, uint8_t pin)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::gpioUnwire(a, pin); });
}

int TarvixVirtual_GpioDrive(TarvixVirtual_Adapter* adapter, uint8_t pin, bool high)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::gpioDrive(a, pin, high); });
}

int TarvixVirtual_GpioLevel(const TarvixVirtual_Adapter* adapter, uint8_t pin, bool* high)
{
    return call(adapter, [&](VirtualAdapter& a) { required(high) = tarvix_virtual::gpioLevel(a, pin); });
}

int TarvixVirtual_I2cAttachEeprom(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::i2cAttachEeprom(a, bus, address); });
}

int TarvixVirtual_I2cAttachTemperatureSensor(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::i2cAttachTemperatureSensor(a, bus, address); });
}

int TarvixVirtual_I2cDetach(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::i2cDetach(a, bus, address); });
}

int TarvixVirtual_I2cSetTemperature(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address, int32_t milliCelsius)
{
    return call(adapter, [&](VirtualAdapter& a) {
        if (!tarvix_virtual::i2cSetTemperature(a, bus, address, milliCelsius)) {
            throw std::invalid_argument("no temperature sensor at this address");
        }
    });
}

int TarvixVirtual_I2cEepromContents(const TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address, uint8_t* buffer,
                                    size_t capacity, size_t* length)
{
    return call(adapter, [&](VirtualAdapter& a) {
        const std::optional<Bytes> contents = tarvix_virtual::i2cEepromContents(a, bus, address);
        if (!contents) throw std::invalid_argument("no EEPROM at this address");
        copyOut(*contents, buffer, capacity, length);
    });
}

int TarvixVirtual_SpiAttachFlash(TarvixVirtual_Adapter* adapter, uint8_t chipSelect)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::spiAttachFlash(a, chipSelect); });
}

int TarvixVirtual_SpiDetach(TarvixVirtual_Adapter* adapter, uint8_t chipSelect)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::spiDetach(a, chipSelect); });
}

int TarvixVirtual_SpiFlashContents(const TarvixVirtual_Adapter* adapter, uint8_t chipSelect, uint8_t* buffer,
                                   size_t capacity, size_t* length)
{
    return call(adapter, [&](VirtualAdapter& a) {
        const std::optional<Bytes> contents = tarvix_virtual::spiFlashContents(a, chipSelect);
        if (!contents) throw std::invalid_argument("no flash on this chip select");
        copyOut(*contents, buffer, capacity, length);
    });
}

int TarvixVirtual_UartSetLoopback(TarvixVirtual_Adapter* adapter, bool on)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::uartSetLoopback(a, on); });
}

int TarvixVirtual_UartReceive(TarvixVirtual_Adapter* adapter, const uint8_t* data, size_t length)
{
    return guarded(-1, [&] { return tarvix_virtual::uartReceive(adapterOf(adapter), bytesOf(data, length)) ? 1 : 0; });
}

bool TarvixVirtual_UartIsOpen(const TarvixVirtual_Adapter* adapter)
{
    return guarded(false, [&] { return tarvix_virtual::uartOpen(adapterOf(adapter)); });
}

void TarvixVirtual_InitI3cTargetConfig(TarvixVirtual_I3cTargetConfig* config)
{
    if (config == nullptr) return;
    const tarvix_virtual::I3cTargetConfig defaults;
    *config = TarvixVirtual_I3cTargetConfig{};
    config->pid = defaults.pid;
    config->bcr = defaults.bcr;
    config->dcr = defaults.dcr;
    config->maxWriteLength = defaults.maxWriteLength;
    config->maxReadLength = defaults.maxReadLength;
    config->capabilities = kDefaultCapabilities;
    config->capabilitiesLength = sizeof kDefaultCapabilities;
    config->status = defaults.status;
    config->resetTime = defaults.resetTime;
    config->hdrDdr = defaults.hdrDdr;
    config->memoryLength = defaults.memory.size();
}

int TarvixVirtual_I3cAttachTarget(TarvixVirtual_Adapter* adapter, const TarvixVirtual_I3cTargetConfig* config)
{
    return call(adapter, [&](VirtualAdapter& a) { tarvix_virtual::I3cBus(a).attachTarget(targetConfigOf(config)); });
}

int TarvixVirtual_I3cAttachLegacyTarget(TarvixVirtual_Adapter* adapter, uint8_t address, const uint8_t* memory,
                                        size_t length)
{
    return call(adapter, [&](VirtualAdapter& a) {
        tarvix_virtual::I3cBus(a).attachLegacyTarget(address, memoryOf(memory, length));
    });
}

int TarvixVirtual_I3cClear(TarvixVirtual_Adapter* adapter)
{
    return call(adapter, [](VirtualAdapter& a) { tarvix_virtual::I3cBus(a).clear(); });
}

int TarvixVirtual_GetI3cTargetState(const TarvixVirtual_Adapter* adapter, uint64_t pid,
                                    TarvixVirtual_I3cTargetState* state)
{
    return call(adapter, [&](VirtualAdapter& a) {
        TarvixVirtual_I3cTargetState& out = required(state);
        const std::optional<tarvix_virtual::I3cTargetState> target = tarvix_virtual::I3cBus(a).target(pid);
        if (!target) throw std::invalid_argument("no I3C target with this PID");
        out = TarvixVirtual_I3cTargetState{target->dynamicAddress,
                                           target->enabledEvents,
                                           target->maxWriteLength,
                                           target->maxReadLength,
                                           target->maxIbiPayloadSize.has_value(),
                                           target->maxIbiPayloadSize.value_or(0),
                                           target->resetAction,
                                           target->registerPointer,
                                           target->pendingIbis};
    });
}

int TarvixVirtual_I3cRaiseIbi(TarvixVirtual_Adapter* adapter, uint64_t pid, const uint8_t* payload, size_t length)
{
    return guarded(-1, [&] {
        return static_cast<int>(tarvix_virtual::I3cBus(adapterOf(adapter)).raiseIbi(pid, bytesOf(payload, length)));
    });
}

int TarvixVirtual_I3cHotJoin(TarvixVirtual_Adapter* adapter, const TarvixVirtual_I3cTargetConfig* config,
                             int addressing)
{
    return guarded(-1, [&] {
        if (addressing != TarvixVirtual_HOT_JOIN_WAIT_FOR_ENTDAA &&
            addressing != TarvixVirtual_HOT_JOIN_ASSIGN_AT_ONCE) {
            throw std::invalid_argument("hot-join addressing must be 0 (wait for ENTDAA) or 1 (assign at once)");
        }
        const auto mode = static_cast<tarvix_virtual::I3cHotJoinAddressing>(addressing);
        return static_cast<int>(tarvix_virtual::I3cBus(adapterOf(adapter)).hotJoin(targetConfigOf(config), mode));
    });
}

bool TarvixVirtual_I3cInHdrMode(const TarvixVirtual_Adapter* adapter)
{
    return guarded(false, [&] { return tarvix_virtual::I3cBus(adapterOf(adapter)).inHdrMode(); });
}

} // extern "C"
