#include "io/Sarif.h"

#include <algorithm>

#include "fmt/format.h"

namespace qvlctl {
namespace {

Json inJson(const SarifPlace& place) {
  Json json = Json::object();
  if (!place.file.empty()) {
    Json& physical = json["physicalLocation"];
    physical["artifactLocation"]["uri"] = uriOf(place.file);
    if (place.line > 0) {
      physical["region"]["startLine"] = place.line;
      if (place.column > 0) physical["region"]["startColumn"] = place.column;
    }
  }
  if (!place.element.empty()) {
    json["logicalLocations"] = Json::array({{{"fullyQualifiedName", place.element}}});
  }
  return json;
}

}  // namespace

SarifLog::SarifLog() {
  m_driver["name"] = "qvlctl";
  m_driver["version"] = QVLCTL_VERSION;
  m_driver["rules"] = Json::array();
}

void SarifLog::addSort(const std::string& name, const std::string& description) {
  Json& sorts = m_driver["rules"];
  if (std::any_of(sorts.begin(), sorts.end(), [&](const Json& one) { return one["id"] == name; })) {
    return;
  }
  sorts.push_back({{"id", name}, {"shortDescription", {{"text", description}}}});
}

void SarifLog::add(const SarifResult& result) {
  const Json& sorts = m_driver["rules"];
  const auto sort = std::find_if(sorts.begin(), sorts.end(),
                                 [&](const Json& one) { return one["id"] == result.name; });
  Json json;
  json["ruleId"] = result.name;
  json["ruleIndex"] = sort - sorts.begin();
  json["level"] = result.level;
  json["message"]["text"] = result.message;
  json["locations"] = Json::array();
  for (const SarifPlace& place : result.places) json["locations"].push_back(inJson(place));
  if (!result.fingerprint.empty()) {
    json["partialFingerprints"]["qvlctl/v1"] = result.fingerprint;
  }
  // Where some results have suppressions, those without say so by an empty list.
  json["suppressions"] = Json::array();
  if (result.isSuppressed) {
    Json suppression = {{"kind", "inSource"}};
    if (!result.justification.empty()) suppression["justification"] = result.justification;
    json["suppressions"].push_back(suppression);
  }
  if (!result.baselineState.empty()) json["baselineState"] = result.baselineState;
  m_results.push_back(std::move(json));
}

Json SarifLog::json() const {
  Json run;
  run["tool"]["driver"] = m_driver;
  run["columnKind"] = "unicodeCodePoints";
  run["results"] = m_results;
  Json json;
  json["$schema"] =
      "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json";
  json["version"] = "2.1.0";
  json["runs"] = Json::array({run});
  return json;
}

std::string uriOf(std::string_view file) {
  constexpr std::string_view kUnreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string uri = !file.empty() && file.front() == '/' ? "file://" : "";
  for (const char c : file) {
    if (kUnreserved.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return uri;
}

}  // namespace qvlctl
