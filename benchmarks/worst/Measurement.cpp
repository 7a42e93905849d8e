#include "benchmarks/worst/Measurement.h"

#include <re2/set.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

#include "benchmarks/ProcessorTime.h"
#include "qvl/qvl.h"

namespace QVL {
namespace Bench {
namespace {

constexpr rlim_t kMemory = rlim_t{4} << 30;
constexpr std::int64_t kRe2Memory = std::int64_t{256} << 20;
constexpr double kWorthRepeating = 200e-6;
constexpr double kNotWorthRepeating = 0.25;
constexpr double kSetUpPatience = 5;

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

// The policy, and its rules as they are asked one after the other.
class Policy {
 public:
  explicit Policy(const PolicyShape& shape) : m_dataSet(emptyDataSet(shape.rules.front().kind)) {
    for (const KeywordShape& keyword : shape.keywords) {
      m_dataSet->addOrUpdateKeyword(keyword.name, valuesOf(keyword));
    }
    for (const RuleShape& rule : shape.rules) {
      for (std::size_t i = 0; i < rule.count; ++i) add(rule, expanded(rule.text, i));
    }
  }

  Answer byIndex(LookupData& request) {
    return answerOf([&] { return m_dataSet->isPresentInDataSet(request); });
  }

  Answer byWalk(LookupData& request) {
    return answerOf([&] {
      return std::any_of(m_rules.begin(), m_rules.end(),
                         [&](const auto& rule) { return rule.second->canAvoid(request); });
    });
  }

 private:
  static std::unique_ptr<IDataSet> emptyDataSet(RuleKind kind) {
    switch (kind) {
      case RuleKind::Path:
      case RuleKind::Regex:
        return std::make_unique<FilePathDataSet>();
      case RuleKind::Folder:
      case RuleKind::Tree:
        return std::make_unique<FolderDataSet>();
      case RuleKind::Process: {
        auto dataSet = std::make_unique<ProcessDataSet>();
        dataSet->enableWildCardSearch();
        return dataSet;
      }
      case RuleKind::Type:
        return std::make_unique<FileTypeDataSet>();
    }
    throw std::logic_error("There is no such kind of rule.");
  }

  static std::unique_ptr<IAvoidance> ruleOf(RuleKind kind, const std::string& text) {
    switch (kind) {
      case RuleKind::Path:
      case RuleKind::Regex:
        return std::make_unique<FilePathAvoidance>(text, AnyAccess);
      case RuleKind::Folder:
      case RuleKind::Tree:
        return std::make_unique<FolderAvoidance>(text, AnyAccess, kind == RuleKind::Tree ? 1 : 0);
      case RuleKind::Process:
        return std::make_unique<ProcessAvoidance>(text, AnyAccess, 0, "");
      case RuleKind::Type:
        return std::make_unique<FileTypeAvoidance>(text, AnyAccess);
    }
    throw std::logic_error("There is no such kind of rule.");
  }

  void add(const RuleShape& shape, const std::string& text) {
    std::unique_ptr<IAvoidance> made = ruleOf(shape.kind, text);
    IAvoidance* const rule = made.get();
    // Refused when another rule has the same text.
    if (!m_dataSet->addToDataSet(std::move(made))) return;
    if (shape.kind == RuleKind::Regex) rule->disableWildCardSearch();
    rule->setCaseSensitiveSearch(shape.caseSensitive ? 1 : 0);
    if (!rule->updateRegex()) throw std::invalid_argument("the rule does not compile: " + text);
    m_rules.emplace(text, rule);
  }

  template <typename Question>
  static Answer answerOf(Question question) {
    try {
      return {question() ? Answer::Yes : Answer::No, {}};
    } catch (const std::exception& failure) {
      return {Answer::Threw, failure.what()};
    }
  }

  std::unique_ptr<IDataSet> m_dataSet;
  std::map<std::string, IAvoidance*> m_rules;  // of the data set, in key order
};

// The same rules as the pattern language defines them. Null when RE2 does not take them all.
class Peer {
 public:
  static std::unique_ptr<Peer> of(const PolicyShape& shape) {
    RE2::Options options;
    options.set_dot_nl(true);
    options.set_max_mem(kRe2Memory);
    options.set_log_errors(false);
    std::unique_ptr<Peer> peer(new Peer(options));
    const std::map<std::string, std::string> keywords = replacements(shape);
    bool ascii = true;
    for (const RuleShape& rule : shape.rules) {
      if (rule.kind == RuleKind::Type) return nullptr;
      for (std::size_t i = 0; i < rule.count; ++i) {
        const std::string expression = expressionOf(rule, expanded(rule.text, i), keywords);
        peer->m_hasTables |= rule.kind == RuleKind::Regex || !rule.caseSensitive;
        ascii = ascii && isAscii(expression);
        std::string error;
        if (peer->m_set.Add((rule.caseSensitive ? "" : "(?i)") + expression, &error) < 0) {
          return nullptr;
        }
      }
    }
    if (peer->m_hasTables && !ascii) return nullptr;
    return peer->m_set.Compile() ? std::move(peer) : nullptr;
  }

  // Does it read the text as the library does? Beyond ASCII, classes and case come from tables.
  bool takes(const std::string& text) const { return m_hasTables ? isAscii(text) : isUtf8(text); }

  // Throws when it runs out of memory.
  Answer matches(const std::string& text) const {
    RE2::Set::ErrorInfo error{};
    std::vector<int> found;
    const bool matched = m_set.Match(text, &found, &error);
    if (!matched && error.kind != RE2::Set::kNoError) throw std::bad_alloc();
    return {matched ? Answer::Yes : Answer::No, {}};
  }

 private:
  explicit Peer(const RE2::Options& options) : m_set(options, RE2::ANCHOR_BOTH) {}

  static std::map<std::string, std::string> replacements(const PolicyShape& shape) {
    std::map<std::string, std::string> result;
    for (const KeywordShape& keyword : shape.keywords) {
      std::string alternatives;
      for (const std::string& value : valuesOf(keyword)) {
        alternatives += (alternatives.empty() ? "(" : "|") + value;
      }
      result[keyword.name] = alternatives + ")";
    }
    return result;
  }

  static std::string expressionOf(const RuleShape& rule, std::string text,
                                  const std::map<std::string, std::string>& keywords) {
    if (rule.kind != RuleKind::Regex) {
      constexpr std::array<std::pair<const char*, const char*>, 7> kTranslation = {
          {{".", "\\."},
           {"/**/", "DOUBLEWITHSLASH"},
           {"**", "DOUBLE"},
           {"*", "[^/]*"},
           {"DOUBLEWITHSLASH", "/(.*/|)"},
           {"DOUBLE", ".*"},
           {"?", "[^/]"}}};
      for (const auto& [from, to] : kTranslation) text = Utility::replaceAll(text, from, to);
    }
    for (const auto& [name, values] : keywords) text = Utility::replaceAll(text, name, values);
    if (rule.kind == RuleKind::Folder) text += "[^/]*";
    if (rule.kind == RuleKind::Tree) text += ".*";
    return text;
  }

  RE2::Set m_set;
  bool m_hasTables = false;
};

// What the process tells, piece by piece.
enum class Stage { SetUp, Index, Walk, Re2 };
constexpr std::array<const char*, 4> kStages = {"set-up", "index", "rules one by one", "RE2::Set"};

struct Message {
  std::size_t text = 0;
  Stage stage = Stage::SetUp;
  bool answered = false;
  double seconds = 0;
  Answer::Kind answer = Answer::No;
  std::array<char, 200> words{};

  void say(const std::string& what) {
    std::snprintf(words.data(), words.size(), "%s", what.c_str());
  }
};

// Ends the process by SIGPROF when it takes more processor time than this; 0 takes that back.
void limitTime(double seconds) {
  itimerval timer{};
  timer.it_value.tv_sec = static_cast<time_t>(seconds);
  timer.it_value.tv_usec =
      static_cast<suseconds_t>((seconds - static_cast<double>(timer.it_value.tv_sec)) * 1e6);
  setitimer(ITIMER_PROF, &timer, nullptr);
}

class Teller {
 public:
  Teller(int pipe, double patience) : m_pipe(pipe), m_patience(patience) {}

  void tell(const Message& message) const {
    if (write(m_pipe, &message, sizeof message) != sizeof message) _exit(1);
  }

  // Asks once, and again for the median of so many runs where `worth` says so of the first.
  template <typename Question, typename Worth>
  double time(std::size_t text, Stage stage, int runs, Question question, Worth worth) const {
    Message message;
    message.text = text;
    message.stage = stage;
    message.answered = true;
    Answer answer;
    limitTime(m_patience);
    double seconds = processorTime([&] { answer = question(); });
    limitTime(0);
    if (worth(seconds) && seconds < kNotWorthRepeating) {
      const int batch = std::max(1, static_cast<int>(kWorthRepeating / (seconds + 1e-9)));
      std::vector<double> times;
      for (int run = 0; run < runs; ++run) {
        times.push_back(processorTime([&] {
                          for (int i = 0; i < batch; ++i) question();
                        }) /
                        batch);
      }
      std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
      seconds = times[static_cast<std::size_t>(runs) / 2];
    }
    message.seconds = seconds;
    message.answer = answer.kind;
    message.say(answer.message);
    tell(message);
    return seconds;
  }

 private:
  const int m_pipe;
  const double m_patience;
};

void work(const PolicyShape& shape, const std::vector<TextShape>& texts, const Effort& effort,
          const Teller& teller) {
  std::unique_ptr<Policy> policy;
  std::unique_ptr<Peer> peer;
  LookupData request;
  const auto ask = [&](const std::string& text) {
    request.m_filePath = text;
    request.m_processName = text;
  };
  Message ready;
  limitTime(kSetUpPatience * effort.patience);
  try {
    ready.seconds = processorTime([&] {
      policy = std::make_unique<Policy>(shape);
      ask("/");
      policy->byIndex(request);
    });
    ready.answered = true;
  } catch (const QVLException& refused) {
    ready.say(refused.m_message.c_str());
  } catch (const std::exception& failure) {
    ready.say(failure.what());
  }
  limitTime(0);
  teller.tell(ready);
  if (!ready.answered) return;

  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i].expanded();
    ask(text);
    const double index = teller.time(
        i, Stage::Index, effort.runs, [&] { return policy->byIndex(request); },
        [](double) { return true; });
    // Once is enough where the index is not slower anyway.
    teller.time(
        i, Stage::Walk, effort.runs, [&] { return policy->byWalk(request); },
        [&](double once) { return index > once / 2; });
    if (!effort.re2) continue;
    limitTime(kSetUpPatience * effort.patience);
    if (i == 0) peer = Peer::of(shape);
    if (peer && peer->takes(text)) {
      try {
        peer->matches(text);  // makes the states
        teller.time(
            i, Stage::Re2, effort.runs, [&] { return peer->matches(text); },
            [](double) { return true; });
      } catch (const std::bad_alloc&) {
      }
    }
    limitTime(0);
  }
}

}  // namespace

bool isUtf8(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = [&](std::size_t i) {
      return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const unsigned first = byte(at);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0) return false;
    for (std::size_t i = 1; i < length; ++i) {
      if ((byte(at + i) & 0xC0) != 0x80) return false;
    }
    const unsigned second = byte(at + 1);
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) {
      return false;
    }
    at += length;
  }
  return true;
}

std::vector<Measurement> measure(const PolicyShape& policy, const std::vector<TextShape>& texts,
                                 const Effort& effort) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("there is no pipe");
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process can be started");
  if (child == 0) {
    close(ends[0]);
    const rlimit memory{kMemory, kMemory};
    setrlimit(RLIMIT_AS, &memory);
    work(policy, texts, effort, Teller(ends[1], effort.patience));
    _exit(0);
  }
  close(ends[1]);

  std::vector<Measurement> results(texts.size());
  Message last;
  bool refused = false;
  for (Message message; read(ends[0], &message, sizeof message) == sizeof message;) {
    last = message;
    if (message.stage == Stage::SetUp) {
      refused = !message.answered;
      if (refused) break;
      for (Measurement& one : results) one.setUp = message.seconds;
      continue;
    }
    Measurement& result = results[message.text];
    Timing& timing = message.stage == Stage::Index  ? result.index
                     : message.stage == Stage::Walk ? result.walk
                                                    : result.re2;
    timing.seconds = message.seconds;
    timing.answer = {message.answer, message.words.data()};
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (refused) {
    for (Measurement& one : results) one.failure = std::string("refused: ") + last.words.data();
    return results;
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return results;
  const bool overdue = WIFSIGNALED(status) && WTERMSIG(status) == SIGPROF;

  // The text and the stage that it was at. What comes after these was not asked.
  bool inSetUp = last.stage == Stage::SetUp && !last.answered;
  std::size_t at = 0;
  while (
      at < results.size() && results[at].walk.seconds &&
      !(last.stage != Stage::SetUp && last.text == at && effort.re2 && last.stage == Stage::Walk)) {
    ++at;
  }
  if (at == results.size()) return results;
  const Stage stage = inSetUp                      ? Stage::SetUp
                      : !results[at].index.seconds ? Stage::Index
                      : !results[at].walk.seconds  ? Stage::Walk
                                                   : Stage::Re2;
  const std::string what =
      (overdue ? "no end in " + std::to_string(static_cast<int>(effort.patience)) + " s: "
               : "crashed: ") +
      std::string(kStages[static_cast<std::size_t>(stage)]);
  for (std::size_t i = at; i < results.size(); ++i) {
    results[i].failure = i == at ? what : "not asked";
    results[i].failedInQuery = i == at && stage == Stage::Index;
  }
  return results;
}

}  // namespace Bench
}  // namespace QVL
