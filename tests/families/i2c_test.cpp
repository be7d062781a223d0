// I2C: the transfer and scan frames, and how reads and scans are decoded. The controller
// settings are in frame_rules_test.cpp (init and set-parameters), as are the register-address
// limit and the 16-bit write count.
#include <sdk_fixture.hpp>

using namespace tarvix_test;

namespace {

using I2cAsync = AsyncSessionTest;
using I2cSync = SyncSessionTest;

TEST_F(I2cAsync, Transfers_FoldTheRegisterAddressIntoALittleEndianWord)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.i2cWrite(1, 0, 0x50, {0x12, 0x34}, {0xAA}, true);
              }),
              (Bytes{0x01, 0x00, 0x04, 0x09, 0x00, 0x01, 0x00, 0x50, 0x02, 0x34, 0x12, 0x00, 0x00, 0x01, 0xAA}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.i2cRead(1, 1, 0x50, {1, 2, 3, 4}, 0x1234, false);
              }),
              (Bytes{0x01, 0x00, 0x05, 0x09, 0x01, 0x34, 0x12, 0x50, 0x04, 0x04, 0x03, 0x02, 0x01, 0x00}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cRead(1, 1, 0x50, {}, 2, false); }),
              (Bytes{0x01, 0x00, 0x05, 0x09, 0x01, 0x02, 0x00, 0x50, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    // The scan's bus index is for the blocking method to judge.
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cScanBus(1, 7, true); }),
              (Bytes{0x01, 0x00, 0x06, 0x09, 0x07, 0x01}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i2cSetPullUpResistors(0x0201, 2, 5); }),
              (Bytes{0x01, 0x02, 0x02, 0x08, 0x02, 0x05}));
}

TEST_F(I2cSync, I2cRead_TakesAtMostTheBytesThatArrivedEvenOnDeviceError)
{
    answer(0x0905, 0, {0xE0, 0xE1, 0xE2, 1, 2, 3, 4, 5}); // data from offset 9, `length` of it
    Bytes data;
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x10}, 4, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{1, 2, 3, 4}));

    answer(0x0905, 0x0002, {0xE0, 0xE1, 0xE2, 9, 8});
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {}, 10, data, false), StatusCode(0x0002));
    EXPECT_EQ(data, (Bytes{9, 8}));

    // Fewer than the length asked for, with status 0: what came, but never a success.
    answer(0x0905, 0, {0xE0, 0xE1, 0xE2, 9, 8});
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {}, 3, data, false), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(data, (Bytes{9, 8}));
}

TEST_F(I2cSync, ScanBus_ListsOneByteThenTwoByteEntriesAndCallsAnAnswerPromisingMoreTooShort)
{
    answer(0x0906, 0, {0x00, 3, 2, 0x10, 0x20, 0x30, 0x41, 0x42, 0x51, 0x52, 0xEE});
    Bytes addresses;
    std::uint8_t one = 0, two = 0;
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 1, false), StatusCode::SUCCESS);
    EXPECT_EQ(one, 3);
    EXPECT_EQ(two, 2);
    EXPECT_EQ(addresses, (Bytes{0x10, 0x20, 0x30, 0x41, 0x42, 0x51, 0x52}));

    // The verdict overrides the device's own status; the counts are still reported.
    answer(0x0906, 0x0004, {0x00, 3, 1, 0x10, 0x20, 0x30, 0x41});
    addresses = {0xAB};
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 0, false), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(one, 3);
    EXPECT_EQ(two, 1);
    EXPECT_EQ(addresses, Bytes{0xAB});
}

TEST_F(I2cSync, ScanBus_ChecksBusAndPointersBeforeAnythingElse)
{
    Bytes addresses;
    std::uint8_t one = 9, two = 9;
    adapter().clearRecords();
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 2, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 2, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, nullptr, &two, 0, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, nullptr, 0, false), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 1, false), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(one, 9);
    EXPECT_EQ(two, 9);
}

} // namespace
