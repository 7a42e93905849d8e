#include "qvl/avoidance/RuleView.h"

#include <typeinfo>

#include "qvl/avoidance/FileAgeAvoidance.h"
#include "qvl/avoidance/FilePathAvoidance.h"
#include "qvl/avoidance/FileTypeAvoidance.h"
#include "qvl/avoidance/FolderAvoidance.h"
#include "qvl/avoidance/ProcessAvoidance.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {

std::string_view inputOf(const LookupData& request, RuleInput input) {
  if (input == RuleInput::ProcessName) return request.m_processName;
  const std::string_view path = request.m_filePath;
  return input == RuleInput::FilePath ? path : extensionOf(path);
}

bool RuleView::isOfTheLibrary(const IAvoidance& rule) {
  return of(rule) || typeid(rule) == typeid(FileAgeAvoidance);
}

const Avoidance* RuleView::of(const IAvoidance& rule) {
  const std::type_info& type = typeid(rule);
  if (type == typeid(FilePathAvoidance) || type == typeid(FolderAvoidance) ||
      type == typeid(ProcessAvoidance) || type == typeid(FileTypeAvoidance)) {
    return static_cast<const Avoidance*>(&rule);
  }
  return nullptr;
}

RuleInput RuleView::inputOf(const Avoidance& rule) {
  const std::type_info& type = typeid(rule);
  if (type == typeid(ProcessAvoidance)) return RuleInput::ProcessName;
  if (type == typeid(FileTypeAvoidance)) return RuleInput::Extension;
  return RuleInput::FilePath;
}

const CompiledPattern& RuleView::patternOf(const Avoidance& rule) {
  return rule.pattern();
}

AccessTypes RuleView::accessTypeOf(const Avoidance& rule) {
  return rule.accessType();
}

KeywordTable* RuleView::keywordsFor(IAvoidance& rule, const char* operation) {
  if (!isOfTheLibrary(rule) || typeid(rule) == typeid(FileTypeAvoidance)) return nullptr;
  auto& patternRule = static_cast<PatternAvoidance&>(rule);
  patternRule.trace(operation);
  return &patternRule.keywords();
}

void RuleView::observe(const Avoidance& rule, PatternObserver* observer) {
  rule.observe(observer);
}

PatternObserver* RuleView::observerOf(const Avoidance& rule) {
  return rule.observer();
}

}  // namespace QVL
