/* Policies in C: from a policy file to answers. C99; usable from C++.
 *
 *   qvlpolicy_report *report = NULL;
 *   qvlpolicy_policy *policy = qvlpolicy_load("/etc/scanner/policy.xml", 23, &report);
 *   if (policy == NULL) { ... qvlpolicy_report_get(report, 0, &problem) ... }
 *   qvlpolicy_question question = {{path, strlen(path)}, {NULL, 0}, QVLPOLICY_READ};
 *   if (qvlpolicy_is_excluded(policy, &question) == 1) { ... }
 *
 * Texts go in as bytes with their length and need no zero byte at their end; a text of length 0 may
 * be NULL. Texts that come out belong to the handle that they were asked of, have a zero byte
 * behind them, and stay valid until that handle is freed. They are UTF-8, but for names of files
 * and processes that were given in other bytes.
 *
 * A function that can fail returns a negative qvlpolicy_status. Nothing is thrown across this
 * interface (test StarvedHost.IsToldInC), and nothing is written to standard output or standard
 * error. A NULL handle, where a function does not say that it takes one, is QVLPOLICY_BAD_ARGUMENT.
 *
 * Thread safety: any number of threads may use one handle at once, except to free it. */

#ifndef QVLPOLICY_QVLPOLICY_H
#define QVLPOLICY_QVLPOLICY_H

#include <stddef.h>
#include <stdint.h>

#include "qvlpolicy/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header, in three numbers; qvlpolicy_version tells that of the library. */
#define QVLPOLICY_VERSION_MAJOR 0
/* The second of them. */
#define QVLPOLICY_VERSION_MINOR 1
/* The third. */
#define QVLPOLICY_VERSION_PATCH 0

/* What a function that can fail returns. */
typedef enum qvlpolicy_status {
  QVLPOLICY_OK = 0,
  QVLPOLICY_BAD_ARGUMENT = -1, /* a NULL handle, an index beyond the end, offsets that decrease */
  QVLPOLICY_NO_MEMORY = -2,
  QVLPOLICY_REFUSED = -3, /* of a reload: the file has errors; the policy in force stays */
  QVLPOLICY_FAILED = -4   /* anything else */
} qvlpolicy_status;

/* Kinds of access. Any other number of 32 bits is legal, too. */
enum { QVLPOLICY_READ = 1, QVLPOLICY_WRITE = 2, QVLPOLICY_ANY = 3 };

/* A text: its bytes and how many they are. */
typedef struct qvlpolicy_bytes {
  const char* data; /* NULL only when the length is 0 */
  size_t length;    /* in bytes */
} qvlpolicy_bytes;

/* One file access. */
typedef struct qvlpolicy_question {
  qvlpolicy_bytes path;    /* full path of the file */
  qvlpolicy_bytes process; /* full path or name of the program; may be empty */
  uint32_t access;         /* QVLPOLICY_READ, for instance */
} qvlpolicy_question;

/* An immutable policy that is ready to answer. */
typedef struct qvlpolicy_policy qvlpolicy_policy;

/* What was found while reading a policy: errors and warnings. It keeps what was read, as much
 * memory as the policy itself, until it is freed. */
typedef struct qvlpolicy_report qvlpolicy_report;

/* ---- The library ---- */

/* The version of the library, such as "0.1.0". Never fails; the text is static. */
QVLPOLICY_EXPORT const char* qvlpolicy_version(void);

/* A status in words. Never fails; the text is static. */
QVLPOLICY_EXPORT const char* qvlpolicy_status_text(int status);

/* ---- Loading ---- */

/* Reads a policy file, and what it includes. Returns a policy that the caller frees, or NULL when
 * it cannot be used. Unless `report` is NULL, *report becomes what was found, also when a policy is
 * returned: the caller frees it; NULL when there is no memory for it. */
QVLPOLICY_EXPORT qvlpolicy_policy* qvlpolicy_load(const char* file, size_t file_length,
                                                  qvlpolicy_report** report);

/* The same from a text in memory. `file` is its name in the report; names of included files are
 * relative to its folder. */
QVLPOLICY_EXPORT qvlpolicy_policy* qvlpolicy_parse(const char* text, size_t text_length,
                                                   const char* file, size_t file_length,
                                                   qvlpolicy_report** report);

/* What may differ from one load to the next. */
typedef struct qvlpolicy_load_options {
  qvlpolicy_bytes today; /* YYYY-MM-DD, against which expiry is held; empty: today in UTC */

  /* 1: rules by age go by the times that a batch gives, and look at no file; where a time is not
   * given or not known, the rule does not match. For files of other machines. 0: they look at the
   * file itself. */
  int times_are_given;
} qvlpolicy_load_options;

/* As qvlpolicy_parse, with options. */
QVLPOLICY_EXPORT qvlpolicy_policy* qvlpolicy_parse_with(const char* text, size_t text_length,
                                                        const char* file, size_t file_length,
                                                        const qvlpolicy_load_options* options,
                                                        qvlpolicy_report** report);

/* Gives up a policy. NULL is fine. */
QVLPOLICY_EXPORT void qvlpolicy_free(qvlpolicy_policy* policy);

/* An error or a warning. Texts that are not there are empty. */
typedef struct qvlpolicy_problem {
  int is_error;             /* 1: the policy is refused for it; 0: a warning */
  const char* name;         /* of its sort, for programs, such as "refused-rule"; static */
  uint64_t line;            /* 1 is the first; 0: not known, or the whole file */
  uint64_t column;          /* in characters, 1 is the first; 0: not known */
  qvlpolicy_bytes file;     /* as it was named */
  qvlpolicy_bytes element;  /* in words, such as "data set 7, rule 5" */
  qvlpolicy_bytes what;     /* what is wrong; may be empty when the next two say all */
  qvlpolicy_bytes expected; /* what would be right */
  qvlpolicy_bytes came;     /* what stands there instead */
  qvlpolicy_bytes message;  /* all of it: "FILE:LINE:COLUMN: ELEMENT: reason" */
} qvlpolicy_problem;

/* How many problems a report holds, errors first; 0 for NULL. */
QVLPOLICY_EXPORT size_t qvlpolicy_report_count(const qvlpolicy_report* report);

/* Fills in *problem, whose texts belong to the report. */
QVLPOLICY_EXPORT int qvlpolicy_report_get(const qvlpolicy_report* report, size_t index,
                                          qvlpolicy_problem* problem);

/* Gives up a report. NULL is fine. */
QVLPOLICY_EXPORT void qvlpolicy_report_free(qvlpolicy_report* report);

/* ---- Lint ---- */

/* Which names of folders are only aliases of others. */
typedef enum qvlpolicy_platform {
  QVLPOLICY_PLATFORM_OF_RULES = 0, /* that whose folders the rules name */
  QVLPOLICY_LINUX = 1,
  QVLPOLICY_MACOS = 2
} qvlpolicy_platform;

/* What lint goes by. */
typedef struct qvlpolicy_lint_options {
  qvlpolicy_platform platform; /* where the policy is used */
  qvlpolicy_bytes today;       /* YYYY-MM-DD, against which expiry is held; empty: today in UTC */
} qvlpolicy_lint_options;

/* How bad a finding is. */
typedef enum qvlpolicy_severity {
  QVLPOLICY_ERROR = 0,   /* the policy cannot be used */
  QVLPOLICY_WARNING = 1, /* it does not do what it seems to, or excludes too much */
  QVLPOLICY_NOTE = 2     /* worth a look */
} qvlpolicy_severity;

/* Of an index: there is none. */
#define QVLPOLICY_NONE SIZE_MAX

/* One thing that lint has to say. Texts that are not there are empty. */
typedef struct qvlpolicy_finding {
  const char* name;            /* of its sort, for programs, such as "covers-tree"; static */
  qvlpolicy_severity severity; /* how bad it is */
  int is_allowed;              /* 1: the policy says that it may stay, and why: allowed_for */
  uint64_t line;               /* 1 is the first; 0: not known, or the whole file */
  uint64_t column;             /* in characters, 1 is the first; 0: not known */
  qvlpolicy_bytes file;        /* as it was named */
  qvlpolicy_bytes element;     /* in words, such as "data set 7, rule 5" */
  qvlpolicy_bytes reason;      /* what is odd, in words */
  qvlpolicy_bytes advice;      /* what to do about it */
  qvlpolicy_bytes allowed_for; /* the reason in the policy */
  qvlpolicy_bytes message; /* in one line: "FILE:LINE:COLUMN: ELEMENT: warning: reason [name]" */
  size_t data_set; /* that it is about, as qvlpolicy_data_set_at counts; or QVLPOLICY_NONE */
  size_t rule;     /* likewise */
} qvlpolicy_finding;

/* What lint found. */
typedef struct qvlpolicy_findings qvlpolicy_findings;

/* Looks at the policy that the report is about, be it refused or not: for rules that are too broad,
 * never match, or mean something else. Each error of the report is a finding, too. `options` may be
 * NULL. Returns findings that the caller frees; NULL when there is no memory or an argument is
 * wrong. The report may be freed afterwards. */
QVLPOLICY_EXPORT qvlpolicy_findings* qvlpolicy_lint(const qvlpolicy_report* report,
                                                    const qvlpolicy_lint_options* options);

/* How many there are; 0 for NULL. */
QVLPOLICY_EXPORT size_t qvlpolicy_findings_count(const qvlpolicy_findings* findings);

/* Fills in *finding, whose texts belong to the findings. They are in the order of the files. */
QVLPOLICY_EXPORT int qvlpolicy_findings_get(const qvlpolicy_findings* findings, size_t index,
                                            qvlpolicy_finding* finding);

/* The platform that lint went by: QVLPOLICY_LINUX or QVLPOLICY_MACOS. */
QVLPOLICY_EXPORT int qvlpolicy_findings_platform(const qvlpolicy_findings* findings);

/* Gives up findings. NULL is fine. */
QVLPOLICY_EXPORT void qvlpolicy_findings_free(qvlpolicy_findings* findings);

/* ---- Asking ---- */

/* 1: excluded from scanning; 0: to be scanned; negative: a status. */
QVLPOLICY_EXPORT int qvlpolicy_is_excluded(const qvlpolicy_policy* policy,
                                           const qvlpolicy_question* question);

/* The same, with the numbers of the data sets that were asked and matched, in the order in which
 * the logic came to them. The first `capacity` of them go to `data_sets`, and how many there are to
 * *count, unless that is NULL. Each comes once, however often the logic names it, so there are
 * never more than the policy has data sets (CInterface.ServesAHostInC). */
QVLPOLICY_EXPORT int qvlpolicy_ask(const qvlpolicy_policy* policy,
                                   const qvlpolicy_question* question, uint32_t* data_sets,
                                   size_t capacity, size_t* count);

/* A time that is not known. */
#define QVLPOLICY_NO_TIME INT64_MIN

/* A rule that hits; the indices are those of qvlpolicy_rule_at. */
typedef struct qvlpolicy_hit {
  uint32_t data_set; /* by index */
  uint32_t rule;     /* likewise */
} qvlpolicy_hit;

/* Many questions that have process and access in common. */
typedef struct qvlpolicy_batch {
  /* Path i stands in bytes[offsets[i]] up to and without bytes[offsets[i + 1]]: `offsets` holds
   * count + 1 numbers, none smaller than the one before it, the first not negative. */
  const char* bytes;
  const int64_t* offsets;
  size_t count;
  qvlpolicy_bytes process;
  uint32_t access;

  /* Verdicts: `count` bytes, each of which becomes 1 (excluded) or 0. */
  uint8_t* excluded;

  /* Data sets of path i: data_sets[data_set_offsets[i]] up to and without
   * data_sets[data_set_offsets[i + 1]]. `data_set_offsets` takes count + 1 numbers, the first of
   * which becomes 0. NULL, both: not wanted. */
  uint32_t* data_sets;
  size_t data_sets_capacity;
  int64_t* data_set_offsets;

  /* Times of the files, for a policy that was loaded with times_are_given: `count` numbers each, in
   * seconds since 1970, QVLPOLICY_NO_TIME where one is not known. NULL: none is known. */
  const int64_t* created;
  const int64_t* modified;
  int64_t now; /* against which ages are held */

  /* Rules that hit path i: hits[hit_offsets[i]] up to and without hits[hit_offsets[i + 1]]. Those
   * are the rules that match it, the kind of access included, in the data sets that were asked and
   * matched, except data sets that match anything. `hit_offsets` takes count + 1 numbers, the first
   * of which becomes 0. NULL, both: not wanted. */
  qvlpolicy_hit* hits;
  size_t hits_capacity;
  int64_t* hit_offsets;
} qvlpolicy_batch;

/* Answers a batch. Returns how many paths were answered: all of them, or fewer when the data sets
 * of the next one have no room in `data_sets`, or its rules none in `hits`; go on from there then.
 * Room for as many as the policy has data sets, or rules, is enough for one path at least.
 * Negative: a status; what was filled in does not count then. Allocates next to nothing, and may
 * run in many threads on parts of one buffer. */
QVLPOLICY_EXPORT int64_t qvlpolicy_ask_many(const qvlpolicy_policy* policy,
                                            const qvlpolicy_batch* batch);

/* A rule that matches, or nearly does; the indices are those of qvlpolicy_rule_at. */
typedef struct qvlpolicy_match {
  size_t data_set;        /* by index */
  size_t rule;            /* likewise */
  int fits_access;        /* 0: matches but for the kind of access */
  const char* difference; /* of a near rule, why it does not match ("case", "subfolders"), static;
                             NULL of a rule that matches */
} qvlpolicy_match;

/* Every rule that matches by itself, whatever its data set's switches and the logic make of it. The
 * first `capacity` go to `matches`; how many there are goes to *count, unless that is NULL. */
QVLPOLICY_EXPORT int qvlpolicy_matching_rules(const qvlpolicy_policy* policy,
                                              const qvlpolicy_question* question,
                                              qvlpolicy_match* matches, size_t capacity,
                                              size_t* count);

/* When no data set matches: at most five rules that miss the question by least, best first (test
 * NearRules.AreAtMostFive). */
QVLPOLICY_EXPORT int qvlpolicy_near_rules(const qvlpolicy_policy* policy,
                                          const qvlpolicy_question* question,
                                          qvlpolicy_match* matches, size_t capacity, size_t* count);

/* ---- What there is to ask ---- */

/* The processes and kinds of access that make a difference to what some policies answer, or those
 * that the caller wants: as qvlctl asks. */
typedef struct qvlpolicy_queries qvlpolicy_queries;

/* What is asked where the caller narrows it. */
typedef struct qvlpolicy_query_limits {
  const qvlpolicy_bytes* processes; /* an empty one: no process; NULL: all that make a difference */
  size_t process_count;             /* how many those are */
  const uint32_t* accesses;         /* NULL: all that make a difference */
  size_t access_count;              /* how many those are */
} qvlpolicy_query_limits;

/* One process and one kind of access. */
typedef struct qvlpolicy_query {
  qvlpolicy_bytes process; /* empty: none */
  uint32_t access;         /* kind of access */
  int is_other_access;     /* 1: stands for every kind of access that no rule names */
  size_t alike_count;      /* how many other processes it stands for, which get the same verdicts */
} qvlpolicy_query;

/* A process rule for which no name of a process was found that it matches, so that nothing asked
 * can hit it; by the index of the policy and those of qvlpolicy_rule_at. */
typedef struct qvlpolicy_nameless {
  size_t policy;   /* by index */
  size_t data_set; /* likewise */
  size_t rule;     /* likewise */
} qvlpolicy_nameless;

/* The queries for `count` policies, which may be freed afterwards. `limits` may be NULL. Returns a
 * handle that the caller frees; NULL when there is no memory or an argument is wrong. */
QVLPOLICY_EXPORT qvlpolicy_queries* qvlpolicy_queries_new(const qvlpolicy_policy* const* policies,
                                                          size_t count,
                                                          const qvlpolicy_query_limits* limits);

/* Gives up queries. NULL is fine. */
QVLPOLICY_EXPORT void qvlpolicy_queries_free(qvlpolicy_queries* queries);

/* How many there are; 0 for NULL. */
QVLPOLICY_EXPORT size_t qvlpolicy_queries_count(const qvlpolicy_queries* queries);
QVLPOLICY_EXPORT size_t qvlpolicy_queries_nameless_count(const qvlpolicy_queries* queries);

/* Fills in *query, *process or *nameless. */
QVLPOLICY_EXPORT int qvlpolicy_queries_get(const qvlpolicy_queries* queries, size_t index,
                                           qvlpolicy_query* query);
QVLPOLICY_EXPORT int qvlpolicy_queries_alike(const qvlpolicy_queries* queries, size_t index,
                                             size_t alike, qvlpolicy_bytes* process);
QVLPOLICY_EXPORT int qvlpolicy_queries_nameless(const qvlpolicy_queries* queries, size_t index,
                                                qvlpolicy_nameless* nameless);

/* ---- What a policy says ---- */

/* What people note beside a rule or a data set. */
typedef struct qvlpolicy_metadata {
  qvlpolicy_bytes comment; /* anything worth knowing */
  qvlpolicy_bytes owner;   /* who answers for it */
  qvlpolicy_bytes reason;  /* why it is excluded */
  qvlpolicy_bytes ticket;  /* where that was decided */
  qvlpolicy_bytes added;   /* YYYY-MM-DD */
  qvlpolicy_bytes expires; /* likewise; the last day on which it holds */
} qvlpolicy_metadata;

/* Rules of one kind, under a number. */
typedef struct qvlpolicy_data_set {
  uint32_t number;      /* by which the logic names it */
  const char* kind;     /* "file-path", "folder", "process", "file-type" or "file-age"; static */
  qvlpolicy_bytes name; /* for people */
  int enabled;          /* 0: switched off, never matches */
  int is_dropped;       /* has expired, and the policy drops what has */
  size_t rule_count;    /* how many rules it has */
  qvlpolicy_bytes file; /* where its element begins */
  uint64_t line;        /* 1 is the first */
  uint64_t column;      /* in characters, 1 is the first */
  qvlpolicy_metadata metadata; /* what people note beside it */
} qvlpolicy_data_set;

/* What is excluded, by one element of a data set. */
typedef struct qvlpolicy_rule {
  qvlpolicy_bytes text;        /* of an age the engine's age text */
  uint32_t access;             /* the kind of access that it is for */
  int is_dropped;              /* as that of a data set */
  qvlpolicy_bytes file;        /* where its element begins */
  uint64_t line;               /* 1 is the first */
  uint64_t column;             /* in characters, 1 is the first */
  qvlpolicy_metadata metadata; /* what people note beside it */
} qvlpolicy_rule;

/* The policy's logic, as written. */
QVLPOLICY_EXPORT int qvlpolicy_logic(const qvlpolicy_policy* policy, qvlpolicy_bytes* logic);

/* How many data sets there are; 0 for NULL. */
QVLPOLICY_EXPORT size_t qvlpolicy_data_set_count(const qvlpolicy_policy* policy);

/* Fills in *data_set or *rule. Data sets come in the order of the files, rules in that of their
 * data set. */
QVLPOLICY_EXPORT int qvlpolicy_data_set_at(const qvlpolicy_policy* policy, size_t index,
                                           qvlpolicy_data_set* data_set);
QVLPOLICY_EXPORT int qvlpolicy_rule_at(const qvlpolicy_policy* policy, size_t data_set,
                                       size_t index, qvlpolicy_rule* rule);

/* ---- The policy in force ---- */

/* Answers from the policy in force, which can be replaced at any time. No question waits for a
 * reload; each is answered by one policy from its beginning to its end. */
typedef struct qvlpolicy_live qvlpolicy_live;

/* What is counted. */
typedef enum qvlpolicy_counting {
  QVLPOLICY_COUNT_NOTHING = 0,
  QVLPOLICY_COUNT_DATA_SETS = 1, /* questions, excluded ones, and matches per data set */
  QVLPOLICY_COUNT_RULES = 2      /* and per rule, for which excluded questions are asked again */
} qvlpolicy_counting;

/* Puts a policy in force. The handle of the policy stays the caller's, who may free it at once.
 * Returns a holder that the caller frees; NULL when there is no memory or an argument is wrong. */
QVLPOLICY_EXPORT qvlpolicy_live* qvlpolicy_live_new(const qvlpolicy_policy* policy,
                                                    qvlpolicy_counting counting);

/* Gives up a holder. NULL is fine. */
QVLPOLICY_EXPORT void qvlpolicy_live_free(qvlpolicy_live* live);

/* As qvlpolicy_ask and qvlpolicy_ask_many, and counted. Each path of a batch is answered by the
 * policy that is in force when its turn comes. `hits` is to be NULL. */
QVLPOLICY_EXPORT int qvlpolicy_live_ask(qvlpolicy_live* live, const qvlpolicy_question* question,
                                        uint32_t* data_sets, size_t capacity, size_t* count);
QVLPOLICY_EXPORT int64_t qvlpolicy_live_ask_many(qvlpolicy_live* live,
                                                 const qvlpolicy_batch* batch);

/* Reads the policy's file again and puts it in force: QVLPOLICY_OK, or QVLPOLICY_REFUSED when it
 * has errors. *report is as that of qvlpolicy_load. */
QVLPOLICY_EXPORT int qvlpolicy_live_reload(qvlpolicy_live* live, qvlpolicy_report** report);

/* Puts another policy in force; the handle stays the caller's. */
QVLPOLICY_EXPORT int qvlpolicy_live_replace(qvlpolicy_live* live, const qvlpolicy_policy* policy);

/* A handle of the policy in force that the caller frees; NULL when there is no memory. */
QVLPOLICY_EXPORT qvlpolicy_policy* qvlpolicy_live_policy(qvlpolicy_live* live);

/* What a holder counted until one moment. */
typedef struct qvlpolicy_counters qvlpolicy_counters;

/* Counters of all questions. */
typedef struct qvlpolicy_totals {
  uint64_t questions; /* since the holder was made */
  uint64_t excluded;  /* likewise */
  uint64_t reloads;   /* policies put in force by reload or replace */
  uint64_t refused;   /* reloads that left the old policy in force */
  int64_t since;      /* when the policy in force was put there, in seconds since 1970 */
} qvlpolicy_totals;

/* Counters of a data set or a rule. */
typedef struct qvlpolicy_hits {
  uint64_t count; /* how often it matched */
  int64_t last;   /* in seconds since 1970; 0: never */
} qvlpolicy_hits;

/* Counters that the caller frees; NULL when there is no memory or `live` is NULL. */
QVLPOLICY_EXPORT qvlpolicy_counters* qvlpolicy_live_counters(qvlpolicy_live* live);
QVLPOLICY_EXPORT void qvlpolicy_counters_free(qvlpolicy_counters* counters);
QVLPOLICY_EXPORT int qvlpolicy_counters_totals(const qvlpolicy_counters* counters,
                                               qvlpolicy_totals* totals);

/* A handle of the policy that the next two are about; the caller frees it. */
QVLPOLICY_EXPORT qvlpolicy_policy* qvlpolicy_counters_policy(const qvlpolicy_counters* counters);

/* Matches since the policy was put in force, by indices in it. QVLPOLICY_BAD_ARGUMENT when they are
 * not counted. */
QVLPOLICY_EXPORT int qvlpolicy_counters_data_set(const qvlpolicy_counters* counters, size_t index,
                                                 qvlpolicy_hits* hits);
QVLPOLICY_EXPORT int qvlpolicy_counters_rule(const qvlpolicy_counters* counters, size_t data_set,
                                             size_t index, qvlpolicy_hits* hits);

#ifdef __cplusplus
}
#endif

#endif /* QVLPOLICY_QVLPOLICY_H */
