#include "Program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

[[noreturn]] void giveUp(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void redirect(const std::string& file, int flags, int target) {
  const int descriptor = ::open(file.c_str(), flags | O_CLOEXEC, 0600);
  if (descriptor < 0 || ::dup2(descriptor, target) < 0) ::_exit(126);
}

void giveUpPrivileges() {
#ifdef __linux__
  // What the bounding set lacks, a program run by the superuser does not get.
  for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) ::_exit(125);
  }
#else
  ::_exit(125);
#endif
}

// The side of a new terminal that the test keeps.
int openTerminal() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) giveUp("terminal");
  return master;
}

// Everything that is written to a terminal until its last other side is closed.
std::string readTerminal(int master) {
  std::string text;
  char buffer[4096];
  for (ssize_t count; (count = ::read(master, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(master);
  return text;
}

}  // namespace

void PrintTo(const Result& result, std::ostream* stream) {
  *stream << "status " << result.status << "\n--- out ---\n"
          << result.out << "--- err ---\n"
          << result.err << "---";
}

ProgramTest::ProgramTest() {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  const fs::path folder = fs::path(QVLCTL_SCRATCH) / test.test_suite_name() / test.name();
  fs::remove_all(folder);
  fs::create_directories(folder / "tree");
  m_folder = fs::canonical(folder / "tree").string();
}

ProgramTest::~ProgramTest() {
  std::error_code ignored;
  fs::remove_all(fs::path(m_folder).parent_path(), ignored);
}

bool ProgramTest::hasTerminals() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  const bool granted = master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0;
  const int slave = granted ? ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
  for (const int descriptor : {slave, master}) {
    if (descriptor >= 0) ::close(descriptor);
  }
  return slave >= 0;
}

Result ProgramTest::run(const std::vector<std::string>& arguments,
                        const Circumstances& circumstances) const {
  const std::string in = m_folder + "/../in";
  const std::string out = m_folder + "/../out";
  const std::string err = m_folder + "/../err";
  std::ofstream(in, std::ios::binary) << circumstances.input;
  const bool usesTerminal = circumstances.errorsOnTerminal || circumstances.outputOnTerminal;
  const int terminal = usesTerminal ? openTerminal() : -1;
  const std::string terminalName = terminal < 0 ? "" : ::ptsname(terminal);

  std::vector<std::string> texts = {circumstances.program};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);

  const pid_t child = ::fork();
  if (child < 0) giveUp("fork");
  if (child == 0) {
    if (::chdir(m_folder.c_str()) != 0) ::_exit(126);
    redirect(in, O_RDONLY, STDIN_FILENO);
    const auto connect = [&](bool toTerminal, const std::string& file, int target) {
      toTerminal ? redirect(terminalName, O_RDWR | O_NOCTTY, target)
                 : redirect(file, O_WRONLY | O_CREAT | O_TRUNC, target);
    };
    connect(circumstances.outputOnTerminal, out, STDOUT_FILENO);
    connect(circumstances.errorsOnTerminal, err, STDERR_FILENO);
    if (circumstances.outputOnTerminal) {
      ::setenv("TERM", "xterm", 1);
      ::unsetenv("NO_COLOR");
    }
    if (circumstances.bySuperuserWithoutPrivileges) giveUpPrivileges();
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }

  Result result;
  const std::string seen = usesTerminal ? readTerminal(terminal) : "";
  int status = 0;
  if (::waitpid(child, &status, 0) != child) giveUp("waitpid");
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = circumstances.outputOnTerminal ? seen : contentOf(out);
  result.err = circumstances.errorsOnTerminal ? seen : contentOf(err);
  return result;
}

void ProgramTest::write(const std::string& name, const std::string& content) const {
  fs::create_directories(fs::path(path(name)).parent_path());
  std::ofstream stream(path(name), std::ios::binary);
  stream << content;
  if (!stream.flush()) giveUp(name.c_str());
}

std::string ProgramTest::read(const std::string& name) const {
  return contentOf(path(name));
}

std::string ProgramTest::golden(const std::string& name) {
  return contentOf(QVL_SOURCE_DIR "/tests/qvlctl/golden/" + name);
}

}  // namespace Test
}  // namespace QVL
