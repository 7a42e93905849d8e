#include "qvlpolicy/lint/Programs.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace qvlpolicy {
namespace {

constexpr const char* kInterpreters[] = {
    "bash", "sh",   "zsh",    "dash", "ksh",  "csh",       "tcsh", "fish", "busybox",
    "perl", "ruby", "python", "lua",  "node", "osascript", "php",  "pwsh", "tclsh",
    "awk",  "gawk", "mawk",   "java", "deno", "Rscript",   "guile"};

constexpr const char* kFolders[] = {"/usr/bin/", "/bin/", "/usr/local/bin/", "/opt/homebrew/bin/"};

// Native programs and libraries, scripts, packages, and documents with macros.
constexpr const char* kProgramTypes[] = {
    "exe",      "dll",      "sys",  "scr",  "com",  "msi",  "bat",  "cmd",   "ps1",
    "vbs",      "js",       "jse",  "wsf",  "hta",  "lnk",  "jar",  "class", "py",
    "pl",       "rb",       "php",  "sh",   "bash", "zsh",  "so",   "ko",    "elf",
    "AppImage", "deb",      "rpm",  "apk",  "dmg",  "pkg",  "app",  "dylib", "command",
    "scpt",     "workflow", "docm", "dotm", "xlsm", "xltm", "pptm", "potm",  "iso"};

bool matches(const DataSet& dataSet, QVL::IAvoidance& rule, const std::string& text) {
  QVL::LookupData request;
  (dataSet.kind == Kind::Process ? request.m_processName : request.m_filePath) = text;
  return rule.canAvoid(request);
}

// The name without a version behind it: "python" of "python3.11".
std::string_view withoutVersion(std::string_view name) {
  const std::size_t end = name.find_last_not_of("0123456789.-*?");
  return end == std::string_view::npos ? std::string_view() : name.substr(0, end + 1);
}

}  // namespace

std::optional<std::string> interpreterOf(const DataSet& dataSet, const Rule& rule,
                                         QVL::IAvoidance& made) {
  if (dataSet.kind != Kind::Process) return std::nullopt;
  const std::string_view text = rule.text;
  const std::string_view name = withoutVersion(text.substr(text.rfind('/') + 1));
  if (std::find(std::begin(kInterpreters), std::end(kInterpreters), name) !=
      std::end(kInterpreters)) {
    return rule.text;
  }
  for (const char* const folder : kFolders) {
    for (const char* const interpreter : kInterpreters) {
      std::string path = std::string(folder) + interpreter;
      if (matches(dataSet, made, path)) return path;
    }
  }
  return std::nullopt;
}

std::optional<std::string> programTypeOf(const DataSet& dataSet, QVL::IAvoidance& made) {
  if (dataSet.kind != Kind::FileType && dataSet.kind != Kind::FilePath) return std::nullopt;
  for (const char* const type : kProgramTypes) {
    // Names that no rule has in mind.
    const bool isAnywhere = matches(dataSet, made, std::string("/q7x/k3v/w9z.") + type) &&
                            matches(dataSet, made, std::string("/h4s.") + type);
    if (isAnywhere) return type;
  }
  return std::nullopt;
}

}  // namespace qvlpolicy
