#include "diff/SavedAudit.h"

#include <algorithm>
#include <set>
#include <utility>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

constexpr int kVersion = 2;

Tally tallyIn(const Json& json) {
  return {json.at("files").get<std::uint64_t>(), json.at("bytes").get<std::uint64_t>()};
}

// A text of any bytes, as addText wrote it.
std::string textIn(const Json& json, const std::string& name) {
  const auto hex = json.find(name + "Hex");
  if (hex == json.end()) return json.at(name).get<std::string>();
  const std::string digits = hex->get<std::string>();
  std::string text;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    text += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return text;
}

// What is skipped in a list of tallies by reason.
Tally skippedIn(const Json& tallies, const std::vector<bool>& isSkipped) {
  Tally sum;
  for (const Json& one : tallies) {
    if (isSkipped.at(one.at("reason").get<std::size_t>())) sum.add(tallyIn(one));
  }
  return sum;
}

std::string ruleInWords(const Json& json) {
  std::string words = fmt::format("data set {}, ", json.at("dataSet").get<unsigned int>());
  if (json.contains("of")) {
    words += fmt::format("older than {} days since {}",
                         fmt::join(json.at("days").get<std::vector<unsigned int>>(), ", "),
                         json.at("of").get<std::string>());
  } else {
    words += escapedPattern(textIn(json, "text"));
  }
  const std::string access = json.at("access").get<std::string>();
  if (access != "any") words += fmt::format(" ({})", access);
  return words;
}

std::string queryInWords(const Json& json) {
  const std::string process = textIn(json, "process");
  return fmt::format("{}, {}", json.at("access").get<std::string>(),
                     process.empty() ? "no process" : escaped(process));
}

std::string withSlash(std::string path) {
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

void readFolders(const Json& json, SavedAudit& audit) {
  std::vector<bool> isSkipped;
  for (const Json& reason : json.at("reasons")) {
    isSkipped.push_back(reason.at("verdict") == "excluded");
  }
  for (const Json& one : json.at("folders")) {
    SavedAudit::Folder folder;
    const Json& parent = one.at("parent");
    if (!parent.is_null()) folder.parent = audit.folders.at(parent.get<std::size_t>()).path;
    folder.path = folder.parent + withSlash(textIn(one, "name"));
    folder.skipped = skippedIn(one.at("files"), isSkipped);
    folder.rest = skippedIn(one.at("rest"), isSkipped);
    audit.folders.push_back(std::move(folder));
  }
}

SavedAudit auditIn(const Json& json, const std::string& file) {
  SavedAudit audit;
  audit.file = file;
  audit.created = json.at("created").get<std::string>();
  audit.host = textIn(json, "host");
  audit.policy = textIn(json, "policy");
  audit.policyDigest = json.at("policyDigest").get<std::string>();
  for (const Json& root : json.at("roots")) audit.roots.push_back(textIn(root, "path"));
  audit.found = tallyIn(json.at("found"));
  audit.skipped = tallyIn(json.at("skipped"));
  for (const Json& one : json.at("queries")) {
    audit.queries.push_back({queryInWords(one), tallyIn(one.at("skipped"))});
  }
  for (const Json& one : json.at("rules")) {
    audit.rules.push_back({ruleInWords(one), audit.policy, one.at("line").get<std::size_t>(),
                           tallyIn(one.at("skipped"))});
  }
  readFolders(json, audit);
  return audit;
}

bool isSame(const Tally& a, const Tally& b) {
  return a.files == b.files && a.bytes == b.bytes;
}

// Pairs what has the same words, in the order of the new ones, the old ones that are gone last.
template <typename Counted>
std::vector<SkippedChange> paired(const std::vector<Counted>& before,
                                  const std::vector<Counted>& after) {
  std::map<std::string, std::size_t> places;
  std::vector<SkippedChange> changes;
  const auto changeOf = [&](const Counted& one) -> SkippedChange& {
    const auto [place, isNew] = places.emplace(one.words, changes.size());
    if (isNew) changes.push_back({one.words, {}, {}, {}, 0});
    return changes[place->second];
  };
  for (const Counted& one : after) changeOf(one).after.add(one.skipped);
  for (const Counted& one : before) changeOf(one).before.add(one.skipped);
  return changes;
}

void dropEqual(std::vector<SkippedChange>& changes) {
  changes.erase(
      std::remove_if(changes.begin(), changes.end(),
                     [](const SkippedChange& one) { return isSame(one.before, one.after); }),
      changes.end());
}

// What is skipped in the folders that both audits have: the files directly in them, and the others.
struct FolderCells {
  Tally direct;
  Tally below;
};
using Cells = std::map<std::string, FolderCells>;

Cells cellsOf(const SavedAudit& audit, const std::set<std::string>& common) {
  Cells cells;
  std::map<std::string, std::string> nearest;  // the folder that both have, by path
  for (const SavedAudit::Folder& folder : audit.folders) {
    // A root that only one of them has stays by itself.
    const bool isCommon = folder.parent.empty() || common.count(folder.path) > 0;
    const std::string place = isCommon ? folder.path : nearest[folder.parent];
    nearest[folder.path] = place;
    FolderCells& one = cells[place];
    (isCommon ? one.direct : one.below).add(folder.skipped);
    one.below.add(folder.rest);
  }
  return cells;
}

std::vector<SkippedChange> compareFolders(const SavedAudit& before, const SavedAudit& after) {
  std::set<std::string> old;
  for (const SavedAudit::Folder& folder : before.folders) old.insert(folder.path);
  std::set<std::string> common;
  for (const SavedAudit::Folder& folder : after.folders) {
    if (old.count(folder.path) > 0) common.insert(folder.path);
  }
  std::map<std::string, std::pair<FolderCells, FolderCells>> both;
  for (const auto& [path, one] : cellsOf(before, common)) both[path].first = one;
  for (const auto& [path, one] : cellsOf(after, common)) both[path].second = one;
  std::vector<SkippedChange> changes;
  for (const auto& [path, cells] : both) {
    changes.push_back({escaped(path) + " (files directly in it)",
                       cells.first.direct,
                       cells.second.direct,
                       {},
                       0});
    changes.push_back(
        {escaped(path) + " (folders in it)", cells.first.below, cells.second.below, {}, 0});
  }
  dropEqual(changes);
  return changes;
}

std::uint64_t distance(std::uint64_t a, std::uint64_t b) {
  return a < b ? b - a : a - b;
}

void sortLargestFirst(std::vector<SkippedChange>& changes) {
  std::stable_sort(changes.begin(), changes.end(),
                   [](const SkippedChange& a, const SkippedChange& b) {
                     return std::pair(distance(a.before.bytes, a.after.bytes),
                                      distance(a.before.files, a.after.files)) >
                            std::pair(distance(b.before.bytes, b.after.bytes),
                                      distance(b.before.files, b.after.files));
                   });
}

}  // namespace

SavedAudit readAudit(const std::string& file) {
  const std::string text = readFile(file);
  const auto fail = [&](const std::string& found) -> SavedAudit {
    throw Trouble(
        fmt::format("{}: expected an audit, as `qvlctl audit --format json` writes it; "
                    "found {}",
                    escaped(file), found));
  };
  try {
    const Json json = Json::parse(text);
    if (!json.is_object() || json.value("report", "") != "audit") {
      return fail("JSON that is something else");
    }
    if (json.at("version") != kVersion) {
      return fail(fmt::format("version {} where this qvlctl reads {}", json.at("version").dump(),
                              kVersion));
    }
    return auditIn(json, file);
  } catch (const Json::parse_error& error) {
    const auto end = std::min(text.size(), error.byte);
    const auto line =
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    return fail(fmt::format("a mistake in the JSON at line {}", line));
  } catch (const Json::exception& error) {
    // Behind the name that the reader of JSON has for the error.
    const std::string_view what = error.what();
    const std::size_t end = what.find("] ");
    return fail(fmt::format("one in which a member is not as it should be: {}",
                            escaped(what.substr(end == std::string_view::npos ? 0 : end + 2))));
  } catch (const std::logic_error&) {
    return fail("one whose parts do not fit together");
  }
}

AuditChanges compareAudits(const SavedAudit& before, const SavedAudit& after) {
  AuditChanges changes = {paired(before.queries, after.queries), paired(before.rules, after.rules),
                          compareFolders(before, after)};
  dropEqual(changes.rules);
  std::map<std::string, const SavedAudit::Rule*> rules;  // as the newer audit has them
  for (const SavedAudit* const audit : {&before, &after}) {
    for (const SavedAudit::Rule& rule : audit->rules) rules[rule.words] = &rule;
  }
  for (SkippedChange& change : changes.rules) {
    change.file = rules[change.words]->file;
    change.line = rules[change.words]->line;
  }
  sortLargestFirst(changes.rules);
  sortLargestFirst(changes.folders);
  return changes;
}

}  // namespace qvlctl
