#include "audit/AuditJson.h"

#include <utility>

#include "io/Files.h"
#include "policy/RuleText.h"

namespace qvlctl {
namespace {

// Raised when a member changes its meaning or goes; new members may come without.
constexpr int kVersion = 2;

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

// Appends the folder and those in it, each behind the one that it is in.
void addFolder(Json& list, const FolderNode& node, const Json& parent) {
  const std::size_t place = list.size();
  Json one;
  addText(one, "name", node.name);
  one["parent"] = parent;
  one["files"] = inJson(node.files);
  one["restFolders"] = node.restFolders;
  one["rest"] = inJson(node.rest);
  list.push_back(std::move(one));
  for (const FolderNode& folder : node.folders) addFolder(list, folder, place);
}

Json foldersInJson(const std::vector<FolderNode>& roots) {
  Json list = Json::array();
  for (const FolderNode& root : roots) addFolder(list, root, nullptr);
  return list;
}

Json queriesInJson(const std::vector<Query>& queries, const AuditReport& report) {
  Json list = Json::array();
  for (std::size_t i = 0; i < queries.size(); ++i) {
    Json one = queryInJson(queries[i]);
    one["skipped"] = inJson(report.skippedFor(i));
    list.push_back(std::move(one));
  }
  return list;
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
                    {"line", dataSet.place.line},
                    {"skipped", inJson(report.skippedBy(dataSet.number))}});
  }
  return list;
}

Json reasonsInJson(const std::vector<Reason>& reasons) {
  Json list = Json::array();
  for (const Reason& reason : reasons) {
    list.push_back({{"verdict", reason.isSkipped ? "excluded" : "scan"},
                    {"query", reason.query},
                    {"dataSets", reason.dataSets}});
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
      one["leftOut"] = hit.isLeftOut;
      one["dropped"] = hit.isDropped;
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

Json unreadableInJson(const Missing& missing) {
  Json list = Json::array();
  for (const UnreadableFolder& folder : missing.unreadableFolders()) {
    Json one;
    addText(one, "path", folder.path);
    one["error"] = errorText(folder.error);
    list.push_back(one);
  }
  return {{"count", missing.unreadableCount()}, {"folders", list}};
}

Json leftOutInJson(const Missing& missing) {
  Json list = Json::array();
  for (const LeftOutFolder& folder : missing.leftOutFolders()) {
    Json one;
    addText(one, "path", folder.path);
    one["fileSystem"] = folder.fileSystem;
    list.push_back(one);
  }
  return {{"count", missing.leftOutCount()}, {"folders", list}};
}

}  // namespace

Json auditInJson(const AuditSubject& subject, AuditReport& report) {
  const Policy& policy = subject.policy;
  Json json;
  json["report"] = "audit";
  json["version"] = kVersion;
  json["created"] = subject.evidence.created;
  addText(json, "host", subject.evidence.host);
  json["tool"] = {{"name", "qvlctl"}, {"version", subject.evidence.toolVersion}};
  addText(json, "policy", policy.file);
  json["policyDigest"] = "sha256:" + subject.evidence.policyDigest;
  json["policyVersion"] = "1";  // of the format: the only one that there is
  json["logic"] = policy.logic;
  json["roots"] = rootsInJson(subject.roots);
  json["queries"] = queriesInJson(subject.queries, report);
  json["found"] = inJson(report.seen());
  json["skipped"] = inJson(report.skipped());
  json["skippedAlways"] = inJson(report.skippedAlways());
  json["scanned"] = inJson(report.scanned());
  json["dataSets"] = dataSetsInJson(policy, report);
  json["skippedByNone"] = inJson(report.skippedByNone());
  json["rules"] = rulesInJson(policy, report.ruleHits());
  json["skippedFolders"] = skippedFoldersInJson(report.skippedFolders());
  json["unreadable"] = unreadableInJson(report.missing());
  json["leftOut"] = leftOutInJson(report.missing());
  json["reasons"] = reasonsInJson(report.reasons());
  json["folders"] = foldersInJson(report.folderTree());
  json["querySeconds"] = report.questionTime().count();
  return json;
}

}  // namespace qvlctl
