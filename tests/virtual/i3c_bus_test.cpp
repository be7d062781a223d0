// The firmware's I3C bus: addressing, the target table, CCCs, private
// transfers, bus patterns and the events raised through the control API.
#include "tarvix_virtual/i3c_bus.hpp"

#include "virtual_test_support.hpp"

namespace {

constexpr std::uint16_t kInitBus = 0x1904, kResetBus = 0x1905, kGetTable = 0x1906, kSetConfig = 0x1907,
                        kTransfer = 0x1908, kCcc = 0x1909, kPattern = 0x190A;
constexpr std::uint16_t kSuccess = 0x0000, kInvalid = 0x0001;
constexpr auto kNack = static_cast<std::uint16_t>(vt::I3cStatus::NACK);
constexpr auto kHdrActive = static_cast<std::uint16_t>(vt::I3cStatus::HDR_MODE_ACTIVE);
constexpr auto kRefused = static_cast<std::uint16_t>(vt::I3cStatus::ADDRESS_REFUSED);

constexpr std::uint8_t kBroadcast = 0x7E;
constexpr std::uint8_t ENEC = 0x00, DISEC = 0x01, RSTDAA = 0x06, ENTDAA = 0x07, SETMRL = 0x0A, RSTACT = 0x2A,
                       ENEC_D = 0x80, DISEC_D = 0x81, SETDASA = 0x87, SETNEWDA = 0x88, SETMWL_D = 0x89,
                       GETMWL = 0x8B, GETMRL = 0x8C, GETPID = 0x8D, GETBCR = 0x8E, GETSTATUS = 0x90,
                       GETMXDS = 0x94, GETCAPS = 0x95, RSTACT_D = 0x9A;

vt::I3cTargetConfig target(std::uint64_t pid, std::optional<std::uint8_t> staticAddress = std::nullopt) {
    vt::I3cTargetConfig config;
    config.pid = pid;
    config.staticAddress = staticAddress;
    config.bcr = 0x06;
    config.dcr = static_cast<std::uint8_t>(0xC0 | (pid & 0x0F));
    return config;
}

vt::Bytes record(std::uint8_t staticAddress, std::uint8_t dynamicAddress, std::uint64_t pid, std::uint8_t bcr,
                 std::uint8_t dcr, vt::Bytes extra = {0, 0, 0, 0, 0, 0}) {
    vt::Bytes r{staticAddress, dynamicAddress};
    for (int shift = 40; shift >= 0; shift -= 8) r.push_back(static_cast<std::uint8_t>(pid >> shift));
    r.push_back(bcr);
    r.push_back(dcr);
    r.insert(r.end(), extra.begin(), extra.end());
    return r;
}

std::uint16_t statusOf(const vt::Bytes& frame) {
    return frame.size() >= 6 ? static_cast<std::uint16_t>(frame[4] | frame[5] << 8) : std::uint16_t{0xFFFF};
}

struct Answer {
    std::uint16_t status;
    vt::Bytes data;
};

class I3cFirmware : public VirtualAdapterTest {
protected:
    void SetUp() override {
        VirtualAdapterTest::SetUp();
        adapter.emplace(vt::attach());
        bus.emplace(*adapter);
        dev = open(*adapter);
        ASSERT_NE(dev, nullptr);
    }

    // One command; the notifications that come before its answer are kept for takeNotifications().
    vt::Bytes send(std::uint16_t code, const vt::Bytes& payload = {}) {
        if (!writeFrame(dev, requestFrame(1, code, payload), 64)) return {};
        for (;;) {
            auto frame = readFrame(dev, 64, 2000);
            if (!frame) return {};
            if (vt::transactionIdOf(*frame) != 0) return *frame;
            notes.push_back(*frame);
        }
    }

    // Notifications received so far, after waiting up to @p timeoutMs for at least @p count.
    std::vector<vt::Bytes> takeNotifications(std::size_t count = 0, int timeoutMs = 2000) {
        while (notes.size() < count) {
            auto frame = readFrame(dev, 64, timeoutMs);
            if (!frame) break;
            notes.push_back(*frame);
        }
        while (auto frame = readFrame(dev, 64, 0)) notes.push_back(*frame);
        return std::exchange(notes, {});
    }

    Answer ccc(std::uint8_t address, std::uint8_t code, const vt::Bytes& data = {},
               std::optional<std::uint8_t> definingByte = std::nullopt) {
        vt::Bytes payload{address, static_cast<std::uint8_t>(definingByte ? 0x10 : 0x00),
                          static_cast<std::uint8_t>(data.size()), code, definingByte.value_or(0)};
        payload.insert(payload.end(), data.begin(), data.end());
        return answerOf(send(kCcc, payload), 9);
    }

    Answer cccRead(std::uint8_t address, std::uint8_t code, std::uint8_t length,
                   std::optional<std::uint8_t> definingByte = std::nullopt) {
        return answerOf(send(kCcc, {address, static_cast<std::uint8_t>(definingByte ? 0x11 : 0x01), length, code,
                                    definingByte.value_or(0)}),
                        9);
    }

    // SDR (mode 0) or legacy I2C (mode 2) transfer; a read when @p data is empty and @p readLength given.
    Answer transfer(std::uint8_t mode, std::uint8_t address, const vt::Bytes& reg, const vt::Bytes& data,
                    std::optional<std::uint16_t> readLength = std::nullopt) {
        const bool read = readLength.has_value();
        vt::Bytes payload{address, static_cast<std::uint8_t>(mode << 1 | (read ? 1 : 0)), 0,
                          static_cast<std::uint8_t>(reg.size())};
        for (std::size_t i = 0; i < 4; ++i) payload.push_back(i < reg.size() ? reg[i] : 0);
        const std::uint16_t length = read ? *readLength : static_cast<std::uint16_t>(data.size());
        payload.push_back(static_cast<std::uint8_t>(length));
        payload.push_back(static_cast<std::uint8_t>(length >> 8));
        payload.insert(payload.end(), data.begin(), data.end());
        return answerOf(send(kTransfer, payload), 8);
    }
    Answer sdrWrite(std::uint8_t address, const vt::Bytes& reg, const vt::Bytes& data) {
        return transfer(0, address, reg, data);
    }
    Answer sdrRead(std::uint8_t address, const vt::Bytes& reg, std::uint16_t length) {
        return transfer(0, address, reg, {}, length);
    }

    Answer hdr(std::uint8_t address, std::uint8_t command, const vt::Bytes& data, std::uint16_t readLength = 0) {
        const bool read = command >= 0x80;
        const std::uint16_t length = read ? readLength : static_cast<std::uint16_t>(data.size());
        vt::Bytes payload{address, static_cast<std::uint8_t>(read ? 0x03 : 0x02), command, 0,
                          static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8)};
        payload.insert(payload.end(), data.begin(), data.end());
        return answerOf(send(kTransfer, payload), 8);
    }

    std::vector<vt::Bytes> table() {
        const vt::Bytes frame = send(kGetTable);
        std::vector<vt::Bytes> records;
        if (frame.size() < 7) return records;
        for (std::size_t i = 0; i < frame[6] && 7 + 16 * (i + 1) <= frame.size(); ++i)
            records.emplace_back(frame.begin() + 7 + static_cast<std::ptrdiff_t>(16 * i),
                                 frame.begin() + 7 + static_cast<std::ptrdiff_t>(16 * (i + 1)));
        return records;
    }

    std::uint8_t addressOf(std::uint64_t pid) { return bus->target(pid).value().dynamicAddress; }

    std::optional<vt::VirtualAdapter> adapter;
    std::optional<vt::I3cBus> bus;
    hid_device* dev = nullptr;
    std::vector<vt::Bytes> notes;

private:
    // Count at @p countAt: one byte for a CCC (data from 10), two for a transfer (data from 10).
    static Answer answerOf(const vt::Bytes& frame, std::size_t countAt) {
        if (frame.size() < 10) return {statusOf(frame), {}};
        const std::size_t count = countAt == 9 ? frame[9] : static_cast<std::size_t>(frame[8] | frame[9] << 8);
        const std::size_t available = frame.size() - 10;
        return {statusOf(frame), vt::Bytes(frame.begin() + 10,
                                           frame.begin() + 10 + static_cast<std::ptrdiff_t>(std::min(count, available)))};
    }
};

// -- Addressing and the target table ------------------------------------------------------------

TEST_F(I3cFirmware, Entdaa_AddressesLowestPidFirstAroundAddressesInUse) {
    bus->attachTarget(target(0x30));
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20, 0x09));  // its static address 0x09 is taken, but for itself
    bus->attachLegacyTarget(0x08);
    EXPECT_EQ(ccc(kBroadcast, ENTDAA).status, kSuccess);
    EXPECT_EQ(addressOf(0x10), 0x0A);
    EXPECT_EQ(addressOf(0x20), 0x09);
    EXPECT_EQ(addressOf(0x30), 0x0B);
    // Every target found is appended to the empty table, in the order it was addressed.
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{record(0, 0x0A, 0x10, 0x06, 0xC0), record(0x09, 0x09, 0x20, 0x06, 0xC0),
                                               record(0, 0x0B, 0x30, 0x06, 0xC0)}));
}

TEST_F(I3cFirmware, Entdaa_PoolSkipsAddressesOneBitFromBroadcast) {
    // 0x08..0x3D are 54 addresses; the 55th target must get 0x3F, never 0x3E.
    for (std::uint64_t pid = 1; pid <= 56; ++pid) bus->attachTarget(target(pid));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(addressOf(54), 0x3D);
    EXPECT_EQ(addressOf(55), 0x3F);
    EXPECT_EQ(addressOf(56), 0x40);
}

TEST_F(I3cFirmware, InitBus_KeepsTheHostsRecordsAndGivesTheAddressesTheyAskFor) {
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20));
    vt::Bytes payload{2};
    const vt::Bytes first = record(0, 0x30, 0x20, 0, 0, {0x34, 0x12, 0xCD, 0xAB, 0x5A, 0xA5});
    const vt::Bytes second = record(0x50, 0, 0x99, 0, 0);  // a target that never shows up
    payload.insert(payload.end(), first.begin(), first.end());
    payload.insert(payload.end(), second.begin(), second.end());
    ASSERT_EQ(statusOf(send(kInitBus, payload)), kSuccess);
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{first, second}));

    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(addressOf(0x20), 0x30);
    EXPECT_EQ(addressOf(0x10), 0x08);
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{record(0, 0x30, 0x20, 0x06, 0xC0, {0x34, 0x12, 0xCD, 0xAB, 0x5A, 0xA5}),
                                               second, record(0, 0x08, 0x10, 0x06, 0xC0)}));
}

TEST_F(I3cFirmware, InitBus_ShortListIsRefusedAndChangesNothing) {
    EXPECT_EQ(statusOf(send(kInitBus, {2, 1, 2, 3})), kInvalid);
    EXPECT_TRUE(table().empty());
}

TEST_F(I3cFirmware, Setdasa_OnlyTheStaticAddressOfAnUnaddressedTargetAnswers) {
    bus->attachTarget(target(0x10, 0x50));
    EXPECT_EQ(ccc(0x51, SETDASA, {0x0A << 1}).status, kNack);
    EXPECT_EQ(ccc(0x50, SETDASA, {0x0A << 1}).status, kSuccess);
    EXPECT_EQ(addressOf(0x10), 0x0A);
    EXPECT_EQ(ccc(0x50, SETDASA, {0x0B << 1}).status, kNack);  // it has a dynamic address now
    EXPECT_EQ(table(), (std::vector<vt::Bytes>{record(0x50, 0x0A, 0x10, 0x06, 0xC0)}));
}

TEST_F(I3cFirmware, Setnewda_RefusesReservedAndTakenAddresses) {
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20));
    bus->attachLegacyTarget(0x40);
    ccc(kBroadcast, ENTDAA);  // 0x08 and 0x09
    for (const int bad : {0x00, 0x7E, 0x3E, 0x7C, 0x7F, 0x09, 0x40}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(ccc(0x08, SETNEWDA, {static_cast<std::uint8_t>(bad << 1)}).status, kRefused);
    }
    EXPECT_EQ(ccc(0x08, SETNEWDA, {0x21 << 1}).status, kSuccess);
    EXPECT_EQ(addressOf(0x10), 0x21);
    EXPECT_EQ(cccRead(0x08, GETBCR, 1).status, kNack);
    EXPECT_EQ(table().at(0).at(1), 0x21);
}

TEST_F(I3cFirmware, ResetBus_ForgetsTheTableAndEveryAddress) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(statusOf(send(kResetBus)), kSuccess);
    EXPECT_TRUE(table().empty());
    EXPECT_EQ(addressOf(0x10), 0);
}

TEST_F(I3cFirmware, SetTargetConfiguration_StoresTheByteInTheRecordOfThatAddress) {
    bus->attachTarget(target(0x10, 0x50));
    ccc(0x50, SETDASA, {0x0A << 1});
    EXPECT_EQ(statusOf(send(kSetConfig, {0x0A, 0x19})), kSuccess);
    EXPECT_EQ(table().at(0).at(14), 0x19);
    EXPECT_EQ(statusOf(send(kSetConfig, {0x50, 0x07})), kSuccess);  // by static address too
    EXPECT_EQ(table().at(0).at(14), 0x07);
    EXPECT_EQ(statusOf(send(kSetConfig, {0x33, 0x01})), kNack);
}

// -- CCCs ---------------------------------------------------------------------------------------

TEST_F(I3cFirmware, GetCccs_AnswerFromTheTargetsRegistersMostSignificantByteFirst) {
    vt::I3cTargetConfig config = target(0x0123456789AB);
    config.maxWriteLength = 0x0102;
    config.maxReadLength = 0x0304;
    config.maxIbiPayloadSize = 0x05;
    config.status = 0xA55A;
    config.maxDataSpeed = {0x01, 0x02};
    config.capabilities = {0x01, 0x22, 0x33, 0x44, 0x55};
    bus->attachTarget(config);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(cccRead(0x08, GETPID, 6).data, (vt::Bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}));
    EXPECT_EQ(cccRead(0x08, GETMWL, 2).data, (vt::Bytes{0x01, 0x02}));
    EXPECT_EQ(cccRead(0x08, GETMRL, 3).data, (vt::Bytes{0x03, 0x04, 0x05}));
    EXPECT_EQ(cccRead(0x08, GETSTATUS, 2).data, (vt::Bytes{0xA5, 0x5A}));
    EXPECT_EQ(cccRead(0x08, GETMXDS, 5).data, (vt::Bytes{0x01, 0x02}));
    EXPECT_EQ(cccRead(0x08, GETCAPS, 4).data, (vt::Bytes{0x01, 0x22, 0x33, 0x44}));  // no more than asked for
    EXPECT_EQ(cccRead(0x08, GETCAPS, 4, 0x5A).status, kNack);  // defining byte it does not support
}

TEST_F(I3cFirmware, GetCccs_OptionalOnesNotConfiguredAreNacked) {
    vt::I3cTargetConfig config = target(0x10);
    config.capabilities.clear();
    bus->attachTarget(config);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(cccRead(0x08, GETMXDS, 5).status, kNack);
    EXPECT_EQ(cccRead(0x08, GETCAPS, 4).status, kNack);
    EXPECT_EQ(cccRead(0x08, GETMRL, 3).data.size(), 2u);  // no IBI payload size: two bytes
}

TEST_F(I3cFirmware, SetMrlAndSetMwl_BroadcastReachesAllDirectOnlyOne) {
    bus->attachTarget(target(0x10));
    vt::I3cTargetConfig plain = target(0x20);
    plain.bcr = 0x02;  // no IBI payload: the third SETMRL byte is not for it
    bus->attachTarget(plain);
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(ccc(kBroadcast, SETMRL, {0x00, 0x40, 0x08}).status, kSuccess);
    EXPECT_EQ(cccRead(0x08, GETMRL, 3).data, (vt::Bytes{0x00, 0x40, 0x08}));
    EXPECT_EQ(cccRead(0x09, GETMRL, 3).data, (vt::Bytes{0x00, 0x40}));
    EXPECT_EQ(ccc(0x09, SETMWL_D, {0x00, 0x10}).status, kSuccess);
    EXPECT_EQ(cccRead(0x09, GETMWL, 2).data, (vt::Bytes{0x00, 0x10}));
    EXPECT_EQ(cccRead(0x08, GETMWL, 2).data, (vt::Bytes{0x01, 0x00}));
}

TEST_F(I3cFirmware, Cccs_WrongAddressKindOrDirectionOrCodeAreReported) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(cccRead(0x33, GETBCR, 1).status, kNack);
    EXPECT_EQ(ccc(0x08, ENTDAA).status, kInvalid);             // broadcast code to a target
    EXPECT_EQ(cccRead(kBroadcast, GETBCR, 1).status, kInvalid);  // direct code to everyone
    EXPECT_EQ(ccc(0x08, GETBCR).status, kInvalid);             // a GET sent as a write
    EXPECT_EQ(ccc(kBroadcast, 0x7B).status, static_cast<std::uint16_t>(vt::I3cStatus::UNSUPPORTED_CCC));
    EXPECT_EQ(statusOf(send(kCcc, {0x08, 0x01})), kInvalid);  // cut short
}

// -- Private transfers --------------------------------------------------------------------------

TEST_F(I3cFirmware, Sdr_RegisterBytesMoveThePointerAndDataWrapsAround) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(sdrWrite(0x08, {0xFE}, {1, 2, 3}).status, kSuccess);
    EXPECT_EQ(sdrRead(0x08, {0xFE}, 3).data, (vt::Bytes{1, 2, 3}));
    EXPECT_EQ(bus->target(0x10)->memory[0], 3);
    // Two register bytes, most significant first: 0x01FE modulo 256.
    EXPECT_EQ(sdrRead(0x08, {0x01, 0xFE}, 2).data, (vt::Bytes{1, 2}));
    EXPECT_EQ(sdrRead(0x08, {}, 1).data, (vt::Bytes{3}));  // no register: go on from the pointer
}

TEST_F(I3cFirmware, Sdr_LimitsAreTheTargetsCurrentLengths) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    ccc(0x08, SETMWL_D, {0x00, 0x02});
    ccc(kBroadcast, SETMRL, {0x00, 0x03});
    EXPECT_EQ(sdrWrite(0x08, {0}, {1, 2, 3}).status, static_cast<std::uint16_t>(vt::I3cStatus::WRITE_TOO_LONG));
    EXPECT_EQ(bus->target(0x10)->memory[0], 0);
    const Answer read = sdrRead(0x08, {0}, 8);
    EXPECT_EQ(read.status, kSuccess);
    EXPECT_EQ(read.data.size(), 3u);
}

TEST_F(I3cFirmware, Transfers_ToAnAddressNobodyHasAreNacked) {
    bus->attachTarget(target(0x10));
    bus->attachLegacyTarget(0x50);
    const Answer read = sdrRead(0x08, {}, 4);  // not addressed yet
    EXPECT_EQ(read.status, kNack);
    EXPECT_TRUE(read.data.empty());
    EXPECT_EQ(sdrWrite(0x50, {}, {1}).status, kNack);            // an I2C target does not do SDR
    EXPECT_EQ(transfer(2, 0x51, {}, {}, 1).status, kNack);       // no I2C target there
}

TEST_F(I3cFirmware, HdrDdr_CommandsAddressMemoryAndTheBusStaysInHdrUntilTheExitPattern) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(hdr(0x08, 0x20, {7, 8, 9}).status, kSuccess);
    EXPECT_EQ(hdr(0x08, 0xA0, {}, 3).data, (vt::Bytes{7, 8, 9}));
    EXPECT_TRUE(bus->inHdrMode());
    EXPECT_EQ(sdrRead(0x08, {0x20}, 3).status, kHdrActive);
    EXPECT_EQ(cccRead(0x08, GETBCR, 1).status, kHdrActive);
    EXPECT_EQ(statusOf(send(kPattern, {0x01})), kSuccess);
    EXPECT_EQ(sdrRead(0x08, {0x20}, 3).data, (vt::Bytes{7, 8, 9}));
}

TEST_F(I3cFirmware, HdrDdr_CommandDirectionMustMatchAndIncapableTargetsNack) {
    vt::I3cTargetConfig sdrOnly = target(0x10);
    sdrOnly.hdrDdr = false;
    bus->attachTarget(sdrOnly);
    ccc(kBroadcast, ENTDAA);
    const vt::Bytes writeWithReadCommand{0x08, 0x02, 0x90, 0, 1, 0, 0xAA};
    EXPECT_EQ(statusOf(send(kTransfer, writeWithReadCommand)), kInvalid);
    EXPECT_FALSE(bus->inHdrMode());
    EXPECT_EQ(hdr(0x08, 0x10, {1}).status, kNack);
}

TEST_F(I3cFirmware, TargetResetPattern_PerformsEachTargetsResetAction) {
    bus->attachTarget(target(0x10));
    bus->attachTarget(target(0x20));
    ccc(kBroadcast, ENTDAA);
    ccc(kBroadcast, SETMRL, {0x00, 0x10});
    ccc(kBroadcast, DISEC, {}, 0x01);
    sdrWrite(0x08, {0x42}, {0xEE});
    EXPECT_EQ(ccc(0x09, RSTACT_D, {}, 0x02).status, kSuccess);  // whole target, 0x20 only
    hdr(0x08, 0x10, {1});
    EXPECT_EQ(statusOf(send(kPattern, {0x00})), kSuccess);

    EXPECT_FALSE(bus->inHdrMode());
    const auto peripheral = bus->target(0x10).value();
    EXPECT_EQ(peripheral.dynamicAddress, 0x08);
    EXPECT_EQ(peripheral.maxReadLength, 256);
    EXPECT_EQ(peripheral.enabledEvents, 0x0B);
    EXPECT_EQ(peripheral.registerPointer, 0);
    EXPECT_EQ(peripheral.memory[0x42], 0xEE);
    EXPECT_EQ(addressOf(0x20), 0);
    EXPECT_EQ(bus->target(0x20)->resetAction, 0x01);  // back to the default for the next pattern
    EXPECT_EQ(cccRead(0x08, RSTACT_D, 1, 0x81).data, (vt::Bytes{0x01}));
}

// -- Events -------------------------------------------------------------------------------------

TEST_F(I3cFirmware, Ibi_RefusedWithoutAddressOrCapabilityThenDeliveredWithItsPayload) {
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
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(0x1981, 0, {0x08, 2, 0xAA, 0xBB})}));
}

TEST_F(I3cFirmware, Ibi_DisabledIsQueuedAndFollowsTheAnswerOfTheEnecThatAllowsIt) {
    bus->attachTarget(target(0x10));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(ccc(0x08, DISEC_D, {0x01}).status, kSuccess);
    EXPECT_EQ(bus->raiseIbi(0x10, {1}), vt::I3cEventResult::QUEUED);
    EXPECT_EQ(bus->raiseIbi(0x10, {2}), vt::I3cEventResult::QUEUED);
    EXPECT_TRUE(takeNotifications().empty());
    EXPECT_EQ(bus->target(0x10)->pendingIbis, 2u);
    EXPECT_EQ(ccc(0x08, ENEC_D, {0x01}).status, kSuccess);
    EXPECT_EQ(takeNotifications(2), (std::vector<vt::Bytes>{vt::notificationFrame(0x1981, 0, {0x08, 1, 1}),
                                                            vt::notificationFrame(0x1981, 0, {0x08, 1, 2})}));
}

TEST_F(I3cFirmware, HotJoin_WaitsForEntdaaOrIsAddressedAtOnce) {
    EXPECT_EQ(bus->hotJoin(target(0x0A0B0C0D0E0F)), vt::I3cEventResult::DELIVERED);
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(
                                        0x1982, 0, {0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x06, 0xCF, 0x00})}));
    EXPECT_EQ(bus->hotJoin(target(0x01), vt::I3cHotJoinAddressing::ASSIGN_AT_ONCE), vt::I3cEventResult::DELIVERED);
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(
                                        0x1982, 0, {0, 0, 0, 0, 0, 0x01, 0x06, 0xC1, 0x08})}));
    ccc(kBroadcast, ENTDAA);
    EXPECT_EQ(addressOf(0x0A0B0C0D0E0F), 0x09);
}

TEST_F(I3cFirmware, HotJoin_DisabledByBroadcastDisecWaitsForEnec) {
    EXPECT_EQ(ccc(kBroadcast, DISEC, {}, 0x08).status, kSuccess);
    EXPECT_EQ(bus->hotJoin(target(0x10)), vt::I3cEventResult::QUEUED);
    EXPECT_EQ(bus->hotJoin(target(0x20)), vt::I3cEventResult::QUEUED);
    EXPECT_TRUE(takeNotifications().empty());
    ccc(0x7E, ENTDAA);  // 0x10 gets 0x08, 0x20 gets 0x09: neither needs to join any more
    ccc(kBroadcast, RSTDAA);
    EXPECT_EQ(bus->hotJoin(target(0x30)), vt::I3cEventResult::QUEUED);
    EXPECT_EQ(ccc(kBroadcast, ENEC, {}, 0x08).status, kSuccess);
    EXPECT_EQ(takeNotifications(1), (std::vector<vt::Bytes>{vt::notificationFrame(
                                        0x1982, 0, {0, 0, 0, 0, 0, 0x30, 0x06, 0xC0, 0x00})}));
}

TEST_F(I3cFirmware, Attach_RefusesDuplicatePidsAndAddresses) {
    bus->attachTarget(target(0x10, 0x50));
    EXPECT_THROW(bus->attachTarget(target(0x10)), std::invalid_argument);
    EXPECT_THROW(bus->attachTarget(target(0x11, 0x50)), std::invalid_argument);
    EXPECT_THROW(bus->attachLegacyTarget(0x50), std::invalid_argument);
    EXPECT_THROW(bus->hotJoin(target(0x10)), std::invalid_argument);
}

}  // namespace
