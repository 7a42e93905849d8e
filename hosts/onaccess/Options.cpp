#include "Options.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "CLI/CLI.hpp"
#include "Log.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

// A decimal number from `least` to `most`. CLI11 by itself takes more: "nan" as a number of seconds
// in any range, "-1" as a great number of things, and "010" as eight.
template <class Number>
CLI::Validator from(Number least, Number most) {
  return CLI::Validator(
      [least, most](std::string& text) {
        Number value = 0;
        const char* const end = text.data() + text.size();
        const std::from_chars_result read = std::from_chars(text.data(), end, value);
        if (read.ec != std::errc() || read.ptr != end || !(value >= least && value <= most)) {
          return fmt::format("expected {} to {}, found {}", least, most, onaccess::quoted(text));
        }
        text = fmt::format("{}", value);
        return std::string();
      },
      fmt::format("{} to {}", least, most));
}

// "unix:PATH", and nothing else, names a scanner.
const CLI::Validator kSocket(
    [](std::string& text) {
      static const std::string kPrefix = "unix:";
      if (text.compare(0, kPrefix.size(), kPrefix) != 0 || text.size() == kPrefix.size()) {
        return fmt::format("expected unix: and the path of a socket, found {}",
                           onaccess::quoted(text));
      }
      text.erase(0, kPrefix.size());
      return std::string();
    },
    "unix:PATH");

// The words of a value; one with spaces stands in double quotes. Nothing when a quote is not
// closed.
std::optional<std::vector<std::string>> wordsOf(const std::string& value) {
  std::istringstream stream(value);
  std::vector<std::string> words;
  for (std::string word; !(stream >> std::ws).eof();) {
    if (!(stream >> std::quoted(word))) return std::nullopt;
    words.push_back(word);
  }
  return words;
}

std::string_view trimmed(std::string_view text) {
  static constexpr std::string_view kSpaces = " \t\r";
  const std::size_t begin = std::min(text.find_first_not_of(kSpaces), text.size());
  return text.substr(begin, text.find_last_not_of(kSpaces) + 1 - begin);
}

void parse(CLI::App& app, std::vector<std::string> arguments) {
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes a vector
  app.parse(std::move(arguments));
}

// Takes the lines of a configuration file one by one, each as what it would be on the command line.
class Configuration {
 public:
  explicit Configuration(std::string file) : m_file(std::move(file)) {
    addOptions(m_commandLine, m_ignored);
  }

  void take(std::string_view line) {
    ++m_line;
    line = trimmed(line);
    if (line.empty() || line[0] == '#' || line[0] == ';') return;
    const std::size_t sign = line.find('=');
    if (sign == std::string_view::npos) {
      return complain(fmt::format("expected NAME = VALUE, found {}", onaccess::quoted(line)));
    }
    const std::string name(trimmed(line.substr(0, sign)));
    const CLI::Option* const option = m_commandLine.get_option_no_throw("--" + name);
    if (option == nullptr || name == "config" || name == "help") {
      return complain(fmt::format(
          "expected the name of an option, as `qvl-onaccess --help` lists them, without the "
          "dashes; found {}",
          onaccess::quoted(name)));
    }
    const auto [first, isFirst] = m_lineOf.emplace(name, m_line);
    if (!isFirst && option->get_items_expected_max() <= 1) {
      return complain(fmt::format("expected {} once; it stands in line {}", name, first->second));
    }
    takeValue(name, option->get_items_expected_max(), std::string(line.substr(sign + 1)));
  }

  // Throws Trouble.
  Options options() const {
    if (!m_errors.empty()) throw Trouble(m_errors.substr(0, m_errors.size() - 1));
    CLI::App app;
    Options options;
    addOptions(app, options);
    parse(app, m_arguments);
    return options;
  }

 private:
  // `most`: how many values it may have; 0: it is a switch.
  void takeValue(const std::string& name, int most, const std::string& value) {
    const std::optional<std::vector<std::string>> words = wordsOf(value);
    if (!words) return complain(fmt::format("{}: expected a closing quote", name));
    if (most == 0) {
      if (*words == std::vector<std::string>{"true"}) return takeArguments({"--" + name});
      if (*words == std::vector<std::string>{"false"}) return;
      return complain(fmt::format("{}: expected true or false, found {}", name,
                                  onaccess::quoted(trimmed(value))));
    }
    if (words->empty() || (most == 1 && words->size() > 1)) {
      return complain(fmt::format("{}: expected {}, in double quotes if it has spaces; found {}",
                                  name, most == 1 ? "one value" : "a value",
                                  words->empty() ? "none" : onaccess::quoted(trimmed(value))));
    }
    std::vector<std::string> arguments;
    for (const std::string& word : *words) arguments.push_back(fmt::format("--{}={}", name, word));
    takeArguments(arguments);
  }

  void takeArguments(const std::vector<std::string>& arguments) {
    try {
      parse(m_commandLine, arguments);
      m_arguments.insert(m_arguments.end(), arguments.begin(), arguments.end());
    } catch (const CLI::ParseError& error) {
      complain(error.what());
    }
  }

  void complain(const std::string& text) {
    m_errors += fmt::format("{}:{}: {}\n", m_file, m_line, text);
  }

  const std::string m_file;
  CLI::App m_commandLine;  // tries each line
  Options m_ignored;
  std::size_t m_line = 0;
  std::map<std::string, std::size_t> m_lineOf;  // where a name stands first
  std::vector<std::string> m_arguments;
  std::string m_errors;  // each on a line
};

Options readConfiguration(const std::string& file) {
  errno = 0;
  std::ifstream stream(file);
  Configuration configuration(file);
  for (std::string line; std::getline(stream, line);) configuration.take(line);
  if (!stream.eof() || stream.bad()) {
    throw Trouble(fmt::format("{}: cannot read it: {}", file, std::strerror(errno)));
  }
  return configuration.options();
}

}  // namespace

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--config", options.configuration,
                 "Read options from FILE, one a line as NAME = VALUE")
      ->type_name("FILE");
  app.option_defaults()->always_capture_default();
  app.add_option("--policy", options.policy, "The exclusion policy")->type_name("FILE");
  app.add_option("--mount", options.mounts, "Watch the file systems that are mounted at DIR...")
      ->type_name("DIR");
  app.add_option("--scanner", options.scanner, "The socket of clamd")->transform(kSocket);
  app.add_flag("--dry-run", options.isDryRun,
               "Answer \"allow\" to everything, and tell what would be");
  app.add_flag("--confirm-root", options.isRootConfirmed, "Yes, watch the file system of /, too");
  app.add_option("--fail-closed", options.failClosed,
                 "Deny what cannot be scanned on these of the mounts; it is allowed on the others")
      ->type_name("DIR");
  app.add_option("--control", options.control, "The socket for `status` and `reload`")
      ->type_name("SOCKET");
  app.add_option("--metrics", options.metrics,
                 "Write counters to FILE, in Prometheus's text format")
      ->type_name("FILE");
  app.add_option("--metrics-every", options.metricsEvery, "Write them every so many seconds")
      ->transform(from(1.0, 3600.0));
  app.add_option("--deciding-threads", options.decidingThreads, "Threads that decide")
      ->transform(from(2, 64));
  app.add_option("--scan-threads", options.scanThreads, "Scans at a time")->transform(from(1, 256));
  app.add_option("--queue", options.queue, "Scans that may wait")->transform(from(1, 65536));
  app.add_option("--deadline", options.deadline, "Seconds for a scan, waiting included")
      ->transform(from(0.01, 3600.0));
  app.add_option("--watchdog", options.watchdog,
                 "Let everything pass and end when an open is unanswered for so many seconds")
      ->transform(from(0.1, 86400.0));
  app.add_option("--breaker-failures", options.breakerFailures,
                 "Leave the scanner alone after so many failures in a row")
      ->transform(from(1, 1000000));
  app.add_option("--breaker-pause", options.breakerPause, "for so many seconds")
      ->transform(from(0.01, 3600.0));
  app.add_option("--remember", options.remembered, "Clean files to remember; 0: none")
      ->transform(from(0, 100000000));
  app.add_option("--log-every", options.logEvery,
                 "Log every so many opens one; 0: denied and failed ones only")
      ->transform(from(0, 1000000000));
  app.add_option("--count", options.count, "What to count of exclusions")
      ->check(CLI::IsMember({"nothing", "data-sets", "rules"}));
  app.add_flag("--trace", options.isTracing, "Let the library write its trace file");
}

void parseOptions(CLI::App& app, Options& options, int argc, const char* const* argv) {
  app.parse(argc, argv);
  if (options.configuration.empty()) return;
  options = readConfiguration(options.configuration);
  app.parse(argc, argv);
}

void checkOptions(const Options& options) {
  if (options.policy.empty()) throw Trouble("expected --policy FILE; found none");
  if (options.mounts.empty()) throw Trouble("expected --mount DIR...; found none");
  if (options.scanner.empty()) throw Trouble("expected --scanner unix:PATH; found none");
  if (options.watchdog <= options.deadline) {
    throw Trouble(fmt::format(
        "expected --watchdog to be longer than --deadline, which scans may take; found {} and {}",
        options.watchdog, options.deadline));
  }
}

}  // namespace onaccess
