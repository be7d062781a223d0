// Shared fixtures for the virtual adapter's own tests: they talk to it through
// the hidapi functions, as the SDK does, with a host-side segment layer of
// their own.
#pragma once

#include <gtest/gtest.h>
#include <hidapi.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "tarvix_virtual/targets.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace vt = tarvix_virtual;
using namespace std::chrono_literals;

inline vt::Bytes patternBytes(std::size_t size)
{
    vt::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    return bytes;
}

inline vt::Bytes u16(std::uint16_t value)
{
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8)};
}

inline vt::Bytes concat(vt::Bytes a, const vt::Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline vt::Bytes requestFrame(std::uint16_t tid, std::uint16_t code, const vt::Bytes& payload = {})
{
    return concat(concat(u16(tid), u16(code)), payload);
}

inline std::uint16_t headerOf(const vt::Bytes& report)
{
    return static_cast<std::uint16_t>(report[0] | report[1] << 8);
}

// Output reports (report ID 0 first) that carry @p frame.
inline std::vector<vt::Bytes> outputReports(const vt::Bytes& frame, std::size_t reportSize)
{
    std::vector<vt::Bytes> reports;
    const std::size_t capacity = reportSize - 2;
    for (std::size_t offset = 0; offset < frame.size(); offset += capacity) {
        const std::size_t count = std::min(capacity, frame.size() - offset);
        const unsigned header =
            static_cast<unsigned>(count << 2) | (offset == 0 ? 1u : 0u) | (offset + count == frame.size() ? 2u : 0u);
        vt::Bytes report(reportSize + 1, 0);
        report[1] = static_cast<std::uint8_t>(header);
        report[2] = static_cast<std::uint8_t>(header >> 8);
        std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(offset), count, report.begin() + 3);
        reports.push_back(report);
    }
    return reports;
}

inline bool writeFrame(hid_device* dev, const vt::Bytes& frame, std::size_t reportSize)
{
    for (const vt::Bytes& report : outputReports(frame, reportSize)) {
        if (hid_write(dev, report.data(), report.size()) != static_cast<int>(report.size())) return false;
    }
    return true;
}

// Reads one input report; empty on timeout or error.
inline vt::Bytes readReport(hid_device* dev, std::size_t reportSize, int timeoutMs)
{
    vt::Bytes report(reportSize);
    const int n = hid_read_timeout(dev, report.data(), report.size(), timeoutMs);
    report.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return report;
}

// Reads reports until one closes a frame; the raw reports go to @p reports if given.
inline std::optional<vt::Bytes> readFrame(hid_device* dev, std::size_t reportSize, int timeoutMs,
                                          std::vector<vt::Bytes>* reports = nullptr)
{
    vt::Bytes frame;
    for (;;) {
        const vt::Bytes report = readReport(dev, reportSize, timeoutMs);
        if (report.size() < 2) return std::nullopt;
        if (reports) reports->push_back(report);
        const std::uint16_t header = headerOf(report);
        if (header & 1u) frame.clear();
        const std::size_t count = std::min<std::size_t>((header >> 2) & 0x3FFu, report.size() - 2);
        frame.insert(frame.end(), report.begin() + 2, report.begin() + 2 + static_cast<std::ptrdiff_t>(count));
        if (header & 2u) return frame;
    }
}

// The status of an answer (0xFFFF for none), and what follows it.
inline std::uint16_t statusOf(const vt::Bytes& answer)
{
    return answer.size() < 6 ? std::uint16_t{0xFFFF} : static_cast<std::uint16_t>(answer[4] | answer[5] << 8);
}
inline vt::Bytes payloadOf(const vt::Bytes& answer)
{
    return answer.size() < 6 ? vt::Bytes{} : vt::Bytes(answer.begin() + 6, answer.end());
}
inline std::uint16_t code(vt::DeviceStatus status)
{
    return static_cast<std::uint16_t>(status);
}

// Resets the registry around each test and closes the handles it opened.
class VirtualAdapterTest : public ::testing::Test {
protected:
    void SetUp() override { vt::reset(); }
    void TearDown() override
    {
        for (hid_device* dev : opened_) hid_close(dev);
        vt::reset();
    }

    hid_device* open(const vt::VirtualAdapter& adapter)
    {
        hid_device* dev = hid_open_path(adapter.path().c_str());
        if (dev) opened_.push_back(dev);
        return dev;
    }

    // One request, one answer, through hidapi.
    std::optional<vt::Bytes> roundTrip(hid_device* dev, const vt::Bytes& request, std::size_t reportSize = 64,
                                       int timeoutMs = 1000)
    {
        if (!writeFrame(dev, request, reportSize)) return std::nullopt;
        return readFrame(dev, reportSize, timeoutMs);
    }

private:
    std::vector<hid_device*> opened_;
};

// One adapter (the default bench unless config() says otherwise), opened.
class BenchTest : public VirtualAdapterTest {
protected:
    std::optional<vt::VirtualAdapter> adapter;
    hid_device* dev = nullptr;

    virtual vt::AdapterConfig config() const { return {}; }

    void SetUp() override
    {
        VirtualAdapterTest::SetUp();
        adapter = vt::attach(config());
        dev = open(*adapter);
        ASSERT_NE(dev, nullptr);
    }

    // Sends one command and returns its answer (empty if none came).
    vt::Bytes call(std::uint16_t command, const vt::Bytes& payload = {})
    {
        return roundTrip(dev, requestFrame(++tid_, command, payload), adapter->reportSize()).value_or(vt::Bytes{});
    }

    // The status of a command's answer (0xFFFF if none came).
    std::uint16_t status(std::uint16_t command, const vt::Bytes& payload = {})
    {
        return statusOf(call(command, payload));
    }

    // The next frame the adapter sends unasked (or empty).
    vt::Bytes nextNotification() { return readFrame(dev, adapter->reportSize(), 1000).value_or(vt::Bytes{}); }

    bool nothingPending() { return readReport(dev, adapter->reportSize(), 0).empty(); }

private:
    std::uint16_t tid_ = 0;
};
