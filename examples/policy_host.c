#include <qvlpolicy/qvlpolicy.h>
#include <stdio.h>
#include <string.h>

int main(int count, char *arguments[]) {
  const char *file = count > 1 ? arguments[1] : "policy.xml";
  qvlpolicy_report *report = NULL;
  qvlpolicy_policy *policy = qvlpolicy_load(file, strlen(file), &report);
  qvlpolicy_problem problem;
  for (size_t i = 0; qvlpolicy_report_get(report, i, &problem) == QVLPOLICY_OK; ++i) {
    fprintf(stderr, "%s\n", problem.message.data);
  }
  qvlpolicy_report_free(report);
  if (policy == NULL) return 2;
  for (int i = 2; i < count; ++i) {
    const qvlpolicy_question question = {
        {arguments[i], strlen(arguments[i])}, {NULL, 0}, QVLPOLICY_READ};
    const int excluded = qvlpolicy_is_excluded(policy, &question) == 1;
    printf("%s%s\n", excluded ? "excluded  " : "scan      ", arguments[i]);
  }
  qvlpolicy_free(policy);
  return 0;
}
