// The firmware model's answers.
#include "virtual_test_support.hpp"

namespace {

class Firmware : public VirtualAdapterTest {
protected:
    hid_device* dev = nullptr;
    std::optional<vt::VirtualAdapter> adapter;
    void SetUp() override {
        VirtualAdapterTest::SetUp();
        vt::AdapterConfig config;
        config.serialNumber = L"TVX-42";
        adapter = vt::attach(config);
        dev = open(*adapter);
        ASSERT_NE(dev, nullptr);
    }
    std::string usbString(std::uint8_t index) {
        const auto frame = roundTrip(dev, requestFrame(9, vt::codes::GET_USB_STRING, {index}));
        if (!frame || frame->size() < 7 || (*frame)[6] == 0) return "<bad frame>";
        EXPECT_EQ(frame->size(), 6u + (*frame)[6]);
        return std::string(frame->begin() + 7, frame->end());
    }
};

TEST_F(Firmware, GetUsbString_AnswersTheFiveDescriptors) {
    EXPECT_EQ(usbString(1), "Tarvix Instruments");
    EXPECT_EQ(usbString(2), "Tarvix USB Protocol Adapter");
    EXPECT_EQ(usbString(3), "TVX-42");
    EXPECT_EQ(usbString(4), "1.0.0");
    EXPECT_EQ(usbString(5), "A1");
}

TEST_F(Firmware, GetUsbString_RejectsMissingOrUnknownIndex) {
    const vt::Bytes invalid = vt::responseFrame(3, 0x0407, 0x0001, {1});
    EXPECT_EQ(roundTrip(dev, requestFrame(3, 0x0407, {0})), invalid);
    EXPECT_EQ(roundTrip(dev, requestFrame(3, 0x0407, {6})), invalid);
    EXPECT_EQ(roundTrip(dev, requestFrame(3, 0x0407)), invalid);
}

TEST_F(Firmware, Reset_IsNotAnswered) {
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    EXPECT_TRUE(readReport(dev, 64, 0).empty());
}

TEST_F(Firmware, UnmodelledCommands_GetPlainSuccessEchoingTidAndCode) {
    EXPECT_EQ(roundTrip(dev, requestFrame(0xBEEF, 0x2001, {1, 2, 3})), vt::responseFrame(0xBEEF, 0x2001, 0));
    EXPECT_EQ(roundTrip(dev, requestFrame(7, 0xFFFF)), vt::responseFrame(7, 0xFFFF, 0));
}

TEST_F(Firmware, FrameWithoutCommandCode_IsRecordedButNotAnswered) {
    ASSERT_TRUE(writeFrame(dev, vt::Bytes{1, 0, 7}, 64));
    EXPECT_TRUE(readReport(dev, 64, 0).empty());
    EXPECT_EQ(adapter->requests(), std::vector<vt::Bytes>{vt::Bytes({1, 0, 7})});
}

}  // namespace
