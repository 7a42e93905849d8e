// Memory that runs out when a test says so. Starvation.cpp is linked into programs that use it.

#ifndef QVL_TESTS_SUPPORT_STARVATION_H
#define QVL_TESTS_SUPPORT_STARVATION_H

#include <cstddef>
#include <new>
#include <ostream>

namespace QVL {
namespace Test {

enum class Hunger {
  OneRefusal,  // one allocation fails, and those after it succeed
  ForGood,     // one allocation fails, and all after it
};

inline std::ostream& operator<<(std::ostream& out, Hunger hunger) {
  return out << (hunger == Hunger::OneRefusal ? "one refusal" : "for good");
}

enum class Whose {
  Everybodys,   // of the libraries beneath ours too; under a sanitizer, operator new and libxml2's
  OperatorNew,  // of C++ alone
};

// While it lives, allocations of this thread fail: the first `spared` succeed, and then comes the
// hunger.
class Starvation {
 public:
  Starvation(std::size_t spared, Hunger hunger, Whose whose = Whose::Everybodys);
  ~Starvation();
  Starvation(const Starvation&) = delete;
  Starvation& operator=(const Starvation&) = delete;

  // Did any allocation fail?
  bool struck() const;
};

// Blocks of memory that are allocated and not freed; always 0 under a sanitizer, which looks for
// leaks by itself.
long liveBlocks();

// Calls `run(spared)` with memory that runs out after 0, 1, 2, ... allocations until it does not
// run out any more, and answers how often it did. What `run` does without memory stands between
// Starvation's construction and destruction, and it returns whether that struck.
template <typename Run>
std::size_t untilFed(Run run) {
  std::size_t spared = 0;
  while (run(spared)) ++spared;
  return spared;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_STARVATION_H
