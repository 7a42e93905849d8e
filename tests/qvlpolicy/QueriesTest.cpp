// Which processes and kinds of access make a difference.

#include <gtest/gtest.h>
#include <qvlpolicy/Patterns.h>
#include <qvlpolicy/Queries.h>

#include <optional>
#include <string>
#include <vector>

#include "Policies.h"

namespace qvlpolicy {
namespace {

using Words = std::vector<std::string>;

// "read, /bin/a (and /bin/b) *": the star stands behind those for all other access types.
std::string inWords(const Query& query) {
  std::string text = accessName(query.access) + ", ";
  text += query.process.empty() ? "none" : query.process;
  for (const std::string& alike : query.alikeProcesses) text += " (and " + alike + ")";
  return text + (query.standsForOtherAccess ? " *" : "");
}

Words queriesFor(const std::vector<std::string>& texts, const QueryLimits& limits = {}) {
  std::vector<Loaded> loaded;
  std::vector<const Policy*> policies;
  for (const std::string& text : texts) {
    loaded.push_back(Policy::parse(policy(text), "p.xml"));
    EXPECT_EQ(errorsOf(loaded.back()), "");
    if (!loaded.back().policy) return {};
    policies.push_back(loaded.back().policy.get());
  }
  Words words;
  const Queries queries(policies, limits);
  for (const Query& query : queries.all()) words.push_back(inWords(query));
  for (const NamelessRule& rule : queries.nameless()) {
    const DataSet& dataSet = policies[rule.policy]->description().dataSets[rule.dataSet];
    words.push_back("nameless: " + dataSet.rules[rule.rule].text);
  }
  return words;
}

std::string set(unsigned int number, const std::string& kind, const std::string& inside,
                const std::string& attributes = "") {
  return "<data-set number=\"" + std::to_string(number) + "\" kind=\"" + kind + "\" " + attributes +
         ">" + inside + "</data-set>\n";
}

TEST(Queries, AreOneWhereNothingMakesADifference) {
  EXPECT_EQ(queriesFor({"<logic>1</logic>" + folderSet(1, "/a/")}), Words{"read, none *"});
}

TEST(Queries, AreOneForEachAccessTypeThatIsNamedAndOneForTheOthers) {
  const struct {
    const char* rules;
    Words queries;
  } rows[] = {
      {"<rule access='read'>/a/</rule>", {"read, none", "write, none *"}},
      {"<rule access='write'>/a/</rule>", {"read, none *", "write, none"}},
      {"<rule access='read'>/a/</rule><rule access='write'>/b/</rule>",
       {"read, none", "write, none", "any, none *"}},
      {"<rule access='17'>/a/</rule><rule access='0'>/b/</rule>",
       {"read, none *", "0, none", "17, none"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(queriesFor({"<logic>1</logic>" + set(1, "folder", row.rules)}), row.queries);
  }
  // Of a data set as of a rule.
  EXPECT_EQ(queriesFor({"<logic>1</logic>" +
                        set(1, "folder", "<rule>/a/</rule>", "check-access='write'")}),
            (Words{"read, none *", "write, none"}));
}

TEST(Queries, AreOneForProcessesThatThePoliciesTreatAlike) {
  const std::string first =
      "<logic>(1&amp;3)|2</logic>" +
      set(1, "process", "<rule>/bin/a</rule><rule>/bin/b</rule><rule>/opt/*/c</rule>") +
      set(2, "process", "<rule>/bin/b</rule><rule>/bin/d</rule>") + folderSet(3, "/x/");
  EXPECT_EQ(queriesFor({first}), (Words{"read, none *", "read, /bin/a (and /opt/*/c) *",
                                        "read, /bin/b *", "read, /bin/d *"}));
  // Of two policies: what either of them tells apart.
  const std::string second = "<logic>9</logic>" + set(9, "process", "<rule>/bin/a</rule>");
  EXPECT_EQ(queriesFor({first, second}), (Words{"read, none *", "read, /bin/a *", "read, /bin/b *",
                                                "read, /opt/*/c *", "read, /bin/d *"}));
}

TEST(Queries, LeaveOutWhatIsNeverAsked) {
  EXPECT_EQ(queriesFor({"<logic>1|2</logic>" + folderSet(1, "/x/") +
                        set(2, "process", "<rule>/bin/a</rule>", "enabled='no'") +
                        set(3, "process", "<rule>/bin/b</rule>") +
                        set(4, "folder", "<rule access='write'>/y/</rule>")}),
            Words{"read, none *"});
}

TEST(Queries, LeaveOutWhatHasExpired) {
  const Loaded loaded = Policy::parse(
      "<exclusion-policy version='1' expired='drop'><logic>1|2</logic>" +
          set(1, "process", "<rule expires='2020-01-01' access='write'>/bin/a</rule>") +
          set(2, "process", "<rule>/bin/b</rule>", "expires='2020-01-01'") + "</exclusion-policy>",
      "p.xml");
  ASSERT_EQ(errorsOf(loaded), "");
  const Queries queries({loaded.policy.get()});
  ASSERT_EQ(queries.all().size(), 1u);
  EXPECT_EQ(inWords(queries.all().front()), "read, none *");
}

TEST(Queries, AreThoseGiven) {
  const std::string text = "<logic>1</logic>" + set(1, "process", "<rule>/bin/a</rule>");
  QueryLimits limits;
  limits.processes = {"/bin/z", "", "/bin/a", "/bin/z"};
  EXPECT_EQ(queriesFor({text}, limits), (Words{"read, /bin/z (and ) *", "read, /bin/a *"}));
  limits.accesses = {QVL::WriteAccess};
  EXPECT_EQ(queriesFor({text}, limits), (Words{"write, /bin/z (and )", "write, /bin/a"}));
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
  DataSet dataSet;
  dataSet.kind = Kind::Process;
  Rule rule;
  for (const auto& row : rows) {
    dataSet.wildcards = row.wildcards;
    dataSet.keywords = {{"%V%", {"[0-9]{2}", "two"}, {}}};
    rule.text = row.text;
    const std::optional<std::string> name = processNameFor(dataSet, rule);
    EXPECT_EQ(name, row.name == nullptr ? std::nullopt : std::optional<std::string>(row.name))
        << row.text;
  }
  rule.text = "cc";
  rule.defaultFolder = "/usr/bin";
  EXPECT_EQ(processNameFor(dataSet, rule), "/usr/bin/cc");
}

TEST(Queries, NameTheRulesThatTheyCannotHit) {
  EXPECT_EQ(queriesFor({"<logic>1</logic>" +
                        set(1, "process", "<rule>/bin/[a-f]x</rule>", "wildcards='no'")}),
            (Words{"read, none *", "nameless: /bin/[a-f]x"}));
}

}  // namespace
}  // namespace qvlpolicy
