// A policy from its text to its answers.

#include <qvlpolicy/Policy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using qvlpolicy::Loaded;
using qvlpolicy::Policy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string errorsOf(const Loaded& loaded) {
  std::string text;
  for (const qvlpolicy::Problem& error : loaded.errors) text += inWords(error) + '\n';
  return text;
}

Loaded parse(const std::string& inside) {
  return Policy::parse("<exclusion-policy version=\"1\">\n" + inside + "\n</exclusion-policy>\n",
                       "p.xml");
}

TEST(Policy, AnswersWithTheDataSetsThatMatched) {
  const Loaded loaded = parse(
      "<logic>(1|2) &amp; !3</logic>\n"
      "<data-set number=\"1\" kind=\"folder\"><rule>/srv/build/</rule></data-set>\n"
      "<data-set number=\"2\" kind=\"file-path\"><rule "
      "access=\"read\">/etc/*.conf</rule></data-set>\n"
      "<data-set number=\"3\" kind=\"file-type\"><rule>exe</rule></data-set>");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  EXPECT_THAT(loaded.warnings, IsEmpty());
  const Policy& policy = *loaded.policy;
  EXPECT_TRUE(policy.isExcluded({"/srv/build/a.o", ""}));
  EXPECT_FALSE(policy.isExcluded({"/srv/build/a.exe", ""}));
  EXPECT_FALSE(policy.isExcluded({"/etc/a.conf", "", QVL::WriteAccess}));
  EXPECT_THAT(policy.ask({"/srv/build/a.exe", ""}).dataSets, ElementsAre(1, 3));
  EXPECT_THAT(policy.ask({"/etc/a.conf", ""}).dataSets, ElementsAre(2));
}

// The parser by itself stops at a text of ten megabytes, and at a long one behind so many.
TEST(Policy, MayBeLargerThanTenMegabytes) {
  const std::string megabytes(12'000'000, 'x');
  const std::string rule = "/srv/" + std::string(2000, 'a');
  const Loaded loaded = parse("<logic>1</logic><!--" + megabytes +
                              "-->"
                              "<data-set number=\"1\" kind=\"file-path\" comment=\"" +
                              megabytes + "\"><rule>" + rule + "</rule></data-set>");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded).substr(0, 1000);
  EXPECT_TRUE(loaded.policy->isExcluded({rule, ""}));
  EXPECT_EQ(loaded.policy->description().dataSets[0].metadata->comment, megabytes);
}

TEST(Policy, TellsAllErrorsOfAFileWithLineAndColumn) {
  const Loaded loaded = parse(
      "<logic>1|</logic>\n"
      "<data-set number=\"1\" kind=\"folder\" nmae=\"x\">\n"
      "  <rule acces=\"read\">/srv/</rule>\n"
      "  <rule>/srv</rule>\n"
      "  <rule subfolders=\"maybe\">/a/</rule>\n"
      "</data-set>");
  EXPECT_FALSE(loaded.policy);
  ASSERT_THAT(loaded.errors, SizeIs(5)) << errorsOf(loaded);
  EXPECT_THAT(errorsOf(loaded), testing::StartsWith("p.xml:2:10: logic: "));
  EXPECT_THAT(errorsOf(loaded), testing::HasSubstr("\np.xml:3:36: data set 1: "));
  EXPECT_THAT(errorsOf(loaded), testing::HasSubstr("\np.xml:4:9: data set 1, rule 1: "));
  EXPECT_THAT(errorsOf(loaded), testing::HasSubstr("\np.xml:5:3: data set 1, rule 2: "));
  EXPECT_THAT(errorsOf(loaded), testing::HasSubstr("\np.xml:6:9: data set 1, rule 3: "));
}

}  // namespace
