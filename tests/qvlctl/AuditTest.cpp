// qvlctl audit

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

class Audit : public ProgramTest {
 protected:
  void SetUp() override {
    // By place, by extension; never an .exe.
    write("../policy.xml",
          "<exclusion-policy version='1'>\n"
          "<logic>(1|2)&amp;!3</logic>\n"
          "<data-set number='1' kind='folder' name='caches'><rule>/**/cache/</rule></data-set>\n"
          "<data-set number='2' kind='file-type'><rule access='read'>o</rule></data-set>\n"
          "<data-set number='3' kind='file-type' name='programs'><rule>exe</rule></data-set>\n"
          "</exclusion-policy>\n");
  }

  // The outputs with the test's folder as TREE, and without times and what tells machines apart.
  Result audit(std::vector<std::string> arguments,
               const Circumstances& circumstances = Circumstances()) const {
    arguments.insert(arguments.begin(), {"audit", "--policy", "../policy.xml"});
    Result result = run(arguments, circumstances);
    const std::regex times("in [0-9.]+ seconds, [0-9,]+ a second");
    result.out = std::regex_replace(result.out, times, "in T seconds, R a second");
    const std::regex evidence("\n  [-0-9T:]+Z on .*, qvlctl .*, policy sha256:[0-9a-f]{64}\n");
    result.out = std::regex_replace(result.out, evidence, "\n");
    for (std::string* const text : {&result.out, &result.err}) {
      for (std::size_t place; (place = text->find(folder())) != std::string::npos;) {
        text->replace(place, folder().size(), "TREE");
      }
    }
    return result;
  }

  // A size that need not take any room.
  void writeSized(const std::string& name, off_t size) const {
    write(name, "");
    ASSERT_EQ(::truncate(path(name).c_str(), size), 0);
  }
};

TEST_F(Audit, CountsWhatIsSkippedByDataSetAndByFolder) {
  writeSized("cache/a", 1000);
  writeSized("cache/deep/b", 2 * 1024 * 1024);
  writeSized("cache/deep/c.o", 24);
  writeSized("src/x.o", 1536);
  writeSized("src/x.cpp", 100);
  writeSized("src/lib/y.o", 512);
  writeSized("mixed/cache/z", 10);
  writeSized("mixed/cache/z.exe", 5);
  writeSized("empty/only-scanned", 0);
  fs::create_directory(path("really-empty"));
  EXPECT_EQ(
      audit({"."}),
      (Result{
          0,
          "Audit of TREE under ../policy.xml\n"
          "  found                 9 files      2.0 MiB\n"
          "  skipped               6 files      2.0 MiB   66.7 % of the files, 100.0 % of "
          "the bytes\n"
          "  scanned               3 files    105 bytes\n"
          "\n"
          "Skipped, by what was asked (above: for at least one of these)\n"
          "                        6 files      2.0 MiB   read, no process\n"
          "                        4 files      2.0 MiB   write, no process\n"
          "                        4 files      2.0 MiB   for all of them\n"
          "\n"
          "Skipped, by the data sets that matched (a file may count for several)\n"
          "  1                     4 files      2.0 MiB   folder: caches\n"
          "  2                     2 files      2.0 KiB   file-type\n"
          "  3                     0 files      0 bytes   file-type: programs\n"
          "\n"
          "Rules by hits, where their data set was asked: 3 of 3 rules\n"
          "            4 skipped             1 scanned  data set 1, rule 1, line 3: /**/cache/\n"
          "            2 skipped             0 scanned  data set 2, rule 1, line 4: o\n"
          "            0 skipped             1 scanned  data set 3, rule 1, line 5: exe\n"
          "\n"
          "Largest skipped folders (*: skipped in part, the files directly in it)\n"
          "      2.0 MiB             3 files  TREE/cache\n"
          "      1.5 KiB              1 file  TREE/src *\n"
          "    512 bytes              1 file  TREE/src/lib\n"
          "     10 bytes              1 file  TREE/mixed/cache *\n"
          "\n"
          "18 queries in T seconds, R a second\n",
          ""}));
}

TEST_F(Audit, ListsNoMoreFoldersThanAskedFor) {
  for (int i = 1; i <= 30; ++i) writeSized("d" + std::to_string(i) + "/x.o", i);
  writeSized("scanned", 1);
  const std::string few = audit({"--top", "2", "."}).out;
  EXPECT_NE(few.find("in it)\n"
                     "     30 bytes              1 file  TREE/d30\n"
                     "     29 bytes              1 file  TREE/d29\n"
                     "\n62 queries"),
            std::string::npos)
      << few;
  EXPECT_EQ(audit({"--top", "0", "."}).out.find("Largest"), std::string::npos);
}

TEST_F(Audit, TellsWhichRulesMatchAndWhichNever) {
  write(
      "../policy.xml",
      "<exclusion-policy version='1'>\n"
      "<logic>(1|2|4|5|(6&amp;7))&amp;!3</logic>\n"
      "<data-set number='1' kind='file-path'>\n"
      "<rule>/**.log</rule>\n"
      "<rule>/**/a.log</rule>\n"
      "<rule access='write'>/**/b.log</rule>\n"
      "<rule>/nowhere</rule></data-set>\n"
      "<data-set number='2' kind='folder' match-anything='yes' enabled='no'><rule>/**/</rule>\n"
      "</data-set>\n"
      "<data-set number='3' kind='file-type'><rule>exe</rule><rule>dll</rule></data-set>\n"
      "<data-set number='4' kind='file-age'><rule of='modification' days='1000,2000'/></data-set>\n"
      "<data-set number='5' kind='folder' check-access='write'><rule>/**/</rule></data-set>\n"
      "<data-set number='6' kind='process'><rule>/bin/p*</rule><rule>/bin/q</rule></data-set>\n"
      "<data-set number='7' kind='file-type'><rule>o</rule></data-set>\n"
      "</exclusion-policy>\n");
  writeSized("a.log", 1);
  writeSized("b.log", 1);
  writeSized("x.exe", 1);
  writeSized("x.o", 1);
  writeSized("y.o", 1);
  const std::string out = audit({"--process", "/bin/ps", "--access", "read", "."}).out;
  EXPECT_NE(
      out.find(
          "Rules by hits, where their data set was asked: 5 of 12 rules\n"
          "            4 skipped             1 scanned  data set 6, rule 1, line 13: /bin/p*\n"
          "            2 skipped             0 scanned  data set 1, rule 1, line 4: /**.log\n"
          "            2 skipped             0 scanned  data set 7, rule 1, line 14: o\n"
          "            1 skipped             0 scanned  data set 1, rule 2, line 5: /**/a.log\n"
          "            0 skipped             1 scanned  data set 3, rule 1, line 10: exe\n"
          "\n"
          "Rules that never hit: 4\n"
          "  data set 1, rule 4, line 7: /nowhere\n"
          "  data set 2, rule 1, line 8: /**/\n"
          "  data set 3, rule 2, line 10: dll\n"
          "  data set 4, rule 1, line 11: modification more than 1,000 days ago\n"
          "\n"
          "Rules that only another process or access type can hit: 3\n"
          "  data set 1, rule 3, line 6: /**/b.log\n"
          "  data set 5, rule 1, line 12: /**/\n"
          "  data set 6, rule 2, line 13: /bin/q\n"),
      std::string::npos)
      << out;
  const std::string few = audit({"--top", "1", "."}).out;
  EXPECT_NE(few.find("Rules that never hit: 4\n  data set 1, rule 4, line 7: /nowhere\n"
                     "  and 3 more\n"),
            std::string::npos)
      << few;
}

TEST_F(Audit, TellsExpiredRulesThatAreDroppedFromThoseThatNeverHit) {
  const auto tell = [&](const std::string& expired) {
    write("../policy.xml",
          "<exclusion-policy version='1' expired='" + expired +
              "'>\n"
              "<logic>1|2</logic>\n"
              "<data-set number='1' kind='folder'>\n"
              "<rule expires='2001-12-31'>/**/old/</rule>\n"
              "<rule expires='2001-12-31' access='write'>/w/</rule>\n"
              "<rule>/nowhere/</rule></data-set>\n"
              "<data-set number='2' kind='file-type' expires='2001-12-31'><rule>o</rule>\n"
              "</data-set>\n"
              "</exclusion-policy>\n");
    return audit({"--access", "read", "."}).out;
  };
  writeSized("old/a", 1);
  writeSized("x.o", 1);
  const std::string dropped = tell("drop");
  EXPECT_NE(dropped.find("Rules that never hit: 1\n"
                         "  data set 1, rule 3, line 6: /nowhere/\n"
                         "\n"
                         "Rules that have expired and are dropped: 3\n"
                         "  data set 1, rule 1, line 4: /**/old/\n"
                         "  data set 1, rule 2, line 5: /w/\n"
                         "  data set 2, rule 1, line 7: o\n"),
            std::string::npos)
      << dropped;
  const std::string kept = tell("keep");
  EXPECT_EQ(kept.find("dropped"), std::string::npos) << kept;
  EXPECT_NE(kept.find("2 of 4 rules"), std::string::npos) << kept;
}

TEST_F(Audit, AsksForAProcessAndAnAccessType) {
  write("../policy.xml",
        "<exclusion-policy version='1'>\n"
        "<logic>1&amp;2</logic>\n"
        "<data-set number='1' kind='process'><rule>/usr/bin/make</rule></data-set>\n"
        "<data-set number='2' kind='file-type'><rule access='write'>o</rule></data-set>\n"
        "</exclusion-policy>\n");
  writeSized("x.o", 7);
  const auto skipped = [&](const std::vector<std::string>& arguments) {
    return audit(arguments).out.find("skipped                1 file") != std::string::npos;
  };
  EXPECT_TRUE(skipped({"."}));
  EXPECT_FALSE(skipped({"--process", "", "."}));
  EXPECT_FALSE(skipped({"--access", "read", "."}));
  EXPECT_FALSE(skipped({"--process", "", "--access", "write", "."}));
  EXPECT_FALSE(skipped({"--process", "/usr/bin/make", "--access", "read", "."}));
  EXPECT_TRUE(skipped({"--process", "/usr/bin/make", "--access", "write", "."}));
}

TEST_F(Audit, ShowsWhatIsSkippedByNegationAlone) {
  write("../policy.xml",
        "<exclusion-policy version='1'><logic>!1</logic>"
        "<data-set number='1' kind='file-type'><rule>exe</rule></data-set></exclusion-policy>");
  writeSized("a", 1);
  writeSized("b.exe", 2);
  EXPECT_NE(audit({"."}).out.find("  1                     0 files      0 bytes   file-type\n"
                                  "  none                   1 file       1 byte   the logic "
                                  "negates, and no data set matched\n"),
            std::string::npos)
      << audit({"."}).out;
}

TEST_F(Audit, FollowsNoSymbolicLink) {
  writeSized("real/x.o", 1);
  fs::create_directory_symlink(".", path("real/loop"));
  fs::create_directory_symlink("..", path("real/up"));
  fs::create_directory_symlink("/", path("real/root"));
  fs::create_symlink("x.o", path("real/again.o"));
  fs::create_symlink("nowhere", path("real/broken.o"));
  ASSERT_EQ(::mkfifo(path("real/pipe.o").c_str(), 0600), 0);
  const Result result = audit({"."});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("found                  1 file"), std::string::npos) << result.out;
}

TEST_F(Audit, WalksARootThatIsALinkByItsRealPath) {
  writeSized("real/x.o", 1);
  fs::create_directory_symlink("real", path("link"));
  EXPECT_EQ(audit({"link"}).out.substr(0, 41), "Audit of TREE/real under ../policy.xml\n  ");
}

TEST_F(Audit, WalksEveryFolderOnce) {
  writeSized("a/x.o", 1);
  writeSized("ab/y.o", 1);
  const Result result = audit({"a/../a", "ab", ".", "a", "."});
  EXPECT_EQ(result.out.substr(0, 75),
            "Audit of TREE under ../policy.xml\n  found                 2 files      2 by");
  EXPECT_EQ(result.err,
            "qvlctl: note: TREE/a is walked once only, as part of another folder\n"
            "qvlctl: note: TREE/ab is walked once only, as part of another folder\n"
            "qvlctl: note: TREE/a is walked once only, as part of another folder\n"
            "qvlctl: note: TREE is walked once only, as part of another folder\n");
}

TEST_F(Audit, CountsNamesOfAnyBytes) {
  for (const char* const name :
       {"new\nline", "\x1b[31mred", "quo\"te", "back\\slash", "-dash", " "}) {
    writeSized(std::string(name) + "/x.o", 1);
  }
  writeSized("scanned", 1);
  std::error_code refused;
  fs::create_directory(path("no utf-8 \xff\xfe"), refused);
  const bool anyBytes = !refused;
  if (anyBytes) writeSized("no utf-8 \xff\xfe/x.o", 1);

  const Result result = audit({"."});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  // The extension is matched by itself, so that the folder's name does not matter.
  EXPECT_NE(
      result.out.find(anyBytes ? "skipped               7 files" : "skipped               6 "),
      std::string::npos)
      << result.out;
  for (const char* const shown : {"TREE/new\\nline\n", "TREE/\\x1B[31mred\n", "TREE/quo\"te\n",
                                  "TREE/back\\\\slash\n", "TREE/-dash\n", "TREE/ \n"}) {
    EXPECT_NE(result.out.find(shown), std::string::npos) << shown << result.out;
  }
  if (anyBytes) {
    EXPECT_NE(result.out.find("TREE/no utf-8 \\xFF\\xFE\n"), std::string::npos);
  }
}

TEST_F(Audit, TellsFoldersThatCannotBeRead) {
  writeSized("cache/open/a", 1);
  writeSized("cache/shut/b", 1);
  writeSized("other/shut/c", 1);
  fs::permissions(path("cache/shut"), fs::perms::none);
  fs::permissions(path("other/shut"), fs::perms::none);
  Circumstances circumstances;
  circumstances.bySuperuserWithoutPrivileges = ::getuid() == 0;
  const Result result = audit({"."}, circumstances);
  const Result root = audit({"cache/shut"}, circumstances);
  fs::permissions(path("cache/shut"), fs::perms::owner_all);
  fs::permissions(path("other/shut"), fs::perms::owner_all);
  if (result.status == 125) GTEST_SKIP() << "the superuser cannot be bound by permissions here";

  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "qvlctl: warning: 2 folders could not be read and are missing above\n"
            "qvlctl:   TREE/cache/shut: Permission denied\n"
            "qvlctl:   TREE/other/shut: Permission denied\n");
  // A folder of which not everything is known is not skipped whole.
  EXPECT_NE(result.out.find("1 file  TREE/cache/open\n\n"), std::string::npos) << result.out;
  EXPECT_EQ(root,
            (Result{2, "", "qvlctl: cannot read the folder TREE/cache/shut: Permission denied\n"}));
}

TEST_F(Audit, OneRootThatCannotBeReadDoesNotEndTheOthers) {
  writeSized("cache/a", 1);
  write("file", "");
  const Result result = audit({"none", "cache", "file"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("found                  1 file"), std::string::npos) << result.out;
  EXPECT_EQ(result.err,
            "qvlctl: warning: 2 folders could not be read and are missing above\n"
            "qvlctl:   none: No such file or directory\n"
            "qvlctl:   TREE/file: Not a directory\n");
}

TEST_F(Audit, LeavesPseudoFileSystemsOutAndNamesThem) {
  struct stat devices, terminals;
  if (::stat("/dev", &devices) != 0 || ::stat("/dev/pts", &terminals) != 0 ||
      devices.st_dev == terminals.st_dev) {
    GTEST_SKIP() << "no file system is mounted on /dev/pts";
  }
  const Result result = audit({"/dev"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("left out; --pseudo-file-systems walks them, too\n"), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("qvlctl:   /dev/pts: devpts\n"), std::string::npos) << result.err;
  EXPECT_EQ(audit({"--pseudo-file-systems", "/dev"}).err.find("/dev/pts: devpts"),
            std::string::npos);
  EXPECT_EQ(audit({"/dev/pts"}).err, "");  // asked for by name
  const auto json = nlohmann::json::parse(audit({"--format", "json", "/dev"}).out);
  const nlohmann::json terminalsOut = {{"path", "/dev/pts"}, {"fileSystem", "devpts"}};
  const auto& folders = json["leftOut"]["folders"];
  EXPECT_NE(std::find(folders.begin(), folders.end(), terminalsOut), folders.end()) << folders;
}

// What only a process may do was counted as what nobody does.
TEST_F(Audit, CountsWhatIsSkippedForProcessesAndAccessTypes) {
  write("../policy.xml",
        "<exclusion-policy version='1'>\n"
        "<logic>(1&amp;2)|3</logic>\n"
        "<data-set number='1' kind='process'><rule>/usr/sbin/mysqld</rule><rule>/bin/cp</rule>"
        "</data-set>\n"
        "<data-set number='2' kind='folder'><rule>/**/db/</rule></data-set>\n"
        "<data-set number='3' kind='file-type'><rule>o</rule><rule access='write'>log</rule>"
        "</data-set>\n"
        "</exclusion-policy>\n");
  writeSized("db/a", 10);
  writeSized("db/b.o", 100);
  writeSized("x.log", 1000);
  writeSized("x", 10000);
  const Result result = audit({"."});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.substr(0, result.out.find("Largest")),
            "Audit of TREE under ../policy.xml\n"
            "  found                 4 files     10.8 KiB\n"
            "  skipped               3 files      1.1 KiB   75.0 % of the files, 10.0 % of the "
            "bytes\n"
            "  scanned                1 file      9.8 KiB\n"
            "\n"
            "Skipped, by what was asked (above: for at least one of these)\n"
            "                         1 file    100 bytes   read, no process\n"
            "                        2 files    110 bytes   read, /usr/sbin/mysqld (and 1 process "
            "alike)\n"
            "                        2 files      1.1 KiB   write, no process\n"
            "                        3 files      1.1 KiB   write, /usr/sbin/mysqld (and 1 process "
            "alike)\n"
            "                         1 file    100 bytes   for all of them\n"
            "\n"
            "Skipped, by the data sets that matched (a file may count for several)\n"
            "  1                     3 files      1.1 KiB   process\n"
            "  2                     2 files    110 bytes   folder\n"
            "  3                     2 files      1.1 KiB   file-type\n"
            "\n"
            "Rules by hits, where their data set was asked: 5 of 5 rules\n"
            "            3 skipped             1 scanned  data set 1, rule 1, line 3: "
            "/usr/sbin/mysqld\n"
            "            3 skipped             1 scanned  data set 1, rule 2, line 3: /bin/cp\n"
            "            2 skipped             0 scanned  data set 2, rule 1, line 4: /**/db/\n"
            "            1 skipped             0 scanned  data set 3, rule 1, line 5: o\n"
            "            1 skipped             0 scanned  data set 3, rule 2, line 5: log\n"
            "\n");
  // Asked for no process, the guarded folder is not said to be of no use.
  const std::string none = audit({"--process", "", "."}).out;
  EXPECT_NE(none.find("Rules that only another process or access type can hit: 3\n"
                      "  data set 1, rule 1, line 3: /usr/sbin/mysqld\n"
                      "  data set 1, rule 2, line 3: /bin/cp\n"
                      "  data set 2, rule 1, line 4: /**/db/\n"),
            std::string::npos)
      << none;
  EXPECT_EQ(none.find("never hit"), std::string::npos) << none;
}

// Nested objects were too deep for jq at 130 folders, and for Python at 3,000.
TEST_F(Audit, JsonOfDeepFoldersIsFlat) {
  std::string deep = "d";
  for (int i = 0; i < 140; ++i) deep += "/d";
  writeSized(deep + "/cache/x", 5);
  const std::string out = audit({"--format", "json", "."}).out;
  int depth = 0, deepest = 0;
  for (const char c : out) {
    if (c == '{' || c == '[') deepest = std::max(deepest, ++depth);
    if (c == '}' || c == ']') --depth;
  }
  EXPECT_LE(deepest, 6);
  const auto json = nlohmann::json::parse(out);
  ASSERT_EQ(json["folders"].size(), 143u);
  std::string path;
  for (std::size_t at = 142;;) {
    path = json["folders"][at]["name"].get<std::string>() + (path.empty() ? "" : "/" + path);
    if (json["folders"][at]["parent"].is_null()) break;
    ASSERT_LT(json["folders"][at]["parent"].get<std::size_t>(), at);
    at = json["folders"][at]["parent"];
  }
  EXPECT_EQ(path, "TREE/" + deep + "/cache");
}

TEST_F(Audit, SurvivesRunningOutOfDescriptors) {
  std::string deep = "deep";
  for (int i = 0; i < 40; ++i) deep += "/d";
  writeSized(deep + "/x.o", 1);
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  const Result result =
      run({"-c", "ulimit -n 16; exec \"$0\" audit -p ../policy.xml .", QVLCTL}, circumstances);
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("1 folder could not be read and is missing above"), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find(": Too many open files\n"), std::string::npos) << result.err;
}

TEST_F(Audit, WalksTreesDeeperThanDescriptorsAndPathsReach) {
  // 600 folders of 20 bytes: no system call takes the path as a whole. Beside the way down, at
  // every level, stands a folder that is walked on the way back.
  constexpr int kDepth = 600;
  const std::string name = "a-long-way-to-go-now";
  int at = ::open(folder().c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_EQ(::mkdirat(at, "z", 0700), 0);
    const int beside = ::openat(at, "z", O_RDONLY | O_DIRECTORY);
    const int file = ::openat(beside, "x.o", O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(file, 0);
    ::close(file);
    ::close(beside);
    ASSERT_EQ(::mkdirat(at, name.c_str(), 0700), 0);
    const int next = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY);
    ::close(at);
    at = next;
  }
  ::close(at);
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  const Result result =
      run({"-c", "ulimit -n 100; exec \"$0\" audit -p ../policy.xml .", QVLCTL}, circumstances);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("skipped             600 files"), std::string::npos) << result.out;
}

TEST_F(Audit, SurvivesATreeThatChangesUnderIt) {
  for (int i = 0; i < 50; ++i) writeSized("stays/" + std::to_string(i) + "/x.o", 1);
  writeSized("scanned", 1);
  std::atomic<bool> done{false};
  std::thread changes([&] {
    while (!done) {
      const fs::path moving = path("moving");
      std::error_code ignored;
      fs::create_directories(moving / "a/b/c", ignored);
      write("moving/a/b/c/x.o", "x");
      fs::rename(moving, path("moved"), ignored);
      fs::create_directory_symlink("/", moving, ignored);
      fs::remove(moving, ignored);
      fs::remove_all(path("moved"), ignored);
    }
  });
  for (int i = 0; i < 30; ++i) {
    const Result result = audit({"."});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("TREE/stays\n"), std::string::npos) << result.out;
    EXPECT_EQ(result.out.find("TREE/moving/usr"), std::string::npos) << result.out;
  }
  done = true;
  changes.join();
}

TEST_F(Audit, RootsMustBeFolders) {
  write("file", "");
  EXPECT_EQ(audit({"none"}),
            (Result{2, "", "qvlctl: cannot read the folder none: No such file or directory\n"}));
  EXPECT_EQ(audit({"file"}),
            (Result{2, "", "qvlctl: cannot read the folder TREE/file: Not a directory\n"}));
}

TEST_F(Audit, WritesJson) {
  writeSized("cache/a", 1000);
  writeSized("cache/deep/b.o", 24);
  writeSized("src/x.o", 1536);
  writeSized("src/x.exe", 100);
  writeSized("src/x.cpp", 7);
  Result result = audit({"--format", "json", "--top", "2", "--access", "read", "."});
  result.out = std::regex_replace(result.out, std::regex("\"querySeconds\": [-0-9.e]+"),
                                  "\"querySeconds\": T");
  const std::regex made(R"re("(created|host|version)": ".*")re");
  result.out = std::regex_replace(result.out, made, "\"$1\": \"T\"");
  EXPECT_EQ(result, (Result{0, golden("audit.json"), ""}));
}

TEST_F(Audit, WritesBytesThatAreNoUtf8AsJson) {
  std::error_code refused;
  fs::create_directory(path("odd \xff"), refused);
  if (refused) GTEST_SKIP() << "the file system takes UTF-8 only";
  writeSized("odd \xff/x.o", 1);
  writeSized("scanned", 1);
  const std::string out = audit({"--format", "json", "."}).out;
  EXPECT_NE(out.find("\"name\": \"odd \\\\xFF\",\n      \"nameHex\": \"6f646420ff\""),
            std::string::npos)
      << out;
}

TEST_F(Audit, WritesAPageThatHoldsTheJsonAndNeedsNothingElse) {
  writeSized("</script><!--/x.o", 1);
  writeSized("@AUDIT@/y.o", 2);
  const std::regex seconds("\"querySeconds\": ?[-0-9.e]+");
  const Result page = audit({"--format", "html", "."});
  EXPECT_EQ(page.status, 0);
  EXPECT_EQ(page.err, "");

  const std::string begin = "<script type=\"application/json\" id=\"audit\">";
  const std::size_t start = page.out.find(begin) + begin.size();
  const std::size_t end = page.out.find("</script>", start);
  ASSERT_NE(page.out.find(begin), std::string::npos);
  const std::string data = page.out.substr(start, end - start);
  EXPECT_EQ(data.find('<'), std::string::npos) << data;
  const auto parsed = [&](const std::string& text) {
    nlohmann::json json =
        nlohmann::json::parse(std::regex_replace(text, seconds, "\"querySeconds\":0"));
    json.erase("created");  // the second may turn between the two
    return json;
  };
  EXPECT_EQ(parsed(data), parsed(audit({"--format", "json", "."}).out));

  const std::string rest = page.out.substr(0, start) + page.out.substr(end);
  EXPECT_EQ(rest.rfind("<!DOCTYPE html>\n", 0), 0u);
  EXPECT_EQ(rest.substr(rest.size() - 8), "</html>\n");
  for (const char* const fetched :
       {"://", "src=", "href=", "url(", "@import", "fetch(", "@AUDIT@"}) {
    EXPECT_EQ(rest.find(fetched), std::string::npos) << fetched;
  }
}

TEST_F(Audit, IsEvidence) {
  writeSized("x.o", 1);
  const Result text = run({"audit", "-p", "../policy.xml", "."});
  Circumstances circumstances;
  circumstances.program = "/usr/bin/env";
  // From others than qvlctl.
  const auto lineOf = [&](const std::vector<std::string>& command) {
    const std::string out = run(command, circumstances).out;
    return out.substr(0, out.find_first_of(" \n"));
  };
  const std::string digest = lineOf({"sha256sum", "../policy.xml"});
  const std::string host = lineOf({"uname", "-n"});
  ASSERT_EQ(digest.size(), 64u);
  const std::regex line(
      "\n  20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z on (.*), qvlctl " QVLCTL_VERSION
      ", policy sha256:([0-9a-f]{64})\n");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(text.out, match, line)) << text.out;
  EXPECT_EQ(match[1], host);
  EXPECT_EQ(match[2], digest);

  const auto json = nlohmann::json::parse(audit({"--format", "json", "."}).out);
  EXPECT_EQ(json["host"], host);
  EXPECT_EQ(json["policyDigest"], "sha256:" + digest);
  EXPECT_EQ(json["policyVersion"], "1");
  EXPECT_EQ(json["tool"], (nlohmann::json{{"name", "qvlctl"}, {"version", QVLCTL_VERSION}}));

  write("../part.xml", "<exclusion-policy version=\"1\"/>");
  write("../whole.xml",
        "<exclusion-policy version=\"1\"><logic>1</logic><include file=\"part.xml\"/>"
        "</exclusion-policy>");
  const std::string whole = lineOf({"sh", "-c", "cat ../whole.xml ../part.xml | sha256sum"});
  EXPECT_NE(run({"audit", "-q", "-p", "../whole.xml", "."}).out.find("sha256:" + whole + '\n'),
            std::string::npos);

  const std::string page = audit({"--format", "html", "."}).out;
  for (const std::string& shown :
       {host, "sha256:" + digest, json["created"].get<std::string>().substr(0, 15),
        std::string("qvlctl " QVLCTL_VERSION)}) {
    EXPECT_NE(page.substr(0, page.find("<script")).find(shown), std::string::npos) << shown;
  }
}

TEST_F(Audit, ThePageTellsTheTotalsWithoutScripts) {
  writeSized("a<b>&\"'/x.o", 1234567);
  writeSized("a<b>&\"'/y", 1);
  const std::string page = audit({"--format", "html", "a<b>&\"'"}).out;
  const std::string still = page.substr(0, page.find("<script"));
  EXPECT_NE(still.find("<h1>Audit of TREE/a&lt;b&gt;&amp;&quot;'</h1>"), std::string::npos)
      << still;
  EXPECT_NE(still.find("<tr><th scope=\"row\">Skipped</th><td class=\"number\">1</td>"
                       "<td class=\"number\">1.2 MiB</td><td class=\"number\">50.0 %</td>"
                       "<td class=\"number\">100.0 %</td></tr>"),
            std::string::npos)
      << still;
  EXPECT_NE(still.find("<tr><td class=\"line\">read</td><td class=\"wide\">none</td>"
                       "<td class=\"number\">1</td><td class=\"number\">1.2 MiB</td></tr>"),
            std::string::npos)
      << still;
}

// The page in a browser, in a frame as wide as a phone.
class AuditPageInABrowser : public Audit {
 protected:
  void SetUp() override {
    Audit::SetUp();
    m_shell.program = "/bin/sh";
    if (run({"-c", "command -v chromium"}, m_shell).status != 0) {
      GTEST_SKIP() << "no chromium is installed";
    }
    writeSized("cache/" + std::string(60, 'n') + "/a", 1000);
    writeSized("src/x.o", 1536);
    writeSized("src/x.cpp", 100);
  }

  // What a script behind the page finds wrong with what the page has become, as JSON. It puts texts
  // into `problems` and calls `tell`.
  std::string problems(const std::string& script, const std::string& browserOptions = "") const {
    std::string page = audit({"--format", "html", "."}).out;
    page.insert(page.rfind("</body>"), R"js(<script>
const problems = [];
const tell = () => { parent.postMessage("checked: " + JSON.stringify(problems), "*"); };
onerror = message => { problems.push(message); tell(); };
</script><script>{)js" + script + "}</script>");
    write("page.html", page);
    // No window of the browser is as narrow as a phone, but a frame in it can be.
    write("phone.html",
          "<title>not checked</title><script>onmessage = event => { document.title = event.data; };"
          "</script><iframe src='page.html' style='border: 0; width: 390px; height: 844px'>"
          "</iframe>");
    const Result result =
        run({"-c",
             "chromium --headless --no-sandbox --disable-gpu --user-data-dir=\"$PWD/profile\" "
             "--virtual-time-budget=20000 " +
                 browserOptions +
                 " --dump-dom \"file://$PWD/phone.html\" "
                 "2>browser.log"},
            m_shell);
    const std::size_t place = result.out.find("<title>");
    if (place == std::string::npos) return result.out;
    return result.out.substr(place + 7, result.out.find("</title>", place) - place - 7);
  }

 private:
  Circumstances m_shell;
};

TEST_F(AuditPageInABrowser, CanBeUsedOnAPhoneAndByKeyboard) {
  EXPECT_EQ(problems(R"js(
const say = (what, element) => problems.push(what + ": " + element.outerHTML.slice(0, 80));
if (innerWidth !== 390) problems.push("the window is " + innerWidth + " wide");
if (document.documentElement.scrollWidth > innerWidth) problems.push("the page is too wide");
const regions = [...document.querySelectorAll("table")].map(table => table.parentElement);
if (regions.length < 5) problems.push("tables are missing");
for (const region of regions.filter(region => region.checkVisibility())) {
  if (region.tabIndex !== 0) say("not reached by the Tab key", region);
  if (!region.getAttribute("aria-label")) say("without a name", region);
  if (region.scrollWidth > region.clientWidth && region.offsetHeight - region.clientHeight < 5) {
    say("goes on without a bar", region);
  }
}
// What is to be read without scrolling: captions, and how much a data set or a rule skips.
const numbers = [...document.querySelectorAll("#data-sets th, #rules th")]
    .filter(th => th.textContent === "Files skipped");
if (numbers.length !== 2) problems.push("columns are missing");
for (const element of [...document.querySelectorAll("caption"), ...numbers]) {
  const text = document.createRange();
  text.selectNodeContents(element);
  const end = element.closest(".scroll").getBoundingClientRect().right;
  if (text.getBoundingClientRect().right > end + 1) say("cut", element);
}
if (!regions.some(region => region.scrollWidth > region.clientWidth)) {
  problems.push("no table is wider than the page, so nothing was tried");
}
for (const one of document.querySelectorAll("button, input, [role=treeitem]")) {
  if (!(one.textContent || one.ariaLabel || one.closest("label"))) say("without a name", one);
}
const stops = document.querySelectorAll("#map [tabindex='0']").length;
if (stops !== 1) problems.push("the picture has " + stops + " stops of the Tab key");
tell();
)js"),
            "checked: []");
}

// What docs/audit.md says of the picture and of the rules.
TEST_F(AuditPageInABrowser, IsAsItIsDescribed) {
  std::string dataSets;
  std::string logic;
  for (int i = 1; i <= 9; ++i) {
    const std::string n = std::to_string(i);
    dataSets += "<data-set number='" + n + "' kind='file-type'><rule>t" + n + "</rule><rule>u" + n +
                "</rule></data-set>";
    logic += (i == 1 ? "" : "|") + n;
    writeSized("many/x.t" + n, 1000000 * (30 - i));
  }
  write("../policy.xml", "<exclusion-policy version='1'><logic>" + logic + "</logic>" + dataSets +
                             "</exclusion-policy>");
  writeSized("many/scanned", 20000000);
  writeSized("area/big.t1", 60000000);
  writeSized("area/small", 20000000);
  EXPECT_EQ(problems(R"js(
const expect = (isTrue, what) => { if (!isTrue) problems.push(what); };
const map = document.getElementById("map");
const detail = document.getElementById("detail");
const boxes = () => [...map.querySelectorAll("[role=treeitem]")];
const one = start => boxes().find(box => box.textContent.startsWith(start));
const press = key => document.activeElement.dispatchEvent(
    new KeyboardEvent("keydown", {key, bubbles: true, cancelable: true}));
const place = () => document.querySelector("#crumbs strong").textContent;
const root = place();
const pixels = box => box.offsetWidth * box.offsetHeight;

// A click or Enter goes into a folder, Escape back; arrows walk; the line tells what has the focus.
one("area").focus();
expect(detail.textContent.includes("/area: 2 files"), "the line tells not the focus");
press("Enter");
expect(place() === "area", "Enter does not go in");
expect(document.activeElement.textContent.startsWith("area"), "the focus is lost");
expect(document.querySelectorAll("#here tbody tr").length === 1, "the table does not follow");
press("ArrowDown");
expect(document.activeElement.classList.contains("leaf"), "the arrow does not go down");
const leaf = document.activeElement;
expect(detail.textContent.includes("60,000,000") || /5[0-9](\.[0-9])? MiB/.test(detail.textContent),
    "the largest is not the first: " + detail.textContent);
press("ArrowRight");
expect(document.activeElement !== leaf, "the arrow does not go right");
press("ArrowLeft");
expect(document.activeElement === leaf, "the arrow does not go left");
// As large as its bytes, or its number of files; grey is scanned.
const [big, small] = boxes().filter(box => box.classList.contains("leaf"));
expect(Math.abs(pixels(big) / pixels(small) - 3) < 0.4, "bytes: " + pixels(big) / pixels(small));
const colour = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
const asHex = box => "#" + getComputedStyle(box).backgroundColor.match(/\d+/g)
    .map(n => Number(n).toString(16).padStart(2, "0")).join("");
expect(asHex(small) === colour("--scanned"), "scanned is " + asHex(small));
expect(asHex(big) !== colour("--scanned"), "skipped is grey");
document.querySelector("[name=area][value=files]").click();
const [a, b] = boxes().filter(box => box.classList.contains("leaf"));
expect(Math.abs(pixels(a) / pixels(b) - 1) < 0.2, "files: " + pixels(a) / pixels(b));
document.querySelector("[name=area][value=bytes]").click();
boxes()[0].focus();
press("Escape");
expect(place() === root, "Escape does not go back");
one("many").click();
expect(place() === "many", "a click does not go in");
one("(files)").dispatchEvent(new MouseEvent("mouseenter"));
expect(detail.textContent.includes("/many, files directly in it"), "the line tells not the pointer");
// The seven largest reasons have a colour each, the others share one.
const swatches = [...document.querySelectorAll("#legend .swatch")].map(asHex);
expect(swatches.length === 10, "reasons: " + swatches.length);
expect(new Set(swatches).size === 9, "colours: " + new Set(swatches).size);
expect(swatches[8] === swatches[9], "the smallest do not share one");
// Rules that never hit stand at the end, and alone if asked for.
const rules = () => [...document.querySelectorAll("#rules tbody tr")]
    .map(row => row.textContent.includes("never hit"));
expect(rules().length === 18 && rules().lastIndexOf(false) === 8, "rules: " + rules());
document.getElementById("idle-only").click();
expect(rules().length === 9 && !rules().includes(false), "idle: " + rules());
tell();
)js"),
            "checked: []");
}

// Texts and the picture's labels are told from what is behind them by the ratio of WCAG 2.1.
TEST_F(AuditPageInABrowser, IsLightOrDarkAsTheBrowserPrefers) {
  const std::string readable = R"js(
const rgb = text => text.match(/[\d.]+/g).map(Number);
const light = ([r, g, b]) => [r, g, b].map(c => c / 255)
    .map(c => c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4)
    .reduce((sum, c, i) => sum + c * [0.2126, 0.7152, 0.0722][i], 0);
const behind = element => {
  for (let one = element; one; one = one.parentElement) {
    const colour = rgb(getComputedStyle(one).backgroundColor);
    if (colour.length === 3 || colour[3] > 0) return light(colour);
  }
  return 1;
};
let texts = 0;
for (const one of document.querySelectorAll("h1, h2, p, dt, dd, th, td, button, label, #map div")) {
  if (!one.checkVisibility() || !one.textContent.trim()) continue;
  const [a, b] = [light(rgb(getComputedStyle(one).color)), behind(one)].sort((x, y) => y - x);
  if ((a + 0.05) / (b + 0.05) < 4.5) problems.push("hard to read: " + one.outerHTML.slice(0, 80));
  ++texts;
}
if (texts < 30) problems.push("only " + texts + " texts");
problems.push(light(rgb(getComputedStyle(document.body).backgroundColor)) > 0.5 ? "light" : "dark");
tell();
)js";
  EXPECT_EQ(problems(readable, "--blink-settings=preferredColorScheme=1"), "checked: [\"light\"]");
  EXPECT_EQ(problems(readable, "--blink-settings=preferredColorScheme=0"), "checked: [\"dark\"]");
}

TEST_F(AuditPageInABrowser, HasNoSeriousFindingOfAxe) {
  const char* const axe = std::getenv("AXE_CORE");
  if (axe == nullptr) GTEST_SKIP() << "AXE_CORE does not name the script axe.min.js of axe-core";
  std::ifstream script(axe, std::ios::binary);
  ASSERT_TRUE(script) << axe;
  EXPECT_EQ(problems(std::string(std::istreambuf_iterator<char>(script), {}) + R"js(
axe.run().then(result => {
  if (result.passes.length < 10) problems.push("axe has looked at nothing");
  for (const rule of result.violations.filter(one => ["serious", "critical"].includes(one.impact))) {
    problems.push("axe " + rule.id + ": " + rule.nodes[0].html.slice(0, 80));
  }
  tell();
});
)js"),
            "checked: []");
}

TEST_F(Audit, RefusesAnUnknownFormat) {
  EXPECT_EQ(audit({"--format", "pdf", "."}),
            (Result{2, "",
                    "qvlctl: --format: expected text, json or html; found \"pdf\"\n"
                    "Try `qvlctl audit --help`.\n"}));
}

TEST_F(Audit, ShowsProgressOnATerminalAndCleansUp) {
  if (!hasTerminals()) GTEST_SKIP() << "this system has no pseudo terminals";
  writeSized("x.o", 1);
  Circumstances circumstances;
  circumstances.errorsOnTerminal = true;
  std::string line = "0 skipped of 0 files  " + folder();
  if (line.size() > 79) line = line.substr(0, 76) + "...";
  EXPECT_EQ(run({"audit", "-p", "../policy.xml", "."}, circumstances).err,
            "\r\x1b[K" + line + "\r\x1b[K");
  EXPECT_EQ(audit({"."}).err, "");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
