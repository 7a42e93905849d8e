// What the command line says about all output.

#ifndef QVLCTL_IO_OUTPUT_CHOICES_H
#define QVLCTL_IO_OUTPUT_CHOICES_H

#include <string>
#include <string_view>

namespace qvlctl {

struct OutputChoices {
  bool quiet = false;
  std::string colour = "auto";  // or "always", "never"
};

// The one for the program; to be set before there is any output.
OutputChoices& outputChoices();

// As complain(), for notes and warnings: nothing where the caller wants quiet.
void remark(std::string_view message);

}  // namespace qvlctl

#endif  // QVLCTL_IO_OUTPUT_CHOICES_H
