#include "qvl/match/Program.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "qvl/match/Engine.h"
#include "qvl/match/LiteralSet.h"
#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kBits = ByteRows::kBits;
using Word = ByteRows::Word;

// So often literals and single characters take turns in what becomes a Mixed, and so often if there
// are runs among them.
constexpr std::size_t kManyTurns = 8;
constexpr std::size_t kManyTurnsOfRuns = 32;

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

// Does each step read a character, or as many as there are?
bool isPlain(const Steps& steps) {
  return std::all_of(steps.begin(), steps.end(),
                     [](const Step& step) { return step.kind <= Step::Folders; });
}

// How many bytes of two literals agree; of other steps, whether they do.
std::size_t agreement(const Step& a, const Step& b) {
  if (a.kind != b.kind) return 0;
  return a.kind == Step::Literal ? commonLength(a.bytes, b.bytes) : a.bytes == b.bytes;
}

// What both begin with.
Steps commonBeginning(const Steps& a, const Steps& b) {
  Steps common;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    const std::size_t agreed = agreement(a[i], b[i]);
    if (agreed == 0) break;
    common.push_back(a[i]);
    if (a[i].kind != Step::Literal) continue;
    common.back().bytes.resize(agreed);
    if (agreed < std::max(a[i].bytes.size(), b[i].bytes.size())) break;
  }
  return common;
}

// What comes behind a beginning.
Steps behind(const Steps& beginning, const Steps& all) {
  Steps rest(all.begin() + static_cast<std::ptrdiff_t>(beginning.size()), all.end());
  if (beginning.empty() || beginning.back().kind != Step::Literal) return rest;
  const std::size_t read = beginning.back().bytes.size();
  const std::string& bytes = all[beginning.size() - 1].bytes;
  if (read < bytes.size()) rest.insert(rest.begin(), {Step::Literal, bytes.substr(read), {}});
  return rest;
}

// Sequences that begin alike, together.
std::vector<std::vector<Steps>> byBeginnings(const std::vector<Steps>& all) {
  std::map<std::pair<Step::Kind, std::string>, std::size_t> places;
  std::vector<std::vector<Steps>> result;
  for (const Steps& steps : all) {
    std::size_t place = result.size();
    if (!steps.empty() && isPlain(steps)) {
      const Step& first = steps.front();
      const std::size_t told = first.kind == Step::Literal ? 1 : first.bytes.size();
      place = places.try_emplace({first.kind, first.bytes.substr(0, told)}, place).first->second;
    }
    if (place == result.size()) result.emplace_back();
    result[place].push_back(steps);
  }
  return result;
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
    m_isOutermost = true;
    return finish(sequence(steps), !steps.empty() && steps.back().kind == Step::Literal);
  }

  bool compile(const Alternatives& group) {
    return finish(inPlace(group.literals, group.others, 0), false);
  }

 private:
  using Op = Program::Op;

  static constexpr std::size_t kMostBytes = std::numeric_limits<std::uint32_t>::max();
  // From so many bytes on it is worth telling how many are at least behind an instruction.
  static constexpr std::size_t kMuch = 128;
  // So often it is looked what alternatives begin with: a simulation calls itself as often.
  static constexpr int kDeepest = 16;

  bool finish(std::size_t least, bool endsInLiteral) {
    if (m_tooLarge || std::max(least, m_bytes.size()) > kMostBytes) return false;
    m_program.m_leastLength = static_cast<std::uint32_t>(least);
    if (m_code.size() > 1 && m_code.back().op == Op::Bytes && endsInLiteral) {
      m_program.m_suffix = m_code.back().length;
    }
    m_program.m_code = Program::Code(m_code, m_bytes);
    Program::Room& room = m_program.m_room;
    room.states = m_code.size() + 2 * (m_rare.sets.size() + std::size_t{m_program.m_loops});
    room.literals = m_rare.literals.size();
    if (least >= kMuch) fillLeastBehind(least);
    for (const auto& shared : m_rare.shared) {
      room.states += Program::kWordsOfShared + shared->m_room.states;
      room.literals += shared->m_room.literals;
    }
    if (!m_rare.kinds.empty() || !m_rare.leastBehind.empty() || !m_rare.sets.empty() ||
        !m_rare.literals.empty() || !m_rare.shared.empty()) {
      m_program.m_rare = std::make_unique<const Program::Rare>(std::move(m_rare));
    }
    m_program.m_choices = Program::Signs::countChoices(m_program);
    return true;
  }

  // The instructions so far, which are some steps of the pattern itself, read at least that.
  void haveRead(std::size_t least) {
    if (m_readUpTo.empty() || m_readUpTo.back().first != m_code.size()) {
      m_readUpTo.emplace_back(m_code.size(), least);
    }
    m_readUpTo.back().second = least;
  }

  // Of what is read by a step of the pattern itself; what is inside of it has the same behind it.
  void fillLeastBehind(std::size_t least) {
    m_rare.leastBehind.resize(m_code.size());
    std::size_t begin = 0;
    for (const auto& [end, readUpTo] : m_readUpTo) {
      for (; begin < end; ++begin) {
        m_rare.leastBehind[begin] = static_cast<std::uint32_t>(least - readUpTo);
      }
    }
  }

  // Each of these answers with the least number of bytes that the steps read.
  std::size_t sequence(const Steps& steps) {
    const bool isOutermost = std::exchange(m_isOutermost, false);
    // No instruction of what comes before grows, and none of these by what comes behind them.
    m_sequenceBegin = m_code.size();
    std::size_t least = 0;
    const Steps all = merged(steps);
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::size_t end = endOfMixed(all, i);
      if (isOutermost) haveRead(least);
      for (; i < end; ++i) {
        least += mixed(all[i]);
        // Part of it may stand in the instruction before.
        if (isOutermost) m_readUpTo.back().second = least;
        if (isOutermost) haveRead(least);
      }
      m_mixing = false;
      if (i < all.size()) least += one(all[i]);
      if (isOutermost) haveRead(least);
    }
    m_sequenceBegin = m_code.size();
    return least;
  }

  // Where what can be part of a Mixed ends from `begin` on, if it takes turns often enough to be
  // worth one; else `begin`.
  static std::size_t endOfMixed(const Steps& steps, std::size_t begin) {
    const std::size_t end = endOfTurns(steps, begin, true, kManyTurnsOfRuns);
    return end != begin ? end : endOfTurns(steps, begin, false, kManyTurns);
  }

  static std::size_t endOfTurns(const Steps& steps, std::size_t begin, bool runs,
                                std::size_t many) {
    std::size_t turns = 0;
    std::size_t i = begin;
    for (; i < steps.size(); ++i) {
      const Step::Kind kind = steps[i].kind;
      const bool isOne = kind == Step::OneNotSlash || kind == Step::One;
      const bool isTaken = runs && (kind == Step::RunNotSlash || kind == Step::Run);
      if (kind != Step::Literal && !isOne && !isTaken) break;
      if (i > begin && kind != steps[i - 1].kind) ++turns;
    }
    return turns < many ? begin : i;
  }

  std::size_t mixed(const Step& step) {
    if (step.kind == Step::Literal) {
      for (const char byte : step.bytes) mixed(byte, Op::Bytes, byte != '/');
      return step.bytes.size();
    }
    switch (step.kind) {
      case Step::RunNotSlash:
        mixed('\0', Op::RunNotSlash, true);
        return 0;
      case Step::Run:
        mixed('\0', Op::Run, false);
        return 0;
      case Step::One:
        mixed('\0', Op::One, false);
        return 1;
      default:
        mixed('\0', Op::OneNotSlash, true);
        return 1;
    }
  }

  void mixed(char byte, Op kind, bool staysInComponent) {
    const bool isFirst = !m_mixing || m_code.back().length == Program::kLongest;
    if (isFirst) emit(Op::Mixed, m_bytes.size());
    m_mixing = true;
    ++m_code.back().length;
    const char before = isFirst ? '\0' : m_rare.inComponent.back();
    m_bytes += byte;
    m_rare.kinds.resize(m_bytes.size());
    m_rare.inComponent.resize(m_bytes.size());
    m_rare.kinds.back() = static_cast<char>(kind);
    m_rare.inComponent.back() = staysInComponent ? static_cast<char>(before + 1) : '\0';
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
        return characters(Op::Set, set(step.bytes));
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

  std::size_t characters(Op op, std::size_t from = 0) {
    if (m_code.size() > m_sequenceBegin && m_code.back().op == op && m_code.back().from == from &&
        m_code.back().length < Program::kLongest) {
      ++m_code.back().length;
    } else {
      emit(op, from, 1);
    }
    return 1;
  }

  std::size_t place(Op op) {
    emit(op);
    return 0;
  }

  std::size_t group(const Alternatives& alternatives) {
    if (alternatives.literals && alternatives.others.empty()) return pieces(alternatives.literals);
    if (alternatives.others.size() <= Program::kMostInPlace) {
      return inPlace(alternatives.literals, alternatives.others, kDeepest);
    }
    std::shared_ptr<const Program> shared = alternatives.program(m_program.m_caseSensitive);
    if (!shared) {
      m_tooLarge = true;
      return 0;
    }
    const std::size_t least = shared->m_leastLength;
    emit(Op::Shared, m_rare.shared.size());
    m_rare.shared.push_back(std::move(shared));
    return least;
  }

  std::size_t pieces(const std::shared_ptr<const LiteralSet>& literals) {
    emit(Op::Literals, m_rare.literals.size());
    m_rare.literals.push_back(literals);
    return literals->leastLength();
  }

  std::size_t inPlace(const std::shared_ptr<const LiteralSet>& literals,
                      const std::vector<const Steps*>& others, int depth) {
    std::vector<Steps> all;
    for (const Steps* const steps : others) all.push_back(*steps);
    return inPlace(literals, all, depth);
  }

  // `literals` may be null. What several of the sequences begin with is read once, unless `depth`
  // is the deepest.
  std::size_t inPlace(const std::shared_ptr<const LiteralSet>& literals,
                      const std::vector<Steps>& sequences, int depth) {
    const std::size_t begin = emit(Op::Group);
    std::uint32_t count = 0;
    std::size_t least = kNone;
    const auto add = [&](const Steps& beginning, auto compileIt) {
      const std::size_t alternative = emit(Op::Alternative);
      least = std::min(least, compileIt());
      m_code[alternative].length = lengthSince(alternative);
      if (!beginning.empty() && beginning.front().kind == Step::Literal) {
        m_code[alternative].from = static_cast<unsigned char>(beginning.front().bytes.front()) + 1u;
      }
      ++count;
    };
    if (literals) add({}, [&] { return pieces(literals); });
    if (depth == kDeepest) {
      for (const Steps& steps : sequences) add(steps, [&] { return sequence(steps); });
    } else {
      for (const std::vector<Steps>& alike : byBeginnings(sequences)) {
        add(alike.front(), [&] { return branch(alike, depth); });
      }
    }
    m_code[begin].from = count;
    m_code[begin].length = lengthSince(begin);
    return least;
  }

  // Sequences that begin alike.
  std::size_t branch(const std::vector<Steps>& alike, int depth) {
    Steps beginning = alike.front();
    for (const Steps& steps : alike) beginning = commonBeginning(beginning, steps);
    if (alike.size() == 1) return sequence(beginning);
    std::vector<Steps> rests;
    bool ends = false;
    for (const Steps& steps : alike) {
      Steps rest = behind(beginning, steps);
      if (!rest.empty() || !ends) rests.push_back(std::move(rest));
      ends = ends || rests.back().empty();
    }
    const std::size_t least = sequence(beginning);
    return rests.size() == 1 ? least : least + inPlace(nullptr, rests, depth + 1);
  }

  // The expression of a set, if that is what the steps read: one character of some.
  static std::optional<std::string> characterOf(const Steps& steps) {
    if (steps.size() != 1) return std::nullopt;
    const Step& step = steps.front();
    switch (step.kind) {
      case Step::OneNotSlash:
        return "[^/]";
      case Step::One:
        return ".";
      case Step::Set:
        return step.bytes;
      case Step::Literal: {
        std::size_t end = 0;
        const std::uint32_t character = Utf8::decode(step.bytes, end);
        if (end < step.bytes.size()) return std::nullopt;
        std::ostringstream expression;
        expression << "\\x{" << std::hex << character << '}';
        return expression.str();
      }
      case Step::Group: {
        std::string all;
        for (const Steps& alternative : step.alternatives->sequences) {
          const std::optional<std::string> one = characterOf(alternative);
          if (!one) return std::nullopt;
          all += (all.empty() ? "(?:" : "|") + *one;
        }
        return all + ')';
      }
      default:
        return std::nullopt;
    }
  }

  // One character of some, again and again. False when it is another sequence.
  bool repeatCharacters(const Step& step, std::size_t& least) {
    const Steps& body = step.alternatives->sequences.front();
    const std::optional<std::string> expression = characterOf(body);
    if (!expression) return false;
    const Step::Kind kind = body.front().kind;
    const bool isNotSlash = kind == Step::OneNotSlash;
    const bool isOne = kind == Step::One;
    const bool isByte = kind == Step::Literal && body.front().bytes.size() == 1;
    const std::size_t from =
        isNotSlash || isOne ? 0
        : isByte ? Program::kByte + static_cast<unsigned char>(body.front().bytes.front())
                 : set(*expression);
    const auto choose = [&](Op notSlash, Op one, Op ofSet) {
      return isNotSlash ? notSlash : isOne ? one : ofSet;
    };
    const auto characters = [&](Op op, std::size_t count) {
      for (; count > 0 && !m_tooLarge; count -= std::min(count, Program::kLongest)) {
        emit(op, from, std::min(count, Program::kLongest));
      }
    };
    if (step.looks) emit(Op::Look);
    if (kind == Step::Literal) {
      std::string all;
      for (unsigned i = 0; i < step.least; ++i) all += body.front().bytes;
      literal(all);
    } else {
      characters(choose(Op::OneNotSlash, Op::One, Op::Set), step.least);
    }
    if (step.looks) emit(Op::Look);
    if (step.most == Step::kUnbounded) {
      emit(choose(Op::RunNotSlash, Op::Run, Op::RunOfSet), from);
    } else if (step.most > step.least) {
      characters(choose(Op::UpToNotSlash, Op::UpToOne, Op::UpToOfSet), step.most - step.least);
      if (step.looks) emit(Op::Look);
    }
    least = step.least * (kind == Step::Literal ? body.front().bytes.size() : 1);
    return true;
  }

  std::size_t repeat(const Step& step) {
    std::size_t least = 0;
    if (repeatCharacters(step, least)) return least;
    const Steps& body = step.alternatives->sequences.front();
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
    if (only == Step::RunNotSlash) {
      emit(Op::RunNotSlash);
    } else if (only == Step::Run) {
      emit(Op::Run);
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
  bool m_isOutermost = false;  // the next sequence is the pattern itself
  // Of the steps of that: up to which instruction, at least so many bytes.
  std::vector<std::pair<std::size_t, std::size_t>> m_readUpTo;
  bool m_mixing = false;  // the last instruction is a Mixed that grows
  bool m_tooLarge = false;
};

std::unique_ptr<const Program> Program::of(const Steps& steps, bool caseSensitive,
                                           SharedSets* shared) {
  std::unique_ptr<Program> program(new Program(caseSensitive));
  if (!ProgramCompiler(*program, shared).compile(steps)) return nullptr;
  return program;
}

std::unique_ptr<const Program> Program::of(const Alternatives& group, bool caseSensitive) {
  std::unique_ptr<Program> program(new Program(caseSensitive));
  if (!ProgramCompiler(*program, nullptr).compile(group)) return nullptr;
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

std::uint32_t Program::Signs::countChoices(const Program& program) {
  // Past the groups, whatever their alternatives lead to.
  Signs signs(program, 0);
  while (!isLast(signs.sign())) {
    signs.advance(1);
    if (signs.m_choices > kMostChoices) return 1;
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
    case Op::Mixed:
      return mix().sign(0);
    case Op::Group:
      return m_alternative == 0 && m_program.m_choices > 1 ? kLook : kOther;
    case Op::Literals:
      return reinterpret_cast<std::uintptr_t>(literals());
    case Op::Shared:
      return reinterpret_cast<std::uintptr_t>(group());
    default:
      return signOf(code.op);
  }
}

Program::Signs::Sign Program::Signs::signOf(Op op) {
  switch (op) {
    case Op::One:
      return kOne;
    case Op::OneNotSlash:
      return kOneNotSlash;
    case Op::RunNotSlash:
      return kRunNotSlash;
    case Op::Look:
      return kLook;
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

const Program* Program::Signs::group() const {
  if (isAtEnd()) return nullptr;
  const Instruction& code = m_program.m_code[m_at];
  return code.op == Op::Shared ? m_program.m_rare->shared[code.from].get() : nullptr;
}

std::string_view Program::Signs::literal() const {
  if (isAtEnd()) return {};
  const Instruction& code = m_program.m_code[m_at];
  if (code.op != Op::Bytes) return {};
  return m_program.bytes().substr(code.from + m_read, code.length - m_read);
}

Program::Signs::Mix Program::Signs::mix() const {
  if (isAtEnd()) return {};
  const Instruction& code = m_program.m_code[m_at];
  if (code.op != Op::Mixed) return {};
  const std::size_t from = code.from + m_read;
  const std::size_t count = code.length - m_read;
  const std::string_view kinds = m_program.m_rare->kinds;
  return {m_program.bytes().substr(from, count), kinds.substr(from, count)};
}

Program::Signs::Sign Program::Signs::Mix::sign(std::size_t at) const {
  const auto kind = static_cast<Op>(kinds[at]);
  return kind == Op::Bytes ? static_cast<unsigned char>(bytes[at]) : signOf(kind);
}

std::size_t Program::Signs::repeats() const {
  if (isAtEnd()) return 1;
  const Instruction& code = m_program.m_code[m_at];
  return code.op == Op::One || code.op == Op::OneNotSlash ? code.length - m_read : 1;
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

// What may be part of a Mixed beside bytes.
Step::Kind Program::stepOf(Op op) {
  switch (op) {
    case Op::One:
      return Step::One;
    case Op::RunNotSlash:
      return Step::RunNotSlash;
    case Op::Run:
      return Step::Run;
    default:
      return Step::OneNotSlash;
  }
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
          const auto kind = static_cast<Op>(m_rare->kinds[at]);
          if (kind != Op::Bytes) {
            steps.push_back({stepOf(kind), {}, {}});
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
      : m_rows(text.rows(!program.m_caseSensitive)),
        m_text(m_rows.text()),
        m_stepsTaken(text.scratch().steps),
        m_futureWords(ByteRows::wordsFor(m_text.size()) + 1),
        m_touched(text.scratch().touched),
        m_states(text.scratch().states) {
    const Room& room = program.m_room;
    if (m_states.size() < room.states) m_states.resize(room.states);
    m_touched.resize(m_states.size() / kBits + 1);
    std::vector<Word>& future = text.scratch().future;
    future.assign(room.literals * m_futureWords, 0);
    m_frame = Frame(program, m_states.data(), future.data());
  }

  ~Run() {
    m_stepsTaken += m_steps;
    const std::size_t words = m_frame.program->m_room.states / kBits + 1;
    for (std::size_t i = 0; i < words; ++i) {
      for (Word rest = std::exchange(m_touched[i], 0); rest != 0; rest &= rest - 1) {
        m_states[i * kBits + static_cast<std::size_t>(__builtin_ctzll(rest))] = 0;
      }
    }
  }
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

  // Could the program, having read the text from these places, read another character? `ends` are
  // the places behind it.
  bool leads(const Word* places, Word* ends) {
    const auto placesOf = [&](std::size_t block) { return places[block]; };
    return readsOn(placesOf, {0, m_frame.program->m_code.size()}, {}, ends);
  }

  // The same of two spans of its instructions, one behind the other.
  bool readsOn(const Word* places, Span first, Span second) {
    return readsOn([&](std::size_t block) { return places[block]; }, first, second, nullptr);
  }

  // The same from the start of the text.
  bool readsOn() {
    const auto placesOf = [](std::size_t block) { return Word{block == 0}; };
    return readsOn(placesOf, {0, m_frame.program->m_code.size()}, {}, nullptr);
  }

 private:
  // `ends`, unless it is null, is filled to the end of the text.
  template <typename PlacesOf>
  bool readsOn(PlacesOf placesOf, Span first, Span second, Word* ends) {
    const std::size_t words = ByteRows::wordsFor(m_text.size());
    for (m_block = 0; m_block < words; ++m_block) {
      m_reads = 0;
      Word now = placesOf(m_block);
      if (now != 0 || m_carried) {
        prepareBlock();
        now = run(first.begin, first.end, now);
        now = run(second.begin, second.end, now);
      }
      if (ends != nullptr) ends[m_block] = now;
      if (m_readsOn && ends == nullptr) return true;
    }
    return m_readsOn || (m_reads >> (m_text.size() % kBits) & 1) != 0;
  }

  void prepareBlock() {
    m_carried = m_again = false;
    m_frame.nextBlock();
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
  Word passed(std::size_t i) { return m_again ? 0 : std::exchange(m_frame.carry[i], Word{0}); }

  void pass(std::size_t i, Word carry) {
    if (carry == 0) return;
    set(m_frame.carry[i], m_frame.carry[i] | carry);
    m_carried = true;
    m_frame.lastPassing = std::max(m_frame.lastPassing, i);
  }

  // Changes a word of the states, which are to be 0 again behind the run.
  void set(Word& state, Word word) {
    state = word;
    const auto at = static_cast<std::size_t>(&state - m_states.data());
    m_touched[at / kBits] |= Word{1} << at % kBits;
  }

  void reads(Word places) {
    if (pending) m_reads |= places;
  }

  // Behind so many characters of `mask`, or behind up to so many. Bit j of what is passed on is for
  // the one numbered j.
  template <bool upTo>
  Word characters(std::size_t i, std::uint32_t count, Word now, Word mask) {
    const Word before = passed(i);
    Word carry = 0;
    Word reached = 0;
    for (std::uint32_t j = 0; j < count; ++j) {
      ++m_steps;
      if (upTo) reached |= now;
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
    return upTo ? reached | now : now;
  }

  // The places that a run from `places` through characters of `mask` reaches. `out`: whether it
  // goes on in the next block.
  Word throughRun(Word places, Word mask, Word& out) {
    bool beyond = false;
    const Word reached = filled(places, mask, beyond) & ~m_continuation;
    out = Word{beyond};
    reads(reached);
    return reached;
  }

  // The same of a run through anything.
  Word throughAll(Word places, bool fromBefore, Word& out) {
    const Word reached = onwards(places, fromBefore);
    out = Word{reached != 0};
    reads(reached);
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
      if (now == 0 && (m_again || i > m_frame.lastPassed)) return 0;
      const Instruction& code = m_frame.code[i];
      const bool hasBody = code.op == Op::Group || code.op == Op::Loop;
      const std::size_t next = i + 1 + (hasBody ? code.length : 0);
      if (now != 0 || m_frame.carry[i] != 0) now = step(i, code, now);
      if (!pending && m_frame.leastBehind) now &= placesBefore(m_frame.leastBehind[i]);
      i = next;
    }
    return now;
  }

  // Places with at least so many bytes behind them: from others nothing leads to the end.
  Word placesBefore(std::size_t least) const {
    const std::size_t rest = m_text.size() - m_block * kBits;
    if (least > rest) return 0;
    return rest - least >= kBits - 1 ? ~Word{0} : (Word{2} << (rest - least)) - 1;
  }

  Word step(std::size_t i, const Instruction& code, Word now) {
    ++m_steps;
    switch (code.op) {
      case Op::Bytes:
        return bytes(i, code, now);
      case Op::Mixed:
        return mixed(i, code, now);
      case Op::OneNotSlash:
        return characters<false>(i, code.length, now, m_inText & ~m_slash);
      case Op::One:
        return characters<false>(i, code.length, now, m_inText);
      case Op::Set:
        return characters<false>(i, code.length, now, setRow(code.from));
      case Op::UpToNotSlash:
        return characters<true>(i, code.length, now, m_inText & ~m_slash);
      case Op::UpToOne:
        return characters<true>(i, code.length, now, m_inText);
      case Op::UpToOfSet:
        return characters<true>(i, code.length, now, setRow(code.from));
      case Op::RunNotSlash:
      case Op::RunOfSet: {
        const Word mask = code.op == Op::RunOfSet ? setRow(code.from) : m_inText & ~m_slash;
        Word out = 0;
        now = throughRun(now | passed(i), mask, out);
        pass(i, out);
        return now;
      }
      case Op::Run: {
        Word out = 0;
        now = throughAll(now, passed(i) != 0, out);
        pass(i, out);
        return now;
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
      case Op::Shared:
        return shared(i, code, now);
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
    const char* const wanted = m_frame.program->bytes().data() + code.from;
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
    const Word notSlash = m_inText & ~m_slash;
    const char* const bytes = m_frame.program->bytes().data() + code.from;
    const char* const kinds = m_frame.program->m_rare->kinds.data() + code.from;
    Word carry = 0;
    std::uint32_t lastRun = 0;  // the last that goes on in the next block, + 1
    for (std::uint32_t j = 0; j < code.length; ++j) {
      ++m_steps;
      const Word from = before >> j & 1;
      const auto kind = static_cast<Op>(kinds[j]);
      Word out = 0;
      if (kind == Op::RunNotSlash) {
        now = throughRun(now | from, notSlash, out);
        if (out != 0) lastRun = j + 1;
      } else if (kind == Op::Run) {
        now = throughAll(now, from != 0, out);
      } else {
        reads(now);
        const auto byte = static_cast<unsigned char>(bytes[j]);
        const Word mask = kind == Op::OneNotSlash ? notSlash
                          : kind == Op::One       ? m_inText
                          : byte == '/'           ? m_slash
                                                  : m_rows.word(byte, m_block);
        const Word places = now & mask;
        out = places >> (kBits - 1);
        now = places << 1 | from;
        if (!ascii && kind != Op::Bytes && m_continuation != 0) {
          bool beyond = false;
          now = filled(now, m_continuation, beyond) & ~m_continuation;
          out |= Word{beyond};
        }
      }
      carry |= out << j;
      if (now == 0 && before >> j <= 1) break;
    }
    if (lastRun > 1) carry &= ~beforeInComponent(i, lastRun - 1);
    pass(i, carry);
    return now;
  }

  // A run through a component that goes on in the next block can do all that the pattern's parts
  // before it in the component could. So these are given up, and what is left for a block does not
  // grow with the number of stars. Answers with the parts of the instruction at `i` before the one
  // numbered `run`.
  Word beforeInComponent(std::size_t i, std::uint32_t run) {
    const std::string& inComponent = m_frame.program->m_rare->inComponent;
    const auto lastOf = [&](std::uint32_t at, std::uint32_t count) {
      const auto parts = std::min(static_cast<std::uint32_t>(inComponent[at]), count);
      const Word bits = parts == 0 ? 0 : ~Word{0} >> (kBits - parts);
      return std::pair(parts == count, bits << (count - parts));
    };
    const auto [all, parts] = lastOf(m_frame.code[i].from + run - 1, run);
    for (bool goesOn = all; goesOn && i > 0 && m_frame.code[i - 1].op == Op::Mixed;) {
      const Instruction& code = m_frame.code[--i];
      const auto [allOfIt, partsOfIt] = lastOf(code.from + code.length - 1, code.length);
      m_frame.carry[i] &= ~partsOfIt;
      goesOn = allOfIt;
    }
    return parts;
  }

  Word literals(std::size_t i, const Instruction& code, Word now) {
    const LiteralSet& set = *m_frame.program->m_rare->literals[code.from];
    Word* const future = m_frame.future + code.from * m_futureWords;
    passed(i);
    if (!pending && m_rows.pieces().pays(set, numberOf(now))) {
      const PieceRows::Rows rows = m_rows.pieces().rowsOf(set);
      m_steps += rows.lengths();
      rows.addEnds(now, m_block, future[m_block], future[m_block + 1]);
      pass(i, Word{future[m_block + 1] != 0});
      return future[m_block];
    }
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
      const std::size_t length = m_frame.code[alternative].length;
      // An alternative that no place has reached, or that begins with a byte that stands at none of
      // them, is passed over as a whole.
      const std::uint32_t byte = m_frame.code[alternative].from;
      const Word begins = byte == 0 || now == 0
                              ? now
                              : now & m_rows.word(static_cast<unsigned char>(byte - 1), m_block);
      if (begins != 0 || m_frame.carry[alternative] != 0) {
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

  static std::size_t numberOf(Word places) {
    return static_cast<std::size_t>(__builtin_popcountll(places));
  }

  // Alternatives that are a program of their own, with states of its own for each place that it
  // has in another.
  Word shared(std::size_t i, const Instruction& code, Word now) {
    const bool carriedBefore = std::exchange(m_carried, false);
    passed(i);
    const Frame outer = m_frame;
    const Rare& rare = *outer.program->m_rare;
    Word* states = outer.sharedStates;
    Word* future = outer.future + rare.literals.size() * m_futureWords;
    for (std::size_t j = 0; j < code.from; ++j) {
      const Room& room = rare.shared[j]->m_room;
      states += kWordsOfShared + room.states;
      future += room.literals * m_futureWords;
    }
    Word& lastPassing = states[0];
    Word& lastBlock = states[1];
    m_frame = Frame(*rare.shared[code.from], states + kWordsOfShared, future);
    (lastBlock == m_block + 1 ? m_frame.lastPassing : m_frame.lastPassed) = lastPassing;
    const Word ends = run(0, m_frame.program->m_code.size(), now);
    set(lastPassing, m_frame.lastPassing);
    set(lastBlock, m_block + 1);
    m_frame = outer;
    pass(i, Word{m_carried});
    m_carried = m_carried || carriedBefore;
    return ends;
  }

  Word loop(std::size_t i, const Instruction& code, Word now) {
    const bool carriedBefore = std::exchange(m_carried, false);
    const bool againBefore = m_again;
    passed(i);
    // A body that a place of this block was led through once leads nowhere new from there.
    Word& done = m_frame.loops[std::size_t{2} * code.from];
    Word& doneOf = m_frame.loops[std::size_t{2} * code.from + 1];
    if (doneOf != m_block + 1) done = 0;
    set(doneOf, m_block + 1);
    Word reached = now;
    Word from = now & ~done;
    do {
      set(done, done | from);
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
  Word setRow(std::uint32_t number) {
    if (number >= kByte) return m_rows.word(static_cast<unsigned char>(number - kByte), m_block);
    Word& kept = m_frame.setRows[std::size_t{2} * number];
    Word& madeFor = m_frame.setRows[std::size_t{2} * number + 1];
    if (madeFor == m_block + 1) return kept;
    const CharacterSet& characters = *m_frame.program->m_rare->sets[number];
    Word row = 0;
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
    set(kept, row);
    set(madeFor, m_block + 1);
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

  // The instructions that are gone through, those of a program or of a group in it, and their
  // states.
  struct Frame {
    Frame() = default;
    Frame(const Program& ofProgram, Word* states, Word* ofLiterals)
        : program(&ofProgram),
          code(ofProgram.m_code.data()),
          carry(states),
          setRows(carry + ofProgram.m_code.size()),
          loops(setRows + 2 * (ofProgram.m_rare ? ofProgram.m_rare->sets.size() : 0)),
          sharedStates(loops + std::size_t{2} * ofProgram.m_loops),
          future(ofLiterals),
          leastBehind(ofProgram.m_rare && !ofProgram.m_rare->leastBehind.empty()
                          ? ofProgram.m_rare->leastBehind.data()
                          : nullptr) {}

    void nextBlock() { lastPassed = std::exchange(lastPassing, std::size_t{0}); }

    const Program* program = nullptr;
    const Instruction* code = nullptr;
    // Per instruction what it passes on to the next block; per set of characters its row, per loop
    // the places from which it was gone through, and for which block that is.
    Word* carry = nullptr;
    Word* setRows = nullptr;
    Word* loops = nullptr;
    Word* sharedStates = nullptr;  // of the groups that are shared, one behind the other
    Word* future = nullptr;        // for each LiteralSet the places where literals end
    const std::uint32_t* leastBehind = nullptr;  // as that of Rare; null: nothing to speak of
    std::size_t lastPassed =
        0;  // the last instruction that the block before passed something on for
    std::size_t lastPassing = 0;  // the same of this block
  };

  ByteRows& m_rows;
  const std::string_view m_text;
  std::uint64_t& m_stepsTaken;
  std::uint64_t m_steps = 0;
  const std::size_t m_futureWords;
  std::vector<Word>& m_touched;
  std::vector<Word>& m_states;
  Frame m_frame;

  std::size_t m_block = 0;
  Word m_inText = 0;        // places of the block that have a byte
  Word m_slash = 0;         // those that have a slash
  Word m_continuation = 0;  // those inside a character
  bool m_carried = false;   // something was passed on to the next block
  bool m_again = false;     // the instructions are gone through again for this block
  Word m_reads = 0;         // places where a character would be read
  bool m_readsOn = false;   // one would be read behind the text
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
    // A long text is gone through far faster for one byte.
    constexpr std::size_t kLong = 512;
    if (rest.size() > kLong) {
      const std::size_t first = rest.find(bytes()[code.from]);
      if (first == kNone) return false;
      rest.remove_prefix(first);
    }
    return memmem(rest.data(), rest.size(), bytes().data() + code.from, code.length) != nullptr;
  }
  return true;
}

bool Program::leads(Text& text, const std::uint64_t* places, std::uint64_t* ends) const {
  return text.isAscii() ? Run<true, true>(*this, text).leads(places, ends)
                        : Run<false, true>(*this, text).leads(places, ends);
}

bool Program::Signs::readsOn(Text& text, const std::uint64_t* places) const {
  const std::size_t size = m_program.m_code.size();
  const bool isInGroup = m_alternative != 0;
  const Span first{m_at, isInGroup ? m_alternative : size};
  const Span second{isInGroup ? m_group : size, size};
  return text.isAscii() ? Run<true, true>(m_program, text).readsOn(places, first, second)
                        : Run<false, true>(m_program, text).readsOn(places, first, second);
}

bool Program::readsOn(Text& text) const {
  return text.isAscii() ? Run<true, true>(*this, text).readsOn()
                        : Run<false, true>(*this, text).readsOn();
}

}  // namespace QVL
