#include "Options.h"

#include <string>
#include <utility>
#include <vector>

#include "CLI/CLI.hpp"
#include "Trouble.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/support/ScratchFolder.h"

namespace onaccess {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Options parse(const std::vector<std::string>& arguments) {
  CLI::App app;
  Options options;
  addOptions(app, options);
  std::vector<const char*> words = {"qvl-onaccess"};
  for (const std::string& argument : arguments) words.push_back(argument.c_str());
  parseOptions(app, options, static_cast<int>(words.size()), words.data());
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

std::string troubleOf(const std::vector<std::string>& arguments) {
  try {
    parse(arguments);
  } catch (const Trouble& trouble) {
    return trouble.what();
  }
  return "none";
}

TEST(Options, AFileSaysWhatIsWrongInIt) {
  const QVL::Test::ScratchFolder folder;
  const std::string conf = folder / "conf";
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"polizy = x",
       "expected the name of an option, as `qvl-onaccess --help` lists them, "
       "without the dashes; found \"polizy\""},
      {"--queue = 3", "found \"--queue\""},
      {"config = x", "found \"config\""},
      {"help = true", "found \"help\""},
      {"status = true", "found \"status\""},
      {" = x", "found \"\""},
      {"queue 3", "expected NAME = VALUE, found \"queue 3\""},
      {"[status]", "expected NAME = VALUE, found \"[status]\""},
      {"\1\2", "expected NAME = VALUE, found \"\\x01\\x02\""},
      {"queue = many", "--queue: expected 1 to 65536, found \"many\""},
      {"queue = 3 4",
       "queue: expected one value, in double quotes if it has spaces; found \"3 4\""},
      {"queue =", "queue: expected one value, in double quotes if it has spaces; found none"},
      {"metrics = ", "metrics: expected one value"},
      {"mount =", "mount: expected a value, in double quotes if it has spaces; found none"},
      {"mount = \"/a /b", "mount: expected a closing quote"},
      {"scanner = /run/clamd.ctl",
       "--scanner: expected unix: and the path of a socket, found \"/run/clamd.ctl\""},
      {"dry-run = maybe", "dry-run: expected true or false, found \"maybe\""},
      {"dry-run = -1", "dry-run: expected true or false, found \"-1\""},
      {"dry-run =", "dry-run: expected true or false, found \"\""},
  };
  for (const auto& [line, expected] : cases) {
    QVL::Test::writeFile(conf, std::string("# a comment\n") + line + "\n");
    EXPECT_THAT(troubleOf({"--config", conf}),
                AllOf(StartsWith(conf + ":2: "), HasSubstr(expected)))
        << line;
  }
}

TEST(Options, AFileSaysEverythingThatIsWrongInIt) {
  const QVL::Test::ScratchFolder folder;
  const std::string conf = folder / "conf";
  QVL::Test::writeFile(conf, "policy = /a.xml\nqueue = 0\n\npolicy = /b.xml\nlog_every = 3\n");
  EXPECT_THAT(troubleOf({"--config", conf}),
              AllOf(StartsWith(conf + ":2: --queue: expected 1 to 65536, found \"0\"\n" + conf +
                               ":4: expected policy once; it stands in line 1\n" + conf + ":5: "),
                    HasSubstr("\"log_every\"")));
}

TEST(Options, AFileThatCannotBeReadIsRefused) {
  const QVL::Test::ScratchFolder folder;
  EXPECT_EQ(troubleOf({"--config", folder / "none"}),
            (folder / "none") + ": cannot read it: No such file or directory");
  EXPECT_EQ(troubleOf({"--config", folder.path().string()}),
            folder.path().string() + ": cannot read it: Is a directory");
}

// Each of several folders has to be watched, wherever its name stands.
TEST(Options, AFileMayNameFoldersInSeveralLinesAndInQuotes) {
  const QVL::Test::ScratchFolder folder;
  QVL::Test::writeFile(folder / "conf",
                       "mount = /a  /b\r\n"
                       "\tmount=\"/with a space\"\n"
                       "; a comment\n"
                       "\n"
                       "policy = \"/a \\\"b\\\".xml\"\n"
                       "control = /run/=\n"
                       "dry-run = false\n"
                       "confirm-root = true");
  const Options options = parse({"--config", folder / "conf"});
  EXPECT_THAT(options.mounts, ElementsAre("/a", "/b", "/with a space"));
  EXPECT_EQ(options.policy, "/a \"b\".xml");
  EXPECT_EQ(options.control, "/run/=");
  EXPECT_FALSE(options.isDryRun);
  EXPECT_TRUE(options.isRootConfirmed);
  EXPECT_THAT(parse({"--config", folder / "conf", "--mount", "/c"}).mounts, ElementsAre("/c"))
      << "the command line goes first";
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
      {"--queue", "1.5"},
      {"--queue", "0x10"},
      {"--queue", ""},
      {"--queue", "3 "},
      {"--log-every", "-1"},
      {"--log-every", "99999999999999999999999"},
      {"--deadline", "nan"},
      {"--watchdog", "nan"},
      {"--watchdog", "-nan"},
      {"--watchdog", "inf"},
      {"--watchdog", "1e400"},
      {"--deadline", "1e-400"},
      {"--deadline", "5s"},
      {"--breaker-pause", "nan(1)"},
  };
  for (const auto& arguments : cases) {
    EXPECT_THROW(parse(arguments), CLI::ParseError) << ::testing::PrintToString(arguments);
  }
}

TEST(Options, NumbersAreDecimal) {
  EXPECT_EQ(parse({"--queue", "010"}).queue, 10u);
  EXPECT_EQ(parse({"--deadline", "1e1"}).deadline, 10);
  EXPECT_EQ(parse({"--remember", "0"}).remembered, 0u);
  EXPECT_EQ(parse({"--log-every", "1000000000"}).logEvery, 1000000000u);
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
