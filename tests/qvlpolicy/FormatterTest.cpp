// The canonical form of policy files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Formatter.h>
#include <qvlpolicy/Writer.h>

#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::HasSubstr;

std::string formatted(const std::string& text) {
  const Formatted result = formatPolicy(text, "p.xml");
  for (const Problem& error : result.errors) ADD_FAILURE() << inWords(error) << '\n' << text;
  return result.text;
}

// A canonical policy with `inside` in its root element.
std::string canonical(const std::string& inside) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<exclusion-policy version=\"1\">\n" + inside +
         "</exclusion-policy>\n";
}

// What a policy says, without the places where it says it.
std::string meaningOf(const std::string& text) {
  const Loaded loaded = Policy::parse(text, "p.xml");
  if (!loaded.description) return errorsOf(loaded);
  return std::regex_replace(policyText(*loaded.description), std::regex("<!-- p.xml:\\d+ -->"), "");
}

TEST(Formatted, LaysOutElements) {
  const struct {
    const char* inside;
    const char* expected;
  } kCases[] = {
      {"<logic>1</logic>", "  <logic>1</logic>\n"},
      {"<logic><![CDATA[ (1|2) & !3 ]]></logic>", "  <logic> (1|2) &amp; !3 </logic>\n"},
      {"<logic>1\n  |2</logic>", "  <logic>1\n  |2</logic>\n"},
      {"<logic>1</logic><include  file = 'x.xml'></include>",
       "  <logic>1</logic>\n  <include file=\"x.xml\"/>\n"},
      {"<logic>1</logic><data-set kind='folder' number='1'><rule>/a/</rule><rule>/b/</rule>"
       "</data-set>",
       "  <logic>1</logic>\n\n  <data-set number=\"1\" kind=\"folder\">\n    <rule>/a/</rule>\n"
       "    <rule>/b/</rule>\n  </data-set>\n"},
      {"<data-set number='1' kind='folder'/><logic>1</logic>",
       "  <data-set number=\"1\" kind=\"folder\">\n  </data-set>\n  <logic>1</logic>\n"},
      {"<logic>1</logic><data-set number='1' kind='file-age'>"
       "<rule days=' 30, 07 ' of='creation'> </rule></data-set>",
       "  <logic>1</logic>\n\n  <data-set number=\"1\" kind=\"file-age\">\n"
       "    <rule of=\"creation\" days=\"30,7\"/>\n  </data-set>\n"},
      {"<logic>1</logic><keywords name='t'><keyword name='%T%'>\n <value>a&lt;b</value>\n\n"
       "<value>c</value></keyword></keywords>",
       "  <logic>1</logic>\n\n  <keywords name=\"t\">\n    <keyword name=\"%T%\">"
       "<value>a&lt;b</value><value>c</value></keyword>\n  </keywords>\n"},
      {"<logic>1</logic><data-set number='1' kind='folder'><rule> /a&#13;\t/ </rule></data-set>",
       "  <logic>1</logic>\n\n  <data-set number=\"1\" kind=\"folder\">\n"
       "    <rule> /a&#13;\t/ </rule>\n  </data-set>\n"},
  };
  for (const auto& one : kCases) {
    EXPECT_EQ(formatted(policy(one.inside)), canonical(one.expected)) << one.inside;
  }
}

TEST(Formatted, LeavesOutWhatIsTheDefault) {
  const struct {
    const char* kind;
    const char* attributes;
    const char* expected;
  } kCases[] = {
      {"folder", "enabled='yes' match-anything='no' match-empty-input='no'", ""},
      {"folder", "case-sensitive='yes' wildcards='yes' check-access='by-rule'", ""},
      {"folder", "case-sensitive='no'", " case-sensitive=\"no\""},
      {"file-type", "case-sensitive='no'", ""},
      {"file-type", "case-sensitive='yes'", " case-sensitive=\"yes\""},
      {"folder", "wildcards='no' enabled='no'", " enabled=\"no\" wildcards=\"no\""},
      {"folder", "check-access='0001'", " check-access=\"read\""},
      {"folder", "check-access='0017'", " check-access=\"17\""},
      {"folder", "comment='a&#10;b&quot;c'", " comment=\"a&#10;b&#34;c\""},
  };
  for (const auto& one : kCases) {
    const std::string set = std::string(" kind='") + one.kind + "' " + one.attributes;
    EXPECT_EQ(formatted(policy("<logic>1</logic><data-set number='01'" + set + "/>")),
              canonical(std::string("  <logic>1</logic>\n\n  <data-set number=\"1\" kind=\"") +
                        one.kind + "\"" + one.expected + ">\n  </data-set>\n"))
        << set;
  }
  EXPECT_THAT(formatted("<exclusion-policy expired='keep' version='1'><logic>1</logic>"
                        "</exclusion-policy>"),
              HasSubstr("<exclusion-policy version=\"1\">"));
}

TEST(Formatted, KeepsRemarksWhereTheyStand) {
  const std::string kBefore =
      "<?xml version='1.0' encoding='UTF-8'?>\r\n<!-- head -->\n\n<?xml-model href='p.rng'?>"
      "<exclusion-policy version='1'> <!-- root -->\n"
      "\n\n<!-- a --><!-- b --><logic>1 <!-- in logic -->| 2</logic> <!-- behind -->\n"
      "<!-- of the\n     set --><data-set number='1' kind='folder'>\n"
      "\n<!-- first --> <rule>/a/<!-- in rule --></rule><!-- last of a -->\n\n\n"
      "<!-- second -->\n<rule>/b/</rule><rule>/c/</rule><!--end-->\n<?pi?> </data-set>\n"
      "<!-- far -->\n\n"
      "<data-set number='2' kind='folder'><keyword name='k'><!-- v --><value>v</value></keyword>"
      "</data-set></exclusion-policy><!-- tail -->";
  const std::string kAfter =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- head -->\n<?xml-model href='p.rng'?>\n"
      "<exclusion-policy version=\"1\"> <!-- root -->\n"
      "\n  <!-- a -->\n  <!-- b -->\n  <logic>1 <!-- in logic -->| 2</logic> <!-- behind -->\n"
      "\n  <!-- of the\n     set -->\n  <data-set number=\"1\" kind=\"folder\">\n"
      "    <!-- first -->\n    <rule>/a/<!-- in rule --></rule> <!-- last of a -->\n\n"
      "    <!-- second -->\n    <rule>/b/</rule>\n    <rule>/c/</rule> <!--end-->\n    <?pi?>\n"
      "  </data-set>\n  <!-- far -->\n\n"
      "  <data-set number=\"2\" kind=\"folder\">\n    <keyword name=\"k\"><!-- v -->"
      "<value>v</value></keyword>\n  </data-set>\n</exclusion-policy>\n<!-- tail -->\n";
  EXPECT_EQ(formatted(kBefore), kAfter);
  EXPECT_EQ(formatted(kAfter), kAfter);
}

TEST(Formatted, LeavesAloneWhatTheLibraryWrites) {
  for (const char* const name : {"examples/linux-server.xml", "examples/mac-developer.xml"}) {
    const Loaded loaded = Policy::load(std::string(QVL_SOURCE_DIR "/") + name);
    ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
    const std::string text = policyText(*loaded.description);
    EXPECT_EQ(formatted(text), text) << name;
  }
}

// Elements with white space, comments and instructions anywhere between them: the form says the
// same, has every remark once and in order, and its own form is itself.
TEST(Formatted, HoldsForEveryLayout) {
  const std::vector<std::string> kPieces = {
      "<exclusion-policy version='1' expired='drop'>",
      "<logic>(1|2)&amp;!3</logic>",
      "<data-set kind='process' number='1' owner='o' check-access='write'>",
      "<keyword name='%K%'>",
      "<value>a</value>",
      "<value>b</value>",
      "</keyword>",
      "<rule default-folder='/bin' comment='c'>%K%sh</rule>",
      "<rule> /x </rule>",
      "</data-set>",
      "<keywords name='t'>",
      "<keyword name='%T%'>",
      "<value>v</value>",
      "</keyword>",
      "</keywords>",
      "<data-set number='2' kind='file-age' enabled='no'>",
      "<rule of='modification' days='7,30' access='1'/>",
      "</data-set>",
      "<data-set number='3' kind='folder' keywords='t'>",
      "<rule subfolders='no'>/%T%/</rule>",
      "<rule subfolders='yes'>/y/</rule>",
      "</data-set>",
      "</exclusion-policy>"};
  const std::vector<std::string> kBetween = {"",     "",          "",   " ", "\n",  "\n  ",
                                             "\n\n", "\n \n\n",   "#",  "#", "# ",  "\n#",
                                             " #\n", "\n\n#\n\n", "##", "?", "\n? "};
  std::mt19937 random(1);
  std::string plain;
  for (const std::string& piece : kPieces) plain += piece;
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    std::string remarks;
    for (const std::string& piece : kPieces) {
      for (const char c : kBetween[random() % kBetween.size()]) {
        const std::string remark = c == '#'   ? "<!--" + std::to_string(random()) + "-->"
                                   : c == '?' ? "<?pi" + std::to_string(random()) + "?>"
                                              : std::string();
        text += remark.empty() ? std::string(1, c) : remark;
        remarks += remark;
      }
      text += piece;
    }
    // The declaration alone may come before anything else.
    const std::string form = formatted(text);
    ASSERT_EQ(formatted(form), form) << text;
    ASSERT_EQ(meaningOf(form), meaningOf(plain)) << text;
    static const std::regex kRemark("<!--[0-9]*-->|<\\?pi[0-9]*\\?>");
    std::string kept;
    for (std::sregex_iterator one(form.begin(), form.end(), kRemark), end; one != end; ++one) {
      kept += one->str();
    }
    ASSERT_EQ(kept, remarks) << text << form;
  }
}

TEST(Formatted, TakesAFileByItself) {
  EXPECT_EQ(formatted(policy("<include file='not there.xml'/>"
                             "<data-set number='1' kind='folder' keywords='a  b'/>")),
            canonical("  <include file=\"not there.xml\"/>\n\n"
                      "  <data-set number=\"1\" kind=\"folder\" keywords=\"a  b\">\n"
                      "  </data-set>\n"));
}

TEST(Formatted, RefusesWhatIsNoPolicy) {
  const auto errors = [](const std::string& text) {
    const Formatted result = formatPolicy(text, "p.xml");
    EXPECT_EQ(result.text, "");
    std::string words;
    for (const Problem& error : result.errors) words += inWords(error) + '\n';
    return words;
  };
  EXPECT_THAT(errors(""), HasSubstr("p.xml:1:1: it is not well-formed XML"));
  EXPECT_THAT(errors("<exclusion-policy"), HasSubstr("it is not well-formed XML"));
  EXPECT_THAT(errors("<policy/>"), HasSubstr("p.xml:1:1: expected a policy"));
  EXPECT_EQ(errors(policy("<rule>/a/</rule>\n<data-set number='x' kind='folder'/>")),
            "p.xml:2:1: unknown element <rule>; expected in <exclusion-policy>: <include>, "
            "<logic>, <keywords>, <data-set> or <allow>\n"
            "p.xml:3:11: the data set at place 1: number: expected a whole number from 0 to "
            "4294967295; found \"x\"\n");
  EXPECT_THAT(errors("<!DOCTYPE x><exclusion-policy version='1'/>"),
              HasSubstr("a policy has no document type declaration"));
}

TEST(Formatted, WritesUtf8WhateverTheFileIsIn) {
  EXPECT_EQ(formatted("<?xml version='1.0' encoding='ISO-8859-1'?><!--\xe4--><exclusion-policy "
                      "version='1'><logic>1</logic></exclusion-policy>"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!--ä-->\n"
            "<exclusion-policy version=\"1\">\n  <logic>1</logic>\n</exclusion-policy>\n");
}

}  // namespace
}  // namespace qvlpolicy
