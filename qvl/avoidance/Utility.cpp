#include "qvl/avoidance/Utility.h"

#include <utility>

#include "qvl/match/PatternLanguage.h"

namespace QVL {
namespace Utility {

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  return withReplaced(std::move(text), from, to);
}

}  // namespace Utility
}  // namespace QVL
