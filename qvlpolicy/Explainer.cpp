#include "qvlpolicy/Explainer.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "qvlpolicy/Logic.h"
#include "qvlpolicy/Patterns.h"

namespace qvlpolicy {
namespace {

bool hasEmptyInput(Kind kind, const QVL::LookupData& request) {
  switch (kind) {
    case Kind::FilePath:
    case Kind::Folder:
      return request.m_filePath.empty();
    case Kind::Process:
      return request.m_processName.empty();
    case Kind::FileType: {
      std::string path = request.m_filePath;
      return QVL::FileTypeAvoidance::findFileExtension(path).empty();
    }
    case Kind::FileAge:
      return false;
  }
  return false;
}

Decider deciderOf(const DataSet& dataSet, const QVL::LookupData& request) {
  if (!dataSet.enabled || dataSet.isDropped) return Decider::SwitchedOff;
  const bool isRefused = dataSet.accessCheck == DataSet::AccessCheck::AtDataSet &&
                         dataSet.access != QVL::AnyAccess && dataSet.access != request.m_accessType;
  if (isRefused) return Decider::AccessType;
  if (dataSet.matchAnything) return Decider::MatchAnything;
  if (dataSet.matchEmptyInput && hasEmptyInput(dataSet.kind, request)) return Decider::EmptyInput;
  return Decider::Rules;
}

std::size_t partsOf(const LogicPart& logic) {
  std::size_t parts = 1;
  for (const LogicPart& inner : logic.parts) parts += partsOf(inner);
  return parts;
}

}  // namespace

const char* deciderName(Decider decider) {
  switch (decider) {
    case Decider::SwitchedOff:
      return "enabled";
    case Decider::AccessType:
      return "check-access";
    case Decider::MatchAnything:
      return "match-anything";
    case Decider::EmptyInput:
      return "match-empty-input";
    case Decider::Rules:
      return "rules";
  }
  return "";
}

// The logic for one question, of which it is known what each data set answers.
class Explainer::Evaluation {
 public:
  Evaluation(const Explainer& explainer, const std::vector<DataSetAnswer>& dataSets)
      : m_indices(explainer.m_indices), m_answers(explainer.m_indices.size()) {
    for (std::size_t i = 0; i < dataSets.size(); ++i) m_answers[i].matches = dataSets[i].matches;
  }

  // The value of a part, for which the data sets are asked that the engine asks, in its order. It
  // takes the postfix form operator by operator: what is to the left and to the right of an
  // operator has its value already, unless it is only a number; the left number is then looked up
  // first, and the right one where the left value does not decide.
  bool evaluate(const LogicPart& part) {
    if (part.dataSet) {
      Asked& asked = m_answers[indexOf(part)];
      if (!asked.wasAsked && asked.matches) m_matched.push_back(*part.dataSet);
      asked.wasAsked = true;
      return asked.matches;
    }
    if (part.parts.size() == 1) return !evaluate(part.parts[0]);
    const LogicPart& left = part.parts[0];
    const LogicPart& right = part.parts[1];
    bool leftValue = !left.dataSet && evaluate(left);
    const bool rightValue = !right.dataSet && evaluate(right);
    if (left.dataSet) leftValue = evaluate(left);
    if (isOr(part) == leftValue) return leftValue;
    return right.dataSet ? evaluate(right) : rightValue;
  }

  // The values of a part and of what it combines; true when anything of it was asked.
  bool tell(const LogicPart& part, std::size_t depth, std::vector<PartAnswer>& answers) const {
    const std::size_t place = answers.size();
    answers.push_back({&part, depth, part.dataSet && m_answers[indexOf(part)].wasAsked, false});
    if (part.dataSet) {
      answers[place].value = m_answers[indexOf(part)].matches;
      return answers[place].wasAsked;
    }
    bool wasAsked = false;
    std::size_t last = 0;
    for (const LogicPart& inner : part.parts) {
      last = answers.size();
      wasAsked |= tell(inner, depth + 1, answers);
    }
    const bool left = answers[place + 1].value;
    const bool right = answers[last].value;
    answers[place].wasAsked = wasAsked;
    answers[place].value = last == place + 1 ? !left : isOr(part) ? left || right : left && right;
    return wasAsked;
  }

  bool wasAsked(std::size_t dataSet) const { return m_answers[dataSet].wasAsked; }
  std::vector<unsigned int>& matched() { return m_matched; }

 private:
  struct Asked {
    bool matches = false;
    bool wasAsked = false;
  };

  static bool isOr(const LogicPart& part) { return part.postfix[part.postfix.size() - 2] == '|'; }

  std::size_t indexOf(const LogicPart& part) const { return m_indices.at(*part.dataSet); }

  const std::map<unsigned int, std::size_t>& m_indices;
  std::vector<Asked> m_answers;
  std::vector<unsigned int> m_matched;
};

Explainer::Explainer(const Description& description, const Engine& engine, const LogicPart& logic)
    : m_description(description), m_engine(engine), m_logic(logic), m_parts(partsOf(logic)) {
  for (const DataSet& dataSet : description.dataSets) {
    m_indices.emplace(dataSet.number, m_indices.size());
  }
  const std::vector<unsigned int> inLogic = dataSetsIn(logic);
  m_isInLogic.resize(description.dataSets.size());
  for (const unsigned int number : inLogic) {
    const auto [found, isNew] = m_indices.emplace(number, m_indices.size());
    if (!isNew) m_isInLogic[found->second] = true;
  }
}

const std::deque<RuleSearch>& Explainer::searches() const {
  std::call_once(m_searchesAreMade, [this] {
    std::deque<RuleSearch> made;
    for (std::size_t i = 0; i < m_description.dataSets.size(); ++i) {
      made.emplace_back(m_description.dataSets[i], m_engine.rules(i));
    }
    m_searches = std::move(made);
  });
  return m_searches;
}

std::vector<MatchingRule> Explainer::matchingRules(std::size_t dataSet,
                                                   const QVL::LookupData& request,
                                                   std::vector<std::size_t>* gaveUp) const {
  const DataSet& description = m_description.dataSets[dataSet];
  thread_local std::vector<std::size_t> found;  // keeps its memory
  searches()[dataSet].find(request, found, gaveUp);
  std::vector<MatchingRule> rules;
  rules.reserve(found.size());
  for (const std::size_t rule : found) {
    rules.push_back(
        {dataSet, rule, fitsAccess(description, description.rules[rule], request.m_accessType)});
  }
  return rules;
}

// What a data set answers follows from the rules that match, unless the engine has to be asked: it
// asks rules in its order, and one that gives up before another matches decides.
bool Explainer::answerOf(std::size_t dataSet, Decider decider,
                         const std::vector<MatchingRule>& matching,
                         QVL::LookupData& request) const {
  if (decider == Decider::SwitchedOff || decider == Decider::AccessType) return false;
  if (decider == Decider::MatchAnything) return true;
  if (decider == Decider::Rules && !searches()[dataSet].asksRules()) {
    return std::any_of(matching.begin(), matching.end(),
                       [](const MatchingRule& match) { return match.fitsAccess; });
  }
  try {
    return m_engine.dataSets()[dataSet]->isPresentInDataSet(request);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return false;  // as the manager counts it
  }
}

Explanation Explainer::explain(QVL::LookupData& request) const {
  Explanation explanation;
  explanation.dataSets.resize(m_description.dataSets.size());
  for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
    DataSetAnswer& answer = explanation.dataSets[i];
    answer.isInLogic = m_isInLogic[i];
    answer.decider = deciderOf(m_description.dataSets[i], request);
    answer.rules = matchingRules(i, request, &answer.gaveUp);
    answer.matches = answerOf(i, answer.decider, answer.rules, request);
  }
  Evaluation evaluation(*this, explanation.dataSets);
  explanation.isExcluded = evaluation.evaluate(m_logic);
  explanation.matched = std::move(evaluation.matched());
  explanation.parts.reserve(m_parts);
  evaluation.tell(m_logic, 0, explanation.parts);
  for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
    explanation.dataSets[i].wasAsked = evaluation.wasAsked(i);
  }
  return explanation;
}

}  // namespace qvlpolicy
