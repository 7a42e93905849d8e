#include "walk/Roots.h"

#include <cerrno>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "io/Trouble.h"

namespace qvlctl {

std::vector<std::string> rootsOf(const std::vector<std::string>& folders, Missing& missing) {
  std::vector<std::string> paths;
  for (const std::string& folder : folders) {
    if (const auto path = findRealPath(folder)) {
      paths.push_back(*path);
    } else {
      missing.unreadable(folder, errno);
    }
  }
  std::vector<std::string> roots;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const bool isCovered = [&] {
      for (std::size_t j = 0; j < paths.size(); ++j) {
        const std::string inside = paths[j] == "/" ? paths[j] : paths[j] + '/';
        if (j < i && paths[j] == paths[i]) return true;
        if (paths[j] != paths[i] && paths[i].compare(0, inside.size(), inside) == 0) return true;
      }
      return false;
    }();
    if (isCovered) {
      remark(fmt::format("note: {} is walked once only, as part of another folder",
                         escaped(paths[i])));
    } else {
      roots.push_back(paths[i]);
    }
  }
  return roots;
}

void walkTrees(const std::vector<std::string>& roots, const WalkOptions& options,
               TreeVisitor& visitor, const Missing& missing) {
  bool isAnyRead = false;
  for (const std::string& root : roots) isAnyRead |= walkTree(root, options, visitor);
  if (isAnyRead) return;
  const UnreadableFolder& first = missing.unreadableFolders().front();
  throw Trouble(
      fmt::format("cannot read the folder {}: {}", escaped(first.path), errorText(first.error)));
}

void addWalkOptions(CLI::App& command, WalkOptions& options) {
  command.add_flag("-x,--one-file-system", options.oneFileSystem,
                   "Leave out folders on other file systems");
  command.add_flag("--pseudo-file-systems", options.pseudoFileSystems,
                   "Walk into pseudo file systems, such as those on /proc and /sys");
}

}  // namespace qvlctl
