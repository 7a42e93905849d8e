// What the library takes of an open: ask-load POLICY PATH asks the policy a million times, and
// prints the microseconds of a question.

#include <chrono>
#include <cstdio>

#include "qvlpolicy/LivePolicy.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load(argv[1]);
  if (!loaded.policy) return 2;
  qvlpolicy::LivePolicy policy(loaded.policy);
  qvlpolicy::Answer answer;
  constexpr int kQuestions = 1000000;
  int excluded = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kQuestions; ++i) {
    policy.ask({argv[2], "", QVL::ReadAccess}, answer);
    excluded += answer.isExcluded ? 1 : 0;
  }
  const std::chrono::duration<double, std::micro> passed = std::chrono::steady_clock::now() - start;
  std::printf("%.3f us a question, %d of %d excluded\n", passed.count() / kQuestions, excluded,
              kQuestions);
}
