// tarvix list, tarvix info: which adapters are attached, and what one says about itself.
#include <cstdio>

#include "commands.hpp"

namespace tarvix_tool {
namespace {

void list(Context& context)
{
    const std::vector<TarvixSDK::AdapterInfo> adapters = TarvixSDK::listAdapters();
    Json& entries = context.result()["adapters"] = Json::array();
    std::size_t index = 0;
    for (const TarvixSDK::AdapterInfo& adapter : adapters) {
        char line[512];
        std::snprintf(line, sizeof line, "%zu  %s  %04x:%04x  %zu  %s  %s", index, adapter.path.c_str(),
                      adapter.vendorId, adapter.productId, adapter.reportSize,
                      adapter.hasSerialNumber ? adapter.serialNumber.c_str() : "-", adapter.product.c_str());
        context.line(line);
        entries.push_back({{"index", index},
                           {"path", adapter.path},
                           {"vendorId", adapter.vendorId},
                           {"productId", adapter.productId},
                           {"reportSize", adapter.reportSize},
                           {"serialNumber", adapter.hasSerialNumber ? Json(adapter.serialNumber) : Json(nullptr)},
                           {"manufacturer", adapter.manufacturer},
                           {"product", adapter.product}});
        ++index;
    }
}

void info(Context& context)
{
    TarvixSDK::DeviceInfo info;
    context.check(context.sdk().getDeviceInfo(info), "reading the USB strings");
    const std::string version = TarvixSDK::getVersion();
    struct Row {
        const char* label;
        const char* key;
        const std::string& value;
    };
    const Row rows[] = {
        {"manufacturer", "manufacturer", info.usbString1},
        {"product", "product", info.usbString2},
        {"serial number", "serialNumber", info.usbString3},
        {"firmware version", "firmwareVersion", info.usbString4},
        {"hardware version", "hardwareVersion", info.usbString5},
        {"library version", "libraryVersion", version},
    };
    for (const Row& row : rows) {
        char line[512];
        std::snprintf(line, sizeof line, "%-18s%s", (std::string(row.label) + ":").c_str(), row.value.c_str());
        context.line(line);
        context.result()[row.key] = row.value;
    }
}

} // namespace

void addAdapterCommands(CLI::App& app, Context& context)
{
    addCommand(app, context, "list",
               "List the attached adapters: index, HID path, VID:PID, report size, serial number, product", list);
    addCommand(app, context, "info", "Show the adapter's USB strings and the library version", info);
}

} // namespace tarvix_tool
