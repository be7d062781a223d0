#include "catalogue.hpp"

namespace tarvix_detail {
namespace {

// Two builds of the adapter share the vendor ID; the full-speed one exchanges 64-byte reports,
// the high-speed one 1024-byte reports.
constexpr DeviceKind kCatalogue[] = {
    {0x1FC9, 0x82FC, 64},
    {0x1FC9, 0x82FD, 1024},
};

} // namespace

const DeviceKind* catalogueBegin() noexcept
{
    return kCatalogue;
}
const DeviceKind* catalogueEnd() noexcept
{
    return kCatalogue + sizeof(kCatalogue) / sizeof(kCatalogue[0]);
}

const DeviceKind* findDeviceKind(std::uint16_t vendorId, std::uint16_t productId) noexcept
{
    for (const DeviceKind* kind = catalogueBegin(); kind != catalogueEnd(); ++kind) {
        if (kind->vendorId == vendorId && kind->productId == productId) {
            return kind;
        }
    }
    return nullptr;
}

} // namespace tarvix_detail
