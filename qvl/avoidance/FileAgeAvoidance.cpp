#include "qvl/avoidance/FileAgeAvoidance.h"

#include <string.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <utility>

#include "qvl/avoidance/FileTimes.h"
#include "qvl/avoidance/RuleKind.h"
#include "qvl/core/RequestCast.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

constexpr std::size_t kListStart = 4;
constexpr std::size_t kListLength = 23;
constexpr std::uint32_t kSecondsPerDay = 86400;

void traceLine(const char* line) {
  if (traceFileTakes(kTraceLevel)) TraceLogMessage(kTraceLevel, "%s", line);
}

// Is the age strictly greater than any of the listed numbers of days? Days are multiplied in 32
// bits and wrap around.
bool exceedsAnyLimit(double age, const std::string& ageText) {
  if (ageText.size() < kListStart) return false;
  // As a C string: a zero byte ends the list.
  char list[kListLength + 1] = {};
  ageText.copy(list, kListLength, kListStart);
  for (char* rest = list; const char* item = strtok_r(rest, ",", &rest);) {
    const auto days = static_cast<std::uint32_t>(std::strtol(item, nullptr, 10));
    const auto limit = static_cast<std::int32_t>(days * kSecondsPerDay);
    if (age > static_cast<double>(limit)) return true;
  }
  return false;
}

// The age in seconds by the timestamp that the selector names; absent when the file system does not
// know that timestamp.
std::optional<double> ageOf(const FileTimes& times, char selector, std::time_t now) {
  if (selector == '1') return std::difftime(now, times.modification);
  if (selector != '0') return 0.0;
  if (!times.creation) return std::nullopt;
  return std::difftime(now, *times.creation);
}

// The format is not looked at: what the lookup cannot read counts as 0 days.
bool acceptsText(const std::string& text) {
  return !text.empty();
}

constexpr RuleKind kKind = {
    "FileAgeAvoidance",
    {"FileAgeAvoidance for string file Age",
     "Failed to create Age avoidance as validation of Age failed.",
     "Failed to create Age avoidance as regex could not be build."},
    {"FileAgeAvoidance for wstring file Age",
     "Failed to create Age avoidance as validation of Age containing wide string failed.",
     "Failed to create Age avoidance as regex could not be build for wide string."},
    acceptsText,
    buildPatternExpression,
    filePathOf};

}  // namespace

FileAgeAvoidance::FileAgeAvoidance(std::string fileAge, AccessTypes accessType)
    : PatternAvoidance(kKind, accessType, {}) {
  create(std::move(fileAge));
}

FileAgeAvoidance::FileAgeAvoidance(std::wstring fileAge, AccessTypes accessType)
    : PatternAvoidance(kKind, accessType, {}) {
  create(fileAge);
}

FileAgeAvoidance::~FileAgeAvoidance() {
  trace("~FileAgeAvoidance");
}

bool FileAgeAvoidance::canAvoid(ILookupData& request) {
  static constexpr char kExcluded[] =
      "Treating this file as to be excluded based on file age exclusion.";
  static constexpr char kNotExcluded[] =
      "Treating this file as to not be excluded based on file age exclusion.";

  const LookupData* const lookupData = asLookupData(request);
  if (!lookupData) {
    traceLine(kNotExcluded);
    return false;
  }
  const char* const path = lookupData->m_filePath.c_str();
  if (traceFileTakes(kTraceLevel)) {
    TraceLogMessage(kTraceLevel, "FileAgeAvoidance::canAvoid, File to be checked : %s", path);
  }
  const std::optional<FileTimes> times = readFileTimes(path);
  if (!times) {
    traceLine("Unable to do stat for the file");
    return false;
  }
  const std::time_t now = std::time(nullptr);
  if (traceFileTakes(kTraceLevel)) {
    TraceLogMessage(kTraceLevel, "FileAgeAvoidance::canAvoid, m_fileAge : %s\n", text().c_str());
  }
  const std::optional<double> age = ageOf(*times, text().front(), now);
  const bool excluded = age && exceedsAnyLimit(*age, text());
  traceLine(excluded ? kExcluded : kNotExcluded);
  return excluded;
}

bool FileAgeAvoidance::canAvoidWithAccessType(ILookupData& request, bool /*flag*/) {
  // The trace has always shown the file path rule's line here, and its readers expect it.
  traceCall("FilePathAvoidance", "canAvoidWithAccessType");
  const LookupData* const lookupData = asLookupData(request);
  return lookupData && canAvoid(request) && fitsAccessTypeOf(*lookupData);
}

}  // namespace QVL
