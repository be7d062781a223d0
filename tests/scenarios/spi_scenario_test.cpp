// The bench's SPI flash on chip select 0, end to end.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

namespace tarvix_test {
namespace {

class SpiScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        ASSERT_EQ(sdk().spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                          SpiChipSelect::CS_0, SpiChipSelectPolarity::ACTIVE_LOW, 1000000),
                  StatusCode::SUCCESS);
    }
    Bytes transfer(const Bytes& data, std::uint16_t length)
    {
        Bytes read;
        EXPECT_EQ(sdk().spiTransfer(data, read, length), StatusCode::SUCCESS);
        return read;
    }
};

TEST_F(SpiScenario, FlashIdentifiesItself)
{
    EXPECT_EQ(transfer({0x9F}, 4), (Bytes{0xFF, 0xEF, 0x30, 0x10}));
}

TEST_F(SpiScenario, PageProgramReadsBackAcrossSeveralReports)
{
    Bytes program{0x02, 0x00, 0x03, 0x00};
    for (int i = 0; i < 256; ++i) {
        program.push_back(static_cast<std::uint8_t>(i ^ 0x5A));
    }
    transfer({0x06}, 1);
    transfer(program, static_cast<std::uint16_t>(program.size()));
    const Bytes read = transfer({0x03, 0x00, 0x03, 0x00}, 4 + 256);
    ASSERT_EQ(read.size(), 260u);
    EXPECT_TRUE(std::equal(read.begin() + 4, read.end(), program.begin() + 4));
}

} // namespace
} // namespace tarvix_test
