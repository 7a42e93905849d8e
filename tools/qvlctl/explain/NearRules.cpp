#include "explain/NearRules.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "io/Unicode.h"
#include "policy/Aliases.h"

namespace qvlctl {
namespace {

constexpr std::size_t kMaxNearRules = 5;

constexpr Difference kAllDifferences[] = {
    Difference::Case,       Difference::Normalisation, Difference::Slash,  Difference::Alias,
    Difference::Subfolders, Difference::Star,          Difference::Inside, Difference::Wildcards,
    Difference::SameFolder, Difference::SameExtension};

// A rule text that no engine takes, for rules that have no such variant.
const std::string kNoVariant;

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

std::string anythingBeside(Kind kind, const std::string& text) {
  const std::string parent(parentOf(text));
  if (parent.empty()) return kNoVariant;
  return parent + (kind == Kind::Folder ? "*/" : "*");
}

std::string anythingOfSameExtension(const std::string& text) {
  const std::size_t dot = text.find_last_of("./*");
  if (dot == std::string::npos || text[dot] != '.') return kNoVariant;
  const std::string extension = text.substr(dot);
  const bool isPlain =
      extension.size() > 1 && extension.find_first_of("?%+()[]{}|^$\\") == std::string::npos;
  return isPlain ? "**" + extension : kNoVariant;
}

// The data set without the difference; nothing when its kind knows no such difference.
std::optional<DataSet> without(Difference difference, DataSet dataSet) {
  const Kind kind = dataSet.kind;
  const auto applies = [&](std::initializer_list<Kind> kinds, bool needsWildcards = true) {
    return isOneOf(kind, kinds) && (dataSet.wildcards || !needsWildcards);
  };
  const auto rewrite = [&](auto textFrom) {
    for (Rule& rule : dataSet.rules) rule.text = textFrom(rule.text);
  };
  if (kind == Kind::FileAge) return std::nullopt;

  switch (difference) {
    case Difference::Case:
      if (!dataSet.caseSensitive) return std::nullopt;
      dataSet.caseSensitive = false;
      return dataSet;
    case Difference::Normalisation:
      rewrite(composed);
      return dataSet;
    case Difference::Slash:
    case Difference::Alias:
      if (kind == Kind::FileType) return std::nullopt;
      return dataSet;
    case Difference::Subfolders:
      if (kind != Kind::Folder) return std::nullopt;
      for (Rule& rule : dataSet.rules) rule.includeSubfolders = true;
      return dataSet;
    case Difference::Star:
      if (!applies({Kind::FilePath, Kind::Folder, Kind::Process})) return std::nullopt;
      rewrite(withDoubledStars);
      return dataSet;
    case Difference::Inside:
      if (!applies({Kind::FilePath})) return std::nullopt;
      rewrite([](const std::string& text) { return text + "/**"; });
      return dataSet;
    case Difference::Wildcards:
      if (dataSet.wildcards) return std::nullopt;
      dataSet.wildcards = true;
      return dataSet;
    case Difference::SameFolder:
      if (!applies({Kind::FilePath, Kind::Folder, Kind::Process})) return std::nullopt;
      rewrite([kind](const std::string& text) { return anythingBeside(kind, text); });
      return dataSet;
    case Difference::SameExtension:
      if (!applies({Kind::FilePath})) return std::nullopt;
      rewrite(anythingOfSameExtension);
      return dataSet;
  }
  return std::nullopt;
}

// What to ask a data set without the difference about.
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

NearRules::NearRules(const Policy& policy) : m_policy(policy) {}

void NearRules::makeVariants() {
  for (const Difference difference : kAllDifferences) {
    for (std::size_t i = 0; i < m_policy.dataSets.size(); ++i) {
      if (const auto variant = without(difference, m_policy.dataSets[i])) {
        m_variants.push_back({difference, i, RuleMatcher(*variant)});
      }
    }
  }
}

std::vector<NearRule> NearRules::find(const QVL::LookupData& request,
                                      const std::set<RulePlace>& matching) {
  if (m_variants.empty()) makeVariants();
  std::vector<NearRule> found;
  std::set<RulePlace> known = matching;
  for (const Variant& variant : m_variants) {
    const bool asksProcess = m_policy.dataSets[variant.dataSet].kind == Kind::Process;
    QVL::LookupData asked = request;
    std::string& text = asksProcess ? asked.m_processName : asked.m_filePath;
    for (const std::string& other : textsWithout(variant.difference, text)) {
      text = other;
      for (const std::size_t rule : variant.matcher.matching(asked)) {
        if (known.insert({variant.dataSet, rule}).second) {
          found.push_back({variant.dataSet, rule, variant.difference});
        }
        if (found.size() == kMaxNearRules) return found;
      }
    }
  }
  return found;
}

}  // namespace qvlctl
