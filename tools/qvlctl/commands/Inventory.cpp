#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/FileTimes.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "walk/Missing.h"
#include "walk/Roots.h"
#include "walk/TreeWalk.h"

namespace qvlctl {
namespace {

struct InventoryOptions {
  std::string host;
  WalkOptions walk;
  std::vector<std::string> folders;
};

std::string nameOfThisHost() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0) {
    throw Trouble(fmt::format("cannot tell the name of this host: {}", errorText(errno)));
  }
  return name;
}

// A line of JSON for each regular file. Members are named as the columns of osquery's table "file".
class Inventory : private TreeVisitor {
 public:
  explicit Inventory(const InventoryOptions& options)
      : m_options(options), m_host(options.host.empty() ? nameOfThisHost() : options.host) {}

  int run() {
    walkTrees(rootsOf(m_options.folders, m_missing), m_options.walk, *this, m_missing);
    m_output.flush();
    m_missing.tell();
    return kYes;
  }

 private:
  void folderBegins(const std::string& /*path*/) override {}
  void folderEnds(const std::string& /*path*/) override {}

  void file(const std::string& path, const struct stat& status) override {
    Json line;
    addText(line, "host", m_host);
    addText(line, "path", path);
    line["size"] = static_cast<std::uint64_t>(status.st_size);
    // As the engine reads them: a time that it would not get is not in the line.
    if (const std::optional<FileTimes> times = readFileTimes(path)) {
      line["mtime"] = static_cast<std::int64_t>(times->modification);
      if (times->creation) line["btime"] = static_cast<std::int64_t>(*times->creation);
    }
    m_output.print("{}\n", jsonLine(line));
  }

  void unreadable(const std::string& path, int error) override {
    m_missing.unreadable(path, error);
  }

  void leftOut(const std::string& path, const std::string& fileSystem) override {
    m_missing.leftOut(path, fileSystem);
  }

  const InventoryOptions& m_options;
  const std::string m_host;
  Output m_output;
  Missing m_missing;
};

}  // namespace

void addInventoryCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("inventory", "List files as qvl-fleet reads them: path, size, times");
  const auto options = std::make_shared<InventoryOptions>();
  command.add_option("--host", options->host, "The name of the host (default: this one's)")
      ->type_name("NAME");
  addWalkOptions(command, options->walk);
  command.add_option("DIR", options->folders, "The folders to walk")->required()->type_name("");
  command.footer(
      "Writes a line of JSON for every regular file under each DIR by its real path: host, path,\n"
      "size, mtime and, where the file system knows it, btime, in seconds since 1970. Walks as\n"
      "`qvlctl audit` does. qvl-fleet(1) tells what to do with it.\n"
      "\n"
      "Exit status: 0 done, 2 trouble.\n"
      "\n"
      "  qvlctl inventory /usr /var | gzip > $(hostname).jsonl.gz");
  command.callback(
      [options, &action] { action = [options] { return Inventory(*options).run(); }; });
}

}  // namespace qvlctl
