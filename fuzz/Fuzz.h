// What the fuzz targets share. A target defines LLVMFuzzerTestOneInput; libFuzzer calls it with
// inputs that it invents, ReplayMain.cpp with the files that it is given.

#ifndef QVL_FUZZ_FUZZ_H
#define QVL_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/TracedWalk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace QVL {
namespace Fuzz {

constexpr std::size_t kLongestInput = 4096;

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  if (size > kLongestInput) size = kLongestInput;
  return std::string(reinterpret_cast<const char*>(data), size);
}

// Ends the process, as a sanitizer does, when something does not hold.
inline void require(bool holds, const char* what, const std::string& detail = "") {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s %s\n", what, detail.c_str());
  std::abort();
}

// The text up to the next line end, which goes with it.
inline std::string takeLine(std::string& text) {
  const std::size_t end = text.find('\n');
  std::string line = text.substr(0, end);
  text.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

inline std::vector<std::string> linesOf(std::string text) {
  std::vector<std::string> lines;
  while (!text.empty()) lines.push_back(takeLine(text));
  return lines;
}

// "present" or "absent" with the identifiers, or what was thrown.
template <typename Question>
std::string answerTo(const LookupData& request, Question question) {
  LookupData lent = request;
  std::string answer;
  try {
    answer = question(lent) ? "present" : "absent";
  } catch (const QVLException& exception) {
    require(exception.m_code == 3, "the code of every exception is 3");
    answer = exception.m_message;
  } catch (const std::exception& exception) {
    answer = exception.what();
  }
  for (const unsigned int number : lent.m_matchIdentifiers) answer += ' ' + std::to_string(number);
  return answer;
}

// The answer by the data sets' indexes, which has to be that of the walk over their rules, one by
// one in key order, as the trace shows it.
template <typename Question>
std::string answerBothWays(const LookupData& request, Question question) {
  static const Test::TracedWalk log;
  ScanAvoidanceFlowvalue = 5;
  const std::string walked = answerTo(request, question);
  ScanAvoidanceFlowvalue = 0;
  const std::string indexed = answerTo(request, question);
  require(indexed == walked, "index and walk agree", indexed + " / " + walked);
  return indexed;
}

}  // namespace Fuzz
}  // namespace QVL

#endif  // QVL_FUZZ_FUZZ_H
