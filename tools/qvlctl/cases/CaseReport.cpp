#include "cases/CaseReport.h"

#include <cstdint>
#include <string_view>

#include "fmt/format.h"
#include "io/Json.h"
#include "io/Spool.h"
#include "policy/Engine.h"

namespace qvlctl {
namespace {

// "excluded, data sets 1,3"
template <typename Numbers>
std::string answerInWords(bool isExcluded, const Numbers& dataSets) {
  if (dataSets.empty()) return fmt::format("{}, no data set", verdictName(isExcluded));
  return fmt::format("{}, data set{} {}", verdictName(isExcluded), dataSets.size() == 1 ? "" : "s",
                     fmt::join(dataSets, ","));
}

std::string expectedInWords(const Case& expected) {
  return expected.dataSets ? answerInWords(expected.isExcluded, *expected.dataSets)
                           : verdictName(expected.isExcluded);
}

std::string foundInWords(const CaseResult& result) {
  // Where any data sets will do, they are no part of the answer.
  return result.expected.dataSets ? answerInWords(result.isExcluded, result.dataSets)
                                  : verdictName(result.isExcluded);
}

std::string placeOf(const Case& expected) {
  return fmt::format("{}:{}", escaped(expected.file), expected.line);
}

// "/srv/a, write by /usr/bin/rsync", what a case asks about.
std::string questionInWords(const Case& expected) {
  std::string text = expected.path.empty() ? "\"\"" : escaped(expected.path);
  if (expected.access) text += ", " + accessName(*expected.access);
  if (expected.process) text += (expected.access ? " by " : ", by ") + escaped(*expected.process);
  return text;
}

// "; asked: write, /usr/bin/rsync" where the case does not say it itself.
std::string failedForInWords(const CaseResult& result) {
  const bool isSaid = result.expected.access && result.expected.process;
  return isSaid || !result.failedFor ? "" : "; asked: " + queryInWords(*result.failedFor);
}

std::vector<std::string> inWords(const std::vector<Query>& queries) {
  std::vector<std::string> words;
  for (const Query& query : queries) words.push_back(queryInWords(query));
  return words;
}

class Count {
 public:
  void add(const CaseResult& result) { ++(result.hasPassed ? m_passed : m_failed); }
  std::uint64_t passed() const { return m_passed; }
  std::uint64_t failed() const { return m_failed; }
  std::uint64_t all() const { return m_passed + m_failed; }

 private:
  std::uint64_t m_passed = 0;
  std::uint64_t m_failed = 0;
};

class TextReport : public CaseReport {
 public:
  TextReport(const std::vector<Query>& queries, Output& output)
      : m_queries(queries), m_output(output) {}

  void add(const CaseResult& result) override {
    m_count.add(result);
    if (result.hasPassed) return;
    m_output.print("{}: {}: expected {}; found {}{}\n", placeOf(result.expected),
                   questionInWords(result.expected), expectedInWords(result.expected),
                   foundInWords(result), failedForInWords(result));
    for (const std::string& rule : result.rules) m_output.print("  {}\n", rule);
  }

  void end() override {
    m_output.print("{}: {} passed, {} failed\n", counted(m_count.all(), "case", "cases"),
                   grouped(m_count.passed()), grouped(m_count.failed()));
    m_output.print("Asked, where a case does not say:\n");
    for (const std::string& query : inWords(m_queries)) m_output.print("  {}\n", query);
  }

 private:
  const std::vector<Query>& m_queries;
  Output& m_output;
  Count m_count;
};

// Test Anything Protocol 13. The plan comes last, because it is not known before.
class TapReport : public CaseReport {
 public:
  TapReport(const std::vector<Query>& queries, Output& output) : m_output(output) {
    m_output.print("TAP version 13\n# asked, where a case does not say: {}\n",
                   fmt::join(inWords(queries), "; "));
  }

  void add(const CaseResult& result) override {
    m_count.add(result);
    m_output.print("{} {} - {}: {}\n", result.hasPassed ? "ok" : "not ok", m_count.all(),
                   withoutHash(placeOf(result.expected)),
                   withoutHash(questionInWords(result.expected)));
    if (result.hasPassed) return;
    m_output.print("  ---\n  expected: {}\n  found: {}\n", quoted(expectedInWords(result.expected)),
                   quoted(foundInWords(result) + failedForInWords(result)));
    if (!result.rules.empty()) m_output.print("  rules:\n");
    for (const std::string& rule : result.rules) m_output.print("    - {}\n", quoted(rule));
    m_output.print("  ...\n");
  }

  void end() override { m_output.print("1..{}\n", m_count.all()); }

  void giveUp(const std::string& reason) override {
    m_output.print("Bail out!  {}\n", withoutHash(reason));
  }

 private:
  // A # would begin a directive.
  static std::string withoutHash(const std::string& text) {
    return QVL::Utility::replaceAll(text, "#", "\\x23");
  }

  // A text as YAML, which JSON texts are.
  static std::string quoted(const std::string& text) { return jsonLine(Json(text)); }

  Output& m_output;
  Count m_count;
};

class JunitReport : public CaseReport {
 public:
  JunitReport(std::string policy, const std::vector<Query>& queries, Output& output)
      : m_policy(std::move(policy)), m_queries(queries), m_output(output) {}

  void add(const CaseResult& result) override {
    m_count.add(result);
    const Case& expected = result.expected;
    std::string text =
        fmt::format("    <testcase classname=\"{}\" name=\"line {}: {}\"",
                    inXml(escaped(expected.file)), expected.line, inXml(questionInWords(expected)));
    if (result.hasPassed) {
      text += "/>\n";
    } else {
      text += fmt::format(
          ">\n      <failure message=\"expected {}; found {}\">{}</failure>\n    </testcase>\n",
          inXml(expectedInWords(expected)), inXml(foundInWords(result) + failedForInWords(result)),
          inXml(fmt::format("{}", fmt::join(result.rules, "\n"))));
    }
    m_cases.add(text);
  }

  void end() override {
    m_output.print(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<testsuites>\n"
        "  <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" errors=\"0\" skipped=\"0\">\n",
        inXml(escaped(m_policy)), m_count.all(), m_count.failed());
    m_output.print("    <properties>\n");
    for (const std::string& query : inWords(m_queries)) {
      m_output.print("      <property name=\"asked\" value=\"{}\"/>\n", inXml(query));
    }
    m_output.print("    </properties>\n");
    m_cases.read([this](std::string_view text) { m_output.print("{}", text); });
    m_output.print("  </testsuite>\n</testsuites>\n");
  }

 private:
  static std::string inXml(const std::string& text) {
    struct Replacement {
      const char* from;
      const char* to;
    };
    // The last two are the printable characters that XML has no place for.
    static constexpr Replacement kReplacements[] = {{"&", "&amp;"},
                                                    {"<", "&lt;"},
                                                    {">", "&gt;"},
                                                    {"\"", "&quot;"},
                                                    {"\xef\xbf\xbe", "\\xEF\\xBF\\xBE"},
                                                    {"\xef\xbf\xbf", "\\xEF\\xBF\\xBF"}};
    std::string result = text;
    for (const Replacement& replacement : kReplacements) {
      result = QVL::Utility::replaceAll(std::move(result), replacement.from, replacement.to);
    }
    return result;
  }

  const std::string m_policy;
  const std::vector<Query>& m_queries;
  Output& m_output;
  Count m_count;
  Spool m_cases;  // until they are counted
};

class JsonReport : public CaseReport {
 public:
  JsonReport(const std::vector<Query>& queries, Output& output)
      : m_queries(queries), m_output(output) {}

  void add(const CaseResult& result) override {
    m_count.add(result);
    const Case& expected = result.expected;
    Json json;
    json["result"] = result.hasPassed ? "passed" : "failed";
    addText(json, "file", expected.file);
    json["line"] = expected.line;
    addText(json, "path", expected.path);
    if (expected.access) json["access"] = accessName(*expected.access);
    if (expected.process) addText(json, "process", *expected.process);
    json["expected"]["verdict"] = verdictName(expected.isExcluded);
    if (expected.dataSets) json["expected"]["matched"] = *expected.dataSets;
    json["found"]["verdict"] = verdictName(result.isExcluded);
    json["found"]["matched"] = result.dataSets;
    if (result.failedFor) json["failedFor"] = queryInJson(*result.failedFor);
    m_output.print("{}\n", jsonLine(json));
  }

  void end() override {
    Json json;
    json["result"] = "summary";
    json["cases"] = m_count.all();
    json["passed"] = m_count.passed();
    json["failed"] = m_count.failed();
    json["queries"] = Json::array();
    for (const Query& query : m_queries) json["queries"].push_back(queryInJson(query));
    m_output.print("{}\n", jsonLine(json));
  }

 private:
  const std::vector<Query>& m_queries;
  Output& m_output;
  Count m_count;
};

}  // namespace

std::unique_ptr<CaseReport> makeCaseReport(const std::string& format, const std::string& policy,
                                           const std::vector<Query>& queries, Output& output) {
  if (format == "tap") return std::make_unique<TapReport>(queries, output);
  if (format == "junit") return std::make_unique<JunitReport>(policy, queries, output);
  if (format == "json") return std::make_unique<JsonReport>(queries, output);
  return std::make_unique<TextReport>(queries, output);
}

}  // namespace qvlctl
