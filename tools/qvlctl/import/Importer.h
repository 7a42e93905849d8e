// A policy from a plain list.

#ifndef QVLCTL_IMPORT_IMPORTER_H
#define QVLCTL_IMPORT_IMPORTER_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "import/Glob.h"
#include "qvlpolicy/Description.h"

namespace qvlctl {

enum class ListFormat {
  Paths,     // full paths; one that ends in a slash is a folder with everything in it
  Globs,     // the same with wildcards, and names at any depth
  GitIgnore  // what git ignores
};

// Makes rules of the lines of a list, and data sets of rules that go together.
//
// Nothing is excluded that the list does not name: of what cannot be expressed nothing is, and a
// line of an ignore file that begins with ! keeps everything from being excluded that it names,
// also what git goes on to ignore in a folder that is ignored.
class Importer {
 public:
  // `base` is the folder that an ignore file is about, a full path. `tell` is called for each line
  // that could not be expressed, with its number and the reason, or with what should be known of it
  // although it was.
  Importer(ListFormat format, std::string_view base,
           std::function<void(std::size_t, bool isExpressed, const std::string&)> tell);

  // Lines come in order, without their ends. Throws Trouble for one that may not be left out.
  void add(std::string_view line);

  // Lines that say something, and how many of them are not in the policy.
  std::size_t lineCount() const { return m_lineCount; }
  std::size_t failedCount() const { return m_failedCount; }

  bool isEmpty() const { return m_groups.empty(); }

  // Does a line begin with ! that has something to take out?
  bool hasExceptions() const { return m_hasExceptions; }

  // The policy; `file` is the list's name. Throws Trouble when its logic would be too long.
  qvlpolicy::Description description(const std::string& file) const;

 private:
  // Rules that are for excluding, or take out of what comes before.
  struct Group {
    bool isException;
    std::vector<qvlpolicy::DataSet> dataSets;
  };

  void addPath(std::string_view line);
  void addGlob(std::string_view line);
  void addIgnored(std::string_view line);
  void addRule(qvlpolicy::Kind kind, const std::vector<Glob::Name>& names, bool isException);

  const ListFormat m_format;
  const std::vector<Glob::Name> m_base;
  const std::function<void(std::size_t, bool, const std::string&)> m_tell;
  std::size_t m_line = 0;
  std::size_t m_lineCount = 0;
  std::size_t m_failedCount = 0;
  bool m_hasExceptions = false;
  std::vector<Group> m_groups;
  // The line that a rule of the last group comes from, by kind, wildcards and text.
  std::map<std::tuple<qvlpolicy::Kind, bool, std::string>, std::size_t> m_known;
};

}  // namespace qvlctl

#endif  // QVLCTL_IMPORT_IMPORTER_H
