#include "audit/Evidence.h"

#include <unistd.h>

#include <ctime>

#include "io/Digest.h"
#include "io/FileTimes.h"

namespace qvlctl {

Evidence evidenceOf(std::string_view policyText) {
  char host[256] = "";
  if (::gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
  return {timeText(std::time(nullptr)), host, QVLCTL_VERSION, sha256(policyText)};
}

}  // namespace qvlctl
