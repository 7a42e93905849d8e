#include "qvlpolicy/NearRules.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "qvlpolicy/Aliases.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

constexpr std::size_t kMaxNearRules = 5;

// How many rules are made anew and asked for one difference, at most.
constexpr std::size_t kMaxTried = 200;

// With more rules than this, none is kept without its differences.
constexpr std::size_t kMaxKept = 10000;

constexpr Difference kAllDifferences[] = {
    Difference::Case,       Difference::Normalisation, Difference::Slash,  Difference::Alias,
    Difference::Subfolders, Difference::Star,          Difference::Inside, Difference::Wildcards,
    Difference::SameFolder, Difference::SameExtension};

bool isOneOf(Kind kind, std::initializer_list<Kind> kinds) {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
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

// A rule without a difference.
class NearRules::Variant {
 public:
  Variant(const DataSet& switches, const Rule& rule, Difference difference)
      : m_switches(switches), m_rule(rule) {
    m_rule.text = ruleTextWithout(difference, switches.kind, rule.text);
    if (difference == Difference::Subfolders) m_rule.includeSubfolders = true;
    m_pieces = piecesOf(switches, m_rule.text);
  }

  // May it match one of the texts, which are folded?
  bool mayMatch(const std::vector<std::string>& texts) const {
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
      return std::all_of(m_pieces.begin(), m_pieces.end(), [&](const std::string& piece) {
        return text.find(piece) != std::string::npos;
      });
    });
  }

  bool matches(QVL::LookupData request, const std::vector<std::string>& texts) {
    try {
      std::call_once(m_isMade, [&] {
        try {
          m_made = makeRule(m_switches, m_rule);
        } catch (const QVL::QVLException&) {
          // No such variant.
        }
      });
      if (!m_made) return false;
      std::string& text =
          m_switches.kind == Kind::Process ? request.m_processName : request.m_filePath;
      for (const std::string& other : texts) {
        text = other;
        if (m_made->canAvoid(request)) return true;
      }
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      // A text that the expression cannot read.
    }
    return false;
  }

 private:
  const DataSet& m_switches;
  Rule m_rule;
  std::vector<std::string> m_pieces;
  std::once_flag m_isMade;
  std::unique_ptr<QVL::IAvoidance> m_made;
};

struct NearRules::Variants {
  DataSet switches;
  std::deque<Variant> rules;
};

NearRules::NearRules(const Description& description) : m_description(description) {}

NearRules::~NearRules() = default;

const std::vector<std::unique_ptr<NearRules::Variants>>& NearRules::kept() const {
  std::call_once(m_keptIsMade, [this] {
    std::size_t count = 0;
    for (const DataSet& dataSet : m_description.dataSets) count += dataSet.rules.size();
    if (count > kMaxKept) return;
    std::vector<std::unique_ptr<Variants>> made;
    for (const Difference difference : kAllDifferences) {
      for (const DataSet& dataSet : m_description.dataSets) {
        made.push_back(std::make_unique<Variants>());
        if (!applies(difference, dataSet)) continue;
        Variants& variants = *made.back();
        variants.switches = switchesWithout(difference, dataSet);
        for (const Rule& rule : dataSet.rules) {
          variants.rules.emplace_back(variants.switches, rule, difference);
        }
      }
    }
    m_kept = std::move(made);
  });
  return m_kept;
}

std::vector<NearRule> NearRules::find(const QVL::LookupData& request,
                                      const Explanation& explanation) const {
  std::set<std::pair<std::size_t, std::size_t>> known;
  for (const DataSetAnswer& dataSet : explanation.dataSets) {
    for (const MatchingRule& match : dataSet.rules) known.insert({match.dataSet, match.rule});
  }
  const auto& allKept = kept();
  std::vector<NearRule> found;
  for (std::size_t k = 0; k < std::size(kAllDifferences); ++k) {
    const Difference difference = kAllDifferences[k];
    std::size_t tried = 0;
    for (std::size_t i = 0; i < m_description.dataSets.size(); ++i) {
      const DataSet& dataSet = m_description.dataSets[i];
      if (!applies(difference, dataSet)) continue;
      const std::vector<std::string> texts = textsWithout(
          difference, dataSet.kind == Kind::Process ? request.m_processName : request.m_filePath);
      if (texts.empty()) continue;
      std::vector<std::string> foldedTexts;
      for (const std::string& text : texts) foldedTexts.push_back(folded(text));
      const auto isNear = [&](Variant& variant) {
        if (!variant.mayMatch(foldedTexts)) return false;
        ++tried;
        return variant.matches(request, texts);
      };
      Variants* const variants =
          allKept.empty() ? nullptr : allKept[k * m_description.dataSets.size() + i].get();
      const DataSet switches = variants ? DataSet() : switchesWithout(difference, dataSet);
      for (std::size_t j = 0; j < dataSet.rules.size() && tried < kMaxTried; ++j) {
        bool near = false;
        if (variants) {
          near = isNear(variants->rules[j]);
        } else {
          Variant variant(switches, dataSet.rules[j], difference);
          near = isNear(variant);
        }
        if (near && known.insert({i, j}).second) found.push_back({i, j, difference});
        if (found.size() == kMaxNearRules) return found;
      }
    }
  }
  return found;
}

}  // namespace qvlpolicy
