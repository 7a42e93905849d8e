// Holds all threads of a name in a process, as if they were stuck: hold-threads PROCESS NAME
// Prints "held N" and waits until the process has ended.

#include <dirent.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string folder = std::string("/proc/") + argv[1] + "/task";
  DIR* const tasks = ::opendir(folder.c_str());
  if (tasks == nullptr) return 2;
  int held = 0;
  while (const dirent* const entry = ::readdir(tasks)) {
    std::string name;
    std::ifstream(folder + "/" + entry->d_name + "/comm") >> name;
    if (name != argv[2]) continue;
    const pid_t thread = std::atoi(entry->d_name);
    if (::ptrace(PTRACE_SEIZE, thread, 0, 0) == 0 &&
        ::ptrace(PTRACE_INTERRUPT, thread, 0, 0) == 0) {
      ++held;
    }
  }
  ::closedir(tasks);
  std::printf("held %d\n", held);
  std::fflush(stdout);
  int status;
  int running = held;
  while (running > 0) {
    const pid_t thread = ::waitpid(-1, &status, __WALL);
    if (thread < 0) break;
    if (WIFEXITED(status) || WIFSIGNALED(status)) --running;
  }
  return held > 0 ? 0 : 1;
}
