#include "qvl/match/Keywords.h"

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <utility>

namespace QVL {
namespace {

// What an alternation leaves in the text; to a reader a group.
constexpr std::string_view kPlaceholder = "()";

}  // namespace

Alternation::Alternation(std::set<std::string> values)
    : m_values(std::move(values)), m_expression("(" + boost::algorithm::join(m_values, "|") + ")") {
  for (const char byte : m_expression) m_bytes.set(static_cast<unsigned char>(byte));
}

bool Alternation::mayHold(std::string_view text) const {
  // What reaches across its border has one of its parentheses.
  if (text.find_first_of("()") != std::string_view::npos) return true;
  return std::all_of(text.begin(), text.end(),
                     [&](char byte) { return m_bytes[static_cast<unsigned char>(byte)]; }) &&
         m_expression.find(text) != std::string::npos;
}

const std::optional<Atom>& Alternation::atom(bool caseSensitive) const {
  const std::lock_guard<std::mutex> lock(m_reading);
  Reading& reading = m_readings[caseSensitive];
  if (!reading.isDone) reading.atom = readGroup(m_expression, caseSensitive);
  reading.isDone = true;
  return reading.atom;
}

const KeywordTable::Alternations& KeywordTable::all() const {
  static const Alternations none;
  return m_keywords ? *m_keywords : none;
}

KeywordTable::Alternations& KeywordTable::own() {
  if (m_keywords.use_count() != 1) m_keywords = std::make_shared<Alternations>(all());
  return *m_keywords;
}

void KeywordTable::set(const std::string& keyword, std::shared_ptr<const Alternation> alternation) {
  own()[keyword] = std::move(alternation);
}

bool KeywordTable::erase(const std::string& keyword) {
  return has(keyword) && own().erase(keyword) != 0;
}

void ExpressionText::substitute(const std::string& keyword,
                                const std::shared_ptr<const Alternation>& values) {
  const bool isInValues = std::any_of(places().begin(), places().end(), [&](const Place& place) {
    return place.alternation->mayHold(keyword);
  });
  if (isInValues) {
    m_text = whole();
    m_places.reset();
  }
  std::size_t found = m_text.find(keyword);
  if (found == std::string::npos) return;
  std::string text;
  std::vector<Place> moved;
  auto next = places().begin();
  std::size_t copied = 0;
  const auto copyTo = [&](std::size_t end) {
    for (; next != places().end() && next->at < end; ++next) {
      moved.push_back({text.size() + next->at - copied, next->alternation});
    }
    text.append(m_text, copied, end - copied);
    copied = end;
  };
  for (; found != std::string::npos; found = m_text.find(keyword, copied)) {
    copyTo(found);
    moved.push_back({text.size(), values});
    text += kPlaceholder;
    copied += keyword.size();
  }
  copyTo(m_text.size());
  m_text.swap(text);
  m_places = std::make_shared<const std::vector<Place>>(std::move(moved));
}

const std::vector<ExpressionText::Place>& ExpressionText::places() const {
  static const std::vector<Place> none;
  return m_places ? *m_places : none;
}

std::string ExpressionText::whole() const {
  std::string whole;
  std::size_t copied = 0;
  for (const Place& place : places()) {
    whole.append(m_text, copied, place.at - copied);
    whole += place.alternation->expression();
    copied = place.at + kPlaceholder.size();
  }
  return whole.append(m_text, copied, std::string::npos);
}

bool ExpressionText::operator==(const ExpressionText& other) const {
  return m_text == other.m_text &&
         std::equal(places().begin(), places().end(), other.places().begin(), other.places().end(),
                    [](const Place& a, const Place& b) {
                      return a.at == b.at &&
                             (a.alternation == b.alternation ||
                              a.alternation->expression() == b.alternation->expression());
                    });
}

}  // namespace QVL
