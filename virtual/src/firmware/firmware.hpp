// The adapter's firmware model: a table of command handlers, one source file
// per command family. A family file defines register<Family>Commands(), which
// adds its handlers by command code; commandTable() in firmware.cpp calls each
// of those once. Adding a family (gpio.cpp, i2c.cpp, spi.cpp, uart.cpp,
// i3c.cpp, ...) means: write the file, declare its register function below,
// call it from commandTable(), list the file in virtual/CMakeLists.txt, and
// put any per-adapter state the family keeps into FirmwareState.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "firmware/gpio.hpp"
#include "firmware/i2c.hpp"
#include "firmware/i3c.hpp"
#include "firmware/rails.hpp"
#include "firmware/spi.hpp"
#include "firmware/uart.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

// Everything the firmware of one adapter remembers between commands. Each
// family keeps its own part, declared in firmware/<family>.hpp.
struct FirmwareState {
    // USB string descriptors 1..5: manufacturer, product, serial, firmware
    // version, hardware version (8-bit characters, as the firmware keeps them).
    std::array<std::string, 5> usbStrings;
    RailsState rails;
    GpioState gpio;
    I2cState i2c;
    SpiState spi;
    UartState uart;
    I3cState i3c;
};

// A whole request frame: tid u16, code u16, then the command's payload.
class Request {
public:
    Request(const std::uint8_t* frame, std::size_t size) : frame_(frame), size_(size) {}
    std::uint16_t code() const;
    std::size_t payloadSize() const { return size_ - 4; }
    // Payload byte at @p offset (0 = frame byte 4), if the host sent it.
    std::optional<std::uint8_t> payloadU8(std::size_t offset) const;
    // A copy of the whole payload (frame bytes 4 onward).
    std::vector<std::uint8_t> payload() const;

private:
    const std::uint8_t* frame_;
    std::size_t size_;
};

// The response under construction. It starts as "echo tid and code, status
// SUCCESS, no payload"; a handler adds to it or suppresses it.
class Reply {
public:
    explicit Reply(std::vector<std::uint8_t>& frame) : frame_(frame) {}
    void setStatus(std::uint16_t status);
    void setStatus(DeviceStatus status) { setStatus(static_cast<std::uint16_t>(status)); }
    void appendU8(std::uint8_t value) { frame_.push_back(value); }
    void appendBytes(const std::uint8_t* data, std::size_t size);
    // The command is not answered at all (reset, boot mode).
    void suppress() { suppressed_ = true; }
    bool suppressed() const { return suppressed_; }
    // Queues a notification (transaction id 0) sent right after the answer,
    // e.g. a GPIO interrupt raised by a write, or UART bytes looped back.
    void notify(std::uint16_t code, const std::vector<std::uint8_t>& payload);
    std::vector<std::vector<std::uint8_t>>& notifications() { return notifications_; }

private:
    std::vector<std::uint8_t>& frame_;
    bool suppressed_ = false;
    std::vector<std::vector<std::uint8_t>> notifications_;
};

using CommandHandler = void (*)(FirmwareState& state, const Request& request, Reply& reply);
using CommandTable = std::unordered_map<std::uint16_t, CommandHandler>;

// One per command family, each in firmware/<family>.cpp.
void registerSystemCommands(CommandTable& table);
void registerRailsCommands(CommandTable& table);
void registerGpioCommands(CommandTable& table);
void registerI2cCommands(CommandTable& table);
void registerSpiCommands(CommandTable& table);
void registerUartCommands(CommandTable& table);
void registerI3cCommands(CommandTable& table);

class Firmware {
public:
    explicit Firmware(FirmwareState state) : state_(std::move(state)) {}
    // Answers one whole request frame of at least 4 bytes into @p response
    // (cleared first) and any notifications it raises into @p notifications
    // (cleared first). Returns false when the command sends no answer.
    bool answer(const std::uint8_t* request, std::size_t size, std::vector<std::uint8_t>& response,
                std::vector<std::vector<std::uint8_t>>& notifications);
    FirmwareState& state() { return state_; }

private:
    FirmwareState state_;
};

}  // namespace tarvix_virtual::detail
