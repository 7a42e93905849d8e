// A stream of paths from a descriptor.

#ifndef QVLCTL_IO_PATH_READER_H
#define QVLCTL_IO_PATH_READER_H

#include <functional>
#include <string>
#include <string_view>

namespace qvlctl {

// Reads texts that end in a separator, of any length and any other bytes, in memory for the longest
// one. The last may lack its separator; an empty input holds none.
class PathReader {
 public:
  // `beforeWaiting` is called ahead of each read from the descriptor, which may block: the time to
  // hand over answers that are still buffered. `source` is what messages call the input.
  PathReader(int descriptor, char separator, std::function<void()> beforeWaiting,
             std::string source = "the paths");

  // The next text; it stays valid until the next call. False at the end. Throws Trouble.
  bool next(std::string_view& text);

 private:
  bool readMore();

  const int m_descriptor;
  const char m_separator;
  const std::function<void()> m_beforeWaiting;
  const std::string m_source;
  std::string m_buffer;
  std::size_t m_start = 0;    // of the text that is next
  std::size_t m_scanned = 0;  // no separator between m_start and here
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_PATH_READER_H
