// Whole I3C flows through the blocking session against the virtual adapter's
// modelled bus: bring-up, identities, private transfers in every mode,
// address changes, and IBIs and hot-joins.
#include "i3c_test_support.hpp"

#include <tarvix_virtual/i3c_bus.hpp>
#include <tarvixsdk/i3c_helpers.hpp>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

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
    bool duringCall = false;  // arrived while the test's blocking call had not returned
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
        sdk().onNotification([events = events_, inCall = inCall_](const Notification& n) {
            Event event{n.kind, 0, {}, inCall->load()};
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

    // Marks the span of one blocking call, for Event::duringCall.
    void setInCall(bool on) { inCall_->store(on); }

private:
    std::optional<tv::I3cBus> bus_;
    // Shared with the handler, which the session may still run until it is destroyed.
    std::shared_ptr<Inbox<Event>> events_ = std::make_shared<Inbox<Event>>();
    std::shared_ptr<std::atomic<bool>> inCall_ = std::make_shared<std::atomic<bool>>(false);
};

} // namespace

TEST_F(I3cBusScenario, BringUp_TableListsEveryTargetWithTheIdentityItReports)
{
    bringUp();
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

    std::uint16_t maxRead = 0;
    std::optional<std::uint8_t> ibiSize;
    EXPECT_EQ(sdk().i3cCccGETMRL(kSensorDynamic, maxRead, ibiSize), StatusCode::SUCCESS);
    EXPECT_EQ(maxRead, 256);
    EXPECT_EQ(ibiSize, std::optional<std::uint8_t>(4));
    EXPECT_EQ(sdk().i3cCccGETMRL(kMemoryDynamic, maxRead, ibiSize), StatusCode::SUCCESS);
    EXPECT_FALSE(ibiSize.has_value());
}

TEST_F(I3cBusScenario, PrivateTransfers_WhatIsWrittenReadsBackInEveryMode)
{
    bringUp();
    const auto none = I3cTransferFlags::NONE;
    Bytes data;
    EXPECT_EQ(sdk().i3cSdrWrite(kMemoryDynamic, {0x10}, {1, 2, 3, 4}, none), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cSdrRead(kMemoryDynamic, {0x10}, 4, data, none), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4}));

    EXPECT_EQ(sdk().i3cHdrDdrWrite(kMemoryDynamic, 0x20, {0xD1, 0xD2}), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cHdrDdrRead(kMemoryDynamic, 0xA0, 2, data), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{0xD1, 0xD2}));
    // The bus stays in HDR mode until the host ends it.
    EXPECT_EQ(sdk().i3cSdrRead(kMemoryDynamic, {0x20}, 2, data, none),
              StatusCode(static_cast<std::uint16_t>(tv::I3cStatus::HDR_MODE_ACTIVE)));
    EXPECT_TRUE(data.empty());
    EXPECT_EQ(sdk().i3cHdrExitPattern(), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cSdrRead(kMemoryDynamic, {0x20}, 2, data, none), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{0xD1, 0xD2}));

    EXPECT_EQ(sdk().i3cLegacyI2cWrite(kEeprom, {0x00, 0x40}, {0xE1, 0xE2}, none), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cLegacyI2cRead(kEeprom, {0x00, 0x40}, 2, data, none), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{0xE1, 0xE2}));
    EXPECT_EQ(sdk().i3cLegacyI2cRead(kEeprom + 1, {}, 1, data, none),
              StatusCode(static_cast<std::uint16_t>(tv::I3cStatus::NACK)));
}

TEST_F(I3cBusScenario, AddressChanges_ShowInTheTable)
{
    bringUp();
    EXPECT_EQ(sdk().i3cCccSETNEWDA(kMemoryDynamic, 0x40), StatusCode::SUCCESS);
    std::vector<I3cTargetInfo> records = table();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].dynamicAddress, 0x40);
    std::uint8_t bcr = 0;
    EXPECT_EQ(sdk().i3cCccGETBCR(kMemoryDynamic, bcr), StatusCode(static_cast<std::uint16_t>(tv::I3cStatus::NACK)));

    EXPECT_EQ(sdk().i3cCccRSTDAA(), StatusCode::SUCCESS);
    records = table();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].dynamicAddress, 0);
    EXPECT_EQ(records[1].dynamicAddress, 0);
}

TEST_F(I3cBusScenario, Disec_HoldsIbisBackUntilEnecLetsThemThrough)
{
    bringUp();
    EXPECT_EQ(sdk().i3cCccDISECDirect(kSensorDynamic, I3cEvents::INTERRUPTS), StatusCode::SUCCESS);
    EXPECT_EQ(bus().raiseIbi(kSensorPid, {0x5A}), tv::I3cEventResult::QUEUED);
    // An answer cannot overtake a notification sent before its request, so none came.
    table();
    EXPECT_TRUE(events().waitFor(0).empty());

    EXPECT_EQ(sdk().i3cCccENECBroadcast(I3cEvents::INTERRUPTS), StatusCode::SUCCESS);
    const std::vector<Event> seen = events().waitFor(1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].kind, NotificationKind::I3C_IBI);
    EXPECT_EQ(seen[0].address, kSensorDynamic);
    EXPECT_EQ(seen[0].bytes, Bytes{0x5A});
}

TEST_F(I3cBusScenario, IbiAndHotJoin_ArriveWhileABlockingCallWaits)
{
    bringUp();
    // A slow answer keeps the next call waiting; the events raised meanwhile overtake it.
    adapter().clearRecords();
    adapter().setResponseDelay(1500ms);
    std::thread raiser([this] {
        ASSERT_TRUE(adapter().waitForRequests(1, 5s));
        EXPECT_EQ(bus().raiseIbi(kSensorPid, {0x01, 0x02}), tv::I3cEventResult::DELIVERED);
        EXPECT_EQ(bus().hotJoin(targetConfig(kLatePid, 0x02, 0x11)), tv::I3cEventResult::DELIVERED);
    });
    setInCall(true);
    std::uint8_t dcr = 0;
    const StatusCode status = sdk().i3cCccGETDCR(kSensorDynamic, dcr);
    setInCall(false);
    raiser.join();
    adapter().setResponseDelay(0ms);
    EXPECT_EQ(status, StatusCode::SUCCESS);
    EXPECT_EQ(dcr, 0x63);

    const std::vector<Event> seen = events().waitFor(2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].kind, NotificationKind::I3C_IBI);
    EXPECT_EQ(seen[0].address, kSensorDynamic);
    EXPECT_EQ(seen[0].bytes, (Bytes{0x01, 0x02}));
    EXPECT_EQ(seen[1].kind, NotificationKind::I3C_HOT_JOIN);
    EXPECT_EQ(seen[1].address, 0); // it waits for the next ENTDAA
    EXPECT_EQ(seen[1].bytes, (Bytes{0x00, 0x03, 0x00, 0x00, 0x00, 0x01, 0x02, 0x11}));
    EXPECT_TRUE(seen[0].duringCall);
    EXPECT_TRUE(seen[1].duringCall);

    EXPECT_EQ(sdk().i3cCccENTDAA(), StatusCode::SUCCESS);
    const std::vector<I3cTargetInfo> records = table();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(I3cPid::fromBytes(records[2].pid).value, kLatePid);
    EXPECT_EQ(records[2].dynamicAddress, 0x08);
}
