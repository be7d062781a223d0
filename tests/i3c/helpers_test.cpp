#include <gtest/gtest.h>
#include <tarvixsdk/tarvixsdk.hpp>

TEST(I3cHelpers, Bcr_NamesEachBitAndTheRoleInBitsSixAndSeven)
{
    constexpr I3cBcr bcr = i3cDecodeBcr(0x66); // 0b0110'0110
    static_assert(!bcr.maxDataSpeedLimitation() && bcr.ibiRequestCapable() && bcr.ibiPayload(), "");
    static_assert(!bcr.offlineCapable() && !bcr.virtualTargetSupport() && bcr.advancedCapabilities(), "");
    static_assert(bcr.deviceRole() == I3cDeviceRole::CONTROLLER_CAPABLE, "");
    EXPECT_TRUE(i3cDecodeBcr(0x01).maxDataSpeedLimitation());
    EXPECT_TRUE(i3cDecodeBcr(0x08).offlineCapable());
    EXPECT_TRUE(i3cDecodeBcr(0x10).virtualTargetSupport());
    EXPECT_EQ(i3cDecodeBcr(0xC0).deviceRole(), I3cDeviceRole::RESERVED_3);
    EXPECT_EQ(i3cDecodeBcr(0x3F).deviceRole(), I3cDeviceRole::TARGET);
}

TEST(I3cHelpers, Pid_SplitsTheFortyEightBitsAsTheBusLaysThemOut)
{
    // Manufacturer 0x011B, vendor-fixed, part 0x2345, instance 0x6, extra 0x789.
    const std::uint8_t bytes[kI3cPidSize] = {0x02, 0x36, 0x23, 0x45, 0x67, 0x89};
    constexpr std::uint8_t randomBytes[kI3cPidSize] = {0x02, 0x37, 0xDE, 0xAD, 0xBE, 0xEF};
    const I3cPid pid = I3cPid::fromBytes(bytes);
    EXPECT_EQ(pid.manufacturerId(), 0x011B);
    EXPECT_FALSE(pid.randomValue());
    EXPECT_EQ(pid.partId(), 0x2345);
    EXPECT_EQ(pid.instanceId(), 0x6);
    EXPECT_EQ(pid.extraInfo(), 0x789);
    EXPECT_EQ(pid.toBytes(), (std::vector<std::uint8_t>(bytes, bytes + kI3cPidSize)));

    constexpr I3cPid random = I3cPid::fromBytes(randomBytes);
    static_assert(random.randomValue() && random.manufacturerId() == 0x011B && random.low32() == 0xDEADBEEF, "");
}

TEST(I3cHelpers, Pid_FromAGetpidAnswerNeedsExactlySixBytes)
{
    EXPECT_FALSE(I3cPid::fromBytes(std::vector<std::uint8_t>{1, 2, 3, 4, 5}).has_value());
    EXPECT_FALSE(I3cPid::fromBytes(std::vector<std::uint8_t>(7)).has_value());
    EXPECT_EQ(I3cPid::fromBytes(std::vector<std::uint8_t>{0, 0, 0, 0, 0x10, 0x01})->value, 0x1001u);
}
