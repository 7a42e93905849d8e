// The five kinds of rule, for tests of what they have in common.

#ifndef QVL_TESTS_SUPPORT_RULE_KINDS_H
#define QVL_TESTS_SUPPORT_RULE_KINDS_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {

// Each kind tells its class, its trace lines and messages, how to make a rule and a request, and
// some texts:
//   kText            a rule text
//   kInput           an input (path, process name, extension) that it matches
//   kOtherInput      an input that it does not match; for the file age rule, a file not there
//   kRefused         texts that validation refuses
//   kUnbuildable     a text that passes validation and cannot be compiled
//   kGlobOnly        a text that compiles with wildcards on and not with wildcards off
//   kGlobOnlyInput   an input that it matches with wildcards on

struct FilePathKind {
  using Rule = FilePathAvoidance;
  static constexpr const char* kClass = "FilePathAvoidance";
  static constexpr const char* kNarrowLine = " for string file path\n";
  static constexpr const char* kWideLine = " for wstring file path\n";
  static constexpr const char* kRefusedMessage =
      "3: Failed to create path avoidance as validation of path failed.";
  static constexpr const char* kNotBuiltMessage =
      "3: Failed to create path avoidance as regex could not be build.";
  static constexpr const char* kWideRefusedMessage =
      "3: Failed to create path avoidance as validation of path containing wide string failed.";
  static constexpr const char* kWideNotBuiltMessage =
      "3: Failed to create path avoidance as regex could not be build for wide string.";
  static constexpr bool kTracesGetKey = true;

  static constexpr const char* kText = "/tmp/a*";
  static constexpr const char* kInput = "/tmp/ab";
  static constexpr const char* kOtherInput = "/tmp/b";
  static constexpr const char* kRefused[] = {"", "/", "/tmp/"};
  static constexpr const char* kUnbuildable = "/tmp/(";
  static constexpr const char* kGlobOnly = "*x";
  static constexpr const char* kGlobOnlyInput = "ax";

  template <typename Text>
  static std::unique_ptr<Rule> make(const Text& text, AccessTypes access = AnyAccess) {
    return std::make_unique<Rule>(text, access);
  }
  static LookupData request(const std::string& input, AccessTypes access = AccessTypes()) {
    return fileRequest(input, access);
  }
};

struct FolderKind {
  using Rule = FolderAvoidance;
  static constexpr const char* kClass = "FolderAvoidance";
  static constexpr const char* kNarrowLine = " for string type folder path\n";
  static constexpr const char* kWideLine = " for wstring type folder path\n";
  static constexpr const char* kRefusedMessage =
      "3: Failed to create folder avoidance as validation of folder failed.";
  static constexpr const char* kNotBuiltMessage =
      "3: Failed to create folder avoidance as regex could not be build.";
  static constexpr const char* kWideRefusedMessage = kRefusedMessage;
  static constexpr const char* kWideNotBuiltMessage = kNotBuiltMessage;
  static constexpr bool kTracesGetKey = false;

  static constexpr const char* kText = "/tmp/a*/";
  static constexpr const char* kInput = "/tmp/ab/file";
  static constexpr const char* kOtherInput = "/tmp/b/file";
  static constexpr const char* kRefused[] = {"", "a", "/tmp"};
  static constexpr const char* kUnbuildable = "/tmp/(/";
  static constexpr const char* kGlobOnly = "*x/";
  static constexpr const char* kGlobOnlyInput = "ax/file";

  template <typename Text>
  static std::unique_ptr<Rule> make(const Text& text, AccessTypes access = AnyAccess) {
    return std::make_unique<Rule>(text, access, static_cast<unsigned char>(0));
  }
  static LookupData request(const std::string& input, AccessTypes access = AccessTypes()) {
    return fileRequest(input, access);
  }
};

struct ProcessKind {
  using Rule = ProcessAvoidance;
  static constexpr const char* kClass = "ProcessAvoidance";
  static constexpr const char* kNarrowLine = " for string type process name\n";
  static constexpr const char* kWideLine = " for wstring type process name\n";
  static constexpr const char* kRefusedMessage =
      "3: Failed to create process avoidance as validation of process failed.";
  static constexpr const char* kNotBuiltMessage =
      "3: Failed to create process avoidance as regex could not be build.";
  static constexpr const char* kWideRefusedMessage = kRefusedMessage;
  static constexpr const char* kWideNotBuiltMessage = kNotBuiltMessage;
  static constexpr bool kTracesGetKey = true;

  static constexpr const char* kText = "agent*";
  static constexpr const char* kInput = "agent1";
  static constexpr const char* kOtherInput = "other";
  static constexpr const char* kRefused[] = {"", "/", "/usr/bin/"};
  static constexpr const char* kUnbuildable = "agent(";
  static constexpr const char* kGlobOnly = "*x";
  static constexpr const char* kGlobOnlyInput = "ax";

  template <typename Text>
  static std::unique_ptr<Rule> make(const Text& text, AccessTypes access = AnyAccess) {
    return std::make_unique<Rule>(text, access, static_cast<unsigned char>(0), "");
  }
  static LookupData request(const std::string& input, AccessTypes access = AccessTypes()) {
    return processRequest(input, access);
  }
};

struct FileTypeKind {
  using Rule = FileTypeAvoidance;
  static constexpr const char* kClass = "FileTypeAvoidance";
  static constexpr const char* kNarrowLine = " for string file type\n";
  static constexpr const char* kWideLine = " for wstring file type\n";
  static constexpr const char* kRefusedMessage =
      "3: Failed to create file type avoidance as validation of file type failed.";
  static constexpr const char* kNotBuiltMessage =
      "3: Failed to create file type avoidance as regex could not be build.";
  static constexpr const char* kWideRefusedMessage =
      "3: Failed to create file type avoidance as validation of file type containing wide string "
      "failed.";
  static constexpr const char* kWideNotBuiltMessage =
      "3: Failed to create file type avoidance as regex could not be build for wide string.";
  static constexpr bool kTracesGetKey = false;

  static constexpr const char* kText = "d?c";
  static constexpr const char* kInput = "doc";
  static constexpr const char* kOtherInput = "txt";
  static constexpr const char* kRefused[] = {"", "1234567890123"};
  static constexpr const char* kUnbuildable = "d(c";
  static constexpr const char* kGlobOnly = "*x";
  static constexpr const char* kGlobOnlyInput = "*x";

  template <typename Text>
  static std::unique_ptr<Rule> make(const Text& text, AccessTypes access = AnyAccess) {
    return std::make_unique<Rule>(text, access);
  }
  static LookupData request(const std::string& input, AccessTypes access = AccessTypes()) {
    return fileRequest("/folder/file." + input, access);
  }
};

// Whatever the age text's selector, "/" is a file whose age is above that of a negative day count.
struct FileAgeKind {
  using Rule = FileAgeAvoidance;
  static constexpr const char* kClass = "FileAgeAvoidance";
  static constexpr const char* kNarrowLine = " for string file Age\n";
  static constexpr const char* kWideLine = " for wstring file Age\n";
  static constexpr const char* kRefusedMessage =
      "3: Failed to create Age avoidance as validation of Age failed.";
  static constexpr const char* kNotBuiltMessage =
      "3: Failed to create Age avoidance as regex could not be build.";
  static constexpr const char* kWideRefusedMessage =
      "3: Failed to create Age avoidance as validation of Age containing wide string failed.";
  static constexpr const char* kWideNotBuiltMessage =
      "3: Failed to create Age avoidance as regex could not be build for wide string.";
  static constexpr bool kTracesGetKey = true;

  static constexpr const char* kText = "x   -1";
  static constexpr const char* kInput = "/";
  static constexpr const char* kOtherInput = "/no/such/file";
  static constexpr const char* kRefused[] = {""};
  static constexpr const char* kUnbuildable = "1000(";
  static constexpr const char* kGlobOnly = "*000-1";
  static constexpr const char* kGlobOnlyInput = "/";

  template <typename Text>
  static std::unique_ptr<Rule> make(const Text& text, AccessTypes access = AnyAccess) {
    return std::make_unique<Rule>(text, access);
  }
  static LookupData request(const std::string& input, AccessTypes access = AccessTypes()) {
    return fileRequest(input, access);
  }
};

using AllRuleKinds =
    ::testing::Types<FilePathKind, FolderKind, ProcessKind, FileTypeKind, FileAgeKind>;

// Names the instances of a typed test after the class under test.
struct KindName {
  template <typename Kind>
  static std::string GetName(int) {
    return Kind::kClass;
  }
};

// The ASCII text as a wide string.
inline std::wstring widened(const std::string& text) {
  return std::wstring(text.begin(), text.end());
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_RULE_KINDS_H
