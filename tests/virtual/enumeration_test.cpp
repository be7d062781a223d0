// Attaching adapters, enumeration, opening and the handle's own strings.
#include <cwchar>
#include <stdexcept>
#include <string>

#include "virtual_test_support.hpp"

namespace {

std::vector<const hid_device_info*> listOf(const hid_device_info* head)
{
    std::vector<const hid_device_info*> list;
    for (; head; head = head->next) list.push_back(head);
    return list;
}

class Enumeration : public VirtualAdapterTest {};

TEST_F(Enumeration, Enumerate_ListsAdaptersInAttachOrderWithTheirIdentityAndFiltersByNonZeroIds)
{
    vt::AdapterConfig small;
    small.path = "/dev/hidraw-a";
    vt::AdapterConfig large;
    large.productId = 0x82FD;
    large.serialNumber = L"SN-1024";
    vt::AdapterConfig foreign;
    foreign.vendorId = 0x1234;
    foreign.productId = 0x82FD; // unsupported by the SDK, still listed; no serial
    auto a = vt::attach(small);
    auto b = vt::attach(large);
    auto c = vt::attach(foreign);
    EXPECT_EQ(a.reportSize(), 64u);
    EXPECT_EQ(b.reportSize(), 1024u);
    EXPECT_EQ(c.reportSize(), 64u);

    hid_device_info* devs = hid_enumerate(0, 0);
    const auto list = listOf(devs);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_STREQ(list[0]->path, "/dev/hidraw-a");
    EXPECT_STREQ(list[1]->path, b.path().c_str());
    EXPECT_STREQ(list[2]->path, c.path().c_str());
    EXPECT_EQ(list[1]->vendor_id, 0x1FC9);
    EXPECT_EQ(list[1]->product_id, 0x82FD);
    EXPECT_EQ(std::wstring(list[1]->serial_number), L"SN-1024");
    EXPECT_EQ(list[2]->vendor_id, 0x1234);
    EXPECT_EQ(list[2]->serial_number, nullptr);
    for (const auto* info : list) {
        EXPECT_EQ(std::wstring(info->manufacturer_string), L"Tarvix Instruments");
        EXPECT_EQ(std::wstring(info->product_string), L"Tarvix USB Protocol Adapter");
        EXPECT_EQ(info->interface_number, 0);
        EXPECT_EQ(info->bus_type, HID_API_BUS_USB);
    }
    hid_free_enumeration(devs);

    const auto count = [](unsigned short vid, unsigned short pid) {
        hid_device_info* found = hid_enumerate(vid, pid);
        const std::size_t n = listOf(found).size();
        hid_free_enumeration(found);
        return n;
    };
    EXPECT_EQ(count(0x1FC9, 0), 2u);
    EXPECT_EQ(count(0, 0x82FD), 2u);
    EXPECT_EQ(count(0x1FC9, 0x82FC), 1u);
    EXPECT_EQ(count(0x1FC9, 0x0001), 0u);
}

TEST_F(Enumeration, Unplug_RemovesFromEnumerationAndReplugRestoresPlace)
{
    auto a = vt::attach();
    auto b = vt::attach();
    a.unplug();
    hid_device_info* devs = hid_enumerate(0, 0);
    ASSERT_EQ(listOf(devs).size(), 1u);
    EXPECT_STREQ(devs->path, b.path().c_str());
    hid_free_enumeration(devs);
    EXPECT_EQ(hid_open_path(a.path().c_str()), nullptr);

    a.replug();
    devs = hid_enumerate(0, 0);
    ASSERT_EQ(listOf(devs).size(), 2u);
    EXPECT_STREQ(devs->path, a.path().c_str());
    hid_free_enumeration(devs);
}

TEST_F(Enumeration, Attach_RejectsDuplicatePathAndImpossibleReportSizeAndMayLeaveTheBenchOut)
{
    vt::AdapterConfig config;
    config.path = "same";
    vt::attach(config);
    EXPECT_THROW(vt::attach(config), std::invalid_argument);
    config.path.clear();
    config.reportSize = 4;
    EXPECT_THROW(vt::attach(config), std::invalid_argument);
    config.reportSize = 1026; // a segment could not say how much it carries
    EXPECT_THROW(vt::attach(config), std::invalid_argument);
    config.reportSize = 1025;
    EXPECT_NO_THROW(vt::attach(config));
    config.reportSize = 64;
    config.bench = false; // nothing attached to a bare adapter
    EXPECT_FALSE(vt::i2cEepromContents(vt::attach(config), 0, 0x50));
}

TEST_F(Enumeration, Open_BySerialPicksTheMatchingAdapterAndFailsForUnknownPathOrOnDemand)
{
    vt::AdapterConfig config;
    auto plain = vt::attach(config); // no serial: never matches one
    config.serialNumber = L"B";
    auto b = vt::attach(config);
    hid_device* dev = hid_open(0x1FC9, 0x82FC, L"B");
    ASSERT_NE(dev, nullptr);
    EXPECT_STREQ(hid_get_device_info(dev)->path, b.path().c_str());
    hid_close(dev);
    EXPECT_EQ(hid_open(0x1FC9, 0x82FC, L"C"), nullptr);

    EXPECT_EQ(hid_open_path("/dev/nothing"), nullptr);
    EXPECT_EQ(hid_open_path(nullptr), nullptr);
    plain.setOpenFails(true);
    b.setOpenFails(true);
    EXPECT_EQ(hid_open_path(plain.path().c_str()), nullptr);
    EXPECT_EQ(hid_open(0x1FC9, 0x82FC, nullptr), nullptr);
    plain.setOpenFails(false);
    EXPECT_NE(open(plain), nullptr);
}

TEST_F(Enumeration, Counters_CountInitExitAndOpenHandles)
{
    auto adapter = vt::attach();
    const std::size_t handlesBefore = vt::counters().openHandles;
    hid_init();
    hid_init();
    hid_exit();
    hid_device* first = open(adapter);
    hid_device* second = open(adapter);
    EXPECT_EQ(vt::counters().initCalls, 2u);
    EXPECT_EQ(vt::counters().exitCalls, 1u);
    EXPECT_EQ(vt::counters().openHandles, handlesBefore + 2);
    EXPECT_EQ(adapter.openHandles(), 2u);
    close(first);
    close(second);
    EXPECT_EQ(adapter.openHandles(), 0u);
    vt::reset();
    EXPECT_EQ(vt::counters().initCalls, 0u);
}

TEST_F(Enumeration, HandleStrings_ComeFromTheConfigAndAnUnconvertibleSerialIsReportedAsGiven)
{
    vt::AdapterConfig config;
    config.manufacturer = "Acme";
    auto plain = vt::attach(config);
    std::wstring serial = L"X";
    serial.push_back(static_cast<wchar_t>(0xD800));   // lone surrogate
    serial.push_back(static_cast<wchar_t>(0x110000)); // past Unicode
    config.serialNumber = serial;
    auto odd = vt::attach(config);
    hid_device_info* devs = hid_enumerate(0, 0);
    ASSERT_EQ(listOf(devs).size(), 2u);
    EXPECT_EQ(std::wstring(devs->next->serial_number), serial);
    hid_free_enumeration(devs);

    wchar_t text[64];
    hid_device* dev = open(plain);
    ASSERT_EQ(hid_get_manufacturer_string(dev, text, 64), 0);
    EXPECT_EQ(std::wstring(text), L"Acme");
    EXPECT_EQ(hid_get_serial_number_string(dev, text, 64), -1); // it has none
    EXPECT_EQ(hid_get_indexed_string(dev, 1, text, 64), -1);
    unsigned char buffer[65] = {0};
    EXPECT_EQ(hid_get_feature_report(dev, buffer, sizeof buffer), -1);
    EXPECT_NE(std::wstring(hid_error(dev)), L"Success");

    dev = open(odd);
    ASSERT_EQ(hid_get_serial_number_string(dev, text, 8), 0);
    EXPECT_EQ(std::wstring(text), serial);
    ASSERT_EQ(hid_get_serial_number_string(dev, text, 2), 0); // truncated, terminated
    EXPECT_EQ(std::wstring(text), L"X");
    // The firmware's own string 3 is 8-bit text.
    EXPECT_EQ(roundTrip(dev, requestFrame(1, vt::codes::GET_USB_STRING, {3})),
              vt::responseFrame(1, vt::codes::GET_USB_STRING, 0, {4, 'X', '?', '?'}));
}

} // namespace
