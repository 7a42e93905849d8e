// What the command line and the configuration file say.

#ifndef QVL_ONACCESS_OPTIONS_H
#define QVL_ONACCESS_OPTIONS_H

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace onaccess {

inline constexpr const char* kDefaultControl = "/run/qvl-onaccess/control";

// Times are in seconds.
struct Options {
  std::string configuration;  // a file; empty: none
  std::string policy;
  std::vector<std::string> mounts;
  std::vector<std::string> failClosed;
  std::string scanner;  // a path
  bool isDryRun = false;
  bool isRootConfirmed = false;
  std::string control = kDefaultControl;
  std::string metrics;  // empty: none
  double metricsEvery = 15;
  std::size_t decidingThreads = 2;
  std::size_t scanThreads = 4;
  std::size_t queue = 256;
  double deadline = 10;
  double watchdog = 30;
  unsigned int breakerFailures = 5;
  double breakerPause = 10;
  std::size_t remembered = 100000;
  std::size_t logEvery = 0;
  std::string count = "data-sets";  // or "rules", "nothing"
  bool isTracing = false;
};

// Adds the options to the command line.
void addOptions(CLI::App& app, Options& options);

// Parses a command line to which the options were added, and the configuration file that it names.
// What the command line says goes before what the file says. Throws CLI::ParseError for the command
// line, and Trouble with everything that is wrong in the file.
void parseOptions(CLI::App& app, Options& options, int argc, const char* const* argv);

// Throws Trouble when something that is needed is missing or two options contradict each other.
void checkOptions(const Options& options);

}  // namespace onaccess

#endif  // QVL_ONACCESS_OPTIONS_H
