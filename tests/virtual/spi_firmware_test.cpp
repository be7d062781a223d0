// SPI: controller settings and full-duplex transactions with the bench's flash.
#include "virtual_test_support.hpp"

namespace {

class Spi : public BenchTest {
protected:
    // bit order, mode, width, chip select, polarity, u32 frequency (1 MHz)
    std::uint16_t init(std::uint8_t lsbFirst = 0, std::uint8_t chipSelect = 0, std::uint8_t activeHigh = 0)
    {
        return status(vt::codes::SPI_INIT, {lsbFirst, 0, 8, chipSelect, activeHigh, 0x40, 0x42, 0x0F, 0x00});
    }
    // Clocks @p mosi (padded to @p length) and returns what came back.
    vt::Bytes transfer(const vt::Bytes& mosi, std::uint16_t length = 0)
    {
        const vt::Bytes answer = call(vt::codes::SPI_TRANSFER,
                                      concat(concat(u16(static_cast<std::uint16_t>(mosi.size())), u16(length)), mosi));
        EXPECT_EQ(statusOf(answer), 0);
        const vt::Bytes payload = payloadOf(answer);
        if (payload.size() < 2) return {};
        EXPECT_EQ(payload.size() - 2, static_cast<std::size_t>(payload[0] | payload[1] << 8));
        return vt::Bytes(payload.begin() + 2, payload.end());
    }
};

TEST_F(Spi, PageProgram_NeedsWriteEnableAndWrapsInsideItsPage)
{
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(transfer({0x02, 0x00, 0x01, 0x00, 0x11}), vt::Bytes(5, 0xFF)); // ignored: not enabled
    transfer({0x06});
    EXPECT_EQ(transfer({0x05}, 2), (vt::Bytes{0xFF, 0x02})); // write-enable latch set
    transfer({0x02, 0x00, 0x01, 0xFE, 0xA1, 0xA2, 0xA3});
    EXPECT_EQ(transfer({0x05}, 2), (vt::Bytes{0xFF, 0x00})); // cleared by the program
    const vt::Bytes read = transfer({0x03, 0x00, 0x01, 0x00}, 4 + 256);
    EXPECT_EQ(read[4 + 0x00], 0xA3);
    EXPECT_EQ(read[4 + 0xFE], 0xA1);
    EXPECT_EQ(read[4 + 0xFF], 0xA2);
    EXPECT_EQ((*vt::spiFlashContents(*adapter, 0))[0x0200], 0xFF);
}

TEST_F(Spi, ProgrammingOnlyClearsBitsUntilTheSectorIsErased)
{
    ASSERT_EQ(init(), 0);
    transfer({0x06});
    transfer({0x02, 0x00, 0x10, 0x00, 0xF0});
    transfer({0x06});
    transfer({0x02, 0x00, 0x10, 0x00, 0x3C});
    EXPECT_EQ(transfer({0x0B, 0x00, 0x10, 0x00, 0x00}, 6).back(), 0x30); // fast read: one dummy byte
    transfer({0x06});
    transfer({0x20, 0x00, 0x1F, 0xFF}); // any address inside the 4-KiB sector
    EXPECT_EQ(transfer({0x03, 0x00, 0x10, 0x00}, 5).back(), 0xFF);
}

TEST_F(Spi, LsbFirstController_StillTalksToTheFlashWhenBytesAreMirrored)
{
    ASSERT_EQ(init(1), 0);
    // 0x9F mirrored is 0xF9; the ID comes back mirrored too.
    EXPECT_EQ(transfer({0xF9}, 4), (vt::Bytes{0xFF, 0xF7, 0x0C, 0x08}));
}

TEST_F(Spi, NoChipListening_ReadsAllOnes)
{
    ASSERT_EQ(init(0, 1), 0); // nothing on chip select 1
    EXPECT_EQ(transfer({0x9F}, 4), vt::Bytes(4, 0xFF));
    ASSERT_EQ(init(0, 0, 1), 0); // the flash selects active low
    EXPECT_EQ(transfer({0x9F}, 4), vt::Bytes(4, 0xFF));
}

TEST_F(Spi, UninitialisedControllerSettingsAndMalformedTransfers_AreRefused)
{
    const auto notInitialised = code(vt::DeviceStatus::SPI_NOT_INITIALISED);
    EXPECT_EQ(status(vt::codes::SPI_TRANSFER, {1, 0, 1, 0, 0x9F}), notInitialised);
    EXPECT_EQ(status(vt::codes::SPI_SET_PARAMETERS, {0, 0, 8, 0, 0, 0x40, 0x42, 0x0F, 0x00}), notInitialised);
    const auto unsupported = code(vt::DeviceStatus::UNSUPPORTED_SETTING);
    EXPECT_EQ(status(vt::codes::SPI_INIT, {0, 4, 8, 0, 0, 0x40, 0x42, 0x0F, 0x00}), unsupported);
    EXPECT_EQ(status(vt::codes::SPI_INIT, {0, 0, 12, 0, 0, 0x40, 0x42, 0x0F, 0x00}), unsupported);
    EXPECT_EQ(status(vt::codes::SPI_INIT, {0, 0, 8, 4, 0, 0x40, 0x42, 0x0F, 0x00}), unsupported);
    EXPECT_EQ(status(vt::codes::SPI_INIT, {0, 0, 8, 0, 0, 0, 0, 0, 0}), unsupported);
    ASSERT_EQ(init(), 0);
    const vt::Bytes malformed = call(vt::codes::SPI_TRANSFER, {3, 0, 0, 0, 0x9F});
    EXPECT_EQ(statusOf(malformed), code(vt::DeviceStatus::INVALID_PARAMETER));
    EXPECT_EQ(payloadOf(malformed), (vt::Bytes{0, 0}));
}

} // namespace
