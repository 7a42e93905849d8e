#include "qvl/dataset/RuleIndex.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "qvl/match/CompiledPattern.h"
#include "qvl/match/Expression.h"
#include "qvl/match/Subject.h"

namespace QVL {

using PathKeys::Kind;
using PathKeys::RuleKey;
using PathKeys::RuleKeys;

// A rule of the data set and where it is filed.
struct RuleIndex::Rule {
  const std::string* key;
  IAvoidance* rule;
  const Avoidance* view;  // null for a rule that is asked every time

  Filing* filing = nullptr;   // of its input; null while it is not filed
  std::vector<RuleKey> keys;  // under which it stands in the filing's table, one per alternative
  // Made when it is filed, beside those of other rules: among all that rules are made of, finding
  // the one that matches takes longer.
  std::vector<std::unique_ptr<const Glob>> globs;
  bool compared = false;     // an alternative stands in the filing's row of those without keys
  bool needsEngine = false;  // it stands there to be asked
  bool asked = false;        // stands in m_asked
  bool folded = false;       // case does not matter

  bool changed = false;  // stands in the list of m_changed
  Rule* nextChanged = nullptr;
};

// One alternative of a rule under one of its keys, with all that most comparisons need: what stands
// elsewhere is far away.
struct RuleIndex::Entry {
  std::uint64_t marks;  // that a text must bear
  std::uint64_t headMarks;
  const Glob* glob;  // null for a rule that needs the engine
  Rule* rule;
  AccessTypes accessType;
  bool folded;  // case does not matter
};

// The rules that read one input of a request.
class RuleIndex::Filing {
 public:
  KeyTable<Entry> table;
  std::vector<Entry> compared;  // globs without keys: compared with every text
  std::size_t folded = 0;       // rules for which case does not matter

  // The key that the fewest rules have; among equals, the longest. What a kind of key costs every
  // query that has to look for it is weighed against rules that are compared in vain.
  const RuleKey& leastPopular(const std::vector<RuleKey>& keys) {
    const auto cost = [&](const RuleKey& key) -> std::size_t {
      const std::size_t price = key.kind >= Kind::Head8 ? 1000 : key.kind == Kind::Pair ? 16 : 0;
      return popularity(key.key) + price;
    };
    const auto chosen =
        std::min_element(keys.begin(), keys.end(), [&](const RuleKey& a, const RuleKey& b) {
          const std::size_t costOfA = cost(a);
          const std::size_t costOfB = cost(b);
          return costOfA != costOfB ? costOfA < costOfB : a.length > b.length;
        });
    makeRoomToCount(keys.size());
    for (const RuleKey& key : keys) {
      for (const std::size_t place : placesOf(key.key)) {
        std::uint16_t& rules = m_popularity[place];
        if (rules < std::numeric_limits<std::uint16_t>::max()) ++rules;
      }
    }
    return *chosen;
  }

  // How many entries are filed, under each kind of key, and under prefixes of each depth.
  void use(const RuleKey& key, int change) {
    adjust(m_use, change);
    const auto kind = static_cast<unsigned>(key.kind);
    mark(m_kinds, kind, adjust(m_kindUse[kind], change));
    if (key.kind == Kind::Prefix) {
      mark(m_depths, key.depth, adjust(m_depthUse[key.depth], change));
    }
  }

  // Calls `visit(entry)` for the entries under every key of a text until it answers true. `scratch`
  // is written over.
  template <typename Visit>
  bool find(std::string_view text, PathKeys::Text& scratch, Visit visit) const;

 private:
  // About how many rules have a key. Each is counted at two places of a row, where others are
  // counted along, and the lesser count is taken. Only the choice of keys depends on it.
  std::uint16_t popularity(PathKeys::Key key) const {
    const auto places = placesOf(key);
    return std::min(m_popularity[places[0]], m_popularity[places[1]]);
  }
  std::array<std::size_t, 2> placesOf(PathKeys::Key key) const {
    const std::size_t mask = m_popularity.size() - 1;
    return {(key >> 40) & mask, (key >> 14) & mask};
  }

  // The row grows with the rules that are filed; of those that are gone, the count fades.
  void makeRoomToCount(std::size_t keys) {
    const std::size_t size = m_popularity.size();
    if (m_counted + keys > size) {
      if (kKeysOfARule * m_use > size) {
        m_popularity.resize(2 * size);
        std::copy_n(m_popularity.begin(), size, m_popularity.begin() + static_cast<long>(size));
      } else {
        for (std::uint16_t& rules : m_popularity) rules /= 2;
        m_counted /= 2;
      }
    }
    m_counted += keys;
  }

  static std::uint32_t adjust(std::uint32_t& use, int change) {
    return use = static_cast<std::uint32_t>(static_cast<int>(use) + change);
  }
  static void mark(std::uint64_t& mask, unsigned bit, bool on) {
    mask = (mask & ~(std::uint64_t{1} << bit)) | std::uint64_t{on} << bit;
  }
  bool uses(Kind kind) const { return m_kinds >> static_cast<unsigned>(kind) & 1; }

  std::uint32_t m_use = 0;
  std::array<std::uint32_t, PathKeys::kKinds> m_kindUse{};
  std::array<std::uint32_t, 64> m_depthUse{};
  std::uint64_t m_kinds = 0;   // in use
  std::uint64_t m_depths = 0;  // in use

  static constexpr std::size_t kKeysOfARule = 8;  // about
  std::vector<std::uint16_t> m_popularity = std::vector<std::uint16_t>(1 << 16);
  std::size_t m_counted = 0;
};

template <typename Visit>
bool RuleIndex::Filing::find(std::string_view text, PathKeys::Text& scratch, Visit visit) const {
  scratch.assign(text);
  // Keys that may be there are gathered first: when they are looked up, the marks of the whole text
  // are known. Few are; should there be many, marks that exclude nothing serve as well.
  std::array<PathKeys::Key, 32> found;
  std::size_t foundCount = 0;
  std::uint64_t marks = 0;
  std::uint64_t headMarks = 0;
  bool matched = false;
  const auto lookUp = [&](std::uint64_t borne) {
    matched = matched || table.find(found, foundCount, [&](const Entry& entry) {
      if ((entry.marks & ~borne) != 0) return false;
      // Found out only for a text that comes so far.
      if (entry.headMarks != 0 && headMarks == 0) headMarks = scratch.headMarks();
      return (entry.headMarks & ~headMarks) == 0 && visit(entry);
    });
    foundCount = 0;
  };
  const auto look = [&](Kind kind, std::uint64_t hash) {
    const PathKeys::Key key = PathKeys::keyOf(kind, hash);
    found[foundCount] = key;
    foundCount += table.mayHold(key);
    if (foundCount == found.size()) lookUp(~std::uint64_t{0});
  };

  const std::size_t dot = text.rfind('.');
  if (dot != std::string_view::npos) {
    const std::uint64_t hash = scratch.hash(dot + 1, text.size() - dot - 1);
    marks |= PathKeys::markOf(hash);
    if (uses(Kind::Extension)) look(Kind::Extension, hash);
  }

  const bool components = uses(Kind::Component);
  const bool pairs = uses(Kind::Pair);
  const bool pieces = m_kinds >> static_cast<unsigned>(Kind::Head8) != 0;
  std::uint64_t prefix = PathKeys::kNoComponents;
  std::uint64_t previous = 0;
  const std::size_t count = scratch.components();
  for (std::size_t i = 0; i < count && !matched; ++i) {
    const std::size_t start = scratch.start(i);
    const std::size_t length = scratch.length(i);
    const std::uint64_t hash = scratch.hash(start, length);
    marks |= PathKeys::markOf(hash);
    if (components) look(Kind::Component, hash);
    if (pairs && i > 0) look(Kind::Pair, PathKeys::pairOf(previous, hash));
    previous = hash;
    // As deep as any prefix reaches.
    if (i < 63 && m_depths >> (i + 1) != 0) {
      prefix = PathKeys::withComponent(prefix, hash);
      if (m_depths >> (i + 1) & 1) look(Kind::Prefix, prefix);
    }
    if (!pieces) continue;
    unsigned head = static_cast<unsigned>(Kind::Head8);
    unsigned tail = static_cast<unsigned>(Kind::Tail8);
    for (std::size_t size = 8; size >= 2; size /= 2, ++head, ++tail) {
      if (length < size) continue;
      if (uses(static_cast<Kind>(head))) look(static_cast<Kind>(head), scratch.hash(start, size));
      if (uses(static_cast<Kind>(tail))) {
        look(static_cast<Kind>(tail), scratch.hash(start + length - size, size));
      }
    }
  }
  lookUp(marks);
  return matched;
}

RuleIndex::RuleIndex(KeyOrder keyOrder) : m_keyOrder(keyOrder) {}

RuleIndex::~RuleIndex() = default;

void RuleIndex::insert(const std::string& key, IAvoidance& rule) {
  auto noted = std::make_unique<Rule>();
  noted->key = &key;
  noted->rule = &rule;
  noted->view = RuleView::of(rule);
  Rule& inserted = *m_rules.emplace(&rule, std::move(noted)).first->second;
  if (inserted.view) RuleView::observe(*inserted.view, this);
  markChanged(inserted);
  fileChanged();
}

void RuleIndex::erase(const IAvoidance& rule) noexcept {
  const auto found = m_rules.find(&rule);
  if (found == m_rules.end()) return;
  Rule& erased = *found->second;
  unfile(erased);
  if (erased.changed) {
    Rule** link = &m_changed;
    while (*link != &erased) link = &(*link)->nextChanged;
    *link = erased.nextChanged;
  }
  if (erased.view) RuleView::observe(*erased.view, nullptr);
  m_rules.erase(found);
  fileChanged();
}

void RuleIndex::ruleChanged(const IAvoidance& rule) noexcept {
  const auto found = m_rules.find(&rule);
  if (found == m_rules.end()) return;
  // Its entries are those of the pattern that is gone.
  unfile(*found->second);
  markChanged(*found->second);
  fileChanged();
}

void RuleIndex::markChanged(Rule& rule) noexcept {
  if (rule.changed) return;
  rule.changed = true;
  rule.nextChanged = m_changed;
  m_changed = &rule;
}

void RuleIndex::unfile(Rule& rule) noexcept {
  if (rule.asked) {
    m_asked.erase(std::find(m_asked.begin(), m_asked.end(), &rule));
    rule.asked = false;
  }
  if (!rule.filing) return;
  Filing& filing = *rule.filing;
  const auto ofRule = [&](const Entry& entry) { return entry.rule == &rule; };
  for (const RuleKey& key : rule.keys) {
    filing.table.erase(key.key, ofRule);
    filing.use(key, -1);
  }
  if (rule.needsEngine) m_engineEntries -= rule.keys.size();
  rule.keys.clear();
  if (rule.compared) {
    filing.compared.erase(std::remove_if(filing.compared.begin(), filing.compared.end(), ofRule),
                          filing.compared.end());
    rule.compared = false;
  }
  rule.globs.clear();
  if (rule.folded) --filing.folded;
  rule.filing = nullptr;
}

// Files every changed rule. Should memory run out, what is not filed stays in the list.
void RuleIndex::fileChanged() noexcept {
  try {
    while (m_changed) {
      file(*m_changed);
      m_changed->changed = false;
      m_changed = m_changed->nextChanged;
    }
  } catch (...) {
    unfile(*m_changed);
  }
}

void RuleIndex::askAlways(Rule& rule) {
  const auto place = std::upper_bound(
      m_asked.begin(), m_asked.end(), &rule,
      [this](const Rule* a, const Rule* b) { return m_keyOrder(*a->key, *b->key); });
  m_asked.insert(place, &rule);
  rule.asked = true;
}

void RuleIndex::file(Rule& rule) {
  if (!rule.view) return askAlways(rule);
  const CompiledPattern& pattern = RuleView::patternOf(*rule.view);
  const auto alternatives = alternativesOf(pattern.expression(), pattern.caseSensitive());
  if (!alternatives) return askAlways(rule);
  std::vector<RuleKeys> keys;
  for (const GlobSteps& steps : *alternatives) keys.push_back(PathKeys::keysOf(steps));
  const bool needsEngine = pattern.globs().empty();
  if (needsEngine &&
      std::any_of(keys.begin(), keys.end(), [](const RuleKeys& k) { return k.keys.empty(); })) {
    return askAlways(rule);
  }

  auto& filing = m_filings[static_cast<std::size_t>(RuleView::inputOf(*rule.view))];
  if (!filing) filing = std::make_unique<Filing>();
  rule.keys.reserve(keys.size());
  rule.globs.reserve(keys.size());
  rule.filing = filing.get();
  rule.needsEngine = needsEngine;
  rule.folded = !pattern.caseSensitive();
  if (rule.folded) ++filing->folded;
  const AccessTypes accessType = RuleView::accessTypeOf(*rule.view);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    Entry entry{keys[i].marks, keys[i].headMarks, nullptr, &rule, accessType, rule.folded};
    if (!needsEngine) {
      rule.globs.push_back(Glob::of((*alternatives)[i]));
      entry.glob = rule.globs.back().get();
    }
    if (keys[i].keys.empty()) {
      filing->compared.push_back(entry);
      rule.compared = true;
    } else {
      const RuleKey& key = filing->leastPopular(keys[i].keys);
      filing->table.insert(key.key, entry);
      rule.keys.push_back(key);
      filing->use(key, +1);
      if (needsEngine) ++m_engineEntries;
    }
  }
}

// So that what follows need not: for all candidates and rules that are asked there can be. False
// when there is no memory for that.
bool RuleIndex::makeRoom(Scratch& scratch) const {
  try {
    scratch.candidates.clear();
    scratch.ordered.clear();
    const std::size_t ordered = m_engineEntries + m_asked.size();
    if (scratch.candidates.capacity() < m_engineEntries) {
      scratch.candidates.reserve(2 * m_engineEntries);
    }
    if (scratch.ordered.capacity() < ordered) scratch.ordered.reserve(2 * ordered);
    return true;
  } catch (...) {
    return false;
  }
}

std::optional<bool> RuleIndex::anyMatches(LookupData& request, bool checkAccessType,
                                          Scratch& scratch) const {
  if (m_changed || !makeRoom(scratch)) return std::nullopt;
  const bool anyAsked = !m_asked.empty() || m_engineEntries != 0;
  const std::string* firstMatch = nullptr;

  // Which rule throws for a text that is not UTF-8, and whether another matches before it, depends
  // on all inputs; so they are looked at together. One is matched after the other, so that they
  // share the buffer.
  std::array<std::optional<Subject>, kRuleInputs> subjects;
  for (std::size_t i = 0; i < kRuleInputs; ++i) {
    if (!m_filings[i]) continue;
    subjects[i].emplace(inputOf(request, static_cast<RuleInput>(i)), scratch.foldBuffer);
    if (!subjects[i]->isUtf8()) return std::nullopt;
  }

  for (std::size_t i = 0; i < kRuleInputs; ++i) {
    if (!m_filings[i]) continue;
    const Filing& filing = *m_filings[i];
    Subject& subject = *subjects[i];

    // True when the answer is found. A text with characters beyond ASCII has one set of keys for
    // the rules for which case matters, and another for the rest; any other text has one for all.
    const auto lookIn = [&](std::string_view text, bool sensitive, bool insensitive) {
      const auto compare = [&](const Entry& entry) {
        if (!(entry.folded ? insensitive : sensitive)) return false;
        if (!entry.glob) {
          scratch.candidates.push_back(entry.rule);
          return false;
        }
        if (checkAccessType && !accessTypeFits(entry.accessType, request.m_accessType)) {
          return false;
        }
        const std::string_view compared = entry.folded ? subject.folded() : subject.text();
        if (!entry.glob->matches(compared, subject.isAscii())) return false;
        if (!anyAsked) return true;
        if (!firstMatch || m_keyOrder(*entry.rule->key, *firstMatch)) firstMatch = entry.rule->key;
        return false;
      };
      return std::any_of(filing.compared.begin(), filing.compared.end(), compare) ||
             filing.find(text, scratch.text, compare);
    };
    const bool oneSet = subject.isAscii() || filing.folded == 0;
    if (lookIn(subject.text(), true, oneSet)) return true;
    if (!oneSet && lookIn(subject.folded(), false, true)) return true;
  }
  return anyAsked ? askInOrder(request, checkAccessType, firstMatch, scratch) : false;
}

// Asks the rules that have to be asked, in key order, as far as the first match among the others.
bool RuleIndex::askInOrder(LookupData& request, bool checkAccessType, const std::string* firstMatch,
                           Scratch& scratch) const {
  const auto before = [this](const Rule* a, const Rule* b) { return m_keyOrder(*a->key, *b->key); };
  std::sort(scratch.candidates.begin(), scratch.candidates.end(), before);
  const auto end = std::unique(scratch.candidates.begin(), scratch.candidates.end());
  // Into a row of its own: a rule that is asked may recompile others, which changes m_asked.
  scratch.ordered.clear();
  std::merge(scratch.candidates.begin(), end, m_asked.begin(), m_asked.end(),
             std::back_inserter(scratch.ordered), before);
  for (const Rule* const rule : scratch.ordered) {
    if (firstMatch && !m_keyOrder(*rule->key, *firstMatch)) break;
    if (checkAccessType ? rule->rule->canAvoidWithAccessType(request, false)
                        : rule->rule->canAvoid(request)) {
      return true;
    }
  }
  return firstMatch != nullptr;
}

}  // namespace QVL
