#include "qvl/match/Engine.h"

#include <unicode/utf8.h>

#include <boost/regex/icu.hpp>
#include <boost/throw_exception.hpp>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

// A zero stands behind the expression: at the end of one that leaves a range of characters open, as
// "[a-b" does, the engine looks at what comes next.
boost::u32regex compile(const std::string& expression,
                        boost::regex_constants::syntax_option_type options) {
  using Characters = boost::u8_to_u32_iterator<std::string::const_iterator, UChar32>;
  const auto begin = expression.begin();
  const auto end = expression.end();
  std::vector<UChar32> characters(Characters(begin, begin, end), Characters(end, begin, end));
  const std::size_t length = characters.size();
  characters.push_back(0);
  return boost::u32regex(characters.data(), length, options);
}

// ICU sets itself up when it is first used, once for the process. Without memory for that it
// crashes, waits for itself for ever or stays of no use, so it is done while the library is loaded.
[[maybe_unused]] const bool engineIsSetUp = [] {
  try {
    const boost::u32regex regex =
        compile("(\xC3\xA9|[[:alpha:]\xC3\xA9-\xC3\xAA])", boost::regex_constants::icase);
    const std::string_view text = "\xC3\x89";
    return boost::u32regex_match(text.data(), text.data() + text.size(), regex);
  } catch (...) {
    return false;
  }
}();

// Characters of a text, the way the engine reads them, which counts how many were read: the
// engine's own limit grows with the square of the text.
class CountedCharacters {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = UChar32;
  using difference_type = std::ptrdiff_t;
  using pointer = const UChar32*;
  using reference = UChar32;

  CountedCharacters() = default;
  CountedCharacters(const char* at, const char* begin, const char* end, std::uint64_t& read)
      : m_characters(at, begin, end), m_read(&read) {}

  UChar32 operator*() const {
    if (++*m_read > Engine::kMostSteps) {
      boost::throw_exception(
          std::runtime_error("The complexity of matching the regular expression exceeded "
                             "predefined bounds."));
    }
    return *m_characters;
  }
  CountedCharacters& operator++() {
    ++m_characters;
    return *this;
  }
  CountedCharacters operator++(int) {
    CountedCharacters before = *this;
    ++m_characters;
    return before;
  }
  CountedCharacters& operator--() {
    --m_characters;
    return *this;
  }
  CountedCharacters operator--(int) {
    CountedCharacters before = *this;
    --m_characters;
    return before;
  }
  friend bool operator==(const CountedCharacters& a, const CountedCharacters& b) {
    return a.m_characters == b.m_characters;
  }
  friend bool operator!=(const CountedCharacters& a, const CountedCharacters& b) {
    return !(a == b);
  }

 private:
  boost::u8_to_u32_iterator<const char*, UChar32> m_characters;
  std::uint64_t* m_read = nullptr;
};

const boost::icu_regex_traits& traits() {
  static const boost::icu_regex_traits engine;
  return engine;
}

// Eight bytes at a time.
void appendFoldedAscii(std::string_view text, std::string& folded) {
  constexpr std::uint64_t kEach = 0x0101010101010101u;
  const std::size_t begin = folded.size();
  folded.append(text);
  char* const bytes = folded.data() + begin;
  std::size_t at = 0;
  for (std::uint64_t word; at + sizeof word <= text.size(); at += sizeof word) {
    std::memcpy(&word, bytes + at, sizeof word);
    // The high bit of each byte from 'A' on, and of each behind 'Z'.
    const std::uint64_t fromA = word + kEach * (0x80 - 'A');
    const std::uint64_t behindZ = word + kEach * (0x80 - 'Z' - 1);
    word |= ((fromA ^ behindZ) & kEach * 0x80) >> 2;
    std::memcpy(bytes + at, &word, sizeof word);
  }
  for (; at < text.size(); ++at) {
    if (bytes[at] >= 'A' && bytes[at] <= 'Z') bytes[at] = static_cast<char>(bytes[at] - 'A' + 'a');
  }
}

}  // namespace

struct Engine::Compiled {
  boost::u32regex regex;
};

Engine::Engine(const std::string& expression, bool caseSensitive) {
  boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
  if (!caseSensitive) options |= boost::regex_constants::icase;
  m_compiled.reset(new Compiled{compile(expression, options)});
}

Engine::~Engine() = default;

bool Engine::matches(std::string_view text) const {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  std::uint64_t read = 0;
  // With the places of what matched: without, the engine stops at the first match that it finds,
  // which with some operators need not be one of the whole text.
  boost::match_results<CountedCharacters> places;
  return boost::regex_match(CountedCharacters(begin, begin, end, read),
                            CountedCharacters(end, begin, end, read), places, m_compiled->regex);
}

void throwNotUtf8() {
  boost::throw_exception(std::out_of_range(
      "Invalid UTF-8 sequence encountered while trying to encode UTF-32 character"));
}

// Lower case in some releases of the engine, case folding in others.
void foldCase(std::string_view text, std::string& folded) {
  folded.clear();
  for (std::size_t at = 0; at < text.size();) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      std::size_t end = at + 1;
      while (end < text.size() && static_cast<unsigned char>(text[end]) < 0x80) ++end;
      appendFoldedAscii(text.substr(at, end - at), folded);
      at = end;
      continue;
    }
    const UChar32 character =
        traits().translate_nocase(static_cast<UChar32>(Utf8::decode(text, at)));
    char encoded[U8_MAX_LENGTH];
    std::int32_t size = 0;
    U8_APPEND_UNSAFE(encoded, size, character);
    folded.append(encoded, static_cast<std::size_t>(size));
  }
}

bool isWordCharacter(std::uint32_t character) {
  static const auto word = [] {
    const UChar32 name[] = {'w'};
    return traits().lookup_classname(name, name + 1);
  }();
  return traits().isctype(static_cast<UChar32>(character), word);
}

CharacterSet::CharacterSet(const std::string& expression, bool caseSensitive)
    : m_engine(expression, caseSensitive) {
  for (std::size_t c = 0; c < m_ascii.size(); ++c) {
    const char text = static_cast<char>(c);
    m_ascii[c] = m_engine.matches({&text, 1});
  }
}

bool CharacterSet::containsBeyondAscii(std::uint32_t character) const {
  char encoded[U8_MAX_LENGTH];
  std::int32_t size = 0;
  U8_APPEND_UNSAFE(encoded, size, character);
  return m_engine.matches({encoded, static_cast<std::size_t>(size)});
}

}  // namespace QVL
