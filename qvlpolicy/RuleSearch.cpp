#include "qvlpolicy/RuleSearch.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <new>
#include <stdexcept>
#include <string_view>

#include "qvl/match/PatternLanguage.h"
#include "qvl/match/Text.h"
#include "qvlpolicy/RulePatterns.h"

namespace qvlpolicy {
namespace {

// What the rules of that kind read.
std::string_view inputOf(Kind kind, const QVL::LookupData& request) {
  if (kind == Kind::Process) return request.m_processName;
  return kind == Kind::FileType ? QVL::extensionOf(request.m_filePath) : request.m_filePath;
}

// Storage that the searches of a thread share.
struct Scratch {
  QVL::TextScratch text;
  QVL::PatternIndex::Scratch patterns;
};

}  // namespace

RuleSearch::RuleSearch(const DataSet& dataSet, const std::vector<QVL::IAvoidance*>& rules)
    : m_kind(dataSet.kind), m_rules(rules), m_patterns(new Pattern[rules.size()]) {
  RulePatterns patterns(dataSet);
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (rules[i] == nullptr) continue;
    Pattern& pattern = m_patterns[i];
    pattern.program = patterns.programOf(dataSet.rules[i]);
    if (pattern.program) {
      m_index.insert(*pattern.program, &pattern, 0, pattern.place);
    } else {
      m_asked.push_back(i);
    }
  }
}

void RuleSearch::find(const QVL::LookupData& request, std::vector<std::size_t>& found,
                      std::vector<std::size_t>* gaveUp) const {
  found.clear();
  thread_local Scratch scratch;
  QVL::Text text(inputOf(m_kind, request), scratch.text);
  // What matches has read all of its text.
  if (text.isUtf8()) {
    const auto admitsAll = [](std::uint32_t) { return true; };
    const std::less<QVL::PatternIndex::Owner> isBefore;
    m_index.find(text, scratch.patterns, admitsAll, isBefore, [&](QVL::PatternIndex::Owner owner) {
      found.push_back(
          static_cast<std::size_t>(static_cast<const Pattern*>(owner) - &m_patterns[0]));
      return false;
    });
  }
  if (!m_asked.empty()) {
    QVL::LookupData asked = request;
    for (const std::size_t rule : m_asked) {
      try {
        if (m_rules[rule]->canAvoid(asked)) found.push_back(rule);
      } catch (const std::bad_alloc&) {
        throw;
      } catch (const std::runtime_error&) {
        // As the manager counts it: no match.
        if (gaveUp != nullptr) gaveUp->push_back(rule);
      } catch (const std::exception&) {
        // Likewise; the text is not UTF-8.
      }
    }
  }
  std::sort(found.begin(), found.end());
}

}  // namespace qvlpolicy
