// I2C: two controller ports, transfers to the targets attached to them, and
// the bus scan.
#include <optional>
#include <vector>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

void I2cEeprom::write(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return;
    pointer = data[0];
    const auto page = static_cast<std::uint8_t>(pointer & ~(kPage - 1));
    for (std::size_t i = 1; i < size; ++i) {
        memory[pointer] = data[i];
        pointer = static_cast<std::uint8_t>(page | ((pointer + 1) & (kPage - 1)));
    }
}

void I2cEeprom::read(std::uint8_t* out, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) out[i] = memory[pointer++];
}

// After the pointer byte, two bytes (MSB first) go to the selected register;
// the temperature register ignores them.
void I2cTemperatureSensor::write(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return;
    pointer = data[0] & 0x03;
    lowByteNext = false;
    if (size >= 3 && pointer != 0) registers[pointer] = static_cast<std::uint16_t>(data[1] << 8 | data[2]);
}

// A read longer than two bytes repeats the register, as the part does.
void I2cTemperatureSensor::read(std::uint8_t* out, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint16_t value = registers[pointer];
        out[i] = static_cast<std::uint8_t>(lowByteNext ? value & 0xFFu : value >> 8);
        lowByteNext = !lowByteNext;
    }
    lowByteNext = false;
}

void I2cState::restart()
{
    for (I2cBus& bus : buses) {
        bus.initialised = false;
        bus.frequency = 0;
        bus.option = 0;
        bus.pullUp = 0;
    }
}

namespace {

// clang-format off
// Payload offsets. The bus index leads every I2C command.
constexpr std::size_t kBus           = 0;
constexpr std::size_t kFrequency     = 1;   // init, set parameters: u32 Hz
constexpr std::size_t kOption        = 5;   // init, set parameters
constexpr std::size_t kSettingsSize  = 6;
constexpr std::size_t kPullUp        = 1;   // pull-ups: selection 0..3, 0 = none
// Transfer head of a write or read, then (write only) the data.
constexpr std::size_t kCount         = 1;   // u16: bytes written, or to read
constexpr std::size_t kAddress       = 3;   // 7-bit target address
constexpr std::size_t kRegisterSize  = 4;   // register address bytes, 0..4
constexpr std::size_t kRegister      = 5;   // u32: the register address, folded
constexpr std::size_t kData          = 10;  // after the flag byte at 9
// clang-format on

constexpr std::uint8_t kMaxAddress = 0x7F;

// The adapter has ports 0 and 1.
I2cBus* busOf(FirmwareState& state, std::optional<std::uint8_t> index, Reply& reply)
{
    if (!index || *index >= I2cState::kBuses) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return nullptr;
    }
    return &state.i2c.buses[*index];
}

// Init and set-parameters carry the same fields; only init may find the port
// uninitialised.
template <bool Init>
void configure(FirmwareState& state, const Request& request, Reply& reply)
{
    I2cBus* bus = busOf(state, request.u8(kBus), reply);
    if (!bus || !settingsAccepted(request, kSettingsSize, Init || bus->initialised,
                                  DeviceStatus::I2C_BUS_NOT_INITIALISED, reply))
        return;
    const std::uint32_t frequency = *request.u32(kFrequency);
    if (frequency < I2cState::kMinFrequency || frequency > I2cState::kMaxFrequency)
        return reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
    bus->initialised = true;
    bus->frequency = frequency;
    bus->option = *request.u8(kOption);
}

void setPullUps(FirmwareState& state, const Request& request, Reply& reply)
{
    I2cBus* bus = busOf(state, request.u8(kBus), reply);
    const auto pullUp = bus ? settingAt(request, kPullUp, 0, I2cState::kMaxPullUp, reply) : std::nullopt;
    if (pullUp) bus->pullUp = *pullUp;
}

// The fields of a whole transfer head.
struct TransferHead {
    std::uint8_t bus;
    std::uint16_t count;
    std::uint8_t address;
    // The register address arrives folded into a little-endian u32 with its
    // length; on the bus it goes most significant byte first.
    std::vector<std::uint8_t> registerBytes;
};

std::optional<TransferHead> transferHeadOf(const Request& request)
{
    if (request.size() < kData) return std::nullopt;
    const std::uint8_t registerSize = *request.u8(kRegisterSize);
    const std::uint8_t address = *request.u8(kAddress);
    if (registerSize > kMaxRegisterBytes || address > kMaxAddress) return std::nullopt;
    const std::uint32_t folded = *request.u32(kRegister);
    TransferHead head{*request.u8(kBus), *request.u16(kCount), address, {}};
    for (std::size_t i = registerSize; i-- > 0;)
        head.registerBytes.push_back(static_cast<std::uint8_t>(folded >> (8 * i)));
    return head;
}

// Checks the head of a write or read and finds the addressed target; null
// (with the status set) when the transfer cannot go ahead.
I2cTarget* targetOf(FirmwareState& state, const std::optional<TransferHead>& head, Reply& reply)
{
    if (!head) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return nullptr;
    }
    I2cBus* bus = busOf(state, head->bus, reply);
    if (!bus) return nullptr;
    if (!bus->initialised) {
        reply.setStatus(DeviceStatus::I2C_BUS_NOT_INITIALISED);
        return nullptr;
    }
    const auto it = bus->targets.find(head->address);
    if (it == bus->targets.end()) {
        reply.setStatus(DeviceStatus::I2C_NACK);
        return nullptr;
    }
    return &it->second;
}

// The count must match the data that follows the head. One write
// transaction: register address bytes, then data.
void write(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto head = transferHeadOf(request);
    if (head && head->count != request.size() - kData) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    I2cTarget* target = targetOf(state, head, reply);
    if (!target) return;
    std::vector<std::uint8_t> bytes = head->registerBytes;
    const std::vector<std::uint8_t> data = request.bytes(kData);
    bytes.insert(bytes.end(), data.begin(), data.end());
    std::visit([&](auto& t) { t.write(bytes.data(), bytes.size()); }, *target);
}

// The count is the number of bytes to read. A register address is written
// first, then the bytes are read after a repeated start. Answer: u16 bytes
// read, the target address, then the bytes.
void read(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto head = transferHeadOf(request);
    I2cTarget* target = targetOf(state, head, reply);
    std::vector<std::uint8_t> data;
    if (target) {
        data.resize(head->count);
        const std::vector<std::uint8_t>& address = head->registerBytes;
        std::visit(
            [&](auto& t) {
                if (!address.empty()) t.write(address.data(), address.size());
                t.read(data.data(), data.size());
            },
            *target);
    }
    reply.u16(static_cast<std::uint16_t>(data.size())).u8(request.u8(kAddress).value_or(0)).bytes(data);
}

// Answer: bus, count of 7-bit addresses, count of 10-bit addresses (always 0:
// the bench has none), then the addresses in order.
void scan(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto index = request.u8(kBus);
    I2cBus* bus = busOf(state, index, reply);
    if (bus && !bus->initialised) {
        reply.setStatus(DeviceStatus::I2C_BUS_NOT_INITIALISED);
        bus = nullptr;
    }
    reply.u8(index.value_or(0)).u8(bus ? static_cast<std::uint8_t>(bus->targets.size()) : 0).u8(0);
    if (bus) {
        for (const auto& entry : bus->targets) reply.u8(entry.first);
    }
}

} // namespace

constexpr CommandRows kI2cCommands{
    {codes::I2C_SET_PULL_UPS, setPullUps},
    {codes::I2C_INIT, configure<true>},
    {codes::I2C_SET_PARAMETERS, configure<false>},
    {codes::I2C_WRITE, write},
    {codes::I2C_READ, read},
    {codes::I2C_SCAN, scan},
};

} // namespace tarvix_virtual::detail
