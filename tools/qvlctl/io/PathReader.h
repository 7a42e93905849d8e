// A stream of paths from a descriptor.

#ifndef QVLCTL_IO_PATH_READER_H
#define QVLCTL_IO_PATH_READER_H

#include <functional>
#include <string>
#include <string_view>

namespace qvlctl {

// Reads texts that end in a separator, in constant memory. The last may lack its separator; an
// empty input holds none. Texts that end in a zero byte hold any other bytes, lines any but zero.
class PathReader {
 public:
  // The longest text in bytes: far more than any path has, even one written with escapes.
  static constexpr std::size_t kLongest = 1 << 20;

  // `beforeWaiting` is called ahead of each read from the descriptor, which may block: the time to
  // hand over answers that are still buffered. `source` is what messages call the input; `hint`
  // follows the message about a zero byte in a line.
  PathReader(int descriptor, char separator, std::function<void()> beforeWaiting,
             std::string source, std::string hint = "");

  // The next text; it stays valid until the next call. False at the end. Throws Trouble, after a
  // call of `beforeWaiting`, when the descriptor cannot be read, a text is too long, or a line
  // holds a zero byte.
  bool next(std::string_view& text);

 private:
  bool readMore();

  // Refuses a text, of which `part` is what has been read.
  void check(std::string_view part);
  [[noreturn]] void refuse(const std::string& reason);

  const int m_descriptor;
  const char m_separator;
  const std::function<void()> m_beforeWaiting;
  const std::string m_source;
  const std::string m_hint;
  std::string m_buffer;
  std::size_t m_start = 0;    // of the text that is next
  std::size_t m_scanned = 0;  // no separator between m_start and here
  std::size_t m_count = 0;    // of texts that have been read
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_PATH_READER_H
