// The five kinds of data set, for tests of what they have in common.

#ifndef QVL_TESTS_DATASET_DATA_SET_KINDS_H
#define QVL_TESTS_DATASET_DATA_SET_KINDS_H

#include <gtest/gtest.h>

#include <string>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"

namespace QVL {
namespace Test {

// Each kind of data set knows its kind of rule and tells where it differs:
//   kCaseSensitive, kWildCards   the settings that it starts with
//   kHasKeywords                 whether it takes keywords
//   kAnswersEmptyInput           whether matching empty input ever decides
//   emptyInput                   a request whose input is empty

struct FilePathSet {
  using DataSet = FilePathDataSet;
  using Kind = FilePathKind;
  static constexpr const char* kClass = "FilePathDataSet";
  static constexpr bool kCaseSensitive = true;
  static constexpr bool kWildCards = true;
  static constexpr bool kHasKeywords = true;
  static constexpr bool kAnswersEmptyInput = true;
  static LookupData emptyInput(AccessTypes access) {
    LookupData request = processRequest("process", access);
    return request;
  }
};

struct FolderSet {
  using DataSet = FolderDataSet;
  using Kind = FolderKind;
  static constexpr const char* kClass = "FolderDataSet";
  static constexpr bool kCaseSensitive = true;
  static constexpr bool kWildCards = true;
  static constexpr bool kHasKeywords = true;
  static constexpr bool kAnswersEmptyInput = true;
  static LookupData emptyInput(AccessTypes access) { return FilePathSet::emptyInput(access); }
};

struct ProcessSet {
  using DataSet = ProcessDataSet;
  using Kind = ProcessKind;
  static constexpr const char* kClass = "ProcessDataSet";
  static constexpr bool kCaseSensitive = true;
  static constexpr bool kWildCards = false;
  static constexpr bool kHasKeywords = true;
  static constexpr bool kAnswersEmptyInput = true;
  static LookupData emptyInput(AccessTypes access) { return fileRequest("/path", access); }
};

struct FileTypeSet {
  using DataSet = FileTypeDataSet;
  using Kind = FileTypeKind;
  static constexpr const char* kClass = "FileTypeDataSet";
  static constexpr bool kCaseSensitive = false;
  static constexpr bool kWildCards = true;
  static constexpr bool kHasKeywords = false;
  static constexpr bool kAnswersEmptyInput = true;  // by what the first rule says
  static LookupData emptyInput(AccessTypes access) { return fileRequest("/Makefile", access); }
};

struct FileAgeSet {
  using DataSet = FileAgeDataSet;
  using Kind = FileAgeKind;
  static constexpr const char* kClass = "FileAgeDataSet";
  static constexpr bool kCaseSensitive = true;
  static constexpr bool kWildCards = true;
  static constexpr bool kHasKeywords = true;
  static constexpr bool kAnswersEmptyInput = false;
  static LookupData emptyInput(AccessTypes access) { return FilePathSet::emptyInput(access); }
};

using AllDataSetKinds =
    ::testing::Types<FilePathSet, FolderSet, ProcessSet, FileTypeSet, FileAgeSet>;

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_DATASET_DATA_SET_KINDS_H
