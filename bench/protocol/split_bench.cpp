// Splitting a 64 KiB batch of +PM records, the client's hot path on a busy
// connection.
#include "protocol/wire.h"

#include <benchmark/benchmark.h>

namespace p = velmora::protocol;

static std::string pmBatch(std::size_t bytes, std::size_t* records) {
    const std::string one =
        p::buildReply(p::reply::PM, {"alicia", "hello%%there%%how%%are%%you%%today?", "Arial", "12", "B"});
    std::string batch;
    *records = 0;
    while (batch.size() + one.size() <= bytes) {
        batch += one;
        ++*records;
    }
    return batch;
}

static void BM_SplitPmBatch64K(benchmark::State& state) {
    std::size_t records = 0;
    const std::string batch = pmBatch(64 * 1024, &records);
    std::size_t seen = 0;
    for (auto _ : state) {
        p::forEachRecord(batch, p::kReplyFieldSep, [&](const p::Fields& f) { seen += f.size(); });
        benchmark::DoNotOptimize(seen);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * batch.size()));
    state.counters["records/s"] =
        benchmark::Counter(static_cast<double>(records), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_SplitPmBatch64K);

BENCHMARK_MAIN();
