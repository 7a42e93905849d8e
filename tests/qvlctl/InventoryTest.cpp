// qvlctl inventory

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class InventoryCommand : public ProgramTest {
 protected:
  static std::vector<nlohmann::json> linesOf(const Result& result) {
    std::vector<nlohmann::json> lines;
    std::istringstream text(result.out);
    for (std::string line; std::getline(text, line);) lines.push_back(nlohmann::json::parse(line));
    return lines;
  }
};

TEST_F(InventoryCommand, WritesALineForEachFile) {
  write("a/x", "12345");
  const timespec times[] = {{0, 0}, {86400, 999999999}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("a/x").c_str(), times, 0), 0);
  const Result result = run({"inventory", "--host", "h1", "a"});
  EXPECT_EQ(result.status, 0) << result.err;
  const std::vector<nlohmann::json> lines = linesOf(result);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0]["host"], "h1");
  EXPECT_EQ(lines[0]["path"], path("a/x"));
  EXPECT_EQ(lines[0]["size"], 5);
  EXPECT_EQ(lines[0]["mtime"], 86400);
}

TEST_F(InventoryCommand, KeepsEveryByteOfAName) {
  write("a/\xff\n", "");
  const std::vector<nlohmann::json> lines = linesOf(run({"inventory", "a"}));
  ASSERT_EQ(lines.size(), 1u);
  const std::string hex = lines[0]["pathHex"];
  EXPECT_EQ(hex.substr(hex.size() - 4), "ff0a");
}

// The kernel's files have no time of creation, those of most file systems have one.
TEST_F(InventoryCommand, LeavesOutATimeThatIsNotKnown) {
#if defined(__linux__)
  write("a/x", "");
  for (const std::string& folder : {path("a"), std::string("/proc/sys/kernel/random")}) {
    struct statx status;
    if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_BTIME, &status) != 0) continue;
    const bool isKnown = (status.stx_mask & STATX_BTIME) != 0;
    const std::vector<nlohmann::json> lines = linesOf(run({"inventory", folder}));
    ASSERT_FALSE(lines.empty()) << folder;
    for (const nlohmann::json& line : lines) {
      EXPECT_EQ(line.contains("btime"), isKnown) << line;
      EXPECT_TRUE(line.contains("mtime")) << line;
    }
  }
#else
  GTEST_SKIP() << "every file has a time of creation here";
#endif
}

TEST_F(InventoryCommand, NamesTheHostUnlessTold) {
  write("a/x", "");
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  const std::vector<nlohmann::json> lines = linesOf(run({"inventory", "a"}));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0]["host"], name);
}

TEST_F(InventoryCommand, NeedsAFolder) {
  EXPECT_EQ(run({"inventory"}).status, 2);
  EXPECT_EQ(run({"inventory", "none"}).status, 2);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
