// The adapter's firmware model: a table of command handlers by command code,
// one source file per command family.
//
// Adding a command:
//   1. Name its code in `codes` (tarvix_virtual/virtual_adapter.hpp).
//   2. In its family's file write a CommandHandler. It reads the payload with
//      the Request's field functions at offsets named in that file (a field
//      the host did not send whole is std::nullopt), sets the Reply's status
//      when it is not SUCCESS and appends the answer's payload fields to it.
//   3. Add a {code, handler} row to the family's table, k<Family>Commands.
// A code with no handler is answered SUCCESS with no payload, so the host side
// of a command can be exercised before its model exists.
//
// Adding a family: write firmware/<family>.cpp (virtual/CMakeLists.txt takes
// every file here) with its command table, declare that below and list it in
// commandTable() in firmware.cpp. Declare the state it keeps between
// commands in firmware/<family>.hpp as a member of FirmwareState, with a
// restart() that restartFirmware() calls.
//
// Leaving the bus. The real adapter answers neither RESET_DEVICE nor
// ENTER_BOOT_MODE: it restarts, or drops into its ROM boot loader, and
// disappears from USB. The model suppresses the answer and records a
// Departure, which the device core takes after the command and carries out:
// after a reset the adapter is off the bus for its restart time
// (AdapterConfig::restartTime, 200 ms by default) and comes back by itself,
// its settings at their power-on values (restartFirmware) and its bench as it
// was; in boot mode it stays away until the test replugs it, since the boot
// loader is not modelled.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "firmware/gpio.hpp"
#include "firmware/i2c.hpp"
#include "firmware/i3c.hpp"
#include "firmware/rails.hpp"
#include "firmware/spi.hpp"
#include "firmware/uart.hpp"
#include "frame.hpp"
#include "tarvix_virtual/i3c_bus.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

// What the adapter does to its USB connection once the current command is
// handled.
enum class Departure : std::uint8_t {
    STAY,        // nothing: the usual case
    RESTART,     // leaves the bus and comes back after its restart time
    BOOT_LOADER, // leaves the bus for the ROM boot loader until replugged
};

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
    Departure departure = Departure::STAY;
};

// What a restart (reset command, power cycle) does to the adapter's own
// state: every family's controller settings go back to their power-on
// values, while what is attached to the pins (targets, wires, memory
// contents) stays as it is.
void restartFirmware(FirmwareState& state);

// A request frame read field by field: tid u16, code u16, then the command's
// payload. The field functions take payload offsets (0 = frame byte 4); a
// frame too short to hold a code has code 0 and no payload.
class Request : public FieldReader {
public:
    Request(const std::uint8_t* frame, std::size_t size)
        : FieldReader(frame + std::min(size, kRequestHeaderSize), size - std::min(size, kRequestHeaderSize)),
          transactionId_(size >= kRequestHeaderSize ? loadU16(frame) : 0),
          code_(size >= kRequestHeaderSize ? loadU16(frame + 2) : 0)
    {}
    std::uint16_t transactionId() const { return transactionId_; }
    std::uint16_t code() const { return code_; }

private:
    std::uint16_t transactionId_;
    std::uint16_t code_;
};

// The answer under construction, built field by field after its header. It
// starts as "echo tid and code, status SUCCESS, no payload"; a handler sets
// the status, appends payload fields, or suppresses the answer.
class Reply : public FieldWriter {
public:
    // Starts the answer to @p request in @p frame, replacing what it held.
    Reply(const Request& request, std::vector<std::uint8_t>& frame);
    void setStatus(std::uint16_t status);
    void setStatus(DeviceStatus status) { setStatus(static_cast<std::uint16_t>(status)); }
    void setStatus(I3cStatus status) { setStatus(static_cast<std::uint16_t>(status)); }
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

// Checks the families share. Each returns what the request holds, or sets the
// reply's status and returns nothing when the request fails it.

// A 0/1 flag byte: missing it or any other value is INVALID_PARAMETER.
std::optional<bool> flagAt(const Request& request, std::size_t offset, Reply& reply);
// A setting byte the adapter supports from @p min to @p max: missing it is
// INVALID_PARAMETER, a value outside the range UNSUPPORTED_SETTING.
std::optional<std::uint8_t> settingAt(const Request& request, std::size_t offset, std::uint8_t min, std::uint8_t max,
                                      Reply& reply);
// The opening checks of a controller's init and set-parameters commands,
// which carry the same settings: the payload must hold all @p size bytes of
// them (INVALID_PARAMETER), and the controller must be @p ready for them
// (@p notReady): init always is, set-parameters once init has run.
bool settingsAccepted(const Request& request, std::size_t size, bool ready, DeviceStatus notReady, Reply& reply);

// A register address travels in a 4-byte field of the I2C and I3C transfer
// requests, so it has at most 4 bytes.
inline constexpr std::size_t kMaxRegisterBytes = 4;

using CommandHandler = void (*)(FirmwareState& state, const Request& request, Reply& reply);
// One row of a family's command table.
struct Command {
    std::uint16_t code;
    CommandHandler handler;
};
using CommandRows = std::initializer_list<Command>;

// One per command family, each in firmware/<family>.cpp.
extern const CommandRows kSystemCommands;
extern const CommandRows kRailsCommands;
extern const CommandRows kGpioCommands;
extern const CommandRows kI2cCommands;
extern const CommandRows kSpiCommands;
extern const CommandRows kUartCommands;
extern const CommandRows kI3cCommands;

class Firmware {
public:
    explicit Firmware(FirmwareState state) : state_(std::move(state)) {}
    // Answers one whole request frame into @p response (replaced) and any
    // notifications it raises into @p notifications (replaced). Returns false
    // when the command sends no answer. The device core passes only frames
    // that hold a command code (a shorter one would read as code 0).
    bool answer(const std::uint8_t* request, std::size_t size, std::vector<std::uint8_t>& response,
                std::vector<std::vector<std::uint8_t>>& notifications);
    FirmwareState& state() { return state_; }
    // What the last command asked of the USB connection; STAY from then on.
    Departure takeDeparture() { return std::exchange(state_.departure, Departure::STAY); }

private:
    FirmwareState state_;
};

} // namespace tarvix_virtual::detail
