#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvlpolicy/Lint.h"
#include "qvlpolicy/LivePolicy.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Policy.h"
#include "qvlpolicy/Queries.h"
#include "qvlpolicy/qvlpolicy.h"

using qvlpolicy::Answer;
using qvlpolicy::Policy;

struct qvlpolicy_policy {
  std::shared_ptr<const Policy> policy;
};

struct qvlpolicy_report {
  qvlpolicy::Loaded loaded;           // without the policy
  std::vector<std::string> messages;  // of the errors, then of the warnings
};

struct qvlpolicy_findings {
  qvlpolicy::LintReport report;
  std::vector<std::string> messages;
};

struct qvlpolicy_queries {
  qvlpolicy::Queries queries;
};

struct qvlpolicy_live {
  qvlpolicy::LivePolicy live;
};

struct qvlpolicy_counters {
  qvlpolicy::Counters counters;
};

namespace {

// Runs `action`, whose result is a status or more, and lets nothing be thrown past it.
template <typename Action>
auto guarded(Action action) -> decltype(action()) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return QVLPOLICY_NO_MEMORY;
  } catch (...) {
    return QVLPOLICY_FAILED;
  }
}

// The same for what makes a handle.
template <typename Action>
auto made(Action action) -> decltype(action()) {
  try {
    return action();
  } catch (...) {
    return nullptr;
  }
}

std::string_view viewOf(const char* data, std::size_t length) {
  return length == 0 ? std::string_view() : std::string_view(data, length);
}

std::string_view viewOf(const qvlpolicy_bytes& bytes) {
  return viewOf(bytes.data, bytes.length);
}

qvlpolicy_bytes bytesOf(const std::string& text) {
  return {text.c_str(), text.size()};
}

bool isText(const char* data, std::size_t length) {
  return data != nullptr || length == 0;
}

qvlpolicy::Question questionOf(const qvlpolicy_question& question) {
  return {viewOf(question.path), viewOf(question.process),
          static_cast<QVL::AccessTypes>(question.access)};
}

bool isUsable(const qvlpolicy_question* question) {
  return question != nullptr && isText(question->path.data, question->path.length) &&
         isText(question->process.data, question->process.length);
}

qvlpolicy_report* reportOf(qvlpolicy::Loaded& loaded) {
  auto report = std::make_unique<qvlpolicy_report>();
  for (const auto* const problems : {&loaded.errors, &loaded.warnings}) {
    for (const qvlpolicy::Problem& problem : *problems) {
      report->messages.push_back(qvlpolicy::inWords(problem));
    }
  }
  report->loaded = {nullptr, loaded.description, std::move(loaded.errors),
                    std::move(loaded.warnings)};
  return report.release();
}

qvlpolicy_policy* handleOf(std::shared_ptr<const Policy> policy) {
  return policy ? new qvlpolicy_policy{std::move(policy)} : nullptr;
}

template <typename Load>
qvlpolicy_policy* loadWith(qvlpolicy_report** report, Load load) {
  if (report != nullptr) *report = nullptr;
  return made([&]() -> qvlpolicy_policy* {
    qvlpolicy::Loaded loaded = load();
    if (report != nullptr) *report = reportOf(loaded);
    return handleOf(std::move(loaded.policy));
  });
}

template <typename Item>
void handOver(const std::vector<Item>& items, Item* target, std::size_t capacity,
              std::size_t* count) {
  if (count != nullptr) *count = items.size();
  for (std::size_t i = 0; i < items.size() && i < capacity; ++i) target[i] = items[i];
}

// A policy or a holder is asked alike.
template <typename Asked>
int askOne(Asked& asked, const qvlpolicy_question* question, std::uint32_t* dataSets,
           std::size_t capacity, std::size_t* count) {
  if (!isUsable(question) || (dataSets == nullptr && capacity > 0)) return QVLPOLICY_BAD_ARGUMENT;
  return guarded([&]() -> int {
    thread_local Answer answer;
    asked.ask(questionOf(*question), answer);
    handOver(answer.dataSets, dataSets, capacity, count);
    return answer.isExcluded ? 1 : 0;
  });
}

bool isUsable(const qvlpolicy_batch* batch) {
  return batch != nullptr && batch->offsets != nullptr && batch->excluded != nullptr &&
         batch->offsets[0] >= 0 && isText(batch->process.data, batch->process.length) &&
         (batch->data_sets == nullptr) == (batch->data_set_offsets == nullptr) &&
         (batch->hits == nullptr) == (batch->hit_offsets == nullptr);
}

// The times of a batch's path i.
qvlpolicy::GivenTimes timesOf(const qvlpolicy_batch& batch, std::size_t i) {
  const auto known = [i](const std::int64_t* times) -> std::optional<std::time_t> {
    if (times == nullptr || times[i] == QVLPOLICY_NO_TIME) return std::nullopt;
    return static_cast<std::time_t>(times[i]);
  };
  return {known(batch.created), known(batch.modified), static_cast<std::time_t>(batch.now)};
}

// Takes down which rules hit the paths of a batch. A policy in force tells none.
class HitList {
 public:
  HitList(const Policy* policy, const qvlpolicy_batch& batch) : m_policy(policy), m_batch(batch) {
    if (batch.hit_offsets != nullptr) batch.hit_offsets[0] = 0;
  }

  // False: there is no room for those of path i.
  bool add(std::size_t i, const qvlpolicy::Question& question, const Answer& answer) {
    if (m_batch.hit_offsets == nullptr) return true;
    m_policy->rulesThatHit(question, answer, m_rules);
    if (m_rules.size() > m_batch.hits_capacity - m_used) return false;
    for (const qvlpolicy::MatchingRule& match : m_rules) {
      m_batch.hits[m_used++] = {static_cast<std::uint32_t>(match.dataSet),
                                static_cast<std::uint32_t>(match.rule)};
    }
    m_batch.hit_offsets[i + 1] = static_cast<std::int64_t>(m_used);
    return true;
  }

 private:
  const Policy* const m_policy;
  const qvlpolicy_batch& m_batch;
  std::vector<qvlpolicy::MatchingRule> m_rules;
  std::size_t m_used = 0;
};

template <typename Asked>
std::int64_t askMany(Asked& asked, const Policy* policy, const qvlpolicy_batch* batch) {
  if (!isUsable(batch)) return QVLPOLICY_BAD_ARGUMENT;
  if (policy == nullptr && batch->hits != nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return guarded([&]() -> std::int64_t {
    qvlpolicy::Question question = {
        {}, viewOf(batch->process), static_cast<QVL::AccessTypes>(batch->access)};
    Answer answer;
    std::size_t used = 0;
    const bool areTimesGiven = batch->created != nullptr || batch->modified != nullptr;
    qvlpolicy::GivenTimes times;
    if (areTimesGiven) question.times = &times;
    HitList hits(policy, *batch);
    if (batch->data_set_offsets != nullptr) batch->data_set_offsets[0] = 0;
    for (std::size_t i = 0; i < batch->count; ++i) {
      const std::int64_t begin = batch->offsets[i];
      const std::int64_t end = batch->offsets[i + 1];
      if (end < begin || (batch->bytes == nullptr && end > 0)) return QVLPOLICY_BAD_ARGUMENT;
      question.path = viewOf(batch->bytes + begin, static_cast<std::size_t>(end - begin));
      if (areTimesGiven) times = timesOf(*batch, i);
      asked.ask(question, answer);
      if (!hits.add(i, question, answer)) return static_cast<std::int64_t>(i);
      if (batch->data_set_offsets != nullptr) {
        if (answer.dataSets.size() > batch->data_sets_capacity - used) {
          return static_cast<std::int64_t>(i);
        }
        for (const unsigned int number : answer.dataSets) batch->data_sets[used++] = number;
        batch->data_set_offsets[i + 1] = static_cast<std::int64_t>(used);
      }
      batch->excluded[i] = answer.isExcluded ? 1 : 0;
    }
    return static_cast<std::int64_t>(batch->count);
  });
}

bool isUsable(const qvlpolicy_query_limits* limits) {
  if (limits == nullptr || limits->processes == nullptr) return true;
  return std::all_of(
      limits->processes, limits->processes + limits->process_count,
      [](const qvlpolicy_bytes& process) { return isText(process.data, process.length); });
}

qvlpolicy::QueryLimits limitsOf(const qvlpolicy_query_limits* limits) {
  qvlpolicy::QueryLimits result;
  if (limits == nullptr) return result;
  if (limits->processes != nullptr) {
    result.processes.emplace();
    for (std::size_t i = 0; i < limits->process_count; ++i) {
      result.processes->emplace_back(viewOf(limits->processes[i]));
    }
  }
  if (limits->accesses != nullptr) {
    result.accesses.emplace();
    for (std::size_t i = 0; i < limits->access_count; ++i) {
      result.accesses->push_back(static_cast<QVL::AccessTypes>(limits->accesses[i]));
    }
  }
  return result;
}

qvlpolicy_severity severityOf(qvlpolicy::Severity severity) {
  switch (severity) {
    case qvlpolicy::Severity::Error:
      return QVLPOLICY_ERROR;
    case qvlpolicy::Severity::Warning:
      return QVLPOLICY_WARNING;
    case qvlpolicy::Severity::Note:
      break;
  }
  return QVLPOLICY_NOTE;
}

qvlpolicy_metadata metadataOf(const std::shared_ptr<const qvlpolicy::Metadata>& metadata) {
  static const qvlpolicy::Metadata none;
  const qvlpolicy::Metadata& source = metadata ? *metadata : none;
  return {bytesOf(source.comment), bytesOf(source.owner), bytesOf(source.reason),
          bytesOf(source.ticket),  bytesOf(source.added), bytesOf(source.expires)};
}

}  // namespace

#define QVLPOLICY_TEXT_OF(x) #x
#define QVLPOLICY_TEXT(x) QVLPOLICY_TEXT_OF(x)

const char* qvlpolicy_version(void) {
  return QVLPOLICY_TEXT(QVLPOLICY_VERSION_MAJOR) "." QVLPOLICY_TEXT(
      QVLPOLICY_VERSION_MINOR) "." QVLPOLICY_TEXT(QVLPOLICY_VERSION_PATCH);
}

const char* qvlpolicy_status_text(int status) {
  switch (status) {
    case QVLPOLICY_OK:
      return "done";
    case QVLPOLICY_BAD_ARGUMENT:
      return "an argument is wrong";
    case QVLPOLICY_NO_MEMORY:
      return "there is no memory";
    case QVLPOLICY_REFUSED:
      return "the policy is refused, and the one in force stays";
    case QVLPOLICY_FAILED:
      return "it failed";
    default:
      return status > 0 ? "done" : "an unknown status";
  }
}

qvlpolicy_policy* qvlpolicy_load(const char* file, size_t file_length, qvlpolicy_report** report) {
  if (report != nullptr) *report = nullptr;
  if (!isText(file, file_length)) return nullptr;
  return loadWith(report, [&] { return Policy::load(std::string(viewOf(file, file_length))); });
}

qvlpolicy_policy* qvlpolicy_parse(const char* text, size_t text_length, const char* file,
                                  size_t file_length, qvlpolicy_report** report) {
  if (report != nullptr) *report = nullptr;
  if (!isText(text, text_length) || !isText(file, file_length)) return nullptr;
  return loadWith(report, [&] {
    return Policy::parse(viewOf(text, text_length), std::string(viewOf(file, file_length)));
  });
}

qvlpolicy_policy* qvlpolicy_parse_with(const char* text, size_t text_length, const char* file,
                                       size_t file_length, const qvlpolicy_load_options* options,
                                       qvlpolicy_report** report) {
  if (report != nullptr) *report = nullptr;
  if (!isText(text, text_length) || !isText(file, file_length) || options == nullptr ||
      !isText(options->today.data, options->today.length)) {
    return nullptr;
  }
  return loadWith(report, [&] {
    qvlpolicy::LoadOptions with;
    with.today = viewOf(options->today);
    with.timesAreGiven = options->times_are_given != 0;
    return Policy::parse(viewOf(text, text_length), std::string(viewOf(file, file_length)), with);
  });
}

void qvlpolicy_free(qvlpolicy_policy* policy) {
  delete policy;
}

size_t qvlpolicy_report_count(const qvlpolicy_report* report) {
  return report == nullptr ? 0 : report->messages.size();
}

int qvlpolicy_report_get(const qvlpolicy_report* report, size_t index, qvlpolicy_problem* problem) {
  if (report == nullptr || problem == nullptr || index >= report->messages.size()) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const std::size_t errorCount = report->loaded.errors.size();
  const bool isError = index < errorCount;
  const qvlpolicy::Problem& source =
      isError ? report->loaded.errors[index] : report->loaded.warnings[index - errorCount];
  *problem = {isError ? 1 : 0,      source.name,
              source.line,          source.column,
              bytesOf(source.file), bytesOf(source.element),
              bytesOf(source.what), bytesOf(source.expected),
              bytesOf(source.came), bytesOf(report->messages[index])};
  return QVLPOLICY_OK;
}

void qvlpolicy_report_free(qvlpolicy_report* report) {
  delete report;
}

qvlpolicy_findings* qvlpolicy_lint(const qvlpolicy_report* report,
                                   const qvlpolicy_lint_options* options) {
  qvlpolicy::LintOptions with;
  if (report == nullptr) return nullptr;
  if (options != nullptr && !isText(options->today.data, options->today.length)) return nullptr;
  return made([&]() -> qvlpolicy_findings* {
    if (options != nullptr) {
      with.today = viewOf(options->today);
      if (options->platform == QVLPOLICY_LINUX) with.platform = qvlpolicy::Platform::Linux;
      if (options->platform == QVLPOLICY_MACOS) with.platform = qvlpolicy::Platform::MacOs;
    }
    auto findings = std::make_unique<qvlpolicy_findings>();
    findings->report = qvlpolicy::lint(report->loaded, with);
    for (const qvlpolicy::Finding& finding : findings->report.findings) {
      findings->messages.push_back(qvlpolicy::inWords(finding));
    }
    return findings.release();
  });
}

size_t qvlpolicy_findings_count(const qvlpolicy_findings* findings) {
  return findings == nullptr ? 0 : findings->messages.size();
}

int qvlpolicy_findings_get(const qvlpolicy_findings* findings, size_t index,
                           qvlpolicy_finding* finding) {
  if (findings == nullptr || finding == nullptr || index >= findings->messages.size()) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  static const std::string nothing;
  const qvlpolicy::Finding& source = findings->report.findings[index];
  *finding = {source.name,
              severityOf(source.severity),
              source.allowedFor ? 1 : 0,
              source.position.line,
              source.position.column,
              bytesOf(source.position.file),
              bytesOf(source.position.element),
              bytesOf(source.reason),
              bytesOf(source.advice),
              bytesOf(source.allowedFor ? *source.allowedFor : nothing),
              bytesOf(findings->messages[index]),
              source.dataSet.value_or(QVLPOLICY_NONE),
              source.rule.value_or(QVLPOLICY_NONE)};
  return QVLPOLICY_OK;
}

int qvlpolicy_findings_platform(const qvlpolicy_findings* findings) {
  if (findings == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return findings->report.platform == qvlpolicy::Platform::Linux ? QVLPOLICY_LINUX
                                                                 : QVLPOLICY_MACOS;
}

void qvlpolicy_findings_free(qvlpolicy_findings* findings) {
  delete findings;
}

int qvlpolicy_is_excluded(const qvlpolicy_policy* policy, const qvlpolicy_question* question) {
  if (policy == nullptr || !isUsable(question)) return QVLPOLICY_BAD_ARGUMENT;
  return guarded(
      [&]() -> int { return policy->policy->isExcluded(questionOf(*question)) ? 1 : 0; });
}

int qvlpolicy_ask(const qvlpolicy_policy* policy, const qvlpolicy_question* question,
                  uint32_t* data_sets, size_t capacity, size_t* count) {
  if (policy == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return askOne(*policy->policy, question, data_sets, capacity, count);
}

int64_t qvlpolicy_ask_many(const qvlpolicy_policy* policy, const qvlpolicy_batch* batch) {
  if (policy == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return askMany(*policy->policy, policy->policy.get(), batch);
}

int qvlpolicy_matching_rules(const qvlpolicy_policy* policy, const qvlpolicy_question* question,
                             qvlpolicy_match* matches, size_t capacity, size_t* count) {
  if (policy == nullptr || !isUsable(question) || (matches == nullptr && capacity > 0)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  return guarded([&]() -> int {
    std::vector<qvlpolicy_match> found;
    for (const qvlpolicy::MatchingRule& match :
         policy->policy->matchingRules(questionOf(*question))) {
      found.push_back({match.dataSet, match.rule, match.fitsAccess ? 1 : 0, nullptr});
    }
    handOver(found, matches, capacity, count);
    return QVLPOLICY_OK;
  });
}

int qvlpolicy_near_rules(const qvlpolicy_policy* policy, const qvlpolicy_question* question,
                         qvlpolicy_match* matches, size_t capacity, size_t* count) {
  if (policy == nullptr || !isUsable(question) || (matches == nullptr && capacity > 0)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  return guarded([&]() -> int {
    const qvlpolicy::Question asked = questionOf(*question);
    const std::vector<qvlpolicy::DataSet>& dataSets = policy->policy->description().dataSets;
    std::vector<qvlpolicy_match> found;
    for (const qvlpolicy::NearRule& near :
         policy->policy->nearRules(asked, policy->policy->explain(asked))) {
      const qvlpolicy::DataSet& dataSet = dataSets[near.dataSet];
      const bool fits = qvlpolicy::fitsAccess(dataSet, dataSet.rules[near.rule], asked.access);
      found.push_back(
          {near.dataSet, near.rule, fits ? 1 : 0, qvlpolicy::differenceName(near.difference)});
    }
    handOver(found, matches, capacity, count);
    return QVLPOLICY_OK;
  });
}

qvlpolicy_queries* qvlpolicy_queries_new(const qvlpolicy_policy* const* policies, size_t count,
                                         const qvlpolicy_query_limits* limits) {
  if ((policies == nullptr && count > 0) || !isUsable(limits)) return nullptr;
  return made([&]() -> qvlpolicy_queries* {
    std::vector<const Policy*> asked;
    for (std::size_t i = 0; i < count; ++i) {
      if (policies[i] == nullptr) return nullptr;
      asked.push_back(policies[i]->policy.get());
    }
    return new qvlpolicy_queries{qvlpolicy::Queries(std::move(asked), limitsOf(limits))};
  });
}

void qvlpolicy_queries_free(qvlpolicy_queries* queries) {
  delete queries;
}

size_t qvlpolicy_queries_count(const qvlpolicy_queries* queries) {
  return queries == nullptr ? 0 : queries->queries.all().size();
}

size_t qvlpolicy_queries_nameless_count(const qvlpolicy_queries* queries) {
  return queries == nullptr ? 0 : queries->queries.nameless().size();
}

int qvlpolicy_queries_get(const qvlpolicy_queries* queries, size_t index, qvlpolicy_query* query) {
  if (query == nullptr || index >= qvlpolicy_queries_count(queries)) return QVLPOLICY_BAD_ARGUMENT;
  const qvlpolicy::Query& source = queries->queries.all()[index];
  *query = {bytesOf(source.process), source.access, source.standsForOtherAccess ? 1 : 0,
            source.alikeProcesses.size()};
  return QVLPOLICY_OK;
}

int qvlpolicy_queries_alike(const qvlpolicy_queries* queries, size_t index, size_t alike,
                            qvlpolicy_bytes* process) {
  if (process == nullptr || index >= qvlpolicy_queries_count(queries)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const std::vector<std::string>& names = queries->queries.all()[index].alikeProcesses;
  if (alike >= names.size()) return QVLPOLICY_BAD_ARGUMENT;
  *process = bytesOf(names[alike]);
  return QVLPOLICY_OK;
}

int qvlpolicy_queries_nameless(const qvlpolicy_queries* queries, size_t index,
                               qvlpolicy_nameless* nameless) {
  if (nameless == nullptr || index >= qvlpolicy_queries_nameless_count(queries)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const qvlpolicy::NamelessRule& source = queries->queries.nameless()[index];
  *nameless = {source.policy, source.dataSet, source.rule};
  return QVLPOLICY_OK;
}

int qvlpolicy_logic(const qvlpolicy_policy* policy, qvlpolicy_bytes* logic) {
  if (policy == nullptr || logic == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  *logic = bytesOf(policy->policy->description().logic);
  return QVLPOLICY_OK;
}

size_t qvlpolicy_data_set_count(const qvlpolicy_policy* policy) {
  return policy == nullptr ? 0 : policy->policy->description().dataSets.size();
}

int qvlpolicy_data_set_at(const qvlpolicy_policy* policy, size_t index,
                          qvlpolicy_data_set* data_set) {
  if (data_set == nullptr || index >= qvlpolicy_data_set_count(policy)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const qvlpolicy::Description& description = policy->policy->description();
  const qvlpolicy::DataSet& source = description.dataSets[index];
  *data_set = {source.number,
               qvlpolicy::kindName(source.kind),
               bytesOf(source.name),
               source.enabled ? 1 : 0,
               source.isDropped ? 1 : 0,
               source.rules.size(),
               bytesOf(description.files[source.place.file]),
               source.place.line,
               source.place.column,
               metadataOf(source.metadata)};
  return QVLPOLICY_OK;
}

int qvlpolicy_rule_at(const qvlpolicy_policy* policy, size_t data_set, size_t index,
                      qvlpolicy_rule* rule) {
  if (rule == nullptr || data_set >= qvlpolicy_data_set_count(policy)) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const qvlpolicy::Description& description = policy->policy->description();
  const std::vector<qvlpolicy::Rule>& rules = description.dataSets[data_set].rules;
  if (index >= rules.size()) return QVLPOLICY_BAD_ARGUMENT;
  const qvlpolicy::Rule& source = rules[index];
  *rule = {bytesOf(source.text),       source.access,
           source.isDropped ? 1 : 0,   bytesOf(description.files[source.place.file]),
           source.place.line,          source.place.column,
           metadataOf(source.metadata)};
  return QVLPOLICY_OK;
}

qvlpolicy_live* qvlpolicy_live_new(const qvlpolicy_policy* policy, qvlpolicy_counting counting) {
  if (policy == nullptr || counting < QVLPOLICY_COUNT_NOTHING || counting > QVLPOLICY_COUNT_RULES) {
    return nullptr;
  }
  return made([&] {
    return new qvlpolicy_live{
        qvlpolicy::LivePolicy(policy->policy, static_cast<qvlpolicy::Counting>(counting))};
  });
}

void qvlpolicy_live_free(qvlpolicy_live* live) {
  delete live;
}

int qvlpolicy_live_ask(qvlpolicy_live* live, const qvlpolicy_question* question,
                       uint32_t* data_sets, size_t capacity, size_t* count) {
  if (live == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return askOne(live->live, question, data_sets, capacity, count);
}

int64_t qvlpolicy_live_ask_many(qvlpolicy_live* live, const qvlpolicy_batch* batch) {
  if (live == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return askMany(live->live, nullptr, batch);
}

int qvlpolicy_live_reload(qvlpolicy_live* live, qvlpolicy_report** report) {
  if (report != nullptr) *report = nullptr;
  if (live == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return guarded([&]() -> int {
    qvlpolicy::Loaded loaded = live->live.reload();
    const bool isTaken = loaded.policy != nullptr;
    if (report != nullptr) *report = made([&] { return reportOf(loaded); });
    return isTaken ? QVLPOLICY_OK : QVLPOLICY_REFUSED;
  });
}

int qvlpolicy_live_replace(qvlpolicy_live* live, const qvlpolicy_policy* policy) {
  if (live == nullptr || policy == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  return guarded([&]() -> int {
    live->live.replace(policy->policy);
    return QVLPOLICY_OK;
  });
}

qvlpolicy_policy* qvlpolicy_live_policy(qvlpolicy_live* live) {
  if (live == nullptr) return nullptr;
  return made([&] { return handleOf(live->live.policy()); });
}

qvlpolicy_counters* qvlpolicy_live_counters(qvlpolicy_live* live) {
  if (live == nullptr) return nullptr;
  return made([&] { return new qvlpolicy_counters{live->live.counters()}; });
}

void qvlpolicy_counters_free(qvlpolicy_counters* counters) {
  delete counters;
}

int qvlpolicy_counters_totals(const qvlpolicy_counters* counters, qvlpolicy_totals* totals) {
  if (counters == nullptr || totals == nullptr) return QVLPOLICY_BAD_ARGUMENT;
  const qvlpolicy::Counters& source = counters->counters;
  *totals = {source.questions, source.excluded, source.reloads, source.refused,
             static_cast<std::int64_t>(source.since)};
  return QVLPOLICY_OK;
}

qvlpolicy_policy* qvlpolicy_counters_policy(const qvlpolicy_counters* counters) {
  if (counters == nullptr) return nullptr;
  return made([&] { return handleOf(counters->counters.policy); });
}

int qvlpolicy_counters_data_set(const qvlpolicy_counters* counters, size_t index,
                                qvlpolicy_hits* hits) {
  if (counters == nullptr || hits == nullptr || index >= counters->counters.dataSets.size()) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const qvlpolicy::Hits& source = counters->counters.dataSets[index];
  *hits = {source.count, static_cast<std::int64_t>(source.last)};
  return QVLPOLICY_OK;
}

int qvlpolicy_counters_rule(const qvlpolicy_counters* counters, size_t data_set, size_t index,
                            qvlpolicy_hits* hits) {
  if (counters == nullptr || hits == nullptr || data_set >= counters->counters.rules.size() ||
      index >= counters->counters.rules[data_set].size()) {
    return QVLPOLICY_BAD_ARGUMENT;
  }
  const qvlpolicy::Hits& source = counters->counters.rules[data_set][index];
  *hits = {source.count, static_cast<std::int64_t>(source.last)};
  return QVLPOLICY_OK;
}
