#include "qvlpolicy/NearRules.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "qvlpolicy/Aliases.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/PieceIndex.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

constexpr std::size_t kMaxNearRules = 5;

// How many rules are asked for one difference, at most.
constexpr std::size_t kMaxTried = 200;

// How many bytes of texts the rules have that are kept without a difference, at most. Made, a rule
// takes some ten times its text.
constexpr std::size_t kMostKeptBytes = 131072;
constexpr std::size_t kBytesOfARule = 100;  // beside its text

constexpr Difference kAllDifferences[] = {
    Difference::Case,       Difference::Normalisation, Difference::Slash,  Difference::Alias,
    Difference::Subfolders, Difference::Star,          Difference::Inside, Difference::Wildcards,
    Difference::SameFolder, Difference::SameExtension};

template <typename Value>
bool isOneOf(Value value, std::initializer_list<Value> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

std::string withDoubledStars(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t end = std::min(text.find_first_not_of('*', i), text.size());
    const std::size_t stars = end - i;
    result += stars == 1 ? "**" : text.substr(i, stars);
    i = end;
    if (i < text.size()) result += text[i++];
  }
  return result;
}

// The folder of what `text` names, its slash included; empty for what stands in the root.
std::string_view parentOf(std::string_view text) {
  const std::size_t slash = text.substr(0, text.size() - 1).rfind('/');
  return slash == std::string_view::npos || slash == 0 ? std::string_view()
                                                       : text.substr(0, slash + 1);
}

// Empty, which no engine takes, for rules that have no such variant.
std::string anythingBeside(Kind kind, const std::string& text) {
  const std::string parent(parentOf(text));
  if (parent.empty()) return {};
  return parent + (kind == Kind::Folder ? "*/" : "*");
}

std::string anythingOfSameExtension(const std::string& text) {
  const std::size_t dot = text.find_last_of("./*");
  if (dot == std::string::npos || text[dot] != '.') return {};
  const std::string extension = text.substr(dot);
  const bool isPlain =
      extension.size() > 1 && extension.find_first_of("?%+()[]{}|^$\\") == std::string::npos;
  return isPlain ? "**" + extension : std::string();
}

// What of a rule a difference leaves in a text that it then matches.
enum class Remainder { Rule, Wildcards, Folder, Extension };
constexpr Remainder kAllRemainders[] = {Remainder::Rule, Remainder::Wildcards, Remainder::Folder,
                                        Remainder::Extension};

Remainder remainderOf(Difference difference) {
  switch (difference) {
    case Difference::Wildcards:
      return Remainder::Wildcards;
    case Difference::SameFolder:
      return Remainder::Folder;
    case Difference::SameExtension:
      return Remainder::Extension;
    default:
      return Remainder::Rule;
  }
}

// Does a data set know the difference?
bool applies(Difference difference, const DataSet& dataSet) {
  const Kind kind = dataSet.kind;
  const bool isPattern = isOneOf(kind, {Kind::FilePath, Kind::Folder, Kind::Process});
  if (kind == Kind::FileAge) return false;
  switch (difference) {
    case Difference::Case:
      return dataSet.caseSensitive;
    case Difference::Normalisation:
      return true;
    case Difference::Slash:
    case Difference::Alias:
      return isPattern;
    case Difference::Subfolders:
      return kind == Kind::Folder;
    case Difference::Star:
    case Difference::SameFolder:
      return isPattern && dataSet.wildcards;
    case Difference::Inside:
    case Difference::SameExtension:
      return kind == Kind::FilePath && dataSet.wildcards;
    case Difference::Wildcards:
      return !dataSet.wildcards;
  }
  return false;
}

// The switches and keywords of a data set without the difference; no rules.
DataSet switchesWithout(Difference difference, const DataSet& dataSet) {
  DataSet plain;
  plain.kind = dataSet.kind;
  plain.caseSensitive = dataSet.caseSensitive && difference != Difference::Case;
  plain.wildcards = dataSet.wildcards || difference == Difference::Wildcards;
  plain.accessCheck = DataSet::AccessCheck::Never;
  plain.keywords = dataSet.keywords;
  return plain;
}

// The text of a rule without the difference.
std::string ruleTextWithout(Difference difference, Kind kind, const std::string& text) {
  switch (difference) {
    case Difference::Normalisation:
      return composed(text);
    case Difference::Star:
      return withDoubledStars(text);
    case Difference::Inside:
      return text + "/**";
    case Difference::SameFolder:
      return anythingBeside(kind, text);
    case Difference::SameExtension:
      return anythingOfSameExtension(text);
    default:
      return text;
  }
}

// What to ask a rule without the difference about.
std::vector<std::string> textsWithout(Difference difference, const std::string& text) {
  switch (difference) {
    case Difference::Normalisation:
      return {composed(text)};
    case Difference::Slash:
      if (text.empty()) return {};
      return {text.back() == '/' ? text.substr(0, text.size() - 1) : text + '/'};
    case Difference::Alias:
      return otherNames(text);
    default:
      return {text};
  }
}

// The text without its case, as far as ICU and the engine agree on that: a hint only.
std::string folded(const std::string& text) {
  const bool isAscii = std::all_of(text.begin(), text.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (isAscii) {
    std::string result = text;
    for (char& c : result) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
  }
  UErrorCode error = U_ZERO_ERROR;
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  icu::CaseMap::utf8Fold(0, {text.data(), static_cast<std::int32_t>(text.size())}, sink, nullptr,
                         error);
  return U_SUCCESS(error) ? result : text;
}

// The literal pieces of a pattern, folded: one that does not hold all of them in a text that is
// folded cannot match it. Nothing where that cannot be told from the pattern.
std::vector<std::string> piecesOf(const DataSet& switches, const std::string& pattern) {
  if (!switches.wildcards || !switches.keywords.empty() || switches.kind == Kind::FileType) {
    return {};
  }
  // The engine's words for wildcards, and the alternatives of expressions.
  static constexpr const char* kMeta = "+()[]{}|^$\\";
  if (pattern.find_first_of(kMeta) != std::string::npos ||
      pattern.find("DOUBLE") != std::string::npos) {
    return {};
  }
  const std::string wanted = folded(pattern);
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < wanted.size();) {
    const std::size_t end = std::min(wanted.find_first_of("*?", at), wanted.size());
    // A slash behind a wildcard may be that of no folder at all.
    std::string_view piece = std::string_view(wanted).substr(at, end - at);
    if (at > 0 && !piece.empty() && piece.front() == '/') piece.remove_prefix(1);
    if (!piece.empty()) pieces.emplace_back(piece);
    at = end + 1;
  }
  // The longest is the rarest.
  std::sort(pieces.begin(), pieces.end(),
            [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
  return pieces;
}

}  // namespace

const char* differenceName(Difference difference) {
  switch (difference) {
    case Difference::Case:
      return "case";
    case Difference::Normalisation:
      return "normalisation";
    case Difference::Slash:
      return "slash";
    case Difference::Alias:
      return "alias";
    case Difference::Subfolders:
      return "subfolders";
    case Difference::Star:
      return "star";
    case Difference::Inside:
      return "inside";
    case Difference::Wildcards:
      return "wildcards";
    case Difference::SameFolder:
      return "same-folder";
    case Difference::SameExtension:
      return "same-extension";
  }
  return "";
}

struct NearRules::Index {
  PieceIndex ofRemainder[std::size(kAllRemainders)];

  const PieceIndex& of(Difference difference) const {
    return ofRemainder[static_cast<std::size_t>(remainderOf(difference))];
  }
};

namespace {

// The rules of a data set by what is left of them, as far as there is a difference that leaves it.
PieceIndex indexOf(const DataSet& dataSet, Remainder remainder) {
  const auto leaves = [&](Difference difference) {
    return remainderOf(difference) == remainder && applies(difference, dataSet);
  };
  const auto* const difference =
      std::find_if(std::begin(kAllDifferences), std::end(kAllDifferences), leaves);
  if (difference == std::end(kAllDifferences)) return {};
  const DataSet switches = switchesWithout(*difference, dataSet);
  PieceIndex::Runs runs;
  return PieceIndex(dataSet.rules.size(), [&](std::size_t i) {
    const std::string& text = dataSet.rules[i].text;
    runs.clear();
    if (remainder != Remainder::Rule) {
      runs = piecesOf(switches, ruleTextWithout(*difference, dataSet.kind, text));
    } else if (composed(text) == text) {
      // Without the difference of normalisation the pieces would be others.
      runs = piecesOf(switches, text);
    }
    return &runs;
  });
}

// May a rule with these pieces match one of the texts, which are folded?
bool mayMatch(const std::vector<std::string>& pieces, const std::vector<std::string>& texts) {
  return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
    return std::all_of(pieces.begin(), pieces.end(), [&](const std::string& piece) {
      return text.find(piece) != std::string::npos;
    });
  });
}

// How much of what is kept a rule of the data set takes.
std::size_t keptBytesOf(const DataSet& dataSet, const Rule& rule) {
  std::size_t bytes = kBytesOfARule + rule.text.size();
  for (const Keyword& keyword : dataSet.keywords) {
    for (const std::string& value : keyword.values) bytes += value.size();
  }
  return bytes;
}

}  // namespace

// A rule without a difference.
struct NearRules::Variant {
  Variant(Difference difference, const DataSet& dataSet, const Rule& like) : rule(like) {
    rule.text = ruleTextWithout(difference, dataSet.kind, like.text);
    rule.includeSubfolders |= difference == Difference::Subfolders;
    differs = rule.text != like.text || rule.includeSubfolders != like.includeSubfolders;
    pieces = piecesOf(switchesWithout(difference, dataSet), rule.text);
  }

  // Does it match one of the texts?
  bool matches(Difference difference, const DataSet& dataSet, QVL::LookupData request,
               const std::vector<std::string>& texts) {
    try {
      std::call_once(isMade, [&] {
        try {
          made = makeRule(switchesWithout(difference, dataSet), rule);
        } catch (const QVL::QVLException&) {
          // No such rule.
        }
      });
      if (!made) return false;
      std::string& text =
          dataSet.kind == Kind::Process ? request.m_processName : request.m_filePath;
      for (const std::string& other : texts) {
        text = other;
        if (made->canAvoid(request)) return true;
      }
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      // A text that the expression cannot read.
    }
    return false;
  }

  Rule rule;
  bool differs;
  std::vector<std::string> pieces;
  std::once_flag isMade;
  std::unique_ptr<QVL::IAvoidance> made;
};

NearRules::NearRules(const Description& description) : m_description(description) {}

NearRules::~NearRules() = default;

const std::vector<NearRules::Index>& NearRules::indexes() const {
  std::call_once(m_indexesAreMade, [this] {
    std::vector<Index> made(m_description.dataSets.size());
    for (std::size_t i = 0; i < made.size(); ++i) {
      for (const Remainder remainder : kAllRemainders) {
        made[i].ofRemainder[static_cast<std::size_t>(remainder)] =
            indexOf(m_description.dataSets[i], remainder);
      }
    }
    m_indexes = std::move(made);
  });
  return m_indexes;
}

std::shared_ptr<NearRules::Variant> NearRules::variantOf(const VariantKey& key) const {
  const std::lock_guard lock(m_keptMutex);
  const auto found = m_kept.find(key);
  if (found != m_kept.end()) return found->second;
  const auto& [difference, i, j] = key;
  const DataSet& dataSet = m_description.dataSets[i];
  auto variant = std::make_shared<Variant>(difference, dataSet, dataSet.rules[j]);
  const std::size_t bytes = keptBytesOf(dataSet, dataSet.rules[j]);
  if (bytes > kMostKeptBytes) return variant;
  if (m_keptBytes + bytes > kMostKeptBytes) {
    m_kept.clear();
    m_keptBytes = 0;
  }
  m_kept.emplace(key, variant);
  m_keptBytes += bytes;
  return variant;
}

std::vector<NearRule> NearRules::find(const QVL::LookupData& request,
                                      const Explanation& explanation) const {
  std::set<std::pair<std::size_t, std::size_t>> known;
  for (const DataSetAnswer& dataSet : explanation.dataSets) {
    for (const MatchingRule& match : dataSet.rules) known.insert({match.dataSet, match.rule});
  }
  std::vector<NearRule> found;
  for (const Difference difference : kAllDifferences) {
    std::size_t tried = 0;
    for (std::size_t i = 0; i < m_description.dataSets.size(); ++i) {
      const DataSet& dataSet = m_description.dataSets[i];
      if (!applies(difference, dataSet)) continue;
      const std::string& text =
          dataSet.kind == Kind::Process ? request.m_processName : request.m_filePath;
      const std::vector<std::string> texts = textsWithout(difference, text);
      if (texts.empty()) continue;
      std::vector<std::string> foldedTexts;
      for (const std::string& other : texts) foldedTexts.push_back(folded(other));
      std::vector<std::size_t> candidates;
      indexes()[i].of(difference).eachCandidate(foldedTexts, [&](std::size_t rule) {
        candidates.push_back(rule);
        return true;
      });
      std::sort(candidates.begin(), candidates.end());
      candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());

      const bool asksTheSame = texts.size() == 1 && texts.front() == text &&
                               !isOneOf(difference, {Difference::Case, Difference::Wildcards});
      for (std::size_t at = 0; at < candidates.size() && tried < kMaxTried; ++at) {
        const std::size_t j = candidates[at];
        const std::shared_ptr<Variant> variant = variantOf({difference, i, j});
        // A rule that has no such difference does not match without it either.
        if (asksTheSame && !variant->differs) continue;
        if (!mayMatch(variant->pieces, foldedTexts)) continue;
        ++tried;
        if (!variant->matches(difference, dataSet, request, texts)) continue;
        if (!known.insert({i, j}).second) continue;
        found.push_back({i, j, difference});
        if (found.size() == kMaxNearRules) return found;
      }
    }
  }
  return found;
}

}  // namespace qvlpolicy
