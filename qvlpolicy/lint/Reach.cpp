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

// Takes the first component off a path, with the slash before it.
std::string_view takeComponent(std::string_view& path) {
  if (!path.empty()) path.remove_prefix(1);
  const std::string_view component = path.substr(0, path.find('/'));
  path.remove_prefix(component.size());
  return component;
}

// Is the path that of something in the folder?
bool isInside(std::string_view path, std::string_view folder) {
  while (!folder.empty()) {
    const std::string_view wanted = takeComponent(folder);
    const std::string_view found = takeComponent(path);
    const bool isAnybodys = wanted == "*" && !found.empty() && found != "Shared";
    if (found != wanted && !isAnybodys) return false;
  }
  return !path.empty();
}

bool isLiteral(std::string_view component) {
  return !component.empty() && component.find_first_of("*?%[(") == std::string_view::npos;
}

Reach reachAmongFiles(const Probe& probe, const Rule& rule) {
  Reach reach;
  reach.everything = probe.coversFolder("");
  if (reach.everything) return reach;
  for (const char* const tree : kTrees) {
    if (reach.tree.empty() && probe.coversFolder(tree)) reach.tree = tree;
  }
  std::string_view rest = rule.text;
  const std::string_view first = takeComponent(rest);
  const std::string_view second = takeComponent(rest);
  for (const std::string_view homes : kHomes) {
    if (!reach.tree.empty()) break;
    if (probe.coversFolder(std::string(homes) + kOddFile)) reach.tree = std::string(homes) + "/*";
    const bool namesOne = isLiteral(second) && second != "Shared" && first == homes.substr(1);
    if (!namesOne) continue;
    const std::string home = std::string(homes) + '/' + std::string(second);
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
  std::string withFolder;
  std::string_view text = rule.text;
  if (rule.defaultFolder && text.find_first_of("/%") == std::string_view::npos) {
    text = withFolder = *rule.defaultFolder + '/' + rule.text;
  }
  if (text.empty() || text.front() != '/') return std::nullopt;
  for (const char* const folder : kWritableFolders) {
    if (isInside(text, folder)) return folder;
  }
  return std::nullopt;
}

}  // namespace qvlpolicy
