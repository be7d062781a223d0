// SPI: the controller's settings and full-duplex transfers with the flash
// chips on its chip-select lines.
#include <algorithm>
#include <cstddef>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

namespace {

constexpr std::uint8_t kPageProgram = 0x02;
constexpr std::uint8_t kRead = 0x03;
constexpr std::uint8_t kWriteDisable = 0x04;
constexpr std::uint8_t kReadStatus = 0x05;
constexpr std::uint8_t kWriteEnable = 0x06;
constexpr std::uint8_t kFastRead = 0x0B;
constexpr std::uint8_t kSectorErase = 0x20;
constexpr std::uint8_t kChipErase = 0x60;
constexpr std::uint8_t kChipEraseAlt = 0xC7;
constexpr std::uint8_t kReadJedecId = 0x9F;
constexpr std::uint8_t kStatusWriteEnabled = 0x02;

std::size_t addressOf(const std::vector<std::uint8_t>& mosi)
{
    return (static_cast<std::size_t>(mosi[1]) << 16 | static_cast<std::size_t>(mosi[2]) << 8 | mosi[3]) %
           SpiFlash::kSize;
}

} // namespace

std::vector<std::uint8_t> SpiFlash::transact(const std::vector<std::uint8_t>& mosi)
{
    std::vector<std::uint8_t> miso(mosi.size(), 0xFF);
    if (mosi.empty()) return miso;
    const std::uint8_t command = mosi[0];
    switch (command) {
    case kReadJedecId:
        for (std::size_t i = 1; i < miso.size() && i <= kJedecId.size(); ++i) miso[i] = kJedecId[i - 1];
        break;
    case kReadStatus:
        for (std::size_t i = 1; i < miso.size(); ++i) miso[i] = writeEnabled ? kStatusWriteEnabled : 0;
        break;
    case kWriteEnable: writeEnabled = true; break;
    case kWriteDisable: writeEnabled = false; break;
    case kRead:
    case kFastRead: {
        const std::size_t first = command == kRead ? 4 : 5; // fast read has one dummy byte
        if (mosi.size() < 4) break;
        std::size_t address = addressOf(mosi);
        for (std::size_t i = first; i < miso.size(); ++i) {
            miso[i] = memory[address];
            address = (address + 1) % kSize;
        }
        break;
    }
    case kPageProgram: {
        // Programming only clears bits; past the end of the page it wraps to
        // the page's start.
        if (!writeEnabled || mosi.size() < 4) break;
        const std::size_t address = addressOf(mosi);
        const std::size_t page = address - address % kPage;
        for (std::size_t i = 4; i < mosi.size(); ++i) memory[page + (address + i - 4) % kPage] &= mosi[i];
        writeEnabled = false;
        break;
    }
    case kSectorErase: {
        if (!writeEnabled || mosi.size() < 4) break;
        const std::size_t address = addressOf(mosi);
        const std::size_t sector = address - address % kSector;
        std::fill(memory.begin() + static_cast<std::ptrdiff_t>(sector),
                  memory.begin() + static_cast<std::ptrdiff_t>(sector + kSector), std::uint8_t{0xFF});
        writeEnabled = false;
        break;
    }
    case kChipErase:
    case kChipEraseAlt:
        if (!writeEnabled) break;
        std::fill(memory.begin(), memory.end(), std::uint8_t{0xFF});
        writeEnabled = false;
        break;
    default: break; // unknown command: the chip stays silent
    }
    return miso;
}

void SpiState::restart()
{
    initialised = false;
    lsbFirst = false;
    mode = 0;
    dataWidth = 8;
    chipSelect = 0;
    activeHigh = false;
    frequency = 0;
}

namespace {

// clang-format off
// Payload offsets of init and set parameters.
constexpr std::size_t kBitOrder          = 0;  // 0 MSB first, 1 LSB first
constexpr std::size_t kMode              = 1;  // 0..3
constexpr std::size_t kDataWidth         = 2;  // 8 or 16 bits
constexpr std::size_t kChipSelect        = 3;  // 0..3
constexpr std::size_t kPolarity          = 4;  // 0 active low, 1 active high
constexpr std::size_t kFrequency         = 5;  // u32 Hz
constexpr std::size_t kSettingsSize      = 9;
// Payload offsets of a transfer.
constexpr std::size_t kDataCount         = 0;  // u16: data bytes that follow
constexpr std::size_t kTransferLength    = 2;  // u16: bytes to clock
constexpr std::size_t kData              = 4;
// clang-format on

std::uint8_t reversed(std::uint8_t byte)
{
    std::uint8_t result = 0;
    for (int i = 0; i < 8; ++i) result = static_cast<std::uint8_t>(result << 1 | ((byte >> i) & 1));
    return result;
}

// Set-parameters needs an initialised controller.
template <bool Init>
void configure(FirmwareState& state, const Request& request, Reply& reply)
{
    SpiState& spi = state.spi;
    if (!settingsAccepted(request, kSettingsSize, Init || spi.initialised, DeviceStatus::SPI_NOT_INITIALISED, reply))
        return;
    const std::vector<std::uint8_t> settings = request.bytes(0, kSettingsSize);
    const std::uint32_t frequency = *request.u32(kFrequency);
    if (settings[kBitOrder] > 1 || settings[kMode] > 3 || (settings[kDataWidth] != 8 && settings[kDataWidth] != 16) ||
        settings[kChipSelect] >= SpiState::kChipSelects || settings[kPolarity] > 1 || frequency == 0 ||
        frequency > SpiState::kMaxFrequency)
        return reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
    spi.initialised = true;
    spi.lsbFirst = settings[kBitOrder] == 1;
    spi.mode = settings[kMode];
    spi.dataWidth = settings[kDataWidth];
    spi.chipSelect = settings[kChipSelect];
    spi.activeHigh = settings[kPolarity] == 1;
    spi.frequency = frequency;
}

// The data count must match the data that follows. The controller clocks
// max(count, length) bytes, sending 0x00 after the data, and answers u16
// count of bytes clocked, then what came back on MISO. The flashes select on
// an active-low line: with the polarity set active high none of them
// listens, and MISO floats high.
void transfer(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto count = request.u16(kDataCount);
    const auto length = request.u16(kTransferLength);
    SpiState& spi = state.spi;
    std::vector<std::uint8_t> miso;
    if (!count || !length || *count != request.size() - kData) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    } else if (!spi.initialised) {
        reply.setStatus(DeviceStatus::SPI_NOT_INITIALISED);
    } else {
        std::vector<std::uint8_t> mosi = request.bytes(kData);
        mosi.resize(std::max<std::size_t>(mosi.size(), *length), 0x00);
        std::optional<SpiFlash>& flash = spi.flashes[spi.chipSelect];
        if (flash && !spi.activeHigh) {
            if (spi.lsbFirst)
                for (std::uint8_t& byte : mosi) byte = reversed(byte);
            miso = flash->transact(mosi);
            if (spi.lsbFirst)
                for (std::uint8_t& byte : miso) byte = reversed(byte);
        } else {
            miso.assign(mosi.size(), 0xFF);
        }
    }
    reply.u16(static_cast<std::uint16_t>(miso.size())).bytes(miso);
}

} // namespace

constexpr CommandRows kSpiCommands{
    {codes::SPI_INIT, configure<true>},
    {codes::SPI_SET_PARAMETERS, configure<false>},
    {codes::SPI_TRANSFER, transfer},
};

} // namespace tarvix_virtual::detail
