// The firmware model's own answers, and reset: the adapter leaves the bus
// without answering and comes back with its settings restarted, its bench untouched.
#include <string>

#include "virtual_test_support.hpp"

namespace {

class Firmware : public BenchTest {
protected:
    vt::AdapterConfig config() const override {
        vt::AdapterConfig quick;
        quick.serialNumber = L"TVX-42";
        quick.restartTime = 50ms;
        return quick;
    }
};

TEST_F(Firmware, GetUsbString_AnswersTheFiveDescriptorsAndRejectsOtherIndexes) {
    const std::vector<std::string> expected{"Tarvix Instruments", "Tarvix USB Protocol Adapter", "TVX-42", "1.0.0",
                                            "A1"};
    for (std::uint8_t index = 1; index <= 5; ++index) {
        const vt::Bytes payload = payloadOf(call(vt::codes::GET_USB_STRING, {index}));
        ASSERT_FALSE(payload.empty());
        EXPECT_EQ(payload.size(), payload[0]);  // the length counts itself
        EXPECT_EQ(std::string(payload.begin() + 1, payload.end()), expected[index - 1u]);
    }
    const vt::Bytes invalid = vt::responseFrame(3, 0x0407, 0x0001, {1});
    for (const vt::Bytes& payload : {vt::Bytes{0}, vt::Bytes{6}, vt::Bytes{}}) {
        EXPECT_EQ(roundTrip(dev, requestFrame(3, 0x0407, payload)), invalid);
    }
}

TEST_F(Firmware, UnmodelledCommands_GetPlainSuccessAndFramesWithoutCodeNoAnswer) {
    EXPECT_EQ(roundTrip(dev, requestFrame(0xBEEF, 0x2001, {1, 2, 3})), vt::responseFrame(0xBEEF, 0x2001, 0));
    EXPECT_EQ(roundTrip(dev, requestFrame(7, 0xFFFF)), vt::responseFrame(7, 0xFFFF, 0));
    ASSERT_TRUE(writeFrame(dev, vt::Bytes{1, 0, 7}, 64));
    EXPECT_TRUE(nothingPending());
    EXPECT_EQ(adapter->requests().back(), vt::Bytes({1, 0, 7}));
}

TEST_F(Firmware, Reset_RestartsTheSettingsButKeepsWhatIsAttached) {
    ASSERT_EQ(statusOf(call(vt::codes::SET_SHARED_RAIL, concat(u16(1800), {0}))), 0);
    ASSERT_EQ(statusOf(call(vt::codes::I2C_INIT, {0, 0xA0, 0x86, 0x01, 0x00, 0})), 0);
    ASSERT_EQ(statusOf(call(vt::codes::I2C_WRITE, {0, 1, 0, 0x50, 1, 0x10, 0, 0, 0, 0, 0x5A})), 0);

    const auto sent = std::chrono::steady_clock::now();
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    EXPECT_FALSE(adapter->plugged());
    EXPECT_EQ(vt::railState(*adapter, vt::Rail::SHARED).setMillivolts, 3300);
    EXPECT_FALSE(vt::i2cBusState(*adapter, 0).initialised);
    EXPECT_EQ((*vt::i2cEepromContents(*adapter, 0, 0x50))[0x10], 0x5A);
    ASSERT_TRUE(adapter->waitForPlugged(5s));
    EXPECT_GE(std::chrono::steady_clock::now() - sent, 50ms);  // the restart time
}

TEST_F(Firmware, BootMode_StaysOffTheBusUntilReplugged) {
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::ENTER_BOOT_MODE), 64));
    EXPECT_FALSE(adapter->plugged());
    EXPECT_FALSE(adapter->waitForPlugged(100ms));  // twice the restart time
    adapter->replug();
    EXPECT_TRUE(adapter->waitForPlugged(0ms));
    EXPECT_NE(open(*adapter), nullptr);
}

TEST_F(Firmware, RegistryReset_ForgetsAdaptersForGoodEvenWhileRestarting) {
    auto idle = vt::attach();
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    vt::reset();
    EXPECT_FALSE(adapter->waitForPlugged(100ms));  // twice the restart time
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    idle.replug();
    EXPECT_FALSE(idle.plugged());
    vt::AdapterConfig same;
    same.path = idle.path();
    EXPECT_NO_THROW(vt::attach(same));  // the path is free again
}

}  // namespace
