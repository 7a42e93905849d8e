#include "commands/EditDistance.h"

#include <algorithm>
#include <vector>

namespace qvlctl {

std::size_t editDistance(std::string_view a, std::string_view b) {
  // distance[i][j] is that of the first i characters of a and the first j of b.
  std::vector<std::vector<std::size_t>> distance(a.size() + 1,
                                                 std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& best = distance[i][j];
      if (i == 0 || j == 0) {
        best = i + j;
        continue;
      }
      best = std::min({distance[i - 1][j] + 1, distance[i][j - 1] + 1,
                       distance[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        best = std::min(best, distance[i - 2][j - 2] + 1);
      }
    }
  }
  return distance[a.size()][b.size()];
}

}  // namespace qvlctl
