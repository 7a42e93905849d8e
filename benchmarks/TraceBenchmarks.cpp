// What a trace message costs that no output takes.

#include "benchmarks/Cases.h"

namespace QVL {
namespace Bench {
namespace {

void suppressed(benchmark::State& state) {
  // An open trace file, so that it is the level alone that decides.
  TraceLogMessage(5, "%s", "The first message starts the log.");
  logFilePtr = discardingStream();
  traceInited = 1;
  ScanAvoidanceFlowvalue = 0;
  for (auto _ : state) TraceLogMessage(5, "%s::%s\n", "LookupManager", "isPresent");
}

}  // namespace

void registerTracing() {
  benchmark::RegisterBenchmark("Trace_Suppressed_Product", suppressed);
}

}  // namespace Bench
}  // namespace QVL
