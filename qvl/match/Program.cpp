#include "qvl/match/Program.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "qvl/match/Engine.h"
#include "qvl/match/LiteralSet.h"
#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kBits = ByteRows::kBits;
using Word = ByteRows::Word;

// So often literals and single characters take turns in what becomes a Mixed.
constexpr std::size_t kManyTurns = 8;

bool isRun(Step::Kind kind) {
  return kind == Step::RunNotSlash || kind == Step::Run || kind == Step::Folders;
}

// Neighbouring runs as one, where one adds nothing to the other.
Steps merged(const Steps& steps) {
  Steps result;
  for (const Step& step : steps) {
    if (!result.empty() && isRun(step.kind) && isRun(result.back().kind)) {
      Step::Kind& before = result.back().kind;
      if (before == Step::Run || before == step.kind) continue;
      if (step.kind == Step::Run || before == Step::Folders) {
        before = Step::Run;
        continue;
      }
    }
    result.push_back(step);
  }
  return result;
}

// Where a text has each run of `mask` that a place of `from` stands in filled up from there, and
// the place behind it. `beyond` tells whether that is the first place of the next block.
Word filled(Word from, Word mask, bool& beyond) {
  const Word inside = from & mask;
  Word sum;
  beyond = __builtin_add_overflow(inside, mask, &sum);
  return inside == 0 ? from : from | (sum ^ mask);
}

// Of no alternatives: a Set, which stands for any text.
Step groupOf(std::vector<Steps> alternatives) {
  if (alternatives.empty()) return {Step::Set, {}, {}};
  return {Step::Group, {}, std::make_shared<const Alternatives>(std::move(alternatives))};
}

bool isLineSeparator(std::uint32_t character) {
  const std::uint32_t low = character & 0xFFFF;  // as the engine compares
  return character == '\n' || character == '\r' || character == '\f' || low == 0x2028 ||
         low == 0x2029 || low == 0x85;
}

}  // namespace

// Turns steps into instructions.
class ProgramCompiler {
 public:
  // `shared` may be null.
  ProgramCompiler(Program& program, Program::SharedSets* shared)
      : m_program(program), m_shared(shared) {}

  // False when the program becomes too large.
  bool compile(const Steps& steps) {
    const std::size_t least = sequence(steps);
    if (m_tooLarge || std::max(least, m_bytes.size()) > kMostBytes) return false;
    m_program.m_leastLength = static_cast<std::uint32_t>(least);
    if (m_code.size() > 1 && m_code.back().op == Op::Bytes && steps.back().kind == Step::Literal) {
      m_program.m_suffix = m_code.back().length;
    }
    m_program.m_code = Program::Code(m_code, m_bytes);
    if (!m_rare.wild.empty() || !m_rare.sets.empty() || !m_rare.literals.empty()) {
      m_program.m_rare = std::make_unique<const Program::Rare>(std::move(m_rare));
    }
    return true;
  }

 private:
  using Op = Program::Op;

  static constexpr std::size_t kMostBytes = std::numeric_limits<std::uint32_t>::max();

  // Each of these answers with the least number of bytes that the steps read.
  std::size_t sequence(const Steps& steps) {
    // No instruction of what comes before grows, and none of these by what comes behind them.
    m_sequenceBegin = m_code.size();
    std::size_t least = 0;
    const Steps all = merged(steps);
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::size_t end = endOfMixed(all, i);
      for (; i < end; ++i) least += mixed(all[i]);
      m_mixing = false;
      if (i < all.size()) least += one(all[i]);
    }
    m_sequenceBegin = m_code.size();
    return least;
  }

  // Where the literals and single characters from `begin` on end, if they take turns often enough
  // to be worth instructions of their own; else `begin`.
  static std::size_t endOfMixed(const Steps& steps, std::size_t begin) {
    std::size_t turns = 0;
    std::size_t i = begin;
    for (; i < steps.size(); ++i) {
      const Step::Kind kind = steps[i].kind;
      if (kind != Step::Literal && kind != Step::OneNotSlash && kind != Step::One) break;
      if (i > begin && kind != steps[i - 1].kind) ++turns;
    }
    return turns < kManyTurns ? begin : i;
  }

  std::size_t mixed(const Step& step) {
    const bool isLiteral = step.kind == Step::Literal;
    const auto wild = static_cast<char>(step.kind == Step::One ? Op::One : Op::OneNotSlash);
    for (const char byte : isLiteral ? step.bytes : std::string(1, '\0')) {
      if (!m_mixing || m_code.back().length == Program::kLongest) {
        emit(Op::Mixed, m_bytes.size());
        m_mixing = true;
      }
      ++m_code.back().length;
      m_bytes += byte;
      m_rare.wild.resize(m_bytes.size());
      if (!isLiteral) m_rare.wild.back() = wild;
    }
    return isLiteral ? step.bytes.size() : 1;
  }

  std::size_t one(const Step& step) {
    switch (step.kind) {
      case Step::Literal:
        return literal(step.bytes);
      case Step::OneNotSlash:
        return characters(Op::OneNotSlash);
      case Step::One:
        return characters(Op::One);
      case Step::Set:
        emit(Op::Set, set(step.bytes));
        return 1;
      case Step::RunNotSlash:
        emit(Op::RunNotSlash);
        return 0;
      case Step::Run:
        emit(Op::Run);
        return 0;
      case Step::Folders:
        emit(Op::Folders);
        return 0;
      case Step::Group:
        return group(*step.alternatives);
      case Step::Repeat:
        return repeat(step);
      case Step::LineStart:
        return place(Op::LineStart);
      case Step::LineEnd:
        return place(Op::LineEnd);
      case Step::TextStart:
        return place(Op::TextStart);
      case Step::TextEnd:
        return place(Op::TextEnd);
      case Step::WordBoundary:
        return place(Op::WordBoundary);
      case Step::NotWordBoundary:
        return place(Op::NotWordBoundary);
      case Step::WordStart:
        return place(Op::WordStart);
      case Step::WordEnd:
        return place(Op::WordEnd);
    }
    return 0;
  }

  std::size_t literal(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += Program::kLongest) {
      const std::string_view piece = std::string_view(bytes).substr(at, Program::kLongest);
      emit(Op::Bytes, m_bytes.size(), piece.size());
      m_bytes += piece;
    }
    return bytes.size();
  }

  std::size_t characters(Op op) {
    if (m_code.size() > m_sequenceBegin && m_code.back().op == op &&
        m_code.back().length < Program::kLongest) {
      ++m_code.back().length;
    } else {
      emit(op, 0, 1);
    }
    return 1;
  }

  std::size_t place(Op op) {
    emit(op);
    return 0;
  }

  std::size_t group(const Alternatives& alternatives) {
    const auto& literals = alternatives.literals;
    std::vector<const Steps*> others;
    for (const Steps& steps : alternatives.sequences) {
      if (!literals || !LiteralSet::pieceOf(steps)) others.push_back(&steps);
    }
    std::size_t least = kNone;
    if (literals) {
      least = literals->leastLength();
      m_rare.literals.push_back(literals);
      if (others.empty()) {
        emit(Op::Literals, m_rare.literals.size() - 1);
        return least;
      }
    }

    const std::size_t begin = emit(Op::Group);
    std::size_t count = others.size();
    if (least != kNone) {
      emit(Op::Alternative, 0, 1);
      emit(Op::Literals, m_rare.literals.size() - 1);
      ++count;
    }
    for (const Steps* const steps : others) {
      const std::size_t alternative = emit(Op::Alternative);
      least = std::min(least, sequence(*steps));
      m_code[alternative].length = lengthSince(alternative);
      if (!steps->empty() && steps->front().kind == Step::Literal) {
        m_code[alternative].from = static_cast<unsigned char>(steps->front().bytes.front()) + 1u;
      }
    }
    m_code[begin].from = static_cast<std::uint32_t>(count);
    m_code[begin].length = lengthSince(begin);
    return least;
  }

  std::size_t repeat(const Step& step) {
    const Steps& body = step.alternatives->sequences.front();
    std::size_t least = 0;
    for (unsigned i = 0; i < step.least && !m_tooLarge; ++i) {
      if (step.looks) emit(Op::Look);
      least += sequence(body);
    }
    if (step.looks) emit(Op::Look);
    if (step.most != Step::kUnbounded) {
      for (unsigned i = step.least; i < step.most && !m_tooLarge; ++i) {
        group(Alternatives({body, {}}));
        if (step.looks) emit(Op::Look);
      }
      return least;
    }
    const Step::Kind only = body.size() == 1 ? body.front().kind : Step::Group;
    if (only == Step::OneNotSlash || only == Step::RunNotSlash) {
      emit(Op::RunNotSlash);
    } else if (only == Step::One || only == Step::Run) {
      emit(Op::Run);
    } else if (only == Step::Set) {
      emit(Op::RunOfSet, set(body.front().bytes));
    } else {
      const std::size_t begin = emit(Op::Loop, m_program.m_loops++);
      sequence(body);
      m_code[begin].length = lengthSince(begin);
    }
    return least;
  }

  std::size_t set(const std::string& expression) {
    for (std::size_t i = 0; i < m_setExpressions.size(); ++i) {
      if (m_setExpressions[i] == expression) return i;
    }
    m_rare.sets.push_back(setOf(expression));
    m_setExpressions.push_back(expression);
    return m_setExpressions.size() - 1;
  }

  std::shared_ptr<const CharacterSet> setOf(const std::string& expression) {
    const bool caseSensitive = m_program.m_caseSensitive;
    if (m_shared == nullptr) return std::make_shared<const CharacterSet>(expression, caseSensitive);
    std::shared_ptr<const CharacterSet>& shared = (*m_shared)[{expression, caseSensitive}];
    if (!shared) shared = std::make_shared<const CharacterSet>(expression, caseSensitive);
    return shared;
  }

  std::size_t emit(Op op, std::size_t from = 0, std::size_t length = 0) {
    if (m_code.size() >= Program::kMostInstructions) {
      m_tooLarge = true;
    } else {
      m_code.push_back({op, static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(length)});
    }
    return m_code.size() - 1;
  }

  std::uint32_t lengthSince(std::size_t instruction) const {
    return static_cast<std::uint32_t>(m_code.size() - 1 - instruction);
  }

  Program& m_program;
  Program::SharedSets* const m_shared;
  std::vector<Program::Instruction> m_code;
  std::string m_bytes;
  Program::Rare m_rare;
  std::vector<std::string> m_setExpressions;
  std::size_t m_sequenceBegin = 0;
  bool m_mixing = false;  // the last instruction is a Mixed that grows
  bool m_tooLarge = false;
};

std::unique_ptr<const Program> Program::of(const Steps& steps, bool caseSensitive,
                                           SharedSets* shared) {
  std::unique_ptr<Program> program(new Program(caseSensitive));
  if (!ProgramCompiler(*program, shared).compile(steps)) return nullptr;
  return program;
}

Program::~Program() = default;

Program::Code::Code(const std::vector<Instruction>& instructions, std::string_view bytes)
    : m_size(static_cast<std::uint32_t>(instructions.size())),
      m_bytes(static_cast<std::uint32_t>(bytes.size())) {
  constexpr std::size_t kSize = sizeof(Instruction);
  m_memory = std::make_unique<Instruction[]>(m_size + (bytes.size() + kSize - 1) / kSize);
  std::copy(instructions.begin(), instructions.end(), m_memory.get());
  if (!bytes.empty()) std::memcpy(m_memory.get() + m_size, bytes.data(), bytes.size());
}

std::uint32_t Program::Signs::choices(const Program& program) {
  // Past the groups, whatever their alternatives lead to.
  Signs signs(program, 0);
  while (!isLast(signs.sign())) {
    signs.advance(1);
    if (signs.m_alternative == 0) continue;
    signs.m_at = signs.m_group;
    signs.m_alternative = 0;
  }
  return signs.m_choices;
}

Program::Signs::Sign Program::Signs::sign() const {
  if (isAtEnd()) return kEnd;
  const Instruction& code = m_program.m_code[m_at];
  const auto byte = [&] {
    return static_cast<unsigned char>(m_program.bytes()[code.from + m_read]);
  };
  switch (code.op) {
    case Op::Bytes:
      return byte();
    case Op::Mixed: {
      const char wild = m_program.m_rare->wild[code.from + m_read];
      return wild == 0 ? byte() : static_cast<Op>(wild) == Op::One ? kOne : kOneNotSlash;
    }
    case Op::One:
      return kOne;
    case Op::OneNotSlash:
      return kOneNotSlash;
    case Op::RunNotSlash:
      return kRunNotSlash;
    case Op::Look:
      return kLook;
    case Op::Group:
      return m_alternative == 0 && code.from <= kMostChoices / m_choices ? kLook : kOther;
    case Op::Literals:
      return reinterpret_cast<std::uintptr_t>(literals());
    case Op::Run:
    case Op::Folders:
      return kAnything;
    default:
      return kOther;
  }
}

const LiteralSet* Program::Signs::literals() const {
  if (isAtEnd()) return nullptr;
  const Instruction& code = m_program.m_code[m_at];
  return code.op == Op::Literals ? m_program.m_rare->literals[code.from].get() : nullptr;
}

std::string_view Program::Signs::literal() const {
  if (isAtEnd()) return {};
  const Instruction& code = m_program.m_code[m_at];
  if (code.op != Op::Bytes) return {};
  return m_program.bytes().substr(code.from + m_read, code.length - m_read);
}

void Program::Signs::advance(std::size_t count) {
  while (count > 0 && !isLast(sign())) {
    const Instruction& code = m_program.m_code[m_at];
    const bool hasLength = code.op == Op::Bytes || code.op == Op::Mixed || code.op == Op::One ||
                           code.op == Op::OneNotSlash;
    const std::uint32_t length = hasLength ? code.length : 1;
    const auto read = static_cast<std::uint32_t>(std::min<std::size_t>(count, length - m_read));
    count -= read;
    m_read += read;
    if (m_read < length) return;
    m_read = 0;
    if (code.op == Op::Group) {
      enterGroup();
    } else {
      ++m_at;
    }
    if (m_alternative != 0 && m_at == m_alternative) {
      m_at = m_group;
      m_alternative = 0;
    }
  }
}

void Program::Signs::enterGroup() {
  const Instruction& group = m_program.m_code[m_at];
  m_group = m_at + 1 + group.length;
  ++m_at;
  for (std::uint32_t i = m_choice % group.from; i > 0; --i)
    m_at += 1 + m_program.m_code[m_at].length;
  m_choice /= group.from;
  m_choices *= group.from;
  m_alternative = m_at + 1 + m_program.m_code[m_at].length;
  ++m_at;
}

Steps Program::outline(std::size_t most) const {
  return outline(0, m_code.size(), most);
}

Steps Program::outline(std::size_t begin, std::size_t end, std::size_t most) const {
  Steps steps;
  for (std::size_t i = begin; i < end; ++i) {
    const Instruction& code = m_code[i];
    switch (code.op) {
      case Op::Bytes:
        if (steps.empty() || steps.back().kind != Step::Literal) {
          steps.push_back({Step::Literal, {}, {}});
        }
        steps.back().bytes += bytes().substr(code.from, code.length);
        break;
      case Op::Mixed:
        for (std::uint32_t at = code.from; at < code.from + code.length; ++at) {
          const auto wild = static_cast<Op>(m_rare->wild[at]);
          if (m_rare->wild[at] != 0) {
            steps.push_back({wild == Op::One ? Step::One : Step::OneNotSlash, {}, {}});
          } else if (!steps.empty() && steps.back().kind == Step::Literal) {
            steps.back().bytes += bytes()[at];
          } else {
            steps.push_back({Step::Literal, std::string(1, bytes()[at]), {}});
          }
        }
        break;
      case Op::OneNotSlash:
        steps.resize(steps.size() + code.length, {Step::OneNotSlash, {}, {}});
        break;
      case Op::One:
        steps.resize(steps.size() + code.length, {Step::One, {}, {}});
        break;
      case Op::RunNotSlash:
        steps.push_back({Step::RunNotSlash, {}, {}});
        break;
      case Op::Run:
        steps.push_back({Step::Run, {}, {}});
        break;
      case Op::Folders:
        steps.push_back({Step::Folders, {}, {}});
        break;
      case Op::Group: {
        std::vector<Steps> alternatives;
        for (std::size_t at = i + 1; at < i + 1 + code.length && code.from <= most;
             at += 1 + m_code[at].length) {
          alternatives.push_back(outline(at + 1, at + 1 + m_code[at].length, most));
        }
        steps.push_back(groupOf(std::move(alternatives)));
        i += code.length;
        break;
      }
      case Op::Literals: {
        const std::vector<LiteralSet::Piece>& pieces = m_rare->literals[code.from]->pieces();
        std::vector<Steps> alternatives;
        for (std::size_t k = 0; k < pieces.size() && pieces.size() <= most; ++k) {
          alternatives.push_back(LiteralSet::stepsOf(pieces[k]));
        }
        steps.push_back(groupOf(std::move(alternatives)));
        break;
      }
      case Op::Loop:
        i += code.length;
        steps.push_back({Step::Set, {}, {}});
        break;
      default:
        steps.push_back({Step::Set, {}, {}});
    }
  }
  return steps;
}

// One simulation over one text. `pending`: it is also noted where a further character would be
// read.
template <bool ascii, bool pending>
class Program::Run {
 public:
  Run(const Program& program, Text& text)
      : m_program(program),
        m_code(program.m_code.data()),
        m_rows(text.rows(!program.m_caseSensitive)),
        m_text(m_rows.text()),
        m_stepsTaken(text.scratch().steps),
        m_futureWords(m_text.size() / kBits + 2) {
    // Per instruction what it passes on to the next block; per set of characters its row, per loop
    // the places from which it was gone through, and for which block that is.
    std::vector<Word>& states = text.scratch().states;
    const std::size_t sets = program.m_rare ? program.m_rare->sets.size() : 0;
    const std::size_t literals = program.m_rare ? program.m_rare->literals.size() : 0;
    const std::size_t size = program.m_code.size();
    states.assign(size + 2 * (sets + std::size_t{program.m_loops}), 0);
    m_carry = states.data();
    m_setRows = m_carry + size;
    m_loops = m_setRows + 2 * sets;
    std::vector<Word>& future = text.scratch().future;
    future.assign(literals * m_futureWords, 0);
    m_future = future.data();
  }

  ~Run() { m_stepsTaken += m_steps; }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  // Do the instructions up to `last` lead from place `at`, where the one at `first` begins, to
  // place `end`?
  bool leads(std::size_t first, std::size_t last, std::size_t at, std::size_t end) {
    const std::size_t lastBlock = end / kBits;
    m_block = at / kBits;
    Word now = Word{1} << (at % kBits);
    for (;; ++m_block) {
      prepareBlock();
      const Word reached = run(first, last, now);
      if (m_block == lastBlock) return (reached >> (end % kBits) & 1) != 0;
      if (!m_carried) return false;
      now = 0;
    }
  }

  // Having read the text, could the program read another character?
  bool readsOn() {
    Word now = 1;
    for (m_block = 0;; ++m_block) {
      prepareBlock();
      m_reads = 0;
      run(0, m_program.m_code.size(), now);
      if (m_readsOn) return true;
      if (m_block == m_text.size() / kBits) {
        return (m_reads >> (m_text.size() % kBits) & 1) != 0;
      }
      if (!m_carried) return false;
      now = 0;
    }
  }

 private:
  void prepareBlock() {
    m_carried = m_again = false;
    m_lastPassed = std::exchange(m_lastPassing, std::size_t{0});
    const std::size_t rest = m_text.size() - m_block * kBits;
    m_inText = rest >= kBits ? ~Word{0} : (Word{1} << rest) - 1;
    m_slash = m_rows.word('/', m_block);
    m_continuation = 0;
    if (ascii) return;
    for (std::size_t i = 0; i < std::min(rest, kBits); ++i) {
      m_continuation |= Word{Utf8::isContinuation(m_text[m_block * kBits + i])} << i;
    }
  }

  // What the instruction at `i` was passed by the block before: once, however often a loop comes
  // by.
  Word passed(std::size_t i) { return m_again ? 0 : std::exchange(m_carry[i], Word{0}); }

  void pass(std::size_t i, Word carry) {
    m_carry[i] |= carry;
    if (carry == 0) return;
    m_carried = true;
    m_lastPassing = std::max(m_lastPassing, i);
  }

  void reads(Word places) {
    if (pending) m_reads |= places;
  }

  // Behind so many characters of `mask`. Bit j of what is passed on is for the one numbered j.
  Word characters(std::size_t i, std::uint32_t count, Word now, Word mask) {
    const Word before = passed(i);
    Word carry = 0;
    for (std::uint32_t j = 0; j < count; ++j) {
      ++m_steps;
      reads(now);
      const Word places = now & mask;
      Word out = places >> (kBits - 1);
      now = places << 1 | (before >> j & 1);
      if (!ascii && m_continuation != 0) {
        bool beyond = false;
        now = filled(now, m_continuation, beyond) & ~m_continuation;
        out |= Word{beyond};
      }
      carry |= out << j;
      if (now == 0 && before >> j <= 1) break;
    }
    pass(i, carry);
    return now;
  }

  // The places that a run from `places` through characters of `mask` reaches.
  Word throughRun(std::size_t i, Word places, Word mask) {
    bool beyond = false;
    const Word reached = filled(places | passed(i), mask, beyond);
    pass(i, Word{beyond});
    return reached & ~m_continuation;
  }

  // All places from the first of `places` on, or from the first of the block.
  static Word onwards(Word places, bool fromBefore) {
    return fromBefore ? ~Word{0} : places == 0 ? 0 : ~((places & (~places + 1)) - 1);
  }

  // Where the sequence of instructions ends that begins at the places of `now`.
  Word run(std::size_t i, std::size_t end, Word now) {
    while (i < end) {
      // Nothing comes from before, and nothing from the block before either.
      if (now == 0 && (m_again || i > m_lastPassed)) return 0;
      const Instruction& code = m_code[i];
      const bool hasBody = code.op == Op::Group || code.op == Op::Loop;
      const std::size_t next = i + 1 + (hasBody ? code.length : 0);
      if (now != 0 || m_carry[i] != 0) now = step(i, code, now);
      i = next;
    }
    return now;
  }

  Word step(std::size_t i, const Instruction& code, Word now) {
    ++m_steps;
    switch (code.op) {
      case Op::Bytes:
        return bytes(i, code, now);
      case Op::Mixed:
        return mixed(i, code, now);
      case Op::OneNotSlash:
        return characters(i, code.length, now, m_inText & ~m_slash);
      case Op::One:
        return characters(i, code.length, now, m_inText);
      case Op::Set:
        return characters(i, 1, now, setRow(code.from));
      case Op::RunNotSlash:
        now = throughRun(i, now, m_inText & ~m_slash);
        reads(now);
        return now;
      case Op::RunOfSet:
        now = throughRun(i, now, setRow(code.from));
        reads(now);
        return now;
      case Op::Run: {
        const Word reached = onwards(now, passed(i) != 0);
        pass(i, Word{reached != 0});
        reads(reached);
        return reached & ~m_continuation;
      }
      case Op::Folders: {
        // Bit 0: a run goes on from the block before; bit 1: a slash was its last byte.
        const Word before = passed(i);
        const Word reached = onwards(now, (before & 1) != 0);
        const Word slashes = reached & m_slash;
        pass(i, Word{reached != 0} | slashes >> (kBits - 1) << 1);
        reads(reached);
        return now | slashes << 1 | before >> 1;
      }
      case Op::Literals:
        return literals(i, code, now);
      case Op::Group:
        return group(i, code, now);
      case Op::Loop:
        return loop(i, code, now);
      case Op::Look:
        reads(now);
        return now;
      case Op::Alternative:
        return now;  // reached by way of its group only
      default:
        return atPlaces(code.op, now);
    }
  }

  Word bytes(std::size_t i, const Instruction& code, Word now) {
    const Word before = passed(i);
    Word carry = 0;
    const char* const wanted = m_program.bytes().data() + code.from;
    for (std::uint32_t j = 0; j < code.length; ++j) {
      ++m_steps;
      reads(now);
      const Word found = now & m_rows.word(static_cast<unsigned char>(wanted[j]), m_block);
      carry |= found >> (kBits - 1) << j;
      now = found << 1 | (before >> j & 1);
      if (now == 0 && before >> j <= 1) break;
    }
    pass(i, carry);
    return now;
  }

  Word mixed(std::size_t i, const Instruction& code, Word now) {
    const Word before = passed(i);
    const Word masks[] = {m_inText & ~m_slash, m_inText};
    Word carry = 0;
    for (std::uint32_t j = 0; j < code.length; ++j) {
      ++m_steps;
      reads(now);
      const char wild = m_program.m_rare->wild[code.from + j];
      const auto byte = static_cast<unsigned char>(m_program.bytes()[code.from + j]);
      const Word mask =
          wild == 0 ? m_rows.word(byte, m_block) : masks[static_cast<Op>(wild) == Op::One];
      const Word places = now & mask;
      Word out = places >> (kBits - 1);
      now = places << 1 | (before >> j & 1);
      if (!ascii && wild != 0 && m_continuation != 0) {
        bool beyond = false;
        now = filled(now, m_continuation, beyond) & ~m_continuation;
        out |= Word{beyond};
      }
      carry |= out << j;
      if (now == 0 && before >> j <= 1) break;
    }
    pass(i, carry);
    return now;
  }

  Word literals(std::size_t i, const Instruction& code, Word now) {
    const LiteralSet& set = *m_program.m_rare->literals[code.from];
    Word* const future = m_future + code.from * m_futureWords;
    passed(i);
    const std::size_t begin = m_block * kBits;
    for (Word rest = now; rest != 0; rest &= rest - 1) {
      const std::size_t at = begin + static_cast<std::size_t>(__builtin_ctzll(rest));
      if (at > m_text.size()) break;
      ++m_steps;
      const bool ranOut = set.match(m_text.substr(at), [&](std::size_t length) {
        future[(at + length) / kBits] |= Word{1} << (at + length) % kBits;
      });
      if (pending && ranOut) m_readsOn = true;
    }
    // Literals are no longer than a block.
    pass(i, Word{future[m_block + 1] != 0});
    return future[m_block];
  }

  Word group(std::size_t i, const Instruction& code, Word now) {
    const bool carriedBefore = std::exchange(m_carried, false);
    passed(i);
    reads(now);
    Word ends = 0;
    std::size_t alternative = i + 1;
    for (std::uint32_t k = 0; k < code.from; ++k) {
      const std::size_t length = m_code[alternative].length;
      // An alternative that no place has reached, or that begins with a byte that stands at none of
      // them, is passed over as a whole.
      const std::uint32_t byte = m_code[alternative].from;
      const Word begins = byte == 0 || now == 0
                              ? now
                              : now & m_rows.word(static_cast<unsigned char>(byte - 1), m_block);
      if (begins != 0 || m_carry[alternative] != 0) {
        const bool othersCarried = std::exchange(m_carried, false);
        passed(alternative);
        ends |= run(alternative + 1, alternative + 1 + length, now);
        pass(alternative, Word{m_carried});
        m_carried = m_carried || othersCarried;
      }
      alternative += 1 + length;
    }
    pass(i, Word{m_carried});
    m_carried = m_carried || carriedBefore;
    return ends;
  }

  Word loop(std::size_t i, const Instruction& code, Word now) {
    const bool carriedBefore = std::exchange(m_carried, false);
    const bool againBefore = m_again;
    passed(i);
    // A body that a place of this block was led through once leads nowhere new from there.
    Word& done = m_loops[std::size_t{2} * code.from];
    Word& doneOf = m_loops[std::size_t{2} * code.from + 1];
    if (std::exchange(doneOf, m_block + 1) != m_block + 1) done = 0;
    Word reached = now;
    Word from = now & ~done;
    do {
      done |= from;
      const Word ends = run(i + 1, i + 1 + code.length, from);
      reached |= ends;
      from = ends & ~done;
      m_again = true;
    } while (from != 0);
    m_again = againBefore;
    pass(i, Word{m_carried});
    m_carried = m_carried || carriedBefore;
    reads(reached);
    return reached;
  }

  // The bytes of the characters of a set, continuation bytes included.
  Word setRow(std::uint32_t set) {
    Word& row = m_setRows[std::size_t{2} * set];
    Word& madeFor = m_setRows[std::size_t{2} * set + 1];
    if (madeFor == m_block + 1) return row;
    madeFor = m_block + 1;
    row = 0;
    const CharacterSet& characters = *m_program.m_rare->sets[set];
    const std::size_t begin = m_block * kBits;
    const std::size_t end = std::min(begin + kBits, m_text.size());
    std::size_t at = begin;
    while (!ascii && at > 0 && at < m_text.size() && Utf8::isContinuation(m_text[at])) --at;
    while (at < end) {
      ++m_steps;
      const std::size_t from = at;
      const bool isIn = characters.contains(Utf8::decode(m_text, at));
      for (std::size_t i = std::max(from, begin); isIn && i < std::min(at, end); ++i) {
        row |= Word{1} << (i - begin);
      }
    }
    return row;
  }

  // Those places where something that reads nothing holds.
  Word atPlaces(Op op, Word now) {
    Word holding = 0;
    for (Word rest = now; rest != 0; rest &= rest - 1) {
      const Word bit = rest & (~rest + 1);
      const std::size_t at = m_block * kBits + static_cast<std::size_t>(__builtin_ctzll(rest));
      ++m_steps;
      if (at <= m_text.size() && holdsAt(op, at)) holding |= bit;
    }
    return holding;
  }

  bool holdsAt(Op op, std::size_t at) {
    const bool isEnd = at == m_text.size();
    const auto before = [&] {
      std::size_t start = at - 1;
      while (start > 0 && Utf8::isContinuation(m_text[start])) --start;
      return Utf8::decode(m_text, start);
    };
    // To see the next character is to read it.
    const auto behind = [&] {
      if (isEnd && pending) m_readsOn = true;
      std::size_t start = at;
      return isEnd ? 0 : Utf8::decode(m_text, start);
    };
    const auto wordBefore = [&] { return at > 0 && isWordCharacter(before()); };
    const auto wordBehind = [&] {
      const std::uint32_t character = behind();
      return !isEnd && isWordCharacter(character);
    };
    switch (op) {
      case Op::LineStart:
        return at == 0 || (isLineSeparator(before()) && !(before() == '\r' && behind() == '\n'));
      case Op::LineEnd: {
        const std::uint32_t character = behind();
        return isEnd ||
               (isLineSeparator(character) && !(at > 0 && before() == '\r' && character == '\n'));
      }
      case Op::TextStart:
        return at == 0;
      case Op::TextEnd:
        return isEnd && !pending;
      case Op::WordBoundary:
        return wordBehind() != wordBefore();
      case Op::NotWordBoundary: {
        const bool isWord = wordBehind();
        return !isEnd && at > 0 && isWord == wordBefore();
      }
      case Op::WordStart:
        return wordBehind() && !wordBefore();
      default:
        return wordBefore() && !wordBehind();
    }
  }

  const Program& m_program;
  const Instruction* const m_code;
  ByteRows& m_rows;
  const std::string_view m_text;
  std::uint64_t& m_stepsTaken;
  std::uint64_t m_steps = 0;
  const std::size_t m_futureWords;
  Word* m_carry;
  Word* m_setRows;
  Word* m_loops;
  Word* m_future;  // for each LiteralSet the places where literals end

  std::size_t m_block = 0;
  Word m_inText = 0;        // places of the block that have a byte
  Word m_slash = 0;         // those that have a slash
  Word m_continuation = 0;  // those inside a character
  bool m_carried = false;   // something was passed on to the next block
  std::size_t m_lastPassed =
      0;  // the last instruction that the block before passed something on for
  std::size_t m_lastPassing = 0;  // the same of this block
  bool m_again = false;           // the instructions are gone through again for this block
  Word m_reads = 0;               // places where a character would be read
  bool m_readsOn = false;         // one would be read behind the text
};

bool Program::matches(Text& text) const {
  const std::string_view subject = m_caseSensitive ? text.plain() : text.folded();
  return text.isAscii() ? matchesAs<true>(text, subject) : matchesAs<false>(text, subject);
}

std::optional<bool> Program::matchesAtOnce(Text& text) const {
  const std::string_view subject = m_caseSensitive ? text.plain() : text.folded();
  Fork fork;
  return text.isAscii() ? readUpToFork<true>(subject, fork) : readUpToFork<false>(subject, fork);
}

template <bool ascii>
bool Program::matchesAs(Text& text, std::string_view subject) const {
  Fork fork;
  const std::optional<bool> answer = readUpToFork<ascii>(subject, fork);
  return answer
             ? *answer
             : Run<ascii, false>(*this, text).leads(fork.instruction, fork.last, fork.at, fork.end);
}

// Absent when there is a fork.
template <bool ascii>
std::optional<bool> Program::readUpToFork(std::string_view subject, Fork& fork) const {
  if (subject.size() < m_leastLength) return false;
  const char* const from = subject.data();
  const std::size_t end = subject.size() - m_suffix;
  const std::size_t last = m_code.size() - (m_suffix != 0);
  if (m_suffix != 0 && std::memcmp(from + end, bytes().data() + m_code[last].from, m_suffix) != 0) {
    return false;
  }

  std::size_t at = 0;
  for (std::size_t i = 0; i < last; ++i) {
    const Instruction& code = m_code[i];
    const Instruction* const next = i + 1 < last ? &m_code[i + 1] : nullptr;
    switch (code.op) {
      case Op::Bytes:
        if (end - at < code.length ||
            std::memcmp(from + at, bytes().data() + code.from, code.length) != 0) {
          return false;
        }
        at += code.length;
        continue;
      case Op::One:
      case Op::OneNotSlash:
        for (std::uint32_t j = 0; j < code.length; ++j) {
          if (at == end || (code.op == Op::OneNotSlash && from[at] == '/')) return false;
          at = ascii ? at + 1 : Utf8::next(subject.substr(0, end), at);
        }
        continue;
      case Op::RunNotSlash:
        if (!next) return subject.substr(at, end - at).find('/') == kNone;
        if (next->op != Op::Bytes || bytes()[next->from] != '/') break;
        // Nothing but the end of the component can come next.
        at = std::min(subject.find('/', at), end);
        continue;
      case Op::Run:
      case Op::Folders: {
        const bool folders = code.op == Op::Folders;
        // Folders behind a slash lead to the starts of components.
        if (folders && (i == 0 || m_code[i - 1].op != Op::Bytes || from[at - 1] != '/')) break;
        if (!next) return !folders || at == end || from[end - 1] == '/';
        if (next->op != Op::Bytes) break;
        // Before another run the first place of a literal is as good as any.
        std::size_t behind = i + 1;
        std::size_t length = 0;
        for (; behind < last && m_code[behind].op == Op::Bytes; ++behind) {
          length += m_code[behind].length;
        }
        if (behind == last || (m_code[behind].op != Op::Run && m_code[behind].op != Op::Folders)) {
          break;
        }
        if (m_code[behind].op == Op::Folders && bytes()[next->from + length - 1] != '/') break;
        const std::size_t before = folders ? 1 : 0;
        if (end - at < length) return false;
        const void* const hit = memmem(from + at - before, end - at + before,
                                       bytes().data() + next->from - before, length + before);
        if (!hit) return false;
        at = static_cast<std::size_t>(static_cast<const char*>(hit) - from) + before + length;
        i = behind - 1;
        continue;
      }
      default:
        break;
    }
    if (!hasNextLiteral(i, last, subject.substr(at, end - at))) return false;
    fork = {i, last, at, end};
    return std::nullopt;
  }
  return at == end;
}

// Has the rest of a text the next literal that every way has to come by? Most texts do not, and
// that costs less to find out.
bool Program::hasNextLiteral(std::size_t i, std::size_t last, std::string_view rest) const {
  for (; i < last; ++i) {
    const Instruction& code = m_code[i];
    if (code.op == Op::Group || code.op == Op::Loop) i += code.length;
    if (code.op != Op::Bytes || code.length < 2) continue;
    return memmem(rest.data(), rest.size(), bytes().data() + code.from, code.length) != nullptr;
  }
  return true;
}

bool Program::readsOn(Text& text) const {
  return text.isAscii() ? Run<true, true>(*this, text).readsOn()
                        : Run<false, true>(*this, text).readsOn();
}

}  // namespace QVL
