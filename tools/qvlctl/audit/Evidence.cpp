#include "audit/Evidence.h"

#include <unistd.h>

#include <ctime>
#include <utility>

#include "io/FileTimes.h"

namespace qvlctl {

Evidence evidenceNow(std::string policyDigest) {
  char host[256] = "";
  if (::gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
  return {timeText(std::time(nullptr)), host, QVLCTL_VERSION, std::move(policyDigest)};
}

}  // namespace qvlctl
