#include "Options.h"

#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "Trouble.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/support/ScratchFolder.h"

namespace onaccess {
namespace {

using ::testing::ElementsAre;

// Arguments in their order; CLI11 takes a vector from its end.
Options parse(std::vector<std::string> arguments) {
  CLI::App app;
  Options options;
  addOptions(app, options);
  std::reverse(arguments.begin(), arguments.end());
  app.parse(arguments);
  return options;
}

const std::vector<std::string> kEnough = {
    "--policy", "p.xml", "--mount", "/a", "/b", "--scanner", "unix:/run/clamd.ctl"};

std::vector<std::string> enoughAnd(const std::vector<std::string>& more) {
  std::vector<std::string> all = kEnough;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

TEST(Options, ComeFromTheCommandLine) {
  const Options options =
      parse(enoughAnd({"--fail-closed", "/b", "--dry-run", "--deadline", "2.5"}));
  EXPECT_EQ(options.policy, "p.xml");
  EXPECT_THAT(options.mounts, ElementsAre("/a", "/b"));
  EXPECT_THAT(options.failClosed, ElementsAre("/b"));
  EXPECT_EQ(options.scanner, "/run/clamd.ctl");
  EXPECT_TRUE(options.isDryRun);
  EXPECT_FALSE(options.isRootConfirmed);
  EXPECT_EQ(options.deadline, 2.5);
  EXPECT_NO_THROW(checkOptions(options));
}

TEST(Options, ComeFromAFileWithTheSameNames) {
  const QVL::Test::ScratchFolder folder;
  QVL::Test::writeFile(folder / "conf",
                       "# a comment\n"
                       "policy = /etc/p.xml\n"
                       "mount = /a /b\n"
                       "scanner = unix:/run/clamd.ctl\n"
                       "dry-run = true\n"
                       "queue = 17\n");
  const Options options = parse({"--config", folder / "conf", "--queue", "18"});
  EXPECT_EQ(options.policy, "/etc/p.xml");
  EXPECT_THAT(options.mounts, ElementsAre("/a", "/b"));
  EXPECT_EQ(options.scanner, "/run/clamd.ctl");
  EXPECT_TRUE(options.isDryRun);
  EXPECT_EQ(options.queue, 18u) << "the command line goes first";
}

TEST(Options, AFileWithAWrongNameOrValueIsRefused) {
  const QVL::Test::ScratchFolder folder;
  for (const char* const text : {"polizy = x\n", "queue = many\n", "scanner = /run/clamd.ctl\n"}) {
    QVL::Test::writeFile(folder / "conf", text);
    EXPECT_THROW(parse({"--config", folder / "conf"}), CLI::ParseError) << text;
  }
  EXPECT_THROW(parse({"--config", folder / "none"}), CLI::ParseError);
}

TEST(Options, WrongValuesAreRefused) {
  const std::vector<std::vector<std::string>> cases = {
      {"--scanner", "/run/clamd.ctl"},
      {"--scanner", "unix:"},
      {"--scanner", "tcp:x"},
      {"--deadline", "0"},
      {"--queue", "-1"},
      {"--deciding-threads", "1"},
      {"--count", "files"},
      {"--watchdog", "soon"},
      {"--unknown"},
      {"--queue", "1000000000"},
  };
  for (const auto& arguments : cases) {
    EXPECT_THROW(parse(arguments), CLI::ParseError) << ::testing::PrintToString(arguments);
  }
}

TEST(Options, WhatIsNeededMustBeThere) {
  EXPECT_THROW(checkOptions(parse({})), Trouble);
  EXPECT_THROW(checkOptions(parse({"--policy", "p"})), Trouble);
  EXPECT_THROW(checkOptions(parse({"--policy", "p", "--mount", "/a"})), Trouble);
}

TEST(Options, TheWatchdogMustBeMorePatientThanTheDeadline) {
  EXPECT_THROW(checkOptions(parse(enoughAnd({"--deadline", "30"}))), Trouble);
  EXPECT_NO_THROW(checkOptions(parse(enoughAnd({"--deadline", "30", "--watchdog", "31"}))));
}

}  // namespace
}  // namespace onaccess
