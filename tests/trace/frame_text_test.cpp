// The text of traced frames, and the tap that sees them: every family's layout, notifications,
// and frames a faulty device might send.
#include <sdk_fixture.hpp>

#include <string>

namespace tarvix_test {
namespace {

std::string describe(TraceDirection direction, const Bytes& frame)
{
    TraceFrame record{};
    record.direction = direction;
    record.data = frame.data();
    record.length = frame.size();
    return describeFrame(record);
}

struct TextCase {
    TraceDirection direction;
    Bytes frame;
    const char* line;
};

TEST(FrameText, NamesEachFamilysCommandAndItsFields)
{
    const TraceDirection out = TraceDirection::OUT;
    const TraceDirection in = TraceDirection::IN;
    const TextCase cases[] = {
        {out,
         {5, 0, 0x05, 0x09, 0, 16, 0, 0x50, 1, 0x10, 0, 0, 0, 0},
         "OUT I2C_READ 0x0905 tid=5 bus=0 length=16 target=0x50 registerBytes=1 register=0x00000010 flag=0"},
        {in, {5, 0, 0x05, 0x09, 0, 0, 0, 0, 0, 0xAA, 0xBB}, "IN I2C_READ 0x0905 tid=5 status=SUCCESS data=[AA BB]"},
        {in,
         {6, 0, 0x06, 0x09, 0, 0, 0, 2, 0, 0x48, 0x50},
         "IN I2C_SCAN_BUS 0x0906 tid=6 status=SUCCESS oneByte=2 twoByte=0 addresses=[48 50]"},
        {out, {7, 0, 0x04, 0x0D, 1, 0, 4, 0, 0x9F}, "OUT SPI_TRANSFER 0x0D04 tid=7 count=1 length=4 tx=[9F]"},
        {in,
         {7, 0, 0x04, 0x0D, 0x21, 0, 2, 0, 0xEF, 0x40},
         "IN SPI_TRANSFER 0x0D04 tid=7 status=0x0021 count=2 rx=[EF 40]"},
        {out, {8, 0, 0x05, 0x10, 2, 0, 'h', 'i'}, "OUT UART_SEND_MESSAGE 0x1005 tid=8 count=2 data=[68 69]"},
        {out, {9, 0, 0x01, 0x14, 3, 1, 0}, "OUT GPIO_CONFIGURE_PIN 0x1401 tid=9 pin=3 function=1 level=0"},
        {in, {9, 0, 0x03, 0x14, 0, 0, 1}, "IN GPIO_DIGITAL_READ 0x1403 tid=9 status=SUCCESS level=1"},
        {out, {1, 0, 0x05, 0x04, 0xE4, 0x0C, 1}, "OUT SET_SHARED_VOLTAGE 0x0405 tid=1 mV=3300 flag=1"},
        {in,
         {1, 0, 0x07, 0x04, 0, 0, 4, 'T', 'V', 'X'},
         "IN GET_USB_STRING 0x0407 tid=1 status=SUCCESS lengthPlusOne=4 text=\"TVX\""},
        {out,
         {2, 0, 0x08, 0x19, 0x30, 0x01, 0, 1, 0x11, 0, 0, 0, 8, 0},
         "OUT I3C_PRIVATE_TRANSFER 0x1908 tid=2 target=0x30 modeByte=0x01 READ SDR flags=0x00 registerBytes=1 "
         "register=[11] length=8"},
        {out,
         {3, 0, 0x09, 0x19, 0x30, 0x61, 6, 0x8D, 0},
         "OUT I3C_CCC 0x1909 tid=3 target=0x30 flags=0x61 length=6 ccc=0x8D definingByte=0x00"},
        {in, {0, 0, 0x81, 0x14, 0, 0, 1}, "IN GPIO_INTERRUPT 0x1481 notification pin=1"},
        {in,
         {0, 0, 0x81, 0x19, 0, 0, 0x30, 2, 0xAB},
         "IN I3C_IBI 0x1981 notification target=0x30 payloadLength=2 "
         "payload=[AB] (frame ends early)"},
        // What a faulty device may send: the line says so instead of reading past the frame.
        {in, {1, 0}, "IN short frame bytes=[01 00]"},
        {in, {4, 0, 0x05, 0x09, 0}, "IN I2C_READ 0x0905 tid=4 (frame ends before the status)"},
        {in, {4, 0, 0x34, 0x12, 0, 0, 9}, "IN UNKNOWN 0x1234 tid=4 status=SUCCESS payload=[09]"},
        {in, {0, 0, 0x83, 0x19, 0, 0}, "IN NOTIFICATION 0x1983 status=0"},
        {in, {5, 0, 0x03, 0x14, 0, 0, 1, 2, 3}, "IN GPIO_DIGITAL_READ 0x1403 tid=5 status=SUCCESS level=1 +2 bytes"},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(describe(c.direction, c.frame), c.line);
    }
    // Long data is shortened, with its size.
    Bytes longWrite{1, 0, 0x05, 0x10, 100, 0};
    longWrite.resize(106, 0x55);
    const std::string line = describe(TraceDirection::OUT, longWrite);
    EXPECT_NE(line.find("55 ...](100)"), std::string::npos) << line;
}

using FrameTap = VirtualAdapterTest;

TEST_F(FrameTap, SeesEveryRequestAndEveryInputFrameOfASession)
{
    TarvixSDK sdk(kTimeoutMs);
    auto lines = std::make_shared<Inbox<std::string>>();
    sdk.onFrame([lines](const TraceFrame& frame) {
        EXPECT_GT(frame.timestampNs, 0u);
        lines->push(describeFrame(frame));
    });
    ASSERT_TRUE(sdk.connect());
    TarvixSDK::DeviceInfo info;
    ASSERT_EQ(sdk.getDeviceInfo(info), StatusCode::SUCCESS);
    std::uint16_t voltage = 0;
    ASSERT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
    adapter().injectNotification(0x1481, 0, {1});

    const std::vector<std::string> seen = lines->waitFor(13);
    ASSERT_EQ(seen.size(), 13u);
    EXPECT_EQ(seen[0], "OUT GET_USB_STRING 0x0407 tid=1 index=1");
    EXPECT_EQ(seen[1].rfind("IN GET_USB_STRING 0x0407 tid=1 status=SUCCESS", 0), 0u) << seen[1];
    EXPECT_EQ(seen[10], "OUT GET_ANALOG_MEASUREMENTS 0x0409 tid=6");
    EXPECT_EQ(seen[12], "IN GPIO_INTERRUPT 0x1481 notification pin=1");

    sdk.onFrame(nullptr);
    ASSERT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
    EXPECT_EQ(lines->waitFor(14, 50ms).size(), 13u);
}

} // namespace
} // namespace tarvix_test
