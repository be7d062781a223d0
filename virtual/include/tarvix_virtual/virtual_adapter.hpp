/**
 * @file virtual_adapter.hpp
 * @brief Control API of the Tarvix virtual adapter.
 *
 * libtarvix-virtual.so defines every function of hidapi 0.13 (hid_init ...
 * hid_version_str) over an in-process model of the adapter's firmware. Link
 * it ahead of libtarvixsdk.so (or LD_PRELOAD it) and the SDK's hid_* calls
 * reach the virtual adapters attached here instead of real hardware: the SDK
 * under test is the unchanged production build.
 *
 * Typical test:
 * @code
 *   tarvix_virtual::reset();
 *   tarvix_virtual::AdapterConfig config;
 *   config.serialNumber = L"TVX-0001";
 *   tarvix_virtual::VirtualAdapter adapter = tarvix_virtual::attach(config);
 *   adapter.setResponder(0x1403, [](const tarvix_virtual::Bytes& request) {
 *       return std::vector<tarvix_virtual::Bytes>{tarvix_virtual::responseFrame(
 *           tarvix_virtual::transactionIdOf(request), 0x1403, 0, {1})};
 *   });
 *   // ... drive the SDK, then inspect adapter.requests() ...
 * @endcode
 *
 * In CMake, list the virtual adapter before the SDK so that the dynamic
 * linker finds its hid_* definitions first:
 * @code
 *   target_link_libraries(my_tests PRIVATE tarvix::virtual tarvixsdk GTest::gtest_main)
 * @endcode
 *
 * Input reports (answers, notifications, sendReport()) reach every handle
 * open on the adapter at that moment, as with hidraw; with none open they are
 * lost.
 *
 * Threads: every function here may be called from any thread, concurrently
 * with each other and with the hid_* functions. Answers to a request are
 * produced synchronously on the thread that calls hid_write (that includes
 * responders); hid_read_timeout only hands out reports that are ready.
 */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Exports a symbol of libtarvix-virtual (hidden visibility is the default).
#if defined(__GNUC__)
#define TARVIX_VIRTUAL_API __attribute__((visibility("default")))
#else
#define TARVIX_VIRTUAL_API
#endif

namespace tarvix_virtual {

/// A byte buffer: a frame, a report or a payload.
using Bytes = std::vector<std::uint8_t>;

/// Command and notification codes the firmware model knows by name.
namespace codes {
inline constexpr std::uint16_t RESET_DEVICE = 0x0401;            ///< restarts; no answer
inline constexpr std::uint16_t ENTER_BOOT_MODE = 0x0402;         ///< leaves the firmware; no answer
inline constexpr std::uint16_t GET_USB_STRING = 0x0407;          ///< payload: string index 1..5
inline constexpr std::uint16_t SET_I3C_RAIL = 0x0404;            ///< u16 millivolts
inline constexpr std::uint16_t SET_SHARED_RAIL = 0x0405;         ///< u16 millivolts, flag byte
inline constexpr std::uint16_t GET_ANALOG_MEASUREMENTS = 0x0409; ///< answers shared, I3C 1, I3C 2 (u16 mV each)
inline constexpr std::uint16_t I3C_RAIL_EXTERNAL = 0x040A;       ///< flag byte
inline constexpr std::uint16_t SHARED_RAIL_EXTERNAL = 0x040B;    ///< flag byte
inline constexpr std::uint16_t I2C_SET_PULL_UPS = 0x0802;        ///< bus, pull-up selection
inline constexpr std::uint16_t I2C_INIT = 0x0901;                ///< bus, u32 frequency, option
inline constexpr std::uint16_t I2C_SET_PARAMETERS = 0x0902;      ///< as I2C_INIT, on an initialised bus
inline constexpr std::uint16_t I2C_WRITE = 0x0904;               ///< bus, count, address, register, flag, data
inline constexpr std::uint16_t I2C_READ = 0x0905;                ///< as I2C_WRITE, no data; answers from offset 9
inline constexpr std::uint16_t I2C_SCAN = 0x0906;           ///< bus, flag; answers the 7-bit addresses that acknowledge
inline constexpr std::uint16_t SPI_INIT = 0x0D01;           ///< five settings, u32 frequency in Hz
inline constexpr std::uint16_t SPI_SET_PARAMETERS = 0x0D02; ///< as SPI_INIT, on an initialised controller
inline constexpr std::uint16_t SPI_TRANSFER = 0x0D04;       ///< data count, transfer length, data
inline constexpr std::uint16_t UART_DEINIT = 0x1001;        ///< closes the port
inline constexpr std::uint16_t UART_INIT = 0x1002;          ///< baud index, handshake, parity, data bits, stop bits
inline constexpr std::uint16_t UART_SET_PARAMETERS = 0x1003;          ///< as UART_INIT, on an open port
inline constexpr std::uint16_t UART_SEND = 0x1005;                    ///< u16 count, then the bytes
inline constexpr std::uint16_t GPIO_CONFIGURE_PIN = 0x1401;           ///< pin, function, level
inline constexpr std::uint16_t GPIO_WRITE = 0x1402;                   ///< pin, level
inline constexpr std::uint16_t GPIO_READ = 0x1403;                    ///< pin; answers the level
inline constexpr std::uint16_t GPIO_ARM_INTERRUPT = 0x1404;           ///< pin, trigger
inline constexpr std::uint16_t GPIO_DISARM_INTERRUPT = 0x1405;        ///< pin
inline constexpr std::uint16_t I3C_INIT = 0x1901;                     ///< I3C controller rates and drive
inline constexpr std::uint16_t I3C_SET_PARAMETERS = 0x1902;           ///< as I3C_INIT, on a running controller
inline constexpr std::uint16_t I3C_INIT_BUS = 0x1904;                 ///< target list, then dynamic addressing
inline constexpr std::uint16_t I3C_RESET_BUS = 0x1905;                ///< exits HDR, drops addresses and table
inline constexpr std::uint16_t I3C_GET_DEVICE_TABLE = 0x1906;         ///< answers the count and the 16-byte records
inline constexpr std::uint16_t I3C_SET_TARGET_CONFIGURATION = 0x1907; ///< address, configuration byte
inline constexpr std::uint16_t I3C_PRIVATE_TRANSFER = 0x1908;         ///< SDR, HDR-DDR and legacy I2C
inline constexpr std::uint16_t I3C_CCC = 0x1909;                      ///< common command codes
inline constexpr std::uint16_t I3C_BUS_PATTERN = 0x190A;              ///< HDR exit and target reset patterns
inline constexpr std::uint16_t UART_RX = 0x1081;                      ///< notification: UART bytes received
inline constexpr std::uint16_t GPIO_INTERRUPT = 0x1481;               ///< notification: a GPIO pin fired
inline constexpr std::uint16_t I3C_IBI = 0x1981;                      ///< notification: I3C in-band interrupt
inline constexpr std::uint16_t I3C_HOT_JOIN = 0x1982;                 ///< notification: I3C hot-join
} // namespace codes

/// Statuses the firmware model puts in bytes 4..5 of its responses.
enum class DeviceStatus : std::uint16_t {
    SUCCESS = 0x0000,           ///< the command was carried out
    INVALID_PARAMETER = 0x0001, ///< an argument is missing or out of range (e.g. USB string index 0 or 6)
    /// A setting the firmware does not offer: GPIO function or trigger, SPI mode, width or
    /// frequency, UART baud index, parity, data size or stop bits, I2C frequency or pull-up value.
    UNSUPPORTED_SETTING = 0x0002,
    /// A rail voltage outside what the regulators make: 1200..3300 mV, both rails.
    VOLTAGE_OUT_OF_RANGE = 0x0003,
    /// GPIO: the pin's function does not allow the command (write to a pin that is not an
    /// output, read of a disabled pin, interrupt on a pin not configured as DIGITAL_INTERRUPT).
    PIN_FUNCTION_MISMATCH = 0x0010,
    I2C_BUS_NOT_INITIALISED = 0x0020, ///< I2C transfer, scan or set-parameters before the bus's init
    I2C_NACK = 0x0021,                ///< no target acknowledged the address
    SPI_NOT_INITIALISED = 0x0030,     ///< SPI transfer or set-parameters before init
    UART_NOT_INITIALISED = 0x0040     ///< UART send or set-parameters while the port is closed
};

/**
 * The USB timing model: how long reports take on a real adapter's link. Off by default, so that
 * tests run at memory speed. On, every transfer happens at a frame boundary, one report per
 * direction per frame: full speed moves one 64-byte report each way per 1 ms frame, high speed
 * one report of up to 1024 bytes each way per 125 us microframe. hid_write returns once its
 * report has crossed (as hidraw's write waits for its interrupt transfer); the adapter takes the
 * requests in order, one at a time, each for firmwareTime (plus any response delay or latency
 * set), and its answer leaves in the first free IN frame after that. A blocking call thus costs
 * two frames when the firmware takes less than one (one out, one back), and requests sent back
 * to back are answered one per frame.
 */
struct UsbTiming {
    bool enabled = false; ///< off (the default): reports cross at once
    /// Frame time; 0 takes it from the report size: 64-byte adapters are full speed (1 ms),
    /// larger ones high speed (125 us).
    std::chrono::nanoseconds frame{0};
    /// How long the firmware works on each request before its answer is ready.
    std::chrono::nanoseconds firmwareTime{0};
    /// Requests the adapter holds, received but not yet taken by the firmware; past that it
    /// refuses further reports (NAK) and the host's write waits. At least 1.
    std::size_t requestBuffer = 8;
    /// Input reports the host's kernel keeps for each open handle until they are read: hidraw
    /// keeps 64 per open file, and drops (silently) a report that arrives while they are all
    /// waiting. So does the model, counting them (VirtualAdapter::droppedInputReports). 0: no
    /// limit. Only with the model on: reports that cross at once would all arrive together.
    std::size_t hostQueue = 64;
};

/// Description of one virtual adapter, given to attach().
struct AdapterConfig {
    std::uint16_t vendorId = 0x1FC9;  ///< USB vendor ID reported by enumeration
    std::uint16_t productId = 0x82FC; ///< USB product ID reported by enumeration
    /// hidapi path; empty makes up a unique one ("virtual/0", "virtual/1", ...).
    std::string path;
    /// Wide serial number as hidapi reports it; std::nullopt for an adapter without one.
    /// Any wchar_t value is accepted, also ones that do not convert to UTF-8.
    std::optional<std::wstring> serialNumber;
    /// Payload bytes of one HID report. 0 takes it from the catalogue
    /// (0x1FC9:0x82FC = 64, 0x1FC9:0x82FD = 1024) and 64 for other IDs.
    /// Otherwise 8..1025 (a segment carries at most 1023 bytes).
    std::size_t reportSize = 0;
    std::string manufacturer = "Tarvix Instruments";     ///< USB string 1
    std::string product = "Tarvix USB Protocol Adapter"; ///< USB string 2
    /// USB string 3; by default the serial number as UTF-8 ('?' for what does not convert).
    std::optional<std::string> serialString;
    std::string firmwareVersion = "1.0.0"; ///< USB string 4
    std::string hardwareVersion = "A1";    ///< USB string 5
    /// Puts the default bench on the adapter (see targets.hpp): a 256-byte EEPROM at 0x50 and
    /// a temperature sensor at 0x48 on I2C bus 0, a SPI NOR flash on chip select 0, GPIO 0
    /// wired to GPIO 1, UART TX looped back to RX. False: nothing is attached or wired.
    bool bench = true;
    /// How long the adapter stays off the bus after a reset command.
    std::chrono::milliseconds restartTime{200};
    /// The USB timing model (off by default); see VirtualAdapter::setUsbTiming.
    UsbTiming usbTiming;
};

/// One hid_write as the adapter saw it.
struct WrittenReport {
    Bytes bytes;   ///< exactly what was passed, report-ID byte included, at its exact length
    bool accepted; ///< false when hid_write returned -1 (wrong length or ID, or injected failure)
};

/// Computes a response frame's answer to a request frame; see VirtualAdapter::setResponder.
using Responder = std::function<std::vector<Bytes>(const Bytes& request)>;
/// How long the adapter takes to answer one request; see VirtualAdapter::setResponseLatency.
using LatencyFunction = std::function<std::chrono::microseconds(const Bytes& request)>;

/**
 * Handle to one attached virtual adapter. Cheap to copy; all copies control
 * the same adapter, which lives as long as the registry or a handle needs it.
 */
class TARVIX_VIRTUAL_API VirtualAdapter {
public:
    /// The hidapi path under which the adapter is enumerated and opened.
    const std::string& path() const;
    /// USB vendor ID reported by enumeration.
    std::uint16_t vendorId() const;
    /// USB product ID reported by enumeration.
    std::uint16_t productId() const;
    /// Payload bytes of one report (64 or 1024 for catalogue IDs).
    std::size_t reportSize() const;

    /// @name Plugging
    /// @{

    /// Unplugs the adapter: it leaves enumeration, and from now on hid_read,
    /// hid_read_timeout and hid_write on every handle opened before return -1
    /// at once; blocked readers wake. Those handles stay dead after replug().
    void unplug();
    /// Unplugs the adapter as soon as @p count more output reports have arrived (the last one
    /// is taken in, the ones after it fail): the cable pulled in the middle of a long request.
    /// 0 cancels.
    void unplugAfterReports(std::size_t count);
    /// Plugs it back in (a power cycle: half-received requests and the firmware's
    /// settings are forgotten; responders, scripts and the bench stay). Also brings
    /// back an adapter that left for its boot mode or is restarting after a reset
    /// command. No effect on an adapter removed by reset().
    void replug();
    /// False while unplugged; an adapter restarting after a reset command is plugged again
    /// once its restart time has passed (AdapterConfig::restartTime).
    bool plugged() const;
    /// Waits until the adapter is plugged (back after a reset, or replug()); false if the
    /// timeout passed first.
    bool waitForPlugged(std::chrono::milliseconds timeout) const;
    /// @}

    /// @name Records
    /// @{

    /// Every hid_write since the last clearRecords(), in order.
    std::vector<WrittenReport> writtenReports() const;
    /// Every reassembled request frame (transaction id, code, payload) since the last clearRecords().
    std::vector<Bytes> requests() const;
    /// Forgets the written reports and requests recorded so far.
    void clearRecords();
    /// Turns recording on (the default) or off; off keeps long benchmarks from growing memory.
    /// waitForRequests() counts requests either way.
    void setRecording(bool on);
    /// Waits until at least @p count request frames have arrived since the last
    /// clearRecords(); false if the timeout passed first.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;
    /// @}

    /// @name Answers
    /// @{

    /// Installs @p responder for command @p code, replacing the firmware's own
    /// answer. It runs on the thread that called hid_write, without any lock of
    /// this library held, and returns the frames to send (each is segmented into
    /// reports), or none for no answer.
    void setResponder(std::uint16_t code, Responder responder);
    /// Gives command @p code back to the firmware model.
    void clearResponder(std::uint16_t code);
    /// Queues @p frames as the whole answer to the next request (whatever its
    /// code; a frame too short to carry a code is never answered); each call
    /// queues the answer for one more request. Takes precedence over responders.
    void answerNextRequestWithFrames(std::vector<Bytes> frames);
    /// Like answerNextRequestWithFrames(), but each entry is one input report
    /// sent verbatim, at its own length (lying segment headers included).
    void answerNextRequestWithReports(std::vector<Bytes> reports);
    /// Sends @p frame now, segmented into reports.
    void sendFrame(const Bytes& frame);
    /// Sends @p report now, verbatim, as one input report.
    void sendReport(const Bytes& report);
    /// Sends a notification now: transaction id 0, @p code, @p status, @p payload.
    void injectNotification(std::uint16_t code, std::uint16_t status, const Bytes& payload);
    /// Makes every following answer to a request ready only @p delay after the
    /// request arrived (0 = at once). Readers see it as a slow device. Reports
    /// are read in order of the time they become ready, so a notification sent
    /// meanwhile overtakes a delayed answer.
    void setResponseDelay(std::chrono::milliseconds delay);
    /// Like setResponseDelay(), but per request: @p latency (called with the request frame, under
    /// the adapter's lock, so it must not use this adapter's control API) says how long after
    /// the request its answer is ready. As a real adapter handles requests one at a time, an
    /// answer is never ready before the answer to an earlier request. An empty function goes
    /// back to the fixed delay.
    void setResponseLatency(LatencyFunction latency);
    /// Swallows the answers to the next @p count requests that would be answered.
    void dropNextResponses(std::size_t count);
    /// Switches the USB timing model on or off (see UsbTiming), from the next report on. Reports
    /// already queued keep their times.
    void setUsbTiming(const UsbTiming& timing);
    /// Input reports dropped so far, over all handles, because the handle's list was full
    /// (UsbTiming::hostQueue).
    std::size_t droppedInputReports() const;
    /// @}

    /// @name Faults and handles
    /// @{

    /// While on, hid_write on this adapter returns -1 (the report is recorded as not accepted).
    void setWriteFails(bool on);
    /// While on, hid_open_path and hid_open of this adapter return NULL.
    void setOpenFails(bool on);
    /// Makes hid_open_path and hid_open of this adapter fail as the kernel would with @p error
    /// (an errno value: EACCES for a node the user may not open, EBUSY...): they return NULL
    /// with errno set to it and hid_error(NULL) saying so. 0 turns it off.
    void setOpenError(int error);
    /// Handles opened on this adapter and not yet closed (dead ones included).
    std::size_t openHandles() const;
    /// Waits until at least @p count threads are blocked in hid_read or
    /// hid_read_timeout on this adapter's handles; lets a test close or unplug
    /// once a reader is truly waiting. False if the timeout passed first.
    bool waitForBlockedReaders(std::size_t count, std::chrono::milliseconds timeout) const;
    /// @}

    /// @cond INTERNAL
    struct Impl;
    explicit VirtualAdapter(std::shared_ptr<Impl> impl);
    Impl& impl() const { return *impl_; }
    /// @endcond

private:
    std::shared_ptr<Impl> impl_;
};

/// Process-wide counters of the hidapi front-end.
struct Counters {
    std::size_t initCalls;   ///< hid_init calls since the last reset()
    std::size_t exitCalls;   ///< hid_exit calls since the last reset()
    std::size_t openHandles; ///< handles opened and not yet closed, process-wide (not reset)
};

/// Attaches (plugs in) a new adapter; it is listed by hid_enumerate after
/// those attached before it. Throws std::invalid_argument for a path already
/// attached or a report size out of range.
TARVIX_VIRTUAL_API VirtualAdapter attach(const AdapterConfig& config = {});
/// Unplugs and forgets every adapter and zeroes the init/exit counters; call it between tests.
TARVIX_VIRTUAL_API void reset();
/// The process-wide counters of the hidapi front-end.
TARVIX_VIRTUAL_API Counters counters();
/// Report size of a catalogue entry, or std::nullopt for IDs the SDK does not support.
TARVIX_VIRTUAL_API std::optional<std::size_t> catalogueReportSize(std::uint16_t vendorId, std::uint16_t productId);

/// Builds a response frame: tid, code, status (all u16 LE), then @p payload.
TARVIX_VIRTUAL_API Bytes responseFrame(std::uint16_t transactionId, std::uint16_t code, std::uint16_t status,
                                       const Bytes& payload = {});
/// Builds a notification frame: a response frame with transaction id 0.
TARVIX_VIRTUAL_API Bytes notificationFrame(std::uint16_t code, std::uint16_t status, const Bytes& payload = {});
/// Transaction id (bytes 0..1) of a request frame; 0 if it is shorter.
TARVIX_VIRTUAL_API std::uint16_t transactionIdOf(const Bytes& frame);
/// Command code (bytes 2..3) of a request frame; 0 if it is shorter.
TARVIX_VIRTUAL_API std::uint16_t commandCodeOf(const Bytes& frame);

} // namespace tarvix_virtual
