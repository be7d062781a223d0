// I3C controller: clock and drive settings, bus bring-up with the expected targets, bus reset,
// the adapter's target table, one target's configuration byte, and the two bus patterns.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

namespace {

// One target record, 16 bytes, written field by field so that the wire layout (16-bit fields
// little-endian) does not depend on the host's byte order or on how the compiler packs it.
void appendTarget(FrameBuilder& f, const I3cTargetInfo& target)
{
    f.u8(target.staticAddress)
        .u8(target.dynamicAddress)
        .bytes(target.pid, sizeof target.pid)
        .u8(target.bcr)
        .u8(target.dcr)
        .u16(target.extraWord1)
        .u16(target.extraWord2)
        .u8(target.extraByte1)
        .u8(target.extraByte2);
}

// Both bus patterns share one command; the selector byte chooses the pattern.
constexpr std::uint8_t kTargetResetPattern = 0x00;
constexpr std::uint8_t kHdrExitPattern = 0x01;

} // namespace

// Init and set-parameters carry the same four setting bytes, the adapter's own codes, unchecked;
// only the command code differs.
StatusCode TarvixAsyncSDK::i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate,
                                             std::uint8_t openDrainRate, std::uint8_t i2cRate,
                                             std::uint8_t driveStrength)
{
    return session_->sendByteFields(transactionId, cmd::kI3cControllerInit, pushPullRate, openDrainRate, i2cRate,
                                    driveStrength);
}

StatusCode TarvixAsyncSDK::i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate,
                                            std::uint8_t openDrainRate, std::uint8_t i2cRate,
                                            std::uint8_t driveStrength)
{
    return session_->sendByteFields(transactionId, cmd::kI3cSetParameters, pushPullRate, openDrainRate, i2cRate,
                                    driveStrength);
}

// The count field is one byte, so a list is at most 255 targets: the count is the size cut to
// 8 bits while every record is appended. The adapter's table is that small; a longer list is
// the caller's mistake and the adapter's status tells them so.
StatusCode TarvixAsyncSDK::i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets)
{
    return session_->send(transactionId, cmd::kI3cInitBus, true, [&](FrameBuilder& f) {
        f.u8(lowByte(targets.size()));
        for (const I3cTargetInfo& target : targets) {
            appendTarget(f, target);
        }
    });
}

StatusCode TarvixAsyncSDK::i3cResetBus(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kI3cResetBus);
}

StatusCode TarvixAsyncSDK::i3cGetDeviceTable(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kI3cGetDeviceTable);
}

StatusCode TarvixAsyncSDK::i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress,
                                                           I3cTargetConfiguration configuration)
{
    // The raw byte goes as given: the bit view is only a convenience for the caller.
    return session_->sendByteFields(transactionId, cmd::kI3cSetTargetDeviceConfiguration, targetAddress,
                                    configuration.raw);
}

StatusCode TarvixAsyncSDK::i3cHdrExitPattern(TransactionId transactionId)
{
    return session_->sendByteFields(transactionId, cmd::kI3cBusPattern, kHdrExitPattern);
}

StatusCode TarvixAsyncSDK::i3cTargetResetPattern(TransactionId transactionId)
{
    return session_->sendByteFields(transactionId, cmd::kI3cBusPattern, kTargetResetPattern);
}
