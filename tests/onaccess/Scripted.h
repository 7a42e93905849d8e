// A kernel, a scanner and a policy that do what a test says.

#ifndef QVL_TESTS_ONACCESS_SCRIPTED_H
#define QVL_TESTS_ONACCESS_SCRIPTED_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Exclusions.h"
#include "Kernel.h"
#include "Scanner.h"

namespace onaccess {
namespace test {

using namespace std::chrono_literals;

// A regular file with an inode, and times that are different for each version of its content.
inline FileStatus fileStatus(ino_t inode, std::int64_t version = 1, dev_t device = 7) {
  FileStatus status;
  status.identity = {device, inode};
  status.isRegular = true;
  status.size = 100;
  status.modified = version;
  status.changed = version;
  return status;
}

// Files and processes in tables. Descriptors are numbers that the kernel gives out.
class ScriptedKernel : public Kernel {
 public:
  struct File {
    std::string path;
    std::optional<FileStatus> status;
    bool hasWriters = false;
  };
  struct Process {
    std::string program;
    FileIdentity file;
    uid_t user = 1000;
  };

  // What names lead to for the host; by default to the files and programs of that name.
  std::map<std::string, FileIdentity> names;
  std::map<pid_t, Process> processes;
  // Called when somebody asks for writers, after the answer is clear.
  std::function<void()> afterWriters;
  std::atomic<bool> hasNoMemoryForPrograms{false};
  // Called when somebody asks for a file's name.
  std::function<void()> afterPath;

  // A process opens a file: the descriptor of the event.
  int open(pid_t process, const File& file) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const int descriptor = m_next++;
    m_files[descriptor] = file;
    m_events.push_back({descriptor, process});
    m_changed.notify_all();
    return descriptor;
  }

  // The same without an event, for those who ask about it directly.
  int openAside(const File& file) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const int descriptor = m_next++;
    m_files[descriptor] = file;
    return descriptor;
  }

  void overflow() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_overflows;
    m_changed.notify_all();
  }

  void fail() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hasFailed = true;
    m_changed.notify_all();
  }

  // Nobody waits for answers any more.
  void killOpeners() { m_areOpenersGone = true; }

  // The answer to an open; nothing when there is none within the time.
  std::optional<bool> answerTo(int descriptor, Duration time = 10s) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_for(lock, time, [&] { return m_answers.count(descriptor) != 0; }))
      return {};
    return m_answers[descriptor].front();
  }

  std::size_t answersTo(int descriptor) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto answers = m_answers.find(descriptor);
    return answers == m_answers.end() ? 0 : answers->second.size();
  }

  // Waits until every descriptor has been closed.
  bool waitUntilAllAreClosed(Duration time = 10s) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, time, [&] { return m_files.empty(); });
  }

  bool letsPass() const { return m_letsPass; }

  Received receive(Event* events, std::size_t capacity) override {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(
        lock, [&] { return m_isStopped || !m_events.empty() || m_overflows != 0 || m_hasFailed; });
    Received received;
    if (m_isStopped) return received;
    received.overflows = std::exchange(m_overflows, 0);
    received.hasFailed = std::exchange(m_hasFailed, false);
    while (received.events < capacity && !m_events.empty()) {
      events[received.events++] = m_events.front();
      m_events.pop_front();
    }
    return received;
  }

  bool answer(int descriptor, bool isAllowed) override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answers[descriptor].push_back(isAllowed);
    m_changed.notify_all();
    return !m_areOpenersGone;
  }

  void close(int descriptor) override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_files.erase(descriptor) != 1) throw std::logic_error("closed twice");
    m_changed.notify_all();
  }

  void stop() override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_changed.notify_all();
  }

  void letEverythingPass() override {
    m_letsPass = true;
    stop();
  }

  std::optional<FileStatus> statusOf(int descriptor) override { return file(descriptor).status; }
  bool mayHaveWriters(int descriptor) override {
    const bool hasWriters = file(descriptor).hasWriters;
    if (afterWriters) afterWriters();
    return hasWriters;
  }

  bool pathOf(int descriptor, std::string& path) override {
    path = file(descriptor).path;
    if (afterPath) afterPath();
    return !path.empty();
  }

  bool programOf(pid_t process, std::string& path) override {
    if (hasNoMemoryForPrograms) throw std::bad_alloc();
    const auto found = processes.find(process);
    if (found != processes.end()) path = found->second.program;
    return found != processes.end();
  }

  std::optional<FileIdentity> programFileOf(pid_t process) override {
    const auto found = processes.find(process);
    if (found == processes.end()) return {};
    return found->second.file;
  }

  std::optional<uid_t> userOf(pid_t process) override {
    const auto found = processes.find(process);
    if (found == processes.end()) return {};
    return found->second.user;
  }

  std::optional<FileIdentity> fileAt(const std::string& path) override {
    const auto found = names.find(path);
    if (found == names.end()) return {};
    return found->second;
  }

 private:
  File file(int descriptor) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_files.at(descriptor);
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_next = 1000;
  std::map<int, File> m_files;
  std::deque<Event> m_events;
  std::map<int, std::vector<bool>> m_answers;
  std::size_t m_overflows = 0;
  bool m_hasFailed = false;
  bool m_isStopped = false;
  std::atomic<bool> m_areOpenersGone{false};
  std::atomic<bool> m_letsPass{false};
};

// Replies as a function says; hangs until its deadline when told so.
class ScriptedScanner : public Scanner {
 public:
  ScanReply scan(int descriptor, Time deadline) override {
    ++scans;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_until(lock, deadline, [&] { return !m_hangs || m_isStopped; });
    if (m_isStopped) return {ScanResult::Unreachable, "stopped", 0};
    if (m_hangs) return {ScanResult::Deadline, "no reply in time", 0};
    const std::function<ScanReply(int)> reply = m_reply;
    lock.unlock();
    return reply(descriptor);
  }

  VersionReply version(Time) override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_version;
  }

  void stop() override {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isStopped = true;
    m_changed.notify_all();
  }

  void replies(ScanResult result, const std::string& detail = {}) {
    replies([=](int) { return ScanReply{result, detail, 0}; });
  }
  void replies(std::function<ScanReply(int)> reply) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reply = std::move(reply);
  }
  void hang(bool hangs) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hangs = hangs;
    m_changed.notify_all();
  }
  void setVersion(const VersionReply& version) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_version = version;
  }

  std::atomic<std::size_t> scans{0};

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_hangs = false;
  bool m_isStopped = false;
  std::function<ScanReply(int)> m_reply = [](int) { return ScanReply{ScanResult::Clean, {}, 0}; };
  VersionReply m_version = {true, "ClamAV 1.4.6/1/x", 0};
};

// Excludes what lies below /excluded/, and what the program /bin/trusted opens when programs are
// read.
class ScriptedExclusions : public Exclusions {
 public:
  bool readsProgram() const override { return isReadingProgram; }
  std::optional<bool> isExcluded(const std::string& path, const std::string& program,
                                 std::vector<unsigned int>& dataSets) override {
    ++questions;
    if (throws) throw std::bad_alloc();
    if (onQuestion) onQuestion();
    if (program.empty() && isReadingProgram) return std::nullopt;
    dataSets.clear();
    if (path.rfind("/excluded/", 0) == 0) dataSets.push_back(1);
    if (program == "/bin/trusted") dataSets.push_back(2);
    return !dataSets.empty();
  }

  // Called with each question, before its answer.
  std::function<void()> onQuestion;
  std::atomic<bool> isReadingProgram{false};
  std::atomic<bool> throws{false};
  std::atomic<std::size_t> questions{0};
};

}  // namespace test
}  // namespace onaccess

#endif  // QVL_TESTS_ONACCESS_SCRIPTED_H
