/**
 * @file i3c_bus.hpp
 * @brief The virtual adapter's I3C bus: targets to attach, and events to raise from them.
 *
 * Every virtual adapter drives one modelled I3C bus. Tests attach I3C targets
 * (each with its Provisioned ID, BCR, DCR, limits, CCC registers and a memory)
 * and legacy I2C targets to it, then talk to them through the SDK: the
 * firmware answers the I3C commands from what is attached.
 *
 * @code
 *   tarvix_virtual::VirtualAdapter adapter = tarvix_virtual::attach();
 *   tarvix_virtual::I3cBus bus(adapter);
 *   tarvix_virtual::I3cTargetConfig sensor;
 *   sensor.pid = 0x0123'4567'89AB;
 *   sensor.bcr = 0x06;  // IBI capable, with payload
 *   sensor.maxIbiPayloadSize = 4;
 *   bus.attachTarget(sensor);
 *   bus.attachLegacyTarget(0x50);
 *   // sdk.i3cCccENTDAA() gives the sensor the dynamic address 0x08, then:
 *   bus.raiseIbi(sensor.pid, {0xAA});  // a 0x1981 notification from 0x08
 * @endcode
 *
 * Behaviour of the modelled bus that a test can rely on:
 *
 * - **Target table.** i3cInitBus (0x1904) stores the host's 16-byte records
 *   as sent; it drives nothing on the bus. i3cGetDeviceTable (0x1906) returns
 *   them, updated whenever a target's dynamic address changes: the record is
 *   found by PID, else by static address, and its dynamic address, PID, BCR
 *   and DCR are filled in; a target with no record gets a new one (static
 *   address or 0, extra fields 0) appended. RSTDAA zeroes every record's
 *   dynamic address. i3cSetTargetDeviceConfiguration (0x1907) stores its byte
 *   in `extraByte1` (record offset 14) of the record whose dynamic address,
 *   else static address, matches (none: NACK). i3cResetBus (0x1905) exits
 *   HDR mode, resets every dynamic address (as RSTDAA) and empties the table.
 * - **Dynamic address assignment.** ENTDAA addresses every target without a
 *   dynamic address, lowest PID first, as arbitration on the bus would. A
 *   target whose PID is in a record that the host gave a non-zero dynamic
 *   address gets that address if it is free; the others get the lowest free
 *   address from 0x08 up, skipping addresses in use (dynamic addresses, legacy
 *   I2C addresses, static addresses of targets without a dynamic address,
 *   addresses the host's records ask for), the broadcast address 0x7E and the
 *   addresses one bit away from it (0x3E, 0x5E, 0x6E, 0x76, 0x7A, 0x7C, 0x7F).
 *   SETDASA (to a target's static address, only while it has no dynamic
 *   address), SETAASA and SETNEWDA refuse an address that is 0, reserved or
 *   in use with I3cStatus::ADDRESS_REFUSED and change nothing.
 * - **CCCs.** Direct CCCs reach the target whose dynamic address matches
 *   (SETDASA: static address); none answers I3cStatus::NACK. A GET CCC
 *   returns at most the number of bytes asked for; a target with no value
 *   configured for an optional GET (GETMXDS, GETCAPS, GETXTIME; GETSTATUS and
 *   GETCAPS with a defining byte other than 0) NACKs it. Unknown codes answer
 *   I3cStatus::UNSUPPORTED_CCC; a broadcast code sent to a target address or a
 *   direct code sent to 0x7E answers DeviceStatus::INVALID_PARAMETER.
 *   ENEC/DISEC take their event mask from the defining byte when the frame
 *   has one, else from the first data byte; broadcast forms reach every target
 *   and, for the hot-join bit (0x08), also decide whether the controller
 *   accepts hot-join requests. RSTACT stores the action of the next target
 *   reset pattern (defining bytes 0x00..0x02); a direct RSTACT read answers
 *   one byte, I3cTargetConfig::resetTime.
 * - **Private transfers.** SDR and legacy I2C transfers address the target's
 *   memory: the register bytes (most significant first) set the register
 *   pointer (modulo the memory size), data is written or read from there, the
 *   pointer advances and wraps around. An SDR write longer than the current
 *   maximum write length is refused whole (I3cStatus::WRITE_TOO_LONG); an SDR
 *   read ends after the current maximum read length (the target ends it, the
 *   count says how many came). HDR-DDR commands 0x00..0x7F write and
 *   0x80..0xFF read at memory offset (command & 0x7F), leaving the SDR
 *   register pointer alone; a write frame with a read command or the reverse
 *   answers DeviceStatus::INVALID_PARAMETER; a target whose `hdrDdr` is false
 *   NACKs. A missing target NACKs; a read then answers count 0.
 * - **HDR mode.** An HDR-DDR transfer enters HDR-DDR mode (ENTHDR0) and the
 *   bus stays there until the HDR exit pattern (0x190A selector 1), the target
 *   reset pattern or i3cResetBus. Meanwhile SDR and legacy I2C transfers and
 *   CCCs answer I3cStatus::HDR_MODE_ACTIVE, and IBIs and hot-joins wait.
 * - **Target reset pattern** (0x190A selector 0). The bus leaves HDR mode and
 *   each target performs its RSTACT action, which then returns to the default
 *   (0x01, reset the I3C peripheral): 0x00 does nothing; 0x01 resets the
 *   volatile state (event enables back to all enabled, maximum write and read
 *   lengths and IBI payload size back to their configured values, register
 *   pointer to 0, waiting IBIs dropped); 0x02 does that and also drops the
 *   dynamic address, as a whole-target reset does. Memory contents stay.
 * - **Events.** raiseIbi() and hotJoin() return DELIVERED (the notification
 *   is sent at once), QUEUED (it is sent, after the answer of the command
 *   that unblocks it, when ENEC enables the event, the target gets a dynamic
 *   address or the bus leaves HDR mode) or REFUSED (never sent).
 *
 * Threads: every function here may be called from any thread, also while a
 * request is being answered; each runs under the adapter's lock.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual {

/// Statuses of the I3C commands, in bytes 4..5 of the answers (besides
/// DeviceStatus::SUCCESS and DeviceStatus::INVALID_PARAMETER for a malformed frame).
enum class I3cStatus : std::uint16_t {
    NACK = 0x0100,            ///< no target acknowledged the address (absent, unaddressed, or wrong kind)
    HDR_MODE_ACTIVE = 0x0101, ///< the bus is in HDR mode; send the HDR exit pattern first
    ADDRESS_REFUSED = 0x0102, ///< SETDASA/SETAASA/SETNEWDA: the new address is 0, reserved or in use
    UNSUPPORTED_CCC = 0x0103, ///< the CCC code is not one the firmware knows
    WRITE_TOO_LONG = 0x0104   ///< an SDR write longer than the target's maximum write length
};

/// One I3C target to attach. The defaults describe a plain target with a
/// 256-byte memory that can raise IBIs without payload.
struct I3cTargetConfig {
    std::optional<std::uint8_t> staticAddress; ///< for SETDASA/SETAASA; none for ENTDAA-only targets
    std::uint64_t pid = 0;                     ///< 48-bit Provisioned ID (bits above 47 are ignored); unique on the bus
    std::uint8_t bcr = 0x02;                   ///< Bus Characteristics Register (bit 1: may raise IBIs)
    std::uint8_t dcr = 0x00;                   ///< Device Characteristics Register
    std::uint16_t maxWriteLength = 256;        ///< GETMWL until a SETMWL changes it
    std::uint16_t maxReadLength = 256;         ///< GETMRL until a SETMRL changes it
    /// Third byte of GETMRL, and the most IBI payload bytes delivered; none: GETMRL answers 2 bytes.
    std::optional<std::uint8_t> maxIbiPayloadSize;
    Bytes maxDataSpeed;            ///< GETMXDS answer (2 or 5 bytes); empty: GETMXDS is NACKed
    Bytes capabilities{0x01};      ///< GETCAPS answer; empty: GETCAPS is NACKed
    std::uint16_t status = 0x0000; ///< GETSTATUS word, sent most significant byte first
    Bytes extendedTiming;          ///< GETXTIME answer (4 bytes); empty: GETXTIME is NACKed
    std::uint8_t resetTime = 0x01; ///< answer of a direct RSTACT read
    bool hdrDdr = true;            ///< answers HDR-DDR transfers; false: NACKs them
    Bytes memory = Bytes(256, 0);  ///< target of private transfers; empty: reads give 0 bytes
};

/// What became of an event raised with I3cBus::raiseIbi() or I3cBus::hotJoin().
enum class I3cEventResult : std::uint8_t {
    DELIVERED = 0, ///< the notification was sent now
    QUEUED = 1,    ///< it is sent once the bus allows it (see the file comment)
    REFUSED = 2    ///< it is never sent: unknown target, no dynamic address, not IBI capable
};

/// How the controller answers a hot-join request.
enum class I3cHotJoinAddressing : std::uint8_t {
    /// The new target stays without address until the host's next ENTDAA; the
    /// notification reports dynamic address 0.
    WAIT_FOR_ENTDAA = 0,
    /// The controller runs dynamic address assignment at once; the
    /// notification reports the address given.
    ASSIGN_AT_ONCE = 1
};

/// The state of an attached I3C target as the bus has left it.
struct I3cTargetState {
    std::uint8_t dynamicAddress;                   ///< 0 while it has none
    std::uint8_t enabledEvents;                    ///< ENEC/DISEC mask: 0x01 IBI, 0x02 controller role, 0x08 hot-join
    std::uint16_t maxWriteLength;                  ///< as SETMWL left it
    std::uint16_t maxReadLength;                   ///< as SETMRL left it
    std::optional<std::uint8_t> maxIbiPayloadSize; ///< as SETMRL left it
    std::uint8_t resetAction;                      ///< RSTACT action of the next target reset pattern
    std::uint8_t registerPointer;                  ///< SDR register pointer (low 8 bits)
    std::size_t pendingIbis;                       ///< IBIs raised and not yet delivered
    Bytes memory;                                  ///< contents
};

/**
 * The I3C bus of one virtual adapter. Cheap to copy; all copies control the
 * same bus, which lives with its adapter.
 */
class TARVIX_VIRTUAL_API I3cBus {
public:
    /// The I3C bus of @p adapter (each adapter has one).
    explicit I3cBus(VirtualAdapter adapter);

    /// Attaches an I3C target, without a dynamic address. Throws
    /// std::invalid_argument when its PID or static address is already on the bus.
    void attachTarget(const I3cTargetConfig& config);
    /// Attaches a legacy I2C target at 7-bit @p address with @p memory. Throws
    /// std::invalid_argument when the address is taken or above 0x7F.
    void attachLegacyTarget(std::uint8_t address, Bytes memory = Bytes(256, 0));
    /// Removes every target, the target table and the HDR state (the controller settings stay).
    void clear();

    /// The target with @p pid, or std::nullopt when none is attached.
    std::optional<I3cTargetState> target(std::uint64_t pid) const;
    /// The memory of the legacy I2C target at @p address (empty when none).
    Bytes legacyMemory(std::uint8_t address) const;
    /// The four settings of the last 0x1901 or 0x1902, in frame order, if any came.
    std::optional<Bytes> controllerSettings() const;
    /// Whether the bus is in HDR mode (an HDR-DDR transfer came and no exit pattern since).
    bool inHdrMode() const;

    /**
     * The target with @p pid raises an IBI with @p payload (the mandatory data
     * byte first). REFUSED when the target is unknown, has no dynamic address,
     * has BCR bit 1 clear, or has BCR bit 2 clear and a non-empty payload;
     * QUEUED while its IBIs are disabled or the bus is in HDR mode; else
     * DELIVERED: a 0x1981 notification (address, payload length, payload cut
     * to maxIbiPayloadSize when set).
     */
    I3cEventResult raiseIbi(std::uint64_t pid, const Bytes& payload = {});

    /**
     * A new target joins the bus and requests hot-join. Throws
     * std::invalid_argument as attachTarget() does. The target is attached
     * whatever happens. QUEUED while the controller has hot-join disabled
     * (broadcast DISEC 0x08) or the bus is in HDR mode: the notification
     * comes when ENEC enables it, unless the target got an address meanwhile;
     * else DELIVERED: a 0x1982 notification with PID, BCR, DCR and the dynamic
     * address (0 with WAIT_FOR_ENTDAA).
     */
    I3cEventResult hotJoin(const I3cTargetConfig& config,
                           I3cHotJoinAddressing addressing = I3cHotJoinAddressing::WAIT_FOR_ENTDAA);

private:
    VirtualAdapter adapter_;
};

} // namespace tarvix_virtual
