// Rules by age for files that are not at hand.

#ifndef QVLPOLICY_GIVEN_AGE_H
#define QVLPOLICY_GIVEN_AGE_H

#include <qvl/qvl.h>

#include <string>

#include "qvlpolicy/Policy.h"

namespace qvlpolicy {

// As long as it lives, the questions of this thread are about a file with these times; null: they
// are not known.
class TimesOfQuestion {
 public:
  explicit TimesOfQuestion(const GivenTimes* times);
  ~TimesOfQuestion();
  TimesOfQuestion(const TimesOfQuestion&) = delete;
  TimesOfQuestion& operator=(const TimesOfQuestion&) = delete;

 private:
  const GivenTimes* const m_outer;
};

// An age rule that goes by the times of the question and looks at no file. A time that is not known
// matches nothing, as a file that cannot be examined does in the engine.
class GivenAgeAvoidance : public QVL::FileAgeAvoidance {
 public:
  // `age` is an age text as the policy's reader makes it. Throws QVLException as its base does.
  GivenAgeAvoidance(const std::string& age, QVL::AccessTypes access);

  bool canAvoid(QVL::ILookupData& request) override;

 private:
  const bool m_isOfCreation;
  const double m_seconds;  // excluded when older
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_GIVEN_AGE_H
