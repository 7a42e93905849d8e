#include "explain/Explainer.h"

#include <exception>
#include <utility>

namespace qvlctl {
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
  if (!dataSet.enabled) return Decider::SwitchedOff;
  const bool isRefused = dataSet.accessCheck == DataSet::AccessCheck::AtDataSet &&
                         dataSet.access != QVL::AnyAccess && dataSet.access != request.m_accessType;
  if (isRefused) return Decider::AccessType;
  if (dataSet.matchAnything) return Decider::MatchAnything;
  if (dataSet.matchEmptyInput && hasEmptyInput(dataSet.kind, request)) return Decider::EmptyInput;
  return Decider::Rules;
}

std::set<RulePlace> matchingRules(const Explanation& explanation) {
  std::set<RulePlace> places;
  for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
    for (const MatchingRule& match : explanation.dataSets[i].rules) places.insert({i, match.rule});
  }
  return places;
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

// Stands in for a data set, and notes whether it is asked. Of its base it uses nothing but the
// operations that nobody calls.
class Explainer::WatchedDataSet : public QVL::FilePathDataSet {
 public:
  // Null for a number without a data set.
  explicit WatchedDataSet(std::shared_ptr<QVL::IDataSet> target) : m_target(std::move(target)) {}

  bool isPresentInDataSet(QVL::ILookupData& request) override {
    wasAsked = true;
    return m_target && m_target->isPresentInDataSet(request);
  }

  bool wasAsked = false;

 private:
  const std::shared_ptr<QVL::IDataSet> m_target;
};

Explainer::Explainer(const Policy& policy, const Engine& engine)
    : m_policy(policy), m_engine(engine), m_nearRules(policy) {
  for (const unsigned int number : dataSetsIn(engine.logic())) m_watched[number] = nullptr;
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const auto watched = m_watched.find(policy.dataSets[i].number);
    if (watched != m_watched.end()) {
      watched->second = std::make_shared<WatchedDataSet>(engine.dataSets()[i]);
    }
    m_matchers.emplace_back(policy.dataSets[i]);
  }
  for (auto& [number, watched] : m_watched) {
    if (!watched) watched = std::make_shared<WatchedDataSet>(nullptr);
    m_manager.assignDataSet(watched, number, 0);
  }
}

Explainer::~Explainer() = default;

Explanation Explainer::explain(const QVL::LookupData& request) {
  Explanation explanation;
  for (const auto& [number, watched] : m_watched) watched->wasAsked = false;
  QVL::LookupData asked = request;
  asked.m_matchIdentifiers.clear();
  explanation.isExcluded = m_manager.executeLogic(m_engine.logic().postfix, asked);
  explanation.matched = std::move(asked.m_matchIdentifiers);

  for (std::size_t i = 0; i < m_policy.dataSets.size(); ++i) {
    explanation.dataSets.push_back(answerOf(i, request));
  }
  std::set<unsigned int> askedNumbers;
  for (const auto& [number, watched] : m_watched) {
    if (watched->wasAsked) askedNumbers.insert(number);
  }
  // Each part is asked by itself, which goes where the evaluation did not.
  evaluate(m_engine.logic(), 0, askedNumbers, request, explanation.parts);
  return explanation;
}

std::vector<NearRule> Explainer::nearest(const QVL::LookupData& request,
                                         const Explanation& explanation) {
  if (!explanation.matched.empty()) return {};
  return m_nearRules.find(request, matchingRules(explanation));
}

bool Explainer::evaluate(const LogicPart& part, std::size_t depth,
                         const std::set<unsigned int>& askedNumbers, const QVL::LookupData& request,
                         std::vector<PartAnswer>& answers) {
  QVL::LookupData asked = request;
  bool wasAsked = part.dataSet && askedNumbers.count(*part.dataSet) > 0;
  const std::size_t place = answers.size();
  answers.push_back({&part, depth, wasAsked, m_manager.executeLogic(part.postfix, asked)});
  for (const LogicPart& inner : part.parts) {
    wasAsked |= evaluate(inner, depth + 1, askedNumbers, request, answers);
  }
  return answers[place].wasAsked = wasAsked;
}

DataSetAnswer Explainer::answerOf(std::size_t index, const QVL::LookupData& request) const {
  const DataSet& dataSet = m_policy.dataSets[index];
  const auto watched = m_watched.find(dataSet.number);
  DataSetAnswer answer;
  answer.isInLogic = watched != m_watched.end();
  answer.wasAsked = answer.isInLogic && watched->second->wasAsked;
  answer.decider = deciderOf(dataSet, request);
  QVL::LookupData asked = request;
  try {
    answer.matches = m_engine.dataSets()[index]->isPresentInDataSet(asked);
  } catch (const std::exception&) {
    answer.matches = false;  // as the manager counts it
  }
  for (const std::size_t rule : m_matchers[index].matching(asked)) {
    answer.rules.push_back({rule, fitsAccess(dataSet, dataSet.rules[rule], request.m_accessType)});
  }
  return answer;
}

}  // namespace qvlctl
