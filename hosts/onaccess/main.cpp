// qvl-onaccess: has files scanned when they are opened, but for those that a policy excludes.

#include <cstdio>
#include <exception>
#include <string>

#include "CLI/CLI.hpp"
#include "Control.h"
#include "Log.h"
#include "Options.h"
#include "Service.h"
#include "fmt/format.h"

namespace {

using namespace onaccess;

constexpr int kFailure = 1;
constexpr int kTrouble = 2;

int complain(const std::string& text) {
  fmt::print(stderr, "{}", inLines(Level::Error, isReadByJournal(), "qvl-onaccess: " + text));
  return kTrouble;
}

int ask(const std::string& socket, const char* request) {
  const ControlReply reply = askHost(socket, request);
  if (reply.isSuccess) {
    fmt::print("{}", reply.text);
  } else {
    fmt::print(stderr, "{}", inLines(Level::Error, isReadByJournal(), reply.text));
  }
  return reply.isSuccess ? 0 : kFailure;
}

int run(int argc, char** argv) {
  CLI::App app(
      "Watches file systems and has clamd scan the files that are opened there, but for those "
      "that\n"
      "an exclusion policy excludes. Infected files cannot be opened.",
      "qvl-onaccess");
  app.set_version_flag("--version", "qvl-onaccess " QVL_ONACCESS_VERSION);
  Options options;
  addOptions(app, options);
  app.fallthrough();  // so that --control may stand behind a command
  app.add_subcommand("status", "Tell what the host that runs has done");
  app.add_subcommand("metrics", "The same as Prometheus's text");
  app.add_subcommand("reload", "Have the host that runs load its policy again");
  app.require_subcommand(0, 1);
  app.footer(
      "`status`, `metrics` and `reload` take --control when the host was given one.\n"
      "Exit status: 0 done, 1 the host refused, 2 trouble, 70 an open was unanswered for too "
      "long.");
  try {
    parseOptions(app, options, argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return complain(fmt::format("{}\nTry `qvl-onaccess --help`.", error.what()));
  }
  for (const char* const request : {"status", "metrics", "reload"}) {
    if (app.got_subcommand(request)) return ask(options.control, request);
  }
  runService(options);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& trouble) {
    return complain(trouble.what());
  }
}
