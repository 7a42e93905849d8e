#include "qvlpolicy/Policy.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <exception>
#include <new>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/GivenAge.h"
#include "qvlpolicy/Logic.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/PolicyState.h"
#include "qvlpolicy/Reader.h"
#include "qvlpolicy/Values.h"

namespace qvlpolicy {
namespace {

// The engine's record of a question; one a thread, so that its texts keep their memory.
QVL::LookupData& requestFor(const Question& question) {
  thread_local QVL::LookupData request;
  request.m_filePath.assign(question.path);
  request.m_processName.assign(question.process);
  request.m_accessType = question.access;
  request.m_matchIdentifiers.clear();
  return request;
}

LoadOptions withToday(LoadOptions options) {
  if (options.today.empty()) options.today = todayText();
  return options;
}

// In the order of the files and of what is in them.
void sort(std::vector<Problem>& problems, const Description& description) {
  std::unordered_map<std::string_view, std::size_t> files;
  for (const std::string& file : description.files) files.emplace(file, files.size());
  const auto rank = [&](const Problem& problem) {
    const auto file = files.find(problem.file);
    return std::make_tuple(file == files.end() ? files.size() : file->second, problem.line,
                           problem.column);
  };
  std::stable_sort(problems.begin(), problems.end(),
                   [&](const Problem& a, const Problem& b) { return rank(a) < rank(b); });
}

}  // namespace

Loaded Policy::State::made(Reading reading, const LoadOptions& options) {
  Loaded loaded;
  loaded.errors = std::move(reading.errors);
  const bool isRead = loaded.errors.empty();
  auto state = std::make_shared<State>(std::move(reading.description), options, loaded.errors,
                                       loaded.warnings);
  const Description& description = state->description;
  if (isRead) {
    std::vector<unsigned int> numbers;
    for (const DataSet& dataSet : description.dataSets) numbers.push_back(dataSet.number);
    std::sort(numbers.begin(), numbers.end());
    for (const unsigned int number : dataSetsIn(state->logic)) {
      if (std::binary_search(numbers.begin(), numbers.end(), number)) continue;
      loaded.warnings.push_back(
          problemAt(description, description.logicPlace, "logic",
                    fmt::format("there is no data set {}; it counts as not matching", number)));
      loaded.warnings.back().name = "no-such-data-set";
    }
  }
  sort(loaded.errors, description);
  sort(loaded.warnings, description);
  const std::shared_ptr<const State> shared = std::move(state);
  if (isRead) loaded.description = {shared, &shared->description};
  if (loaded.errors.empty()) loaded.policy.reset(new Policy(shared));
  return loaded;
}

Policy::Policy(std::shared_ptr<const State> state) : m_state(std::move(state)) {}
Policy::~Policy() = default;

Loaded Policy::load(const std::string& file, const LoadOptions& options) {
  const LoadOptions dated = withToday(options);
  return State::made(readPolicyFile(file, dated), dated);
}

Loaded Policy::parse(std::string_view text, const std::string& file, const LoadOptions& options) {
  const LoadOptions dated = withToday(options);
  return State::made(readPolicyText(text, file, dated), dated);
}

bool Policy::isExcluded(const Question& question) const {
  const TimesOfQuestion times(question.times);
  return m_state->engine.manager().isPresent(requestFor(question));
}

Answer Policy::ask(const Question& question) const {
  Answer answer;
  ask(question, answer);
  return answer;
}

void Policy::ask(const Question& question, Answer& answer) const {
  const TimesOfQuestion times(question.times);
  QVL::LookupData& request = requestFor(question);
  answer.isExcluded = m_state->engine.manager().isPresent(request);
  answer.dataSets.assign(request.m_matchIdentifiers.begin(), request.m_matchIdentifiers.end());
}

void Policy::prepareSearches() const {
  m_state->explainer.prepareSearches();
}

std::vector<MatchingRule> Policy::matchingRules(const Question& question) const {
  const TimesOfQuestion times(question.times);
  const QVL::LookupData& request = requestFor(question);
  std::vector<MatchingRule> rules;
  for (std::size_t i = 0; i < m_state->description.dataSets.size(); ++i) {
    const std::vector<MatchingRule> found = m_state->explainer.matchingRules(i, request);
    rules.insert(rules.end(), found.begin(), found.end());
  }
  return rules;
}

void Policy::rulesThatHit(const Question& question, const Answer& answer,
                          std::vector<MatchingRule>& rules) const {
  rules.clear();
  if (answer.dataSets.empty()) return;
  const TimesOfQuestion times(question.times);
  const QVL::LookupData& request = requestFor(question);
  const std::vector<DataSet>& dataSets = m_state->description.dataSets;
  for (const unsigned int number : answer.dataSets) {
    const auto found = std::find_if(dataSets.begin(), dataSets.end(), [&](const DataSet& dataSet) {
      return dataSet.number == number;
    });
    if (found == dataSets.end() || found->matchAnything) continue;
    for (const MatchingRule& match : m_state->explainer.matchingRules(
             static_cast<std::size_t>(found - dataSets.begin()), request)) {
      if (match.fitsAccess) rules.push_back(match);
    }
  }
}

bool Policy::doesMatch(const Question& question, std::size_t dataSet) const {
  const TimesOfQuestion times(question.times);
  try {
    return m_state->engine.dataSets()[dataSet]->isPresentInDataSet(requestFor(question));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return false;  // as the manager counts it
  }
}

std::vector<MatchingRule> Policy::matchingRules(const Question& question,
                                                std::size_t dataSet) const {
  const TimesOfQuestion times(question.times);
  return m_state->explainer.matchingRules(dataSet, requestFor(question));
}

Explanation Policy::explain(const Question& question) const {
  const TimesOfQuestion times(question.times);
  return m_state->explainer.explain(requestFor(question));
}

std::vector<NearRule> Policy::nearRules(const Question& question,
                                        const Explanation& explanation) const {
  if (!explanation.matched.empty()) return {};
  return m_state->nearRules.find(requestFor(question), explanation);
}

const Description& Policy::description() const {
  return m_state->description;
}

const LogicPart& Policy::logic() const {
  return m_state->logic;
}

}  // namespace qvlpolicy
