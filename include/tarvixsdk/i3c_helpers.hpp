/**
 * @file i3c_helpers.hpp
 * Typed helpers for I3C values that the commands carry as raw bytes.
 *
 * The commands send and return bus registers as plain bytes (the BCR and DCR of a target, its
 * 48-bit Provisioned ID, the event mask of ENEC/DISEC, the defining bytes of GETSTATUS and
 * GETCAPS). The helpers below name their fields as the I3C specification lays them out; they
 * only decode and encode, and never talk to the adapter.
 */
#ifndef TARVIXSDK_I3C_HELPERS_HPP
#define TARVIXSDK_I3C_HELPERS_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/** The I3C broadcast address (7 bits, unshifted): broadcast CCCs and the header of SDR frames. */
inline constexpr std::uint8_t kI3cBroadcastAddress = 0x7E;

// ------------------------------------------------------------------------------------------ BCR

/** Device role, BCR bits 7..6. */
enum class I3cDeviceRole : std::uint8_t {
    TARGET = 0,             /**< 0b00: I3C target only */
    CONTROLLER_CAPABLE = 1, /**< 0b01: can take the controller role (secondary controller) */
    RESERVED_2 = 2,         /**< 0b10: reserved */
    RESERVED_3 = 3          /**< 0b11: reserved */
};

/**
 * The Bus Characteristics Register of a target (GETBCR, the `bcr` of an I3cTargetInfo, a
 * hot-join notification), bit by bit.
 */
struct I3cBcr {
    std::uint8_t raw = 0; /**< the register as read */

    /** Bit 0: the target limits its data speed; GETMXDS tells its limits. */
    constexpr bool maxDataSpeedLimitation() const noexcept { return (raw & 0x01) != 0; }
    /** Bit 1: the target can raise in-band interrupts. */
    constexpr bool ibiRequestCapable() const noexcept { return (raw & 0x02) != 0; }
    /** Bit 2: the target's IBIs carry at least one payload byte (the mandatory data byte). */
    constexpr bool ibiPayload() const noexcept { return (raw & 0x04) != 0; }
    /** Bit 3: the target may be offline at times and need to be brought back (offline capable). */
    constexpr bool offlineCapable() const noexcept { return (raw & 0x08) != 0; }
    /** Bit 4: the target is, or hosts, virtual targets. */
    constexpr bool virtualTargetSupport() const noexcept { return (raw & 0x10) != 0; }
    /** Bit 5: the target supports optional advanced capabilities; GETCAPS describes them. */
    constexpr bool advancedCapabilities() const noexcept { return (raw & 0x20) != 0; }
    /** Bits 7..6: the device role. */
    constexpr I3cDeviceRole deviceRole() const noexcept { return static_cast<I3cDeviceRole>(raw >> 6); }
};

/** Wraps a BCR byte for decoding. */
constexpr I3cBcr i3cDecodeBcr(std::uint8_t bcr) noexcept
{
    return I3cBcr{bcr};
}

// ------------------------------------------------------------------------------------------ DCR

/**
 * The Device Characteristics Register: one byte whose values name device types in the MIPI
 * registry (sensors, memories, hubs...). The library does not carry that registry; it keeps the
 * byte and names only the value every reader knows.
 */
struct I3cDcr {
    std::uint8_t raw = 0; /**< the register as read */

    /** Value 0x00: a generic device, no particular type declared. */
    constexpr bool isGeneric() const noexcept { return raw == 0x00; }
};

// ------------------------------------------------------------------------------------------ PID

/** Number of bytes of a Provisioned ID on the bus (GETPID, I3cTargetInfo::pid). */
inline constexpr std::size_t kI3cPidSize = 6;

/**
 * The 48-bit Provisioned ID of a target, with its fields:
 *
 *     bits 47..33  MIPI manufacturer id (15 bits)
 *     bit  32      provisioned-id type selector: 0 vendor-fixed value, 1 random value
 *     bits 31..16  part id
 *     bits 15..12  instance id
 *     bits 11..0   extra information (vendor defined)
 *
 * With the type selector set, bits 31..0 are one random value and the part, instance and extra
 * fields have no meaning of their own.
 */
struct I3cPid {
    std::uint64_t value = 0; /**< the 48-bit id in the low bits */

    /** From six bytes in bus order: the first byte is bits 47..40 (GETPID, I3cTargetInfo::pid). */
    static constexpr I3cPid fromBytes(const std::uint8_t (&bytes)[kI3cPidSize]) noexcept
    {
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < kI3cPidSize; ++i) {
            v = (v << 8) | bytes[i];
        }
        return I3cPid{v};
    }

    /** From a GETPID answer: empty unless it holds exactly six bytes. */
    static std::optional<I3cPid> fromBytes(const std::vector<std::uint8_t>& bytes)
    {
        if (bytes.size() != kI3cPidSize) {
            return std::nullopt;
        }
        std::uint64_t v = 0;
        for (const std::uint8_t b : bytes) {
            v = (v << 8) | b;
        }
        return I3cPid{v};
    }

    /** Bits 47..33. */
    constexpr std::uint16_t manufacturerId() const noexcept
    {
        return static_cast<std::uint16_t>((value >> 33) & 0x7FFF);
    }
    /** Bit 32: true when bits 31..0 are a random value rather than part/instance/extra. */
    constexpr bool randomValue() const noexcept { return ((value >> 32) & 1u) != 0; }
    /** Bits 31..16. */
    constexpr std::uint16_t partId() const noexcept { return static_cast<std::uint16_t>((value >> 16) & 0xFFFF); }
    /** Bits 15..12. */
    constexpr std::uint8_t instanceId() const noexcept { return static_cast<std::uint8_t>((value >> 12) & 0x0F); }
    /** Bits 11..0. */
    constexpr std::uint16_t extraInfo() const noexcept { return static_cast<std::uint16_t>(value & 0x0FFF); }
    /** Bits 31..0, the random value when randomValue() is true. */
    constexpr std::uint32_t low32() const noexcept { return static_cast<std::uint32_t>(value & 0xFFFFFFFFu); }

    /** The six bytes in bus order, most significant first. */
    std::vector<std::uint8_t> toBytes() const
    {
        std::vector<std::uint8_t> bytes(kI3cPidSize);
        for (std::size_t i = 0; i < kI3cPidSize; ++i) {
            bytes[i] = static_cast<std::uint8_t>((value >> (8 * (kI3cPidSize - 1 - i))) & 0xFF);
        }
        return bytes;
    }
};

// ------------------------------------------------------------------------------ ENEC / DISEC

/**
 * Event bits of ENEC and DISEC (the `events` argument of i3cCccENEC... and i3cCccDISEC...).
 * Combine with `|`, e.g. `I3cEvents::INTERRUPTS | I3cEvents::HOT_JOIN`.
 */
struct I3cEvents {
    static constexpr std::uint8_t INTERRUPTS = 0x01;      /**< ENINT/DISINT: target in-band interrupts */
    static constexpr std::uint8_t CONTROLLER_ROLE = 0x02; /**< ENCR/DISCR: controller-role requests */
    static constexpr std::uint8_t HOT_JOIN = 0x08;        /**< ENHJ/DISHJ: hot-join requests */
};

// ----------------------------------------------------------------------- GETSTATUS / GETCAPS

/** Defining bytes of GETSTATUS (the optional `definingByte` of i3cCccGETSTATUS). */
struct I3cGetStatusDefByte {
    static constexpr std::uint8_t TGTSTAT = 0x00; /**< the target's status word, as GETSTATUS without a defining byte */
    static constexpr std::uint8_t PRECR = 0x91; /**< status of a controller-capable device about the controller role */
};

/** Defining bytes of GETCAPS (the optional `definingByte` of i3cCccGETCAPS). */
struct I3cGetCapsDefByte {
    static constexpr std::uint8_t TGTCAPS =
        0x00; /**< the target's capability bytes, as GETCAPS without a defining byte */
    static constexpr std::uint8_t TESTPAT = 0x5A; /**< a fixed test pattern, to check the read path */
    static constexpr std::uint8_t CRCAPS = 0x91;  /**< capabilities of a controller-capable device */
    static constexpr std::uint8_t VTCAPS = 0x93;  /**< virtual target capabilities */
    static constexpr std::uint8_t DBGCAPS = 0xD7; /**< debug capabilities */
};

#endif // TARVIXSDK_I3C_HELPERS_HPP
