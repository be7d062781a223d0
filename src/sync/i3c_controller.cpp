// I3C controller, bus and target table, bus patterns. Only the device table answer carries data:
// a count at offset 6, then that many 16-byte target records from offset 7.
#include "../protocol/layout.hpp"
#include "session.hpp"

#include <cstddef>

using namespace tarvix_detail;

namespace {

constexpr std::size_t kTableCountOffset = 6;
constexpr std::size_t kTableOffset = 7;
constexpr std::size_t kRecordSize = sizeof(I3cTargetInfo);

// One record, read field by field: the wire layout is fixed (16-bit fields little-endian),
// whatever the host's byte order.
I3cTargetInfo readTarget(const FrameReader& r, std::size_t at) noexcept
{
    I3cTargetInfo target{};
    target.staticAddress = r.u8(at + 0);
    target.dynamicAddress = r.u8(at + 1);
    for (std::size_t i = 0; i < sizeof target.pid; ++i) {
        target.pid[i] = r.u8(at + 2 + i);
    }
    target.bcr = r.u8(at + 8);
    target.dcr = r.u8(at + 9);
    target.extraWord1 = r.u16(at + 10);
    target.extraWord2 = r.u16(at + 12);
    target.extraByte1 = r.u8(at + 14);
    target.extraByte2 = r.u8(at + 15);
    return target;
}

// The table is replaced by the records announced, as far as whole records arrived: a count
// larger than the frame holds yields the records that are there, never bytes from past the end,
// and with status 0 is RESPONSE_TOO_SHORT.
void readTable(const FrameReader& r, std::vector<I3cTargetInfo>& table)
{
    const std::size_t count = r.declaredUnits(kTableOffset, r.u8(kTableCountOffset), kRecordSize);
    if (r.overlong()) {
        return;
    }
    table.clear();
    table.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        table.push_back(readTarget(r, kTableOffset + i * kRecordSize));
    }
}

} // namespace

StatusCode TarvixSDK::i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                        I2cTransferRate i2cRate, I3cDriveStrength driveStrength)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cControllerInit(id, lowByte(pushPullRate), lowByte(openDrainRate), lowByte(i2cRate),
                                   lowByte(driveStrength));
    });
}

StatusCode TarvixSDK::i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                       I2cTransferRate i2cRate, I3cDriveStrength driveStrength)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cSetParameters(id, lowByte(pushPullRate), lowByte(openDrainRate), lowByte(i2cRate),
                                  lowByte(driveStrength));
    });
}

StatusCode TarvixSDK::i3cInitBus(std::vector<I3cTargetInfo> targets)
{
    // `targets` is this call's own copy; the send step may hand it on.
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.i3cInitBus(id, std::move(targets)); });
}

StatusCode TarvixSDK::i3cResetBus()
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.i3cResetBus(id); });
}

StatusCode TarvixSDK::i3cGetDeviceTable(std::vector<I3cTargetInfo>& table)
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.i3cGetDeviceTable(id); },
                          [&](const FrameReader& r) { readTable(r, table); });
}

StatusCode TarvixSDK::i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cSetTargetDeviceConfiguration(id, targetAddress, configuration);
    });
}

StatusCode TarvixSDK::i3cHdrExitPattern()
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.i3cHdrExitPattern(id); });
}

StatusCode TarvixSDK::i3cTargetResetPattern()
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.i3cTargetResetPattern(id); });
}
