#include "qvl/dataset/RuleIndex.h"

#include <algorithm>
#include <new>
#include <utility>

#include "qvl/match/CompiledPattern.h"

namespace QVL {
namespace {

// A text longer than this is no path; what it needed is given back behind the query.
constexpr std::size_t kLongText = std::size_t{64} * 1024;

// Among more rules than this that throw, the first in key order is found by going through all in
// key order: it will hardly be far.
constexpr std::size_t kMostThrowing = 64;

// A text longer than this is no path of every day.
constexpr std::size_t kSlowText = 1024;
constexpr std::size_t kFirstFew = 16;
constexpr std::size_t kShortProgram = 16;
constexpr std::uint64_t kStepsOfFew = 1000;

bool sameRequest(const LookupData& a, const LookupData& b) {
  return a.m_accessType == b.m_accessType && a.m_filePath == b.m_filePath &&
         a.m_processName == b.m_processName;
}

// Gives back behind a query what a text far longer than a path needed.
class ShrinkOnExit {
 public:
  ShrinkOnExit(const LookupData& request, RuleIndex::Scratch& scratch)
      : m_request(request), m_scratch(scratch) {}
  ~ShrinkOnExit() {
    if (std::max(m_request.m_filePath.size(), m_request.m_processName.size()) <= kLongText) return;
    for (TextScratch& text : m_scratch.ofTexts) text.shrink();
    m_scratch.patterns.shrink();
  }
  ShrinkOnExit(const ShrinkOnExit&) = delete;
  ShrinkOnExit& operator=(const ShrinkOnExit&) = delete;

 private:
  const LookupData& m_request;
  RuleIndex::Scratch& m_scratch;
};

}  // namespace

// A rule of the data set and where it stands.
class RuleIndex::Rule final : public PatternObserver {
 public:
  explicit Rule(RuleIndex& ofIndex) : index(ofIndex) {}

  void ruleChanged(const IAvoidance& /*rule*/) noexcept override { index.ruleChanged(*this); }

  RuleIndex& index;
  Rule* previous = nullptr;  // in key order
  Rule* next = nullptr;
  Order order;
  const std::string* key;
  IAvoidance* rule;
  PatternIndex::Place place;
  Rule* nextUnplaced = nullptr;
  std::uint8_t input = kRuleInputs;  // whose patterns it stands among; kRuleInputs: none
  bool isUnplaced = false;
  bool isAsked = false;  // stands in m_asked
};

bool RuleIndex::ByOrder::operator()(const Rule* a, const Rule* b) const {
  return a->order < b->order;
}

RuleIndex::RuleIndex() = default;
RuleIndex::~RuleIndex() {
  while (m_first) erase(*m_first->rule);
}

void RuleIndex::insert(const std::string& key, IAvoidance& rule, const IAvoidance* previous,
                       const IAvoidance* next) {
  auto added = std::make_unique<Rule>(*this);
  added->previous = previous ? ruleOf(*previous) : nullptr;
  added->next = next ? ruleOf(*next) : nullptr;
  added->order = orderBetween(added->previous, added->next);
  added->key = &key;
  added->rule = &rule;
  const Avoidance* const view = RuleView::of(rule);
  if (!view) m_withoutView.emplace(&rule, added.get());
  Rule& inserted = *added.release();
  (inserted.previous ? inserted.previous->next : m_first) = &inserted;
  if (inserted.next) inserted.next->previous = &inserted;
  m_newest = &inserted;
  ++m_changes;
  if (view) RuleView::observe(*view, &inserted);
  addUnplaced(inserted);
  placeUnplaced();
}

void RuleIndex::erase(const IAvoidance& rule) noexcept {
  const std::unique_ptr<Rule> held(ruleOf(rule));
  if (!held) return;
  Rule& erased = *held;
  displace(erased);
  if (erased.isUnplaced) {
    Rule** link = &m_unplaced;
    while (*link != &erased) link = &(*link)->nextUnplaced;
    *link = erased.nextUnplaced;
  }
  if (const Avoidance* const view = RuleView::of(rule)) {
    RuleView::observe(*view, nullptr);
  } else {
    m_withoutView.erase(&rule);
  }
  if (m_newest == &erased) m_newest = nullptr;
  (erased.previous ? erased.previous->next : m_first) = erased.next;
  if (erased.next) erased.next->previous = erased.previous;
  ++m_changes;
  placeUnplaced();
}

// Null for a rule that is not here.
RuleIndex::Rule* RuleIndex::ruleOf(const IAvoidance& rule) const {
  if (const Avoidance* const view = RuleView::of(rule)) {
    return static_cast<Rule*>(RuleView::observerOf(*view));
  }
  const auto found = m_withoutView.find(&rule);
  return found == m_withoutView.end() ? nullptr : found->second;
}

void RuleIndex::ruleChanged(Rule& rule) noexcept {
  // Where it stands tells of the pattern that it had.
  displace(rule);
  ++m_changes;
  addUnplaced(rule);
  placeUnplaced();
}

RuleIndex::Order RuleIndex::orderBetween(const Rule* previous, const Rule* next) {
  constexpr Order kFar = Order{1} << 64;
  constexpr Order kNear = Order{1} << 32;
  if (!previous && !next) return Order{1} << 127;
  const bool hasRoom = !next       ? previous->order < ~Order{0} - kFar
                       : !previous ? next->order > kFar
                                   : next->order - previous->order >= 2;
  if (!hasRoom) spreadOrders();
  if (!next) return previous->order + kFar;
  if (!previous) return next->order - kFar;
  // Rules often come in ascending or descending order: room is left on the side where more may
  // come.
  const Order half = (next->order - previous->order) / 2;
  const Order step = std::min(half, kNear);
  if (previous == m_newest) return previous->order + step;
  if (next == m_newest) return next->order - step;
  return previous->order + half;
}

void RuleIndex::spreadOrders() {
  std::uint64_t count = 0;
  for (const Rule* rule = m_first; rule; rule = rule->next) ++count;
  Order order = (Order{1} << 127) - (Order{count} << 63);
  for (Rule* rule = m_first; rule; rule = rule->next) rule->order = order += Order{1} << 64;
}

void RuleIndex::place(Rule& rule) {
  const Avoidance* const view = RuleView::of(*rule.rule);
  const Program* const program = view ? RuleView::patternOf(*view).program() : nullptr;
  if (!program) {
    m_asked.insert(&rule);
    rule.isAsked = true;
    return;
  }
  const auto input = static_cast<std::uint8_t>(RuleView::inputOf(*view));
  std::unique_ptr<PatternIndex>& patterns = m_patterns[input];
  if (!patterns) patterns = std::make_unique<PatternIndex>();
  patterns->insert(*program, &rule, RuleView::accessTypeOf(*view), rule.place);
  rule.input = input;
}

void RuleIndex::displace(Rule& rule) noexcept {
  if (rule.isAsked) m_asked.erase(&rule);
  if (rule.input != kRuleInputs) m_patterns[rule.input]->erase(rule.place);
  rule.isAsked = false;
  rule.input = kRuleInputs;
}

void RuleIndex::addUnplaced(Rule& rule) noexcept {
  if (rule.isUnplaced) return;
  rule.isUnplaced = true;
  rule.nextUnplaced = m_unplaced;
  m_unplaced = &rule;
}

// Should memory run out, what has no place stays in the list.
void RuleIndex::placeUnplaced() noexcept {
  try {
    while (m_unplaced) {
      place(*m_unplaced);
      m_unplaced->isUnplaced = false;
      m_unplaced = m_unplaced->nextUnplaced;
    }
  } catch (...) {
    displace(*m_unplaced);
  }
}

std::optional<bool> RuleIndex::anyMatches(LookupData& request, bool checkAccessType,
                                          Scratch& scratch) const {
  scratch.walkBehind = nullptr;
  if (m_unplaced) return std::nullopt;
  const ShrinkOnExit atTheEnd(request, scratch);
  First first;
  try {
    if (!findFirst(request, checkAccessType, scratch, first)) return std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  if (m_asked.empty() && !first.throws) return first.rule != nullptr;
  return ask(request, checkAccessType, first, scratch);
}

bool RuleIndex::findFirst(const LookupData& request, bool checkAccessType, Scratch& scratch,
                          First& first) const {
  std::array<std::optional<Text>, kRuleInputs>& texts = scratch.texts;
  bool allUtf8 = true;
  for (std::size_t i = 0; i < kRuleInputs; ++i) {
    texts[i].reset();
    if (!m_patterns[i] || m_patterns[i]->size() == 0) continue;
    texts[i].emplace(inputOf(request, static_cast<RuleInput>(i)), scratch.ofTexts[i]);
    allUtf8 = allUtf8 && texts[i]->isUtf8();
  }
  if (!allUtf8 && !findThrowing(scratch, first)) return false;

  const auto admits = [&](std::uint32_t accessType) {
    return !checkAccessType ||
           accessTypeFits(static_cast<AccessTypes>(accessType), request.m_accessType);
  };
  const auto isBefore = [](PatternIndex::Owner a, PatternIndex::Owner b) {
    return static_cast<const Rule*>(a)->order < static_cast<const Rule*>(b)->order;
  };
  const auto found = [&](PatternIndex::Owner owner) {
    const auto* const rule = static_cast<const Rule*>(owner);
    if (!first.rule || rule->order < first.rule->order) first = {rule, false};
    return !first.throws && (m_asked.empty() || first.rule->order < (*m_asked.begin())->order);
  };
  for (std::size_t i = 0; i < kRuleInputs; ++i) {
    if (!texts[i] || !texts[i]->isUtf8()) continue;
    if (texts[i]->plain().size() > kSlowText && firstFewMatch(i, *texts[i], admits, found)) break;
    if (m_patterns[i]->find(*texts[i], scratch.patterns, admits, isBefore, found)) break;
  }
  return true;
}

// The first in key order of those that read what is no character, or any when no other rule counts.
bool RuleIndex::findThrowing(Scratch& scratch, First& first) const {
  std::array<std::optional<Text>, kRuleInputs>& texts = scratch.texts;
  const bool orderCounts =
      !m_asked.empty() || std::any_of(texts.begin(), texts.end(),
                                      [](const auto& text) { return text && text->isUtf8(); });
  std::size_t throwing = 0;
  for (std::size_t i = 0; i < kRuleInputs; ++i) {
    if (!texts[i] || texts[i]->isUtf8()) continue;
    const auto throws = [&](PatternIndex::Owner owner) {
      const auto* const rule = static_cast<const Rule*>(owner);
      if (!first.rule || rule->order < first.rule->order) first = {rule, true};
      return ++throwing > kMostThrowing || !orderCounts;
    };
    if (!texts[i]->isCutOff()) {
      m_patterns[i]->eachThatReadsOn(*texts[i], throws);
    } else {
      const Rule* rule = m_first;
      while (rule->input != i) rule = rule->next;
      throws(rule);
    }
    if (throwing > kMostThrowing) return false;
  }
  return true;
}

// To look up a long text takes as long as trying several patterns: so the first ones are tried
// before, and where one of them matches, the walk is hardly faster.
template <typename Admits, typename Found>
bool RuleIndex::firstFewMatch(std::size_t input, Text& text, Admits admits, Found found) const {
  if (m_patterns[input]->size() <= kFirstFew) return false;
  const std::uint64_t mostSteps = text.scratch().steps + kStepsOfFew;
  const Rule* rule = m_first;
  for (std::size_t i = 0; i < kFirstFew && rule; ++i, rule = rule->next) {
    if (rule->isAsked) continue;
    if (rule->input != input) break;
    const Program& program = *rule->place.member.program;
    if (program.size() > kShortProgram || text.scratch().steps > mostSteps) break;
    if (admits(RuleView::accessTypeOf(*RuleView::of(*rule->rule))) && program.matches(text)) {
      // No other pattern comes before it.
      found(rule);
      return true;
    }
  }
  return false;
}

// Asks the rules that have to be asked, in key order, as far as the first of the others.
std::optional<bool> RuleIndex::ask(LookupData& request, bool checkAccessType, const First& first,
                                   Scratch& scratch) const {
  const std::string* asked = nullptr;
  for (const Rule* const rule : m_asked) {
    if (first.rule && first.rule->order < rule->order) break;
    const bool mayAct = !RuleView::isOfTheLibrary(*rule->rule);
    if (mayAct) {
      try {
        scratch.before = request;
      } catch (const std::bad_alloc&) {
        scratch.walkBehind = asked;
        return std::nullopt;
      }
    }
    asked = rule->key;
    const std::uint64_t changes = m_changes;
    if (checkAccessType ? rule->rule->canAvoidWithAccessType(request, false)
                        : rule->rule->canAvoid(request)) {
      return true;
    }
    if (mayAct && (changes != m_changes || !sameRequest(request, scratch.before))) {
      scratch.walkBehind = asked;
      return std::nullopt;
    }
  }
  if (first.throws) throwNotUtf8();
  return first.rule != nullptr;
}

}  // namespace QVL
