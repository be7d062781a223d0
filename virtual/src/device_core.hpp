// Device side of one virtual adapter, independent of how the host reaches it
// (hidapi interposition today, a uhid device later). It takes HID output
// reports as the host writes them (report ID 0, then reportSize bytes),
// reassembles request frames from their segments, answers each whole frame
// (script, responder or firmware model) and hands the answer, cut into input
// reports of reportSize bytes, to an InputSink with the time it becomes ready.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

using Clock = std::chrono::steady_clock;

// The USB frame time: @p frame when given, else by the report size. Full
// speed carries 64-byte reports in 1 ms frames; high speed up to 1024 bytes in
// 125 us microframes.
Clock::duration usbFrameTime(std::size_t reportSize, std::chrono::nanoseconds frame);

// Receives input reports, and learns when the device drops off the bus.
// Called with the core's lock held, so it must not call back into the core.
class InputSink {
public:
    virtual void deliver(const std::uint8_t* report, std::size_t length, Clock::time_point ready) = 0;
    // The firmware restarts (@p comesBack: it re-enumerates after its restart
    // time) or leaves for its boot loader (it does not come back by itself).
    virtual void leaveBus(bool comesBack) = 0;

protected:
    ~InputSink() = default;
};

class DeviceCore {
public:
    DeviceCore(std::size_t reportSize, FirmwareState firmware, InputSink& sink);

    std::size_t reportSize() const { return reportSize_; }

    // One output report from the host. False (and nothing processed) unless
    // it is exactly reportSize + 1 bytes with report ID 0; recorded either way.
    // With the USB timing model on, @p crossed receives the time the report
    // has crossed the link (the host's write returns then); otherwise now.
    bool receiveOutputReport(const std::uint8_t* data, std::size_t length, Clock::time_point* crossed = nullptr);
    // Records a write the transport refused before it reached the device.
    void recordRejected(const std::uint8_t* data, std::size_t length);
    // Forgets a half-received request and the firmware's settings, as a power
    // cycle would; what is attached to the pins stays.
    void powerCycle();

    void setRecording(bool on);
    std::vector<WrittenReport> writtenReports() const;
    std::vector<Bytes> requests() const;
    void clearRecords();
    bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;

    void setResponder(std::uint16_t code, Responder responder);
    void clearResponder(std::uint16_t code);
    void scriptAnswer(std::vector<Bytes> items, bool raw);
    void sendFrame(const Bytes& frame);
    void sendReport(const Bytes& report);
    void setResponseDelay(std::chrono::milliseconds delay);
    void setResponseLatency(LatencyFunction latency);
    void dropNextResponses(std::size_t count);
    void setUsbTiming(const UsbTiming& timing);

    // Runs @p f on the firmware's state under the core's lock: the control API
    // of a family (attach a target, wire a loopback) goes through here. @p f
    // must not call back into the core.
    template <class F>
    decltype(auto) withFirmware(F&& f)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return f(firmware_.state());
    }

    // Like withFirmware, for a bench change that raises notifications (a test
    // drives a GPIO input, the far end sends on the UART): @p f also gets a
    // list to put notification frames in, which go out as soon as it returns.
    template <class F>
    void withFirmwareRaising(F&& f)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<Bytes> raised;
        f(firmware_.state(), raised);
        for (const Bytes& frame : raised) emitFrame(frame, Clock::now());
    }

private:
    struct Script {
        std::vector<Bytes> items;
        bool raw; // items are input reports, not frames
    };

    void handleRequest(std::unique_lock<std::mutex>& lock);
    bool takeDrop();
    void emitFrame(const Bytes& frame, Clock::time_point ready);
    // Every input report leaves through here: with the timing model, in the
    // first free IN frame after it is ready.
    void deliverReport(const std::uint8_t* report, std::size_t length, Clock::time_point ready);
    // The USB timing model. Transfers happen at frame boundaries, one report
    // per direction per frame: a report handed over at t crosses at the first
    // boundary after t that its direction has not used yet.
    Clock::time_point frameAfter(Clock::time_point t) const;
    Clock::time_point outputSlot(bool firstSegment);

    // A frame that never ends cannot grow without bound: past this the
    // reassembly starts over.
    static constexpr std::size_t kMaxRequestFrame = 1u << 20;

    const std::size_t reportSize_;
    InputSink& sink_;

    mutable std::mutex mutex_;
    mutable std::condition_variable requestsCv_;
    Firmware firmware_;
    Bytes reassembly_;
    Bytes response_;                   // reused for every firmware answer
    std::vector<Bytes> notifications_; // raised by the firmware's last answer
    Bytes report_;                     // reused for every input report
    bool recording_ = true;
    std::vector<WrittenReport> written_;
    std::vector<Bytes> requests_;
    std::size_t requestCount_ = 0;
    // Shared so that a responder can run unlocked while another thread replaces it.
    std::unordered_map<std::uint16_t, std::shared_ptr<const Responder>> responders_;
    std::deque<Script> scripts_;
    Clock::duration delay_{};
    LatencyFunction latency_;       // per request, instead of delay_, when set
    Clock::time_point lastReady_{}; // answers leave in request order
    std::size_t dropCount_ = 0;

    // When the answer to `request` is ready.
    Clock::time_point answerReadyTime(const Bytes& request);

    UsbTiming timing_;                     // enabled: the model below is in use
    Clock::duration frame_{};              // the frame (or microframe) time in use
    Clock::time_point epoch_{};            // a frame boundary
    Clock::time_point outFree_{};          // first boundary the OUT direction has not used
    Clock::time_point inFree_{};           // likewise IN
    Clock::time_point arrival_{};          // when the request being reassembled crossed
    Clock::time_point firmwareFree_{};     // the firmware is done with earlier requests
    std::deque<Clock::time_point> starts_; // when the firmware took the latest requests
};

} // namespace tarvix_virtual::detail
