#include "benchmarks/Engines.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace QVL {
namespace Bench {
namespace {

// Enough for RE2 never to fall back to its slow engine, nor to throw its cache away.
constexpr std::int64_t kRe2Memory = std::int64_t{1} << 30;

RE2::Options re2Options() {
  RE2::Options options;
  options.set_dot_nl(true);
  options.set_max_mem(kRe2Memory);
  options.set_log_errors(false);
  return options;
}

std::shared_ptr<IDataSet> emptyDataSet(Kind kind) {
  switch (kind) {
    case Kind::Mixed:
    case Kind::Regex:
      return std::make_shared<FilePathDataSet>();
    case Kind::Folder:
      return std::make_shared<FolderDataSet>();
    case Kind::Process: {
      // It starts without wildcards and with one access type for all rules.
      auto dataSet = std::make_shared<ProcessDataSet>();
      dataSet->enableWildCardSearch();
      dataSet->checkAccessTypeAtDataSetLevelOnly(0, AnyAccess);
      return dataSet;
    }
    case Kind::Type:
      return std::make_shared<FileTypeDataSet>();
  }
  throw std::logic_error("There is no such kind of rule.");
}

// Compiling ten thousand expressions takes Vectorscan a quarter of an hour, so what it made is kept
// from run to run.
hs_database_t* stored(const std::vector<const char*>& expressions,
                      const std::vector<unsigned>& flags) {
  std::string all = hs_version();
  for (std::size_t i = 0; i < flags.size(); ++i) {
    all += expressions[i] + std::to_string(flags[i]) + '\n';
  }
  const std::string name =
      QVL_BENCHMARK_CACHE "/" + std::to_string(std::hash<std::string>()(all)) + ".vectorscan";
  hs_database_t* database = nullptr;
  if (std::ifstream file{name, std::ios::binary}) {
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    if (hs_deserialize_database(bytes.data(), bytes.size(), &database) == HS_SUCCESS) {
      return database;
    }
  }
  hs_compile_error_t* error = nullptr;
  if (hs_compile_multi(expressions.data(), flags.data(), nullptr,
                       static_cast<unsigned>(expressions.size()), HS_MODE_BLOCK, nullptr, &database,
                       &error) != HS_SUCCESS) {
    const std::string message = error->message;
    hs_free_compile_error(error);
    throw std::logic_error("Vectorscan could not compile the set: " + message);
  }
  char* bytes = nullptr;
  std::size_t size = 0;
  if (hs_serialize_database(database, &bytes, &size) == HS_SUCCESS) {
    std::ofstream(name, std::ios::binary).write(bytes, static_cast<std::streamsize>(size));
    std::free(bytes);
  }
  return database;
}

// What a run at an end of an expression says about the whole text, an expression without an anchor
// says to Vectorscan, and needs far less work for it.
std::string unanchored(std::string expression) {
  constexpr std::string_view kRun = ".*";
  const auto size = [&] { return expression.size(); };
  std::string before = "\\A";
  std::string after = "\\z";
  if (expression.compare(0, kRun.size(), kRun) == 0) {
    expression.erase(0, kRun.size());
    before.clear();
  }
  if (size() >= kRun.size() && expression.compare(size() - kRun.size(), kRun.size(), kRun) == 0) {
    expression.erase(size() - kRun.size());
    after.clear();
  }
  return before + "(?:" + expression + ")" + after;
}

// Writes the trace file while it lives.
class Tracing {
 public:
  Tracing() {
    logFilePtr = discardingStream();
    traceInited = 1;
    ScanAvoidanceFlowvalue = 5;
  }
  ~Tracing() { ScanAvoidanceFlowvalue = 0; }
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;
};

}  // namespace

FILE* discardingStream() {
  static FILE* const stream = std::fopen("/dev/null", "w");
  return stream;
}

std::unique_ptr<IAvoidance> makeRule(Kind kind, const Rule& rule) {
  switch (kind) {
    case Kind::Mixed:
    case Kind::Regex:
      return std::make_unique<FilePathAvoidance>(rule.text, AnyAccess);
    case Kind::Folder:
      return std::make_unique<FolderAvoidance>(rule.text, AnyAccess, 1);
    case Kind::Process:
      return std::make_unique<ProcessAvoidance>(rule.text, AnyAccess, 0, "");
    case Kind::Type:
      return std::make_unique<FileTypeAvoidance>(rule.text, AnyAccess);
  }
  throw std::logic_error("There is no such kind of rule.");
}

std::shared_ptr<IDataSet> makeDataSet(const Workload& workload, RulesByKey* lent) {
  std::shared_ptr<IDataSet> dataSet = emptyDataSet(workload.kind);
  for (const auto& [keyword, values] : workload.keywords) {
    dataSet->addOrUpdateKeyword(keyword, values);
  }
  for (const Rule& rule : workload.rules) {
    std::unique_ptr<IAvoidance> made = makeRule(workload.kind, rule);
    IAvoidance* const kept = made.get();
    if (!dataSet->addToDataSet(std::move(made))) {
      throw std::logic_error("The data set refused the rule " + rule.text);
    }
    // The data set gave the rule its own setting.
    if (!rule.caseSensitive && workload.kind != Kind::Type) {
      kept->disableCaseSensitiveSearch();
      kept->updateRegex();
    }
    if (lent) lent->emplace(rule.text, kept);
  }
  return dataSet;
}

Product::Product(const Workload& workload) : m_dataSet(makeDataSet(workload)) {
  m_manager.assignDataSet(m_dataSet, 1, 0);
  m_manager.defineBusinessLogic("1");
}

bool TracedProduct::matches(Access& access) {
  const Tracing tracing;
  return Product::matches(access);
}

Walk::Walk(const Workload& workload) : m_owner(makeDataSet(workload, &m_rules)) {}

bool Walk::matches(Access& access) {
  return std::any_of(m_rules.begin(), m_rules.end(), [&](const auto& keyAndRule) {
    return keyAndRule.second->canAvoidWithAccessType(access.request, false);
  });
}

Expressions::Expressions(const Workload& workload) {
  m_expressions.reserve(workload.rules.size());
  for (const Rule& rule : workload.rules) {
    boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
    if (!rule.caseSensitive) options |= boost::regex_constants::icase;
    m_expressions.push_back(boost::make_u32regex(rule.expression, options));
  }
}

bool Expressions::matches(Access& access) const {
  const std::string_view text = access.subject;
  return std::any_of(m_expressions.begin(), m_expressions.end(), [&](const boost::u32regex& one) {
    return boost::u32regex_match(text.data(), text.data() + text.size(), one);
  });
}

Re2Set::Re2Set(const Workload& workload) : m_set(re2Options(), RE2::ANCHOR_BOTH) {
  for (const Rule& rule : workload.rules) {
    std::string error;
    if (m_set.Add((rule.caseSensitive ? "" : "(?i)") + rule.expression, &error) < 0) {
      throw std::logic_error("RE2 refused " + rule.expression + ": " + error);
    }
  }
  if (!m_set.Compile()) throw std::logic_error("RE2 could not compile the set.");
}

Vectorscan::Vectorscan(const Workload& workload) {
  std::vector<std::string> texts;
  std::vector<const char*> expressions;
  std::vector<unsigned> flags;
  texts.reserve(workload.rules.size());
  for (const Rule& rule : workload.rules) {
    texts.push_back(unanchored(rule.expression));
    expressions.push_back(texts.back().c_str());
    flags.push_back(HS_FLAG_DOTALL | (rule.caseSensitive ? 0 : HS_FLAG_CASELESS));
  }
  m_database.reset(stored(expressions, flags));
  hs_scratch_t* scratch = nullptr;
  if (hs_alloc_scratch(m_database.get(), &scratch) != HS_SUCCESS) {
    throw std::logic_error("Vectorscan could not allocate its scratch.");
  }
  m_scratch.reset(scratch);
}

bool Vectorscan::matches(const Access& access) const {
  const auto stop = [](unsigned, unsigned long long, unsigned long long, unsigned, void*) {
    return 1;
  };
  return hs_scan(m_database.get(), access.subject.data(),
                 static_cast<unsigned>(access.subject.size()), 0, m_scratch.get(), stop,
                 nullptr) == HS_SCAN_TERMINATED;
}

Floor::Floor(const Workload& workload) {
  for (const Rule& rule : workload.rules) m_folders.insert(rule.text);
}

bool Floor::matches(const Access& access) const {
  const std::string_view text = access.subject;
  for (std::size_t slash = text.find('/'); slash != std::string_view::npos;
       slash = text.find('/', slash + 1)) {
    if (m_folders.count(text.substr(0, slash + 1)) != 0) return true;
  }
  return false;
}

}  // namespace Bench
}  // namespace QVL
