#include <qvlpolicy/Policy.h>
#include <iostream>

int main(int count, char* arguments[]) {
  const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load(count > 1 ? arguments[1] : "policy.xml");
  for (const auto& error : loaded.errors) std::cerr << inWords(error) << '\n';
  if (!loaded.policy) return 2;
  for (int i = 2; i < count; ++i)
    std::cout << (loaded.policy->isExcluded({arguments[i], ""}) ? "excluded  " : "scan      ")
              << arguments[i] << '\n';
}
