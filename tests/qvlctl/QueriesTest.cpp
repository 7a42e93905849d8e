// Which processes and kinds of access make a difference.

#include "queries/Queries.h"

#include <gtest/gtest.h>
#include <qvlpolicy/Writer.h>

#include <optional>
#include <string>
#include <vector>

#include "queries/ProcessNames.h"

namespace qvlctl {
namespace {

using Words = std::vector<std::string>;

Rule ruleOf(const std::string& text, QVL::AccessTypes access = QVL::AnyAccess) {
  Rule rule;
  rule.text = text;
  rule.access = access;
  return rule;
}

DataSet dataSetOf(unsigned int number, Kind kind, const std::vector<Rule>& rules) {
  DataSet dataSet;
  dataSet.number = number;
  dataSet.kind = kind;
  dataSet.rules = rules;
  return dataSet;
}

Policy policyOf(const std::string& logic, const std::vector<DataSet>& dataSets) {
  Policy policy;
  policy.file = "policy.xml";
  policy.files = {policy.file};
  policy.logic = logic;
  policy.dataSets = dataSets;
  return policy;
}

// The queries in words, a star behind those that stand for all other access types.
Words queriesFor(const Policy& policy, const QueryLimits& limits = {}) {
  Engine engine(qvlpolicy::Policy::parse(qvlpolicy::policyText(policy), "policy.xml").policy);
  Words words;
  const Queries queries({{engine.policy().description(), engine}}, limits);
  for (const Query& query : queries.all()) {
    words.push_back(queryInWords(query) + (query.standsForOtherAccess ? " *" : ""));
  }
  return words;
}

TEST(Queries, AreOneWhereNothingMakesADifference) {
  EXPECT_EQ(queriesFor(policyOf("1", {dataSetOf(1, Kind::Folder, {ruleOf("/a/")})})),
            Words{"read, no process *"});
}

TEST(Queries, AreOneForEachAccessTypeThatIsNamedAndOneForTheOthers) {
  const struct {
    std::vector<QVL::AccessTypes> named;
    Words queries;
  } rows[] = {
      {{QVL::ReadAccess}, {"read, no process", "write, no process *"}},
      {{QVL::WriteAccess}, {"read, no process *", "write, no process"}},
      {{QVL::ReadAccess, QVL::WriteAccess},
       {"read, no process", "write, no process", "any, no process *"}},
      {{QVL::AccessTypes(17), QVL::AccessTypes(0)},
       {"read, no process *", "0, no process", "17, no process"}},
  };
  for (const auto& row : rows) {
    std::vector<Rule> rules;
    for (const QVL::AccessTypes access : row.named) {
      rules.push_back(ruleOf("/" + std::to_string(access) + "/", access));
    }
    EXPECT_EQ(queriesFor(policyOf("1", {dataSetOf(1, Kind::Folder, rules)})), row.queries);
    // Of a data set as of a rule.
    DataSet whole = dataSetOf(1, Kind::Folder, {});
    whole.accessCheck = DataSet::AccessCheck::AtDataSet;
    whole.access = row.named.front();
    if (row.named.size() > 1) continue;
    EXPECT_EQ(queriesFor(policyOf("1", {whole})), row.queries);
  }
}

TEST(Queries, AreOneForProcessesThatThePolicyTreatsAlike) {
  EXPECT_EQ(queriesFor(policyOf(
                "(1&3)|2", {dataSetOf(1, Kind::Process,
                                      {ruleOf("/bin/a"), ruleOf("/bin/b"), ruleOf("/opt/*/c")}),
                            dataSetOf(2, Kind::Process, {ruleOf("/bin/b"), ruleOf("/bin/d")}),
                            dataSetOf(3, Kind::Folder, {ruleOf("/x/")})})),
            (Words{"read, no process *", "read, /bin/a (and 1 process alike) *", "read, /bin/b *",
                   "read, /bin/d *"}));
}

TEST(Queries, LeaveOutWhatTheLogicNeverAsks) {
  DataSet off = dataSetOf(2, Kind::Process, {ruleOf("/bin/a")});
  off.enabled = false;
  EXPECT_EQ(
      queriesFor(policyOf("1|2", {dataSetOf(1, Kind::Folder, {ruleOf("/x/")}), off,
                                  dataSetOf(3, Kind::Process, {ruleOf("/bin/b")}),
                                  dataSetOf(4, Kind::Folder, {ruleOf("/y/", QVL::WriteAccess)})})),
      Words{"read, no process *"});
}

TEST(Queries, AreThoseGiven) {
  const Policy policy = policyOf("1", {dataSetOf(1, Kind::Process, {ruleOf("/bin/a")})});
  QueryLimits limits;
  limits.processes = {"/bin/z", "", "/bin/a", "/bin/z"};
  EXPECT_EQ(queriesFor(policy, limits),
            (Words{"read, /bin/z (and 1 process alike) *", "read, /bin/a *"}));
  limits.accesses = {QVL::WriteAccess};
  EXPECT_EQ(queriesFor(policy, limits),
            (Words{"write, /bin/z (and 1 process alike)", "write, /bin/a"}));
}

TEST(ProcessNames, AreWhatTheRuleMatches) {
  const struct {
    const char* text;
    bool wildcards;
    const char* name;  // null: none is found
  } rows[] = {
      {"/usr/bin/rsync", true, "/usr/bin/rsync"},
      {"rsync", true, "rsync"},
      {"/usr/bin/*", true, "/usr/bin/*"},  // a star is a name, too
      {"/opt/**/tool?", true, "/opt/**/tool?"},
      {"/opt/c\\+\\+", true, "/opt/c++"},
      {"/opt/%V%/tool", true, "/opt/two/tool"},
      {"/bin/[^/]*", false, "/bin/any"},
      {"/bin/[a-f]x", false, nullptr},
  };
  for (const auto& row : rows) {
    DataSet dataSet = dataSetOf(1, Kind::Process, {});
    dataSet.wildcards = row.wildcards;
    dataSet.keywords.push_back({"%V%", {"[0-9]{2}", "two"}, {}});
    const std::optional<std::string> name = processNameFor(dataSet, ruleOf(row.text));
    EXPECT_EQ(name, row.name == nullptr ? std::nullopt : std::optional<std::string>(row.name))
        << row.text;
  }
  DataSet dataSet = dataSetOf(1, Kind::Process, {});
  Rule rule = ruleOf("cc");
  rule.defaultFolder = "/usr/bin";
  EXPECT_EQ(processNameFor(dataSet, rule), "/usr/bin/cc");
}

}  // namespace
}  // namespace qvlctl
