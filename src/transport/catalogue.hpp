// The adapters this library drives, by USB vendor and product ID, with their HID report size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarvix_detail {

struct DeviceKind {
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::size_t reportSize; // payload bytes of one input or output report, without the report-ID byte
};

// The catalogue rows, in the order they are tried.
const DeviceKind* catalogueBegin() noexcept;
const DeviceKind* catalogueEnd() noexcept;

// The first row with these IDs, or null for an adapter we do not support.
const DeviceKind* findDeviceKind(std::uint16_t vendorId, std::uint16_t productId) noexcept;

} // namespace tarvix_detail
