// Throughput of cutting a 64 KiB frame into reports and joining the reports back into the
// frame, on both report sizes; the report copy stands in for the transport's read buffer.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "transport/segmentation.hpp"

namespace {

void BM_SegmentAndReassemble(benchmark::State& state)
{
    const auto reportSize = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint8_t> frame(64 * 1024);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>(i * 31 + 7);
    }
    tarvix_detail::ReportSegmenter segmenter(reportSize);
    tarvix_detail::Reassembler reassembler;
    std::vector<std::vector<std::uint8_t>> segments;
    std::vector<std::uint8_t> report(reportSize, 0);
    for (auto _ : state) {
        segmenter.segment(frame.data(), frame.size(), segments);
        bool complete = false;
        for (const std::vector<std::uint8_t>& segment : segments) {
            std::memcpy(report.data(), segment.data(), segment.size());
            complete = reassembler.accept(report.data(), report.size());
        }
        if (!complete || reassembler.frame().size() != frame.size()) {
            state.SkipWithError("frame not reassembled");
            break;
        }
        benchmark::DoNotOptimize(reassembler.frame().data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.size()));
}

} // namespace

BENCHMARK(BM_SegmentAndReassemble)->Arg(64)->Arg(1024);
BENCHMARK_MAIN();
