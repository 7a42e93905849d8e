// Opens files again and again and looks whether that is allowed as expected:
//
//   open-load SECONDS THREADS [+FILE...] [-FILE...]
//
// A file after + must be allowed, one after - denied. Prints the opens per second and the number of
// wrong answers; exit status 1 when there is any.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const double seconds = std::atof(argv[1]);
  const int threads = std::atoi(argv[2]);
  const std::vector<std::string> files(argv + 3, argv + argc);

  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto end = start + std::chrono::duration<double>(seconds);
  std::atomic<std::uint64_t> opens{0};
  std::atomic<std::uint64_t> wrong{0};
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      std::uint64_t own = 0;
      for (std::size_t i = static_cast<std::size_t>(thread); Clock::now() < end; ++i, ++own) {
        const std::string& file = files[i % files.size()];
        const int descriptor = ::open(file.c_str() + 1, O_RDONLY | O_CLOEXEC);
        const bool isDenied = descriptor < 0 && errno == EPERM;
        if (descriptor >= 0) ::close(descriptor);
        if (descriptor < 0 && !isDenied) std::perror(file.c_str() + 1);
        if ((file[0] == '+') != (descriptor >= 0)) ++wrong;
      }
      opens += own;
    });
  }
  for (std::thread& thread : running) thread.join();
  const double passed = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf("%.0f opens/s, %llu opens, %llu wrong\n", static_cast<double>(opens) / passed,
              static_cast<unsigned long long>(opens), static_cast<unsigned long long>(wrong));
  return wrong == 0 ? 0 : 1;
}
