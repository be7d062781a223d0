// Fixture for the tests of the firmware families and their bench: one adapter,
// opened through hidapi, and a call that sends one command and returns its
// answer.
#pragma once

#include "tarvix_virtual/targets.hpp"
#include "virtual_test_support.hpp"

class BenchTest : public VirtualAdapterTest {
protected:
    std::optional<vt::VirtualAdapter> adapter;
    hid_device* dev = nullptr;

    // Override for an adapter without the default bench, or another report size.
    virtual vt::AdapterConfig config() const { return {}; }

    void SetUp() override {
        VirtualAdapterTest::SetUp();
        adapter = vt::attach(config());
        dev = open(*adapter);
        ASSERT_NE(dev, nullptr);
    }

    // Sends one command and returns its answer (empty if none came).
    vt::Bytes call(std::uint16_t code, const vt::Bytes& payload = {}) {
        const std::size_t size = adapter->reportSize();
        return roundTrip(dev, requestFrame(++tid_, code, payload), size).value_or(vt::Bytes{});
    }

    // The next frame the adapter sends unasked (or empty).
    vt::Bytes nextNotification(int timeoutMs = 1000) {
        return readFrame(dev, adapter->reportSize(), timeoutMs).value_or(vt::Bytes{});
    }

    bool nothingPending() { return readReport(dev, adapter->reportSize(), 0).empty(); }

    static std::uint16_t statusOf(const vt::Bytes& answer) {
        return answer.size() < 6 ? std::uint16_t{0xFFFF} : static_cast<std::uint16_t>(answer[4] | answer[5] << 8);
    }
    static vt::Bytes payloadOf(const vt::Bytes& answer) {
        return answer.size() < 6 ? vt::Bytes{} : vt::Bytes(answer.begin() + 6, answer.end());
    }
    static std::uint16_t code(vt::DeviceStatus status) { return static_cast<std::uint16_t>(status); }

private:
    std::uint16_t tid_ = 0;
};

// The same, with nothing attached, wired or looped back.
class EmptyBenchTest : public BenchTest {
protected:
    vt::AdapterConfig config() const override {
        vt::AdapterConfig bare;
        bare.bench = false;
        return bare;
    }
};

inline vt::Bytes u16(std::uint16_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8)};
}

inline vt::Bytes concat(vt::Bytes a, const vt::Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
