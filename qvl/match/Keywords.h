// Keywords, and expressions in which they were substituted. Private to the library.

#ifndef QVL_MATCH_KEYWORDS_H
#define QVL_MATCH_KEYWORDS_H

#include <bitset>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/match/Expression.h"

namespace QVL {

// The values of a keyword and what they are replaced by in an expression: "(a|b)". One for all
// rules whose data set knows the keyword, however many values it has; what is read of it is read
// once.
//
// Thread safety: any number of threads may use it at once.
class Alternation {
 public:
  explicit Alternation(std::set<std::string> values);

  const std::set<std::string>& values() const { return m_values; }
  const std::string& expression() const { return m_expression; }

  // May the text stand in the expression, or reach into it?
  bool mayHold(std::string_view text) const;

  // What the expression means wherever an atom may stand; absent when that cannot be said of it
  // alone.
  // Stays as it is as long as the alternation is there.
  const std::optional<Atom>& atom(bool caseSensitive) const;

 private:
  const std::set<std::string> m_values;
  std::string m_expression;
  std::bitset<256> m_bytes;  // that it has
  struct Reading {
    bool isDone = false;
    std::optional<Atom> atom;
  };
  mutable std::mutex m_reading;
  mutable Reading m_readings[2];  // guarded by m_reading until they are done
};

// Keywords and what stands for them, in ascending order. Copies share what they hold until one of
// them changes.
class KeywordTable {
 public:
  using Alternations = std::map<std::string, std::shared_ptr<const Alternation>>;

  void set(const std::string& keyword, std::shared_ptr<const Alternation> alternation);

  // False when there is no such keyword.
  bool erase(const std::string& keyword);

  bool has(const std::string& keyword) const { return all().count(keyword) != 0; }
  bool empty() const { return !m_keywords || m_keywords->empty(); }
  bool sharesWith(const KeywordTable& other) const { return m_keywords == other.m_keywords; }

  Alternations::const_iterator begin() const { return all().begin(); }
  Alternations::const_iterator end() const { return all().end(); }

 private:
  const Alternations& all() const;
  Alternations& own();

  std::shared_ptr<Alternations> m_keywords;  // null: none
};

// The expression of a rule, in which the values of keywords stand as references to what they share.
class ExpressionText {
 public:
  struct Place {
    std::size_t at;  // of the "()" in text() that the alternation stands for
    std::shared_ptr<const Alternation> alternation;
  };

  ExpressionText() = default;
  ExpressionText(std::string text) : m_text(std::move(text)) {}  // NOLINT: an expression as it is

  void append(std::string_view text) { m_text += text; }

  // Substitutes a keyword, as replacing it in whole() would.
  void substitute(const std::string& keyword, const std::shared_ptr<const Alternation>& values);

  // All of it, as the expression engine reads it.
  std::string whole() const;

  const std::string& text() const { return m_text; }
  const std::vector<Place>& places() const;

  bool operator==(const ExpressionText& other) const;

 private:
  std::string m_text;
  std::shared_ptr<const std::vector<Place>> m_places;  // in ascending order; null: none
};

}  // namespace QVL

#endif  // QVL_MATCH_KEYWORDS_H
