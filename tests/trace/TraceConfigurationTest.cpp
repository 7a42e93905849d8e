// The level, as the configuration file gives it.

#include <climits>

#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

class TraceConfiguration : public TraceTest {
 protected:
  // The level after reading the configuration as it stands, with 3 in force before.
  static int levelRead() {
    ScanAvoidanceFlowvalue = 3;
    reloadHandler(1);
    return ScanAvoidanceFlowvalue;
  }
};

TEST_F(TraceConfiguration, LevelIsANumber) {
  const std::pair<const char*, int> rows[] = {
      {"0", 0},
      {"1", 1},
      {"4", 4},
      {"5", 5},
      {"2147483647", INT_MAX},
      {" 5 ", 5},
      {"\n  5\n", 5},
      {"+5", 5},
      {"5 and more", 5},
      {"05", 5},
      {"0x5", 0},
      {"<!--5-->", 5},
      {"<![CDATA[5]]>", 5},
      {"5<b>1</b>", 5},
      // The low 32 bits count, as a signed number.
      {"-1", -1},
      {"4294967295", -1},
      {"18446744073709551615", -1},
      {"4294967301", 5},
      {"2147483648", INT_MIN},
      {"-5", -5},
  };
  for (const auto& [text, level] : rows) {
    configure(text);
    EXPECT_EQ(levelRead(), level) << text;
  }
}

TEST_F(TraceConfiguration, LevelStaysWithoutAUsableNumber) {
  for (const char* text : {"", " ", "five", "-", "18446744073709551616", "99999999999999999999",
                           "<b>5</b>", "\xC2\xA0"}) {
    configure(text);
    EXPECT_EQ(levelRead(), 3) << text;
  }
}

TEST_F(TraceConfiguration, LevelStaysWithoutExactlyOneElement) {
  const char* const element = "<ScanAvoidanceFlow>5</ScanAvoidanceFlow>";
  for (const std::string& text :
       {std::string("<TraceValues/>"), std::string("<TraceValues>5</TraceValues>"),
        std::string("<TraceValues>") + element + element + "</TraceValues>",
        std::string("<TraceValues><scanAvoidanceFlow>5</scanAvoidanceFlow></TraceValues>"),
        std::string("<TraceValues ScanAvoidanceFlow='5'/>"),
        std::string("<TraceValues><a>") + element + "</a></TraceValues>",
        std::string("<Other>") + element + "</Other>", std::string(element),
        std::string("<TraceValues xmlns='urn:x'>") + element + "</TraceValues>"}) {
    writeFile(kConfiguration, text);
    EXPECT_EQ(levelRead(), 3) << text;
  }
}

TEST_F(TraceConfiguration, EverythingElseInTheFileIsIgnored) {
  writeFile(kConfiguration,
            "<?xml version='1.0'?><!--c--><TraceValues a='1'><Other>7</Other>\n"
            "<ScanAvoidanceFlow unit='x'>5</ScanAvoidanceFlow>"
            "<Deeper><ScanAvoidanceFlow>1</ScanAvoidanceFlow></Deeper></TraceValues>");
  EXPECT_EQ(levelRead(), 5);
}

TEST_F(TraceConfiguration, MissingFileIsToldByTheXmlLayerAndLeavesTheLevel) {
  fs::remove(kConfiguration);
  EXPECT_EQ(levelRead(), 3);
  EXPECT_EQ(standardError(), kConfigurationUnparsable);
}

TEST_F(TraceConfiguration, FolderInPlaceOfTheFileIsToldAndLeavesTheLevel) {
  fs::remove(kConfiguration);
  fs::create_directory(kConfiguration);
  EXPECT_EQ(levelRead(), 3);
  EXPECT_EQ(standardError(), kConfigurationUnparsable);
}

TEST_F(TraceConfiguration, FileThatIsNotXmlIsToldAndLeavesTheLevel) {
  for (const char* text : {"", "5", "<TraceValues><ScanAvoidanceFlow>5", "<a/><b/>"}) {
    writeFile(kConfiguration, text);
    EXPECT_EQ(levelRead(), 3) << text;
    EXPECT_EQ(standardError(), kConfigurationUnparsable) << text;
  }
}

TEST_F(TraceConfiguration, LevelIsZeroAtFirst) {
  fs::remove(kConfiguration);
  log(5, "not written");
  log(0, "written");
  EXPECT_EQ(ScanAvoidanceFlowvalue, 0);
  EXPECT_EQ(traceFile(), "written\n");
  EXPECT_EQ(standardError(), kConfigurationUnparsable);  // once: the start is not repeated
}

TEST_F(TraceConfiguration, LevelStaysAtTheFirstMessageToo) {
  configure("5");
  InitTraceLogger();
  configure("none");
  log(5, "written");
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(traceFile(), "written\n");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
