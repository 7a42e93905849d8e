// The regular expression engine, which says what expressions mean. Private to the library.

#ifndef QVL_MATCH_ENGINE_H
#define QVL_MATCH_ENGINE_H

#include <bitset>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace QVL {

// A compiled expression of the engine. It decides what compiles, what a set of characters holds and
// how letters fold; whole texts are left to it only where the library has no matcher of its own.
//
// Thread safety: immutable; any number of threads may match at once.
class Engine {
 public:
  // Throws what the engine throws when the expression is not valid or not UTF-8.
  Engine(const std::string& expression, bool caseSensitive);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Does the expression match the whole text? Gives up after kMostSteps characters read, with the
  // exception by which the engine itself does (a std::runtime_error). Throws std::out_of_range when
  // it reads a character that is not UTF-8.
  bool matches(std::string_view text) const;

  static constexpr std::uint64_t kMostSteps = 200000;

 private:
  struct Compiled;
  std::unique_ptr<const Compiled> m_compiled;
};

// Throws as the engine does at a character that is not UTF-8.
[[noreturn]] void throwNotUtf8();

// Puts into `folded` a UTF-8 text in the form that the engine compares when case does not matter,
// character by character.
void foldCase(std::string_view text, std::string& folded);

// Is the character, folded or not, part of a word?
bool isWordCharacter(std::uint32_t character);

// The characters that an expression for a single one matches, such as "[a-z]" or "\d": what the
// engine says of each.
//
// Thread safety: immutable.
class CharacterSet {
 public:
  // Throws what the engine throws.
  CharacterSet(const std::string& expression, bool caseSensitive);

  bool contains(std::uint32_t character) const {
    return character < 128 ? m_ascii[character] : containsBeyondAscii(character);
  }

 private:
  bool containsBeyondAscii(std::uint32_t character) const;

  const Engine m_engine;
  std::bitset<128> m_ascii;
};

}  // namespace QVL

#endif  // QVL_MATCH_ENGINE_H
