// The log of a host that answers the kernel's questions about opened files, those of its own log
// included: whoever opens a file waits for the answer, and the thread that answers logs before it
// does. In a mount namespace of the test's own, so that nobody else is asked.

#include "tests/trace/TraceFixture.h"

#if defined(__linux__)

#include <poll.h>
#include <sched.h>
#include <sys/fanotify.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "qvl/qvl.h"

namespace QVL {
namespace Test {
namespace {

class TracePermission : public TraceTest, public testing::WithParamInterface<int> {
 protected:
  // A home on a file system of its own.
  void SetUp() override {
    TraceTest::SetUp();
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr)) {
      GTEST_SKIP() << "no mount namespace: " << std::strerror(errno);
    }
    if (mount("tmpfs", kHome, "tmpfs", 0, nullptr) != 0) {
      GTEST_SKIP() << "no file system of its own: " << std::strerror(errno);
    }
    restoreHome();
    m_events = fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC | FAN_NONBLOCK, O_RDONLY | O_CLOEXEC);
    if (m_events < 0) GTEST_SKIP() << "no permission events: " << std::strerror(errno);
  }

  // As many threads as the case wants answer every question about this file system and that of the
  // programs and libraries; `beforeAnswer` is what they do first.
  void answer(const std::function<void(const std::string&)>& beforeAnswer) {
    for (const char* name : {"/", kHome}) {
      ASSERT_EQ(
          fanotify_mark(m_events, FAN_MARK_ADD | FAN_MARK_MOUNT, FAN_OPEN_PERM, AT_FDCWD, name), 0)
          << std::strerror(errno);
    }
    for (int i = 0; i < GetParam(); ++i) {
      m_threads.emplace_back([this, beforeAnswer] { answerUntilStopped(beforeAnswer); });
    }
  }

  // Runs `call` in a thread and ends the process when it never returns: the kernel lets everybody
  // go on then.
  static void expectToEnd(const std::function<void()>& call) {
    std::promise<void> ended;
    std::thread thread([&] {
      call();
      ended.set_value();
    });
    if (ended.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      std::printf("The threads that answer wait for the thread that waits for their answer.\n");
      std::fflush(stdout);
      _exit(1);
    }
    thread.join();
  }

  void stop() {
    m_stopped = true;
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
    if (m_events >= 0) close(m_events);
    m_events = -1;
  }

  void TearDown() override {
    stop();
    TraceTest::TearDown();
  }

  std::atomic<int> m_answered{0};

 private:
  void answerUntilStopped(const std::function<void(const std::string&)>& beforeAnswer) {
    while (!m_stopped) {
      pollfd waiting{m_events, POLLIN, 0};
      if (poll(&waiting, 1, 50) <= 0) continue;
      alignas(fanotify_event_metadata) char buffer[4096];
      ssize_t size = read(m_events, buffer, sizeof buffer);
      const auto* event = reinterpret_cast<const fanotify_event_metadata*>(buffer);
      for (; FAN_EVENT_OK(event, size); event = FAN_EVENT_NEXT(event, size)) {
        char name[4096];
        const std::string link = "/proc/self/fd/" + std::to_string(event->fd);
        const ssize_t length = readlink(link.c_str(), name, sizeof name);
        beforeAnswer(std::string(name, static_cast<std::size_t>(length < 0 ? 0 : length)));
        const fanotify_response response{event->fd, FAN_ALLOW};
        EXPECT_EQ(write(m_events, &response, sizeof response),
                  static_cast<ssize_t>(sizeof response));
        close(event->fd);
        ++m_answered;
      }
    }
  }

  int m_events = -1;
  std::atomic<bool> m_stopped{false};
  std::vector<std::thread> m_threads;
};

TEST_P(TracePermission, ReloadDoesNotKeepTheAnswersWaiting) {
  configure("5");
  LookupManager manager;
  auto folders = std::make_shared<FolderDataSet>();
  folders->addToDataSet(std::make_unique<FolderAvoidance>("/nowhere/*/", AnyAccess, 1));
  auto ages = std::make_shared<FileAgeDataSet>();
  ages->addToDataSet(std::make_unique<FileAgeAvoidance>("1   90", AnyAccess));
  manager.assignDataSet(folders, 1, 0);
  manager.assignDataSet(ages, 2, 0);
  manager.defineBusinessLogic("1|2");

  answer([&](const std::string& name) {
    LookupData request;
    request.m_filePath = name;
    manager.isPresent(request);
    log(4, "asked");
  });
  constexpr int kReloads = 30;
  expectToEnd([] {
    for (int i = 0; i < kReloads; ++i) {
      configure(i % 2 ? "5" : "4");
      reloadHandler(1);
    }
  });
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  log(5, "after");
  stop();
  EXPECT_GE(m_answered, 3 * kReloads);  // the configuration twice and the trace file
  EXPECT_THAT(traceFile(), testing::HasSubstr("LookupManager::isPresent\n\n"));
  EXPECT_THAT(traceFile(), testing::EndsWith("after\n"));
}

TEST_P(TracePermission, StartDoesNotKeepTheAnswersWaiting) {
  configure("5");
  answer([](const std::string& name) { log(5, "asked about " + name); });
  expectToEnd([] { log(5, "first"); });
  stop();
  EXPECT_THAT(traceFile(), testing::HasSubstr(std::string("asked about ") + kConfiguration + "\n"));
  EXPECT_THAT(traceFile(), testing::EndsWith("first\n"));
}

INSTANTIATE_TEST_SUITE_P(Threads, TracePermission, testing::Values(1, 4));

}  // namespace
}  // namespace Test
}  // namespace QVL

#endif
