#include "qvlpolicy/lint/Reach.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "qvlpolicy/Patterns.h"

namespace qvlpolicy {
namespace {

constexpr const char* kTrees[] = {
    "/private", "/private/var", "/private/etc", "/Applications", "/Library",   "/System", "/Users",
    "/Volumes", "/opt",         "/usr",         "/bin",          "/sbin",      "/home",   "/etc",
    "/var",     "/srv",         "/root",        "/lib",          "/lib64",     "/boot",   "/mnt",
    "/media",   "/usr/local",   "/usr/lib",     "/usr/bin",      "/usr/share",
};

constexpr const char* kHomes[] = {"/Users", "/home"};

// A component may be anything where * stands.
constexpr const char* kWritableFolders[] = {
    "/tmp",         "/private/tmp",         "/var/tmp",         "/private/var/tmp",
    "/var/folders", "/private/var/folders", "/dev/shm",         "/Users/Shared",
    "/run/user",    "/Users/*/Downloads",   "/home/*/Downloads"};

// Names that no rule has in mind.
constexpr const char* kOddFile = "/q7x";
constexpr const char* kOddFileBelow = "/q7x/k3v/w9z.j5";

class Probe {
 public:
  Probe(const DataSet& dataSet, QVL::IAvoidance& rule)
      : m_isProcess(dataSet.kind == Kind::Process), m_rule(rule) {}

  bool matches(const std::string& text) const {
    QVL::LookupData request;
    (m_isProcess ? request.m_processName : request.m_filePath) = text;
    return m_rule.canAvoid(request);
  }

  // Everything in a folder, whatever it is called?
  bool coversFolder(const std::string& folder) const {
    return matches(folder + kOddFile) && matches(folder + kOddFileBelow);
  }

 private:
  const bool m_isProcess;
  QVL::IAvoidance& m_rule;
};

std::vector<std::string> componentsOf(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t end = std::min(path.find('/'), path.size());
    components.emplace_back(path.substr(0, end));
    path.remove_prefix(end);
  }
  return components;
}

bool isLiteral(const std::string& component) {
  return !component.empty() && component.find_first_of("*?%[(") == std::string::npos;
}

Reach reachAmongFiles(const Probe& probe, const Rule& rule) {
  Reach reach;
  reach.everything = probe.coversFolder("");
  if (reach.everything) return reach;
  for (const char* const tree : kTrees) {
    if (reach.tree.empty() && probe.coversFolder(tree)) reach.tree = tree;
  }
  for (const char* const homes : kHomes) {
    if (!reach.tree.empty()) break;
    if (probe.coversFolder(std::string(homes) + kOddFile)) reach.tree = std::string(homes) + "/*";
    const std::vector<std::string> components = componentsOf(rule.text);
    const bool namesOne = components.size() > 1 && isLiteral(components[1]) &&
                          components[1] != "Shared" && '/' + components[0] == homes;
    if (!namesOne) continue;
    const std::string home = std::string(homes) + '/' + components[1];
    if (probe.coversFolder(home)) reach.home = home;
  }
  return reach;
}

}  // namespace

Reach reachOf(const DataSet& dataSet, const Rule& rule, QVL::IAvoidance& made) {
  if (dataSet.kind == Kind::FileAge) {
    const std::vector<unsigned int> days = ageOf(rule).days;
    Reach reach;
    reach.everything = std::find(days.begin(), days.end(), 0u) != days.end();
    return reach;
  }
  const Probe probe(dataSet, made);
  Reach reach;
  const auto matchesAll = [&](std::initializer_list<const char*> texts) {
    return std::all_of(texts.begin(), texts.end(),
                       [&](const char* text) { return probe.matches(text); });
  };
  switch (dataSet.kind) {
    case Kind::FileType:
      reach.everything = matchesAll({"/f.a", "/f.txt", "/f.q7xk3v", "/f.DOCX"});
      return reach;
    case Kind::Process:
      reach.everything = matchesAll({"/usr/bin/q7x", "/Applications/Q7x.app/Contents/MacOS/q7x"});
      return reach;
    default:
      return reachAmongFiles(probe, rule);
  }
}

std::optional<std::string> writableFolderOf(Kind kind, const Rule& rule) {
  if (kind == Kind::FileType || kind == Kind::FileAge) return std::nullopt;
  std::string text = rule.text;
  if (rule.defaultFolder && text.find_first_of("/%") == std::string::npos) {
    text = *rule.defaultFolder + '/' + text;
  }
  if (text.empty() || text.front() != '/') return std::nullopt;
  const std::vector<std::string> components = componentsOf(text);
  for (const char* const folder : kWritableFolders) {
    const std::vector<std::string> wanted = componentsOf(folder);
    // One more, for what is in the folder.
    if (components.size() <= wanted.size()) continue;
    const bool isInside =
        std::equal(wanted.begin(), wanted.end(), components.begin(),
                   [](const std::string& name, const std::string& found) {
                     return name == found || (name == "*" && !found.empty() && found != "Shared");
                   });
    if (isInside) return folder;
  }
  return std::nullopt;
}

}  // namespace qvlpolicy
