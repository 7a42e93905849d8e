#include "qvlpolicy/Explainer.h"

#include <exception>
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

// One question. Every data set is looked up once.
class Explainer::Evaluation {
 public:
  Evaluation(const Explainer& explainer, QVL::LookupData& request)
      : m_indices(explainer.m_indices), m_answers(explainer.m_indices.size()) {
    const std::vector<DataSet>& dataSets = explainer.m_description.dataSets;
    for (std::size_t i = 0; i < dataSets.size(); ++i) {
      try {
        m_answers[i].matches = explainer.m_engine.dataSets()[i]->isPresentInDataSet(request);
      } catch (const std::exception&) {
        // As the manager counts it.
      }
    }
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
    std::vector<std::size_t> places;
    for (const LogicPart& inner : part.parts) {
      places.push_back(answers.size());
      wasAsked |= tell(inner, depth + 1, answers);
    }
    const bool left = answers[places.front()].value;
    const bool right = answers[places.back()].value;
    answers[place].wasAsked = wasAsked;
    answers[place].value = places.size() == 1 ? !left : isOr(part) ? left || right : left && right;
    return wasAsked;
  }

  bool matches(std::size_t dataSet) const { return m_answers[dataSet].matches; }
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

Explanation Explainer::explain(QVL::LookupData& request) const {
  Explanation explanation;
  Evaluation evaluation(*this, request);
  explanation.isExcluded = evaluation.evaluate(m_logic);
  explanation.matched = std::move(evaluation.matched());
  explanation.parts.reserve(m_parts);
  evaluation.tell(m_logic, 0, explanation.parts);

  explanation.dataSets.reserve(m_description.dataSets.size());
  for (std::size_t i = 0; i < m_description.dataSets.size(); ++i) {
    std::vector<std::size_t> gaveUp;
    std::vector<MatchingRule> rules = matchingRules(i, request, &gaveUp);
    explanation.dataSets.push_back({m_isInLogic[i], evaluation.wasAsked(i), evaluation.matches(i),
                                    deciderOf(m_description.dataSets[i], request), std::move(rules),
                                    std::move(gaveUp)});
  }
  return explanation;
}

}  // namespace qvlpolicy
