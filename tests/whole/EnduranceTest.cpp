// A host that runs for long: queries from several threads, swapped data sets, new logics, rules
// that come and go and are recompiled, reloads of the trace log. Every answer is checked, resident
// memory stays flat, and no descriptor is lost. QVL_TEST_SIZE says how long.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Descriptors.h"
#include "tests/support/Dice.h"
#include "tests/support/Requests.h"
#include "tests/support/Sanitizers.h"

namespace QVL {
namespace Test {
namespace {

constexpr int kThreads = 3;

// Sanitizers hold memory back on purpose.
constexpr bool kMemoryTells = !QVL_TEST_ADDRESS_SANITIZER && !QVL_TEST_THREAD_SANITIZER;

// The most memory that the process ever held, in kilobytes: it grows when anything piles up.
long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
#if defined(__APPLE__)
  return usage.ru_maxrss / 1024;
#else
  return usage.ru_maxrss;
#endif
}

std::shared_ptr<IDataSet> folders(int generation) {
  auto dataSet = std::make_shared<FolderDataSet>();
  for (int i = 0; i < 40; ++i) {
    dataSet->addToDataSet(std::make_unique<FolderAvoidance>(
        "/data/" + std::to_string(generation) + "/" + std::to_string(i) + "/", AnyAccess, 1));
  }
  dataSet->addToDataSet(std::make_unique<FolderAvoidance>("/excluded/*/", AnyAccess, 1));
  return dataSet;
}

class Host {
 public:
  Host() {
    m_paths->addOrUpdateKeyword("%TOP%", {"top", "summit"});
    m_paths->addToDataSet(std::make_unique<FilePathAvoidance>("/%TOP%/**/*.log", AnyAccess));
    m_paths->addToDataSet(std::make_unique<FilePathAvoidance>("/(x|y)+z", AnyAccess));
    m_types->addToDataSet(std::make_unique<FileTypeAvoidance>("iso", AnyAccess));
    m_manager.assignDataSet(folders(0), 1, 1);
    m_manager.assignDataSet(m_paths, 2, 1);
    m_manager.assignDataSet(m_types, 3, 1);
    m_manager.defineBusinessLogic("1|2|3");
  }

  // Some queries from every thread, with changes of the policy among them that leave these verdicts
  // as they are. Answers how many were wrong.
  int live(std::size_t queries) {
    std::atomic<int> wrong{0};
    std::atomic<int> querying{kThreads};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        wrong += query(queries / kThreads);
        --querying;
      });
    }
    while (querying > 0) {
      change();
      std::this_thread::yield();
    }
    for (std::thread& thread : threads) thread.join();
    return wrong;
  }

  int changes() const { return m_changes; }

 private:
  int query(std::size_t queries) {
    static const struct {
      const char* path;
      bool present;
    } rows[] = {
        {"/excluded/a/file", true},
        {"/summit/a/b/c.log", true},
        {"/xyyxz", true},
        {"/image.ISO", true},
        {"/excluded", false},
        {"/summit/a/b/c.txt", false},
        {"/xyyx", false},
        {"/other/\xc3\xa9/x", false},
        {"/image.is", false},
        {"/data/none/0/x.c", false},
        {"", false},
    };
    int wrong = 0;
    for (std::size_t i = 0; i < queries; ++i) {
      const auto& row = rows[i % (sizeof rows / sizeof *rows)];
      LookupData request = fileRequest(row.path, ReadAccess);
      wrong += m_manager.isPresent(request) != row.present;
      wrong += request.m_matchIdentifiers.empty() == row.present;
    }
    return wrong;
  }

  void change() {
    const char* const logics[] = {"1|2|3", "3|(2|1)", "!(!1&!2&!3)", "(1|2|3)&!4"};
    switch (++m_changes % 5) {
      case 0:
        m_manager.assignDataSet(folders(m_changes), 1, 1);
        break;
      case 1:
        m_manager.defineBusinessLogic(logics[m_changes % 4]);
        break;
      case 2:
        m_paths->addToDataSet(std::make_unique<FilePathAvoidance>(extra(), AnyAccess));
        break;
      case 3: {
        --m_changes;
        FilePathAvoidance same(extra(), AnyAccess);
        ++m_changes;
        m_paths->removeFromDataSet(same);
        break;
      }
      default:
        reloadHandler(1);
    }
  }

  std::string extra() const { return "/extra/" + std::to_string(m_changes) + "/(a|b)*"; }

  LookupManager m_manager;
  std::shared_ptr<FilePathDataSet> m_paths = std::make_shared<FilePathDataSet>();
  std::shared_ptr<FileTypeDataSet> m_types = std::make_shared<FileTypeDataSet>();
  int m_changes = 0;
};

TEST(Endurance, AnswersStayRightAndNothingPilesUp) {
  const std::size_t queries = Dice::cases(600000);
  Host host;
  ASSERT_EQ(host.live(queries / 4 + 100000), 0) << "while warming up";
  const long peak = peakKilobytes();
  const int descriptors = openDescriptors();
  const int changes = host.changes();

  EXPECT_EQ(host.live(queries), 0);

  EXPECT_EQ(openDescriptors(), descriptors);
  const long growth = peakKilobytes() - peak;
  if (kMemoryTells) {
    // What allocators and threads may still come to need; a block lost per query or change is more.
    EXPECT_LT(growth, 4096) << "kilobytes";
  }
  EXPECT_GT(host.changes(), changes);
  RecordProperty("queries", std::to_string(queries));
  RecordProperty("changes", std::to_string(host.changes() - changes));
  RecordProperty("peak in kilobytes", std::to_string(peak));
  RecordProperty("growth in kilobytes", std::to_string(growth));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
