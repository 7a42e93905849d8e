// The truth tables of docs/writing-exclusions.md: each of their rows is asked.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

struct Row {
  std::string kind;
  std::string pattern;
  std::string path;
  bool matches;
};

// The cells of "| a | `b` | c |", without their backticks.
std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  for (std::size_t start = 2; start < line.size();) {
    const std::size_t end = line.find(" |", start);
    if (end == std::string::npos) break;
    std::string cell = line.substr(start, end - start);
    if (cell.size() > 1 && cell.front() == '`') cell = cell.substr(1, cell.size() - 2);
    cells.push_back(cell);
    start = end + 3;
  }
  return cells;
}

std::vector<Row> rowsOfThePage() {
  std::ifstream page(QVL_SOURCE_DIR "/docs/writing-exclusions.md");
  std::vector<Row> rows;
  for (std::string line; std::getline(page, line);) {
    if (line.compare(0, 2, "| ") != 0) continue;
    const std::vector<std::string> cells = cellsOf(line);
    if (cells.size() != 4) {
      ADD_FAILURE() << "expected four cells: " << line;
    } else if (cells[3] == "yes" || cells[3] == "no") {
      rows.push_back({cells[0], cells[1], cells[2], cells[3] == "yes"});
    } else {
      EXPECT_TRUE(cells[3] == "matches" || cells[3] == "---") << line;
    }
  }
  return rows;
}

std::string inXml(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
  }
  return result;
}

class WritingExclusions : public ProgramTest {};

TEST_F(WritingExclusions, EveryRowOfTheTablesIsTrue) {
  std::map<std::string, int> rowsOfKind;
  for (const Row& row : rowsOfThePage()) {
    SCOPED_TRACE(row.kind + ' ' + row.pattern + ' ' + row.path);
    ++rowsOfKind[row.kind];
    write("policy.xml",
          "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='" + row.kind +
              "'><rule>" + inXml(row.pattern) + "</rule></data-set></exclusion-policy>");
    const bool isProcess = row.kind == "process";
    const Result result = run({"lookup", "--policy", "policy.xml", "--process",
                               isProcess ? row.path : "/bin/any", isProcess ? "/any" : row.path});
    EXPECT_EQ(result.status, row.matches ? 0 : 1) << result.out << result.err;
    EXPECT_EQ(result.out.compare(0, 8, row.matches ? "excluded" : "scan    "), 0) << result.out;
  }
  for (const char* const kind : {"file-path", "folder", "file-type", "process"}) {
    EXPECT_GE(rowsOfKind[kind], 6) << kind;
  }
}

TEST_F(WritingExclusions, AFileIsMadeOldByTouch) {
  const auto policy = [&](const std::string& time) {
    write("policy.xml",
          "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='file-age'>"
          "<rule of='" +
              time + "' days='30'/></data-set></exclusion-policy>");
  };
  write("x", "");
  Circumstances circumstances;
  circumstances.program = "/usr/bin/env";
  policy("modification");
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", path("x")}).status, 1);
  ASSERT_EQ(run({"touch", "-t", "200001010000", "x"}, circumstances).status, 0);
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", path("x")}).status, 0);
#ifndef __APPLE__  // which moves the time of creation back with the other one
  policy("creation");
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", path("x")}).status, 1);
#endif
}

}  // namespace
}  // namespace Test
}  // namespace QVL
