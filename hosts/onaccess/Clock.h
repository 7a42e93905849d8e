// The clock by which deadlines are kept. It does not jump.

#ifndef QVL_ONACCESS_CLOCK_H
#define QVL_ONACCESS_CLOCK_H

#include <chrono>

namespace onaccess {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = Clock::duration;

}  // namespace onaccess

#endif  // QVL_ONACCESS_CLOCK_H
