// Every message that the library throws, to the letter.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "qvl/qvl.h"

namespace QVL {
namespace {

using std::string;
using std::wstring;

struct Throw {
  const char* message;
  std::function<void()> provoke;
};

template <class Rule, class Text, class... Rest>
std::function<void()> creating(Text text, Rest... rest) {
  return [=] { Rule(text, AnyAccess, rest...); };
}

std::function<void()> defining(string infix) {
  return [=] { LookupManager().defineBusinessLogic(infix); };
}

void expectThrown(const Throw& row) {
  SCOPED_TRACE(row.message);
  try {
    row.provoke();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const QVLException& exception) {
    EXPECT_EQ(exception.m_code, 3);
    EXPECT_EQ(exception.m_message, row.message);
  }
}

TEST(ExceptionMessages, OfTheLookupManager) {
  const Throw rows[] = {
      {"Business logic can't be empty.",
       [] {
         LookupData request;
         LookupManager().isPresent(request);
       }},
      {"Business logic length is wrong or more than max length.", defining("")},
      {"Business logic length is wrong or more than max length.", defining(string(2049, '1'))},
      {"Business logic should not have alphabetic character.", defining("1&a")},
      {"Business logic should not have alphabetic character.", defining("Z")},
      {"Business logic has an invalid character.", defining("1+2")},
      {"Business logic has unbalanced parentheses.", defining("1)")},
      {"Business logic has a data set number that is too large.", defining("4294967296")},
      {"Business logic length is wrong.",
       [] {
         LookupData request;
         LookupManager().executeLogic("", request);
       }},
      {"Business logic length is wrong.",
       [] {
         LookupData request;
         LookupManager().executeLogic(string(2049, ' '), request);
       }},
      {"Business logic length is wrong.",
       [] {
         LookupData request;
         LookupManager().executeLogic("& ", request);
       }},
  };
  for (const Throw& row : rows) expectThrown(row);
}

TEST(ExceptionMessages, OfTheFilePathRule) {
  const Throw rows[] = {
      {"Failed to create path avoidance as validation of path failed.",
       creating<FilePathAvoidance>(string())},
      {"Failed to create path avoidance as validation of path failed.",
       creating<FilePathAvoidance>(string("/a/"))},
      {"Failed to create path avoidance as validation of path failed.",
       creating<FilePathAvoidance>(string(4097, 'a'))},
      {"Failed to create path avoidance as regex could not be build.",
       creating<FilePathAvoidance>(string("/a("))},
      {"Failed to create path avoidance as validation of path containing wide string failed.",
       creating<FilePathAvoidance>(wstring())},
      {"Failed to create path avoidance as validation of path containing wide string failed.",
       creating<FilePathAvoidance>(wstring(L"/a/"))},
      {"Failed to create path avoidance as regex could not be build for wide string.",
       creating<FilePathAvoidance>(wstring(L"/a("))},
  };
  for (const Throw& row : rows) expectThrown(row);
}

// The folder and process rules have no texts of their own for wide strings.
TEST(ExceptionMessages, OfTheFolderRule) {
  const unsigned char withSubFolders = 1;
  const Throw rows[] = {
      {"Failed to create folder avoidance as validation of folder failed.",
       creating<FolderAvoidance>(string(), withSubFolders)},
      {"Failed to create folder avoidance as validation of folder failed.",
       creating<FolderAvoidance>(string("/a"), withSubFolders)},
      {"Failed to create folder avoidance as validation of folder failed.",
       creating<FolderAvoidance>(string(4096, 'a') + "/", withSubFolders)},
      {"Failed to create folder avoidance as validation of folder failed.",
       creating<FolderAvoidance>(wstring(L"/a"), withSubFolders)},
      {"Failed to create folder avoidance as regex could not be build.",
       creating<FolderAvoidance>(string("/a(/"), withSubFolders)},
      {"Failed to create folder avoidance as regex could not be build.",
       creating<FolderAvoidance>(wstring(L"/a(/"), withSubFolders)},
  };
  for (const Throw& row : rows) expectThrown(row);
}

TEST(ExceptionMessages, OfTheProcessRule) {
  const unsigned char ownFolder = 0;
  const string noFolder;
  const Throw rows[] = {
      {"Failed to create process avoidance as validation of process failed.",
       creating<ProcessAvoidance>(string(), ownFolder, noFolder)},
      {"Failed to create process avoidance as validation of process failed.",
       creating<ProcessAvoidance>(string("/bin/"), ownFolder, noFolder)},
      {"Failed to create process avoidance as validation of process failed.",
       creating<ProcessAvoidance>(wstring(L"/bin/"), ownFolder, noFolder)},
      {"Failed to create process avoidance as regex could not be build.",
       creating<ProcessAvoidance>(string("cp("), ownFolder, noFolder)},
      {"Failed to create process avoidance as regex could not be build.",
       creating<ProcessAvoidance>(wstring(L"cp("), ownFolder, noFolder)},
  };
  for (const Throw& row : rows) expectThrown(row);
}

TEST(ExceptionMessages, OfTheFileAgeRule) {
  const Throw rows[] = {
      {"Failed to create Age avoidance as validation of Age failed.",
       creating<FileAgeAvoidance>(string())},
      {"Failed to create Age avoidance as regex could not be build.",
       creating<FileAgeAvoidance>(string("1   30("))},
      {"Failed to create Age avoidance as validation of Age containing wide string failed.",
       creating<FileAgeAvoidance>(wstring())},
      {"Failed to create Age avoidance as regex could not be build for wide string.",
       creating<FileAgeAvoidance>(wstring(L"1   30("))},
  };
  for (const Throw& row : rows) expectThrown(row);
}

TEST(ExceptionMessages, OfTheFileTypeRule) {
  const Throw rows[] = {
      {"Failed to create file type avoidance as validation of file type failed.",
       creating<FileTypeAvoidance>(string())},
      {"Failed to create file type avoidance as validation of file type failed.",
       creating<FileTypeAvoidance>(string(13, 'a'))},
      {"Failed to create file type avoidance as regex could not be build.",
       creating<FileTypeAvoidance>(string("a("))},
      {"Failed to create file type avoidance as validation of file type containing wide string "
       "failed.",
       creating<FileTypeAvoidance>(wstring())},
      {"Failed to create file type avoidance as regex could not be build for wide string.",
       creating<FileTypeAvoidance>(wstring(L"a("))},
  };
  for (const Throw& row : rows) expectThrown(row);
}

}  // namespace
}  // namespace QVL
