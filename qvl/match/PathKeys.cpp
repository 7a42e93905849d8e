#include "qvl/match/PathKeys.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QVL {
namespace PathKeys {
namespace {

// A prefix key of more components than fit the mask of depths is not made.
constexpr unsigned kDeepest = 63;

// Collects the keys of one run of literal bytes.
class Chunk {
 public:
  // `atStart`, `atEnd`: the chunk stands at the start or at the end of every text; `behindSlash`: a
  // component begins with it. `text` is for the chunk to use.
  Chunk(std::string_view bytes, bool atStart, bool behindSlash, bool atEnd, HashedText& text,
        PatternKeys& keys)
      : m_bytes(bytes), m_atStart(atStart), m_atEnd(atEnd), m_text(text), m_keys(keys) {
    m_whole = atStart || behindSlash;
  }

  void collect() {
    std::size_t from = 0;
    for (;;) {
      const std::size_t slash = m_bytes.find('/', from);
      const bool last = slash == std::string_view::npos;
      component(m_bytes.substr(from, last ? slash : slash - from), !last || m_atEnd);
      if (last) break;
      from = slash + 1;
    }
    if (m_depth > 1) add(Kind::Prefix, m_prefix, m_prefixLength, m_depth);
    const std::size_t dot = m_bytes.rfind('.');
    if (m_atEnd && dot != std::string_view::npos) {
      const std::string_view extension = m_bytes.substr(dot + 1);
      const std::uint64_t hash = hashOf(extension);
      add(Kind::Extension, hash, extension.size());
      m_keys.components |= bitOf(hash);
    }
  }

 private:
  // One part between slashes; whether its end is that of a component is for the caller to say.
  void component(std::string_view part, bool whollyEnds) {
    const bool whollyStarts = m_whole;
    m_whole = true;
    if (whollyStarts && part.size() >= kHead) m_keys.heads |= bitOfHead(textOf(part).bytes(0));
    if (!whollyStarts || !whollyEnds) {
      m_pairing = false;
      if (whollyStarts) {
        piece(part, Kind::Head8, [&](std::size_t n) { return part.substr(0, n); });
      }
      if (whollyEnds) {
        piece(part, Kind::Tail8, [&](std::size_t n) { return part.substr(part.size() - n); });
      }
      return;
    }
    const std::uint64_t hash = hashOf(part);
    if (m_atStart && m_depth < kDeepest) {
      m_prefix = withComponent(m_prefix, hash);
      m_prefixLength += part.size() + 1;
      ++m_depth;
    }
    if (m_pairing && !part.empty() && m_previousLength > 0) {
      add(Kind::Pair, pairOf(m_previous, hash), part.size() + m_previousLength);
    }
    if (!part.empty()) {
      add(Kind::Component, hash, part.size());
      m_keys.components |= bitOf(hash);
    }
    m_pairing = true;
    m_previous = hash;
    m_previousLength = part.size();
  }

  // The longest of the three lengths that the part has room for.
  template <typename Cut>
  void piece(std::string_view part, Kind longest, Cut cut) {
    unsigned kind = static_cast<unsigned>(longest);
    for (std::size_t length = 8; length >= 2; length /= 2, ++kind) {
      if (part.size() < length) continue;
      add(static_cast<Kind>(kind), hashOf(cut(length)), length);
      return;
    }
  }

  const HashedText& textOf(std::string_view piece) {
    m_text.assign(piece);
    return m_text;
  }

  std::uint64_t hashOf(std::string_view piece) { return textOf(piece).hash(0, piece.size()); }

  void add(Kind kind, std::uint64_t hash, std::size_t length, unsigned depth = 0) {
    m_keys.keys.push_back({keyOf(kind, hash), kind, depth, length});
  }

  const std::string_view m_bytes;
  const bool m_atStart;
  const bool m_atEnd;
  HashedText& m_text;
  PatternKeys& m_keys;

  bool m_whole;  // does the next part begin a component?
  std::uint64_t m_prefix = kNoComponents;
  std::size_t m_prefixLength = 0;
  unsigned m_depth = 0;
  bool m_pairing = false;  // is m_previous the hash of the component before?
  std::uint64_t m_previous = 0;
  std::size_t m_previousLength = 0;
};

}  // namespace

PatternKeys keysOf(const Steps& steps) {
  PatternKeys keys;
  HashedText text;
  std::vector<std::string_view> literals;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].kind != Step::Literal) continue;
    // Folders behind a slash lead to the start of a component again.
    const bool behindSlash = i >= 2 && steps[i - 1].kind == Step::Folders &&
                             steps[i - 2].kind == Step::Literal && steps[i - 2].bytes.back() == '/';
    Chunk(steps[i].bytes, i == 0, behindSlash, i + 1 == steps.size(), text, keys).collect();
    literals.push_back(steps[i].bytes);
  }
  keys.grams = Grams::of(literals);
  return keys;
}

std::vector<PatternKey> gramKeysOf(const Steps& steps) {
  std::vector<PatternKey> keys;
  HashedText text;
  for (const Step& step : steps) {
    if (step.kind != Step::Literal) continue;
    text.assign(step.bytes);
    for (std::size_t at = 0; at + kGram <= text.size(); ++at) {
      keys.push_back({keyOfGram(text.bytes(at)), Kind::Gram, 0, kGram});
    }
  }
  return keys;
}

namespace {

// Copies 16 bytes with ASCII letters folded, a few signs with them; one bit for each that is a
// slash.
#if defined(__SSE2__)

std::uint64_t foldInto(char* out, const char* text) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_or_si128(bytes, _mm_set1_epi8(0x20)));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('/'))));
}

#else

std::uint64_t foldInto(char* out, const char* text) {
  std::uint64_t slashes = 0;
  for (unsigned i = 0; i < 16; ++i) {
    out[i] = static_cast<char>(text[i] | 0x20);
    slashes |= static_cast<std::uint64_t>(text[i] == '/') << i;
  }
  return slashes;
}

#endif

}  // namespace

std::size_t lastDotOfLong(std::string_view text) {
  constexpr std::size_t kBlock = 256;
  std::size_t end = text.size();
  while (end > kBlock && text.substr(end - kBlock, kBlock).find('.') == text.npos) end -= kBlock;
  return text.substr(0, end).rfind('.');
}

void HashedText::assign(std::string_view text) {
  constexpr std::size_t kStep = 16;
  constexpr std::size_t kBlock = 64;
  const std::size_t size = text.size();
  reserve(size);
  char* const out = m_buffer.data() + kMargin;
  std::uint32_t* nextStart = m_starts.data();
  *nextStart++ = 0;

  for (std::size_t block = 0; block < size; block += kBlock) {
    // The slashes of a block are bits of one number and walked in one loop: how many of them a few
    // bytes hold cannot be foreseen, and every wrong guess costs more than the arithmetic.
    std::uint64_t slashes = 0;
    for (std::size_t at = block; at < size && at < block + kBlock; at += kStep) {
      if (size - at >= kStep) {
        slashes |= foldInto(out + at, text.data() + at) << (at - block);
      } else {
        char rest[kStep] = {};
        std::memcpy(rest, text.data() + at, size - at);
        slashes |= foldInto(out + at, rest) << (at - block);
      }
    }
    for (; slashes != 0; slashes &= slashes - 1) {
      *nextStart++ = static_cast<std::uint32_t>(
          block + static_cast<std::size_t>(__builtin_ctzll(slashes)) + 1);
    }
  }
  *nextStart = static_cast<std::uint32_t>(size + 1);
  m_components = static_cast<std::size_t>(nextStart - m_starts.data());
  m_size = size;
}

void HashedText::shrink() {
  constexpr std::size_t kKept = std::size_t{64} * 1024;
  if (m_buffer.size() > kKept) std::vector<char>().swap(m_buffer);
  if (m_starts.size() * sizeof m_starts[0] > kKept) std::vector<std::uint32_t>().swap(m_starts);
}

std::uint16_t Grams::of4(const char* bytes) {
  std::uint32_t piece;
  std::memcpy(&piece, bytes, sizeof piece);
  return static_cast<std::uint16_t>(piece * 0x9E3779B1u >> 16);
}

std::uint16_t Grams::of2(const char* bytes) {
  std::uint16_t piece;
  std::memcpy(&piece, bytes, sizeof piece);
  return static_cast<std::uint16_t>(piece * 0x85EBCA6Bu >> 13);
}

std::uint64_t Grams::of(const std::vector<std::string_view>& literals) {
  constexpr std::size_t kMost = 4;
  // Long pieces first, and of each literal its ends first: what patterns differ in is oftenest
  // there. One of each literal, then another of each.
  std::vector<std::uint16_t> grams;
  HashedText text;
  for (const std::size_t length : {std::size_t{4}, std::size_t{2}}) {
    for (unsigned which = 0; which < kMost && grams.size() < kMost; ++which) {
      for (const std::string_view literal : literals) {
        const bool isLong = literal.size() >= 4;
        if (literal.size() < 2 || isLong != (length == 4)) continue;
        const std::size_t last = literal.size() - length;
        const std::size_t places[kMost] = {last, last / 2, 0, last / 4};
        text.assign(literal);
        const char* const bytes = text.bytes(places[which]);
        const std::uint16_t gram = length == 4 ? of4(bytes) : of2(bytes);
        if (std::find(grams.begin(), grams.end(), gram) == grams.end()) grams.push_back(gram);
      }
    }
  }
  // Of many, those that stand farthest apart, the last among them.
  std::uint64_t all = 0;
  const std::size_t count = std::min(grams.size(), kMost);
  for (std::size_t i = 0; i < count; ++i) {
    all |= std::uint64_t{grams[(i + 1) * grams.size() / count - 1]} << (16 * i);
  }
  return all;
}

std::size_t Grams::marksFor(std::size_t length) {
  std::size_t marks = 512;
  while (marks < 8 * length && marks < 65536) marks *= 2;
  return marks;
}

void Grams::assign(const HashedText& text) {
  const std::size_t marks = marksFor(text.size());
  m_marks.assign(marks, 0);
  m_mask = marks - 1;
  std::uint8_t* const all = m_marks.data();
  const std::size_t mask = m_mask;
  const std::size_t size = text.size();
  const char* const bytes = text.bytes(0);
  all[0] = 1;
  for (std::size_t at = 2; at <= size; ++at) all[of2(bytes + at - 2) & mask] = 1;
  for (std::size_t at = 4; at <= size; ++at) all[of4(bytes + at - 4) & mask] = 1;
}

}  // namespace PathKeys
}  // namespace QVL
