#include "benchmarks/worst/Drawing.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <utility>

namespace QVL {
namespace Bench {
namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t kMostRules = 10000;
constexpr std::size_t kMostExpressions = 100;
// Values of keywords times rules.
constexpr std::size_t kMostAlternatives = 100000;

constexpr std::size_t kValueCounts[] = {1, 2, 8, 30, 63, 64, 65, 100, 500, 1000, 5000};
constexpr std::size_t kLengths[] = {20, 60, 100, 255, 1000, 2000, 4096, 4096, 4096, 4096, 4096};

constexpr const char* kWords[] = {
    "a",      "a",      "b",       "aa",           "ab",         "n",        "x",
    "foo",    "tok",    "srv",     "home",         "app",        "Users",    "Libra",
    "cache",  "log",    "tmp",     ".log",         ".tmp",       "_",        "-",
    "a.b",    "\u00e9", "\u00df",  "\u65e5\u672c", "\U0001F600", "K",        "{16:a}",
    "{63:a}", "{64:a}", "{65:ab}", "{300:a}",      "{500:xy}",   "{1000:a}", "{9:\u00e9}"};
// Nothing that a rule has.
constexpr const char* kForeignWords[] = {"q",
                                         "w",
                                         "qq",
                                         "Musik",
                                         "Fotos",
                                         "\u00f6",
                                         "\u043f\u0438\u0441\u044c",
                                         "\u6f22\u5b57",
                                         "\U0001F3B5",
                                         "Z{i}",
                                         "{40:q}",
                                         "{200:w}",
                                         "0",
                                         "..",
                                         " "};
constexpr const char* kIndices[] = {"{i}", "{i}", "{i}", "{i%10}", "{i/10}", "{i%100}", "{i/100}"};
constexpr const char* kFillers[] = {"", "a", "/", "x", "/a", "aa", "\u00e9"};

// Not UTF-8: one byte of another encoding, beginnings and ends of sequences, what no sequence
// begins with, a character written too long.
constexpr std::string_view kBadBytes[] = {
    "\xF6", "\xE9", "\xC3",    "\xE6\x97", "\xF0\x9F\x98", "\x80", "\xF9\x90\x90\x80",
    "\xFD", "\xFF", "\xC0\xAF"};
constexpr std::string_view kWideCharacters[] = {"\u00e9", "\u65e5", "\U0001F600", "\u212a",
                                                "\u0130"};

constexpr const char* kFragments[] = {"a",
                                      "b",
                                      "[0-9]",
                                      "[a-z]",
                                      "[a-z]*",
                                      "[a-z]+",
                                      "[^/]*",
                                      "[^/]+",
                                      ".*",
                                      ".*?",
                                      ".+",
                                      ".",
                                      "a*",
                                      "a+?",
                                      "a?",
                                      "(a+)+",
                                      "(a*)*",
                                      "(a|aa)+",
                                      "(a|b)*",
                                      "(x+x+)+",
                                      "y",
                                      "/",
                                      "\\w+",
                                      "\\w*",
                                      "\\d+",
                                      "\\s*",
                                      "\\S+",
                                      "[[:alpha:]]+",
                                      "(?:ab)+",
                                      "(.*a){8}",
                                      "a{2,30}",
                                      "(a?){20}",
                                      "[a-z]{1,50}",
                                      "(/[^/]*)*",
                                      "(foo|bar|fo)",
                                      "(a|b|ab)*c",
                                      "\\b",
                                      "^",
                                      "$",
                                      "\u00e9",
                                      "[\u00e0-\u00ff]+",
                                      "(.*)(.*)(.*)",
                                      "(.*/)?",
                                      "([a-z]+/)+",
                                      "x*y*z*"};
// What takes more than a set of states.
constexpr const char* kUnbounded[] = {"(a*)\\1", "(?=.*a)", "(?!.*q)", "(?>a+)", "a++", "(?<=a)"};

template <typename List>
std::string pick(Random& random, const List& list) {
  return std::string(random.pick(list));
}

std::string glue(const Texts& parts) {
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

std::string word(Random& random) {
  std::string result = pick(random, kWords);
  if (random.oneIn(6)) result += pick(random, kWords);
  return result;
}

std::string numberedWord(Random& random) {
  const std::string number = pick(random, kIndices);
  switch (random.below(4)) {
    case 0:
      return number + word(random);
    case 1:
      return word(random) + number + word(random);
    default:
      return word(random) + number;
  }
}

std::string repeated(Random& random, const std::string& part) {
  constexpr std::size_t kRepetitions[] = {2, 8, 63, 64, 65, 200, 1000, 1900};
  return "{" + std::to_string(random.pick(kRepetitions)) + ":" + part + "}";
}

std::string globPart(const std::vector<KeywordShape>& keywords, Random& random) {
  const std::size_t sort = random.below(24);
  if (sort < 8) return word(random);
  if (sort < 12) return "/";
  if (sort < 16) return "*";
  if (sort < 18) return "**";
  if (sort < 20) return "/**/";
  if (sort < 21) return "?";
  if (sort < 22) {
    constexpr const char* kRepeatable[] = {"?", "?/", "?a", "*a", "/*", "a*", "a?"};
    return random.oneIn(2) ? repeated(random, pick(random, kRepeatable)) : "?";
  }
  return keywords.empty() ? numberedWord(random) : random.pick(keywords).name;
}

bool isNumbered(const std::string& text) {
  return text.find("{i}") != std::string::npos;
}

// As many rules have to be different ones, and their ends are as their kind has it.
void fit(RuleShape& rule, Random& random) {
  if (rule.text.empty()) rule.text = "a";
  if (rule.kind == RuleKind::Type) {
    rule.text = random.oneIn(3) ? "t{i}" : random.oneIn(2) ? "?{i}" : "log{i}";
    return;
  }
  if (rule.kind == RuleKind::Regex) rule.count = std::min(rule.count, kMostExpressions);
  if (rule.count > 1 && !isNumbered(rule.text)) {
    Texts parts = partsOf(rule.text);
    const std::size_t at =
        rule.kind == RuleKind::Regex ? parts.size() : random.below(parts.size() + 1);
    const std::string number = random.oneIn(2) ? "{i}" : random.oneIn(2) ? "n{i}" : "{i}_";
    parts.insert(parts.begin() + static_cast<std::ptrdiff_t>(at), number);
    rule.text = glue(parts);
  }
  const bool folder = rule.kind == RuleKind::Folder || rule.kind == RuleKind::Tree;
  while (!folder && !rule.text.empty() && rule.text.back() == '/') rule.text.pop_back();
  if (rule.text.empty()) rule.text = "a{i}";
  if (folder && rule.text.back() != '/') rule.text += '/';
}

std::string glob(const std::vector<KeywordShape>& keywords, Random& random) {
  constexpr const char* kBeginnings[] = {"/", "/", "/", "**/", "/**/", "/**/", "**", "*", ""};
  Texts parts = {pick(random, kBeginnings)};
  for (std::size_t left = 1 + random.below(8); left > 0; --left) {
    parts.push_back(globPart(keywords, random));
  }
  constexpr const char* kEnds[] = {"", "", "*", "**", "/**", ".log", "b", "/*"};
  parts.push_back(pick(random, kEnds));
  return glue(parts);
}

std::string expression(Random& random) {
  std::string text = random.oneIn(3) ? "/" : "";
  for (std::size_t left = 1 + random.below(5); left > 0; --left) text += pick(random, kFragments);
  if (random.oneIn(8)) text += pick(random, kUnbounded);
  if (random.oneIn(2)) text += pick(random, kWords);
  return text;
}

RuleShape drawRules(RuleKind kind, std::size_t count, const std::vector<KeywordShape>& keywords,
                    Random& random) {
  RuleShape rule;
  rule.kind = kind;
  rule.caseSensitive = !random.oneIn(4);
  rule.count = count;
  rule.text = kind == RuleKind::Regex ? expression(random) : glob(keywords, random);
  fit(rule, random);
  return rule;
}

// Another kind for the same data set.
RuleKind sibling(RuleKind kind, Random& random) {
  switch (kind) {
    case RuleKind::Path:
    case RuleKind::Regex:
      return random.oneIn(4) ? RuleKind::Regex : RuleKind::Path;
    case RuleKind::Folder:
    case RuleKind::Tree:
      return random.oneIn(2) ? RuleKind::Folder : RuleKind::Tree;
    default:
      return kind;
  }
}

KeywordShape drawKeyword(const std::string& name, Random& random) {
  constexpr const char* kValues[] = {"v{i}",      "{i}",        "{i}a",   "a{i}a",
                                     "a{i}/b",    "d{i}/[^/]*", "/a{i}",  "{8:a}{i}",
                                     "\u00e9{i}", "{i%10}{i}",  "{i}.log"};
  return {name, random.pick(kValueCounts), pick(random, kValues)};
}

// What was drawn may be more than can be set up, or of no use.
void limit(PolicyShape& policy) {
  policy.keywords.erase(
      std::remove_if(policy.keywords.begin(), policy.keywords.end(),
                     [&](const KeywordShape& keyword) {
                       return std::none_of(
                           policy.rules.begin(), policy.rules.end(), [&](const RuleShape& rule) {
                             return rule.text.find(keyword.name) != std::string::npos;
                           });
                     }),
      policy.keywords.end());
  std::size_t values = 1;
  for (const KeywordShape& keyword : policy.keywords) values += keyword.count;
  const std::size_t most =
      std::min(kMostRules, std::max<std::size_t>(kMostAlternatives / values, 1));
  for (RuleShape& rule : policy.rules) {
    rule.count = std::max<std::size_t>(1, std::min(rule.count, most / policy.rules.size()));
  }
}

// The literals of the rules: runs with their slashes, and single pieces; values of keywords.
Texts literalsOf(const PolicyShape& policy) {
  Texts literals;
  for (const RuleShape& rule : policy.rules) {
    std::string run;
    for (const std::string& part : partsOf(rule.text)) {
      if (part == "/" || isLiteral(part)) {
        run += part;
        if (part != "/") literals.push_back(part);
        continue;
      }
      if (run.size() > 1) literals.push_back(run);
      run.clear();
    }
    if (run.size() > 1) literals.push_back(run);
    if (rule.kind == RuleKind::Regex) {
      for (const char* const one : {"a", "b", "ab", "x", "xx", "y", "0", "z", "/a"}) {
        literals.emplace_back(one);
      }
    }
  }
  for (const KeywordShape& keyword : policy.keywords) literals.push_back(keyword.text);
  if (literals.empty()) literals.emplace_back("a");
  return literals;
}

// Numbers that run with the repetitions, or that of one rule.
std::string numbered(std::string text, const PolicyShape& policy, Random& random) {
  if (random.oneIn(2)) return text;
  const std::size_t most = std::max<std::size_t>(1, policy.rules.front().count);
  const std::size_t which = random.oneIn(2) ? 0 : random.oneIn(2) ? most - 1 : random.below(most);
  // Braces of other kinds stay as they are.
  Texts parts = partsOf(text);
  for (std::string& part : parts) {
    if (part.compare(0, 2, "{i") == 0) part = expanded(part, which);
  }
  return glue(parts);
}

// A text that a rule matches, or nearly so.
std::string example(const PolicyShape& policy, Random& random) {
  std::string text;
  for (const std::string& part : partsOf(random.pick(policy.rules).text)) {
    if (part == "*" || part == "**") {
      text += pick(random, kFillers);
    } else if (part == "/**/") {
      text += random.oneIn(2) ? "/" : "/a/";
    } else if (part == "?") {
      text += "a";
    } else if (part[0] == '{' && part.find('?') != std::string::npos) {
      std::string filled = part;
      std::replace(filled.begin(), filled.end(), '?', 'a');
      text += filled;
    } else if (part[0] == '%' && part.size() > 1 && !policy.keywords.empty()) {
      text += random.pick(policy.keywords).text;
    } else {
      text += part;
    }
  }
  return numbered(text, policy, random);
}

std::string piece(const PolicyShape& policy, bool foreign, Random& random) {
  if (foreign) return pick(random, kForeignWords);
  if (random.oneIn(6)) return example(policy, random);
  return numbered(random.pick(literalsOf(policy)), policy, random);
}

std::string unit(const PolicyShape& policy, bool foreign, Random& random) {
  std::string text;
  for (std::size_t left = 1 + random.below(random.oneIn(2) ? 1 : 4); left > 0; --left) {
    if (random.oneIn(2)) text += "/";
    text += piece(policy, foreign, random);
    if (random.oneIn(8)) text += foreign ? "q" : pick(random, kFillers);
  }
  if (random.oneIn(6)) text += "/";
  return text;
}

// The end of a rule, the last byte another one now and then.
std::string tail(const PolicyShape& policy, bool foreign, Random& random) {
  if (random.oneIn(3)) return {};
  std::string text = random.oneIn(2) ? piece(policy, foreign, random)
                     : foreign       ? "/q"
                                     : expanded(example(policy, random), 0);
  if (text.size() > kLongestPath / 2) text.erase(0, text.size() - kLongestPath / 2);
  if (!text.empty() && (text.back() & 0x80) == 0 && text.back() != '}' && random.oneIn(2)) {
    text.back() = 'Y';
  }
  return text;
}

void insertBytes(TextShape& text, Random& random) {
  const std::string bytes =
      random.oneIn(2) ? pick(random, kBadBytes) : pick(random, kWideCharacters);
  constexpr std::size_t kPlaces[] = {0, 1, 500, 999, 1000};
  text.inserts.emplace_back(random.oneIn(4) ? random.below(1001) : random.pick(kPlaces), bytes);
}

}  // namespace

PolicyShape drawPolicy(std::size_t size, Random& random) {
  constexpr RuleKind kKinds[] = {RuleKind::Path,   RuleKind::Path, RuleKind::Path,
                                 RuleKind::Path,   RuleKind::Path, RuleKind::Regex,
                                 RuleKind::Folder, RuleKind::Tree, RuleKind::Process};
  PolicyShape policy;
  if (random.oneIn(4)) policy.keywords.push_back(drawKeyword("%K%", random));
  if (random.oneIn(10)) policy.keywords.push_back(drawKeyword("%L%", random));
  RuleKind kind = random.oneIn(40) ? RuleKind::Type : random.pick(kKinds);
  const std::size_t groups = random.oneIn(3) ? 1 + random.below(4) : 1;
  for (std::size_t left = groups; left > 0; --left) {
    policy.rules.push_back(
        drawRules(kind, groups == 1 ? size : 1 + random.below(size), policy.keywords, random));
    kind = sibling(kind, random);
  }
  limit(policy);
  return policy;
}

TextShape drawText(const PolicyShape& policy, Random& random) {
  const bool foreign = random.oneIn(6);
  TextShape text;
  text.length = random.pick(kLengths);
  if (random.oneIn(2)) text.head = "/";
  if (random.oneIn(3)) text.head = piece(policy, foreign, random);
  for (std::size_t left = random.oneIn(3) ? 1 + random.below(4) : 1; left > 0; --left) {
    text.units.push_back(unit(policy, foreign, random));
  }
  text.tail = tail(policy, foreign, random);
  if (policy.rules.front().kind == RuleKind::Type) text.tail = "." + text.tail;
  if (random.oneIn(4)) insertBytes(text, random);
  return text;
}

PolicyShape vary(PolicyShape policy, Random& random) {
  RuleShape& rule = policy.rules[random.below(policy.rules.size())];
  Texts parts = partsOf(rule.text);
  const auto at = [&] {
    return parts.begin() + static_cast<std::ptrdiff_t>(random.below(parts.size()));
  };
  const auto other = [&] {
    return rule.kind == RuleKind::Regex ? pick(random, kFragments)
                                        : globPart(policy.keywords, random);
  };
  switch (random.below(12)) {
    case 0:
      rule.count = std::min(rule.count * 10, kMostRules);
      break;
    case 1:
      rule.count = std::max<std::size_t>(rule.count / 10, 1);
      break;
    case 2:
    case 3:
      parts.insert(at(), other());
      break;
    case 4:
      if (parts.size() > 1) parts.erase(at());
      break;
    case 5:
    case 6:
      *at() = other();
      break;
    case 7: {
      // Again and again what is there.
      const auto first = at();
      const Texts some(first, std::next(first, std::min<std::ptrdiff_t>(
                                                   1 + static_cast<std::ptrdiff_t>(random.below(4)),
                                                   std::distance(first, parts.end()))));
      parts.insert(first, some.begin(), some.end());
      break;
    }
    case 8:
      rule.caseSensitive = !rule.caseSensitive;
      break;
    case 9:
      if (policy.rules.size() < 4) {
        RuleShape more = random.oneIn(2) ? rule
                                         : drawRules(sibling(rule.kind, random), rule.count,
                                                     policy.keywords, random);
        more.text.insert(more.text.size() / 2, random.oneIn(2) ? "" : "b");
        policy.rules.push_back(std::move(more));
        limit(policy);
        return policy;
      }
      break;
    case 10:
      if (policy.rules.size() > 1) {
        policy.rules.erase(policy.rules.begin());
        return policy;
      }
      break;
    default:
      if (policy.keywords.empty()) {
        policy.keywords.push_back(drawKeyword("%K%", random));
        if (rule.kind != RuleKind::Regex) parts.insert(at(), "%K%");
      } else {
        KeywordShape& keyword = policy.keywords[random.below(policy.keywords.size())];
        keyword = drawKeyword(keyword.name, random);
      }
  }
  rule.text = glue(parts);
  if (rule.kind != RuleKind::Type) fit(rule, random);
  limit(policy);
  return policy;
}

TextShape vary(TextShape text, const PolicyShape& policy, Random& random) {
  const bool foreign = random.oneIn(10);
  const auto which = [&] { return static_cast<std::ptrdiff_t>(random.below(text.units.size())); };
  if (text.units.empty()) text.units.push_back(unit(policy, foreign, random));
  switch (random.below(9)) {
    case 0:
      text.length = random.oneIn(2) ? kLongestPath : random.pick(kLengths);
      break;
    case 1:
      text.units[static_cast<std::size_t>(which())] = unit(policy, foreign, random);
      break;
    case 2:
      text.units.insert(text.units.begin() + which(), unit(policy, foreign, random));
      break;
    case 3:
      if (text.units.size() > 1) text.units.erase(text.units.begin() + which());
      break;
    case 4:
      text.tail = tail(policy, foreign, random);
      break;
    case 5:
      text.head = random.oneIn(3) ? "" : random.oneIn(2) ? "/" : piece(policy, foreign, random);
      break;
    case 6:
      insertBytes(text, random);
      break;
    case 7:
      text.inserts.clear();
      break;
    default: {
      // A part of a unit goes, or comes twice.
      std::string& changed = text.units[static_cast<std::size_t>(which())];
      Texts parts = partsOf(changed);
      if (parts.empty()) break;
      const auto at = parts.begin() + static_cast<std::ptrdiff_t>(random.below(parts.size()));
      if (random.oneIn(2)) {
        parts.insert(at, std::string(*at));
      } else if (parts.size() > 1) {
        parts.erase(at);
      }
      changed = glue(parts);
    }
  }
  return text;
}

std::vector<Shape> simpler(const Shape& shape) {
  std::vector<Shape> all;
  const auto add = [&](auto change) {
    Shape less = shape;
    change(less);
    all.push_back(std::move(less));
  };
  const auto without = [](auto& list, std::size_t at) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
  };
  const auto withoutPart = [&](std::string& text, std::size_t at) {
    Texts parts = partsOf(text);
    without(parts, at);
    text = glue(parts);
  };
  const std::vector<RuleShape>& rules = shape.policy.rules;
  const std::vector<std::string>& units = shape.text.units;
  if (!shape.text.head.empty()) add([](Shape& less) { less.text.head.clear(); });
  if (!shape.text.tail.empty()) add([](Shape& less) { less.text.tail.clear(); });
  for (std::size_t i = 0; i < shape.text.inserts.size(); ++i) {
    add([&](Shape& less) { without(less.text.inserts, i); });
  }
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (units.size() > 1) add([&](Shape& less) { without(less.text.units, i); });
    for (std::size_t part = 0; part < partsOf(units[i]).size(); ++part) {
      add([&](Shape& less) { withoutPart(less.text.units[i], part); });
    }
  }
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (rules.size() > 1) add([&](Shape& less) { without(less.policy.rules, i); });
    for (std::size_t part = 0; part < partsOf(rules[i].text).size(); ++part) {
      add([&](Shape& less) {
        withoutPart(less.policy.rules[i].text, part);
        limit(less.policy);
      });
    }
  }
  return all;
}

}  // namespace Bench
}  // namespace QVL
