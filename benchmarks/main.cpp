#include <benchmark/benchmark.h>
#include <hs/hs.h>

#include <exception>
#include <iostream>

#include "benchmarks/Cases.h"

int main(int count, char* arguments[]) {
  try {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    benchmark::AddCustomContext("compiler", __VERSION__);
    benchmark::AddCustomContext("vectorscan", hs_version());
    QVL::Bench::registerQueries();
    QVL::Bench::registerChanges();
    QVL::Bench::registerWorstCases();
    QVL::Bench::registerTracing();
    QVL::Bench::registerThreads();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
  } catch (const std::exception& failure) {
    std::cerr << "qvl_benchmarks: " << failure.what() << '\n';
    return 2;
  }
}
