// Whole I3C flows through the blocking session against the virtual adapter's modelled bus:
// bring-up, identities, private transfers in every mode, an address change, an IBI and a hot-join.
#include "i3c_test_support.hpp"

#include <tarvix_virtual/i3c_bus.hpp>
#include <tarvixsdk/i3c_helpers.hpp>

#include <cstring>
#include <memory>

using namespace tarvix_test;

namespace {

constexpr std::uint64_t kSensorPid = 0x04A1'2345'6701; // addressed with SETDASA from its static address
constexpr std::uint64_t kMemoryPid = 0x04A1'2345'6702; // addressed by ENTDAA, at the address the table asks for
constexpr std::uint64_t kLatePid = 0x0003'0000'0001;   // hot-joins later
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

// What a notification handler saw, copied out during the call.
struct Event {
    NotificationKind kind = NotificationKind::UNKNOWN;
    std::uint8_t address = 0; // IBI: target address; hot-join: dynamic address
    Bytes bytes;              // IBI: payload; hot-join: PID, BCR, DCR
};

class I3cBusScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        bus_.emplace(adapter());
        tv::I3cTargetConfig sensor = targetConfig(kSensorPid, 0x06, 0x63);
        sensor.staticAddress = kSensorStatic;
        sensor.maxIbiPayloadSize = 4;
        bus().attachTarget(sensor);
        bus().attachTarget(targetConfig(kMemoryPid, 0x02, 0x00));
        bus().attachLegacyTarget(kEeprom);
        bringUp();
        sdk().onNotification([events = events_](const Notification& n) {
            Event event{n.kind, 0, {}};
            if (const I3cIbiNotification* ibi = n.i3cIbi()) {
                event.address = ibi->targetAddress;
                event.bytes.assign(ibi->payload, ibi->payload + ibi->payloadLength);
            }
            if (const I3cHotJoinNotification* join = n.i3cHotJoin()) {
                event.address = join->dynamicAddress;
                event.bytes.assign(join->provisionalId, join->provisionalId + 6);
                event.bytes.insert(event.bytes.end(), {join->bcr, join->dcr});
            }
            events->push(event);
        });
    }

    tv::I3cBus& bus() { return *bus_; }
    Inbox<Event>& events() { return *events_; }

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
    // Shared with the handler, which the session may still run until it is destroyed.
    std::shared_ptr<Inbox<Event>> events_ = std::make_shared<Inbox<Event>>();
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

TEST_F(I3cBusScenario, Events_ArriveDecodedAndAHotJoinerGetsItsAddressAtTheNextEntdaa)
{
    EXPECT_EQ(bus().raiseIbi(kSensorPid, {0x5A}), tv::I3cEventResult::DELIVERED);
    EXPECT_EQ(bus().hotJoin(targetConfig(kLatePid, 0x02, 0x11)), tv::I3cEventResult::DELIVERED);
    const std::vector<Event> seen = events().waitFor(2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].kind, NotificationKind::I3C_IBI);
    EXPECT_EQ(seen[0].address, kSensorDynamic);
    EXPECT_EQ(seen[0].bytes, Bytes{0x5A});
    EXPECT_EQ(seen[1].kind, NotificationKind::I3C_HOT_JOIN);
    EXPECT_EQ(seen[1].address, 0);
    EXPECT_EQ(seen[1].bytes, (Bytes{0x00, 0x03, 0x00, 0x00, 0x00, 0x01, 0x02, 0x11}));

    EXPECT_EQ(sdk().i3cCccENTDAA(), StatusCode::SUCCESS);
    const std::vector<I3cTargetInfo> records = table();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(I3cPid::fromBytes(records[2].pid).value, kLatePid);
    EXPECT_EQ(records[2].dynamicAddress, 0x08);
}
