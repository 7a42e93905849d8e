// A line that tells how far a long work has come.

#ifndef QVLCTL_IO_STATUS_LINE_H
#define QVLCTL_IO_STATUS_LINE_H

#include <string>

#include "io/OutputChoices.h"

namespace qvlctl {

// A line on standard error that is written over and over, if that is a terminal; otherwise nothing.
// It is taken away at the end of the object's life, and when a signal ends the program. One object
// at a time.
class StatusLine {
 public:
  // `isWanted` is false where nothing is to be shown, terminal or not.
  explicit StatusLine(bool isWanted = !outputChoices().quiet);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool isShown() const { return m_isShown; }

  // In place of what was shown before. What does not fit into a line of the terminal is
  // cut off.
  void show(std::string text);

 private:
  const bool m_isShown;
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_STATUS_LINE_H
