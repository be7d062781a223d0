// The control API: thin forwarding to the adapter's DeviceCore and to the
// registry.
#include "tarvix_virtual/virtual_adapter.hpp"

#include "frame.hpp"
#include "registry.hpp"

namespace tarvix_virtual {

using detail::Registry;

VirtualAdapter::VirtualAdapter(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}

const std::string& VirtualAdapter::path() const
{
    return impl_->path;
}
std::uint16_t VirtualAdapter::vendorId() const
{
    return impl_->vendorId;
}
std::uint16_t VirtualAdapter::productId() const
{
    return impl_->productId;
}
std::size_t VirtualAdapter::reportSize() const
{
    return impl_->core.reportSize();
}

void VirtualAdapter::unplug()
{
    impl_->unplug();
}
void VirtualAdapter::replug()
{
    impl_->replug();
}
bool VirtualAdapter::plugged() const
{
    return impl_->plugged();
}
bool VirtualAdapter::waitForPlugged(std::chrono::milliseconds timeout) const
{
    return impl_->waitForPlugged(timeout);
}

std::vector<WrittenReport> VirtualAdapter::writtenReports() const
{
    return impl_->core.writtenReports();
}
std::vector<Bytes> VirtualAdapter::requests() const
{
    return impl_->core.requests();
}
void VirtualAdapter::clearRecords()
{
    impl_->core.clearRecords();
}
void VirtualAdapter::setRecording(bool on)
{
    impl_->core.setRecording(on);
}
bool VirtualAdapter::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    return impl_->core.waitForRequests(count, timeout);
}

void VirtualAdapter::setResponder(std::uint16_t code, Responder responder)
{
    impl_->core.setResponder(code, std::move(responder));
}
void VirtualAdapter::clearResponder(std::uint16_t code)
{
    impl_->core.clearResponder(code);
}
void VirtualAdapter::answerNextRequestWithFrames(std::vector<Bytes> frames)
{
    impl_->core.scriptAnswer(std::move(frames), false);
}
void VirtualAdapter::answerNextRequestWithReports(std::vector<Bytes> reports)
{
    impl_->core.scriptAnswer(std::move(reports), true);
}
void VirtualAdapter::sendFrame(const Bytes& frame)
{
    impl_->core.sendFrame(frame);
}
void VirtualAdapter::sendReport(const Bytes& report)
{
    impl_->core.sendReport(report);
}
void VirtualAdapter::injectNotification(std::uint16_t code, std::uint16_t status, const Bytes& payload)
{
    impl_->core.sendFrame(notificationFrame(code, status, payload));
}
void VirtualAdapter::setResponseDelay(std::chrono::milliseconds delay)
{
    impl_->core.setResponseDelay(delay);
}
void VirtualAdapter::setResponseLatency(LatencyFunction latency)
{
    impl_->core.setResponseLatency(std::move(latency));
}
void VirtualAdapter::dropNextResponses(std::size_t count)
{
    impl_->core.dropNextResponses(count);
}
void VirtualAdapter::setUsbTiming(const UsbTiming& timing)
{
    impl_->setUsbTiming(timing);
}
std::size_t VirtualAdapter::droppedInputReports() const
{
    return impl_->droppedInput.load();
}

void VirtualAdapter::setWriteFails(bool on)
{
    impl_->writeFails = on;
}
void VirtualAdapter::setOpenFails(bool on)
{
    impl_->openFails = on;
}
void VirtualAdapter::setOpenError(int error)
{
    impl_->openError = error;
}
void VirtualAdapter::unplugAfterReports(std::size_t count)
{
    impl_->unplugAfter = count;
}
std::size_t VirtualAdapter::openHandles() const
{
    return impl_->openHandles.load();
}
bool VirtualAdapter::waitForBlockedReaders(std::size_t count, std::chrono::milliseconds timeout) const
{
    return impl_->readers.waitFor(count, timeout);
}

VirtualAdapter attach(const AdapterConfig& config)
{
    return VirtualAdapter(Registry::instance().attach(config));
}

void reset()
{
    Registry::instance().reset();
}

Counters counters()
{
    Registry& registry = Registry::instance();
    return {registry.initCalls.load(), registry.exitCalls.load(), registry.openHandles.load()};
}

std::optional<std::size_t> catalogueReportSize(std::uint16_t vendorId, std::uint16_t productId)
{
    if (vendorId == 0x1FC9 && productId == 0x82FC) return 64;
    if (vendorId == 0x1FC9 && productId == 0x82FD) return 1024;
    return std::nullopt;
}

Bytes responseFrame(std::uint16_t transactionId, std::uint16_t code, std::uint16_t status, const Bytes& payload)
{
    Bytes frame;
    frame.reserve(detail::kResponseHeaderSize + payload.size());
    detail::FieldWriter(frame).u16(transactionId).u16(code).u16(status).bytes(payload);
    return frame;
}

Bytes notificationFrame(std::uint16_t code, std::uint16_t status, const Bytes& payload)
{
    return responseFrame(0, code, status, payload);
}

std::uint16_t transactionIdOf(const Bytes& frame)
{
    return frame.size() >= 2 ? detail::loadU16(frame.data()) : std::uint16_t{0};
}

std::uint16_t commandCodeOf(const Bytes& frame)
{
    return frame.size() >= 4 ? detail::loadU16(frame.data() + 2) : std::uint16_t{0};
}

} // namespace tarvix_virtual
