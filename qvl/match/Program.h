// The library's own matcher. Private to the library.

#ifndef QVL_MATCH_PROGRAM_H
#define QVL_MATCH_PROGRAM_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qvl/match/Expression.h"
#include "qvl/match/Text.h"

namespace QVL {

class CharacterSet;
class LiteralSet;

// Steps, compiled: matched against whole texts in a time linear in the text for given steps,
// however text and steps were made up.
//
// What stands at the beginning, as long as there is one way only to read on (literals, single
// characters, `.*` up to a literal), is compared directly, and so is a literal at the end: for most
// patterns and texts that is all. The rest is a simulation of all ways at once, of the kind known
// as Shift-And or bit-parallel NFA: for each instruction the set of places in the text where it may
// begin, as bits of words. The text is gone through in blocks of 64 places; within a block each
// instruction turns the places where it begins into those where the next one does, by a few word
// operations with the rows of ByteRows, and passes on to the next block what crosses the border. A
// loop is gone through until it reaches no further place of the block, and never twice from the
// same one. So a match costs a few nanoseconds for each instruction and 64 bytes of text; an
// instruction that no place has reached costs nearly nothing.
//
// Thread safety: immutable after construction; the text belongs to one query.
class Program {
 public:
  // Sets of characters that several programs have in common, by expression and whether case
  // matters: each takes some kilobytes.
  using SharedSets = std::map<std::pair<std::string, bool>, std::shared_ptr<const CharacterSet>>;

  // The program of what was read. Null when it would be too large. Throws what the engine throws
  // for a set of characters that is none. Takes its sets from `shared`, unless that is null, and
  // adds those that are new.
  static std::unique_ptr<const Program> of(const Steps& steps, bool caseSensitive,
                                           SharedSets* shared = nullptr);

  // The same of a group that programs have in common. What several of its alternatives begin with
  // is read once, as in a trie.
  static std::unique_ptr<const Program> of(const Alternatives& group, bool caseSensitive);

  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool caseSensitive() const { return m_caseSensitive; }

  // Does the program match the whole text, which is UTF-8?
  bool matches(Text& text) const;

  // The same as far as it can be told without a simulation; absent when one is needed.
  std::optional<bool> matchesAtOnce(Text& text) const;

  // Having read the UTF-8 part of a text, could it read another character behind it?
  bool readsOn(Text& text) const;

  // Behind which places of the text does it end that begins at one of `places`? Both are rows of
  // bits, ByteRows::wordsFor() of the length of the text's UTF-8 part. True when another character
  // could be read behind that.
  bool leads(Text& text, const std::uint64_t* places, std::uint64_t* ends) const;

  // What it matches, as steps: literals, wildcards and groups as they were, and a Set for anything
  // else, which stands for some text there, possibly none.
  // Groups of more than `most` alternatives become a Set as well, and so do those that programs
  // have in common.
  Steps outline(std::size_t most) const;

  // How many instructions there are, those in alternatives and loops included.
  std::size_t size() const { return m_code.size(); }

  class Signs;

 private:
  friend class ProgramCompiler;

  enum class Op : std::uint8_t {
    Bytes,         // bytes() from `from`, `length` of them
    OneNotSlash,   // `length` characters
    One,           // likewise
    Mixed,         // from `from` on, `length` parts: bytes, single characters, and runs
    Set,           // `length` characters of m_rare->sets[from]
    UpToNotSlash,  // from none to `length` characters
    UpToOne,       // likewise
    UpToOfSet,     // likewise, of m_rare->sets[from]
    RunNotSlash,
    Run,
    RunOfSet,  // any number of characters of m_rare->sets[from]
    Folders,
    Literals,     // one piece of m_rare->literals[from]
    Shared,       // one of the alternatives of m_rare->shared[from]
    Group,        // `from` alternatives, each an Alternative; `length` instructions in all
    Alternative,  // `length` instructions; `from`: the byte that it begins with + 1, or 0
    Loop,         // `length` instructions, any number of times; the loop's number is `from`
    Look,         // the next character is looked at
    LineStart,
    LineEnd,
    TextStart,
    TextEnd,
    WordBoundary,
    NotWordBoundary,
    WordStart,
    WordEnd,
  };
  struct Instruction {
    Op op;
    std::uint32_t from;
    std::uint32_t length;
  };

  // A set from this number on is one byte, and not in m_rare.
  static constexpr std::uint32_t kByte = std::uint32_t{1} << 31;
  // A group of more alternatives is a program of its own, which all programs share that have it.
  static constexpr std::size_t kMostInPlace = 16;
  // The most bytes or characters of one instruction: what crosses the border of a block fits a
  // word.
  static constexpr std::size_t kLongest = 64;
  static constexpr std::size_t kMostInstructions = 50000;

  template <bool ascii, bool pending>
  class Run;

  // Instructions that come one behind the other.
  struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  explicit Program(bool caseSensitive) : m_caseSensitive(caseSensitive) {}

  // From where on there may be several ways to read on.
  struct Fork {
    std::size_t instruction;
    std::size_t last;  // of those that are to be read
    std::size_t at;    // in the text
    std::size_t end;
  };

  template <bool ascii>
  std::optional<bool> readUpToFork(std::string_view subject, Fork& fork) const;
  template <bool ascii>
  bool matchesAs(Text& text, std::string_view subject) const;

  bool hasNextLiteral(std::size_t i, std::size_t last, std::string_view rest) const;

  Steps outline(std::size_t begin, std::size_t end, std::size_t most) const;
  static Step::Kind stepOf(Op op);

  // What few programs have.
  struct Rare {
    // Beside the bytes where there is a Mixed: the Op of the part, and how many parts up to this
    // one neither read nor pass by a slash.
    std::string kinds;
    std::string inComponent;
    std::vector<std::shared_ptr<const CharacterSet>> sets;
    std::vector<std::shared_ptr<const LiteralSet>> literals;
    std::vector<std::shared_ptr<const Program>> shared;
    // Per instruction, if there is much behind some: at least so many bytes are.
    std::vector<std::uint32_t> leastBehind;
  };

  // How much room a simulation needs.
  static constexpr std::size_t kWordsOfShared = 2;  // beside those of the group itself
  struct Room {
    std::size_t states = 0;    // words
    std::size_t literals = 0;  // sets of literals
  };

  // The instructions and, behind them, the bytes that they read: in one piece of memory, which is
  // smaller and nearer than two.
  class Code {
   public:
    Code() = default;
    Code(const std::vector<Instruction>& instructions, std::string_view bytes);

    std::size_t size() const { return m_size; }
    const Instruction* data() const { return m_memory.get(); }
    const Instruction& operator[](std::size_t i) const { return m_memory[i]; }
    std::string_view bytes() const {
      return {reinterpret_cast<const char*>(m_memory.get() + m_size), m_bytes};
    }

   private:
    std::unique_ptr<Instruction[]> m_memory;
    std::uint32_t m_size = 0;
    std::uint32_t m_bytes = 0;
  };

  std::string_view bytes() const { return m_code.bytes(); }

  Code m_code;
  std::unique_ptr<const Rare> m_rare;  // null: nothing
  Room m_room;                         // those of what it shares included
  std::uint32_t m_choices = 2;         // of sequences of signs; above 1 groups are gone into
  std::uint32_t m_loops = 0;           // how many there are
  std::uint32_t m_leastLength = 0;     // no shorter text matches, in bytes
  std::uint32_t m_suffix = 0;  // the length of the literal at the end, if it is not the first step
  bool m_caseSensitive;
};

// What a program reads, one sign after the other, as long as there is one sequence of them: one for
// each choice among the alternatives of its groups.
class Program::Signs {
 public:
  // A byte, one of those below, or the address of a set of literals or of a group that programs
  // share. Ordered so that those that go
  // on whatever comes are found before those that have to be tried.
  using Sign = std::uint64_t;
  static constexpr Sign kOne = 256;
  static constexpr Sign kOneNotSlash = 257;
  static constexpr Sign kRunNotSlash = 258;
  static constexpr Sign kLook = 259;  // the next character is looked at, and not read
  // The last sign of a program is one of these, and nothing is behind it.
  static constexpr Sign kAnything = ~Sign{3};  // goes on, whatever comes
  static constexpr Sign kEnd = ~Sign{2};       // the program ends
  static constexpr Sign kOther = ~Sign{1};     // what comes is no sequence of signs

  // How many sequences a program has: one, in which a group is an Other, if its groups would give
  // more than a few.
  static std::uint32_t choices(const Program& program) { return program.m_choices; }

  // `program` outlives the object; `choice` is below its number of choices.
  Signs(const Program& program, std::uint32_t choice) : m_program(program), m_choice(choice) {}

  Sign sign() const;
  // The bytes that come next, if they stand side by side; one sign each.
  std::string_view literal() const;
  // Bytes, single characters and runs that come next, if they take turns; one sign each. Of others
  // than bytes the byte is 0.
  struct Mix {
    std::string_view bytes;
    std::string_view kinds;

    std::size_t size() const { return bytes.size(); }
    Sign sign(std::size_t at) const;
  };
  Mix mix() const;
  // How often the sign comes here, side by side; of some kinds of signs 1 is told.
  std::size_t repeats() const;
  // Goes on by so many signs, at most to the last one.
  void advance(std::size_t count);
  // Null when the sign is no set of literals, and no group.
  const LiteralSet* literals() const;
  const Program* group() const;

  static bool isLast(Sign sign) { return sign >= kAnything; }

  // Could the program, going on from here at these places, read another character behind the
  // UTF-8 part of the text? The places are a row, as those of Program::leads; the sign is an Other.
  bool readsOn(Text& text, const std::uint64_t* places) const;

 private:
  static constexpr std::uint32_t kMostChoices = 16;

  friend class ProgramCompiler;

  static std::uint32_t countChoices(const Program& program);
  static Sign signOf(Op op);
  bool isAtEnd() const { return m_at == m_program.m_code.size(); }
  void enterGroup();

  const Program& m_program;
  std::uint32_t m_choice;         // among the groups that come
  std::uint32_t m_choices = 1;    // of the groups that came
  std::size_t m_at = 0;           // the instruction
  std::uint32_t m_read = 0;       // signs of it that were read
  std::size_t m_alternative = 0;  // where the alternative ends that it is in; 0: in none
  std::size_t m_group = 0;        // and where its group does
};

}  // namespace QVL

#endif  // QVL_MATCH_PROGRAM_H
