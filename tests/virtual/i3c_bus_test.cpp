// The firmware's I3C bus: address assignment and the target table, the CCCs,
// private transfers in every mode and their limits, bus patterns and the
// events raised through the control API.
#include "tarvix_virtual/i3c_bus.hpp"

#include "virtual_test_support.hpp"

namespace {

constexpr std::uint16_t kSuccess = 0x0000, kInvalid = 0x0001;
constexpr auto kNack = static_cast<std::uint16_t>(vt::I3cStatus::NACK);
constexpr auto kHdrActive = static_cast<std::uint16_t>(vt::I3cStatus::HDR_MODE_ACTIVE);

constexpr std::uint8_t kBroadcast = 0x7E;
constexpr std::uint8_t ENEC = 0x00, DISEC = 0x01, RSTDAA = 0x06, ENTDAA = 0x07, SETMRL = 0x0A, SETDASA = 0x87,
                       SETNEWDA = 0x88, SETMWL_D = 0x89, GETMWL = 0x8B, GETMRL = 0x8C, GETPID = 0x8D, GETBCR = 0x8E,
                       GETDCR = 0x8F, GETSTATUS = 0x90, GETMXDS = 0x94, GETCAPS = 0x95, RSTACT_D = 0x9A;

vt::I3cTargetConfig target(std::uint64_t pid, std::optional<std::uint8_t> staticAddress = std::nullopt)
{
    vt::I3cTargetConfig config;
    config.pid = pid;
    config.staticAddress = staticAddress;
    config.bcr = 0x06;
    config.dcr = static_cast<std::uint8_t>(0xC0 | (pid & 0x0F));
    return config;
}

// A 16-byte table record: addresses, PID (MSB first), BCR, DCR and six bytes of host fields.
vt::Bytes record(std::uint8_t staticAddress, std::uint8_t dynamicAddress, std::uint64_t pid)
{
    vt::Bytes r{staticAddress, dynamicAddress};
    for (int shift = 40; shift >= 0; shift -= 8) r.push_back(static_cast<std::uint8_t>(pid >> shift));
    return concat(r, {0x06, static_cast<std::uint8_t>(0xC0 | (pid & 0x0F)), 0, 0, 0, 0, 0, 0});
}

struct Answer {
    std::uint16_t status;
    vt::Bytes data;
};

class I3cFirmware : public BenchTest {
protected:
    void SetUp() override
    {
        BenchTest::SetUp();
        bus.emplace(*adapter);
    }

    // One command; the notifications that come before its answer are kept for takeNotifications().
    vt::Bytes send(std::uint16_t command, const vt::Bytes& payload = {})
    {
        if (!writeFrame(dev, requestFrame(1, command, payload), 64)) return {};
        while (auto frame = readFrame(dev, 64, 2000)) {
            if (vt::transactionIdOf(*frame) != 0) return *frame;
            notes.push_back(*frame);
        }
        return {};
    }

    // Notifications received so far, after waiting for at least @p count.
    std::vector<vt::Bytes> takeNotifications(std::size_t count = 0)
    {
        while (auto frame = readFrame(dev, 64, notes.size() < count ? 2000 : 0)) notes.push_back(*frame);
        return std::exchange(notes, {});
    }

    // A CCC write of @p data, or a read of @p readLength bytes; the count is at 9, the data from 10.
    Answer ccc(std::uint8_t address, std::uint8_t command, const vt::Bytes& data = {},
               std::optional<std::uint8_t> definingByte = std::nullopt, std::uint8_t readLength = 0)
    {
        const auto flags = static_cast<std::uint8_t>((definingByte ? 0x10 : 0x00) | (readLength ? 0x01 : 0x00));
        const auto length = readLength ? readLength : static_cast<std::uint8_t>(data.size());
        const vt::Bytes frame =
            send(vt::codes::I3C_CCC, concat({address, flags, length, command, definingByte.value_or(0)}, data));
        return answerOf(frame, frame.size() >= 10 ? frame[9] : 0);
    }
    Answer cccRead(std::uint8_t address, std::uint8_t command, std::uint8_t length,
                   std::optional<std::uint8_t> definingByte = std::nullopt)
    {
        return ccc(address, command, {}, definingByte, length);
    }

    // SDR (mode 0) or legacy I2C (mode 2) transfer, a read when @p readLength is given; or, with
    // mode 1, HDR-DDR command reg[0] (a read from 0x80). The count is at 8..9, the data from 10.
    Answer transfer(std::uint8_t mode, std::uint8_t address, const vt::Bytes& reg, const vt::Bytes& data,
                    std::optional<std::uint16_t> readLength = std::nullopt)
    {
        vt::Bytes payload{address, static_cast<std::uint8_t>(mode << 1 | (readLength ? 1 : 0))};
        if (mode == 1) {
            payload = concat(payload, {reg.at(0), 0});
        } else {
            payload = concat(payload, {0, static_cast<std::uint8_t>(reg.size())});
            for (std::size_t i = 0; i < 4; ++i) payload.push_back(i < reg.size() ? reg[i] : 0);
        }
        payload = concat(payload, u16(readLength.value_or(static_cast<std::uint16_t>(data.size()))));
        const vt::Bytes frame = send(vt::codes::I3C_PRIVATE_TRANSFER, concat(payload, data));
        return answerOf(frame, frame.size() >= 10 ? static_cast<std::size_t>(frame[8] | frame[9] << 8) : 0);
    }
    Answer sdrRead(std::uint8_t address, const vt::Bytes& reg, std::uint16_t length)
    {
        return transfer(0, address, reg, {}, length);
    }

    std::vector<vt::Bytes> table()
    {
        const vt::Bytes frame = send(vt::codes::I3C_GET_DEVICE_TABLE);
        std::vector<vt::Bytes> records;
        for (std::size_t i = 0; frame.size() >= 7 && i < frame[6] && 7 + 16 * (i + 1) <= frame.size(); ++i)
            records.emplace_back(frame.begin() + 7 + static_cast<std::ptrdiff_t>(16 * i),
                                 frame.begin() + 7 + static_cast<std::ptrdiff_t>(16 * (i + 1)));
        return records;
    }

    std::uint8_t addressOf(std::uint64_t pid) { return bus->target(pid).value().dynamicAddress; }

    std::optional<vt::I3cBus> bus;
    std::vector<vt::Bytes> notes;

private:
    static Answer answerOf(const vt::Bytes& frame, std::size_t count)
    {
        const auto end = static_cast<std::ptrdiff_t>(10 + std::min(count, frame.size() < 10 ? 0 : frame.size() - 10));
        return {statusOf(frame), frame.size() < 10 ? vt::Bytes{} : vt::Bytes(frame.begin() + 10, frame.begin() + end)};
    }
};

// -- Addressing and the target table ------------------------------------------------------------

TEST_F(I3cFirmware, Entdaa_AddressesLowestPidFirstAroundAddressesInUse)
{
    bus->attachTarget(target(0x30));
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20, 0x09)); // its static address 0x09 is taken, but for itself
    bus->attachLegacyTarget(0x08);
    EXPECT_EQ(ccc(kBroadcast, ENTDAA).status, kSuccess);
    // Every target found is appended to the empty table, in the order it was addressed.
    EXPECT_EQ(table(),
              (std::vector<vt::Bytes>{record(0, 0x0A, 0x10), record(0x09, 0x09, 0x20), record(0, 0x0B, 0x30)}));
}

TEST_F(I3cFirmware, Entdaa_PoolSkipsAddressesOneBitFromBroadcast)
{
    // 0x08..0x3D are 54 addresses; the 55th target must get 0x3F, never 0x3E.
    for (std::uint64_t pid = 1; pid <= 56; ++pid) bus->attachTarget(target(pid));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(addressOf(54), 0x3D);
    EXPECT_EQ(addressOf(55), 0x3F);
    EXPECT_EQ(addressOf(56), 0x40);
}

// The host's records replace the table: one found by PID asks ENTDAA for its address, which no
// other target is given; one found by static address is filled in by SETDASA; the host's own
// bytes stay in both.
TEST_F(I3cFirmware, InitBus_RecordsAskForAddressesAndKeepTheHostsBytes)
{
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20));
    bus->attachTarget(target(0x30, 0x50));
    const auto hostByte = [](vt::Bytes r) {
        r[15] = 0xA5;
        return r;
    };
    const vt::Bytes records = concat(concat({2}, hostByte(record(0, 0x08, 0x20))), hostByte(record(0x50, 0, 0)));
    EXPECT_EQ(statusOf(send(vt::codes::I3C_INIT_BUS, records)), kSuccess);
    EXPECT_EQ(ccc(0x50, SETDASA, {0x0A << 1}).status, kSuccess);
    EXPECT_EQ(ccc(kBroadcast, ENTDAA).status, kSuccess); // 0x10 first, but 0x08 is asked for by 0x20
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{hostByte(record(0, 0x08, 0x20)), hostByte(record(0x50, 0x0A, 0x30)),
                                               record(0, 0x09, 0x10)}));
}

TEST_F(I3cFirmware, DirectAddressing_SetdasaNeedsAnUnaddressedStaticAddressSetnewdaAFreeOne)
{
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20, 0x50));
    bus->attachLegacyTarget(0x40);
    EXPECT_EQ(ccc(0x51, SETDASA, {0x09 << 1}).status, kNack);
    EXPECT_EQ(ccc(0x50, SETDASA, {0x09 << 1}).status, kSuccess);
    EXPECT_EQ(ccc(0x50, SETDASA, {0x0B << 1}).status, kNack); // it has a dynamic address now
    ccc(kBroadcast, ENTDAA);                                  // 0x10 gets 0x08
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{record(0x50, 0x09, 0x20), record(0, 0x08, 0x10)}));
    for (const int bad : {0x00, 0x7E, 0x3E, 0x7C, 0x7F, 0x09, 0x40}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(ccc(0x08, SETNEWDA, {static_cast<std::uint8_t>(bad << 1)}).status,
                  static_cast<std::uint16_t>(vt::I3cStatus::ADDRESS_REFUSED));
    }
    EXPECT_EQ(ccc(0x08, SETNEWDA, {0x21 << 1}).status, kSuccess);
    EXPECT_EQ(addressOf(0x10), 0x21);
}

TEST_F(I3cFirmware, TargetConfiguration_GoesToTheRecordOfEitherAddressAndResetBusForgetsAll)
{
    bus->attachTarget(target(0x10, 0x50));
    ccc(0x50, SETDASA, {0x0A << 1});
    EXPECT_EQ(statusOf(send(vt::codes::I3C_SET_TARGET_CONFIGURATION, {0x0A, 0x19})), kSuccess);
    EXPECT_EQ(table().at(0).at(14), 0x19);
    EXPECT_EQ(statusOf(send(vt::codes::I3C_SET_TARGET_CONFIGURATION, {0x50, 0x07})), kSuccess);
    EXPECT_EQ(table().at(0).at(14), 0x07);
    EXPECT_EQ(statusOf(send(vt::codes::I3C_SET_TARGET_CONFIGURATION, {0x33, 0x01})), kNack);

    EXPECT_EQ(statusOf(send(vt::codes::I3C_RESET_BUS)), kSuccess);
    EXPECT_TRUE(table().empty());
    EXPECT_EQ(addressOf(0x10), 0);
}

// -- CCCs ---------------------------------------------------------------------------------------

TEST_F(I3cFirmware, GetCccs_AnswerMostSignificantByteFirstAndNackWhatIsNotConfigured)
{
    vt::I3cTargetConfig full = target(0x10);
    full.status = 0xA55A;
    full.maxDataSpeed = {0x01, 0x02};
    full.capabilities = {0x01, 0x22, 0x33, 0x44, 0x55};
    bus->attachTarget(full);
    vt::I3cTargetConfig bare = target(0xFFFF'FFFF'FFFF);
    bare.capabilities.clear();
    bus->attachTarget(bare);
    ccc(kBroadcast, ENTDAA); // 0x08, then 0x09
    EXPECT_EQ(cccRead(0x08, GETPID, 6).data, (vt::Bytes{0, 0, 0, 0, 0, 0x10}));
    EXPECT_EQ(cccRead(0x08, GETBCR, 1).data, vt::Bytes{0x06});
    EXPECT_EQ(cccRead(0x08, GETDCR, 1).data, vt::Bytes{0xC0});
    EXPECT_EQ(cccRead(0x08, GETSTATUS, 2).data, (vt::Bytes{0xA5, 0x5A}));
    EXPECT_EQ(cccRead(0x08, GETMXDS, 5).data, (vt::Bytes{0x01, 0x02}));
    EXPECT_EQ(cccRead(0x08, GETCAPS, 4).data, (vt::Bytes{0x01, 0x22, 0x33, 0x44})); // no more than asked for
    EXPECT_EQ(cccRead(0x08, GETCAPS, 4, 0x5A).status, kNack);                       // defining byte it does not support

    EXPECT_EQ(cccRead(0x09, GETMXDS, 5).status, kNack);
    EXPECT_EQ(cccRead(0x09, GETCAPS, 4).status, kNack);
}

TEST_F(I3cFirmware, SetMrlAndSetMwl_BroadcastReachesAllDirectOnlyOne)
{
    bus->attachTarget(target(0x10));
    vt::I3cTargetConfig plain = target(0x20);
    plain.bcr = 0x02; // no IBI payload: the third SETMRL byte is not for it
    bus->attachTarget(plain);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(ccc(kBroadcast, SETMRL, {0x00, 0x40, 0x08}).status, kSuccess);
    EXPECT_EQ(cccRead(0x08, GETMRL, 3).data, (vt::Bytes{0x00, 0x40, 0x08}));
    EXPECT_EQ(cccRead(0x09, GETMRL, 3).data, (vt::Bytes{0x00, 0x40}));
    EXPECT_EQ(ccc(0x09, SETMWL_D, {0x00, 0x10}).status, kSuccess);
    EXPECT_EQ(cccRead(0x09, GETMWL, 2).data, (vt::Bytes{0x00, 0x10}));
    EXPECT_EQ(cccRead(0x08, GETMWL, 2).data, (vt::Bytes{0x01, 0x00}));
}

TEST_F(I3cFirmware, Cccs_WrongAddressKindOrDirectionOrCodeAreReported)
{
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(cccRead(0x33, GETBCR, 1).status, kNack);
    EXPECT_EQ(ccc(0x08, ENTDAA).status, kInvalid);              // broadcast code to a target
    EXPECT_EQ(cccRead(kBroadcast, GETBCR, 1).status, kInvalid); // direct code to everyone
    EXPECT_EQ(ccc(0x08, GETBCR).status, kInvalid);              // a GET sent as a write
    EXPECT_EQ(ccc(kBroadcast, 0x7B).status, static_cast<std::uint16_t>(vt::I3cStatus::UNSUPPORTED_CCC));
}

// -- Private transfers --------------------------------------------------------------------------

TEST_F(I3cFirmware, Sdr_RegisterBytesMoveThePointerAndDataWrapsAround)
{
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(transfer(0, 0x08, {0xFE}, {1, 2, 3}).status, kSuccess);
    EXPECT_EQ(sdrRead(0x08, {0xFE}, 3).data, (vt::Bytes{1, 2, 3}));
    EXPECT_EQ(bus->target(0x10)->memory[0], 3);
    // Two register bytes, most significant first: 0x01FE modulo 256.
    EXPECT_EQ(sdrRead(0x08, {0x01, 0xFE}, 2).data, (vt::Bytes{1, 2}));
    EXPECT_EQ(sdrRead(0x08, {}, 1).data, (vt::Bytes{3})); // no register: go on from the pointer
}

// HDR-DDR reaches the memory at the command's low seven bits, and the bus stays in HDR mode until
// the exit pattern; a legacy I2C target's memory then answers as an SDR target's does.
TEST_F(I3cFirmware, HdrDdrAndLegacyI2c_WhatIsWrittenReadsBackOnceTheExitPatternEndsHdr)
{
    bus->attachTarget(target(0x10));
    bus->attachLegacyTarget(0x50);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(transfer(1, 0x08, {0x20}, {0xD1, 0xD2}).status, kSuccess);
    EXPECT_EQ(transfer(1, 0x08, {0xA0}, {}, 2).data, (vt::Bytes{0xD1, 0xD2}));
    EXPECT_EQ(transfer(2, 0x50, {}, {}, 1).status, kHdrActive);
    EXPECT_EQ(statusOf(send(vt::codes::I3C_BUS_PATTERN, {0x01})), kSuccess);
    EXPECT_EQ(transfer(2, 0x50, {0x00, 0x40}, {0xE1, 0xE2}).status, kSuccess);
    EXPECT_EQ(transfer(2, 0x50, {0x00, 0x40}, {}, 2).data, (vt::Bytes{0xE1, 0xE2}));
}

TEST_F(I3cFirmware, Transfers_KeepToTheTargetsLengthsAndAbsentOrIncapableTargetsNack)
{
    vt::I3cTargetConfig sdrOnly = target(0x10);
    sdrOnly.hdrDdr = false;
    bus->attachTarget(sdrOnly);
    bus->attachTarget(target(0x20));
    bus->attachLegacyTarget(0x50);
    const Answer early = sdrRead(0x08, {}, 4); // not addressed yet
    EXPECT_EQ(early.status, kNack);
    EXPECT_TRUE(early.data.empty());
    ccc(kBroadcast, ENTDAA);
    ccc(0x08, SETMWL_D, {0x00, 0x02});
    ccc(kBroadcast, SETMRL, {0x00, 0x03});
    EXPECT_EQ(transfer(0, 0x08, {0}, {1, 2, 3}).status, static_cast<std::uint16_t>(vt::I3cStatus::WRITE_TOO_LONG));
    EXPECT_EQ(bus->target(0x10)->memory[0], 0);
    const Answer read = sdrRead(0x08, {0}, 8);
    EXPECT_EQ(read.status, kSuccess);
    EXPECT_EQ(read.data.size(), 3u);

    EXPECT_EQ(transfer(0, 0x50, {}, {1}).status, kNack);        // an I2C target does not do SDR
    EXPECT_EQ(transfer(2, 0x51, {}, {}, 1).status, kNack);      // no I2C target there
    EXPECT_EQ(transfer(1, 0x08, {0x10}, {1}).status, kNack);    // no HDR-DDR
    EXPECT_EQ(transfer(1, 0x09, {0x90}, {1}).status, kInvalid); // a write with a read command
}

TEST_F(I3cFirmware, TargetResetPattern_EndsHdrAndPerformsEachTargetsResetAction)
{
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20));
    ccc(kBroadcast, ENTDAA);
    ccc(kBroadcast, SETMRL, {0x00, 0x10});
    ccc(kBroadcast, DISEC, {}, 0x01);
    transfer(0, 0x08, {0x42}, {0xEE});
    EXPECT_EQ(ccc(0x09, RSTACT_D, {}, 0x02).status, kSuccess);  // whole target, 0x20 only
    EXPECT_EQ(transfer(1, 0x08, {0x10}, {1}).status, kSuccess); // HDR-DDR write
    EXPECT_EQ(cccRead(0x08, GETBCR, 1).status, kHdrActive);     // no CCC until HDR ends
    EXPECT_EQ(statusOf(send(vt::codes::I3C_BUS_PATTERN, {0x00})), kSuccess);

    EXPECT_FALSE(bus->inHdrMode());
    const auto peripheral = bus->target(0x10).value();
    EXPECT_EQ(peripheral.dynamicAddress, 0x08);
    EXPECT_EQ(peripheral.maxReadLength, 256);
    EXPECT_EQ(peripheral.enabledEvents, 0x0B);
    EXPECT_EQ(peripheral.registerPointer, 0);
    EXPECT_EQ(peripheral.memory[0x42], 0xEE);
    EXPECT_EQ(addressOf(0x20), 0);
    EXPECT_EQ(bus->target(0x20)->resetAction, 0x01); // back to the default for the next pattern
    EXPECT_EQ(cccRead(0x08, RSTACT_D, 1, 0x81).data, (vt::Bytes{0x01}));
}

// -- Events -------------------------------------------------------------------------------------

TEST_F(I3cFirmware, Ibi_RefusedWithoutAddressOrCapabilityAndCutToTheTargetsPayloadSize)
{
    vt::I3cTargetConfig config = target(0x10);
    config.maxIbiPayloadSize = 2;
    bus->attachTarget(config);
    vt::I3cTargetConfig mute = target(0x20);
    mute.bcr = 0x00;
    bus->attachTarget(mute);
    EXPECT_EQ(bus->raiseIbi(0x10, {0xAA}), vt::I3cEventResult::REFUSED);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(bus->raiseIbi(0x20), vt::I3cEventResult::REFUSED);
    EXPECT_EQ(bus->raiseIbi(0x99), vt::I3cEventResult::REFUSED);
    EXPECT_EQ(bus->raiseIbi(0x10, {0xAA, 0xBB, 0xCC}), vt::I3cEventResult::DELIVERED);
    EXPECT_EQ(takeNotifications(1),
              (std::vector<vt::Bytes>{vt::notificationFrame(vt::codes::I3C_IBI, 0, {0x08, 2, 0xAA, 0xBB})}));
}

TEST_F(I3cFirmware, HotJoin_AssignedAtOnceOrHeldByDisecUntilEnec)
{
    EXPECT_EQ(bus->hotJoin(target(0x01), vt::I3cHotJoinAddressing::ASSIGN_AT_ONCE), vt::I3cEventResult::DELIVERED);
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(
                                        vt::codes::I3C_HOT_JOIN, 0, {0, 0, 0, 0, 0, 0x01, 0x06, 0xC1, 0x08})}));

    EXPECT_EQ(ccc(kBroadcast, DISEC, {}, 0x08).status, kSuccess);
    EXPECT_EQ(bus->hotJoin(target(0x10)), vt::I3cEventResult::QUEUED);
    EXPECT_EQ(bus->hotJoin(target(0x20)), vt::I3cEventResult::QUEUED);
    EXPECT_TRUE(takeNotifications().empty());
    ccc(kBroadcast, ENTDAA); // addresses both: neither needs to join any more
    ccc(kBroadcast, RSTDAA);
    EXPECT_EQ(bus->hotJoin(target(0x30)), vt::I3cEventResult::QUEUED);
    EXPECT_EQ(ccc(kBroadcast, ENEC, {}, 0x08).status, kSuccess);
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(
                                        vt::codes::I3C_HOT_JOIN, 0, {0, 0, 0, 0, 0, 0x30, 0x06, 0xC0, 0x00})}));
}

TEST_F(I3cFirmware, Attach_RefusesDuplicatePidsAndAddresses)
{
    bus->attachTarget(target(0x10, 0x50));
    EXPECT_THROW(bus->attachTarget(target(0x10)), std::invalid_argument);
    EXPECT_THROW(bus->attachTarget(target(0x11, 0x50)), std::invalid_argument);
    EXPECT_THROW(bus->attachLegacyTarget(0x50), std::invalid_argument);
    EXPECT_THROW(bus->hotJoin(target(0x10)), std::invalid_argument);
}

} // namespace
