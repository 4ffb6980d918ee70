// Tests of the type descriptors themselves: what they keep, answer and search.
#include "xrtti.h"

#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "veltest.h"

namespace {

constexpr int kNone = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();
// Addresses that are no text; nobody may read them.
const char* const kNullText = reinterpret_cast<const char*>(1);
const char* const kUnreadable = reinterpret_cast<const char*>(64);

std::string Text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }

template <class Described>
std::string NameOf(Described* d) {
  return d ? Text(d->getName()) : "none";
}

// Descriptors that own their lists, for types that a test makes up.
struct ObjectType : xrttiobject {
  explicit ObjectType(const char* typeName, std::vector<xrttiobject*> above = {})
      : parentList(std::move(above)) {
    initializeRttiObject(typeName, 1, static_cast<int>(parentList.size()), parentList.data());
  }
  std::vector<xrttiobject*> parentList;
};

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

struct UnionType : xrttiunion {
  UnionType(const char* typeName, std::vector<xrttiobject*> above,
            const std::vector<std::pair<int, xrttiattr*>>& branches, xrttiattr* fallback = nullptr,
            xrttiattr* discriminator = nullptr)
      : parentList(std::move(above)) {
    for (const auto& branch : branches) {
      labelList.push_back(branch.first);
      attrList.push_back(branch.second);
    }
    initializeRttiUnion(typeName, 1, static_cast<int>(parentList.size()), parentList.data(),
                        discriminator, static_cast<int>(labelList.size()), labelList.data(),
                        attrList.data(), fallback);
  }
  std::vector<xrttiobject*> parentList;
  std::vector<int> labelList;
  std::vector<xrttiattr*> attrList;
};

struct Attr : xrttiattr {
  explicit Attr(const char* attrName) : xrttiattr(attrName, velGetRtti_int(), 0, nullptr) {}
};

// `levels` diamonds on top of each other: each level has two types, and every
// type has both types of the level above as parents.
template <class Type, class... Rest>
struct Diamonds {
  explicit Diamonds(int levels, Rest... rest) {
    std::vector<xrttiobject*> above;
    for (int level = 0; level < levels; ++level) {
      std::vector<xrttiobject*> both;
      for (const char* side : {"left", "right"}) {
        types.push_back(
            std::make_unique<Type>((side + std::to_string(level)).c_str(), above, rest...));
        both.push_back(types.back().get());
      }
      above = both;
    }
  }
  Type& bottom() { return *types.back(); }
  std::vector<std::unique_ptr<Type>> types;
};

// Where the table of virtual functions holds `member`.
template <class Member>
std::ptrdiff_t Slot(Member member) {
  std::ptrdiff_t offset;
  static_assert(sizeof(member) >= sizeof(offset), "the offset comes first");
  std::memcpy(&offset, &member, sizeof(offset));
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// ---- the class tree ----

template <class Derived, class Base>
constexpr bool kDerives = std::is_convertible<Derived*, Base*>::value;

// Two kinds in one: only virtual bases leave one xobject in it.
struct TwoKinds : xrttistruct, xrttiunion {
  TwoKinds() = default;
  unsigned char isDeletable() override { return xrttistruct::isDeletable(); }
  void* dyndowncast(const xrttiobject* t) override { return xrttistruct::dyndowncast(t); }
  xrttiobject* giveRtti() override { return xrttistruct::getClassRtti(); }
};

TEST(XRtti, ClassesDeriveVirtuallyFromTheirBases) {
  EXPECT_TRUE((kDerives<xrtti, xobject>));
  EXPECT_TRUE((kDerives<xrttibasic, xrtti> && kDerives<xrttienum, xrtti>));
  EXPECT_TRUE((kDerives<xrttiobject, xrtti> && kDerives<xrttistruct, xrttiobject>));
  EXPECT_TRUE((kDerives<xrttiarray, xrttiobject> && kDerives<xrttisequence, xrttiobject>));
  EXPECT_TRUE((kDerives<xrttidictionary, xrttiobject> && kDerives<xrttiunion, xrttiobject>));
  EXPECT_TRUE((kDerives<xrttiattr, xobject>));
  EXPECT_FALSE((kDerives<xrttiattr, xrtti>));
  EXPECT_TRUE((kDerives<TwoKinds, xrttiobject> && kDerives<TwoKinds, xobject>));
}

TEST(XRtti, OwnVirtualOperationsBeginWithNameSameAsAndKindOf) {
  const auto first = Slot(&xrtti::getName);
  EXPECT_EQ(Slot(&xrtti::isTypeSameAs), first + 1);
  EXPECT_EQ(Slot(&xrtti::isTypeKindOf), first + 2);
  EXPECT_GT(Slot(&xrtti::addUserData), first + 2);
}

TEST(XRttiObject, OwnVirtualOperationsBeginWithCountedAndParents) {
  const auto first = Slot(&xrttiobject::getIsRefCount);
  EXPECT_EQ(Slot(&xrttiobject::getNParents), first + 1);
  EXPECT_EQ(Slot(&xrttiobject::getParent), first + 2);
}

struct ObjectFields : xrttiobject {
  // Addresses of the fields in the order in which they are declared.
  std::vector<const void*> inOrder() const { return {&isRefCount, &nParents, &parents}; }
  bool allZero() const { return isRefCount == 0 && nParents == 0 && parents == nullptr; }
};

TEST(XRttiObject, ConstructorZeroesItsFieldsWhichStandInOrder) {
  alignas(ObjectFields) unsigned char storage[sizeof(ObjectFields)];
  std::memset(storage, 0xA5, sizeof(storage));
  auto* type = new (storage) ObjectFields;
  EXPECT_TRUE(type->allZero());
  const auto fields = type->inOrder();
  EXPECT_LT(fields[0], fields[1]);
  EXPECT_LT(fields[1], fields[2]);
  EXPECT_EQ(type->getIsRefCount(), 0);
  EXPECT_EQ(type->getNParents(), 0);
  type->~ObjectFields();
}

// ---- the descriptors of the descriptor classes ----

struct KindRow {
  const char* name;
  xrttiobject* descriptor;
  const char* parent;  // null: no parents
};

std::vector<KindRow> Kinds() {
  return {{"xrtti", xrtti::getClassRtti(), nullptr},
          {"xrttibasic", xrttibasic::getClassRtti(), "xrtti"},
          {"xrttienum", xrttienum::getClassRtti(), "xrtti"},
          {"xrttiobject", xrttiobject::getClassRtti(), "xrtti"},
          {"xrttiattr", xrttiattr::getClassRtti(), nullptr},
          {"xrttistruct", xrttistruct::getClassRtti(), "xrttiobject"},
          {"xrttiarray", xrttiarray::getClassRtti(), "xrttiobject"},
          {"xrttisequence", xrttisequence::getClassRtti(), "xrttiobject"},
          {"xrttidictionary", xrttidictionary::getClassRtti(), "xrttiobject"},
          {"xrttiunion", xrttiunion::getClassRtti(), "xrttiobject"}};
}

TEST(XRtti, DescriptorClassesAreStructuresWithoutAttributesUnderTheirBase) {
  for (const KindRow& row : Kinds()) {
    SCOPED_TRACE(row.name);
    auto* type = dynamic_cast<xrttistruct*>(row.descriptor);
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(NameOf(type), row.name);
    EXPECT_EQ(Text(type->getVelTypeName()), "xrttistruct");
    EXPECT_EQ(type->getNAttrs(), 0);
    EXPECT_EQ(type->getNParents(), row.parent ? 1 : 0);
    EXPECT_EQ(NameOf(type->getParent(0)), row.parent ? row.parent : "none");
    EXPECT_EQ(type->getIsRefCount(), 0);
  }
}

TEST(XRtti, EveryDescriptorKindAnswersItsOwnClass) {
  const std::pair<xobject*, const char*> rows[] = {
      {velGetRtti_int(), "xrttibasic"},
      {velGetRtti_object(), "xrttiobject"},
      {xrttibasic::getClassRtti(), "xrttistruct"},
      {xintsequence::getClassRtti(), "xrttisequence"},
      {xintdictionary::getClassRtti(), "xrttidictionary"},
  };
  for (const auto& row : rows) EXPECT_EQ(Text(row.first->getVelTypeName()), row.second);
  xrtti plain;
  xrttienum enumeration;
  xrttiarray array;
  xrttiunion choice;
  xrttiattr attr;
  EXPECT_EQ(Text(plain.getVelTypeName()), "xrtti");
  EXPECT_EQ(Text(enumeration.getVelTypeName()), "xrttienum");
  EXPECT_EQ(Text(array.getVelTypeName()), "xrttiarray");
  EXPECT_EQ(Text(choice.getVelTypeName()), "xrttiunion");
  EXPECT_EQ(Text(attr.getVelTypeName()), "xrttiattr");
}

TEST(XRtti, CastsKnowTheExactClassOnly) {
  xobject* type = velGetRtti_int();
  EXPECT_EQ(xrttibasic::cast(type), velGetRtti_int());
  EXPECT_EQ(xrtti::softcast(type), nullptr);
  EXPECT_EQ(xrttienum::softcast(type), nullptr);
  EXPECT_VEL_THROW(xrttistruct::cast(type), velXTypeMismatch);
}

TEST(XRtti, AttachingMarksADescriptorAsNotCounted) {
  auto* basic = new xrttibasic("xrtti_test::attached");
  EXPECT_EQ(xrcgetcount(basic), 0);
  {
    const xrcunihandle<xrtti> handle(basic);
    EXPECT_EQ(xrcgetcount(basic), -1);
    const xany value(static_cast<xobject*>(basic));
  }
  EXPECT_EQ(xrcgetcount(basic), -1);
  EXPECT_EQ(NameOf(basic), "xrtti_test::attached");
  delete basic;
}

TEST(XRtti, DescriptorsAndAttributesRefuseDeletion) {
  static Attr attr("kept");
  EXPECT_FALSE(velGetRtti_int()->isDeletable());
  EXPECT_FALSE(attr.isDeletable());
  xdelete(velGetRtti_int());
  xdelete(velGetRtti_object());
  xdelete(xintsequence::getClassRtti());
  xdelete(&attr);
  EXPECT_EQ(NameOf(velGetRtti_int()), "int");
  EXPECT_EQ(NameOf(velGetRtti_object()), "object");
  EXPECT_EQ(NameOf(xintsequence::getClassRtti()), "intseq");
  EXPECT_EQ(NameOf(&attr), "kept");
}

TEST(XRtti, IsNotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible<xrttibasic>::value);
  EXPECT_FALSE(std::is_copy_assignable<xrttistruct>::value);
  EXPECT_FALSE(std::is_copy_constructible<xrttiattr>::value);
  EXPECT_FALSE(std::is_copy_assignable<xrttiattr>::value);
}

// ---- names and identity ----

TEST(XRtti, NameIsCopiedAndNarrowFromTheStart) {
  char spelled[] = "xrtti_test::spelled";
  xrttibasic type(spelled);
  xrttiattr attr(spelled, &type, 0, nullptr);
  spelled[0] = '?';
  for (const xstring& name : {type.getName(), attr.getName()}) {
    EXPECT_EQ(Text(name), "xrtti_test::spelled");
    const char* narrow = name.getxstring_c_unattached().narrow;
    ASSERT_NE(narrow, nullptr);
    EXPECT_EQ(narrow, name.CastToCString());
    EXPECT_EQ(name.getxstring_c_unattached().wide, nullptr);
  }
}

TEST(XRtti, NameIsNullUntilGivenAndForNullTexts) {
  EXPECT_TRUE(xrttibasic().getName().IsNull());
  EXPECT_TRUE(xrttiobject().getName().IsNull());
  EXPECT_TRUE(xrttiattr().getName().IsNull());
  EXPECT_TRUE(xrttibasic(static_cast<const char*>(nullptr)).getName().IsNull());
  EXPECT_TRUE(xrttibasic(kNullText).getName().IsNull());
  EXPECT_TRUE(xrttiattr(kNullText, nullptr, 0, nullptr).getName().IsNull());
}

TEST(XRtti, SameAsIsByAddressThenByNameOfWhateverKind) {
  xrttibasic one("intseq");
  ObjectType two("intseq");
  EXPECT_TRUE(one.isTypeSameAs(&one));
  EXPECT_TRUE(one.isTypeSameAs(&two));
  EXPECT_TRUE(two.isTypeSameAs(&one));
  EXPECT_TRUE(two.isTypeSameAs(xintsequence::getClassRtti()));
  EXPECT_TRUE(xintsequence::getClassRtti()->isTypeSameAs(&one));
}

TEST(XRtti, SameAsComparesEveryByteOfTheName) {
  xrttibasic type("demo::Point");
  for (const char* other : {"demo::point", "demo::Poin", "demo::Points", "", "demo::Poin\xf4"}) {
    xrttibasic second(other);
    EXPECT_FALSE(type.isTypeSameAs(&second)) << other;
    EXPECT_FALSE(second.isTypeSameAs(&type)) << other;
  }
}

TEST(XRtti, NullIsNoType) {
  ObjectType object("xrtti_test::NoNull");
  EXPECT_FALSE(velGetRtti_int()->isTypeSameAs(nullptr));
  EXPECT_FALSE(velGetRtti_int()->isTypeKindOf(nullptr));
  EXPECT_FALSE(object.isTypeSameAs(nullptr));
  EXPECT_FALSE(object.isTypeKindOf(nullptr));
  EXPECT_FALSE(velGetRtti_any()->isTypeKindOf(nullptr));
}

TEST(XRtti, ANamelessTypeEqualsOnlyItself) {
  xrttibasic one;
  xrttibasic two;
  ObjectType child("xrtti_test::Child");
  EXPECT_TRUE(one.isTypeSameAs(&one));
  EXPECT_FALSE(one.isTypeSameAs(&two));
  EXPECT_FALSE(one.isTypeSameAs(&child));
  EXPECT_FALSE(child.isTypeSameAs(&one));
  EXPECT_TRUE(one.isTypeKindOf(&one));
  EXPECT_FALSE(one.isTypeKindOf(&two));
  EXPECT_TRUE(one.isTypeKindOf(velGetRtti_any()));
}

TEST(XRtti, ANamelessParentIsFoundByAddress) {
  ObjectType nameless(nullptr);
  ObjectType otherNameless(nullptr);
  ObjectType child("xrtti_test::ChildOfNameless", {&nameless});
  EXPECT_TRUE(child.isTypeKindOf(&nameless));
  EXPECT_FALSE(child.isTypeKindOf(&otherNameless));
  EXPECT_TRUE(nameless.isTypeKindOf(velGetRtti_object()));
}

TEST(XRtti, EmptyNamesCompareAsText) {
  xrttibasic one("");
  xrttibasic two("");
  xrttibasic nameless;
  EXPECT_TRUE(one.isTypeSameAs(&two));
  EXPECT_FALSE(one.isTypeSameAs(&nameless));
}

// Answers a descriptor without a name.
class Nameless : public virtual xobject {
  VEL_OBJECT(Nameless)
};
VEL_OBJECT_RTTI(Nameless, xrttistruct, [](xrttistruct* rtti) {
  rtti->initializeRttiStruct(nullptr, 1, 0, nullptr, 0, nullptr);
})

TEST(XRtti, AnObjectOfANamelessTypePrintsAndIsItself) {
  const xrchandle<Nameless> object(new Nameless);
  const std::string printed = velPrinted(xany(object), -1);
  EXPECT_EQ(printed.substr(printed.size() - 3), "{ }") << printed;
  EXPECT_TRUE(object->isSameAs(Nameless::getClassRtti()));
  EXPECT_FALSE(object->isSameAs(VelLogObject::getClassRtti()));
  EXPECT_EQ(Nameless::softcast(object.operator->()), object.operator->());
  EXPECT_TRUE(object->getVelTypeName().IsNull());
}

TEST(XRtti, BasicAndEnumTypesAreKindsOfAnyAndThemselvesOnly) {
  xrttienum colors("xrtti_test::Colors", 0, nullptr);
  for (xrtti* type : {static_cast<xrtti*>(velGetRtti_int()), static_cast<xrtti*>(&colors)}) {
    EXPECT_TRUE(type->isTypeKindOf(velGetRtti_any()));
    EXPECT_TRUE(type->isTypeKindOf(type));
    EXPECT_FALSE(type->isTypeKindOf(velGetRtti_object()));
    EXPECT_FALSE(type->isTypeKindOf(velGetRtti_bool()));
    EXPECT_FALSE(type->isTypeKindOf(velGetRtti_real()));
    EXPECT_FALSE(type->isTypeKindOf(xintsequence::getClassRtti()));
  }
}

TEST(XRtti, AnyAndObjectAreRecognisedByName) {
  xrttibasic any("any");
  ObjectType object("object");
  ObjectType own("xrtti_test::Own");
  EXPECT_TRUE(velGetRtti_int()->isTypeKindOf(&any));
  EXPECT_TRUE(own.isTypeKindOf(&any));
  EXPECT_TRUE(own.isTypeKindOf(&object));
  EXPECT_FALSE(velGetRtti_int()->isTypeKindOf(&object));
}

TEST(XRttiObject, IsAKindOfAnyObjectItselfAndEveryAncestor) {
  ObjectType grandparent("xrtti_test::Grandparent");
  ObjectType first("xrtti_test::First");
  ObjectType second("xrtti_test::Second", {&grandparent});
  ObjectType child("xrtti_test::Child", {&first, &second});
  ObjectType stranger("xrtti_test::Stranger");
  for (xrtti* type : std::initializer_list<xrtti*>{velGetRtti_any(), velGetRtti_object(), &child,
                                                   &first, &second, &grandparent}) {
    EXPECT_TRUE(child.isTypeKindOf(type)) << NameOf(type);
  }
  EXPECT_FALSE(child.isTypeKindOf(&stranger));
  EXPECT_FALSE(grandparent.isTypeKindOf(&child));
  EXPECT_FALSE(child.isTypeKindOf(velGetRtti_int()));
}

TEST(XRttiObject, AnAncestorIsRecognisedByName) {
  ObjectType parent("xrtti_test::Shared");
  ObjectType child("xrtti_test::Heir", {&parent});
  xrttibasic sameName("xrtti_test::Shared");
  EXPECT_TRUE(child.isTypeKindOf(&sameName));
}

TEST(XRttiObject, EveryKindOfObjectTypeIsAKindOfAnyAndObject) {
  for (xrttiobject* type : {velGetRtti_object(), xintsequence::getClassRtti(),
                            xanydictionary::getClassRtti(), velXNull::getClassRtti()}) {
    EXPECT_TRUE(type->isTypeKindOf(velGetRtti_any())) << NameOf(type);
    EXPECT_TRUE(type->isTypeKindOf(velGetRtti_object())) << NameOf(type);
  }
}

TEST(XRttiObject, ThirtyStackedDiamondsAreSearchedOnceEach) {
  // Path by path this would take 2^30 steps.
  Diamonds<ObjectType> diamonds(31);
  ObjectType stranger("xrtti_test::Stranger");
  EXPECT_FALSE(diamonds.bottom().isTypeKindOf(&stranger));
  EXPECT_TRUE(diamonds.bottom().isTypeKindOf(diamonds.types.front().get()));
}

TEST(XRttiObject, HundredsOfParentsAreAllAncestors) {
  std::vector<std::unique_ptr<ObjectType>> ancestors;
  std::vector<xrttiobject*> parents;
  for (int i = 0; i < 300; ++i) {
    std::vector<xrttiobject*> above;
    if (i % 2) above.push_back(parents.back());
    ancestors.push_back(std::make_unique<ObjectType>(("ancestor" + std::to_string(i)).c_str(), above));
    parents.push_back(ancestors.back().get());
  }
  parents.insert(parents.begin() + 100, nullptr);
  ObjectType type("xrtti_test::Many", parents);
  ObjectType stranger("xrtti_test::Stranger");
  for (const auto& ancestor : ancestors) EXPECT_TRUE(type.isTypeKindOf(ancestor.get()));
  EXPECT_FALSE(type.isTypeKindOf(&stranger));
}

TEST(XRttiObject, AParentCycleEndsAsNotFound) {
  ObjectType a("xrtti_test::CycleA", {nullptr});
  ObjectType b("xrtti_test::CycleB", {&a});
  ObjectType stranger("xrtti_test::Stranger");
  a.parentList[0] = &b;
  EXPECT_FALSE(a.isTypeKindOf(&stranger));
  EXPECT_TRUE(a.isTypeKindOf(&b));
  EXPECT_TRUE(b.isTypeKindOf(&a));
  ObjectType own("xrtti_test::OwnParent", {nullptr});
  own.parentList[0] = &own;
  EXPECT_FALSE(own.isTypeKindOf(&stranger));
}

TEST(XRttiObject, ALongChainOfParentsNeedsNoStack) {
  constexpr int kTypes = 100000;
  std::vector<std::unique_ptr<StructType>> chain;
  Attr top("top");
  chain.push_back(std::make_unique<StructType>("xrtti_test::Top", std::vector<xrttiobject*>{},
                                               std::vector<xrttiattr*>{&top}));
  for (int i = 1; i < kTypes; ++i) {
    chain.push_back(std::make_unique<StructType>("xrtti_test::Link",
                                                 std::vector<xrttiobject*>{chain.back().get()}));
  }
  EXPECT_TRUE(chain.back()->isTypeKindOf(chain.front().get()));
  EXPECT_EQ(chain.back()->findAttr("top", 1), &top);
}

// ---- enumerations ----

const char kAlias[] = "green";
const char* const kColors[] = {"red", "green", "blue", kAlias, ""};

TEST(XRttiEnum, MapsNumbersToTextsWithinItsBounds) {
  xrttienum colors("xrtti_test::Color", 5, kColors);
  EXPECT_EQ(NameOf(&colors), "xrtti_test::Color");
  EXPECT_EQ(colors.getNValues(), 5);
  const std::pair<int, const char*> rows[] = {
      {kNone, "null"}, {-1, "null"}, {0, "red"},  {1, "green"}, {2, "blue"},
      {3, "green"},    {4, ""},      {5, "null"}, {6, "null"},  {kMost, "null"}};
  for (const auto& row : rows) EXPECT_EQ(Text(colors.mapIntToString(row.first)), row.second);
}

TEST(XRttiEnum, MapsTextsToTheFirstNumber) {
  xrttienum colors("xrtti_test::Color", 5, kColors);
  const std::string copy = "blue";
  const std::pair<const char*, int> rows[] = {
      {"red", 0},    {"green", 1},    {copy.c_str(), 2}, {"", 4},           {"Red", kNone},
      {"re", kNone}, {"reds", kNone}, {nullptr, kNone},  {kNullText, kNone}};
  for (const auto& row : rows) EXPECT_EQ(colors.mapStringToInt(row.first), row.second);
}

TEST(XRttiEnum, AnEarlierEqualTextComesBeforeTheVeryPointer) {
  xrttienum colors("xrtti_test::Color", 5, kColors);
  EXPECT_EQ(colors.mapStringToInt(kAlias), 1);
}

TEST(XRttiEnum, TheVeryPointerIsFoundWithoutReadingIt) {
  const char* const texts[] = {kUnreadable};
  xrttienum type("xrtti_test::Pointer", 1, texts);
  EXPECT_EQ(type.mapStringToInt(kUnreadable), 0);
}

TEST(XRttiEnum, NullMatchesOnlyTheSamePointer) {
  const char* const texts[] = {kNullText, nullptr, ""};
  xrttienum type("xrtti_test::Nulls", 3, texts);
  EXPECT_EQ(type.mapStringToInt(kNullText), 0);
  EXPECT_EQ(type.mapStringToInt(nullptr), 1);
  EXPECT_EQ(type.mapStringToInt(""), 2);
  EXPECT_EQ(type.mapStringToInt("absent"), kNone);
  EXPECT_TRUE(type.mapIntToString(0).IsNull());
  EXPECT_TRUE(type.mapIntToString(1).IsNull());
}

TEST(XRttiEnum, AnEmptyOneHasNoValues) {
  xrttienum type("xrtti_test::Empty", 0, nullptr);
  EXPECT_EQ(type.getNValues(), 0);
  EXPECT_TRUE(type.mapIntToString(0).IsNull());
  EXPECT_EQ(type.mapStringToInt("red"), kNone);
  EXPECT_EQ(xrttienum().getNValues(), 0);
}

// ---- initialisers ----

// Notes what name it is given, and when.
template <class Kind>
struct Noting : Kind {
  std::vector<std::string> names;

 protected:
  void initializeRtti(const char* newName) override {
    names.push_back(newName);
    Kind::initializeRtti(newName);
  }
};

TEST(XRttiObject, EveryInitialiserSetsTheNameThroughInitializeRtti) {
  Noting<xrttiobject> object;
  object.initializeRttiObject("o", 1, 0, nullptr);
  EXPECT_EQ(object.names, std::vector<std::string>{"o"});
  Noting<xrttistruct> structure;
  structure.initializeRttiStruct("s", 1, 0, nullptr, 0, nullptr);
  EXPECT_EQ(structure.names, std::vector<std::string>{"s"});
  Noting<xrttiunion> choice;
  choice.initializeRttiUnion("u", 1, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr);
  EXPECT_EQ(choice.names, std::vector<std::string>{"u"});
  Noting<xrttiarray> array;
  array.initializeRttiArray("a", 1, 0, nullptr, nullptr, 0, nullptr);
  EXPECT_EQ(array.names, std::vector<std::string>{"a"});
  Noting<xrttisequence> sequence;
  sequence.initializeRttiSeq("q", 1, nullptr, 0, nullptr, nullptr);
  EXPECT_EQ(sequence.names, std::vector<std::string>{"q"});
  Noting<xrttidictionary> dictionary;
  dictionary.initializeRttiDict("d", 1, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(dictionary.names, std::vector<std::string>{"d"});
  EXPECT_EQ(NameOf(&dictionary), "d");
}

TEST(XRttiObject, KeepsTheFlagAndBorrowsTheParents) {
  ObjectType a("xrtti_test::A");
  ObjectType b("xrtti_test::B");
  xrttiobject* parents[] = {&a, &b};
  xrttiobject type;
  type.initializeRttiObject("xrtti_test::Two", 129, 2, parents);
  EXPECT_EQ(type.getIsRefCount(), 129);
  EXPECT_EQ(type.getNParents(), 2);
  parents[1] = &a;
  EXPECT_EQ(type.getParent(1), &a);
}

TEST(XRttiObject, ParentsEndAtTheirBounds) {
  ObjectType a("xrtti_test::A");
  ObjectType b("xrtti_test::B");
  ObjectType type("xrtti_test::Bounds", {&a, &b});
  const std::pair<int, xrttiobject*> rows[] = {{kNone, nullptr}, {-1, nullptr}, {0, &a},
                                               {1, &b},          {2, nullptr},  {kMost, nullptr}};
  for (const auto& row : rows) EXPECT_EQ(type.getParent(row.first), row.second) << row.first;
}

// ---- structures ----

TEST(XRttiStruct, AttributesEndAtTheirBounds) {
  Attr a("a");
  Attr b("b");
  StructType type("xrtti_test::Struct", {}, {&a, &b});
  EXPECT_EQ(type.getNAttrs(), 2);
  EXPECT_EQ(type.getIsRefCount(), 1);
  const std::pair<int, xrttiattr*> rows[] = {{kNone, nullptr}, {-1, nullptr}, {0, &a},
                                             {1, &b},          {2, nullptr},  {kMost, nullptr}};
  for (const auto& row : rows) EXPECT_EQ(type.getAttr(row.first), row.second) << row.first;
  EXPECT_EQ(xrttistruct().getNAttrs(), 0);
  EXPECT_EQ(xrttistruct().getAttr(0), nullptr);
}

TEST(XRttiStruct, FindAttrGivesTheFirstOfThatName) {
  Attr a("a");
  Attr again("a");
  Attr b("b");
  Attr nameless(nullptr);
  StructType type("xrtti_test::Struct", {}, {&nameless, &b, &a, &again});
  EXPECT_EQ(type.findAttr("a", 0), &a);
  EXPECT_EQ(type.findAttr("b", 0), &b);
  EXPECT_EQ(type.findAttr("A", 0), nullptr);
  EXPECT_EQ(type.findAttr("", 1), nullptr);
  EXPECT_EQ(type.findAttr(nullptr, 1), nullptr);
  EXPECT_EQ(type.findAttr(kNullText, 1), nullptr);
}

TEST(XRttiStruct, FindAttrLooksAtParentsOnlyWhenAskedAndLast) {
  Attr mine("x");
  Attr inherited("x");
  Attr far("far");
  StructType grandparent("xrtti_test::Grandparent", {}, {&far});
  StructType parent("xrtti_test::Parent", {&grandparent}, {&inherited});
  StructType child("xrtti_test::Child", {&parent}, {&mine});
  EXPECT_EQ(child.findAttr("x", 1), &mine);
  EXPECT_EQ(child.findAttr("far", 0), nullptr);
  EXPECT_EQ(child.findAttr("far", 1), &far);
  EXPECT_EQ(child.findAttr("far", 128), &far);
  EXPECT_EQ(child.findAttr("none", 1), nullptr);
}

TEST(XRttiStruct, FindAttrGoesDepthFirstThroughTheParentsInOrder) {
  Attr ofGrandparent("x");
  Attr ofSecond("x");
  StructType grandparent("xrtti_test::Grandparent", {}, {&ofGrandparent});
  StructType first("xrtti_test::First", {&grandparent});
  StructType second("xrtti_test::Second", {}, {&ofSecond});
  StructType child("xrtti_test::Child", {&first, &second});
  EXPECT_EQ(child.findAttr("x", 1), &ofGrandparent);
}

TEST(XRttiStruct, FindAttrThrowsForAParentThatIsNoStructure) {
  Attr a("a");
  ObjectType notOne("xrtti_test::NotAStruct");
  StructType child("xrtti_test::Child", {&notOne}, {&a});
  EXPECT_EQ(child.findAttr("a", 1), &a);
  EXPECT_EQ(child.findAttr("b", 0), nullptr);
  const auto caught = velCaught([&] { child.findAttr("b", 1); });
  auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
  ASSERT_NE(mismatch, nullptr);
  EXPECT_EQ(Text(mismatch->getTypeName()), "xrttistruct");
  EXPECT_EQ(mismatch->getVelObject().operator xobject*(), static_cast<xobject*>(&notOne));
}

TEST(XRttiStruct, FindAttrFindsBeforeItMeetsAParentOfAnotherKind) {
  Attr a("a");
  ObjectType notOne("xrtti_test::NotAStruct");
  StructType first("xrtti_test::First", {}, {&a});
  StructType child("xrtti_test::Child", {&first, &notOne});
  EXPECT_EQ(child.findAttr("a", 1), &a);
  EXPECT_VEL_THROW(child.findAttr("b", 1), velXTypeMismatch);
}

// A user's own kind of structure, which makes its attributes up.
struct ComputedStruct : xrttistruct {
  int getNAttrs() override { return 1; }
  xrttiattr* getAttr(int index) override { return index == 0 ? &attr : nullptr; }
  Attr attr{"computed"};
};

TEST(XRttiStruct, FindAttrAcceptsAndAsksUsersSubclasses) {
  ComputedStruct parent;
  StructType child("xrtti_test::Child", {&parent});
  EXPECT_EQ(parent.findAttr("computed", 0), &parent.attr);
  EXPECT_EQ(child.findAttr("computed", 1), &parent.attr);
}

TEST(XRttiStruct, FindAttrSurvivesDiamondsAndCycles) {
  Diamonds<StructType> diamonds(31);
  EXPECT_EQ(diamonds.bottom().findAttr("none", 1), nullptr);
  Attr b("b");
  StructType first("xrtti_test::CycleA", {nullptr});
  StructType second("xrtti_test::CycleB", {&first}, {&b});
  first.parentList[0] = &second;
  EXPECT_EQ(first.findAttr("none", 1), nullptr);
  EXPECT_EQ(first.findAttr("b", 1), &b);
}

// ---- unions ----

TEST(XRttiUnion, AccessorsEndAtTheirBounds) {
  Attr kind("kind");
  Attr a("a");
  Attr b("b");
  Attr rest("rest");
  UnionType type("xrtti_test::Union", {}, {{7, &a}, {-3, &b}}, &rest, &kind);
  EXPECT_EQ(type.getDiscr(), &kind);
  EXPECT_EQ(type.getDefaultAttr(), &rest);
  EXPECT_EQ(type.getNLabels(), 2);
  struct Row {
    int index, label;
    xrttiattr* attr;
  };
  const Row rows[] = {{kNone, kNone, nullptr}, {-1, kNone, nullptr},   {0, 7, &a}, {1, -3, &b},
                      {2, kNone, nullptr},     {kMost, kNone, nullptr}};
  for (const Row& row : rows) {
    EXPECT_EQ(type.getLabel(row.index), row.label) << row.index;
    EXPECT_EQ(type.getAttr(row.index), row.attr) << row.index;
  }
  EXPECT_EQ(xrttiunion().getDiscr(), nullptr);
  EXPECT_EQ(xrttiunion().getDefaultAttr(), nullptr);
  EXPECT_EQ(xrttiunion().getNLabels(), 0);
}

TEST(XRttiUnion, MapLabelGivesTheFirstBranchOfThatLabel) {
  Attr a("a");
  Attr b("b");
  UnionType type("xrtti_test::Union", {}, {{1, &a}, {2, &b}, {1, &b}});
  EXPECT_EQ(type.mapLabelToAttr(1, 0), &a);
  EXPECT_EQ(type.mapLabelToAttr(2, 1), &b);
  EXPECT_EQ(type.mapLabelToAttr(3, 0), nullptr);
  EXPECT_EQ(type.mapLabelToAttr(3, 1), nullptr);
}

TEST(XRttiUnion, TheDefaultWinsOverALabelOfAParent) {
  Attr rest("rest");
  Attr inherited("inherited");
  UnionType parent("xrtti_test::Parent", {}, {{5, &inherited}});
  UnionType child("xrtti_test::Child", {&parent}, {}, &rest);
  EXPECT_EQ(child.mapLabelToAttr(5, 1), &rest);
  EXPECT_EQ(child.mapLabelToAttr(5, 0), &rest);
}

TEST(XRttiUnion, ADefaultKeepsParentsOfAnotherKindFromBeingMet) {
  Attr rest("rest");
  ObjectType notOne("xrtti_test::NotAUnion");
  UnionType child("xrtti_test::Child", {&notOne}, {}, &rest);
  EXPECT_EQ(child.mapLabelToAttr(5, 1), &rest);
}

TEST(XRttiUnion, MapLabelSearchesParentsDepthFirstWhenAsked) {
  Attr far("far");
  Attr near("near");
  UnionType grandparent("xrtti_test::Grandparent", {}, {{5, &far}});
  UnionType first("xrtti_test::First", {&grandparent}, {{6, &near}});
  UnionType second("xrtti_test::Second", {}, {{5, &near}});
  UnionType child("xrtti_test::Child", {&first, &second}, {});
  EXPECT_EQ(child.mapLabelToAttr(5, 1), &far);
  EXPECT_EQ(child.mapLabelToAttr(6, 1), &near);
  EXPECT_EQ(child.mapLabelToAttr(5, 0), nullptr);
  EXPECT_EQ(child.mapLabelToAttr(7, 1), nullptr);
}

TEST(XRttiUnion, AParentsDefaultIsItsAnswer) {
  Attr rest("rest");
  Attr listed("listed");
  UnionType first("xrtti_test::First", {}, {}, &rest);
  UnionType second("xrtti_test::Second", {}, {{5, &listed}});
  UnionType child("xrtti_test::Child", {&first, &second}, {});
  EXPECT_EQ(child.mapLabelToAttr(5, 1), &rest);
}

TEST(XRttiUnion, ALabelListedWithoutABranchIsSettledInItsType) {
  Attr rest("rest");
  Attr far("far");
  Attr listed("listed");
  UnionType grandparent("xrtti_test::Grandparent", {}, {{5, &far}});
  UnionType first("xrtti_test::First", {&grandparent}, {{5, nullptr}}, &rest);
  UnionType second("xrtti_test::Second", {}, {{5, &listed}});
  EXPECT_EQ(first.mapLabelToAttr(5, 1), nullptr);
  UnionType onlyFirst("xrtti_test::OnlyFirst", {&first}, {});
  EXPECT_EQ(onlyFirst.mapLabelToAttr(5, 1), nullptr);
  UnionType both("xrtti_test::Both", {&first, &second}, {});
  EXPECT_EQ(both.mapLabelToAttr(5, 1), &listed);
}

TEST(XRttiUnion, MapLabelThrowsForAParentThatIsNoUnion) {
  StructType notOne("xrtti_test::NotAUnion");
  UnionType child("xrtti_test::Child", {&notOne}, {});
  EXPECT_EQ(child.mapLabelToAttr(5, 0), nullptr);
  const auto caught = velCaught([&] { child.mapLabelToAttr(5, 1); });
  auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
  ASSERT_NE(mismatch, nullptr);
  EXPECT_EQ(Text(mismatch->getTypeName()), "xrttiunion");
  EXPECT_EQ(mismatch->getVelObject().operator xobject*(), static_cast<xobject*>(&notOne));
}

struct ComputedUnion : xrttiunion {
  int getNLabels() override { return 1; }
  int getLabel(int) override { return 9; }
  xrttiattr* getAttr(int) override { return &attr; }
  Attr attr{"computed"};
};

TEST(XRttiUnion, MapLabelAcceptsAndAsksUsersSubclasses) {
  ComputedUnion parent;
  UnionType child("xrtti_test::Child", {&parent}, {});
  EXPECT_EQ(child.mapLabelToAttr(9, 1), &parent.attr);
}

TEST(XRttiUnion, MapLabelSurvivesDiamondsAndCycles) {
  Diamonds<UnionType, std::vector<std::pair<int, xrttiattr*>>> diamonds(31, {});
  EXPECT_EQ(diamonds.bottom().mapLabelToAttr(5, 1), nullptr);
  Attr b("b");
  UnionType first("xrtti_test::CycleA", {nullptr}, {});
  UnionType second("xrtti_test::CycleB", {&first}, {{1, &b}});
  first.parentList[0] = &second;
  EXPECT_EQ(first.mapLabelToAttr(5, 1), nullptr);
  EXPECT_EQ(first.mapLabelToAttr(1, 1), &b);
}

TEST(XRttiUnion, ALabelAsValueConvertsToInt) {
  static xrttienum colors("xrtti_test::Color", 5, kColors);
  Attr one("one");
  Attr nil("nil");
  Attr uninit("uninit");
  UnionType parent("xrtti_test::Parent", {}, {{1, &one}});
  UnionType type("xrtti_test::Union", {&parent}, {{kNone, &nil}, {kNone + 1, &uninit}});
  EXPECT_EQ(type.mapLabelToAttr(xany(1), 1), &one);
  EXPECT_EQ(type.mapLabelToAttr(xany(1), 0), nullptr);
  EXPECT_EQ(type.mapLabelToAttr(xany(1, &colors), 1), &one);
  EXPECT_EQ(type.mapLabelToAttr(xany(xanyNil), 0), &nil);
  EXPECT_EQ(type.mapLabelToAttr(xany(), 0), &uninit);
}

TEST(XRttiUnionDeathTest, ALabelOfAnotherKindEndsTheProcess) {
  const xany rows[] = {xany(true), xany(1.0), xany("1"), xany(xintsequence::create())};
  for (const xany& label : rows) {
    UnionType type("xrtti_test::Union", {}, {});
    EXPECT_VEL_ABORT(type.mapLabelToAttr(label, 0), "Can not convert xany to xint.",
                     "velbase/inc/velxobj_i", 170);
  }
}

// ---- arrays ----

// What the getters below were called with.
struct Call {
  xobject* object = nullptr;
  std::vector<int> indices;
};
Call lastCall;
int indexCount = 0;

xany NoteIndices(xobject* array, int* indices) {
  lastCall = {array, std::vector<int>(indices, indices + indexCount)};
  return xany(indexCount);
}

xany ThrowAtIndices(xobject* array, int* indices) {
  velhThrowInvalidArrayIndex(array, indices[0], 0);
}

xrchandle<xintsequence> IndexSequence(int count) {
  auto sequence = xintsequence::create();
  for (int i = 0; i < count; ++i) sequence->append(100 + i);
  return sequence;
}

TEST(XRttiArray, AccessorsEndAtTheirBounds) {
  const int sizes[] = {3, 0};
  xrttiarray type;
  type.initializeRttiArray("xrtti_test::Array", 1, 2, sizes, velGetRtti_int(), 129, nullptr);
  EXPECT_EQ(NameOf(&type), "xrtti_test::Array");
  EXPECT_EQ(type.getIsRefCount(), 1);
  EXPECT_EQ(type.getNParents(), 0);
  EXPECT_EQ(type.getNDimentions(), 2);
  EXPECT_EQ(type.getElemType(), velGetRtti_int());
  EXPECT_EQ(type.getIsElemOptional(), 129);
  const std::pair<int, int> rows[] = {{kNone, kNone}, {-1, kNone}, {0, 3},
                                      {1, 0},         {2, kNone},  {kMost, kNone}};
  for (const auto& row : rows) EXPECT_EQ(type.getDimention(row.first), row.second) << row.first;
  EXPECT_EQ(xrttiarray().getNDimentions(), 0);
  EXPECT_EQ(xrttiarray().getElemType(), nullptr);
}

TEST(XRttiArray, ReadsThroughItsGetter) {
  xobject array;
  const int sizes[] = {3, 3};
  xrttiarray type;
  type.initializeRttiArray("xrtti_test::Array", 1, 2, sizes, velGetRtti_int(), 0, &NoteIndices);
  int indices[] = {1, 2};
  indexCount = 2;
  EXPECT_EQ(type.getElemValue(&array, indices).operator int(), 2);
  EXPECT_EQ(lastCall.object, &array);
  EXPECT_EQ(lastCall.indices, (std::vector<int>{1, 2}));
}

TEST(XRttiArray, ReadsByIndexSequenceOfAnyLength) {
  xobject array;
  for (const int count : {1, 2, 9, 10, 11, 12, 1000}) {
    SCOPED_TRACE(count);
    const std::vector<int> sizes(static_cast<std::size_t>(count), 5000);
    xrttiarray type;
    type.initializeRttiArray("xrtti_test::Array", 1, count, sizes.data(), velGetRtti_int(), 0,
                             &NoteIndices);
    indexCount = count;
    const auto sequence = IndexSequence(count);
    EXPECT_EQ(type.getElemValue(&array, sequence).operator int(), count);
    EXPECT_EQ(lastCall.object, &array);
    ASSERT_EQ(lastCall.indices.size(), sizes.size());
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(lastCall.indices[static_cast<std::size_t>(i)], 100 + i);
    }
    EXPECT_EQ(xrcgetcount(sequence.operator->()), 1);
  }
}

TEST(XRttiArray, MissingIndicesAreZeroAndSurplusOnesPassedOn) {
  const std::vector<int> sizes(12, 5);
  xrttiarray type;
  type.initializeRttiArray("xrtti_test::Array", 1, 3, sizes.data(), velGetRtti_int(), 0,
                           &NoteIndices);
  indexCount = 3;
  type.getElemValue(nullptr, IndexSequence(1));
  EXPECT_EQ(lastCall.indices, (std::vector<int>{100, 0, 0}));
  type.getElemValue(nullptr, IndexSequence(0));
  EXPECT_EQ(lastCall.indices, (std::vector<int>{0, 0, 0}));
  indexCount = 5;
  type.getElemValue(nullptr, IndexSequence(5));
  EXPECT_EQ(lastCall.indices, (std::vector<int>{100, 101, 102, 103, 104}));
  type.initializeRttiArray("xrtti_test::Array", 1, 12, sizes.data(), velGetRtti_int(), 0,
                           &NoteIndices);
  indexCount = 12;
  type.getElemValue(nullptr, IndexSequence(2));
  EXPECT_EQ(lastCall.indices, (std::vector<int>{100, 101, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(XRttiArray, ANullIndexSequenceThrowsNull) {
  xrttiarray type;
  type.initializeRttiArray("xrtti_test::Array", 1, 0, nullptr, nullptr, 0, &NoteIndices);
  EXPECT_VEL_THROW(type.getElemValue(nullptr, xrchandle<xintsequence>()), velXNull);
}

TEST(XRttiArray, WhatTheGetterThrowsPassesAndTheSequenceIsReleased) {
  xrttiarray type;
  type.initializeRttiArray("xrtti_test::Array", 1, 0, nullptr, nullptr, 0, &ThrowAtIndices);
  const auto sequence = IndexSequence(20);
  EXPECT_VEL_THROW(type.getElemValue(nullptr, sequence), velXInvalidArrayIndex);
  EXPECT_EQ(xrcgetcount(sequence.operator->()), 1);
}

// ---- sequences and dictionaries ----

struct Record : xobject {
  int number = 5;
};

TEST(XRttiSequence, KeepsItsPartsAndCallsItsFunctions) {
  Record record;
  xrttisequence type;
  type.initializeRttiSeq(
      "xrtti_test::Seq", 1, velGetRtti_real(), 130,
      [](xobject* o) { return dynamic_cast<Record*>(o)->number; },
      [](xobject* o, int index) { return xany(dynamic_cast<Record*>(o)->number + index); });
  EXPECT_EQ(NameOf(&type), "xrtti_test::Seq");
  EXPECT_EQ(type.getIsRefCount(), 1);
  EXPECT_EQ(type.getNParents(), 0);
  EXPECT_EQ(type.getElemType(), velGetRtti_real());
  EXPECT_EQ(type.getIsElemOptional(), 130);
  EXPECT_EQ(type.getSize(&record), 5);
  EXPECT_EQ(type.getElemValue(&record, -7).operator int(), -2);
}

TEST(XRttiDictionary, KeepsItsPartsAndCallsItsFunctions) {
  Record record;
  xrttidictionary type;
  type.initializeRttiDict(
      "xrtti_test::Dict", 1, velGetRtti_int(), 1,
      [](xobject* o) { return dynamic_cast<Record*>(o)->number; },
      [](xobject*, const char* key, xany* value) -> unsigned char {
        *value = key;
        return 129;
      },
      [](xobject*, int index, xstring* key) -> unsigned char {
        *key = index == 3 ? "three" : "other";
        return 128;
      },
      [](xobject*, int index, xany* value) -> unsigned char {
        *value = index;
        return 2;
      });
  EXPECT_EQ(NameOf(&type), "xrtti_test::Dict");
  EXPECT_EQ(type.getIsRefCount(), 1);
  EXPECT_EQ(type.getNParents(), 0);
  EXPECT_EQ(type.getElemType(), velGetRtti_int());
  EXPECT_EQ(type.getIsElemOptional(), 1);
  EXPECT_EQ(type.getSize(&record), 5);
  xany value;
  xstring key;
  EXPECT_EQ(type.findElemValue(&record, "k", &value), 129);
  EXPECT_TRUE(value == "k");
  EXPECT_EQ(type.getElemKeyByIdx(&record, 3, &key), 128);
  EXPECT_EQ(Text(key), "three");
  EXPECT_EQ(type.getElemValueByIdx(&record, -4, &value), 2);
  EXPECT_EQ(value.operator int(), -4);
}

// ---- attributes ----

TEST(XRttiAttr, KeepsItsPartsAndCallsItsGetter) {
  Record record;
  xrttiattr attr("number", velGetRtti_int(), 129,
                 [](xobject* o) { return xany(dynamic_cast<Record*>(o)->number); });
  EXPECT_EQ(NameOf(&attr), "number");
  EXPECT_EQ(attr.getType(), velGetRtti_int());
  EXPECT_EQ(attr.getIsOptional(), 129);
  EXPECT_EQ(attr.getValue(&record).operator int(), 5);
}

TEST(XRttiAttr, WhatTheGetterThrowsPasses) {
  xrttiattr attr("broken", velGetRtti_int(), 0, [](xobject*) -> xany { velhThrowNull(); });
  EXPECT_VEL_THROW(attr.getValue(nullptr), velXNull);
}

TEST(XRtti, AMissingGetterAnswersUninitZeroOrFalse) {
  xrttiattr attr("none", velGetRtti_int(), 0, nullptr);
  EXPECT_TRUE(attr.getValue(nullptr).isuninit());
  xrttiarray array;
  int index = 0;
  EXPECT_TRUE(array.getElemValue(nullptr, &index).isuninit());
  EXPECT_TRUE(array.getElemValue(nullptr, xintsequence::create()).isuninit());
  xrttisequence sequence;
  EXPECT_EQ(sequence.getSize(nullptr), 0);
  EXPECT_TRUE(sequence.getElemValue(nullptr, 0).isuninit());
  xrttidictionary dictionary;
  xany value(1);
  xstring key("k");
  EXPECT_EQ(dictionary.getSize(nullptr), 0);
  EXPECT_FALSE(dictionary.findElemValue(nullptr, "k", &value));
  EXPECT_FALSE(dictionary.getElemKeyByIdx(nullptr, 0, &key));
  EXPECT_FALSE(dictionary.getElemValueByIdx(nullptr, 0, &value));
  EXPECT_EQ(value.operator int(), 1);
  EXPECT_EQ(Text(key), "k");
}

// ---- overriding ----

// Changes every answer that has one; a member that were not virtual, or that
// were const, would make this not compile.
struct OddStruct : xrttistruct {
  xstring getName() override { return "odd"; }
  bool isTypeSameAs(xrtti*) override { return true; }
  bool isTypeKindOf(xrtti*) override { return true; }
  unsigned char getIsRefCount() override { return 3; }
  int getNParents() override { return 0; }
  xrttiobject* getParent(int) override { return this; }
  int getNAttrs() override { return 0; }
  xrttiattr* getAttr(int) override { return nullptr; }
  xrttiattr* findAttr(const char*, unsigned char) override { return nullptr; }
};
struct OddUnion : xrttiunion {
  xrttiattr* getDiscr() override { return nullptr; }
  int getNLabels() override { return 0; }
  int getLabel(int) override { return 0; }
  xrttiattr* getAttr(int) override { return nullptr; }
  xrttiattr* getDefaultAttr() override { return nullptr; }
  xrttiattr* mapLabelToAttr(int label, unsigned char) override {
    return label == 4 ? &four : nullptr;
  }
  using xrttiunion::mapLabelToAttr;
  Attr four{"four"};
};
struct OddArray : xrttiarray {
  int getNDimentions() override { return 0; }
  int getDimention(int) override { return 0; }
  xrtti* getElemType() override { return nullptr; }
  unsigned char getIsElemOptional() override { return 0; }
  xany getElemValue(xobject*, int*) override { return xany(8); }
  xany getElemValue(xobject* a, xrchandle<xintsequence> i) override {
    return xrttiarray::getElemValue(a, i);
  }
};
struct OddSequence : xrttisequence {
  xrtti* getElemType() override { return nullptr; }
  unsigned char getIsElemOptional() override { return 0; }
  int getSize(xobject*) override { return 1; }
  xany getElemValue(xobject*, int) override { return xany(9); }
};
struct OddDictionary : xrttidictionary {
  xrtti* getElemType() override { return nullptr; }
  unsigned char getIsElemOptional() override { return 0; }
  int getSize(xobject*) override { return 1; }
  unsigned char findElemValue(xobject*, const char*, xany*) override { return 1; }
  unsigned char getElemKeyByIdx(xobject*, int, xstring*) override { return 1; }
  unsigned char getElemValueByIdx(xobject*, int, xany*) override { return 1; }
};
struct OddAttr : xrttiattr {
  xstring getName() override { return "odd"; }
  xrtti* getType() override { return nullptr; }
  unsigned char getIsOptional() override { return 0; }
  xany getValue(xobject*) override { return xany(10); }
};
struct OddEnum : xrttienum {
  int getNValues() override { return 1; }
  xstring mapIntToString(int) override { return "odd"; }
  int mapStringToInt(const char*) override { return 11; }
};

TEST(XRtti, EveryAccessorCanBeOverridden) {
  OddStruct structure;
  OddUnion choice;
  OddArray array;
  OddSequence sequence;
  OddDictionary dictionary;
  OddAttr attr;
  OddEnum enumeration;
  EXPECT_EQ(NameOf<xrtti>(&structure), "odd");
  EXPECT_TRUE(static_cast<xrtti&>(structure).isTypeKindOf(nullptr));
  EXPECT_EQ(static_cast<xrttiobject&>(structure).getIsRefCount(), 3);
  EXPECT_EQ(static_cast<xrttisequence&>(sequence).getSize(nullptr), 1);
  EXPECT_EQ(static_cast<xrttidictionary&>(dictionary).findElemValue(nullptr, "", nullptr), 1);
  EXPECT_EQ(static_cast<xrttiattr&>(attr).getValue(nullptr).operator int(), 10);
  EXPECT_EQ(static_cast<xrttienum&>(enumeration).mapStringToInt(""), 11);
  // The forms over a value and over an index sequence end in the plain ones.
  EXPECT_EQ(static_cast<xrttiunion&>(choice).mapLabelToAttr(xany(4), 0), &choice.four);
  EXPECT_EQ(
      static_cast<xrttiarray&>(array).getElemValue(nullptr, xintsequence::create()).operator int(),
      8);
}

}  // namespace
