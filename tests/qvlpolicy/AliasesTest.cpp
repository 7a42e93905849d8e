// Folders that have two names.

#include "qvlpolicy/Aliases.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace qvlpolicy {
namespace {

TEST(Aliases, TheRealNameIsTheOneThatAScannerReports) {
  const struct {
    Platform platform;
    const char* path;
    std::optional<std::string> real;
  } rows[] = {
      {Platform::MacOs, "/tmp/x", "/private/tmp/x"},
      {Platform::MacOs, "/tmp", "/private/tmp"},
      {Platform::MacOs, "/tmp/", "/private/tmp/"},
      {Platform::MacOs, "/var/log/x", "/private/var/log/x"},
      {Platform::MacOs, "/etc/hosts", "/private/etc/hosts"},
      {Platform::MacOs, "/System/Volumes/Data/Users/ann/x", "/Users/ann/x"},
      {Platform::MacOs, "/private/tmp/x", std::nullopt},
      {Platform::MacOs, "/tmpx", std::nullopt},
      {Platform::MacOs, "/Users/tmp/x", std::nullopt},
      {Platform::MacOs, "", std::nullopt},
      {Platform::Linux, "/bin/ls", "/usr/bin/ls"},
      {Platform::Linux, "/var/run/x", "/run/x"},
      {Platform::Linux, "/tmp/x", std::nullopt},
  };
  for (const auto& row : rows) EXPECT_EQ(realName(row.platform, row.path), row.real) << row.path;
}

TEST(Aliases, OtherNamesLeadBothWays) {
  using Names = std::vector<std::string>;
  EXPECT_EQ(otherNames("/tmp/x"), (Names{"/private/tmp/x", "/System/Volumes/Data/tmp/x"}));
  EXPECT_EQ(otherNames("/private/tmp/x"), (Names{"/tmp/x", "/System/Volumes/Data/private/tmp/x"}));
  EXPECT_EQ(otherNames("/System/Volumes/Data/srv/x")[0], "/srv/x");
  EXPECT_EQ(otherNames("relative"), Names{});
}

}  // namespace
}  // namespace qvlpolicy
