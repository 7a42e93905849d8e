#include "benchmarks/Workload.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace QVL {
namespace Bench {
namespace {

constexpr std::uint64_t kSeed = 20240229;
constexpr std::size_t kShortest = 60;
constexpr std::size_t kLongest = 120;

constexpr const char* kRoots[] = {"/Users",       "/Applications", "/Library",
                                  "/private/var", "/opt",          "/usr/local"};
constexpr const char* kFolders[] = {"Library",    "Caches",      "Application Support",
                                    "Documents",  "Contents",    "Resources",
                                    "Frameworks", "Developer",   "node_modules",
                                    "build",      "Containers",  "Data",
                                    "share",      "Preferences", "Logs",
                                    "src"};
constexpr const char* kExtensions[] = {"txt", "pdf", "png", "log",  "tmp", "html",
                                       "cpp", "o",   "js",  "json", "db",  "plist"};

const Keywords kKeywords = {
    {"%HOMES%", {"/Users", "/home", "/Volumes/Users"}},
    {"%CACHES%", {"/Library/Caches", "/private/var/folders", "/Users/[^/]*/Library/Caches"}},
};
const Keywords kRegexKeywords = {
    {"%NUMBERED%", {"/Library/Versions/[0-9]+", "/opt/releases/[0-9]+"}},
};
// What a keyword may stand for in a text that its rule is to match.
const std::map<std::string, std::vector<std::string>> kKeywordExamples = {
    {"%HOMES%", {"/Users", "/home", "/Volumes/Users"}},
    {"%CACHES%", {"/Library/Caches", "/private/var/folders", "/Users/anna/Library/Caches"}},
    {"%NUMBERED%", {"/Library/Versions/1204", "/opt/releases/7"}},
};

// A folder whose name few others have.
std::string rareName(Random& random) {
  return random.oneIn(3) ? random.word() + "-" + random.word(2) : random.word();
}

std::string folderName(Random& random) {
  return random.oneIn(2) ? std::string(random.pick(kFolders)) : random.frequentWord();
}

std::string fileName(Random& random) {
  return random.word(2 + random.below(4)) + "." + random.pick(kExtensions);
}

// Folders of about `length` bytes altogether, a slash in front of each.
std::string folders(Random& random, std::size_t length) {
  std::string path;
  while (path.size() < length) path += "/" + folderName(random);
  return path;
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '.') result += '\\';
    result += c;
  }
  return result;
}

bool hasFittingLength(const std::string& text) {
  return text.size() >= kShortest && text.size() <= kLongest;
}

char withOtherCase(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ? static_cast<char>(c ^ 0x20) : c;
}

}  // namespace

std::string Random::word(std::size_t syllables) {
  static constexpr char kConsonants[] = "bcdfghklmnprstv";
  static constexpr char kVowels[] = "aeiou";
  std::string word;
  while (syllables-- > 0) {
    word += kConsonants[below(sizeof kConsonants - 1)];
    word += kVowels[below(sizeof kVowels - 1)];
  }
  return word;
}

std::string Random::frequentWord() {
  Random other(below(300));
  return other.word(2 + other.below(3));
}

void Rule::add(Part::Sort sort, std::string part) {
  static constexpr const char* kTexts[] = {"", "*", "**", "/**/", "?", ""};
  static constexpr const char* kExpressions[] = {"", "[^/]*", ".*", "/(.*/|)", "[^/]", ""};
  text += kTexts[sort] + part;
  if (sort == Part::Keyword) {
    const Keywords& list = kKeywords.count(part) ? kKeywords : kRegexKeywords;
    std::string alternatives;
    for (const std::string& value : list.at(part)) {
      alternatives += (alternatives.empty() ? "" : "|") + value;
    }
    expression += "(" + alternatives + ")";
  } else {
    expression += kExpressions[sort] + escaped(part);
  }
  parts.push_back({sort, std::move(part)});
}

Workload::Workload(Kind kindOfRules, std::size_t count) : kind(kindOfRules), keywords(kKeywords) {
  if (kind == Kind::Regex) keywords.insert(kRegexKeywords.begin(), kRegexKeywords.end());
  Random random(kSeed);
  std::set<std::string> texts;
  rules.reserve(count);
  while (rules.size() < count) {
    Rule rule = makeRule(rules.size(), random);
    if (texts.insert(rule.text).second) rules.push_back(std::move(rule));
  }
}

Rule Workload::makeRule(std::size_t index, Random& random) const {
  Rule rule;
  switch (kind) {
    case Kind::Mixed:
    case Kind::Regex:
      return makePathRule(index, random);
    case Kind::Folder:
      rule.add(Rule::Part::Literal, random.pick(kRoots) + folders(random, 8 + random.below(24)) +
                                        "/" + rareName(random) + "/");
      // What the rule's class appends.
      rule.expression += ".*";
      return rule;
    case Kind::Process:
      switch (index % 4) {
        case 0:
          rule.add(Rule::Part::DoubleStar);
          rule.add(Rule::Part::Literal, "/" + rareName(random));
          return rule;
        case 1:
          rule.add(Rule::Part::Literal, "/Applications" + folders(random, 40) + "/");
          rule.add(Rule::Part::Star);
          rule.add(Rule::Part::Literal, "/MacOS/" + rareName(random));
          return rule;
        default:
          rule.add(Rule::Part::Literal,
                   "/Applications" + folders(random, 45) + "/" + rareName(random));
          return rule;
      }
    case Kind::Type:
      rule.caseSensitive = false;
      rule.add(Rule::Part::Literal, random.word(1 + random.below(3)));
      if (random.oneIn(10)) rule.add(Rule::Part::Question);
      if (random.oneIn(3)) rule.add(Rule::Part::Literal, random.word(1));
      return rule;
  }
  throw std::logic_error("There is no such kind of rule.");
}

// The sorts take turns; those that begin with a root have the odd places, where a keyword may stand
// for it.
Rule Workload::makePathRule(std::size_t index, Random& random) const {
  using Part = Rule::Part;
  Rule rule;
  rule.caseSensitive = index % 20 != index / 20 % 20;
  const auto addRoot = [&](std::size_t length) {
    std::string path = folders(random, length);
    if (kind == Kind::Regex && index % 20 == 9) {
      rule.add(Part::Keyword, "%NUMBERED%");
    } else if (index % 10 == 9) {
      rule.add(Part::Keyword, random.oneIn(2) ? "%HOMES%" : "%CACHES%");
    } else {
      path.insert(0, random.pick(kRoots));
    }
    rule.add(Part::Literal, path + "/");
  };
  switch (index % 8) {
    case 0:  // a folder by its name, anywhere
      rule.add(Part::DoubleStar);
      rule.add(Part::Literal, "/" + rareName(random) + "/");
      rule.add(Part::DoubleStar);
      break;
    case 1:  // a folder tree
      addRoot(8 + random.below(24));
      rule.add(Part::Literal, rareName(random) + "/");
      rule.add(Part::DoubleStar);
      break;
    case 2:  // an extension, anywhere
      rule.add(Part::DoubleStar);
      rule.add(Part::Literal, "/");
      rule.add(Part::Star);
      rule.add(Part::Literal, "." + random.word(2 + random.below(2)));
      break;
    case 3:  // `*` inside
      addRoot(16 + random.below(16));
      rule.add(Part::Star);
      rule.add(Part::Literal, "/" + rareName(random) + "/" + random.frequentWord());
      rule.add(Part::Star);
      rule.add(Part::Literal, "." + std::string(random.pick(kExtensions)));
      break;
    case 4:  // one file
      rule.add(Part::Literal, random.pick(kRoots) + folders(random, 40) + "/" + rareName(random) +
                                  "/" + fileName(random));
      break;
    case 5:  // `**` inside
      addRoot(8 + random.below(16));
      rule.add(Part::DoubleStar);
      rule.add(Part::Literal, "/" + rareName(random));
      rule.add(Part::DoubleStar);
      rule.add(Part::Literal, "." + std::string(random.pick(kExtensions)));
      break;
    case 6:  // `?`
      rule.add(Part::Literal, random.pick(kRoots) + folders(random, 16) + "/v");
      rule.add(Part::Question);
      rule.add(Part::Literal, ".");
      rule.add(Part::Question);
      rule.add(Part::Question);
      rule.add(Part::Literal, "/" + rareName(random) + "/");
      rule.add(Part::DoubleStar);
      break;
    default:  // `/**/`
      addRoot(8 + random.below(16));
      rule.add(Part::Literal, random.frequentWord());
      rule.add(Part::Folders);
      rule.add(Part::Literal, rareName(random) + "/" + fileName(random));
  }
  return rule;
}

std::string Workload::example(const Rule& rule, Random& random) const {
  if (kind == Kind::Type) {
    std::string extension;
    for (const Rule::Part& part : rule.parts) {
      extension += part.sort == Rule::Part::Question ? "q" : part.text;
    }
    return folders(random, kShortest + random.below(24)) + "." + extension;
  }
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string path;
    for (const Rule::Part& part : rule.parts) {
      switch (part.sort) {
        case Rule::Part::Literal:
          path += part.text;
          break;
        case Rule::Part::Star:
          path += random.word(random.below(4));
          break;
        case Rule::Part::DoubleStar:
          path += path.empty() ? random.pick(kRoots) + folders(random, random.below(60))
                               : random.word(2) + folders(random, random.below(40));
          break;
        case Rule::Part::Folders:
          path += random.oneIn(3) ? "/" : folders(random, 1 + random.below(40)) + "/";
          break;
        case Rule::Part::Question:
          path += random.word(1).front();
          break;
        case Rule::Part::Keyword:
          path += random.pick(kKeywordExamples.at(part.text));
          break;
      }
    }
    if (rule.parts.back().sort == Rule::Part::DoubleStar || kind == Kind::Folder) {
      path += "/" + fileName(random);
    }
    if (!hasFittingLength(path)) continue;
    if (!rule.caseSensitive) {
      for (char& c : path) c = random.oneIn(3) ? withOtherCase(c) : c;
    }
    return path;
  }
  return {};
}

// A path made from the words that the rules are made from.
std::string Workload::someText(Random& random) const {
  for (;;) {
    std::string path = random.pick(kRoots) + folders(random, 16 + random.below(48));
    if (random.oneIn(2)) path += "/" + rareName(random);
    path += "/" + fileName(random);
    if (hasFittingLength(path)) return path;
  }
}

// A path that a rule would match, were it not for one byte or one component.
std::string Workload::nearMiss(Random& random) const {
  std::string path;
  while (path.empty()) path = example(random.pick(rules), random);
  const std::size_t at = random.below(path.size());
  if (path[at] == '/') {
    path.insert(at, "/" + random.frequentWord());
  } else {
    path[at] = path[at] == 'x' ? 'y' : 'x';
  }
  return path;
}

void Workload::append(Accesses& accesses, const std::string& text) const {
  Access access;
  access.request.m_filePath = kind == Kind::Process ? "/Users/anna/Documents/letter.txt" : text;
  access.request.m_processName = kind == Kind::Process ? text : "/usr/bin/less";
  access.request.m_accessType = ReadAccess;
  accesses.push_back(std::move(access));
}

void Workload::makeAccesses(const Arbiter& matches) {
  Random random(kSeed + 1);
  const auto subjectOf = [&](const std::string& text) {
    return kind == Kind::Type ? std::string_view(text).substr(text.rfind('.') + 1)
                              : std::string_view(text);
  };
  std::vector<std::string> hitTexts;
  std::vector<std::string> missTexts;
  while (hitTexts.size() < kAccesses) {
    std::string text = example(random.pick(rules), random);
    if (text.empty()) continue;
    if (!matches(subjectOf(text))) throw std::logic_error("No rule matches its example " + text);
    hitTexts.push_back(std::move(text));
  }
  while (missTexts.size() < kAccesses) {
    std::string text = random.oneIn(4) ? nearMiss(random) : someText(random);
    if (hasFittingLength(text) && !matches(subjectOf(text))) missTexts.push_back(std::move(text));
  }

  for (std::size_t i = 0; i < kAccesses; ++i) {
    append(hits, hitTexts[i]);
    append(misses, missTexts[i]);
    append(mixed, random.below(100) < kHitPercent ? hitTexts[i] : missTexts[i]);
  }
  for (Accesses* const accesses : {&hits, &misses, &mixed}) {
    for (Access& access : *accesses) {
      const LookupData& request = access.request;
      access.subject =
          subjectOf(kind == Kind::Process ? request.m_processName : request.m_filePath);
    }
  }
}

}  // namespace Bench
}  // namespace QVL
