#include "walk/Roots.h"

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"

namespace qvlctl {

std::vector<std::string> rootsOf(const std::vector<std::string>& folders) {
  std::vector<std::string> paths;
  for (const std::string& folder : folders) paths.push_back(realPath(folder));
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
      complain(fmt::format("note: {} is walked once only, as part of another folder",
                           escaped(paths[i])));
    } else {
      roots.push_back(paths[i]);
    }
  }
  return roots;
}

}  // namespace qvlctl
