#include "policy/RuleText.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

// Calls `take` with name and text of everything that is noted.
template <typename Take>
void forEachNote(const std::shared_ptr<const qvlpolicy::Metadata>& metadata, Take take) {
  if (!metadata) return;
  const std::pair<const char*, const std::string&> notes[] = {
      {"comment", metadata->comment}, {"owner", metadata->owner}, {"reason", metadata->reason},
      {"ticket", metadata->ticket},   {"added", metadata->added}, {"expires", metadata->expires}};
  for (const auto& [name, value] : notes) {
    if (!value.empty()) take(name, value);
  }
}

}  // namespace

std::string metadataInWords(const std::shared_ptr<const qvlpolicy::Metadata>& metadata) {
  std::string text;
  forEachNote(metadata, [&](const char* name, const std::string& value) {
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, escaped(value));
  });
  return text;
}

Json metadataInJson(const std::shared_ptr<const qvlpolicy::Metadata>& metadata) {
  Json json = Json::object();
  forEachNote(metadata, [&](const char* name, const std::string& value) { json[name] = value; });
  return json;
}

std::string ruleInWords(const Policy& policy, const DataSet& dataSet, std::size_t rule) {
  const Place& place = dataSet.rules[rule].place;
  return fmt::format("rule {}, {}{}: {}", rule + 1, escaped(policy.files[place.file]),
                     place.line > 0 ? fmt::format(":{}", place.line) : "",
                     ruleText(dataSet.kind, dataSet.rules[rule]));
}

Json ruleInJson(const DataSet& dataSet, std::size_t rule) {
  const Rule& source = dataSet.rules[rule];
  Json json = objectOf(10);
  json["rule"] = rule + 1;
  json["line"] = source.place.line;
  if (source.metadata) json["metadata"] = metadataInJson(source.metadata);
  if (dataSet.kind == Kind::FileAge) {
    const qvlpolicy::Age age = qvlpolicy::ageOf(source);
    json["of"] = age.of;
    json["days"] = age.days;
  } else {
    json["text"] = source.text;
  }
  json["access"] = accessName(source.access);
  return json;
}

}  // namespace qvlctl
