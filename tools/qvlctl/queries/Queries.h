// What there is to ask about a file, in the words of this program.

#ifndef QVLCTL_QUERIES_QUERIES_H
#define QVLCTL_QUERIES_QUERIES_H

#include <qvl/qvl.h>
#include <qvlpolicy/Queries.h>

#include <string>

#include "io/Json.h"

namespace qvlctl {

using qvlpolicy::Queries;
using qvlpolicy::Query;
using qvlpolicy::QueryLimits;

// "read, no process"; "write, /usr/bin/rsync (and 2 processes alike)".
std::string queryInWords(const Query& query);

// `process`, `alikeProcesses`, `access` and `otherAccess`.
Json queryInJson(const Query& query);

// Tells the process rules for which there is no query on standard error.
void complainOfNameless(const Queries& queries);

// The request that asks a query, without a path.
QVL::LookupData requestFor(const Query& query);

}  // namespace qvlctl

#endif  // QVLCTL_QUERIES_QUERIES_H
