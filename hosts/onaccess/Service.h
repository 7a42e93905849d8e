// The program that runs: checks, starts the gate, and operates it until it is told to end.

#ifndef QVL_ONACCESS_SERVICE_H
#define QVL_ONACCESS_SERVICE_H

#include <string>

#include "Options.h"

namespace onaccess {

// Returns when SIGTERM or SIGINT came; SIGHUP reloads the policy. Throws Trouble when it cannot
// start; nothing is watched then. When an open stays unanswered, the process ends with status 70
// and the kernel lets everything pass.
void runService(const Options& options);

}  // namespace onaccess

#endif  // QVL_ONACCESS_SERVICE_H
