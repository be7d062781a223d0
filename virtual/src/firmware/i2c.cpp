// I2C: two controller ports, transfers to the targets attached to them, and
// the bus scan.
#include <algorithm>
#include <vector>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

void I2cEeprom::write(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return;
    pointer = data[0];
    const auto page = static_cast<std::uint8_t>(pointer & ~(kPage - 1));
    for (std::size_t i = 1; i < size; ++i) {
        memory[pointer] = data[i];
        pointer = static_cast<std::uint8_t>(page | ((pointer + 1) & (kPage - 1)));
    }
}

void I2cEeprom::read(std::uint8_t* out, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) out[i] = memory[pointer++];
}

// After the pointer byte, two bytes (MSB first) go to the selected register;
// the temperature register ignores them.
void I2cTemperatureSensor::write(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return;
    pointer = data[0] & 0x03;
    lowByteNext = false;
    if (size >= 3 && pointer != 0) registers[pointer] = static_cast<std::uint16_t>(data[1] << 8 | data[2]);
}

// A read longer than two bytes repeats the register, as the part does.
void I2cTemperatureSensor::read(std::uint8_t* out, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint16_t value = registers[pointer];
        out[i] = static_cast<std::uint8_t>(lowByteNext ? value & 0xFFu : value >> 8);
        lowByteNext = !lowByteNext;
    }
    lowByteNext = false;
}

void I2cState::restart() {
    for (I2cBus& bus : buses) {
        bus.initialised = false;
        bus.frequency = 0;
        bus.option = 0;
        bus.pullUp = 0;
    }
}

namespace {


// Offsets in the payload (frame byte 4 = payload byte 0).
constexpr std::size_t kTransferHeader = 10;  // bus, u16 count, address, register length, u32 register, flag

std::uint32_t loadU32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

// The bus index leads every I2C command; the adapter has ports 0 and 1.
I2cBus* busOf(FirmwareState& state, std::uint8_t index, Reply& reply) {
    if (index >= I2cState::kBuses) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return nullptr;
    }
    return &state.i2c.buses[index];
}

// Payload: bus, u32 frequency in Hz, option. Init and set-parameters carry the
// same fields; only init may find the port uninitialised.
void configure(FirmwareState& state, const Request& request, Reply& reply, bool init) {
    const std::vector<std::uint8_t> p = request.payload();
    if (p.size() < 6) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    I2cBus* bus = busOf(state, p[0], reply);
    if (!bus) return;
    if (!init && !bus->initialised) {
        reply.setStatus(DeviceStatus::I2C_BUS_NOT_INITIALISED);
        return;
    }
    const std::uint32_t frequency = loadU32(&p[1]);
    if (frequency < I2cState::kMinFrequency || frequency > I2cState::kMaxFrequency) {
        reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
        return;
    }
    bus->initialised = true;
    bus->frequency = frequency;
    bus->option = p[5];
}

void init(FirmwareState& state, const Request& request, Reply& reply) { configure(state, request, reply, true); }
void setParameters(FirmwareState& state, const Request& request, Reply& reply) {
    configure(state, request, reply, false);
}

// Payload: bus, pull-up selection 0..3 (0 = none).
void setPullUps(FirmwareState& state, const Request& request, Reply& reply) {
    const auto index = request.payloadU8(0);
    const auto pullUp = request.payloadU8(1);
    if (!index || !pullUp) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    I2cBus* bus = busOf(state, *index, reply);
    if (!bus) return;
    if (*pullUp > I2cState::kMaxPullUp) {
        reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
        return;
    }
    bus->pullUp = *pullUp;
}

// The register address arrives folded into a little-endian u32 with its
// length; on the bus it goes most significant byte first.
std::vector<std::uint8_t> registerBytes(const std::vector<std::uint8_t>& p) {
    const std::uint32_t value = loadU32(&p[5]);
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = p[4]; i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

// Checks the common head of a write or read and finds the addressed target;
// null (with the status set) when the transfer cannot go ahead.
I2cTarget* targetOf(FirmwareState& state, const std::vector<std::uint8_t>& p, Reply& reply) {
    if (p.size() < kTransferHeader || p[4] > 4 || p[3] > 0x7F) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return nullptr;
    }
    I2cBus* bus = busOf(state, p[0], reply);
    if (!bus) return nullptr;
    if (!bus->initialised) {
        reply.setStatus(DeviceStatus::I2C_BUS_NOT_INITIALISED);
        return nullptr;
    }
    const auto it = bus->targets.find(p[3]);
    if (it == bus->targets.end()) {
        reply.setStatus(DeviceStatus::I2C_NACK);
        return nullptr;
    }
    return &it->second;
}

// Payload: the transfer head, then the data; the count must match the bytes
// that follow. One write transaction: register address bytes, then data.
void write(FirmwareState& state, const Request& request, Reply& reply) {
    const std::vector<std::uint8_t> p = request.payload();
    if (p.size() >= kTransferHeader && (p[1] | p[2] << 8) != static_cast<int>(p.size() - kTransferHeader)) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    I2cTarget* target = targetOf(state, p, reply);
    if (!target) return;
    std::vector<std::uint8_t> bytes = registerBytes(p);
    bytes.insert(bytes.end(), p.begin() + kTransferHeader, p.end());
    std::visit([&](auto& t) { t.write(bytes.data(), bytes.size()); }, *target);
}

// Payload: the transfer head (count = bytes to read). A register address is
// written first, then the bytes are read after a repeated start. Answer: u16
// bytes read, the target address, then the bytes from offset 9.
void read(FirmwareState& state, const Request& request, Reply& reply) {
    const std::vector<std::uint8_t> p = request.payload();
    I2cTarget* target = targetOf(state, p, reply);
    std::vector<std::uint8_t> data;
    if (target) {
        data.resize(static_cast<std::size_t>(p[1] | p[2] << 8));
        const std::vector<std::uint8_t> address = registerBytes(p);
        std::visit([&](auto& t) {
            if (!address.empty()) t.write(address.data(), address.size());
            t.read(data.data(), data.size());
        }, *target);
    }
    reply.appendU8(static_cast<std::uint8_t>(data.size() & 0xFFu));
    reply.appendU8(static_cast<std::uint8_t>(data.size() >> 8));
    reply.appendU8(p.size() > 3 ? p[3] : 0);
    reply.appendBytes(data.data(), data.size());
}

// Payload: bus, flag. Answer: bus, count of 7-bit addresses, count of 10-bit
// addresses (always 0: the bench has none), then the addresses in order.
void scan(FirmwareState& state, const Request& request, Reply& reply) {
    const auto index = request.payloadU8(0);
    I2cBus* bus = index ? busOf(state, *index, reply) : nullptr;
    if (!index) reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    if (bus && !bus->initialised) {
        reply.setStatus(DeviceStatus::I2C_BUS_NOT_INITIALISED);
        bus = nullptr;
    }
    reply.appendU8(index.value_or(0));
    reply.appendU8(bus ? static_cast<std::uint8_t>(bus->targets.size()) : 0);
    reply.appendU8(0);
    if (bus) {
        for (const auto& entry : bus->targets) reply.appendU8(entry.first);
    }
}

}  // namespace

void registerI2cCommands(CommandTable& table) {
    table[codes::I2C_SET_PULL_UPS] = setPullUps;
    table[codes::I2C_INIT] = init;
    table[codes::I2C_SET_PARAMETERS] = setParameters;
    table[codes::I2C_WRITE] = write;
    table[codes::I2C_READ] = read;
    table[codes::I2C_SCAN] = scan;
}

}  // namespace tarvix_virtual::detail
