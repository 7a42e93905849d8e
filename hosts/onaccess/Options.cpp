#include "Options.h"

#include "CLI/CLI.hpp"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

// "unix:PATH", and nothing else, names a scanner.
const CLI::Validator kSocket(
    [](std::string& text) {
      static const std::string kPrefix = "unix:";
      if (text.compare(0, kPrefix.size(), kPrefix) != 0 || text.size() == kPrefix.size()) {
        return fmt::format("expected unix: and the path of a socket, found {}", text);
      }
      text.erase(0, kPrefix.size());
      return std::string();
    },
    "unix:PATH");

}  // namespace

void addOptions(CLI::App& app, Options& options) {
  app.set_config("--config", "", "Read options from FILE, one a line as NAME = VALUE")
      ->type_name("FILE");
  app.allow_config_extras(CLI::config_extras_mode::error);

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
      ->check(CLI::Range(1.0, 3600.0));
  app.add_option("--deciding-threads", options.decidingThreads, "Threads that decide")
      ->check(CLI::Range(2, 64));
  app.add_option("--scan-threads", options.scanThreads, "Scans at a time")
      ->check(CLI::Range(1, 256));
  app.add_option("--queue", options.queue, "Scans that may wait")->check(CLI::Range(1, 65536));
  app.add_option("--deadline", options.deadline, "Seconds for a scan, waiting included")
      ->check(CLI::Range(0.01, 3600.0));
  app.add_option("--watchdog", options.watchdog,
                 "Let everything pass and end when an open is unanswered for so many seconds")
      ->check(CLI::Range(0.1, 86400.0));
  app.add_option("--breaker-failures", options.breakerFailures,
                 "Leave the scanner alone after so many failures in a row")
      ->check(CLI::Range(1, 1000000));
  app.add_option("--breaker-pause", options.breakerPause, "for so many seconds")
      ->check(CLI::Range(0.01, 3600.0));
  app.add_option("--remember", options.remembered, "Clean files to remember; 0: none")
      ->check(CLI::Range(0, 100000000));
  app.add_option("--log-every", options.logEvery,
                 "Log every so many opens one; 0: denied and failed ones only");
  app.add_option("--count", options.count, "What to count of exclusions")
      ->check(CLI::IsMember({"nothing", "data-sets", "rules"}));
  app.add_flag("--trace", options.isTracing, "Let the library write its trace file");
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
