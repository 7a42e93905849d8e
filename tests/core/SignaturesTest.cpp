// What a host may write: the operations of the engine's classes, checked while compiling, and the
// freedom to derive from them.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "qvl/qvl.h"

namespace {

using namespace QVL;  // NOLINT: the trace functions and LibXmlWrapper stand outside

template <class Class>
constexpr bool neitherCopiesNorMoves =
    !std::is_copy_constructible_v<Class> && !std::is_move_constructible_v<Class> &&
    !std::is_copy_assignable_v<Class> && !std::is_move_assignable_v<Class>;

// One line for each class of the engine: may not be copied or moved, may be derived from, is
// destroyed through its interface.
template <class Class, class Interface>
constexpr bool isEngineClass =
    neitherCopiesNorMoves<Class> && !std::is_final_v<Class> && !std::is_abstract_v<Class> &&
    std::is_base_of_v<Interface, Class> && std::has_virtual_destructor_v<Class>;

static_assert(isEngineClass<FilePathAvoidance, IAvoidance>);
static_assert(isEngineClass<FolderAvoidance, IAvoidance>);
static_assert(isEngineClass<ProcessAvoidance, IAvoidance>);
static_assert(isEngineClass<FileAgeAvoidance, IAvoidance>);
static_assert(isEngineClass<FileTypeAvoidance, IAvoidance>);
static_assert(isEngineClass<FilePathDataSet, IDataSet>);
static_assert(isEngineClass<FolderDataSet, IDataSet>);
static_assert(isEngineClass<ProcessDataSet, IDataSet>);
static_assert(isEngineClass<FileTypeDataSet, IDataSet>);
static_assert(isEngineClass<FileAgeDataSet, IDataSet>);
static_assert(isEngineClass<LookupManager, ILookupManager>);
static_assert(neitherCopiesNorMoves<LibXmlWrapper> && !std::is_final_v<LibXmlWrapper>);

// --- Construction --------------------------------------------------------------------------------

using Byte = unsigned char;

template <class Rule, class... Rest>
constexpr bool isMadeFromEitherText = std::is_constructible_v<Rule, std::string, Rest...>&&
                                          std::is_constructible_v<Rule, std::wstring, Rest...> &&
                                      !std::is_default_constructible_v<Rule>;

static_assert(isMadeFromEitherText<FilePathAvoidance, AccessTypes>);
static_assert(isMadeFromEitherText<FolderAvoidance, AccessTypes, Byte>);
static_assert(isMadeFromEitherText<ProcessAvoidance, AccessTypes, Byte, std::string>);
static_assert(isMadeFromEitherText<FileAgeAvoidance, AccessTypes>);
static_assert(isMadeFromEitherText<FileTypeAvoidance, AccessTypes>);
static_assert(std::is_default_constructible_v<FilePathDataSet>);
static_assert(std::is_default_constructible_v<FolderDataSet>);
static_assert(std::is_default_constructible_v<ProcessDataSet>);
static_assert(std::is_default_constructible_v<FileTypeDataSet>);
static_assert(std::is_default_constructible_v<FileAgeDataSet>);
static_assert(std::is_default_constructible_v<LookupManager>);
static_assert(std::is_default_constructible_v<LibXmlWrapper>);
static_assert(std::is_constructible_v<LibXmlWrapper, std::string>);
static_assert(std::is_constructible_v<LibXmlWrapper, char*, unsigned long>);

// --- Operations beside the interfaces'
// ------------------------------------------------------------- Calls rather than pointers to
// members: a class may have an operation from its base.

template <class Object>
Object& a();  // never called, only looked at

#define EXPECT_RESULT(type, expression) static_assert(std::is_same_v<decltype(expression), type>)

EXPECT_RESULT(bool, a<LookupManager>().executeLogic(a<std::string>(), a<ILookupData>()));
EXPECT_RESULT(bool, a<LookupManager>().doLookup(1U, a<ILookupData>()));
EXPECT_RESULT(bool, a<LookupManager>().lookupInDataSet(a<unsigned int>(), a<ILookupData>()));
EXPECT_RESULT(bool, a<FilePathAvoidance>().validate(a<std::string>(), AnyAccess));
EXPECT_RESULT(bool, a<FolderAvoidance>().validate(a<std::string>(), AnyAccess));
EXPECT_RESULT(bool, a<ProcessAvoidance>().validate(a<std::string>(), AnyAccess));
EXPECT_RESULT(bool, a<FileAgeAvoidance>().validate(a<std::string>(), AnyAccess));
EXPECT_RESULT(bool, a<FileTypeAvoidance>().validate(a<std::string>(), AnyAccess));
EXPECT_RESULT(std::string, FileTypeAvoidance::findFileExtension(a<std::string>()));
EXPECT_RESULT(bool, a<const FileTypeAvoidanceDuplicateKey>()(a<std::string>(), a<std::string>()));
EXPECT_RESULT(std::string,
              Utility::replaceAll(a<std::string>(), a<std::string>(), a<std::string>()));
EXPECT_RESULT(bool, a<FilePathDataSet>().isEmptyInput(a<LookupData*>()));
EXPECT_RESULT(bool, a<FolderDataSet>().isEmptyInput(a<LookupData*>()));
EXPECT_RESULT(bool, a<ProcessDataSet>().isEmptyInput(a<LookupData*>()));
EXPECT_RESULT(bool, a<FileTypeDataSet>().isEmptyInput(a<LookupData*>()));
EXPECT_RESULT(bool, a<FileAgeDataSet>().isEmptyInput(a<LookupData*>()));

using Text = const char*;
using Rows = std::list<std::vector<std::string>>;
EXPECT_RESULT(std::string, a<LibXmlWrapper>().getXPathElement(Text()));
EXPECT_RESULT(std::string, a<LibXmlWrapper>().getXPathStringValue(Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().getXPathBoolValue(Text()));
EXPECT_RESULT(unsigned long, a<LibXmlWrapper>().getXPathUnsignedLongValue(Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().isXPathElementExists(Text()));
EXPECT_RESULT(std::vector<std::string>, a<LibXmlWrapper>().getXPathAllElement(Text()));
EXPECT_RESULT(std::list<std::string>, a<LibXmlWrapper>().getXPathElementAttribute(Text(), Text()));
EXPECT_RESULT(Rows, a<LibXmlWrapper>().getXPathAllElementAttribute(Text(), Text(), Text()));
EXPECT_RESULT(Rows, a<LibXmlWrapper>().getXPathAllElement(Text(), Text(), Text()));
EXPECT_RESULT(void, a<LibXmlWrapper>().PrintRootElement());
EXPECT_RESULT(void, a<LibXmlWrapper>().PrintChildrenName(a<xmlNode*>()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().setXPathElement(Text(), Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().setXPathElementAttribute(Text(), Text(), Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().setXPathElementAttributeEx(Text(), Text(), Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().AddNewElementNode(Text(), Text(), Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().AddNewElementNodeEx(Text(), Text(), Text()));
EXPECT_RESULT(int, a<LibXmlWrapper>().AddNewNode(a<char*>(), a<char*>()));
EXPECT_RESULT(void, a<LibXmlWrapper>().addXMLHeader(Text(), Text()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().SaveToFile(a<char*>()));
EXPECT_RESULT(bool, a<LibXmlWrapper>().SaveToMemory(a<std::string>()));

EXPECT_RESULT(void, TraceLogMessage(5, "%s", Text()));
EXPECT_RESULT(void, InitTraceLogger());
EXPECT_RESULT(void, InitProdLogger());
EXPECT_RESULT(void, closeTraceLogger());
EXPECT_RESULT(void, reloadHandler(1));
static_assert(std::is_same_v<decltype(traceInited), int>);
static_assert(std::is_same_v<decltype(logFilePtr), FILE*>);
static_assert(std::is_same_v<decltype(ScanAvoidanceFlowvalue), int>);

// --- Exact parameters
// ---------------------------------------------------------------------------------------------------
// By value or by reference, and of which type: an operation may stand in a base of its class.

template <class Result, class... Parameters>
struct Takes {};

template <class Class, class Result, class... Parameters>
Takes<Result, Parameters...> signature(Result (Class::*)(Parameters...));
template <class Class, class Result, class... Parameters>
Takes<Result, Parameters...> signature(Result (Class::*)(Parameters...) const);
template <class Result, class... Parameters>
Takes<Result, Parameters...> signature(Result (*)(Parameters...));

#define EXPECT_SIGNATURE(operation, ...) \
  static_assert(std::is_same_v<decltype(signature(operation)), Takes<__VA_ARGS__>>)

using std::string;
EXPECT_SIGNATURE(&LookupData::setMatchIndentifier, void, unsigned int);
EXPECT_SIGNATURE(&LookupManager::assignDataSet, bool, std::shared_ptr<IDataSet>, unsigned int,
                 Byte);
EXPECT_SIGNATURE(&LookupManager::isPresent, bool, ILookupData&);
EXPECT_SIGNATURE(&LookupManager::defineBusinessLogic, void, string);
EXPECT_SIGNATURE(&LookupManager::parseLogic, string, string);
EXPECT_SIGNATURE(&LookupManager::executeLogic, bool, string, ILookupData&);
EXPECT_SIGNATURE(&LookupManager::doLookup, bool, unsigned int, ILookupData&);
EXPECT_SIGNATURE(&LookupManager::lookupInDataSet, bool, unsigned int&, ILookupData&);

template <class Rule>
constexpr bool hasTheOperationsOfARule() {
  EXPECT_SIGNATURE(&Rule::validate, bool, string, AccessTypes);
  EXPECT_SIGNATURE(&Rule::updateRegex, bool);
  EXPECT_SIGNATURE(&Rule::canAvoid, bool, ILookupData&);
  EXPECT_SIGNATURE(&Rule::canAvoidWithAccessType, bool, ILookupData&, bool);
  EXPECT_SIGNATURE(&Rule::getKey, string);
  EXPECT_SIGNATURE(&Rule::setCaseSensitiveSearch, void, Byte);
  EXPECT_SIGNATURE(&Rule::setWildCardSearch, void, Byte);
  EXPECT_SIGNATURE(&Rule::addOrUpdateKeyword, bool, string, std::set<string>);
  EXPECT_SIGNATURE(&Rule::deleteKeyword, bool, string);
  return true;
}
static_assert(hasTheOperationsOfARule<FilePathAvoidance>());
static_assert(hasTheOperationsOfARule<FolderAvoidance>());
static_assert(hasTheOperationsOfARule<ProcessAvoidance>());
static_assert(hasTheOperationsOfARule<FileAgeAvoidance>());
static_assert(hasTheOperationsOfARule<FileTypeAvoidance>());

template <class Set>
constexpr bool hasTheOperationsOfADataSet() {
  EXPECT_SIGNATURE(&Set::isEmptyInput, bool, LookupData*);
  EXPECT_SIGNATURE(&Set::addToDataSet, bool, std::unique_ptr<IAvoidance>);
  EXPECT_SIGNATURE(&Set::removeFromDataSet, bool, IAvoidance&);
  EXPECT_SIGNATURE(&Set::isPresentInDataSet, bool, ILookupData&);
  EXPECT_SIGNATURE(&Set::checkAccessTypeAtDataSetLevelOnly, void, Byte, AccessTypes);
  EXPECT_SIGNATURE(&Set::addOrUpdateKeyword, bool, string, std::set<string>);
  EXPECT_SIGNATURE(&Set::deleteKeyword, bool, string);
  return true;
}
static_assert(hasTheOperationsOfADataSet<FilePathDataSet>());
static_assert(hasTheOperationsOfADataSet<FolderDataSet>());
static_assert(hasTheOperationsOfADataSet<ProcessDataSet>());
static_assert(hasTheOperationsOfADataSet<FileTypeDataSet>());
static_assert(hasTheOperationsOfADataSet<FileAgeDataSet>());

EXPECT_SIGNATURE(&FileTypeAvoidance::findFileExtension, string, string&);
EXPECT_SIGNATURE(&FileTypeAvoidanceDuplicateKey::operator(), bool, const string&, const string&);
EXPECT_SIGNATURE(&Utility::replaceAll, string, string, const string&, const string&);
static_assert(std::is_same_v<decltype(InitTraceLogger), void()>);
static_assert(std::is_same_v<decltype(InitProdLogger), void()>);
static_assert(std::is_same_v<decltype(closeTraceLogger), void()>);
static_assert(std::is_same_v<decltype(reloadHandler), void(int)>);

EXPECT_SIGNATURE(&LibXmlWrapper::getXPathElement, string, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::getXPathStringValue, string, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::getXPathBoolValue, bool, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::getXPathUnsignedLongValue, unsigned long, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::isXPathElementExists, bool, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::getXPathElementAttribute, std::list<string>, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::getXPathAllElementAttribute, Rows, Text, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::PrintRootElement, void);
EXPECT_SIGNATURE(&LibXmlWrapper::PrintChildrenName, void, xmlNode*);
EXPECT_SIGNATURE(&LibXmlWrapper::setXPathElement, bool, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::setXPathElementAttribute, bool, Text, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::setXPathElementAttributeEx, bool, Text, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::AddNewElementNode, bool, Text, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::AddNewElementNodeEx, bool, Text, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::AddNewNode, int, char*, char*);
EXPECT_SIGNATURE(&LibXmlWrapper::addXMLHeader, void, Text, Text);
EXPECT_SIGNATURE(&LibXmlWrapper::SaveToFile, bool, char*);
EXPECT_SIGNATURE(&LibXmlWrapper::SaveToMemory, bool, string&);

// One name for two.
constexpr std::vector<string> (LibXmlWrapper::*kAllTexts)(Text) =
    &LibXmlWrapper::getXPathAllElement;
constexpr Rows (LibXmlWrapper::*kAllRows)(Text, Text, Text) = &LibXmlWrapper::getXPathAllElement;
EXPECT_SIGNATURE(kAllTexts, std::vector<string>, Text);
EXPECT_SIGNATURE(kAllRows, Rows, Text, Text, Text);

// A request is ILookupData, and that has no operation of its own that a host would have to define.
static_assert(std::is_abstract_v<ILookupData> && std::has_virtual_destructor_v<ILookupData>);
static_assert(std::is_base_of_v<ILookupData, LookupData> && !std::is_abstract_v<LookupData>);

// --- Deriving
// --------------------------------------------------------------------------------------

// Each class is made, derived from, asked and destroyed by a host that sees the shared library
// only.
template <class Rule>
class CountingRule : public Rule {
 public:
  using Rule::Rule;
  bool canAvoid(ILookupData& request) override {
    ++m_asked;
    return Rule::canAvoid(request);
  }
  std::string getKey() const override { return "counted " + Rule::getKey(); }
  int m_asked = 0;
};

template <class Rule, class... Rest>
void expectToBeDerivable(const char* text, Rest... rest) {
  CountingRule<Rule> rule(std::string(text), AnyAccess, rest...);
  IAvoidance& asInterface = rule;
  LookupData request;
  request.m_filePath = "/data/a.log";
  request.m_processName = "/bin/cp";
  EXPECT_TRUE(asInterface.canAvoid(request)) << text;
  EXPECT_EQ(rule.m_asked, 1) << text;
  EXPECT_EQ(asInterface.getKey(), std::string("counted ") + text);
}

// A virtual operation of the host's own, behind all those that it inherits.
template <class Base>
class Extended : public Base {
 public:
  virtual void behindAll() {}
};

// How many places of the table of virtual operations come before it. By the C++ ABI that Linux and
// macOS share, a pointer to a virtual member begins with the offset of its place.
template <class Base>
std::ptrdiff_t inheritedPlaces() {
  void (Extended<Base>::*const operation)() = &Extended<Base>::behindAll;
  std::ptrdiff_t offset = 0;
  std::memcpy(&offset, &operation, sizeof offset);
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// So no member of a host's class overrides anything that is not in an interface.
TEST(Host, InheritsTheVirtualOperationsOfTheInterfacesOnly) {
  EXPECT_GT(inheritedPlaces<IAvoidance>(), 10);
  EXPECT_EQ(inheritedPlaces<FilePathAvoidance>(), inheritedPlaces<IAvoidance>());
  EXPECT_EQ(inheritedPlaces<FolderAvoidance>(), inheritedPlaces<IAvoidance>());
  EXPECT_EQ(inheritedPlaces<ProcessAvoidance>(), inheritedPlaces<IAvoidance>());
  EXPECT_EQ(inheritedPlaces<FileAgeAvoidance>(), inheritedPlaces<IAvoidance>());
  EXPECT_EQ(inheritedPlaces<FileTypeAvoidance>(), inheritedPlaces<IAvoidance>());
  EXPECT_GT(inheritedPlaces<IDataSet>(), 15);
  EXPECT_EQ(inheritedPlaces<FilePathDataSet>(), inheritedPlaces<IDataSet>());
  EXPECT_EQ(inheritedPlaces<FolderDataSet>(), inheritedPlaces<IDataSet>());
  EXPECT_EQ(inheritedPlaces<ProcessDataSet>(), inheritedPlaces<IDataSet>());
  EXPECT_EQ(inheritedPlaces<FileTypeDataSet>(), inheritedPlaces<IDataSet>());
  EXPECT_EQ(inheritedPlaces<FileAgeDataSet>(), inheritedPlaces<IDataSet>());
  EXPECT_EQ(inheritedPlaces<LookupManager>(), inheritedPlaces<ILookupManager>());
}

// Members of a host's own, named like operations that the library once had there.
class OwnDataSet : public FileTypeDataSet {
 public:
  bool inputIsEmpty(LookupData&) const { return true; }
  bool answerToEmptyInput(LookupData&) { return true; }
  void deciding(int) const {}
  void ruleMatched(int) const {}
};

class OwnRule : public FolderAvoidance {
 public:
  using FolderAvoidance::FolderAvoidance;
  bool acceptsText(const std::string&) const { return false; }
  void complete(std::string& expression) const { expression = "nothing"; }
  bool prepareForKeywords(std::string&) const { return false; }
  std::string inputOf(const LookupData&) const { return "nothing"; }
};

TEST(Host, HasMembersOfItsOwnByAnyName) {
  LookupData request;
  request.m_filePath = "/data/a.log";
  OwnDataSet dataSet;
  dataSet.enableMatchEmptyInput();
  dataSet.addToDataSet(std::make_unique<FileTypeAvoidance>("txt", AnyAccess));
  EXPECT_FALSE(dataSet.isEmptyInput(&request));
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
  request.m_filePath = "/data/a.txt";
  EXPECT_TRUE(dataSet.isPresentInDataSet(request));

  OwnRule rule(std::string("/data/"), AnyAccess, 1);
  rule.disableCaseSensitiveSearch();
  EXPECT_TRUE(rule.updateRegex());
  EXPECT_TRUE(rule.validate("/DATA/", AnyAccess));
  EXPECT_TRUE(rule.updateRegex());
  EXPECT_TRUE(rule.canAvoid(request));
}

TEST(Host, MayDeriveFromTheRules) {
  expectToBeDerivable<FilePathAvoidance>("/data/*");
  expectToBeDerivable<FolderAvoidance>("/data/", Byte{0});
  expectToBeDerivable<ProcessAvoidance>("/bin/*", Byte{0}, std::string());
  expectToBeDerivable<FileTypeAvoidance>("log");
}

template <class Set>
class RefusingDataSet : public Set {
 public:
  bool isPresentInDataSet(ILookupData& request) override {
    return !Set::isPresentInDataSet(request);
  }
};

template <class Set>
class DerivedDataSet : public testing::Test {};
using DataSets =
    testing::Types<FilePathDataSet, FolderDataSet, ProcessDataSet, FileTypeDataSet, FileAgeDataSet>;
TYPED_TEST_SUITE(DerivedDataSet, DataSets);

TYPED_TEST(DerivedDataSet, AnswersTheLookupManagerItsOwnWay) {
  const auto dataSet = std::make_shared<RefusingDataSet<TypeParam>>();
  LookupManager manager;
  ASSERT_TRUE(manager.assignDataSet(dataSet, 4, 0));
  manager.defineBusinessLogic("4");
  LookupData request;
  EXPECT_TRUE(manager.isPresent(request));
}

TEST(Host, MayDeriveFromTheLookupManager) {
  struct Cautious : LookupManager {
    bool isPresent(ILookupData& request) override {
      try {
        return LookupManager::isPresent(request);
      } catch (const QVLException&) {
        return false;
      }
    }
  };
  Cautious manager;
  ILookupManager& asInterface = manager;
  LookupData request;
  EXPECT_NO_THROW(EXPECT_FALSE(asInterface.isPresent(request)));
}

TEST(Host, DestroysEverythingThroughTheInterfaces) {
  std::unique_ptr<IAvoidance> rule =
      std::make_unique<FilePathAvoidance>(std::wstring(L"/data/*"), AnyAccess);
  std::unique_ptr<IDataSet> dataSet = std::make_unique<FilePathDataSet>();
  ASSERT_TRUE(dataSet->addToDataSet(std::move(rule)));
  std::shared_ptr<IDataSet> shared = std::move(dataSet);
  std::unique_ptr<ILookupManager> manager = std::make_unique<LookupManager>();
  ASSERT_TRUE(manager->assignDataSet(shared, 1, 0));
  EXPECT_EQ(shared.use_count(), 2);
  manager.reset();
  EXPECT_EQ(shared.use_count(), 1);
}

}  // namespace
