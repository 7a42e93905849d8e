// Times a single call, without what other processes took meanwhile.

#ifndef QVL_BENCHMARKS_PROCESSOR_TIME_H
#define QVL_BENCHMARKS_PROCESSOR_TIME_H

#include <ctime>

namespace QVL {
namespace Bench {

// Seconds of processor time that this thread spends in `call`.
template <typename Call>
double processorTime(Call call) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  call();
  return now() - start;
}

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_PROCESSOR_TIME_H
