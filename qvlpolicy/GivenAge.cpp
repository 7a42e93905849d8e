#include "qvlpolicy/GivenAge.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>

namespace qvlpolicy {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::size_t kDaysStart = 4;  // in the engine's age text, behind "0" or "1"

thread_local const GivenTimes* t_times = nullptr;

// The smallest of the days in an age text, in seconds. The reader lets only whole numbers with
// commas between them pass.
double secondsOf(const std::string& age) {
  double smallest = std::numeric_limits<double>::infinity();
  const char* const end = age.data() + age.size();
  for (const char* next = age.data() + std::min(kDaysStart, age.size()); next < end;) {
    std::int64_t days = 0;
    const std::from_chars_result read = std::from_chars(next, end, days);
    if (read.ec != std::errc()) break;
    smallest = std::min(smallest, static_cast<double>(days * kSecondsPerDay));
    if (read.ptr == end) break;
    next = read.ptr + 1;
  }
  return smallest;
}

}  // namespace

TimesOfQuestion::TimesOfQuestion(const GivenTimes* times) : m_outer(t_times) {
  t_times = times;
}

TimesOfQuestion::~TimesOfQuestion() {
  t_times = m_outer;
}

GivenAgeAvoidance::GivenAgeAvoidance(const std::string& age, QVL::AccessTypes access)
    : FileAgeAvoidance(age, access),
      m_isOfCreation(age.front() == '0'),
      m_seconds(secondsOf(age)) {}

bool GivenAgeAvoidance::canAvoid(QVL::ILookupData& /*request*/) {
  if (t_times == nullptr) return false;
  const std::optional<std::time_t>& time =
      m_isOfCreation ? t_times->creation : t_times->modification;
  return time && std::difftime(t_times->now, *time) > m_seconds;
}

}  // namespace qvlpolicy
