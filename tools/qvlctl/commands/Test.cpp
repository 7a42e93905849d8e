#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cases/Case.h"
#include "cases/CaseReport.h"
#include "commands/Commands.h"
#include "explain/Explainer.h"
#include "fmt/format.h"
#include "io/FileDescriptor.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/PathReader.h"
#include "io/Trouble.h"
#include "policy/RuleText.h"
#include "queries/Queries.h"

namespace qvlctl {
namespace {

struct TestOptions {
  MatrixOptions question;
  std::string format;
  std::vector<std::string> files;
};

class Test {
 public:
  explicit Test(const TestOptions& options)
      : m_options(options),
        m_question(options.question),
        m_queries({&m_question.engine.policy()}, options.question.limits()),
        m_report(makeCaseReport(options.format, options.question.policyFile, m_queries.all(),
                                m_output)) {}

  int run() {
    complainOfNameless(m_queries);
    try {
      for (const std::string& file : m_options.files) runFile(file);
      if (!m_hasAny) {
        throw Trouble(fmt::format("expected at least one case in {}; found none",
                                  escaped(fmt::format("{}", fmt::join(m_options.files, ", ")))));
      }
    } catch (const Trouble& trouble) {
      m_report->giveUp(trouble.what());
      m_output.flush();
      throw;
    }
    m_report->end();
    m_output.flush();
    return m_hasAnyFailed ? kNo : kYes;
  }

 private:
  void runFile(const std::string& file) {
    if (file == "-" && m_options.question.policyFile == "-") {
      throw Trouble("expected files of cases, since the policy is on standard input; found -");
    }
    if (file == "-") return runCases(STDIN_FILENO, "standard input");
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) {
      throw Trouble(fmt::format("cannot read {}: {}", escaped(file), errorText(errno)));
    }
    runCases(descriptor.get(), file);
  }

  void runCases(int descriptor, const std::string& name) {
    PathReader lines(
        descriptor, '\n', [this] { m_output.flush(); }, name);
    std::size_t number = 0;
    for (std::string_view line; lines.next(line);) {
      ++number;
      std::optional<Case> expected;
      try {
        expected = readCase(line);
      } catch (const Trouble& trouble) {
        throw Trouble(fmt::format("{}:{}: {}", escaped(name), number, trouble.what()));
      }
      if (!expected) continue;
      expected->file = name;
      expected->line = number;
      runCase(std::move(*expected));
    }
  }

  void runCase(Case expected) {
    m_hasAny = true;
    CaseResult result;
    const std::vector<Query>& queries = m_queries.with(expected.process, expected.access);
    for (std::size_t i = 0; i < queries.size(); ++i) {
      QVL::LookupData request = requestFor(queries[i]);
      request.m_filePath = expected.path;
      const bool isExcluded = m_question.engine.isExcluded(request);
      const std::set<unsigned int> matched(request.m_matchIdentifiers.begin(),
                                           request.m_matchIdentifiers.end());
      // Which data sets match differs from query to query; what a case says is of the first.
      result.hasPassed = isExcluded == expected.isExcluded &&
                         (i > 0 || !expected.dataSets || *expected.dataSets == matched);
      if (i == 0 || !result.hasPassed) {
        result.isExcluded = isExcluded;
        result.dataSets = request.m_matchIdentifiers;
      }
      if (result.hasPassed) continue;
      m_hasAnyFailed = true;
      result.failedFor = queries[i];
      result.rules = rulesThatMatch(request);
      break;
    }
    result.expected = std::move(expected);
    m_report->add(result);
  }

  std::vector<std::string> rulesThatMatch(const QVL::LookupData& request) {
    if (!m_explainer) m_explainer.emplace(m_question.engine);
    const Explanation explanation = m_explainer->explain(request);
    std::vector<std::string> rules;
    for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
      const DataSet& dataSet = m_question.policy.dataSets[i];
      for (const MatchingRule& match : explanation.dataSets[i].rules) {
        rules.push_back(fmt::format("data set {} has {}{}", dataSet.number,
                                    ruleInWords(m_question.policy, dataSet, match.rule),
                                    match.fitsAccess ? "" : " (for another access)"));
      }
    }
    return rules;
  }

  const TestOptions& m_options;
  Question m_question;
  Queries m_queries;
  std::optional<Explainer> m_explainer;  // made for the first case that fails
  Output m_output;
  const std::unique_ptr<CaseReport> m_report;
  bool m_hasAny = false;
  bool m_hasAnyFailed = false;
};

}  // namespace

void addTestCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("test", "Check a policy against a file of expected answers");
  const auto options = std::make_shared<TestOptions>();
  addMatrixOptions(command, options->question);
  addFormatOption(command, options->format, kCaseFormats);
  command.add_option("CASES", options->files, "The files of cases; `-`: standard input")
      ->required()
      ->type_name("");
  command.footer(
      "A case is a line: the verdict that is expected, the numbers of the data sets that match\n"
      "(`-`: none, `*`: any), what to ask, and the path; # begins a comment. Lines that lookup\n"
      "prints are cases. A case that does not say who makes which kind of access is asked for all\n"
      "that make a difference, or those given: the verdict has to hold for each, the numbers are\n"
      "those of the first.\n"
      "\n"
      "  excluded  1    /srv/build/a.o\n"
      "  scan      1,3  access=write process=/usr/bin/rsync  /srv/build/a.exe\n"
      "\n"
      "Formats: text tells the failures, tap is the Test Anything Protocol, junit is the XML that\n"
      "build servers read, json is a line for each case and a last one that sums up.\n"
      "\n"
      "Exit status: 0 all cases pass, 1 at least one fails, 2 trouble, such as files without a\n"
      "case.\n"
      "\n"
      "  qvlctl test --policy policy.xml --format junit cases.txt >results.xml");
  command.callback([options, &action] { action = [options] { return Test(*options).run(); }; });
}

}  // namespace qvlctl
