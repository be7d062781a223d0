// The flat command functions: the checks they add and the conversions between the C caller's
// pointers, counts, flags and 32-bit enumerations and the blocking class's arguments.
#include "flat_test_support.hpp"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

using namespace tarvix_test;

namespace {

constexpr StatusCode kOk = StatusCode::SUCCESS;
constexpr StatusCode kInvalid = StatusCode::INVALID_ARGUMENT;
constexpr std::uint16_t kDeviceError = 0x0102;
using H = TarvixSDK_Handle;

// A CCC read's answer payload: three bytes of the adapter's own, the count, the bytes.
Bytes cccAnswer(Bytes data)
{
    data.insert(data.begin(), {0, 0, 0, static_cast<std::uint8_t>(data.size())});
    return data;
}

using FlatChecks = FlatSessionTest;
using FlatConversions = FlatSessionTest;

// The pointers the flat layer needs; the CCC reads made from one macro row share their check, so
// one of each stands for all. A register address over four bytes, an I2C bus past 1 and a null
// scan count are refused by the blocking methods themselves (the families' tests).
TEST_F(FlatChecks, NeededNullPointersAreRefusedBeforeSending)
{
    std::uint16_t word = 0;
    std::uint8_t byte = 0;
    std::uint8_t buffer[255] = {};
    I3cTargetInfo table[1] = {};
    const std::pair<const char*, StatusCode> calls[] = {
        {"GetDeviceInfo", TarvixSDK_GetDeviceInfo(h(), nullptr)},
        {"GpioGetVoltage", TarvixSDK_GpioGetVoltage(h(), nullptr)},
        {"I2cGetBusVoltage", TarvixSDK_I2cGetBusVoltage(h(), nullptr)},
        {"SpiGetBusVoltage", TarvixSDK_SpiGetBusVoltage(h(), nullptr)},
        {"UartGetBusVoltage", TarvixSDK_UartGetBusVoltage(h(), nullptr)},
        {"I3cGetBusVoltage first", TarvixSDK_I3cGetBusVoltage(h(), nullptr, &word)},
        {"I3cGetBusVoltage second", TarvixSDK_I3cGetBusVoltage(h(), &word, nullptr)},
        {"I2cRead null register", TarvixSDK_I2cRead(h(), 0, 0x50, nullptr, 2, 1, buffer, false)},
        {"I2cRead null buffer", TarvixSDK_I2cRead(h(), 0, 0x50, nullptr, 0, 1, nullptr, false)},
        {"I2cWrite null data", TarvixSDK_I2cWrite(h(), 0, 0x50, nullptr, 0, nullptr, 3, false)},
        {"I2cScanBus null list", TarvixSDK_I2cScanBus(h(), nullptr, 255, &byte, &byte, 0, false)},
        {"I3cGetDeviceTable null count", TarvixSDK_I3cGetDeviceTable(h(), table, 1, nullptr)},
        {"I3cGetDeviceTable null table", TarvixSDK_I3cGetDeviceTable(h(), nullptr, 1, &byte)},
        {"I3cSdrRead null length",
         TarvixSDK_I3cSdrRead(h(), 8, nullptr, 0, 4, buffer, nullptr, I3cTransferFlags::NONE)},
        {"I3cSdrRead null register",
         TarvixSDK_I3cSdrRead(h(), 8, nullptr, 1, 4, buffer, &word, I3cTransferFlags::NONE)},
        {"I3cLegacyI2CRead null data",
         TarvixSDK_I3cLegacyI2CRead(h(), 8, nullptr, 0, 4, nullptr, I3cTransferFlags::NONE)},
        {"I3cSdrWrite null data", TarvixSDK_I3cSdrWrite(h(), 8, nullptr, 0, nullptr, 2, I3cTransferFlags::NONE)},
        {"I3cLegacyI2CWrite null register",
         TarvixSDK_I3cLegacyI2CWrite(h(), 8, nullptr, 2, buffer, 2, I3cTransferFlags::NONE)},
        {"I3cHdrDdrRead null length", TarvixSDK_I3cHdrDdrRead(h(), 8, 0x80, 4, nullptr, buffer)},
        {"I3cHdrDdrWrite null data", TarvixSDK_I3cHdrDdrWrite(h(), 8, 0x00, nullptr, 2)},
        {"GETMWL", TarvixSDK_I3cCccGETMWL(h(), 8, nullptr)},
        {"GETMRL", TarvixSDK_I3cCccGETMRL(h(), 8, nullptr, &byte, &byte)},
        {"GETPID", TarvixSDK_I3cCccGETPID(h(), 8, nullptr)},
        {"GETMXDS", TarvixSDK_I3cCccGETMXDS(h(), 8, buffer, nullptr)},
        {"GETCAPS", TarvixSDK_I3cCccGETCAPS(h(), 8, nullptr, &byte, true, 0)},
        {"RSTACT read", TarvixSDK_I3cCccRSTACTDirect(h(), 8, 0x82, 1, nullptr)},
        {"SETBUSCON", TarvixSDK_I3cCccSETBUSCONBroadcast(h(), 1, nullptr, 1)},
        {"SETXTIME broadcast", TarvixSDK_I3cCccSETXTIMEBroadcast(h(), 1, nullptr, 2)},
        {"SETXTIME direct", TarvixSDK_I3cCccSETXTIMEDirect(h(), 8, 1, nullptr, 3)},
    };
    for (const auto& [name, status] : calls) {
        EXPECT_EQ(status, kInvalid) << name;
    }
    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(FlatConversions, CallersBytesAndFlaggedOptionalsAreCopiedIntoTheRequest)
{
    answer(0x1401, 0);
    EXPECT_EQ(TarvixSDK_GpioConfigurePin(h(), GpioPinNumber::GPIO_2, GpioFunctionality::DIGITAL_OUTPUT, false,
                                         GpioLogicLevel::HIGH),
              kOk);
    EXPECT_EQ(lastPayload(), (Bytes{2, 1, 0})); // the level only when flagged
    EXPECT_EQ(TarvixSDK_GpioConfigurePin(h(), GpioPinNumber::GPIO_2, GpioFunctionality::DIGITAL_OUTPUT, true,
                                         GpioLogicLevel::HIGH),
              kOk);
    EXPECT_EQ(lastPayload(), (Bytes{2, 1, 1}));

    answer(0x0904, 0);
    const std::uint8_t reg[2] = {0x12, 0x34}, data[3] = {7, 8, 9};
    EXPECT_EQ(TarvixSDK_I2cWrite(h(), 1, 0x50, reg, 2, data, 3, true), kOk);
    Bytes payload = lastPayload();
    EXPECT_EQ(Bytes(payload.end() - 3, payload.end()), (Bytes{7, 8, 9}));
    EXPECT_EQ(payload[5], 0x34); // the register address, folded MSB first, travels little-endian

    answer(0x1005, 0);
    EXPECT_EQ(TarvixSDK_UartSendMessage(h(), data, 3), kOk);
    EXPECT_EQ(lastPayload(), (Bytes{3, 0, 7, 8, 9}));

    answer(0x1904, 0);
    I3cTargetInfo target{};
    target.staticAddress = 0x50;
    target.extraByte2 = 0x77;
    EXPECT_EQ(TarvixSDK_I3cInitBus(h(), &target, 1), kOk);
    payload = lastPayload();
    ASSERT_EQ(payload.size(), 17u);
    EXPECT_EQ(payload[0], 1);
    EXPECT_EQ(payload[1], 0x50);
    EXPECT_EQ(payload[16], 0x77);
    EXPECT_EQ(TarvixSDK_I3cInitBus(h(), nullptr, 0), kOk);
    EXPECT_EQ(lastPayload(), (Bytes{0}));

    // SPI sends tx bytes only with data and a count, and may discard rx.
    answer(0x0D04, 0, {2, 0, 0xA1, 0xA2});
    EXPECT_EQ(TarvixSDK_SpiTransfer(h(), data, 0, nullptr, 2), kOk);
    EXPECT_EQ(lastPayload(), (Bytes{0, 0, 2, 0}));
    std::uint8_t rx[3] = {0xEE, 0xEE, 0xEE};
    EXPECT_EQ(TarvixSDK_SpiTransfer(h(), data, 2, rx, 2), kOk);
    EXPECT_EQ(lastPayload(), (Bytes{2, 0, 2, 0, 7, 8}));
    EXPECT_EQ(Bytes(rx, rx + 3), (Bytes{0xA1, 0xA2, 0xEE}));
}

TEST_F(FlatConversions, EmptyExtraDataIsPresentButSendsAsAbsent)
{
    answer(0x1909, 0);
    const std::uint8_t extra[1] = {0x5A};
    EXPECT_EQ(TarvixSDK_I3cCccSETBUSCONBroadcast(h(), 3, nullptr, 0), kOk);
    const Bytes absent = lastPayload();
    EXPECT_EQ(TarvixSDK_I3cCccSETBUSCONBroadcast(h(), 3, extra, 0), kOk);
    EXPECT_EQ(lastPayload(), absent);
    EXPECT_EQ(TarvixSDK_I3cCccSETXTIMEDirect(h(), 8, 3, nullptr, 0), kOk);
    const Bytes xtime = lastPayload();
    EXPECT_EQ(TarvixSDK_I3cCccSETXTIMEDirect(h(), 8, 3, extra, 0), kOk);
    EXPECT_EQ(lastPayload(), xtime);
    EXPECT_EQ(TarvixSDK_I3cCccSETBUSCONBroadcast(h(), 3, extra, 1), kOk);
    const Bytes present = lastPayload();
    ASSERT_EQ(present.size(), absent.size() + 1);
    EXPECT_EQ(present.back(), 0x5A);

    // An optional byte likewise: present adds it, absent sends none.
    EXPECT_EQ(TarvixSDK_I3cCccSETMRLDirect(h(), 8, 64, false, 0x20), kOk);
    const std::size_t without = lastPayload().size();
    EXPECT_EQ(TarvixSDK_I3cCccSETMRLDirect(h(), 8, 64, true, 0x20), kOk);
    EXPECT_EQ(lastPayload().size(), without + 1);
    EXPECT_EQ(lastPayload().back(), 0x20);
}

// A scan or a table larger than the caller's capacity: the scan refuses once it ran, the table
// keeps what fits.
TEST_F(FlatConversions, CapacitiesLimitScanAndDeviceTable)
{
    answer(0x0906, 0, {0, 2, 1, 0x48, 0x50, 0x01, 0x23}); // two one-byte entries, one two-byte: four bytes
    std::uint8_t list[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    std::uint8_t one = 0, two = 0;
    EXPECT_EQ(TarvixSDK_I2cScanBus(h(), list, 3, &one, &two, 0, false), kInvalid);
    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(one, 2); // the counts are the method's and written
    EXPECT_EQ(two, 1);
    EXPECT_EQ(Bytes(list, list + 4), (Bytes{0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(TarvixSDK_I2cScanBus(h(), list, 4, &one, &two, 1, true), kOk);
    EXPECT_EQ(Bytes(list, list + 4), (Bytes{0x48, 0x50, 0x01, 0x23}));

    Bytes payload{5};
    for (std::uint8_t i = 0; i < 5; ++i) {
        Bytes record(16, 0);
        record[0] = static_cast<std::uint8_t>(0x50 + i);
        record[1] = static_cast<std::uint8_t>(0x08 + i);
        payload.insert(payload.end(), record.begin(), record.end());
    }
    answer(0x1906, 0, payload);
    I3cTargetInfo table[3] = {};
    table[2].staticAddress = 0xEE;
    std::uint8_t count = 0;
    EXPECT_EQ(TarvixSDK_I3cGetDeviceTable(h(), table, 2, &count), kOk);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(table[0].staticAddress, 0x50);
    EXPECT_EQ(table[1].dynamicAddress, 0x09);
    EXPECT_EQ(table[2].staticAddress, 0xEE);
}

// Reads hand over data and count only on success. An adapter (or a target behind it) may answer
// with more bytes than were asked for, and count them: the caller's buffer, exactly as large as
// it said, takes only what it asked for. The buffers are heap blocks of that exact size, so that
// a byte more is an overrun to ASan.
TEST_F(FlatConversions, ReadsCopyOnlyOnSuccessAndNeverPastTheLengthAskedFor)
{
    const Bytes eight = {1, 2, 3, 4, 5, 6, 7, 8};
    const auto with = [&eight](Bytes head) {
        head.insert(head.end(), eight.begin(), eight.end());
        return head;
    };
    constexpr std::uint16_t kNotReported = 0xBEEF;
    using Read = std::function<StatusCode(H*, std::uint8_t*, std::uint16_t length, std::uint16_t * reported)>;
    struct Case {
        const char* name;
        std::uint16_t code;
        Bytes payload;
        std::uint16_t length;
        std::uint16_t reported; // what the length variable receives: the adapter's count
        Read read;
    } cases[] = {
        {"SpiTransfer", 0x0D04, with({8, 0}), 4, kNotReported,
         [](H* h, std::uint8_t* rx, std::uint16_t n, std::uint16_t*) {
             return TarvixSDK_SpiTransfer(h, nullptr, 0, rx, n);
         }},
        {"I2cRead", 0x0905, with({0, 0, 0}), 4, kNotReported,
         [](H* h, std::uint8_t* out, std::uint16_t n, std::uint16_t*) {
             return TarvixSDK_I2cRead(h, 0, 0x50, nullptr, 0, n, out, false);
         }},
        {"I3cSdrRead", 0x1908, with({0, 0, 8, 0}), 4, 8,
         [](H* h, std::uint8_t* out, std::uint16_t n, std::uint16_t* reported) {
             return TarvixSDK_I3cSdrRead(h, 8, nullptr, 0, n, out, reported, I3cTransferFlags::NONE);
         }},
        {"I3cLegacyI2CRead", 0x1908, with({0, 0, 8, 0}), 4, kNotReported,
         [](H* h, std::uint8_t* out, std::uint16_t n, std::uint16_t*) {
             return TarvixSDK_I3cLegacyI2CRead(h, 0x50, nullptr, 0, n, out, I3cTransferFlags::NONE);
         }},
        {"I3cHdrDdrRead", 0x1908, with({0, 0, 8, 0}), 4, 8,
         [](H* h, std::uint8_t* out, std::uint16_t n, std::uint16_t* reported) {
             return TarvixSDK_I3cHdrDdrRead(h, 8, 0x80, n, reported, out);
         }},
        {"I3cCccGETPID", 0x1909, cccAnswer(eight), 6, kNotReported,
         [](H* h, std::uint8_t* out, std::uint16_t, std::uint16_t*) { return TarvixSDK_I3cCccGETPID(h, 8, out); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[c.length]);
        std::fill_n(buffer.get(), c.length, 0xEE);
        std::uint16_t reported = kNotReported;
        answer(c.code, kDeviceError, c.payload);
        EXPECT_EQ(c.read(h(), buffer.get(), c.length, &reported), StatusCode(kDeviceError));
        EXPECT_EQ(Bytes(buffer.get(), buffer.get() + c.length), Bytes(c.length, 0xEE));
        EXPECT_EQ(reported, kNotReported);
        answer(c.code, 0, c.payload);
        ASSERT_EQ(c.read(h(), buffer.get(), c.length, &reported), kOk);
        EXPECT_EQ(Bytes(buffer.get(), buffer.get() + c.length), Bytes(eight.begin(), eight.begin() + c.length));
        EXPECT_EQ(reported, c.reported);
    }

    // The counted CCC reads: the count on success only, as the bytes.
    std::uint8_t buffer[255] = {};
    std::uint8_t count = 0;
    answer(0x1909, 0, cccAnswer({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(TarvixSDK_I3cCccGETCAPS(h(), 8, buffer, &count, true, 0x5A), kOk);
    EXPECT_EQ(count, 6);
    answer(0x1909, kDeviceError, cccAnswer({9}));
    EXPECT_EQ(TarvixSDK_I3cCccGETMXDS(h(), 8, buffer, &count), StatusCode(kDeviceError));
    EXPECT_EQ(count, 6);
    EXPECT_EQ(buffer[0], 1);
}

TEST_F(FlatConversions, RstactDirectNeedsAResetTimeOnlyForARead)
{
    answer(0x1909, 0, cccAnswer({0x2A}));
    EXPECT_EQ(TarvixSDK_I3cCccRSTACTDirect(h(), 8, 0x02, 0, nullptr), kOk);
    EXPECT_EQ(requestCount(), 1u);
    std::uint8_t resetTime = 0;
    // 0x182 reaches the adapter as its low byte, 0x82; 0x101 as direction read.
    EXPECT_EQ(TarvixSDK_I3cCccRSTACTDirect(h(), 8, 0x182, 0x101, &resetTime), kOk);
    EXPECT_EQ(resetTime, 0x2A);
    const Bytes payload = lastPayload();
    EXPECT_NE(std::find(payload.begin(), payload.end(), 0x82), payload.end());
}

TEST_F(FlatConversions, GetmrlSetsThePresenceByteOnlyWhenTheSizeCame)
{
    std::uint16_t maxRead = 0;
    std::uint8_t ibi = 0xEE, has = 0xEE;
    answer(0x1909, 0, cccAnswer({0x01, 0x00}));
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(h(), 8, &maxRead, &ibi, &has), kOk);
    EXPECT_EQ(maxRead, 256);
    EXPECT_EQ(has, 0);
    EXPECT_EQ(ibi, 0xEE);

    answer(0x1909, 0, cccAnswer({0x00, 0x40, 0x10}));
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(h(), 8, &maxRead, &ibi, &has), kOk);
    EXPECT_EQ(maxRead, 64);
    EXPECT_EQ(has, 1);
    EXPECT_EQ(ibi, 0x10);
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(h(), 8, &maxRead, nullptr, nullptr), kOk);

    answer(0x1909, kDeviceError, cccAnswer({0x00, 0x20, 0x08}));
    EXPECT_EQ(TarvixSDK_I3cCccGETMRL(h(), 8, &maxRead, &ibi, &has), StatusCode(kDeviceError));
    EXPECT_EQ(maxRead, 32); // the method's own value, written whenever an answer came
    EXPECT_EQ(has, 0);      // the optional result follows the copy-on-success rule
    EXPECT_EQ(ibi, 0x10);
}

} // namespace
