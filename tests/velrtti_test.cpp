// Tests of the registry, the built-in and collection types, user data, and the
// way class descriptors come to be.
#include "velrtti.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "korbase.h"
#include "veltest.h"

namespace {

const char* const kNullText = reinterpret_cast<const char*>(1);

std::string Text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }

template <class Described>
std::string NameOf(Described* d) {
  return d ? Text(d->getName()) : "none";
}

std::vector<std::string> RegisteredNames() {
  std::vector<std::string> names;
  velRttiForEach(
      [](xrtti* type, void* data) {
        static_cast<std::vector<std::string>*>(data)->push_back(type->getName().CastToCString());
        return true;
      },
      &names);
  return names;
}

// ---- the built-in types ----

struct BuiltInRow {
  const char* name;
  xrtti* type;
  xrtti* again;
};

std::vector<BuiltInRow> BuiltIns() {
  return {{"bool", velGetRtti_bool(), velGetRtti_bool()},
          {"int", velGetRtti_int(), velGetRtti_int()},
          {"real", velGetRtti_real(), velGetRtti_real()},
          {"string", velGetRtti_string(), velGetRtti_string()},
          {"any", velGetRtti_any(), velGetRtti_any()},
          {"object", velGetRtti_object(), velGetRtti_object()}};
}

TEST(VelRtti, BuiltInTypesAreSingleNamedAndRegistered) {
  for (const BuiltInRow& row : BuiltIns()) {
    EXPECT_EQ(NameOf(row.type), row.name);
    EXPECT_EQ(row.type, row.again);
    EXPECT_EQ(velRttiGetFromMap(row.name), row.type);
    const bool basic = std::string(row.name) != "object";
    EXPECT_EQ(Text(row.type->getVelTypeName()), basic ? "xrttibasic" : "xrttiobject");
  }
}

TEST(VelRtti, ObjectIsCountedWithoutParentsAndWhatAPlainObjectAnswers) {
  xobject plain;
  EXPECT_EQ(velGetRtti_object()->getIsRefCount(), 1);
  EXPECT_EQ(velGetRtti_object()->getNParents(), 0);
  EXPECT_EQ(plain.getRtti(), velGetRtti_object());
  EXPECT_EQ(xobject::getClassRtti(), velGetRtti_object());
}

TEST(VelRtti, NilAndUninitValuesAreOfTheVeryAny) {
  EXPECT_EQ(xany().getRtti(), velGetRtti_any());
  EXPECT_EQ(xany(xanyNil).getRtti(), velGetRtti_any());
}

// ---- what is registered from the start ----

const char* const kVellib[] = {"vellib::Executable",
                               "vellib::Throwable",
                               "vellib::XException",
                               "vellib::XNull",
                               "vellib::XTypeMismatch",
                               "vellib::XInvalidArrayIndex",
                               "vellib::XInvalidSeqIndex",
                               "vellib::XInvalidDictIndex",
                               "vellib::XInvalidDictKey",
                               "vellib::XNegativeIndex",
                               "vellib::XNotInitialized",
                               "vellib::XRefCountable",
                               "vellib::XNativeException",
                               "vellib::XConnectionClosed",
                               "vellib::XArgs",
                               "vellib::XFunc",
                               "vellib::XExternFunc",
                               "vellib::XSerialization",
                               "vellib::XSoapFault",
                               "vellib::XSoapTransport",
                               "vellib::XSoapHttpTransport"};
const char* const kVeljava[] = {"veljava::XCannotConnect", "veljava::XMsgStringTooLong",
                                "veljava::XFlushFailed", "veljava::XNullInNonOptArg",
                                "veljava::XTimeout"};
const char* const kDescriptors[] = {
    "xrtti",       "xrttibasic", "xrttienum",     "xrttiobject",     "xrttiattr", "xrttiattrseq",
    "xrttistruct", "xrttiarray", "xrttisequence", "xrttidictionary", "xrttiunion"};
const char* const kCollections[] = {"booleanseq",  "intseq",  "realseq",  "stringseq",  "anyseq",
                                    "booleandict", "intdict", "realdict", "stringdict", "anydict"};
const char* const kBasics[] = {"bool", "int", "real", "string", "any", "object"};

template <class Rows>
void Append(std::vector<std::string>* names, const Rows& rows) {
  names->insert(names->end(), std::begin(rows), std::end(rows));
}

TEST(VelRttiDeathTest, AFreshProcessKnowsExactlyTheTypesOfTheLibrary) {
  std::vector<std::string> expected;
  Append(&expected, kBasics);
  Append(&expected, kVellib);
  Append(&expected, kCollections);
  Append(&expected, kDescriptors);
  Append(&expected, kVeljava);
  std::sort(expected.begin(), expected.end());
  std::string lines;
  for (const std::string& name : expected) lines += name + '\n';
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        for (const std::string& name : RegisteredNames())
          std::fprintf(stderr, "%s\n", name.c_str());
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), ::testing::Eq(lines));
}

TEST(VelRtti, ExceptionTypesAreCountedStructuresUnderTheirBase) {
  const std::pair<xrttiobject*, const char*> rows[] = {
      {velExecutable::getClassRtti(), "none"},
      {xthrowable::getClassRtti(), "none"},
      {velXException::getClassRtti(), "vellib::Throwable"},
      {velXNull::getClassRtti(), "vellib::XException"},
      {velXArgs::getClassRtti(), "none"},
      {velXFunc::getClassRtti(), "none"},
      {velXSoapFault::getClassRtti(), "vellib::XSerialization"},
      {velXSoapHttpTransport::getClassRtti(), "vellib::XSoapTransport"},
      {xportXTimeout::getClassRtti(), "vellib::XException"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(NameOf(row.first));
    EXPECT_EQ(velRttiGetFromMap(row.first->getName()), row.first);
    EXPECT_EQ(Text(row.first->getVelTypeName()), "xrttistruct");
    EXPECT_EQ(row.first->getIsRefCount(), 1);
    EXPECT_EQ(row.first->getNParents(), std::string(row.second) == "none" ? 0 : 1);
    EXPECT_EQ(NameOf(row.first->getParent(0)), row.second);
  }
}

TEST(VelRtti, TypeMismatchDeclaresItsAttributesInOrder) {
  auto* type = xrttistruct::cast(velXTypeMismatch::getClassRtti());
  ASSERT_EQ(type->getNAttrs(), 2);
  EXPECT_EQ(NameOf(type->getAttr(0)), "VelObject");
  EXPECT_EQ(NameOf(type->getAttr(1)), "TypeName");
  EXPECT_EQ(NameOf(type->findAttr("Description", 1)), "Description");
  EXPECT_EQ(type->findAttr("Description", 0), nullptr);
}

// Puts a stranger in the place of `name`; a further instance of Register must
// bring the library's own descriptor back.
template <class Register>
void ExpectRestored(const char* name) {
  SCOPED_TRACE(name);
  xrtti* own = velRttiGetFromMap(name);
  ASSERT_NE(own, nullptr);
  const std::size_t before = RegisteredNames().size();
  xrttibasic stranger(name);
  velRttiAddToMap(&stranger);
  EXPECT_EQ(velRttiGetFromMap(name), &stranger);
  const Register again;
  EXPECT_EQ(velRttiGetFromMap(name), own);
  EXPECT_EQ(RegisteredNames().size(), before);
}

TEST(VelRtti, AFurtherRegistrationReplacesEachEntryByItself) {
  for (const char* name : kBasics) ExpectRestored<velRttiRegister_buildintypes>(name);
  for (const char* name : kVellib) ExpectRestored<velRttiRegister_vellib>(name);
  for (const char* name : kCollections) ExpectRestored<velRttiRegister_stdcols>(name);
  for (const char* name : kDescriptors) ExpectRestored<velRttiRegister_xrtti>(name);
  for (const char* name : kVeljava) ExpectRestored<velRttiRegister_veljava>(name);
}

// ---- the registry ----

TEST(VelRtti, NamesAreLookedUpByteByByte) {
  static xrttibasic type("velrtti_test::Name");
  velRttiAddToMap(&type);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Name"), &type);
  EXPECT_EQ(velRttiGetFromMap(std::string("velrtti_test::Name").c_str()), &type);
  for (const char* other : {"velrtti_test::name", "velrtti_test::Nam", "velrtti_test::Names"}) {
    EXPECT_EQ(velRttiGetFromMap(other), nullptr) << other;
  }
}

TEST(VelRtti, TheLastRegistrationOfANameWins) {
  static xrttibasic first("velrtti_test::x");
  static xrttibasic second("velrtti_test::x");
  velRttiAddToMap(&first);
  const std::size_t before = RegisteredNames().size();
  velRttiAddToMap(&second);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::x"), &second);
  EXPECT_EQ(RegisteredNames().size(), before);
  EXPECT_EQ(NameOf(&first), "velrtti_test::x");
  velRttiAddToMap(&first);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::x"), &first);
}

TEST(VelRtti, AReplacedEntryUsesTheNameOfItsNewDescriptor) {
  auto* first = new xrttibasic("velrtti_test::replaced");
  static xrttibasic second("velrtti_test::replaced");
  velRttiAddToMap(first);
  velRttiAddToMap(&second);
  // Takes its name along; the registry must not read that any more.
  delete first;
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::replaced"), &second);
  static xrttibasic neighbour("velrtti_test::replace");
  velRttiAddToMap(&neighbour);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::replaced"), &second);
}

TEST(VelRtti, WhatHasNoNameIsNotRegistered) {
  static xrttibasic nameless;
  static xrttibasic one(kNullText);
  const auto before = RegisteredNames();
  velRttiAddToMap(nullptr);
  velRttiAddToMap(&nameless);
  velRttiAddToMap(&one);
  EXPECT_EQ(RegisteredNames(), before);
  EXPECT_EQ(velRttiGetFromMap(nullptr), nullptr);
  EXPECT_EQ(velRttiGetFromMap(kNullText), nullptr);
}

TEST(VelRtti, AnEmptyNameIsAName) {
  static xrttibasic empty("");
  velRttiAddToMap(&empty);
  EXPECT_EQ(velRttiGetFromMap(""), &empty);
  EXPECT_EQ(RegisteredNames().front(), "");
}

TEST(VelRtti, ManyTypesStaySorted) {
  for (int i = 0; i < 200; ++i) {
    const std::string name = "velrtti_test::many" + std::to_string(i * 37 % 200);
    velRttiAddToMap(new xrttibasic(name.c_str()));
  }
  const auto names = RegisteredNames();
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
  for (int i = 0; i < 200; ++i) {
    const std::string name = "velrtti_test::many" + std::to_string(i);
    EXPECT_EQ(NameOf(velRttiGetFromMap(name.c_str())), name);
  }
}

TEST(VelRtti, ForEachStopsAtFalse) {
  std::vector<std::string> seen;
  velRttiForEach(
      [](xrtti* type, void* data) {
        auto* names = static_cast<std::vector<std::string>*>(data);
        names->push_back(type->getName().CastToCString());
        return names->size() < 3;
      },
      &seen);
  auto first = RegisteredNames();
  first.resize(3);
  EXPECT_EQ(seen, first);
}

TEST(VelRtti, ForEachVisitsWhatWasThereWhenItBegan) {
  struct Visits {
    int count;
    int added;
  } visits{0, 0};
  const auto before = RegisteredNames();
  velRttiForEach(
      [](xrtti*, void* data) {
        auto* v = static_cast<Visits*>(data);
        ++v->count;
        if (v->added < 5) {
          const std::string name = "zzz::added" + std::to_string(v->added++);
          velRttiAddToMap(new xrttibasic(name.c_str()));
          EXPECT_NE(velRttiGetFromMap(name.c_str()), nullptr);
        }
        return true;
      },
      &visits);
  EXPECT_EQ(visits.count, static_cast<int>(before.size()));
  EXPECT_EQ(RegisteredNames().size(), before.size() + 5);
}

TEST(VelRtti, WhatAVisitThrowsPassesThrough) {
  EXPECT_VEL_THROW(velRttiForEach([](xrtti*, void*) -> bool { velhThrowNull(); }, nullptr),
                   velXNull);
  EXPECT_NE(velRttiGetFromMap("int"), nullptr);
}

TEST(VelRtti, ThreadsMayRegisterAndLookUpAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &wrong] {
      for (int i = 0; i < 50; ++i) {
        const std::string name = "velrtti_test::t" + std::to_string(t) + '_' + std::to_string(i);
        auto* type = new xrttibasic(name.c_str());
        velRttiAddToMap(type);
        if (velRttiGetFromMap(name.c_str()) != type) ++wrong;
        if (velRttiGetFromMap("int") != velGetRtti_int()) ++wrong;
        if (i % 10 == 0 && RegisteredNames().size() < 50) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

// ---- user data ----

struct UserDataPeek : xrttibasic {
  using xrttibasic::xrttibasic;
  bool hasMap() const { return userData != nullptr; }
};

// Descriptors live for ever, and so do their maps.
UserDataPeek* NewPeek() {
  static std::vector<UserDataPeek*>& all = *new std::vector<UserDataPeek*>;
  all.push_back(new UserDataPeek("velrtti_test::UserData"));
  return all.back();
}

TEST(VelRtti, TheUserDataMapIsMadeByTheFirstThatNeedsIt) {
  UserDataPeek* type = NewPeek();
  EXPECT_FALSE(type->hasMap());
  EXPECT_EQ(type->getUserData("key"), nullptr);
  EXPECT_TRUE(type->hasMap());
  type = NewPeek();
  type->addUserData("key", type);
  EXPECT_TRUE(type->hasMap());
  type = NewPeek();
  EXPECT_EQ(type->getUserDataMap()->GetCount(), 0);
  EXPECT_TRUE(type->hasMap());
  EXPECT_EQ(type->getUserDataMap(), type->getUserDataMap());
}

TEST(VelRtti, UserDataOfAKeyIsReplacedAndTheFirstKeyPointerKept) {
  int one = 1;
  int two = 2;
  const char key[] = "key";
  const std::string sameKey = key;
  UserDataPeek* type = NewPeek();
  type->addUserData(key, &one);
  type->addUserData(sameKey.c_str(), &two);
  EXPECT_EQ(type->getUserData("key"), &two);
  EXPECT_EQ(type->getUserDataMap()->GetCount(), 1);
  EXPECT_EQ(type->getUserDataMap()->GetKeyAt(0), key);
  type->addUserData("key", nullptr);
  EXPECT_EQ(type->getUserData("key"), nullptr);
  type->getUserDataMap()->RemoveAll();
}

TEST(VelRtti, UserDataIsPerDescriptorAndCaseSensitive) {
  int data = 0;
  UserDataPeek* type = NewPeek();
  UserDataPeek* sameName = NewPeek();
  type->addUserData("key", &data);
  EXPECT_EQ(sameName->getUserData("key"), nullptr);
  EXPECT_EQ(type->getUserData("Key"), nullptr);
  EXPECT_EQ(type->getUserData("ke"), nullptr);
  EXPECT_EQ(type->getUserData("keys"), nullptr);
}

TEST(VelRtti, ManyUserDataKeysStaySorted) {
  static std::vector<std::string> keys;
  UserDataPeek* type = NewPeek();
  for (int i = 0; i < 40; ++i) keys.push_back("k" + std::to_string(i * 7 % 40));
  for (std::string& key : keys) type->addUserData(key.c_str(), &key);
  ASSERT_EQ(type->getUserDataMap()->GetCount(), 40);
  for (int i = 1; i < 40; ++i) {
    EXPECT_LT(std::string(type->getUserDataMap()->GetKeyAt(i - 1)),
              type->getUserDataMap()->GetKeyAt(i));
  }
  for (std::string& key : keys) EXPECT_EQ(type->getUserData(key.c_str()), &key);
}

TEST(VelRtti, ANullKeyHasNoUserData) {
  int data = 0;
  UserDataPeek* type = NewPeek();
  type->addUserData(nullptr, &data);
  type->addUserData(kNullText, &data);
  EXPECT_EQ(type->getUserData(nullptr), nullptr);
  EXPECT_EQ(type->getUserData(kNullText), nullptr);
  EXPECT_EQ(type->getUserDataMap()->GetCount(), 0);
}

TEST(VelRtti, UserDataIsReachedThroughTheFreeFunctions) {
  int data = 0;
  xrtti* none = nullptr;
  static xrttibasic type("velrtti_test::Free");
  velRttiAddUserData(&type, "key", &data);
  EXPECT_EQ(type.getUserData("key"), &data);
  EXPECT_EQ(velRttiGetUserData(&type, "key"), &data);
  EXPECT_EQ(velRttiGetUserData("velrtti_test::Free", "key"), nullptr);
  velRttiAddToMap(&type);
  EXPECT_EQ(velRttiGetUserData("velrtti_test::Free", "key"), &data);
  EXPECT_EQ(velRttiGetUserData("velrtti_test::Free", "other"), nullptr);
  EXPECT_EQ(velRttiGetUserData("velrtti_test::neverRegistered", "key"), nullptr);
  EXPECT_EQ(velRttiGetUserData(static_cast<const char*>(nullptr), "key"), nullptr);
  EXPECT_EQ(velRttiGetUserData(kNullText, "key"), nullptr);
  EXPECT_EQ(velRttiGetUserData(none, "key"), nullptr);
  velRttiAddUserData(none, "key", &data);
  velRttiAddUserData(&type, "key", nullptr);
}

// ---- collecting attributes ----

struct StructType : xrttistruct {
  explicit StructType(const char* typeName, std::vector<xrttiobject*> above = {},
                      std::vector<xrttiattr*> own = {})
      : parentList(std::move(above)), attrList(std::move(own)) {
    initializeRttiStruct(typeName, 1, static_cast<int>(parentList.size()), parentList.data(),
                         static_cast<int>(attrList.size()), attrList.data());
  }
  std::vector<xrttiobject*> parentList;
  std::vector<xrttiattr*> attrList;
};

struct Attr : xrttiattr {
  explicit Attr(const char* attrName) : xrttiattr(attrName, velGetRtti_int(), 0, nullptr) {}
};

std::string Names(xrttiattrseq* attrs) {
  std::string names;
  for (int i = 0; i < attrs->getarraysize(); ++i) names += NameOf(attrs->get(i)) + ' ';
  return names;
}

std::string Collected(xrttistruct* type, unsigned char withParents) {
  xrttiattrseq* attrs = velRttiCollectAttrs(type, withParents);
  const std::string names = Names(attrs);
  xdelete(attrs);
  return names;
}

TEST(VelRttiCollectAttrs, PutsInheritedAttributesFirst) {
  Attr a("a");
  Attr b("b");
  Attr c("c");
  StructType parent("velrtti_test::Parent", {}, {&a, &b});
  StructType child("velrtti_test::Child", {&parent}, {&c});
  EXPECT_EQ(Collected(&child, 1), "a b c ");
  EXPECT_EQ(Collected(&child, 128), "a b c ");
  EXPECT_EQ(Collected(&child, 0), "c ");
  EXPECT_EQ(Collected(&parent, 1), "a b ");
}

TEST(VelRttiCollectAttrs, PutsTheMostDistantAncestorFirstAndParentsInOrder) {
  Attr far("far");
  Attr one("one");
  Attr two("two");
  Attr own("own");
  StructType grandparent("velrtti_test::Grandparent", {}, {&far});
  StructType first("velrtti_test::First", {&grandparent}, {&one});
  StructType second("velrtti_test::Second", {}, {&two});
  StructType child("velrtti_test::Child", {&first, &second}, {&own});
  EXPECT_EQ(Collected(&child, 1), "far one two own ");
}

TEST(VelRttiCollectAttrs, ListsAnAttributeOfADiamondTwice) {
  Attr top("top");
  Attr left("left");
  Attr right("right");
  StructType root("velrtti_test::Root", {}, {&top});
  StructType first("velrtti_test::Left", {&root}, {&left});
  StructType second("velrtti_test::Right", {&root}, {&right});
  StructType child("velrtti_test::Child", {&first, &second});
  EXPECT_EQ(Collected(&child, 1), "top left top right ");
}

// Thirty diamonds list the attribute on top of them two to the thirtieth times.
TEST(VelRttiCollectAttrs, RefusesAListThatNoSequenceHolds) {
  Attr top("top");
  std::vector<std::unique_ptr<StructType>> types;
  types.push_back(std::make_unique<StructType>("velrtti_test::Top", std::vector<xrttiobject*>(),
                                               std::vector<xrttiattr*>{&top}));
  std::vector<xrttiobject*> above{types.back().get()};
  for (int level = 0; level < 30; ++level) {
    std::vector<xrttiobject*> both;
    for (const char* side : {"left", "right"}) {
      types.push_back(std::make_unique<StructType>((side + std::to_string(level)).c_str(), above));
      both.push_back(types.back().get());
    }
    above = both;
  }
  EXPECT_VEL_NATIVE(velRttiCollectAttrs(types.back().get(), 1), "Size limit exceeded");
}

TEST(VelRttiCollectAttrs, AppendsToWhatIsThere) {
  Attr a("a");
  Attr b("b");
  StructType type("velrtti_test::Struct", {}, {&b});
  xrttiattrseq* out = xrttiattrseq::create();
  out->append(&a);
  velRttiCollectAttrs(&type, 0, out);
  velRttiCollectAttrs(&type, 1, out);
  EXPECT_EQ(Names(out), "a b b ");
  velRttiCollectAttrs(nullptr, 1, out);
  EXPECT_EQ(out->getarraysize(), 3);
  xdelete(out);
  velRttiCollectAttrs(&type, 1, nullptr);
}

TEST(VelRttiCollectAttrs, OfNullIsEmpty) {
  xrttiattrseq* attrs = velRttiCollectAttrs(nullptr, 1);
  ASSERT_NE(attrs, nullptr);
  EXPECT_EQ(attrs->getarraysize(), 0);
  EXPECT_FALSE(attrs->isRefCountable());
  xdelete(attrs);
}

TEST(VelRttiCollectAttrs, ThrowsForAParentThatIsNoStructure) {
  Attr a("a");
  Attr own("own");
  xrttiobject notOne;
  notOne.initializeRttiObject("velrtti_test::NotAStruct", 1, 0, nullptr);
  StructType first("velrtti_test::First", {}, {&a});
  StructType child("velrtti_test::Child", {&first, &notOne}, {&own});
  EXPECT_EQ(Collected(&child, 0), "own ");
  const auto caught = velCaught([&] { velRttiCollectAttrs(&child, 1); });
  auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
  ASSERT_NE(mismatch, nullptr);
  EXPECT_EQ(Text(mismatch->getTypeName()), "xrttistruct");
  EXPECT_EQ(mismatch->getVelObject().operator xobject*(), static_cast<xobject*>(&notOne));
  xrttiattrseq* out = xrttiattrseq::create();
  EXPECT_VEL_THROW(velRttiCollectAttrs(&child, 1, out), velXTypeMismatch);
  EXPECT_EQ(Names(out), "a ");
  xdelete(out);
}

TEST(VelRttiCollectAttrs, EndsInACycle) {
  Attr a("a");
  Attr b("b");
  StructType first("velrtti_test::CycleA", {nullptr}, {&a});
  StructType second("velrtti_test::CycleB", {&first}, {&b});
  first.parentList[0] = &second;
  EXPECT_EQ(Collected(&first, 1), "b a ");
  StructType own("velrtti_test::OwnParent", {nullptr}, {&a});
  EXPECT_EQ(Collected(&own, 1), "a ");
  own.parentList[0] = &own;
  EXPECT_EQ(Collected(&own, 1), "a ");
}

TEST(VelRttiCollectAttrs, ALongChainOfParentsNeedsNoStack) {
  constexpr int kTypes = 100000;
  Attr a("a");
  std::vector<std::unique_ptr<StructType>> chain;
  std::vector<xrttiobject*> above;
  for (int i = 0; i < kTypes; ++i) {
    chain.push_back(
        std::make_unique<StructType>("velrtti_test::Link", above, std::vector<xrttiattr*>{&a}));
    above = {chain.back().get()};
  }
  xrttiattrseq* attrs = velRttiCollectAttrs(chain.back().get(), 1);
  EXPECT_EQ(attrs->getarraysize(), kTypes);
  xdelete(attrs);
}

TEST(XRttiAttrSeq, IsASequenceOfAttributesThatIsNotCounted) {
  auto* type = xrttisequence::cast(xrttiattrseq::getClassRtti());
  EXPECT_EQ(NameOf(type), "xrttiattrseq");
  EXPECT_EQ(type->getElemType(), xrttiattr::getClassRtti());
  EXPECT_EQ(type->getIsRefCount(), 0);
  EXPECT_EQ(type->getIsElemOptional(), 0);
  EXPECT_EQ(type->getNParents(), 0);
  Attr a("a");
  Attr b("b");
  xrttiattrseq* attrs = xrttiattrseq::create();
  EXPECT_EQ(attrs->getarraysize(), 0);
  attrs->append(&a);
  attrs->append(&b);
  EXPECT_EQ(type->getSize(attrs), 2);
  const xany element = type->getElemValue(attrs, 1);
  EXPECT_EQ(element.getkind(), xanyObject);
  EXPECT_EQ(element.operator xobject*(), static_cast<xobject*>(&b));
  EXPECT_EQ(xrttiattrseq::cast(attrs), attrs);
  EXPECT_EQ(xrttiattrseq::softcast(&a), nullptr);
  EXPECT_TRUE(attrs->isDeletable());
  EXPECT_VEL_THROW(type->getElemValue(attrs, 2), velXInvalidSeqIndex);
  xdelete(attrs);
}

// ---- the collection types ----

// What every collection descriptor says of itself.
template <class C, class Kind>
Kind* ExpectCollection(const char* name, xrtti* element) {
  auto* type = Kind::softcast(C::getClassRtti());
  EXPECT_NE(type, nullptr);
  if (!type) return nullptr;
  EXPECT_EQ(NameOf(type), name);
  EXPECT_EQ(velRttiGetFromMap(name), type);
  EXPECT_EQ(type->getIsRefCount(), 1);
  EXPECT_EQ(type->getNParents(), 0);
  EXPECT_EQ(type->getElemType(), element);
  EXPECT_EQ(type->getIsElemOptional(), 0);
  return type;
}

// `first` and `second` are read back through the descriptor's functions.
template <class C, class T>
void ExpectSequence(const char* name, xrtti* element, T first, T second) {
  SCOPED_TRACE(name);
  auto* type = ExpectCollection<C, xrttisequence>(name, element);
  ASSERT_NE(type, nullptr);
  const auto sequence = C::create();
  EXPECT_EQ(type->getSize(sequence.operator->()), 0);
  sequence->append(first);
  sequence->append(second);
  C* raw = sequence.operator->();
  EXPECT_EQ(type->getSize(raw), 2);
  EXPECT_TRUE(type->getElemValue(raw, 0) == xany(first));
  EXPECT_TRUE(type->getElemValue(raw, 1) == xany(second));
  EXPECT_VEL_THROW(type->getElemValue(raw, 2), velXInvalidSeqIndex);
  EXPECT_VEL_THROW(type->getElemValue(raw, -1), velXNegativeIndex);
  const xrchandle<xobject> stranger(new xobject);
  EXPECT_VEL_THROW(type->getSize(stranger.operator->()), velXTypeMismatch);
  EXPECT_EQ(xrcgetcount(raw), 1);
}

TEST(VelRtti, SequenceTypesReadTheirElements) {
  ExpectSequence<xboolsequence, unsigned char>("booleanseq", velGetRtti_bool(), 1, 0);
  ExpectSequence<xintsequence, int>("intseq", velGetRtti_int(), -5, 2147483647);
  ExpectSequence<xrealsequence, double>("realseq", velGetRtti_real(), 0.5, -1e300);
  ExpectSequence<xstringsequence, xstring>("stringseq", velGetRtti_string(), "text", "");
  ExpectSequence<xanysequence, xany>("anyseq", velGetRtti_any(), 3, "mixed");
}

template <class C, class T>
void ExpectDictionary(const char* name, xrtti* element, T first, T second) {
  SCOPED_TRACE(name);
  auto* type = ExpectCollection<C, xrttidictionary>(name, element);
  ASSERT_NE(type, nullptr);
  const auto dictionary = C::create();
  C* raw = dictionary.operator->();
  EXPECT_EQ(type->getSize(raw), 0);
  dictionary->set("one", first);
  dictionary->set("two", second);
  dictionary->set("gone", first);
  dictionary->remove("gone");

  // By key.
  xany value;
  EXPECT_EQ(type->findElemValue(raw, "one", &value), 1);
  EXPECT_TRUE(value == xany(first));
  EXPECT_EQ(type->findElemValue(raw, "gone", &value), 0);
  EXPECT_TRUE(value == xany(first));
  EXPECT_EQ(type->findElemValue(raw, "two", nullptr), 1);
  EXPECT_VEL_THROW(type->findElemValue(raw, nullptr, &value), velXNull);

  // By slot: vacant ones count, and have neither key nor value.
  const int size = type->getSize(raw);
  EXPECT_EQ(size, dictionary->getmapsize());
  EXPECT_GT(size, 2);
  std::vector<std::string> keys;
  for (int i = 0; i < size; ++i) {
    xstring key("untouched");
    xany slot("untouched");
    const bool present = type->getElemKeyByIdx(raw, i, &key);
    EXPECT_EQ(type->getElemValueByIdx(raw, i, &slot), present);
    EXPECT_EQ(type->getElemKeyByIdx(raw, i, nullptr), present);
    EXPECT_EQ(type->getElemValueByIdx(raw, i, nullptr), present);
    if (present) {
      keys.push_back(Text(key));
      EXPECT_TRUE(slot == xany(keys.back() == "one" ? first : second));
    } else {
      EXPECT_EQ(Text(key), "untouched");
      EXPECT_TRUE(slot == "untouched");
    }
  }
  EXPECT_THAT(keys, ::testing::UnorderedElementsAre("one", "two"));

  // Past both ends.
  xstring key;
  EXPECT_EQ(type->getElemKeyByIdx(raw, size, &key), 0);
  EXPECT_EQ(type->getElemValueByIdx(raw, size, &value), 0);
  EXPECT_VEL_THROW(type->getElemKeyByIdx(raw, -1, &key), velXNegativeIndex);
  EXPECT_VEL_THROW(type->getElemValueByIdx(raw, -1, &value), velXNegativeIndex);
  const xrchandle<xobject> stranger(new xobject);
  EXPECT_VEL_THROW(type->findElemValue(stranger.operator->(), "one", &value), velXTypeMismatch);
  EXPECT_EQ(xrcgetcount(raw), 1);
}

TEST(VelRtti, DictionaryTypesReadTheirEntries) {
  ExpectDictionary<xbooldictionary, unsigned char>("booleandict", velGetRtti_bool(), 1, 0);
  ExpectDictionary<xintdictionary, int>("intdict", velGetRtti_int(), -5, 7);
  ExpectDictionary<xrealdictionary, double>("realdict", velGetRtti_real(), 0.5, -1e300);
  ExpectDictionary<xstringdictionary, xstring>("stringdict", velGetRtti_string(), "text", "");
  ExpectDictionary<xanydictionary, xany>("anydict", velGetRtti_any(), 3, "mixed");
}

// ---- how class descriptors come to be ----

class Node : public virtual xobject {
  VEL_OBJECT(Node)
 public:
  xrchandle<Node> next;
};
VEL_OBJECT_RTTI(Node, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr next("next", Node::getClassRtti(), 1,
                        [](xobject* o) { return xany(Node::cast(o)->next); });
  static xrttiattr* attrs[] = {&next};
  rtti->initializeRttiStruct("velrtti_test::Node", 1, 0, nullptr, 1, attrs);
})

TEST(VelClassRtti, ATypeMayReferToItself) {
  auto* type = xrttistruct::cast(Node::getClassRtti());
  EXPECT_EQ(type->getAttr(0)->getType(), type);
  const xrchandle<Node> node(new Node);
  node->next = new Node;
  EXPECT_EQ(velPrinted(xany(node), -1),
            "velrtti_test::Node { next : velrtti_test::Node { next : nil } }");
  EXPECT_EQ(Node::getClassRtti(), type);
}

class Ping : public virtual xobject {
  VEL_OBJECT(Ping)
};
class Pong : public virtual xobject {
  VEL_OBJECT(Pong)
};
template <class Other>
void InitializeRival(xrttistruct* rtti, const char* name) {
  static xrttiattr rival("rival", Other::getClassRtti(), 1, nullptr);
  static xrttiattr* attrs[] = {&rival};
  rtti->initializeRttiStruct(name, 1, 0, nullptr, 1, attrs);
}
VEL_OBJECT_RTTI(Ping, xrttistruct,
                [](xrttistruct* rtti) { InitializeRival<Pong>(rtti, "velrtti_test::Ping"); })
VEL_OBJECT_RTTI(Pong, xrttistruct,
                [](xrttistruct* rtti) { InitializeRival<Ping>(rtti, "velrtti_test::Pong"); })

TEST(VelClassRtti, TwoTypesMayReferToEachOther) {
  auto* ping = xrttistruct::cast(Ping::getClassRtti());
  auto* pong = xrttistruct::cast(Pong::getClassRtti());
  EXPECT_EQ(NameOf(ping), "velrtti_test::Ping");
  EXPECT_EQ(NameOf(pong), "velrtti_test::Pong");
  EXPECT_EQ(ping->getAttr(0)->getType(), pong);
  EXPECT_EQ(pong->getAttr(0)->getType(), ping);
}

class Fresh : public virtual xobject {
  VEL_OBJECT(Fresh)
};
VEL_OBJECT_RTTI(Fresh, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrtti_test::Fresh", 1, 0, nullptr);
})

TEST(VelClassRtti, FirstUseRegistersAndAttachesNothing) {
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Fresh"), nullptr);
  xrttiobject* type = Fresh::getClassRtti();
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Fresh"), type);
  EXPECT_EQ(xrcgetcount(type), 0);
  EXPECT_EQ(Fresh::getClassRtti(), type);
}

int failures = 2;
class Stubborn : public virtual xobject {
  VEL_OBJECT(Stubborn)
};
VEL_OBJECT_RTTI(Stubborn, xrttiobject, [](xrttiobject* rtti) {
  if (failures-- > 0) velhThrowNull();
  rtti->initializeRttiObject("velrtti_test::Stubborn", 1, 0, nullptr);
})

TEST(VelClassRtti, AFailedInitialisationIsTriedAgain) {
  EXPECT_VEL_THROW(Stubborn::getClassRtti(), velXNull);
  EXPECT_VEL_THROW(Stubborn::getClassRtti(), velXNull);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Stubborn"), nullptr);
  EXPECT_EQ(NameOf(Stubborn::getClassRtti()), "velrtti_test::Stubborn");
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Stubborn"), Stubborn::getClassRtti());
}

std::atomic<int> initialisations{0};
class Contended : public virtual xobject {
  VEL_OBJECT(Contended)
};
VEL_OBJECT_RTTI(Contended, xrttiobject, [](xrttiobject* rtti) {
  ++initialisations;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  rtti->initializeRttiObject("velrtti_test::Contended", 1, 0, nullptr);
})

TEST(VelClassRtti, ThreadsGetOneDescriptorAndOnlyWhenItIsComplete) {
  std::atomic<bool> go{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      while (!go) std::this_thread::yield();
      xrttiobject* type = Contended::getClassRtti();
      if (NameOf(type) != "velrtti_test::Contended") ++wrong;
      if (velRttiGetFromMap("velrtti_test::Contended") != type) ++wrong;
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(initialisations, 1);
}

// A line of classes, each under the one before.
class Oldest : public virtual xobject {
  VEL_OBJECT(Oldest)
};
class Middle : public Oldest {
  VEL_OBJECT(Middle)
};
class Youngest : public Middle {
  VEL_OBJECT(Youngest)
};
template <class Parent>
void InitializeUnder(xrttistruct* rtti, const char* name) {
  static xrttiobject* parents[1];
  parents[0] = Parent::getClassRtti();
  rtti->initializeRttiStruct(name, 1, 1, parents, 0, nullptr);
}
VEL_OBJECT_RTTI(Oldest, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("velrtti_test::Oldest", 1, 0, nullptr, 0, nullptr);
})
VEL_OBJECT_RTTI(Middle, xrttistruct,
                [](xrttistruct* rtti) { InitializeUnder<Oldest>(rtti, "velrtti_test::Middle"); })
VEL_OBJECT_RTTI(Youngest, xrttistruct,
                [](xrttistruct* rtti) { InitializeUnder<Middle>(rtti, "velrtti_test::Youngest"); })

// Uses the three in this order, in a process that has used none.
[[noreturn]] void UseInOrder(const std::vector<int>& order) {
  xrttiobject* (*const getters[])() = {&Oldest::getClassRtti, &Middle::getClassRtti,
                                       &Youngest::getClassRtti};
  for (const int i : order) getters[i]();
  const bool right = Youngest::getClassRtti()->getParent(0) == Middle::getClassRtti() &&
                     Middle::getClassRtti()->getParent(0) == Oldest::getClassRtti() &&
                     Youngest::getClassRtti()->isTypeKindOf(Oldest::getClassRtti()) &&
                     velRttiGetFromMap("velrtti_test::Oldest") == Oldest::getClassRtti() &&
                     velRttiGetFromMap("velrtti_test::Middle") == Middle::getClassRtti() &&
                     velRttiGetFromMap("velrtti_test::Youngest") == Youngest::getClassRtti();
  std::_Exit(right ? 0 : 1);
}

TEST(VelClassRttiDeathTest, ClassesMayBeUsedFirstInAnyOrder) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::vector<int> order = {0, 1, 2};
  do {
    EXPECT_EXIT(UseInOrder(order), ::testing::ExitedWithCode(0), "");
  } while (std::next_permutation(order.begin(), order.end()));
}

// ---- threading switched off ----

std::promise<void> otherDone;
class Waiting : public virtual xobject {
  VEL_OBJECT(Waiting)
};
VEL_OBJECT_RTTI(Waiting, xrttiobject, [](xrttiobject*) {
  // Another thread makes a descriptor meanwhile: only without a lock it can.
  std::thread other([] {
    Fresh::getClassRtti();
    otherDone.set_value();
  });
  other.detach();
  const auto done = otherDone.get_future().wait_for(std::chrono::seconds(10));
  std::_Exit(done == std::future_status::ready ? 0 : 1);
})

TEST(VelClassRttiDeathTest, LoadingLeavesAProgramTimeToSwitchThreadingOff) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        korSetThreading(false);
        Waiting::getClassRtti();
      },
      ::testing::ExitedWithCode(0), "");
}

// ---- two classes of one name ----

class First : public virtual xobject {
  VEL_OBJECT(First)
};
class OtherKind : public virtual xobject {
  VEL_OBJECT(OtherKind)
};
class OtherParents : public virtual xobject {
  VEL_OBJECT(OtherParents)
};
VEL_OBJECT_RTTI(First, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct("velrtti_test::Claimed", 1, 0, nullptr, 0, nullptr);
})
VEL_OBJECT_RTTI(OtherKind, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("velrtti_test::Claimed", 1, 0, nullptr);
})
VEL_OBJECT_RTTI(OtherParents, xrttistruct,
                [](xrttistruct* rtti) { InitializeUnder<Oldest>(rtti, "velrtti_test::Claimed"); })

#ifdef VELSTD_CHECKED
TEST(VelClassRttiDeathTest, ANameOfAnotherClassEndsTheProcessInCheckedBuilds) {
  First::getClassRtti();
  EXPECT_VEL_ABORT((First::getClassRtti(), OtherKind::getClassRtti()),
                   "The name of a class descriptor belongs to another class.",
                   "velstd/services/velobject", 30);
  EXPECT_VEL_ABORT((First::getClassRtti(), OtherParents::getClassRtti()),
                   "The name of a class descriptor belongs to another class.",
                   "velstd/services/velobject", 30);
}
#else
TEST(VelClassRtti, ANameOfAnotherClassIsReplacedSilently) {
  First::getClassRtti();
  for (xrttiobject* (*claim)() : {&OtherKind::getClassRtti, &OtherParents::getClassRtti}) {
    xrttiobject* rtti = claim();
    EXPECT_EQ(velRttiGetFromMap("velrtti_test::Claimed"), rtti);
  }
}
#endif

TEST(VelRtti, RegisteringDirectlyReplacesInEveryBuild) {
  static xrttibasic claim("velrtti_test::Node");
  Node::getClassRtti();
  velRttiAddToMap(&claim);
  EXPECT_EQ(velRttiGetFromMap("velrtti_test::Node"), &claim);
  velRttiAddToMap(Node::getClassRtti());
}

}  // namespace
