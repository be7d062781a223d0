// Whole I3C flows through the blocking session against the virtual adapter's modelled bus:
// bring-up, identities, private transfers in every mode and an address change. The events are
// checked on each side: the model's frames in tests/virtual, their views in notification_test.
#include <sdk_fixture.hpp>

#include <tarvix_virtual/i3c_bus.hpp>
#include <tarvixsdk/i3c_helpers.hpp>

#include <cstring>

using namespace tarvix_test;

namespace {

constexpr std::uint64_t kSensorPid = 0x04A1'2345'6701; // addressed with SETDASA from its static address
constexpr std::uint64_t kMemoryPid = 0x04A1'2345'6702; // addressed by ENTDAA, at the address the table asks for
constexpr std::uint8_t kSensorStatic = 0x50, kSensorDynamic = 0x0A, kMemoryDynamic = 0x31, kEeprom = 0x52;

tv::I3cTargetConfig targetConfig(std::uint64_t pid, std::uint8_t bcr, std::uint8_t dcr)
{
    tv::I3cTargetConfig config;
    config.pid = pid;
    config.bcr = bcr;
    config.dcr = dcr;
    return config;
}

I3cTargetInfo info(std::uint8_t staticAddress, std::uint8_t dynamicAddress, std::uint64_t pid)
{
    I3cTargetInfo t{};
    t.staticAddress = staticAddress;
    t.dynamicAddress = dynamicAddress;
    const Bytes bytes = I3cPid{pid}.toBytes();
    std::memcpy(t.pid, bytes.data(), sizeof t.pid);
    t.extraWord1 = 0x1234;
    return t;
}

class I3cBusScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        bus_.emplace(adapter());
        tv::I3cTargetConfig sensor = targetConfig(kSensorPid, 0x06, 0x63);
        sensor.staticAddress = kSensorStatic;
        bus().attachTarget(sensor);
        bus().attachTarget(targetConfig(kMemoryPid, 0x02, 0x00));
        bus().attachLegacyTarget(kEeprom);
        bringUp();
    }

    tv::I3cBus& bus() { return *bus_; }

    // Controller set-up, the host's table, SETDASA for the sensor, ENTDAA for the rest.
    void bringUp()
    {
        ASSERT_EQ(sdk().i3cControllerInit(I3cPushPullRate::RATE_12_5_MHZ, I3cOpenDrainTransferRate::RATE_2_5_MHZ,
                                          I2cTransferRate::RATE_400_KHZ, I3cDriveStrength::NORMAL),
                  StatusCode::SUCCESS);
        ASSERT_EQ(sdk().i3cInitBus({info(kSensorStatic, 0, kSensorPid), info(0, kMemoryDynamic, kMemoryPid)}),
                  StatusCode::SUCCESS);
        ASSERT_EQ(sdk().i3cCccRSTDAA(), StatusCode::SUCCESS);
        ASSERT_EQ(sdk().i3cCccSETDASA(kSensorStatic, kSensorDynamic), StatusCode::SUCCESS);
        ASSERT_EQ(sdk().i3cCccENTDAA(), StatusCode::SUCCESS);
    }

    std::vector<I3cTargetInfo> table()
    {
        std::vector<I3cTargetInfo> records;
        EXPECT_EQ(sdk().i3cGetDeviceTable(records), StatusCode::SUCCESS);
        return records;
    }

private:
    std::optional<tv::I3cBus> bus_;
};

} // namespace

TEST_F(I3cBusScenario, BringUp_TableListsEachTargetWithTheIdentityItReportsAndItsNewAddress)
{
    const std::vector<I3cTargetInfo> records = table();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].dynamicAddress, kSensorDynamic);
    EXPECT_EQ(records[1].dynamicAddress, kMemoryDynamic);
    EXPECT_EQ(records[1].extraWord1, 0x1234); // the host's own fields are kept
    for (const I3cTargetInfo& record : records) {
        SCOPED_TRACE(int{record.dynamicAddress});
        Bytes pid;
        std::uint8_t bcr = 0, dcr = 0xFF;
        EXPECT_EQ(sdk().i3cCccGETPID(record.dynamicAddress, pid), StatusCode::SUCCESS);
        EXPECT_EQ(sdk().i3cCccGETBCR(record.dynamicAddress, bcr), StatusCode::SUCCESS);
        EXPECT_EQ(sdk().i3cCccGETDCR(record.dynamicAddress, dcr), StatusCode::SUCCESS);
        EXPECT_EQ(pid, Bytes(record.pid, record.pid + 6));
        EXPECT_EQ(bcr, record.bcr);
        EXPECT_EQ(dcr, record.dcr);
    }
    EXPECT_EQ(I3cPid::fromBytes(records[0].pid).value, kSensorPid);
    EXPECT_EQ(records[0].bcr, 0x06);
    EXPECT_EQ(records[0].dcr, 0x63);

    EXPECT_EQ(sdk().i3cCccSETNEWDA(kMemoryDynamic, 0x40), StatusCode::SUCCESS);
    EXPECT_EQ(table().at(1).dynamicAddress, 0x40);
}

TEST_F(I3cBusScenario, PrivateTransfers_WhatIsWrittenReadsBackInEveryMode)
{
    const auto none = I3cTransferFlags::NONE;
    Bytes data;
    EXPECT_EQ(sdk().i3cSdrWrite(kMemoryDynamic, {0x10}, {1, 2, 3, 4}, none), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cSdrRead(kMemoryDynamic, {0x10}, 4, data, none), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4}));

    EXPECT_EQ(sdk().i3cHdrDdrWrite(kMemoryDynamic, 0x20, {0xD1, 0xD2}), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cHdrDdrRead(kMemoryDynamic, 0xA0, 2, data), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{0xD1, 0xD2}));
    EXPECT_EQ(sdk().i3cHdrExitPattern(), StatusCode::SUCCESS);

    EXPECT_EQ(sdk().i3cLegacyI2cWrite(kEeprom, {0x00, 0x40}, {0xE1, 0xE2}, none), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cLegacyI2cRead(kEeprom, {0x00, 0x40}, 2, data, none), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{0xE1, 0xE2}));
}
