// Questions about files of other machines: times that come with the question, and rules that hit.

#include <qvlpolicy/qvlpolicy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kNow = 20000 * kDay;

struct Free {
  void operator()(qvlpolicy_policy* policy) const { qvlpolicy_free(policy); }
};
using PolicyHandle = std::unique_ptr<qvlpolicy_policy, Free>;

PolicyHandle parse(const std::string& inside, const std::string& today = {}) {
  const std::string text =
      "<exclusion-policy version=\"1\">\n" + inside + "\n</exclusion-policy>\n";
  const qvlpolicy_load_options options = {{today.data(), today.size()}, 1};
  return PolicyHandle(
      qvlpolicy_parse_with(text.data(), text.size(), "p.xml", 5, &options, nullptr));
}

// A batch with all that it points to.
struct Batch {
  explicit Batch(const std::vector<std::string>& paths, std::size_t room = 100)
      : offsets(1, 0), excluded(paths.size(), 9), hits(room), hitOffsets(paths.size() + 1, -1) {
    for (const std::string& path : paths) {
      bytes += path;
      offsets.push_back(static_cast<std::int64_t>(bytes.size()));
    }
    batch.bytes = bytes.data();
    batch.offsets = offsets.data();
    batch.count = paths.size();
    batch.access = QVLPOLICY_READ;
    batch.excluded = excluded.data();
    batch.hits = hits.data();
    batch.hits_capacity = room;
    batch.hit_offsets = hitOffsets.data();
    batch.now = kNow;
  }

  // "data set.rule" of the rules that hit path i, by their indices.
  std::string hitsOf(std::size_t i) const {
    std::string text;
    for (std::int64_t j = hitOffsets[i]; j < hitOffsets[i + 1]; ++j) {
      const qvlpolicy_hit& hit = hits[static_cast<std::size_t>(j)];
      text += std::to_string(hit.data_set) + '.' + std::to_string(hit.rule) + ' ';
    }
    return text;
  }

  std::string bytes;
  std::vector<std::int64_t> offsets;
  std::vector<std::uint8_t> excluded;
  std::vector<qvlpolicy_hit> hits;
  std::vector<std::int64_t> hitOffsets;
  qvlpolicy_batch batch = {};
};

TEST(Inventory, JudgesAgesByTheTimesOfTheQuestion) {
  const PolicyHandle policy = parse(
      "<logic>1|2</logic>\n"
      "<data-set number=\"1\" kind=\"file-age\"><rule of=\"modification\" "
      "days=\"30,7\"/></data-set>\n"
      "<data-set number=\"2\" kind=\"file-age\"><rule of=\"creation\" days=\"90\"/></data-set>");
  ASSERT_TRUE(policy);
  // None of these files is there.
  Batch asked(std::vector<std::string>(6, "/no/such/file"));
  const std::vector<std::int64_t> modified = {kNow - 7 * kDay,   kNow - 7 * kDay - 1,
                                              QVLPOLICY_NO_TIME, QVLPOLICY_NO_TIME,
                                              QVLPOLICY_NO_TIME, kNow + kDay};
  const std::vector<std::int64_t> created = {QVLPOLICY_NO_TIME, QVLPOLICY_NO_TIME,
                                             kNow - 90 * kDay,  kNow - 90 * kDay - 1,
                                             QVLPOLICY_NO_TIME, kNow};
  asked.batch.modified = modified.data();
  asked.batch.created = created.data();
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 6);
  EXPECT_THAT(asked.excluded, ElementsAre(0, 1, 0, 1, 0, 0));
  EXPECT_EQ(asked.hitsOf(1), "0.0 ");
  EXPECT_EQ(asked.hitsOf(3), "1.0 ");
}

TEST(Inventory, LooksAtNoFileWhenTimesAreGiven) {
  const PolicyHandle policy = parse(
      "<logic>1</logic>\n"
      "<data-set number=\"1\" kind=\"file-age\"><rule of=\"modification\" days=\"0\"/></data-set>");
  ASSERT_TRUE(policy);
  // The program that runs is older than this moment.
  Batch asked({"/proc/self/exe"});
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 1);
  EXPECT_THAT(asked.excluded, ElementsAre(0));
}

TEST(Inventory, TellsRulesThatHitInDataSetsThatWereAsked) {
  const PolicyHandle policy = parse(
      "<logic>(7|2|4)&amp;!3</logic>\n"
      "<data-set number=\"7\" kind=\"folder\"><rule>/a/</rule><rule access=\"write\">/a/b/</rule>\n"
      "<rule>/a/b/c/</rule></data-set>\n"
      "<data-set number=\"2\" kind=\"file-path\"><rule>/a/**</rule></data-set>\n"
      "<data-set number=\"3\" kind=\"file-type\"><rule>exe</rule></data-set>\n"
      "<data-set number=\"4\" kind=\"folder\" match-anything=\"yes\"><rule>/x/</rule></data-set>");
  ASSERT_TRUE(policy);
  Batch asked({"/a/x", "/a/b/x", "/a/b/c/x", "/a/x.exe", "/x/y", ""});
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 6);
  EXPECT_THAT(asked.excluded, ElementsAre(1, 1, 1, 0, 1, 1));
  EXPECT_EQ(asked.hitsOf(0), "0.0 ");
  EXPECT_EQ(asked.hitsOf(1), "0.0 ");      // the second rule is for another access
  EXPECT_EQ(asked.hitsOf(2), "0.0 0.2 ");  // data set 2 was not asked
  EXPECT_EQ(asked.hitsOf(3), "0.0 2.0 ");
  EXPECT_EQ(asked.hitsOf(4), "");  // data set 4 matches, and none of its rules is asked
  asked.batch.access = QVLPOLICY_WRITE;
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 6);
  EXPECT_EQ(asked.hitsOf(1), "0.0 0.1 ");
}

TEST(Inventory, GoesOnWhereTheRulesHadNoRoom) {
  const PolicyHandle policy = parse(
      "<logic>1</logic>\n"
      "<data-set number=\"1\" kind=\"folder\"><rule>/a/</rule><rule>/a/b/</rule></data-set>");
  ASSERT_TRUE(policy);
  Batch asked({"/a/x", "/z", "/a/b/x", "/a/y"}, 2);
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 2);
  EXPECT_EQ(asked.hitsOf(0), "0.0 ");
  EXPECT_EQ(asked.hitsOf(1), "");
  asked.batch.offsets += 2;
  asked.batch.count = 2;
  ASSERT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), 1);
  EXPECT_EQ(asked.hitsOf(0), "0.0 0.1 ");
}

TEST(Inventory, HoldsExpiryAgainstTheGivenDay) {
  const std::string inside =
      "<logic>1</logic>\n"
      "<data-set number=\"1\" kind=\"folder\"><rule expires=\"2026-01-31\">/a/</rule></data-set>";
  const std::string text =
      "<exclusion-policy version=\"1\" expired=\"drop\">\n" + inside + "\n</exclusion-policy>\n";
  for (const auto& [today, excluded] :
       std::vector<std::pair<std::string, int>>{{"2026-01-31", 1}, {"2026-02-01", 0}}) {
    const qvlpolicy_load_options options = {{today.data(), today.size()}, 0};
    const PolicyHandle policy(
        qvlpolicy_parse_with(text.data(), text.size(), "p.xml", 5, &options, nullptr));
    ASSERT_TRUE(policy);
    const qvlpolicy_question question = {{"/a/x", 4}, {nullptr, 0}, QVLPOLICY_READ};
    EXPECT_EQ(qvlpolicy_is_excluded(policy.get(), &question), excluded) << today;
  }
}

TEST(Inventory, RefusesHalfOfAList) {
  const PolicyHandle policy =
      parse("<logic>1</logic><data-set number=\"1\" kind=\"folder\"><rule>/a/</rule></data-set>");
  ASSERT_TRUE(policy);
  Batch asked({"/a/x"});
  asked.batch.hit_offsets = nullptr;
  EXPECT_EQ(qvlpolicy_ask_many(policy.get(), &asked.batch), QVLPOLICY_BAD_ARGUMENT);
  EXPECT_EQ(qvlpolicy_parse_with("", 0, "p.xml", 5, nullptr, nullptr), nullptr);
}

}  // namespace
