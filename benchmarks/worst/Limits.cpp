#include "benchmarks/worst/Limits.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

namespace QVL {
namespace Bench {
namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kOrdinaryPath = 120;
constexpr double kWrong = 1e6;

struct Counts {
  std::size_t wildcard = 0;
  std::size_t linear = 0;
  std::size_t other = 0;

  std::size_t all() const { return wildcard + linear + other; }
};

Counts countsOf(const PolicyShape& policy) {
  Counts counts;
  const auto isExpression = [](const std::string& text) {
    return text.find_first_of("()[]{}+|^$\\") != std::string::npos;
  };
  const bool valuesAreExpressions =
      std::any_of(policy.keywords.begin(), policy.keywords.end(), [&](const KeywordShape& keyword) {
        std::string value = expanded(keyword.text, 0);
        // A run within a component is what `*` is.
        const std::size_t run = value.find("[^/]*");
        if (run != std::string::npos) value.erase(run, 5);
        return isExpression(value);
      });
  for (const RuleShape& rule : policy.rules) {
    const std::string text = expanded(rule.text, 0);
    if (rule.kind != RuleKind::Regex && !isExpression(text) && !valuesAreExpressions) {
      counts.wildcard += rule.count;
    } else {
      (isLinear(text) ? counts.linear : counts.other) += rule.count;
    }
  }
  return counts;
}

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c);
  });
  return text;
}

// Does the text have no piece of a literal of any rule, nor a value of a keyword?
bool isForeign(const Shape& shape, const std::string& text) {
  const std::string folded = lowerCase(text);
  const auto has = [&](const std::string& piece) {
    return folded.find(lowerCase(piece)) != std::string::npos;
  };
  for (const RuleShape& rule : shape.policy.rules) {
    if (rule.kind == RuleKind::Regex || rule.kind == RuleKind::Type) return false;
    for (std::size_t i = 0; i < rule.count; ++i) {
      for (const std::string& part : partsOf(expanded(rule.text, i))) {
        if (part != "/" && isLiteral(part) && has(part)) return false;
      }
      if (rule.text.find("{i") == std::string::npos) break;
    }
  }
  for (const KeywordShape& keyword : shape.policy.keywords) {
    for (const std::string& value : valuesOf(keyword)) {
      for (const std::string& part : partsOf(value)) {
        if (part != "/" && isLiteral(part) && has(part)) return false;
      }
    }
  }
  return true;
}

std::size_t valuesOf(const PolicyShape& policy) {
  std::size_t sum = 0;
  for (const KeywordShape& keyword : policy.keywords) sum += keyword.count;
  return sum;
}

std::string rounded(std::size_t count) {
  for (const std::size_t bound : {1u, 10u, 100u, 1000u}) {
    if (count <= bound) return bound == 1 ? "1 rule" : "up to " + std::to_string(bound) + " rules";
  }
  return "more rules";
}

double wildcardLimit(std::size_t count, bool foreign) {
  const double rules = static_cast<double>(count);
  const double thousand = foreign ? kThousandRulesOnForeignText : kThousandWildcardRules;
  return std::min(kOneWildcardRule * rules, thousand * std::max(1.0, rules / 1000));
}

std::string told(const Answer& answer) {
  constexpr std::array<const char*, 3> kKinds = {"no", "yes", "exception"};
  constexpr std::size_t kWords = 40;
  if (answer.message.empty()) return kKinds[answer.kind];
  return kKinds[answer.kind] + std::string(" (") + answer.message.substr(0, kWords) +
         (answer.message.size() > kWords ? "...)" : ")");
}

}  // namespace

bool isLinear(const std::string& expression) {
  bool inSet = false;
  for (std::size_t i = 0; i < expression.size(); ++i) {
    const char c = expression[i];
    const char next = i + 1 < expression.size() ? expression[i + 1] : '\0';
    const char then = i + 2 < expression.size() ? expression[i + 2] : '\0';
    if (c == '\\') {
      if (!inSet && ((next >= '1' && next <= '9') || next == 'g' || next == 'k')) return false;
      ++i;
    } else if (inSet) {
      inSet = c != ']';
    } else if (c == '[') {
      inSet = true;
      if (next == '^') ++i;
      if (i + 1 < expression.size() && expression[i + 1] == ']') ++i;
      // A class within the set ends with a bracket of its own.
      const std::size_t end = expression.find(":]", i);
      if (expression.compare(i + 1, 2, "[:") == 0 && end != std::string::npos) i = end + 1;
    } else if (c == '(' && next == '?') {
      if (then != ':' && then != 'i') return false;
    } else if ((c == '*' || c == '+' || c == '?' || c == '}') && next == '+') {
      return false;
    }
  }
  return true;
}

std::string inWords(double seconds) {
  std::array<char, 32> text{};
  if (seconds < 1e-6) {
    std::snprintf(text.data(), text.size(), "%.0f ns", seconds * 1e9);
  } else if (seconds < 1e-3) {
    std::snprintf(text.data(), text.size(), "%.3g us", seconds * 1e6);
  } else if (seconds < 1) {
    std::snprintf(text.data(), text.size(), "%.3g ms", seconds * 1e3);
  } else {
    std::snprintf(text.data(), text.size(), "%.3g s", seconds);
  }
  return text.data();
}

std::string inWords(const Timing& timing) {
  return timing.seconds ? inWords(*timing.seconds) + ", " + told(timing.answer) : "-";
}

std::vector<Charge> chargesOf(const Shape& shape, const Measurement& measured) {
  std::vector<Charge> charges;
  if (measured.failure.compare(0, 7, "refused") == 0) return charges;
  if (measured.failedInQuery) {
    charges.push_back({"queries that do not end", kWrong, measured.failure});
    return charges;
  }
  if (!measured.index.seconds) return charges;
  const std::string text = shape.text.expanded();
  const Counts counts = countsOf(shape.policy);
  const double index = *measured.index.seconds;
  const auto charge = [&](const std::string& category, double limit) {
    charges.push_back({category, index / limit, inWords(index) + ", allowed " + inWords(limit)});
  };
  const double expressions = kLinearExpression * static_cast<double>(counts.linear) +
                             kOtherExpression * static_cast<double>(counts.other);
  const bool utf8 = isUtf8(text);
  if (!utf8) {
    const bool name = text.size() <= kLongestName;
    charge(std::string("not UTF-8, ") + (name ? "a name, " : "long, ") +
               (expressions > 0 ? "expressions, " : "") + rounded(counts.all()),
           (name ? kNameNotUtf8 : kPathNotUtf8) + expressions);
  } else if (expressions > 0) {
    charge(std::string(counts.other > 0 ? "expressions that are not linear, " : "expressions, ") +
               rounded(counts.all()),
           expressions + (counts.wildcard > 0 ? wildcardLimit(counts.wildcard, false) : 0));
  } else {
    const bool foreign = isForeign(shape, text);
    if (foreign && !shape.policy.keywords.empty() && text.size() <= kOrdinaryPath &&
        counts.all() <= kRulesWithKeywords && valuesOf(shape.policy) <= kValues) {
      charge("keywords, ordinary path", kKeywordsOnOrdinaryPath);
    }
    charge(std::string("wildcards, ") + (foreign ? "foreign text, " : "") + rounded(counts.all()),
           wildcardLimit(counts.wildcard, foreign));
  }
  if (utf8 && measured.index.answer.kind == Answer::Threw && counts.other == 0) {
    charges.push_back({"texts that are not answered", kWrong, told(measured.index.answer)});
  }
  if (measured.walk.seconds) {
    const double limit = kOverWalk * *measured.walk.seconds + kOverWalkMore;
    charge("beside the rules one by one, " + rounded(counts.all()), limit);
    if (!(measured.walk.answer == measured.index.answer)) {
      charges.push_back({"wrong answers", kWrong,
                         "index: " + told(measured.index.answer) +
                             ", rules one by one: " + told(measured.walk.answer)});
    }
  }
  if (measured.re2.seconds && measured.index.answer.kind != Answer::Threw &&
      !(measured.re2.answer == measured.index.answer)) {
    charges.push_back(
        {"wrong answers", kWrong,
         "index: " + told(measured.index.answer) + ", RE2: " + told(measured.re2.answer)});
  }
  return charges;
}

}  // namespace Bench
}  // namespace QVL
