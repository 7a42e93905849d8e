#include "benchmarks/PolicyShapes.h"

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

namespace QVL {
namespace Bench {
namespace {

using qvlpolicy::DataSet;
using qvlpolicy::Kind;

constexpr std::size_t kQuestions = 2000;

class Draw {
 public:
  explicit Draw(std::uint64_t seed) : m_engine(seed) {}

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(m_engine() % bound); }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  std::string word(std::size_t syllables) {
    static constexpr const char* kSyllables[] = {"ka", "ro",  "mi",  "tes",
                                                 "lu", "ban", "dor", "sil"};
    std::string made;
    while (syllables-- > 0) made += kSyllables[below(std::size(kSyllables))];
    return made;
  }

 private:
  std::mt19937_64 m_engine;
};

// A rule, and a text that it matches.
struct Made {
  std::string rule;
  std::string text;

  Made& both(const std::string& same) { return add(same, same); }
  Made& add(const std::string& pattern, const std::string& example) {
    rule += pattern;
    text += example;
    return *this;
  }
};

using Maker = std::function<Made(std::size_t index, Draw& draw)>;

// Adds rules to the last data set, no two alike, and questions about some of them.
void addRules(PolicyShape& shape, std::size_t count, const Maker& make, Draw& draw) {
  DataSet& dataSet = shape.policy.dataSets.back();
  std::set<std::string> known;
  const std::size_t every = count / kQuestions + 1;
  for (std::size_t i = 0; i < count; ++i) {
    Made made = make(i, draw);
    const bool ignoresCase = dataSet.kind == Kind::FileType || !dataSet.caseSensitive;
    std::string key = made.rule;
    if (ignoresCase) std::transform(key.begin(), key.end(), key.begin(), ::tolower);
    if (!known.insert(std::move(key)).second) continue;
    dataSet.rules.emplace_back();
    dataSet.rules.back().text = made.rule;
    if (i % every != 0) continue;
    if (dataSet.kind == Kind::Folder) made.text += "x.db";
    if (draw.oneIn(2)) made.text += "no";
    if (dataSet.kind == Kind::FileType) made.text = "/srv/" + draw.word(3) + "/x." + made.text;
    if (dataSet.kind == Kind::Process) {
      shape.questions.push_back({"/srv/x.db", std::move(made.text)});
    } else {
      shape.questions.push_back({std::move(made.text), "/usr/bin/less"});
    }
  }
}

DataSet& addDataSet(PolicyShape& shape, Kind kind) {
  qvlpolicy::Description& policy = shape.policy;
  policy.files = {policy.file = "policy.xml"};
  policy.dataSets.emplace_back();
  DataSet& dataSet = policy.dataSets.back();
  dataSet.number = static_cast<unsigned int>(policy.dataSets.size());
  dataSet.kind = kind;
  dataSet.caseSensitive = kind != Kind::FileType;
  policy.logic += (policy.logic.empty() ? "" : "|") + std::to_string(dataSet.number);
  return dataSet;
}

// The digits of a number, least first.
Made digits(std::size_t number, std::size_t count, const Made& zero, const Made& one) {
  Made made;
  for (std::size_t bit = 0; bit < count; ++bit) {
    const Made& digit = (number >> bit & 1) != 0 ? one : zero;
    made.add(digit.rule, digit.text);
  }
  return made;
}

std::string nested(std::size_t number, std::size_t folders) {
  std::string path;
  for (std::size_t level = 0; level < folders; ++level, number /= 10) {
    path += "d" + std::to_string(number % 10) + '/';
  }
  return path;
}

struct Named {
  std::string name;
  Kind kind;
  Maker make;
  std::function<void(DataSet&)> change = [](DataSet&) {};
};

const std::vector<Named>& allNamed() {
  const auto giveTable = [](DataSet& dataSet) {
    dataSet.keywords.push_back({"%HOME%", {"/Users/[^/]*", "/home/[^/]*", "/root"}, {}});
    dataSet.keywords.push_back({"%TOOL%", {"git", "hg", "svn", "[a-z]+-build"}, {}});
  };
  const auto giveManyKeywords = [](DataSet& dataSet) {
    for (std::size_t i = 0; i < 1000; ++i) {
      const std::string number = std::to_string(i);
      dataSet.keywords.push_back({"%K" + number + "%", {"a" + number, "b" + number}, {}});
    }
  };
  const auto giveManyValues = [](DataSet& dataSet) {
    dataSet.keywords.push_back({"%ANY%", {}, {}});
    for (std::size_t i = 0; i < 10000; ++i) {
      dataSet.keywords.back().values.push_back("value" + std::to_string(i));
    }
  };
  const auto ignoreCase = [](DataSet& dataSet) { dataSet.caseSensitive = false; };
  const auto useExpressions = [](DataSet& dataSet) { dataSet.wildcards = false; };
  static const std::vector<Named> kNamed = {
      {"a third each of trees, files and patterns", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         const std::string number = std::to_string(i);
         Made made;
         made.both("/srv/" + draw.word(2) + '/' + draw.word(3));
         if (i % 3 == 1) return made.both(number).add("/**", "/x/y.db");
         if (i % 3 == 2) return made.both('/' + draw.word(2) + number + ".db");
         return made.both('/' + number)
             .add("/**/", "/x/")
             .both(draw.word(2))
             .add("*", "y")
             .both('.' + draw.word(1));
       }},
      {"one name in many folders", Kind::FilePath,
       [](std::size_t i, Draw&) {
         return Made().both("/srv/" + std::to_string(i) + "/cache/").add("*", "x").both(".db");
       }},
      {"names anywhere", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made()
             .add("**", "/srv/x")
             .both('/' + draw.word(2) + std::to_string(i))
             .add("/**", "/y/z.db");
       }},
      {"extensions anywhere", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made().add("**/*", "/srv/x/y").both('.' + draw.word(1) + std::to_string(i));
       }},
      {"stars around two letters", Kind::FilePath,
       [](std::size_t i, Draw&) {
         Made made = digits(i, 17, {"a*", "ax"}, {"b*", "bx"});
         return Made().both("/").add(made.rule, made.text);
       }},
      {"stars for folders", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         Made made = digits(i, 12, {"*/", "x/"}, {"a/", "a/"});
         return Made()
             .both("/")
             .add(made.rule, made.text)
             .both(std::to_string(i >> 12))
             .add("*", "y")
             .both(draw.word(1));
       }},
      {"double stars", Kind::FilePath,
       [](std::size_t i, Draw&) {
         Made made = digits(i, 17, {"**a", "x/a"}, {"**b", "x/b"});
         return Made().both("/").add(made.rule, made.text);
       }},
      {"question marks", Kind::FilePath,
       [](std::size_t i, Draw&) {
         Made made = digits(i, 17, {"?", "a"}, {"a", "a"});
         return Made().both("/srv/").add(made.rule, made.text);
       }},
      {"one name in many spellings", Kind::FilePath,
       [](std::size_t i, Draw&) { return Made().both('/' + nested(i, 6) + "Name.db"); },
       ignoreCase},
      {"no letter apart", Kind::FilePath,
       [](std::size_t i, Draw&) {
         return Made()
             .both('/' + std::string(1 + i % 2000, 'a'))
             .add("*", "x")
             .both(std::string(i / 2000, 'b'));
       }},
      {"keywords", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made()
             .add("%HOME%", "/home/ann")
             .both('/' + draw.word(2) + std::to_string(i) + '/')
             .add("%TOOL%", "git")
             .add("/**", "/x.db");
       },
       giveTable},
      {"keywords apart by stars", Kind::FilePath,
       [](std::size_t i, Draw&) {
         Made made = digits(i, 17, {"%TOOL%*", "gitx"}, {"a*", "ax"});
         return Made().both("/").add(made.rule, made.text);
       },
       giveTable},
      {"a thousand keywords", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         const std::string number = std::to_string(i % 1000);
         return Made()
             .both("/srv/" + draw.word(2) + std::to_string(i) + '/')
             .add("%K" + number + "%", "a" + number)
             .add("/**", "/x.db");
       },
       giveManyKeywords},
      {"a keyword of ten thousand values", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made()
             .both("/srv/" + draw.word(2) + std::to_string(i) + '/')
             .add("%ANY%", "value" + std::to_string(i % 10000))
             .add("/**", "/x.db");
       },
       giveManyValues},
      {"paths of a thousand bytes", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         Made made;
         while (made.rule.size() < 1000) made.both('/' + draw.word(4));
         return made.both(std::to_string(i)).add("/*", "/x").both(".db");
       }},
      {"expressions", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made()
             .both('/' + draw.word(2) + std::to_string(i))
             .add("/v[0-9]+\\.(log|tmp)", "/v12.log");
       },
       useExpressions},
      {"expressions for the engine", Kind::FilePath,
       [](std::size_t i, Draw& draw) {
         return Made().both('/' + draw.word(2) + std::to_string(i)).add("/(a|b)\\1", "/aa");
       },
       useExpressions},
      {"folders", Kind::Folder,
       [](std::size_t i, Draw& draw) {
         return Made().both("/srv/" + draw.word(2) + '/' + draw.word(3) + std::to_string(i) + '/');
       }},
      {"nested folders", Kind::Folder,
       [](std::size_t i, Draw&) { return Made().both("/srv/" + nested(i / 6, 1 + i % 6)); }},
      {"folders in each other", Kind::Folder,
       [](std::size_t i, Draw&) {
         std::string path = "/" + std::to_string(i / 500) + '/';
         for (std::size_t level = 0; level < i % 500; ++level) path += "a/";
         return Made().both(path);
       }},
      {"patterns for one path", Kind::FilePath,
       [](std::size_t i, Draw&) {
         Made made = digits(i, 17, {"*", "a"}, {"a*", "ab"});
         made.text = std::string(60, 'a');
         return Made().both("/").add(made.rule, made.text);
       }},
      {"folders with stars", Kind::Folder,
       [](std::size_t i, Draw& draw) {
         return Made()
             .both("/Users/")
             .add("*", "ann")
             .both('/' + draw.word(2) + '/')
             .add("*", "x")
             .both('/' + std::to_string(i) + '/');
       }},
      {"processes", Kind::Process,
       [](std::size_t i, Draw& draw) {
         Made made;
         if (i % 4 == 0) made.add("**", "/usr/x");
         if (i % 4 == 1) made.both("/opt/").add("*", "y");
         if (i % 4 >= 2) made.both("/usr/lib/" + draw.word(2));
         return made.both('/' + draw.word(2) + std::to_string(i));
       }},
      {"file types", Kind::FileType,
       [](std::size_t i, Draw&) { return Made().both("x" + std::to_string(i)); }},
      {"file types of one letter", Kind::FileType,
       [](std::size_t i, Draw&) {
         Made made;
         for (std::size_t rest = i; made.rule.size() < 11; rest /= 3) {
           const char* const kDigits[] = {"a", "b", "?"};
           made.add(kDigits[rest % 3], rest % 3 == 1 ? "b" : "a");
         }
         return made;
       }},
  };
  return kNamed;
}

// What the rules of a drawn data set have in common: pieces, of which each is the same in all rules
// or drawn for each.
class Template {
 public:
  Template(const DataSet& dataSet, Draw& draw) : m_kind(dataSet.kind) {
    const std::size_t length = m_kind == Kind::FileType ? 1 + draw.below(3) : 2 + draw.below(7);
    for (std::size_t i = 0; i < length; ++i) {
      Piece piece;
      piece.sort = draw.below(10);
      piece.words = std::size_t{1} << draw.below(18);
      piece.syllables = 1 + draw.below(3);
      piece.oneIn = 1 + draw.below(4);
      piece.opensFolder = draw.oneIn(2);
      m_pieces.push_back(piece);
    }
    m_hasKeywords = !dataSet.keywords.empty();
    m_isExpression = !dataSet.wildcards;
    m_hasNumber = draw.oneIn(2);
  }

  Made make(std::size_t index, Draw& draw) const {
    Made made;
    if (m_kind != Kind::FileType) made.both("/");
    for (const Piece& piece : m_pieces) {
      if (piece.opensFolder && m_kind != Kind::FileType && made.rule.back() != '/') made.both("/");
      add(piece, made, draw);
    }
    if (m_hasNumber || made.rule.size() < 2) made.both(std::to_string(index));
    if (m_kind == Kind::FileType && made.rule.size() > 12) {
      return Made().both(std::to_string(index));
    }
    if (m_kind == Kind::Folder) return made.rule.back() == '/' ? made : made.both("/");
    if (m_kind != Kind::FileType && made.rule.back() == '/') made.both("x");
    return made;
  }

 private:
  struct Piece {
    std::size_t sort;
    std::size_t words;
    std::size_t syllables;
    std::size_t oneIn;
    bool opensFolder;
  };

  void add(const Piece& piece, Made& made, Draw& draw) const {
    const bool isWildcard = piece.sort < 6 && draw.oneIn(piece.oneIn);
    if (!isWildcard) {
      Draw word(draw.below(piece.words));
      made.both(word.word(piece.syllables));
      return;
    }
    if (m_kind == Kind::FileType) {
      made.add("?", "q");
      return;
    }
    switch (piece.sort) {
      case 0:
        made.add(m_isExpression ? "[^/]+" : "*", "x");
        break;
      case 1:
        made.add(m_isExpression ? ".*" : "**", "x/y");
        break;
      case 2:
        made.add(m_isExpression ? "/(.*/)?" : "/**/", "/x/");
        break;
      case 3:
        made.add(m_isExpression ? "[a-f]" : "?", "c");
        break;
      case 4:
        if (m_hasKeywords) made.add("%WORD%", "beta");
        break;
      default:
        made.add(m_isExpression ? "(a|bc)" : "*", "a");
    }
  }

  Kind m_kind;
  std::vector<Piece> m_pieces;
  bool m_hasKeywords = false;
  bool m_isExpression = false;
  bool m_hasNumber = false;
};

}  // namespace

std::size_t PolicyShape::rules() const {
  std::size_t count = 0;
  for (const DataSet& dataSet : policy.dataSets) count += dataSet.rules.size();
  return count;
}

const std::vector<std::string>& policyShapeNames() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    for (const Named& named : allNamed()) names.push_back(named.name);
    return names;
  }();
  return kNames;
}

PolicyShape policyShape(const std::string& name, std::size_t count) {
  for (const Named& named : allNamed()) {
    if (named.name != name) continue;
    PolicyShape shape;
    shape.name = name;
    named.change(addDataSet(shape, named.kind));
    Draw draw(20261122);
    addRules(shape, count, named.make, draw);
    return shape;
  }
  throw std::invalid_argument("There is no shape of policies called " + name + '.');
}

PolicyShape drawnPolicyShape(std::uint64_t seed, std::size_t count) {
  Draw draw(seed);
  PolicyShape shape;
  shape.name = "drawn " + std::to_string(seed);
  const std::size_t dataSets = 1 + draw.below(4);
  for (std::size_t i = 0; i < dataSets; ++i) {
    constexpr Kind kKinds[] = {Kind::FilePath, Kind::FilePath, Kind::FilePath, Kind::Folder,
                               Kind::Folder,   Kind::Process,  Kind::FileType};
    DataSet& dataSet = addDataSet(shape, kKinds[draw.below(std::size(kKinds))]);
    if (draw.oneIn(3)) dataSet.caseSensitive = !dataSet.caseSensitive;
    if (dataSet.kind != Kind::FileType && draw.oneIn(3)) {
      dataSet.keywords.push_back({"%WORD%", {"alpha", "beta", "gamma[0-9]*"}, {}});
    }
    dataSet.wildcards = dataSet.kind == Kind::FileType || !draw.oneIn(5);
    std::vector<Template> templates;
    for (std::size_t k = 1 + draw.below(3); k > 0; --k) templates.emplace_back(dataSet, draw);
    addRules(
        shape, count / dataSets,
        [&](std::size_t index, Draw& random) {
          return templates[index % templates.size()].make(index, random);
        },
        draw);
  }
  return shape;
}

}  // namespace Bench
}  // namespace QVL
