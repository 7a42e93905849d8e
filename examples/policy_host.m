/* Which of some files need not be scanned? A host in Objective-C:
 *   policy_host POLICY FILE... */

#import <Foundation/Foundation.h>
#import <qvlpolicy/qvlpolicy.h>
#import <stdio.h>
#import <string.h>

static BOOL isExcluded(const qvlpolicy_policy *policy, NSURL *file, NSString *program) {
  const char *path = file.fileSystemRepresentation;
  const char *process = program.fileSystemRepresentation;
  const qvlpolicy_question question = {
      {path, strlen(path)}, {process, strlen(process)}, QVLPOLICY_READ};
  return qvlpolicy_is_excluded(policy, &question) == 1;
}

int main(int count, char *arguments[]) {
  if (count < 2) return 2;
  @autoreleasepool {
    qvlpolicy_policy *policy = qvlpolicy_load(arguments[1], strlen(arguments[1]), NULL);
    if (policy == NULL) return 2;
    for (int i = 2; i < count; ++i) {
      NSURL *file = [NSURL fileURLWithFileSystemRepresentation:arguments[i]
                                                   isDirectory:NO
                                                 relativeToURL:nil];
      puts(isExcluded(policy, file, @"/usr/bin/less") ? "excluded" : "scan");
    }
    qvlpolicy_free(policy);
  }
  return 0;
}
