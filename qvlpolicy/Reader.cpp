#include "qvlpolicy/Reader.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/Logic.h"
#include "qvlpolicy/Syntax.h"
#include "qvlpolicy/TagScanner.h"
#include "qvlpolicy/Text.h"
#include "qvlpolicy/Values.h"
#include "qvlpolicy/XmlText.h"

namespace qvlpolicy {
namespace {

constexpr std::size_t kDeepestInclude = 32;
constexpr std::size_t kMostFiles = 4096;
// Of a file. In UTF-8 it may take three times as many bytes, and the parser counts them by an int.
constexpr std::size_t kMostBytes = std::size_t{512} << 20;
constexpr std::size_t kDeepestElement = 256;

std::string joined(const std::vector<std::string>& names) {
  if (names.empty()) return "none";
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 < names.size() ? ", " : " or ";
    text += names[i];
  }
  return text;
}

// The content of a file, a pipe or a device; nothing, with the reason, when it cannot be read. With
// `onlyFiles` pipes and devices cannot: they may have no end, or none that comes soon. Of what is
// too large no more is read than shows that it is.
std::optional<std::string> contentOf(const std::string& file, bool onlyFiles, std::string& reason) {
  struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  const auto failed = [&](int error) {
    reason = std::generic_category().message(error);
    return std::nullopt;
  };
  // The system would read such a name up to there.
  if (file.find('\0') != std::string::npos) return failed(ENOENT);
  // Opening a pipe would wait for somebody who writes to it.
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | (onlyFiles ? O_NONBLOCK : 0));
  if (descriptor < 0) return failed(errno);
  const std::unique_ptr<std::FILE, Closer> stream(::fdopen(descriptor, "rb"));
  if (!stream) {
    const int error = errno;
    ::close(descriptor);
    return failed(error);
  }
  struct stat state {};
  if (::fstat(descriptor, &state) != 0) return failed(errno);
  if (S_ISDIR(state.st_mode)) return failed(EISDIR);
  if (onlyFiles && !S_ISREG(state.st_mode)) {
    reason = "it is no regular file";
    return std::nullopt;
  }
  std::string content;
  char buffer[65536];
  for (;;) {
    const std::size_t count = std::fread(buffer, 1, sizeof buffer, stream.get());
    content.append(buffer, count);
    if (count < sizeof buffer || content.size() > kMostBytes) break;
  }
  if (std::ferror(stream.get()) != 0) return failed(errno);
  return content;
}

// The one path of a file that goes by several; its name as it is when it has none.
std::string onePathOf(const std::string& file) {
  const std::unique_ptr<char, decltype(&std::free)> path(::realpath(file.c_str(), nullptr),
                                                         &std::free);
  return path ? path.get() : file;
}

// Names in an attribute, separated by blanks.
std::vector<std::string> namesIn(std::string_view text) {
  std::vector<std::string> names;
  for (std::size_t at = 0;
       (at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(" \t\r\n", at), text.size());
    names.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return names;
}

// Where keywords are defined, by their names.
using KeywordPlaces = std::unordered_map<std::string, Place>;

// What the files of one policy share while they are read.
struct Composition {
  struct Table {
    Place place;
    std::vector<Keyword> keywords;
  };
  // A data set names keyword tables, which may come later.
  struct TableUse {
    std::size_t dataSet;
    std::string table;
    Place place;
  };

  const LoadOptions& options;
  Reading reading;
  std::map<std::string, Table> tables;
  std::vector<TableUse> uses;
  std::map<unsigned int, std::size_t> numbers;  // of data sets, by index
  std::vector<std::string> open;                // the files that are being read, outermost first
  bool hasLogic = false;
  bool isPart = false;  // one file by itself

  Description& description() { return reading.description; }

  Problem& fail(const Place& place, std::string element, std::string what,
                std::string expected = {}, std::string came = {}) {
    reading.errors.push_back(problemAt(description(), place, std::move(element), std::move(what),
                                       std::move(expected), std::move(came)));
    reading.errors.back().name = "schema";
    return reading.errors.back();
  }

  std::string inWords(const Place& place) {
    return fmt::format("{}:{}:{}", escaped(description().files[place.file]), place.line,
                       place.column);
  }
};

struct ParserFree {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

// Reads one file: the parser tells elements and texts in order, the scanner where they stand.
class FileReader {
 public:
  FileReader(Composition& composition, std::uint32_t file, std::string_view text)
      : m_composition(composition),
        m_file(file),
        m_isTooLarge(text.size() > kMostBytes),
        m_decoded(decodeXml(m_isTooLarge ? std::string_view() : text)),
        m_scanner(m_decoded.text) {}

  void read() {
    if (m_isTooLarge) {
      m_composition
          .fail({m_file, 0, 0}, {}, "", fmt::format("at most {} bytes", grouped(kMostBytes)),
                "more")
          .name = "unreadable";
      return;
    }
    m_parser.reset(xmlNewParserCtxt());
    if (!m_parser) throw std::bad_alloc();
    xmlSAXHandler& handler = *m_parser->sax;
    handler = {};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = &FileReader::onStart;
    handler.endElementNs = &FileReader::onEnd;
    handler.characters = &FileReader::onText;
    handler.ignorableWhitespace = &FileReader::onText;
    handler.cdataBlock = &FileReader::onText;
    handler.internalSubset = &FileReader::onDocumentType;
    handler.serror = reinterpret_cast<xmlStructuredErrorFunc>(&FileReader::onError);
    m_parser->userData = this;
    // What was decoded is UTF-8, whatever its declaration says. The parser's limits are for texts
    // that grow while they are read, by entities; here a document type declaration is refused.
    xmlCtxtReadMemory(m_parser.get(), m_decoded.text.data(),
                      static_cast<int>(m_decoded.text.size()), nullptr, "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_IGNORE_ENC | XML_PARSE_HUGE);
    if (m_parser->myDoc != nullptr) xmlFreeDoc(m_parser->myDoc);
    m_parser->myDoc = nullptr;
    if (m_thrown) std::rethrow_exception(m_thrown);
    dropOpenRule();
    if (!m_decoded.error.empty()) {
      const Spot spot = TagScanner::spotOf(m_decoded.text, m_decoded.text.size());
      m_composition
          .fail({m_file, spot.line, spot.column}, {}, m_decoded.error,
                "a text in the encoding that it says to be in")
          .name = "encoding";
    } else if (m_xmlError) {
      m_composition.fail(m_xmlError->first, {}, "it is not well-formed XML: " + m_xmlError->second)
          .name = "not-xml";
    }
  }

 private:
  // An element that has begun and not ended.
  struct Open {
    const ElementSyntax* syntax;  // null for one that does not belong there, or in such a one
    Place place;
    std::string text;
  };

  // The attributes of the current tag, as they stand.
  struct Attributes {
    std::vector<std::pair<std::string, std::string>> values;

    const std::string* find(std::string_view name) const {
      for (const auto& [key, value] : values) {
        if (key == name) return &value;
      }
      return nullptr;
    }
    std::string get(std::string_view name) const {
      const std::string* const value = find(name);
      return value == nullptr ? std::string() : *value;
    }
  };

  // ---- What the parser calls; nothing may be thrown through it ----

  template <typename Action>
  static void guarded(void* self, Action action) {
    auto& reader = *static_cast<FileReader*>(self);
    if (reader.m_thrown) return;
    try {
      action(reader);
    } catch (...) {
      reader.m_thrown = std::current_exception();
      xmlStopParser(reader.m_parser.get());
    }
  }

  static void onStart(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                      int, const xmlChar**, int count, int, const xmlChar** attributes) {
    guarded(self, [&](FileReader& reader) {
      const auto text = [](const xmlChar* chars) {
        return chars == nullptr ? std::string() : reinterpret_cast<const char*>(chars);
      };
      const auto qualified = [&](const xmlChar* before, const xmlChar* local) {
        return before == nullptr ? text(local) : text(before) + ':' + text(local);
      };
      Attributes found;
      for (int i = 0; i < count; ++i) {
        const xmlChar** const one = attributes + std::ptrdiff_t{5} * i;
        found.values.emplace_back(qualified(one[1], one[0]),
                                  std::string(reinterpret_cast<const char*>(one[3]),
                                              reinterpret_cast<const char*>(one[4])));
      }
      reader.start(qualified(prefix, name), uri != nullptr, std::move(found));
    });
  }

  static void onEnd(void* self, const xmlChar*, const xmlChar*, const xmlChar*) {
    guarded(self, [](FileReader& reader) { reader.end(); });
  }

  static void onText(void* self, const xmlChar* text, int length) {
    guarded(self, [&](FileReader& reader) {
      reader.text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
    });
  }

  static void onDocumentType(void* self, const xmlChar*, const xmlChar*, const xmlChar*) {
    guarded(self, [](FileReader& reader) {
      const Spot spot = TagScanner::declaration(reader.m_decoded.text);
      reader.m_composition.fail({reader.m_file, spot.line, spot.column}, {},
                                "a policy has no document type declaration", {}, "<!DOCTYPE");
      reader.stop();
    });
  }

  // Older and newer releases of libxml2 differ in the const.
  static void onError(void* self, const xmlError* error) {
    guarded(self, [&](FileReader& reader) {
      if (error->code == XML_ERR_NO_MEMORY) throw std::bad_alloc();
      if (error->level < XML_ERR_ERROR || reader.m_xmlError || reader.m_isStopped) return;
      // A namespace without its declaration is told as the unknown name that it makes.
      if (error->domain == XML_FROM_NAMESPACE) return;
      reader.m_xmlError = {{reader.m_file, static_cast<std::uint32_t>(std::max(error->line, 0)),
                            static_cast<std::uint32_t>(std::max(error->int2, 0))},
                           escaped(trimmed(error->message == nullptr ? "" : error->message))};
    });
  }

  // A rule that has not ended has no text yet, which is not worth a second error.
  void dropOpenRule() {
    for (const Open& open : m_open) {
      if (open.syntax == nullptr || open.syntax->type != ElementType::Rule) continue;
      m_composition.description().dataSets.back().rules.back().isDropped = true;
    }
  }

  // What follows is not read.
  void stop() {
    m_isStopped = true;
    xmlStopParser(m_parser.get());
  }

  // ---- Elements ----

  Place placeOf(const Spot& spot) const { return {m_file, spot.line, spot.column}; }

  // The element in words, by what encloses the place.
  std::string element() const {
    std::string words;
    if (m_isInDataSet) {
      words = m_dataSetWords;
    } else if (m_isInTable) {
      words = "keywords " + inQuotes(m_table);
    }
    const auto add = [&](const char* name, std::size_t number) {
      words += fmt::format("{}{} {}", words.empty() ? "" : ", ", name, number);
    };
    for (const Open& open : m_open) {
      if (open.syntax == nullptr) break;
      if (open.syntax->type == ElementType::Logic) words = "logic";
      if (open.syntax->type == ElementType::Include) words = "include";
      if (open.syntax->type == ElementType::Allow) words += words.empty() ? "allow" : ", allow";
      if (open.syntax->type == ElementType::Keyword) add("keyword", m_keywordCount);
      if (open.syntax->type == ElementType::Value) add("value", m_valueCount);
      if (open.syntax->type == ElementType::Rule) add("rule", m_ruleCount);
    }
    return words;
  }

  Problem& fail(const Spot& spot, std::string what, std::string expected = {},
                std::string came = {}) {
    return m_composition.fail(placeOf(spot), element(), std::move(what), std::move(expected),
                              std::move(came));
  }

  // "<rule> in a data set of kind folder", for messages.
  std::string titleOf(const ElementSyntax& syntax) const {
    std::string title = fmt::format("<{}>", syntax.name);
    if (!m_isInDataSet || !m_kind) return title;
    if (syntax.type == ElementType::DataSet) {
      title += fmt::format(" of kind {}", kindName(*m_kind));
    } else if (syntax.type == ElementType::Rule) {
      title += fmt::format(" in a data set of kind {}", kindName(*m_kind));
    }
    return title;
  }

  bool isForKind(const KindSet& kinds) const {
    return !m_isInDataSet || !m_kind || kinds.has(*m_kind);
  }

  void start(std::string name, bool hasNamespace, Attributes attributes) {
    const Spot spot = m_scanner.next();
    if (m_open.size() >= kDeepestElement) {
      fail(spot, "", fmt::format("at most {} elements within each other", kDeepestElement),
           fmt::format("<{}>", escaped(name)));
      stop();
      return;
    }
    const ElementSyntax* const syntax = place(name, hasNamespace, spot);
    m_open.push_back({syntax, placeOf(spot), {}});
    if (syntax == nullptr) return;
    const std::size_t errorsBefore = m_composition.reading.errors.size();
    enter(*syntax, attributes);
    checkAttributes(*syntax, attributes);
    m_isSound = m_composition.reading.errors.size() == errorsBefore;
    open(*syntax, attributes, placeOf(spot));
  }

  // The syntax of an element that begins; null, with an error, when it does not belong there.
  const ElementSyntax* place(const std::string& name, bool hasNamespace, const Spot& spot) {
    if (m_open.empty()) {
      const ElementSyntax& root = syntaxOf(ElementType::Policy);
      if (name == root.name && !hasNamespace) return &root;
      fail(spot, "", "a policy, whose root element is <exclusion-policy> without a namespace",
           fmt::format("<{}>{}", escaped(name), hasNamespace ? " in a namespace" : ""));
      return nullptr;
    }
    const ElementSyntax* const parent = m_open.back().syntax;
    if (parent == nullptr) return nullptr;
    std::vector<std::string> names;
    for (const ElementType type : parent->children) {
      const ElementSyntax& child = syntaxOf(type);
      if (!isForKind(child.kinds)) continue;
      if (name == child.name && !hasNamespace) return &child;
      names.push_back(fmt::format("<{}>", child.name));
    }
    // Without what it was meant to hold, a rule is not worth a second error.
    if (parent->type == ElementType::Rule) {
      m_composition.description().dataSets.back().rules.back().isDropped = true;
    }
    fail(spot, fmt::format("unknown element <{}>", escaped(name)),
         fmt::format("in {}: {}", titleOf(*parent), joined(names)));
    return nullptr;
  }

  // What has to be known of an element before its attributes are judged.
  void enter(const ElementSyntax& syntax, const Attributes& attributes) {
    switch (syntax.type) {
      case ElementType::DataSet: {
        m_isInDataSet = true;
        ++m_dataSetCount;
        m_ruleCount = m_keywordCount = 0;
        m_keywordPlaces.clear();
        const std::string number = attributes.get("number");
        m_dataSetWords = isValue(ValueType::Number, number)
                             ? fmt::format("data set {}", *parseNumber(number))
                             : fmt::format("the data set at place {}", m_dataSetCount);
        m_kind.reset();
        for (const Kind kind : kAllKinds) {
          if (attributes.get("kind") == kindName(kind)) m_kind = kind;
        }
        break;
      }
      case ElementType::KeywordTable:
        m_isInTable = true;
        m_table = attributes.get("name");
        m_keywordCount = 0;
        m_keywordPlaces.clear();
        break;
      case ElementType::Keyword:
        ++m_keywordCount;
        m_valueCount = 0;
        break;
      case ElementType::Value:
        ++m_valueCount;
        break;
      case ElementType::Rule:
        ++m_ruleCount;
        break;
      default:
        break;
    }
  }

  void checkAttributes(const ElementSyntax& syntax, const Attributes& attributes) {
    for (const auto& [name, value] : attributes.values) {
      const auto known =
          std::find_if(syntax.attributes.begin(), syntax.attributes.end(),
                       [&, key = std::string_view(name)](const AttributeSyntax& one) {
                         return key == one.name && isForKind(one.kinds);
                       });
      if (known == syntax.attributes.end()) {
        fail(m_scanner.attribute(name), fmt::format("unknown attribute {}", escaped(name)),
             fmt::format("in {}: {}", titleOf(syntax), attributeNames(syntax)));
      } else if (value.empty()) {
        fail(m_scanner.attribute(name), fmt::format("the attribute {} is empty", name),
             expectedValue(known->type));
      } else if (!isValue(known->type, value)) {
        fail(m_scanner.attribute(name), name + ":", expectedValue(known->type), inQuotes(value));
      }
    }
    for (const AttributeSyntax& attribute : syntax.attributes) {
      if (!attribute.isRequired() || !isForKind(attribute.kinds)) continue;
      // Without a kind, nobody knows what the rules need.
      if (syntax.type == ElementType::Rule && !m_kind) continue;
      if (attributes.find(attribute.name) != nullptr) continue;
      fail({m_open.back().place.line, m_open.back().place.column},
           fmt::format("{} needs the attribute {}", titleOf(syntax), attribute.name));
    }
  }

  std::string attributeNames(const ElementSyntax& syntax) const {
    std::vector<std::string> names;
    for (const AttributeSyntax& attribute : syntax.attributes) {
      if (isForKind(attribute.kinds)) names.emplace_back(attribute.name);
    }
    return joined(names);
  }

  // Takes up an element whose attributes have been judged.
  void open(const ElementSyntax& syntax, const Attributes& attributes, const Place& place) {
    switch (syntax.type) {
      case ElementType::Policy:
        if (m_file == 0) {
          m_composition.description().dropsExpired = attributes.get("expired") == "drop";
        }
        break;
      case ElementType::Include:
        if (m_isSound && !m_composition.isPart) include(attributes.get("file"));
        break;
      case ElementType::KeywordTable:
        openTable(place);
        break;
      case ElementType::DataSet:
        openDataSet(attributes, place);
        break;
      case ElementType::Keyword:
        keywords().push_back({attributes.get("name"), {}, place});
        break;
      case ElementType::Rule:
        openRule(attributes, place);
        break;
      case ElementType::Allow:
        allowances().push_back(
            {attributes.get("finding"), attributes.get("reason"), attributes.get("rule"), place});
        break;
      case ElementType::Logic:
      case ElementType::Value:
        break;
    }
  }

  void text(std::string_view text) {
    if (m_open.empty() || m_open.back().syntax == nullptr) return;
    m_open.back().text.append(text);
  }

  void end() {
    const Open open = std::move(m_open.back());
    // Errors name the element as long as it is open.
    if (open.syntax != nullptr) close(open);
    m_open.pop_back();
    if (open.syntax == nullptr) return;
    if (open.syntax->type == ElementType::DataSet) m_isInDataSet = false;
    if (open.syntax->type == ElementType::KeywordTable) m_isInTable = false;
  }

  void close(const Open& open) {
    const ElementSyntax& syntax = *open.syntax;
    const Spot spot = {open.place.line, open.place.column};
    const bool mayHold = m_kind && m_isInDataSet ? mayHoldText(syntax, *m_kind) : syntax.hasText;
    if (!mayHold) {
      const std::string found = trimmed(open.text);
      if (!found.empty()) {
        std::vector<std::string> names;
        for (const ElementType type : syntax.children) {
          if (isForKind(syntaxOf(type).kinds))
            names.push_back(fmt::format("<{}>", syntaxOf(type).name));
        }
        fail(spot, "unexpected text",
             fmt::format("in {}: {}", titleOf(syntax),
                         names.empty() ? std::string("attributes only") : joined(names)),
             inQuotes(found));
      }
    }
    switch (syntax.type) {
      case ElementType::Logic:
        closeLogic(open);
        break;
      case ElementType::Value:
        if (!keywords().empty()) keywords().back().values.push_back(open.text);
        break;
      case ElementType::Keyword:
        closeKeyword(open);
        break;
      case ElementType::Rule:
        if (m_composition.description().dataSets.back().kind != Kind::FileAge) {
          m_composition.description().dataSets.back().rules.back().text = open.text;
        }
        break;
      default:
        break;
    }
  }

  void include(const std::string& name) {
    Description& description = m_composition.description();
    const std::string& own = description.files[m_file];
    const std::size_t slash = own.rfind('/');
    const std::string file =
        name.front() == '/' || slash == std::string::npos ? name : own.substr(0, slash + 1) + name;
    const Spot spot = m_scanner.attribute("file");
    const std::string path = onePathOf(file);
    std::vector<std::string>& open = m_composition.open;
    if (std::find(open.begin(), open.end(), path) != open.end()) {
      fail(spot, "a policy cannot include itself, also not by way of others", {}, inQuotes(name))
          .name = "include";
      return;
    }
    if (open.size() >= kDeepestInclude) {
      fail(spot, "", fmt::format("at most {} files within each other", kDeepestInclude),
           inQuotes(name))
          .name = "include";
      return;
    }
    // Files that include others twice each would be read without end.
    if (description.files.size() >= kMostFiles) {
      fail(spot, "", fmt::format("at most {} files in all", grouped(kMostFiles)), inQuotes(name))
          .name = "include";
      return;
    }
    std::string reason;
    const std::optional<std::string> content = contentOf(file, true, reason);
    if (!content) {
      fail(spot, fmt::format("cannot read {}: {}", escaped(file), reason)).name = "include";
      return;
    }
    open.push_back(path);
    description.files.push_back(file);
    if (m_composition.options.onIncluded) m_composition.options.onIncluded(file, *content);
    FileReader(m_composition, static_cast<std::uint32_t>(description.files.size() - 1), *content)
        .read();
    open.pop_back();
  }

  void openTable(const Place& place) {
    if (m_table.find_first_of(" \t\r\n") != std::string::npos) {
      fail(m_scanner.attribute("name"), "name:", "a name without blanks", inQuotes(m_table));
    }
    const auto [earlier, isNew] =
        m_composition.tables.emplace(m_table, Composition::Table{place, {}});
    if (isNew || m_table.empty()) return;
    fail(m_scanner.attribute("name"),
         fmt::format("there are keywords of the name {} already, at {}", inQuotes(m_table),
                     m_composition.inWords(earlier->second.place)))
        .name = "defined-twice";
    // What follows is read, and belongs nowhere.
    m_table = fmt::format("{}\n{}:{}", m_table, place.file, place.line);
    m_composition.tables[m_table].place = place;
  }

  std::vector<Keyword>& keywords() {
    return m_isInTable ? m_composition.tables[m_table].keywords
                       : m_composition.description().dataSets.back().keywords;
  }

  std::vector<Allowance>& allowances() {
    Description& description = m_composition.description();
    return m_isInDataSet ? description.dataSets.back().allowances : description.allowances;
  }

  void closeKeyword(const Open& open) {
    const std::vector<Keyword>& all = keywords();
    const Keyword& keyword = all.back();
    const Spot spot = {open.place.line, open.place.column};
    if (keyword.values.empty()) {
      fail(spot, fmt::format("the keyword {} needs at least one <value>", escaped(keyword.name)));
    }
    const auto [earlier, isNew] = m_keywordPlaces.emplace(keyword.name, keyword.place);
    if (!isNew) {
      fail(spot, fmt::format("the keyword {} is defined twice, first at {}", escaped(keyword.name),
                             m_composition.inWords(earlier->second)))
          .name = "defined-twice";
    }
  }

  void openDataSet(const Attributes& attributes, const Place& place) {
    DataSet dataSet;
    dataSet.place = place;
    dataSet.number = parseNumber(attributes.get("number")).value_or(0);
    if (m_kind) dataSet.kind = *m_kind;
    dataSet.name = attributes.get("name");
    dataSet.caseSensitive = dataSet.kind != Kind::FileType;
    const auto readSwitch = [&](const char* name, bool& target) {
      const std::string* const value = attributes.find(name);
      if (value != nullptr && !value->empty()) target = *value == "yes";
    };
    readSwitch("enabled", dataSet.enabled);
    readSwitch("match-anything", dataSet.matchAnything);
    readSwitch("match-empty-input", dataSet.matchEmptyInput);
    readSwitch("case-sensitive", dataSet.caseSensitive);
    readSwitch("wildcards", dataSet.wildcards);
    const std::string check = attributes.get("check-access");
    if (check == "never") {
      dataSet.accessCheck = DataSet::AccessCheck::Never;
    } else if (!check.empty() && check != "by-rule") {
      dataSet.accessCheck = DataSet::AccessCheck::AtDataSet;
      dataSet.access = parseAccess(check).value_or(QVL::AnyAccess);
    }
    dataSet.metadata = metadataIn(attributes);
    dataSet.isDropped = isDropped(dataSet.metadata.get());

    std::vector<DataSet>& dataSets = m_composition.description().dataSets;
    if (isValue(ValueType::Number, attributes.get("number"))) {
      const auto [earlier, isNew] = m_composition.numbers.emplace(dataSet.number, dataSets.size());
      if (!isNew) {
        fail(m_scanner.attribute("number"),
             fmt::format("the number {} belongs to the data set at {} already", dataSet.number,
                         m_composition.inWords(dataSets[earlier->second].place)),
             "a number of its own")
            .name = "defined-twice";
      }
    }
    if (attributes.find("keywords") != nullptr &&
        isForKind({Kind::FilePath, Kind::Folder, Kind::Process})) {
      const Place use = placeOf(m_scanner.attribute("keywords"));
      for (std::string& name : namesIn(attributes.get("keywords"))) {
        m_composition.uses.push_back({dataSets.size(), std::move(name), use});
      }
    }
    dataSets.push_back(std::move(dataSet));
  }

  void openRule(const Attributes& attributes, const Place& place) {
    DataSet& dataSet = m_composition.description().dataSets.back();
    Rule rule;
    rule.place = place;
    if (const std::string* const access = attributes.find("access")) {
      rule.access = parseAccess(*access).value_or(QVL::AnyAccess);
      if (dataSet.accessCheck != DataSet::AccessCheck::ByRule) {
        m_isSound = false;
        fail(m_scanner.attribute("access"),
             "access: the data set's check-access keeps rules from comparing access types",
             "no access here or check-access=\"by-rule\" there", inQuotes(*access));
      }
    }
    rule.includeSubfolders = attributes.get("subfolders") != "no";
    if (const std::string* const folder = attributes.find("default-folder")) {
      rule.defaultFolder = *folder;
    }
    if (m_kind == Kind::FileAge && m_isSound) {
      rule.text = ageText(attributes.get("of"), *parseDays(attributes.get("days")));
    }
    rule.metadata = metadataIn(attributes);
    // A rule that is wrong already, or of a kind that nobody knows, is not made, and the policy is
    // refused in any case.
    rule.isDropped = !m_isSound || !m_kind || isDropped(rule.metadata.get());
    dataSet.rules.push_back(std::move(rule));
  }

  static std::shared_ptr<const Metadata> metadataIn(const Attributes& attributes) {
    const std::pair<const char*, std::string Metadata::*> members[] = {
        {"comment", &Metadata::comment}, {"owner", &Metadata::owner},
        {"reason", &Metadata::reason},   {"ticket", &Metadata::ticket},
        {"added", &Metadata::added},     {"expires", &Metadata::expires}};
    std::shared_ptr<Metadata> metadata;
    for (const auto& [name, value] : attributes.values) {
      for (const auto& [member, pointer] : members) {
        if (name != member) continue;
        if (!metadata) metadata = std::make_shared<Metadata>();
        (*metadata).*pointer = value;
      }
    }
    return metadata;
  }

  bool isDropped(const Metadata* metadata) {
    return m_composition.description().dropsExpired && metadata != nullptr &&
           !metadata->expires.empty() && metadata->expires < m_composition.options.today;
  }

  void closeLogic(const Open& open) {
    Description& description = m_composition.description();
    const Spot spot = {open.place.line, open.place.column};
    if (m_file != 0) {
      fail(spot, "the logic is that of the policy that includes this file",
           "no <logic> in an included file")
          .name = "logic";
    } else if (m_composition.hasLogic) {
      fail(spot, "", "one <logic>", "another one").name = "defined-twice";
    } else {
      m_composition.hasLogic = true;
      description.logic = open.text;
      description.logicPlace = open.place;
      checkLogic(open.text);
    }
  }

  void checkLogic(const std::string& text) {
    for (LogicError& error : readLogic(text).errors) {
      fail(m_scanner.content(error.offset), std::move(error.what), std::move(error.expected),
           std::move(error.came))
          .name = "logic";
    }
  }

  Composition& m_composition;
  const std::uint32_t m_file;
  const bool m_isTooLarge;
  const XmlText m_decoded;
  TagScanner m_scanner;
  std::unique_ptr<xmlParserCtxt, ParserFree> m_parser;
  std::vector<Open> m_open;
  std::optional<std::pair<Place, std::string>> m_xmlError;
  std::exception_ptr m_thrown;
  bool m_isStopped = false;

  bool m_isSound = true;  // the attributes of the current tag are right
  bool m_isInDataSet = false;
  bool m_isInTable = false;
  std::optional<Kind> m_kind;  // of the data set, when it is known
  std::string m_dataSetWords;
  std::string m_table;
  std::size_t m_dataSetCount = 0;  // of elements until now, in what they are counted in
  std::size_t m_ruleCount = 0;
  std::size_t m_keywordCount = 0;
  KeywordPlaces m_keywordPlaces;  // likewise
  std::size_t m_valueCount = 0;
};

// Gives data sets the keywords of the tables that they name.
void resolveTables(Composition& composition) {
  KeywordPlaces places;  // of the data set's keywords; its uses stand one after the other
  std::optional<std::size_t> current;
  for (const Composition::TableUse& use : composition.uses) {
    DataSet& dataSet = composition.description().dataSets[use.dataSet];
    if (current != use.dataSet) {
      places.clear();
      for (const Keyword& keyword : dataSet.keywords) places.emplace(keyword.name, keyword.place);
      current = use.dataSet;
    }
    const auto table = composition.tables.find(use.table);
    if (table == composition.tables.end()) {
      composition
          .fail(use.place, elementInWords(dataSet),
                fmt::format("there are no keywords of the name {}", inQuotes(use.table)),
                fmt::format("<keywords name={}> in the policy or in what it includes",
                            inQuotes(use.table)))
          .name = "no-such-keywords";
      continue;
    }
    for (const Keyword& keyword : table->second.keywords) {
      const auto [earlier, isNew] = places.emplace(keyword.name, keyword.place);
      if (!isNew) {
        composition
            .fail(use.place, elementInWords(dataSet),
                  fmt::format("the keyword {} is defined twice, at {} and at {}",
                              escaped(keyword.name), composition.inWords(earlier->second),
                              composition.inWords(keyword.place)))
            .name = "defined-twice";
        continue;
      }
      dataSet.keywords.push_back(keyword);
    }
  }
}

Composition compositionOf(const std::string& file, const LoadOptions& options, bool isPart) {
  Composition composition = {options, {}, {}, {}, {}, {}, false, isPart};
  composition.description().file = file;
  composition.description().files.push_back(file);
  composition.open.push_back(onePathOf(file));
  return composition;
}

Reading readText(std::string_view text, const std::string& file, const LoadOptions& options) {
  Composition composition = compositionOf(file, options, false);
  FileReader(composition, 0, text).read();
  Reading& reading = composition.reading;
  resolveTables(composition);
  // A file that could not be read to its end may have one there.
  if (!composition.hasLogic && reading.errors.empty()) {
    composition.fail(
        {}, {}, "", "one <logic>, which says how the data sets combine, such as <logic>1|2</logic>",
        "none");
  }
  return std::move(reading);
}

}  // namespace

std::string elementInWords(const DataSet& dataSet) {
  return fmt::format("data set {}", dataSet.number);
}

std::string ruleElementInWords(const DataSet& dataSet, std::size_t rule) {
  return fmt::format("{}, rule {}", elementInWords(dataSet), rule + 1);
}

std::string keywordElementInWords(const DataSet& dataSet, std::size_t keyword) {
  return fmt::format("{}, keyword {}", elementInWords(dataSet), keyword + 1);
}

Problem problemAt(const Description& description, const Place& place, std::string element,
                  std::string what, std::string expected, std::string came) {
  Problem problem;
  problem.file =
      place.file < description.files.size() ? description.files[place.file] : description.file;
  problem.line = place.line;
  problem.column = place.column;
  problem.element = std::move(element);
  problem.what = std::move(what);
  problem.expected = std::move(expected);
  problem.came = std::move(came);
  return problem;
}

Reading readPolicyFile(const std::string& file, const LoadOptions& options) {
  std::string reason;
  const std::optional<std::string> content = contentOf(file, false, reason);
  if (content) return readText(*content, file, options);
  Reading reading;
  reading.description.file = file;
  reading.description.files.push_back(file);
  reading.errors.push_back(
      problemAt(reading.description, {}, {}, fmt::format("cannot read it: {}", reason)));
  reading.errors.back().name = "unreadable";
  return reading;
}

Reading readPolicyText(std::string_view text, const std::string& file, const LoadOptions& options) {
  return readText(text, file, options);
}

Reading readPolicyPart(std::string_view text, const std::string& file) {
  const LoadOptions options;
  Composition composition = compositionOf(file, options, true);
  FileReader(composition, 0, text).read();
  return std::move(composition.reading);
}

}  // namespace qvlpolicy
