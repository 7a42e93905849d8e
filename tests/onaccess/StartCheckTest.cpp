#include "StartCheck.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Trouble.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/support/ScratchFolder.h"

namespace onaccess {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

std::string troubleOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Trouble& trouble) {
    return trouble.what();
  }
  return "none";
}

dev_t deviceOf(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) throw std::runtime_error("no " + path);
  return status.st_dev;
}

// What is watched when the file system of a folder is.
std::vector<WatchedMount> mountsOf(fs::path folder) {
  Options options;
  options.isRootConfirmed = true;
  for (;; folder = folder.parent_path()) {
    options.mounts = {folder.string()};
    if (troubleOf([&] { mountsToWatch(options); }) == "none") return mountsToWatch(options);
    if (folder == "/") throw std::runtime_error("no mount");
  }
}

TEST(StartCheck, TakesWhereAFileSystemIsMounted) {
  Options options;
  options.mounts = {"/proc", "/proc/"};
  options.failClosed = {"/proc"};
  const std::vector<WatchedMount> mounts = mountsToWatch(options);
  ASSERT_EQ(mounts.size(), 1u) << "each file system once";
  EXPECT_EQ(mounts[0].device, deviceOf("/proc"));
  EXPECT_EQ(mounts[0].failurePolicy, FailurePolicy::Closed);
}

TEST(StartCheck, RefusesAFolderInsideOfAFileSystem) {
  const QVL::Test::ScratchFolder folder;
  Options options;
  options.isRootConfirmed = true;
  options.mounts = {folder.path().string()};
  EXPECT_THAT(troubleOf([&] { mountsToWatch(options); }), HasSubstr("found one inside"));
  options.mounts = {folder / "none"};
  EXPECT_EQ(troubleOf([&] { mountsToWatch(options); }),
            "--mount: cannot examine \"" + (folder / "none") + "\": No such file or directory");
}

TEST(StartCheck, RefusesTheRootUnlessItIsConfirmed) {
  Options options;
  options.mounts = {"/"};
  EXPECT_THAT(troubleOf([&] { mountsToWatch(options); }), HasSubstr("--confirm-root"));
  options.isRootConfirmed = true;
  EXPECT_EQ(mountsToWatch(options).size(), 1u);
}

TEST(StartCheck, RefusesToFailClosedWhereNothingIsWatched) {
  Options options;
  options.mounts = {"/proc"};
  options.failClosed = {"/"};
  EXPECT_THAT(troubleOf([&] { mountsToWatch(options); }), HasSubstr("--fail-closed"));
}

TEST(StartCheck, RefusesToWriteWhereItWatches) {
  const QVL::Test::ScratchFolder folder;
  const std::vector<WatchedMount> here = mountsOf(folder.path());
  const std::vector<WatchedMount> elsewhere = mountsOf("/proc");
  Options options;
  options.control = "/sys/control";
  EXPECT_EQ(troubleOf([&] { checkThatNothingIsWritten(options, elsewhere); }), "none");

  options.metrics = folder / "metrics";
  EXPECT_EQ(troubleOf([&] { checkThatNothingIsWritten(options, elsewhere); }), "none");
  EXPECT_THAT(troubleOf([&] { checkThatNothingIsWritten(options, here); }), HasSubstr("--metrics"));

  options.metrics = "/none/metrics";
  EXPECT_EQ(troubleOf([&] { checkThatNothingIsWritten(options, elsewhere); }),
            "--metrics \"/none/metrics\": cannot examine \"/none\": No such file or directory");

  options.metrics.clear();
  options.control = folder / "control";
  EXPECT_THAT(troubleOf([&] { checkThatNothingIsWritten(options, here); }), HasSubstr("--control"));

  options.control = "/sys/control";
  options.isTracing = true;
  EXPECT_THAT(troubleOf([&] { checkThatNothingIsWritten(options, here); }), HasSubstr("--trace"));
}

TEST(StartCheck, RefusesALinkThatLeadsWhereItWatches) {
  const QVL::Test::ScratchFolder folder;
  QVL::Test::writeFile(folder / "target", "");
  ASSERT_EQ(::symlink((folder / "target").c_str(), (folder / "link").c_str()), 0);
  Options options;
  options.control = "/sys/control";
  options.metrics = "/proc/self/cwd/x";
  const std::vector<WatchedMount> here = mountsOf(fs::current_path());
  EXPECT_THAT(troubleOf([&] { checkThatNothingIsWritten(options, here); }), HasSubstr("--metrics"));
}

TEST(StartCheck, RefusesMoreOpenFilesThanItMayHave) {
  struct rlimit limit;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = 100;
  limit.rlim_max = 500;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_NO_THROW(allowOpenFiles(400));
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(limit.rlim_cur, 400u);
  EXPECT_THAT(troubleOf([] { allowOpenFiles(501); }), HasSubstr("500"));
}

}  // namespace
}  // namespace onaccess
