/* The C interface from C99: what each function says, and what it says to wrong arguments. The first
 * argument is the policy examples/linux-server.xml. */

#include <qvlpolicy/qvlpolicy.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                                      \
  do {                                                                         \
    if (!(condition)) {                                                        \
      fprintf(stderr, "%s:%d: expected %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

static int is(qvlpolicy_bytes bytes, const char *text) {
  return bytes.length == strlen(text) && memcmp(bytes.data, text, bytes.length) == 0 &&
         bytes.data[bytes.length] == '\0';
}

static qvlpolicy_question question(const char *path) {
  qvlpolicy_question asked = {{NULL, 0}, {NULL, 0}, QVLPOLICY_READ};
  asked.path.data = path;
  asked.path.length = strlen(path);
  return asked;
}

static const char kPolicy[] =
    "<exclusion-policy version=\"1\">\n"
    "<logic>(1|2)&amp;!3</logic>\n"
    "<data-set number=\"1\" kind=\"folder\" name=\"build\" owner=\"ops\"><rule>/srv/</rule>"
    "<rule access=\"write\" expires=\"2099-01-01\">/srv/b/</rule></data-set>\n"
    "<data-set number=\"2\" kind=\"file-path\"><rule>/etc/*.conf</rule></data-set>\n"
    "<data-set number=\"3\" kind=\"file-type\"><rule>exe</rule></data-set>\n"
    "</exclusion-policy>\n";

static qvlpolicy_policy *parse(const char *text) {
  qvlpolicy_report *report = NULL;
  qvlpolicy_policy *policy = qvlpolicy_parse(text, strlen(text), "p.xml", 5, &report);
  EXPECT(policy == NULL || qvlpolicy_report_count(report) == 0);
  qvlpolicy_report_free(report);
  return policy;
}

static void asks(const char *file) {
  qvlpolicy_report *report = NULL;
  qvlpolicy_policy *policy = qvlpolicy_load(file, strlen(file), &report);
  EXPECT(policy != NULL);
  qvlpolicy_report_free(report);
  {
    const qvlpolicy_question asked = question("/var/lib/docker/overlay2/layer");
    EXPECT(qvlpolicy_is_excluded(policy, &asked) == 1);
  }
  qvlpolicy_free(policy);

  policy = parse(kPolicy);
  EXPECT(policy != NULL);
  {
    uint32_t numbers[3] = {0, 0, 0};
    size_t count = 99;
    const qvlpolicy_question asked = question("/srv/b/a.exe");
    EXPECT(qvlpolicy_ask(policy, &asked, numbers, 3, &count) == 0);
    EXPECT(count == 2 && numbers[0] == 1 && numbers[1] == 3);
    numbers[1] = 77;
    EXPECT(qvlpolicy_ask(policy, &asked, numbers, 1, &count) == 0);
    EXPECT(count == 2 && numbers[0] == 1 && numbers[1] == 77);
    EXPECT(qvlpolicy_ask(policy, &asked, NULL, 0, NULL) == 0);
  }
  {
    /* A number that a logic names often is told once. */
    qvlpolicy_policy *often = parse(
        "<exclusion-policy version=\"1\"><logic>(1|2)&amp;(2|1)&amp;1&amp;(1|2)&amp;(2|1)</logic>"
        "<data-set number=\"1\" kind=\"folder\"><rule>/srv/</rule></data-set>"
        "<data-set number=\"2\" kind=\"folder\"><rule>/srv/</rule></data-set>"
        "</exclusion-policy>");
    uint32_t numbers[9] = {0};
    size_t count = 99;
    const qvlpolicy_question asked = question("/srv/b");
    EXPECT(qvlpolicy_ask(often, &asked, numbers, 9, &count) == 1);
    EXPECT(count == 2 && numbers[0] == 1 && numbers[1] == 2);
    qvlpolicy_free(often);
  }
  {
    qvlpolicy_match matches[4];
    size_t count = 0;
    const qvlpolicy_question asked = question("/srv/b/a");
    EXPECT(qvlpolicy_matching_rules(policy, &asked, matches, 4, &count) == QVLPOLICY_OK);
    EXPECT(count == 2);
    EXPECT(matches[0].data_set == 0 && matches[0].rule == 0 && matches[0].fits_access == 1);
    EXPECT(matches[1].data_set == 0 && matches[1].rule == 1 && matches[1].fits_access == 0);
    EXPECT(matches[0].difference == NULL);
  }
  {
    qvlpolicy_match matches[4];
    size_t count = 0;
    const qvlpolicy_question asked = question("/SRV/x");
    EXPECT(qvlpolicy_near_rules(policy, &asked, matches, 4, &count) == QVLPOLICY_OK);
    EXPECT(count == 1 && matches[0].rule == 0 && strcmp(matches[0].difference, "case") == 0);
  }
  qvlpolicy_free(policy);
}

static void answers_batches(void) {
  qvlpolicy_policy *policy = parse(kPolicy);
  static const char bytes[] = "?/srv/a/etc/a.conf/srv/a.exe/home";
  const int64_t offsets[] = {1, 7, 18, 28, 28, 33};
  uint8_t excluded[5];
  uint32_t numbers[8];
  int64_t ends[6];
  qvlpolicy_batch batch;
  memset(&batch, 0, sizeof batch);
  batch.bytes = bytes;
  batch.offsets = offsets;
  batch.count = 5;
  batch.access = QVLPOLICY_READ;
  batch.excluded = excluded;
  EXPECT(qvlpolicy_ask_many(policy, &batch) == 5);
  EXPECT(excluded[0] == 1 && excluded[1] == 1 && excluded[2] == 0 && excluded[3] == 0 &&
         excluded[4] == 0);
  batch.data_sets = numbers;
  batch.data_sets_capacity = 8;
  batch.data_set_offsets = ends;
  EXPECT(qvlpolicy_ask_many(policy, &batch) == 5);
  EXPECT(ends[0] == 0 && ends[1] == 1 && ends[2] == 2 && ends[3] == 4 && ends[4] == 4 &&
         ends[5] == 4);
  EXPECT(numbers[0] == 1 && numbers[1] == 2 && numbers[2] == 1 && numbers[3] == 3);
  /* The third path has two data sets, and there is room for one. */
  batch.data_sets_capacity = 3;
  EXPECT(qvlpolicy_ask_many(policy, &batch) == 2);
  EXPECT(ends[2] == 2);
  {
    const int64_t decreasing[] = {7, 1};
    batch.offsets = decreasing;
    batch.count = 1;
    EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
  }
  batch.offsets = NULL;
  EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_free(policy);
}

static void tells_problems(void) {
  static const char text[] =
      "<exclusion-policy version=\"1\">\n<logic>1|</logic>\n"
      "<data-set number=\"1\" kind=\"folder\"><rule>/a</rule></data-set></exclusion-policy>";
  qvlpolicy_report *report = NULL;
  qvlpolicy_problem problem;
  EXPECT(qvlpolicy_parse(text, sizeof text - 1, "p.xml", 5, &report) == NULL);
  EXPECT(qvlpolicy_report_count(report) == 2);
  EXPECT(qvlpolicy_report_get(report, 0, &problem) == QVLPOLICY_OK);
  EXPECT(problem.is_error == 1 && problem.line == 2 && problem.column == 10);
  EXPECT(strcmp(problem.name, "logic") == 0);
  EXPECT(is(problem.file, "p.xml") && is(problem.element, "logic"));
  EXPECT(is(problem.expected, "the number of a data set, ! or (") && is(problem.came, "the end"));
  EXPECT(is(problem.message,
            "p.xml:2:10: logic: expected the number of a data set, ! or (; found the end"));
  EXPECT(qvlpolicy_report_get(report, 1, &problem) == QVLPOLICY_OK);
  EXPECT(strcmp(problem.name, "refused-rule") == 0 && is(problem.element, "data set 1, rule 1"));
  EXPECT(qvlpolicy_report_get(report, 2, &problem) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_report_free(report);
}

static void lints(void) {
  static const char text[] =
      "<exclusion-policy version=\"1\">\n<logic>1</logic>\n"
      "<data-set number=\"1\" kind=\"folder\">\n"
      "<allow finding=\"covers-home\" reason=\"T-1\"/>\n"
      "<rule>/home/ann/</rule>\n<rule>/srv/x</rule>\n"
      "<rule expires=\"2030-01-01\">/etc/x/</rule></data-set></exclusion-policy>";
  qvlpolicy_lint_options options;
  qvlpolicy_report *report = NULL;
  qvlpolicy_findings *findings;
  qvlpolicy_finding finding;
  memset(&options, 0, sizeof options);
  /* Refused for the second rule, which does not keep the others from being looked at. */
  EXPECT(qvlpolicy_parse(text, sizeof text - 1, "p.xml", 5, &report) == NULL);
  options.today.data = "2029-12-31";
  options.today.length = 10;
  findings = qvlpolicy_lint(report, &options);
  EXPECT(qvlpolicy_findings_count(findings) == 2);
  EXPECT(qvlpolicy_findings_platform(findings) == QVLPOLICY_LINUX);
  EXPECT(qvlpolicy_findings_get(findings, 2, &finding) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_findings_get(findings, 0, NULL) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_findings_free(findings);

  options.platform = QVLPOLICY_MACOS;
  options.today.data = "2030-01-02";
  findings = qvlpolicy_lint(report, &options);
  qvlpolicy_report_free(report);
  EXPECT(qvlpolicy_findings_platform(findings) == QVLPOLICY_MACOS);
  EXPECT(qvlpolicy_findings_count(findings) == 4);
  EXPECT(qvlpolicy_findings_get(findings, 0, &finding) == QVLPOLICY_OK);
  EXPECT(strcmp(finding.name, "covers-home") == 0 && finding.severity == QVLPOLICY_WARNING);
  EXPECT(finding.is_allowed == 1 && is(finding.allowed_for, "T-1"));
  EXPECT(finding.line == 5 && finding.column == 1 && is(finding.file, "p.xml"));
  EXPECT(finding.data_set == 0 && finding.rule == 0);
  EXPECT(is(finding.element, "data set 1, rule 1"));
  EXPECT(is(finding.reason, "it covers the whole home folder /home/ann"));
  EXPECT(is(finding.advice, "name the folders and files that are meant"));
  EXPECT(is(finding.message,
            "p.xml:5:1: data set 1, rule 1: warning: it covers the whole home folder /home/ann "
            "[covers-home]"));
  EXPECT(qvlpolicy_findings_get(findings, 1, &finding) == QVLPOLICY_OK);
  EXPECT(strcmp(finding.name, "refused-rule") == 0 && finding.severity == QVLPOLICY_ERROR);
  EXPECT(finding.is_allowed == 0 && is(finding.allowed_for, ""));
  EXPECT(finding.data_set == QVLPOLICY_NONE && finding.rule == QVLPOLICY_NONE);
  EXPECT(qvlpolicy_findings_get(findings, 2, &finding) == QVLPOLICY_OK);
  EXPECT(strcmp(finding.name, "expired") == 0);
  EXPECT(qvlpolicy_findings_get(findings, 3, &finding) == QVLPOLICY_OK);
  EXPECT(strcmp(finding.name, "alias-path") == 0 && finding.rule == 2);
  qvlpolicy_findings_free(findings);
}

static void enumerates(void) {
  qvlpolicy_policy *policy = parse(kPolicy);
  qvlpolicy_data_set data_set;
  qvlpolicy_rule rule;
  qvlpolicy_bytes logic;
  EXPECT(qvlpolicy_logic(policy, &logic) == QVLPOLICY_OK && is(logic, "(1|2)&!3"));
  EXPECT(qvlpolicy_data_set_count(policy) == 3);
  EXPECT(qvlpolicy_data_set_at(policy, 0, &data_set) == QVLPOLICY_OK);
  EXPECT(data_set.number == 1 && strcmp(data_set.kind, "folder") == 0 && data_set.rule_count == 2);
  EXPECT(is(data_set.name, "build") && is(data_set.metadata.owner, "ops"));
  EXPECT(is(data_set.metadata.ticket, "") && data_set.line == 3 && data_set.column == 1);
  EXPECT(qvlpolicy_rule_at(policy, 0, 1, &rule) == QVLPOLICY_OK);
  EXPECT(is(rule.text, "/srv/b/") && rule.access == QVLPOLICY_WRITE && rule.line == 3);
  EXPECT(is(rule.metadata.expires, "2099-01-01") && is(rule.file, "p.xml"));
  EXPECT(qvlpolicy_rule_at(policy, 0, 2, &rule) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_data_set_at(policy, 3, &data_set) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_free(policy);
}

static void tells_what_to_ask(void) {
  static const char text[] =
      "<exclusion-policy version=\"1\"><logic>1|2</logic>"
      "<data-set number=\"1\" kind=\"process\"><rule>/bin/a</rule><rule>/bin/b</rule></data-set>"
      "<data-set number=\"2\" kind=\"process\" wildcards=\"no\"><rule>/[a-c]</rule></data-set>"
      "</exclusion-policy>";
  const qvlpolicy_policy *policies[2];
  qvlpolicy_policy *first = parse(text);
  qvlpolicy_policy *second = parse(kPolicy);
  qvlpolicy_queries *queries;
  qvlpolicy_query query;
  qvlpolicy_bytes process;
  qvlpolicy_nameless nameless;
  const qvlpolicy_bytes none = {NULL, 0};
  const uint32_t access = 17;
  const qvlpolicy_query_limits limits = {&none, 1, &access, 1};
  policies[0] = first;
  policies[1] = second;
  /* Reading stands for all others, since a rule names writing; no process, and /bin/a, for /bin/b. */
  queries = qvlpolicy_queries_new(policies, 2, NULL);
  EXPECT(qvlpolicy_queries_count(queries) == 4);
  EXPECT(qvlpolicy_queries_get(queries, 0, &query) == QVLPOLICY_OK);
  EXPECT(query.process.length == 0 && query.access == QVLPOLICY_READ && query.is_other_access == 1);
  EXPECT(query.alike_count == 0);
  EXPECT(qvlpolicy_queries_get(queries, 3, &query) == QVLPOLICY_OK);
  EXPECT(strcmp(query.process.data, "/bin/a") == 0 && query.access == QVLPOLICY_WRITE);
  EXPECT(query.is_other_access == 0 && query.alike_count == 1);
  EXPECT(qvlpolicy_queries_alike(queries, 3, 0, &process) == QVLPOLICY_OK);
  EXPECT(strcmp(process.data, "/bin/b") == 0);
  EXPECT(qvlpolicy_queries_nameless_count(queries) == 1);
  EXPECT(qvlpolicy_queries_nameless(queries, 0, &nameless) == QVLPOLICY_OK);
  EXPECT(nameless.policy == 0 && nameless.data_set == 1 && nameless.rule == 0);
  EXPECT(qvlpolicy_queries_get(queries, 4, &query) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_queries_alike(queries, 3, 1, &process) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_queries_nameless(queries, 1, &nameless) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_queries_free(queries);
  queries = qvlpolicy_queries_new(policies, 2, &limits);
  EXPECT(qvlpolicy_queries_count(queries) == 1 && qvlpolicy_queries_nameless_count(queries) == 0);
  EXPECT(qvlpolicy_queries_get(queries, 0, &query) == QVLPOLICY_OK && query.access == 17);
  qvlpolicy_queries_free(queries);
  policies[1] = NULL;
  EXPECT(qvlpolicy_queries_new(policies, 2, NULL) == NULL);
  EXPECT(qvlpolicy_queries_new(NULL, 1, NULL) == NULL);
  EXPECT(qvlpolicy_queries_count(NULL) == 0);
  qvlpolicy_queries_free(NULL);
  qvlpolicy_free(first);
  qvlpolicy_free(second);
}

static void holds_a_policy_in_force(void) {
  qvlpolicy_policy *policy = parse(kPolicy);
  qvlpolicy_live *live = qvlpolicy_live_new(policy, QVLPOLICY_COUNT_RULES);
  qvlpolicy_report *report = NULL;
  qvlpolicy_counters *counters;
  qvlpolicy_totals totals;
  qvlpolicy_hits hits;
  const qvlpolicy_question asked = question("/srv/b/a");
  qvlpolicy_free(policy);
  EXPECT(qvlpolicy_live_ask(live, &asked, NULL, 0, NULL) == 1);
  /* There is no file p.xml. */
  EXPECT(qvlpolicy_live_reload(live, &report) == QVLPOLICY_REFUSED);
  EXPECT(qvlpolicy_report_count(report) == 1);
  qvlpolicy_report_free(report);
  EXPECT(qvlpolicy_live_ask(live, &asked, NULL, 0, NULL) == 1);

  counters = qvlpolicy_live_counters(live);
  EXPECT(qvlpolicy_counters_totals(counters, &totals) == QVLPOLICY_OK);
  EXPECT(totals.questions == 2 && totals.excluded == 2 && totals.refused == 1);
  EXPECT(totals.reloads == 0 && totals.since > 0);
  EXPECT(qvlpolicy_counters_data_set(counters, 0, &hits) == QVLPOLICY_OK && hits.count == 2);
  EXPECT(qvlpolicy_counters_rule(counters, 0, 0, &hits) == QVLPOLICY_OK && hits.count == 2);
  EXPECT(hits.last > 0);
  EXPECT(qvlpolicy_counters_rule(counters, 0, 1, &hits) == QVLPOLICY_OK && hits.count == 0);
  EXPECT(qvlpolicy_counters_rule(counters, 9, 0, &hits) == QVLPOLICY_BAD_ARGUMENT);
  policy = qvlpolicy_counters_policy(counters);
  qvlpolicy_counters_free(counters);
  EXPECT(qvlpolicy_is_excluded(policy, &asked) == 1);
  EXPECT(qvlpolicy_live_replace(live, policy) == QVLPOLICY_OK);
  qvlpolicy_free(policy);
  policy = qvlpolicy_live_policy(live);
  EXPECT(qvlpolicy_is_excluded(policy, &asked) == 1);
  qvlpolicy_free(policy);
  qvlpolicy_live_free(live);
}

static void takes_wrong_arguments(void) {
  const qvlpolicy_question asked = question("/x");
  qvlpolicy_question bad = question("/x");
  qvlpolicy_policy *policy = parse(kPolicy);
  bad.path.data = NULL;
  EXPECT(qvlpolicy_is_excluded(NULL, &asked) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_is_excluded(policy, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_is_excluded(policy, &bad) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_ask(policy, &asked, NULL, 1, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_load(NULL, 3, NULL) == NULL);
  EXPECT(qvlpolicy_load(NULL, 0, NULL) == NULL);
  EXPECT(qvlpolicy_parse(NULL, 0, NULL, 0, NULL) == NULL);
  EXPECT(qvlpolicy_parse(NULL, 1, NULL, 0, NULL) == NULL);
  EXPECT(qvlpolicy_parse_with("", 0, "", 0, NULL, NULL) == NULL);
  {
    /* The empty texts of each are NULL. */
    const int64_t none[] = {0, 0, 0};
    const int64_t up_and_down[] = {0, 5, 0};
    const int64_t down[] = {3, 2};
    uint8_t excluded[2] = {7, 7};
    qvlpolicy_batch batch;
    memset(&batch, 0, sizeof batch);
    batch.offsets = none;
    batch.count = 2;
    batch.excluded = excluded;
    EXPECT(qvlpolicy_ask_many(policy, &batch) == 2 && excluded[0] == 0 && excluded[1] == 0);
    batch.offsets = up_and_down;
    EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
    batch.bytes = "/srv/";
    EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
    batch.offsets = down;
    batch.count = 1;
    EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
    batch.excluded = NULL;
    EXPECT(qvlpolicy_ask_many(policy, &batch) == QVLPOLICY_BAD_ARGUMENT);
    EXPECT(qvlpolicy_ask_many(policy, NULL) == QVLPOLICY_BAD_ARGUMENT);
  }
  {
    const qvlpolicy_bytes processes[] = {{NULL, 0}, {NULL, 4}};
    qvlpolicy_query_limits limits = {NULL, 0, NULL, 0};
    const qvlpolicy_policy *const policies[] = {policy};
    qvlpolicy_queries *queries = NULL;
    limits.processes = processes;
    limits.process_count = 1;
    queries = qvlpolicy_queries_new(policies, 1, &limits);
    EXPECT(qvlpolicy_queries_count(queries) > 0);
    qvlpolicy_queries_free(queries);
    limits.process_count = 2;
    EXPECT(qvlpolicy_queries_new(policies, 1, &limits) == NULL);
    EXPECT(qvlpolicy_queries_new(NULL, 1, NULL) == NULL);
  }
  EXPECT(qvlpolicy_matching_rules(policy, &bad, NULL, 0, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_near_rules(policy, &asked, NULL, 1, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_logic(policy, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_report_get(NULL, 0, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_live_new(NULL, QVLPOLICY_COUNT_NOTHING) == NULL);
  EXPECT(qvlpolicy_live_ask(NULL, &asked, NULL, 0, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_live_reload(NULL, NULL) == QVLPOLICY_BAD_ARGUMENT);
  EXPECT(qvlpolicy_live_counters(NULL) == NULL);
  EXPECT(qvlpolicy_lint(NULL, NULL) == NULL && qvlpolicy_findings_count(NULL) == 0);
  EXPECT(qvlpolicy_findings_platform(NULL) == QVLPOLICY_BAD_ARGUMENT);
  qvlpolicy_findings_free(NULL);
  EXPECT(qvlpolicy_report_count(NULL) == 0 && qvlpolicy_data_set_count(NULL) == 0);
  qvlpolicy_free(NULL);
  qvlpolicy_report_free(NULL);
  qvlpolicy_live_free(NULL);
  qvlpolicy_counters_free(NULL);
  qvlpolicy_free(policy);
}

int main(int count, char *arguments[]) {
  char version[32];
  if (count != 2) return 2;
  sprintf(version, "%d.%d.%d", QVLPOLICY_VERSION_MAJOR, QVLPOLICY_VERSION_MINOR,
          QVLPOLICY_VERSION_PATCH);
  EXPECT(strcmp(qvlpolicy_version(), version) == 0);
  EXPECT(strlen(qvlpolicy_status_text(QVLPOLICY_REFUSED)) > 0);
  asks(arguments[1]);
  answers_batches();
  tells_problems();
  lints();
  enumerates();
  tells_what_to_ask();
  holds_a_policy_in_force();
  takes_wrong_arguments();
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
