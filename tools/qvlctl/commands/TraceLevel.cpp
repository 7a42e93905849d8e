#include <climits>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "io/Trouble.h"
#include "io/XmlFile.h"

namespace qvlctl {
namespace {

constexpr const char* kRoot = "/TraceValues";
constexpr const char* kElement = "ScanAvoidanceFlow";
constexpr const char* kLevel = "/TraceValues/ScanAvoidanceFlow";

// The levels that messages have; 0, which none has, is the first.
constexpr int kLevels[] = {0, 1, 4, 5};

struct TraceLevelOptions {
  std::string file = QVL_HOME "/config/traceValues.xml";
  std::optional<int> level;
  std::string format;
};

// The level as the trace log reads it; nothing when the log would keep the level that it has.
std::optional<int> levelIn(LibXmlWrapper& document) {
  try {
    return static_cast<int>(document.getXPathUnsignedLongValue(kLevel));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::string inWords(const std::optional<int>& level) {
  return level ? std::to_string(*level) : "none";
}

class TraceLevel {
 public:
  explicit TraceLevel(const TraceLevelOptions& options) : m_options(options), m_xml(options.file) {
    const std::size_t roots = m_xml.count(kRoot);
    if (roots != 1) fail("expected the root element <TraceValues>; found another one");
    m_elements = m_xml.count(kLevel);
    if (m_elements > 1) {
      fail(fmt::format("expected one <{}> in <TraceValues>; found {}", kElement, m_elements));
    }
  }

  int run() {
    m_options.level ? set(*m_options.level) : show();
    return kYes;
  }

 private:
  [[noreturn]] void fail(const std::string& message) const {
    throw Trouble(fmt::format("{}: {}", escaped(m_options.file), message));
  }

  void show() {
    const std::optional<int> level = levelIn(m_xml.document());
    if (!level) {
      fail(fmt::format("expected a whole number in <{}>; found {}", kElement,
                       m_elements == 0
                           ? "no such element"
                           : '"' + escaped(m_xml.document().getXPathElement(kLevel)) + '"'));
    }
    print(fmt::format("{}", *level), inJson(*level));
  }

  void set(int level) {
    const std::optional<int> before = levelIn(m_xml.document());
    const std::string text = std::to_string(level);
    const bool changed = m_elements == 1
                             ? m_xml.document().setXPathElement(kLevel, text.c_str())
                             : m_xml.document().AddNewElementNode(kRoot, kElement, text.c_str());
    std::string content;
    m_xml.document().SaveToMemory(content);
    if (!changed || content.empty()) fail("the level cannot be changed in this document");
    replaceFile(m_options.file, content);
    Json json = inJson(level);
    json["was"] = before ? Json(*before) : Json(nullptr);
    print(
        fmt::format("{}: trace level {}, was {}", escaped(m_options.file), level, inWords(before)),
        json);
    int highest = 0;
    for (const int known : kLevels) {
      if (known <= level) highest = known;
    }
    if (level != highest) {
      remark(fmt::format("note: no message of the library has the level {}; it tells what {} tells",
                         level, highest));
    }
  }

  Json inJson(int level) const {
    Json json;
    addText(json, "file", m_options.file);
    json["level"] = level;
    return json;
  }

  void print(const std::string& text, const Json& json) const {
    Output output;
    output.print("{}\n", m_options.format == "json" ? jsonLine(json) : text);
    output.flush();
  }

  const TraceLevelOptions& m_options;
  XmlFile m_xml;
  std::size_t m_elements = 0;
};

}  // namespace

void addTraceLevelCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("trace-level", "Show or set how much the library's trace file tells");
  const auto options = std::make_shared<TraceLevelOptions>();
  command
      .add_option("LEVEL", options->level,
                  "The level to set: 0 nothing, 1 errors, 4 errors and warnings, 5 every step of "
                  "each query. Without it, the level is printed")
      ->type_name("")
      ->check([](const std::string& text) {
        const std::optional<unsigned int> number = parseNumber(text);
        return number && *number <= INT_MAX
                   ? std::string()
                   : fmt::format("expected a whole number from 0 to {}; found {}", INT_MAX,
                                 inQuotes(text));
      });
  command
      .add_option("-f,--file", options->file,
                  "The trace configuration file (default: " + options->file + ")")
      ->type_name("FILE");
  addFormatOption(command, options->format, {"text", "json"});
  command.footer(
      "Whatever else the file holds is kept; the file is replaced as a whole or not at all.\n"
      "A running scanner reads it again on the hang-up signal, if it has asked for that.\n"
      "\n"
      "Exit status: 0 done, 2 trouble.");
  command.callback(
      [options, &action] { action = [options] { return TraceLevel(*options).run(); }; });
}

}  // namespace qvlctl
