#include "audit/AuditJson.h"

#include "io/Files.h"
#include "policy/RuleText.h"

namespace qvlctl {
namespace {

// Raised when a member changes its meaning or goes; new members may come without.
constexpr int kVersion = 1;

Json inJson(const Tally& tally) {
  return {{"files", tally.files}, {"bytes", tally.bytes}};
}

Json inJson(const TalliesByReason& tallies) {
  Json list = Json::array();
  for (const auto& [reason, tally] : tallies.entries()) {
    list.push_back({{"reason", reason}, {"files", tally.files}, {"bytes", tally.bytes}});
  }
  return list;
}

Json inJson(const FolderNode& node) {
  Json json;
  addText(json, "name", node.name);
  json["files"] = inJson(node.files);
  json["folders"] = Json::array();
  for (const FolderNode& folder : node.folders) json["folders"].push_back(inJson(folder));
  json["restFolders"] = node.restFolders;
  json["rest"] = inJson(node.rest);
  return json;
}

Json rootsInJson(const std::vector<std::string>& roots) {
  Json list = Json::array();
  for (const std::string& root : roots) {
    list.emplace_back();
    addText(list.back(), "path", root);
  }
  return list;
}

Json dataSetsInJson(const Policy& policy, const AuditReport& report) {
  Json list = Json::array();
  for (const DataSet& dataSet : policy.dataSets) {
    list.push_back({{"number", dataSet.number},
                    {"kind", kindName(dataSet.kind)},
                    {"name", dataSet.name},
                    {"line", dataSet.line},
                    {"skipped", inJson(report.skippedBy(dataSet.number))}});
  }
  return list;
}

Json reasonsInJson(const std::vector<Reason>& reasons) {
  Json list = Json::array();
  for (const Reason& reason : reasons) {
    list.push_back(
        {{"verdict", reason.isSkipped ? "excluded" : "scan"}, {"dataSets", reason.dataSets}});
  }
  return list;
}

Json rulesInJson(const Policy& policy, const RuleHits& hits) {
  Json list = Json::array();
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const DataSet& dataSet = policy.dataSets[i];
    for (std::size_t j = 0; j < dataSet.rules.size(); ++j) {
      const RuleHit& hit = hits.of(i, j);
      Json one;
      one["dataSet"] = dataSet.number;
      one.update(ruleInJson(dataSet, j));
      one["skipped"] = inJson(hit.skipped);
      one["scanned"] = inJson(hit.scanned);
      list.push_back(one);
    }
  }
  return list;
}

Json skippedFoldersInJson(const std::vector<SkippedFolder>& folders) {
  Json list = Json::array();
  for (const SkippedFolder& folder : folders) {
    Json one;
    addText(one, "path", folder.path);
    one["whole"] = folder.isWhole;
    one["skipped"] = inJson(folder.skipped);
    list.push_back(one);
  }
  return list;
}

Json unreadableInJson(const AuditReport& report) {
  Json list = Json::array();
  for (const UnreadableFolder& folder : report.unreadableFolders()) {
    Json one;
    addText(one, "path", folder.path);
    one["error"] = errorText(folder.error);
    list.push_back(one);
  }
  return {{"count", report.unreadableCount()}, {"folders", list}};
}

}  // namespace

Json auditInJson(const AuditSubject& subject, AuditReport& report) {
  const Policy& policy = subject.policy;
  Json json;
  json["report"] = "audit";
  json["version"] = kVersion;
  addText(json, "policy", policy.file);
  json["logic"] = policy.logic;
  json["roots"] = rootsInJson(subject.roots);
  addText(json, "process", subject.request.m_processName);
  json["access"] = accessName(subject.request.m_accessType);
  json["found"] = inJson(report.seen());
  json["skipped"] = inJson(report.skipped());
  json["scanned"] = inJson(report.scanned());
  json["dataSets"] = dataSetsInJson(policy, report);
  json["skippedByNone"] = inJson(report.skippedByNone());
  json["rules"] = rulesInJson(policy, report.ruleHits());
  json["skippedFolders"] = skippedFoldersInJson(report.skippedFolders());
  json["unreadable"] = unreadableInJson(report);
  json["reasons"] = reasonsInJson(report.reasons());
  json["tree"] = Json::array();
  for (const FolderNode& root : report.folderTree()) json["tree"].push_back(inJson(root));
  json["querySeconds"] = report.questionTime().count();
  return json;
}

}  // namespace qvlctl
