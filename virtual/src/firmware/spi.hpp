// State of the SPI controller and of the flash chips on its chip-select lines.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarvix_virtual::detail {

// A 512-Kbit SPI NOR flash answering the common command set: JEDEC ID (0x9F),
// read (0x03), fast read (0x0B), read status (0x05), write enable and
// disable (0x06, 0x04), page program (0x02), 4-KiB sector erase (0x20) and
// chip erase (0xC7 or 0x60). Its ID is EF 30 10, as a W25X05 reports it.
struct SpiFlash {
    static constexpr std::size_t kSize = 64 * 1024;
    static constexpr std::size_t kPage = 256;
    static constexpr std::size_t kSector = 4096;
    static constexpr std::array<std::uint8_t, 3> kJedecId{0xEF, 0x30, 0x10};

    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(kSize, 0xFF);
    bool writeEnabled = false;

    // One transaction, chip select held for all of @p mosi; answers what the
    // chip drives on MISO (0xFF where it drives nothing). Programming and
    // erasing complete at once, so the status register never shows busy.
    std::vector<std::uint8_t> transact(const std::vector<std::uint8_t>& mosi);
};

struct SpiState {
    static constexpr std::size_t kChipSelects = 4;
    static constexpr std::uint32_t kMaxFrequency = 50000000;

    bool initialised = false;
    bool lsbFirst = false;
    std::uint8_t mode = 0;
    std::uint8_t dataWidth = 8;
    std::uint8_t chipSelect = 0;
    bool activeHigh = false;
    std::uint32_t frequency = 0;
    std::array<std::optional<SpiFlash>, kChipSelects> flashes;

    // Power-on: controller uninitialised; the chips keep their contents.
    void restart();
};

} // namespace tarvix_virtual::detail
