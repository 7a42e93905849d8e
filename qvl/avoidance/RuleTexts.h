// What the rule classes say: one row per class. Private to the library.

#ifndef QVL_AVOIDANCE_RULE_TEXTS_H
#define QVL_AVOIDANCE_RULE_TEXTS_H

namespace QVL {

// What one constructor says.
struct ConstructorTexts {
  const char* call;      // completes its trace line after "<class>::"
  const char* refused;   // thrown when the rule text is refused
  const char* notBuilt;  // thrown when it cannot be compiled
};

struct RuleTexts {
  const char* className;
  ConstructorTexts narrow;
  ConstructorTexts wide;
};

constexpr RuleTexts kFilePathTexts = {
    "FilePathAvoidance",
    {"FilePathAvoidance for string file path",
     "Failed to create path avoidance as validation of path failed.",
     "Failed to create path avoidance as regex could not be build."},
    {"FilePathAvoidance for wstring file path",
     "Failed to create path avoidance as validation of path containing wide string failed.",
     "Failed to create path avoidance as regex could not be build for wide string."}};

constexpr RuleTexts kFolderTexts = {
    "FolderAvoidance",
    {"FolderAvoidance for string type folder path",
     "Failed to create folder avoidance as validation of folder failed.",
     "Failed to create folder avoidance as regex could not be build."},
    {"FolderAvoidance for wstring type folder path",
     "Failed to create folder avoidance as validation of folder failed.",
     "Failed to create folder avoidance as regex could not be build."}};

constexpr RuleTexts kProcessTexts = {
    "ProcessAvoidance",
    {"ProcessAvoidance for string type process name",
     "Failed to create process avoidance as validation of process failed.",
     "Failed to create process avoidance as regex could not be build."},
    {"ProcessAvoidance for wstring type process name",
     "Failed to create process avoidance as validation of process failed.",
     "Failed to create process avoidance as regex could not be build."}};

constexpr RuleTexts kFileAgeTexts = {
    "FileAgeAvoidance",
    {"FileAgeAvoidance for string file Age",
     "Failed to create Age avoidance as validation of Age failed.",
     "Failed to create Age avoidance as regex could not be build."},
    {"FileAgeAvoidance for wstring file Age",
     "Failed to create Age avoidance as validation of Age containing wide string failed.",
     "Failed to create Age avoidance as regex could not be build for wide string."}};

constexpr RuleTexts kFileTypeTexts = {
    "FileTypeAvoidance",
    {"FileTypeAvoidance for string file type",
     "Failed to create file type avoidance as validation of file type failed.",
     "Failed to create file type avoidance as regex could not be build."},
    {"FileTypeAvoidance for wstring file type",
     "Failed to create file type avoidance as validation of file type containing wide string "
     "failed.",
     "Failed to create file type avoidance as regex could not be build for wide string."}};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_RULE_TEXTS_H
