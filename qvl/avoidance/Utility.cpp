#include "qvl/avoidance/Utility.h"

namespace QVL {
namespace Utility {

// In time that grows with the text and what comes out: nothing is moved twice.
std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  std::size_t at = from.empty() ? std::string::npos : text.find(from);
  if (at == std::string::npos) return text;
  std::string replaced;
  std::size_t copied = 0;
  for (; at != std::string::npos; at = text.find(from, copied)) {
    replaced.append(text, copied, at - copied);
    replaced += to;
    copied = at + from.size();
  }
  replaced.append(text, copied, std::string::npos);
  return replaced;
}

}  // namespace Utility
}  // namespace QVL
