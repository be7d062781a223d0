// System commands: reset, boot mode, USB strings and the device information built from them.
#include <sdk_fixture.hpp>

#include <algorithm>
#include <cstdint>
#include <string>

namespace tarvix_test {
namespace {

// One answer to the string request: its id is the request's plus idOffset, and it is cut to
// `keep` bytes when a shorter frame is wanted.
struct UsbStringCase {
    const char* what;
    std::uint16_t idOffset;
    std::uint16_t code;
    std::uint16_t deviceStatus;
    Bytes payload;
    StatusCode status;
    const char* out; // null: left as it was
    std::size_t keep = SIZE_MAX;
};

TEST_F(SyncSessionTest, GetUsbString_TakesTheStringOnlyFromTheResponseToThisRequest)
{
    const UsbStringCase cases[] = {
        {"plain", 0, 0x0407, 0, {4, 'A', 'B', 'C'}, StatusCode::SUCCESS, "ABC"},
        {"device status not read", 0, 0x0407, 1, {2, 'Z'}, StatusCode::SUCCESS, "Z"},
        {"length 0", 0, 0x0407, 0, {0, 'X'}, StatusCode::SUCCESS, ""},
        {"length beyond frame", 0, 0x0407, 0, {200, 'o', 'k'}, StatusCode::SUCCESS, "ok"},
        {"no length", 0, 0x0407, 0, {}, StatusCode::RESPONSE_TOO_SHORT, nullptr},
        {"next request's id", 1, 0x0407, 0, {2, 'X'}, StatusCode::UNEXPECTED_RESPONSE, nullptr},
        {"another code", 0, 0x0408, 0, {2, 'X'}, StatusCode::UNEXPECTED_RESPONSE, nullptr},
        {"too short to tell", 0, 0x0407, 0, {}, StatusCode::UNEXPECTED_RESPONSE, nullptr, 3},
    };
    for (const UsbStringCase& c : cases) {
        SCOPED_TRACE(c.what);
        adapter().setResponder(0x0407, [&c](const Bytes& request) {
            Bytes frame = tv::responseFrame(std::uint16_t(tv::transactionIdOf(request) + c.idOffset), c.code,
                                            c.deviceStatus, c.payload);
            frame.resize(std::min(frame.size(), c.keep));
            return std::vector<Bytes>{frame};
        });
        Bytes out{9};
        EXPECT_EQ(sdk().getUsbString(out, 3), c.status);
        EXPECT_EQ(out, c.out ? Bytes(c.out, c.out + std::string(c.out).size()) : Bytes{9});
    }
}

// The wait that runs out (the adapter falls silent at the third string) is the only timed one: the
// answered requests do not race it, whatever the machine's load.
using DeviceInfo = VirtualAdapterTest;

TEST_F(DeviceInfo, GetDeviceInfo_ReadsTheFiveStringsInIndexOrderAndKeepsThoseReadBeforeASilence)
{
    TarvixSDK sdk(1000); // ample for an answer that comes; spent once, on the silent request
    ASSERT_TRUE(sdk.connect());
    TarvixSDK::DeviceInfo info;
    ASSERT_EQ(sdk.getDeviceInfo(info), StatusCode::SUCCESS);
    EXPECT_EQ(info.usbString1, "Tarvix Instruments");
    EXPECT_EQ(info.usbString2, "Tarvix USB Protocol Adapter");
    EXPECT_EQ(info.usbString4, "1.0.0");
    EXPECT_EQ(info.usbString5, "A1");
    std::vector<std::uint8_t> indices;
    for (const Bytes& request : adapter().requests()) {
        indices.push_back(request.at(4));
    }
    EXPECT_EQ(indices, (std::vector<std::uint8_t>{1, 2, 3, 4, 5}));

    adapter().setResponder(0x0407, [](const Bytes& request) {
        const std::uint8_t index = request.at(4);
        return index <= 2 ? std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x0407, 0,
                                                                 {2, static_cast<std::uint8_t>('0' + index)})}
                          : std::vector<Bytes>{};
    });
    adapter().clearRecords();
    info = {"old1", "old2", "old3", "old4", "old5"};
    EXPECT_EQ(sdk.getDeviceInfo(info), StatusCode::NO_RESPONSE);
    EXPECT_EQ(info.usbString1, "1");
    EXPECT_EQ(info.usbString2, "2");
    EXPECT_EQ(info.usbString3, "old3");
    EXPECT_EQ(info.usbString5, "old5");
    EXPECT_EQ(adapter().requests().size(), 3u);

    // Disconnected, nothing is sent and nothing is overwritten.
    sdk.disconnect();
    EXPECT_EQ(sdk.getDeviceInfo(info), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(info.usbString3, "old3");
    EXPECT_EQ(adapter().requests().size(), 3u);
}

TEST_F(SyncSessionTest, RestartCommands_ReturnAtOnceWithoutAwaitingAnAnswer)
{
    // The adapter restarts instead of answering; a call waiting for an answer would time out.
    EXPECT_EQ(sdk().resetDevice(), StatusCode::SUCCESS);
    ASSERT_TRUE(adapter().waitForPlugged(5s));
    sdk().disconnect();
    ASSERT_TRUE(sdk().connect());
    EXPECT_EQ(sdk().enterBootMode(), StatusCode::SUCCESS);
    ASSERT_TRUE(adapter().waitForRequests(2, 5s));
    EXPECT_EQ(adapter().requests(), (std::vector<Bytes>{{0x01, 0x00, 0x01, 0x04}, {0x02, 0x00, 0x02, 0x04}}));
    sdk().disconnect();
    EXPECT_EQ(sdk().resetDevice(), StatusCode::NOT_CONNECTED);
}

} // namespace
} // namespace tarvix_test
