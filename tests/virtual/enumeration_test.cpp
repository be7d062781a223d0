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

// The identities the SDK reads from the list (ids, serials, order) are checked by its own
// adapter-choice tests; here the rest of each record and the id filters the SDK does not use.
TEST_F(Enumeration, Enumerate_ListsAdaptersInAttachOrderWithTheirIdentityAndFiltersByNonZeroIds)
{
    vt::AdapterConfig small;
    small.path = "/dev/hidraw-a";
    vt::AdapterConfig large;
    large.productId = 0x82FD;
    vt::AdapterConfig foreign;
    foreign.vendorId = 0x1234;
    foreign.productId = 0x82FD; // unsupported by the SDK, still listed
    vt::attach(small);
    auto b = vt::attach(large);
    auto c = vt::attach(foreign);
    EXPECT_EQ(c.reportSize(), 64u); // the large report only for the adapter's own vendor

    hid_device_info* devs = hid_enumerate(0, 0);
    const auto list = listOf(devs);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_STREQ(list[0]->path, "/dev/hidraw-a");
    EXPECT_STREQ(list[1]->path, b.path().c_str());
    EXPECT_STREQ(list[2]->path, c.path().c_str());
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

// A duplicate path and a report too small for a frame header are refused through the C control
// interface's own test.
TEST_F(Enumeration, Attach_RejectsAReportSizeItsSegmentsCannotCountAndMayLeaveTheBenchOut)
{
    vt::AdapterConfig config;
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
