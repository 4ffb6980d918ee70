// Objects made and filled by code that knows nothing but names.
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "velcompare.h"
#include "vels11n.h"
#include "veltest.h"
#include "xrttiattrseq.h"

namespace {

// ---- users' types ----

// Has dropped attributes.
class Letter : public virtual xobject, public velDeprecationSupport {
  VEL_ATTRIBUTED(Letter, xobject())
  VEL_ATTRIBUTE(xstring, Subject)
 public:
  Letter() = default;
  Letter(const Letter&) = delete;
  Letter& operator=(const Letter&) = delete;
};
VEL_ATTRIBUTED_RTTI(Letter, "veltest::Letter", nullptr, VEL_ATTRIBUTE_INFO(Subject))

// An exception with an attribute of its parent's name.
class XHot : public velXNegativeIndex {
  VEL_ATTRIBUTED(XHot, velXNegativeIndex(context))
  VEL_ATTRIBUTE(int, Degrees)
 public:
  xstring getDescription() const { return own; }

 protected:
  void _s11n_setDescription(xstring value) override { own = value; }

 private:
  xstring own;
};
VEL_ATTRIBUTED_RTTI(XHot, "veltest::XHot", velXNegativeIndex::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Degrees), VEL_ATTRIBUTE_INFO(Description))

// Keeps what it was made with.
class Sensitive : public velS11nContextSensitive {
  VEL_OBJECT(Sensitive)
  friend struct ::velS11nAccess;
  static void* _s11n_create(velS11nContext* context) {
    auto* made = new Sensitive;
    made->context = context;
    xrcattach(made);
    return made;
  }

 public:
  velS11nContext* context = nullptr;
};
VEL_OBJECT_RTTI(Sensitive, xrttistruct, [](xrttistruct* rtti) {
  velInitializeStruct(rtti, "veltest::Sensitive", &velS11nAccess::createObject<Sensitive>,
                      velS11nContextSensitive::getClassRtti(), {});
})

// A diamond: Top above Left and Right above Bottom; Left and Right both have a Side.
class Top : public virtual xobject {
  VEL_ATTRIBUTED(Top, xobject())
  VEL_ATTRIBUTE(int, Height)
 public:
  Top() = default;
  Top(const Top&) = delete;
  Top& operator=(const Top&) = delete;
};
class Left : public virtual Top {
  VEL_ATTRIBUTED(Left, Top(context))
  VEL_ATTRIBUTE(int, Side)
 public:
  Left() = default;
};
class Right : public virtual Top {
  VEL_ATTRIBUTED(Right, Top(context))
  VEL_ATTRIBUTE(int, Side)
  VEL_ATTRIBUTE(xany, Extra)
 public:
  Right() = default;
};
class Bottom : public Left, public Right {
  VEL_OBJECT(Bottom)
};
VEL_ATTRIBUTED_RTTI(Top, "veltest::Top", nullptr, VEL_ATTRIBUTE_INFO(Height))
VEL_ATTRIBUTED_RTTI(Left, "veltest::Left", Top::getClassRtti(), VEL_ATTRIBUTE_INFO(Side))
VEL_ATTRIBUTED_RTTI(Right, "veltest::Right", Top::getClassRtti(), VEL_ATTRIBUTE_INFO(Side),
                    VEL_ATTRIBUTE_INFO(Extra))
VEL_OBJECT_RTTI(Bottom, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* const parents[] = {Left::getClassRtti(), Right::getClassRtti()};
  rtti->initializeRttiStruct("veltest::Bottom", 1, 2, parents, 0, nullptr);
})

// ---- reading and building by name ----

using Object = xrchandle<xobject>;

Object create(const char* typeName) {
  xobject* made = velS11nCreate(typeName, nullptr);
  const Object held(made);
  xrcrelease(made);
  return held;
}

// An object as data: the name of its type, names and values of its attributes.
struct Record {
  struct Value;
  std::string type;
  std::vector<std::pair<std::string, Value>> attributes;
};
struct Record::Value {
  xany plain;
  std::vector<Record> object;  // one if the value can be built by name
};

std::string text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }

std::vector<xrttiattr*> attributesOf(xrttistruct* type) {
  xrttiattrseq* found = velRttiCollectAttrs(type, 1);
  std::vector<xrttiattr*> all;
  for (int i = 0; i < found->getarraysize(); ++i) all.push_back(found->get(i));
  xdelete(found);
  return all;
}

Record read(xobject* object) {
  auto* type = dynamic_cast<xrttistruct*>(object->getRtti());
  Record record{text(type->getName()), {}};
  for (xrttiattr* attr : attributesOf(type)) {
    const xany value = attr->getValue(object);
    Record::Value stored{value, {}};
    if (value.getkind() == xanyObject && velRttiGetUserData(value.getRtti(), "_s11n_create")) {
      stored = {xany(), {read(value.operator xobject*())}};
    }
    record.attributes.emplace_back(text(attr->getName()), stored);
  }
  return record;
}

Object build(const Record& record) {
  const Object made = create(record.type.c_str());
  for (const auto& [name, value] : record.attributes) {
    const xany given = value.object.empty() ? value.plain : xany(build(value.object[0]));
    EXPECT_TRUE(velS11nSet(made, name.c_str(), given)) << record.type << ' ' << name;
  }
  return made;
}

Object thrownBy(const std::function<void()>& raise) {
  return static_cast<xthrowable*>(velCaught(raise));
}

// One object of every registered type that can be built, all attributes set.
std::vector<Object> everyKind() {
  const auto seq = xintsequence::create();
  seq->append(4);
  const xrchandle<velXFunc> func = new velXFunc("function", new velXArgs);
  const xrchandle<velXException> source = new velXExternFunc("source", func);
  return {
      new velXException("description"),
      thrownBy([] { velXNull::Throw(); }),
      thrownBy([&] { velXTypeMismatch::Throw("type", seq); }),
      thrownBy([&] { velXInvalidArrayIndex::Throw(seq, 7, 2); }),
      thrownBy([&] { velXInvalidSeqIndex::Throw(seq, 8); }),
      thrownBy([&] { velXInvalidDictIndex::Throw(seq, 9); }),
      thrownBy([&] { velXInvalidDictKey::Throw(seq, "key"); }),
      thrownBy([] { velXNegativeIndex::Throw(-1); }),
      thrownBy([] { velXNotInitialized::Throw(); }),
      thrownBy([&] { velXRefCountable::Throw(seq); }),
      thrownBy([] { velXNativeException::Throw("text"); }),
      thrownBy([] { velXConnectionClosed::Throw(); }),
      new velXArgs,
      func,
      source,
      thrownBy([&] { velXSerialization::Throw("text", source); }),
      thrownBy([&] { velXSoapFault::Throw("code", "string", 2.5); }),
      thrownBy([] { velXSoapTransport::Throw("text"); }),
      thrownBy([] { velXSoapHttpTransport::Throw("text", 404, "reason"); }),
      thrownBy([] { xportXCannotConnect::Throw("host", 80); }),
      thrownBy([] { xportXMsgStringTooLong::Throw("message"); }),
      thrownBy([] { xportXFlushFailed::Throw(); }),
      thrownBy([] { xportXNullInNonOptArg::Throw("parameter"); }),
      thrownBy([] { xportXTimeout::Throw("operation"); }),
  };
}

// The names of the registered types that can be built, without those of this test.
std::set<std::string> buildableTypes() {
  std::set<std::string> names;
  velRttiForEach(
      [](xrtti* type, void* data) {
        const std::string name = text(type->getName());
        if (name.rfind("veltest::", 0) != 0 && velRttiGetUserData(type, "_s11n_create")) {
          static_cast<std::set<std::string>*>(data)->insert(name);
        }
        return true;
      },
      &names);
  return names;
}

}  // namespace

// ---- every type ----

TEST(VelS11nByName, EveryTypeIsRebuiltFromNamesAndValues) {
  std::set<std::string> seen;
  for (const Object& object : everyKind()) {
    const Record record = read(object);
    SCOPED_TRACE(record.type);
    seen.insert(record.type);
    const Object rebuilt = build(record);
    EXPECT_NE(rebuilt.operator->(), object.operator->());
    EXPECT_EQ(velPrinted(rebuilt), velPrinted(object));
    EXPECT_TRUE(velCompare(object, rebuilt));
    EXPECT_TRUE(velCompare(rebuilt, object));
    EXPECT_EQ(xrcgetcount(rebuilt), 1);
  }
  EXPECT_EQ(seen, buildableTypes());
}

TEST(VelS11nByName, EveryExceptionCanBeBuilt) {
  velRttiForEach(
      [](xrtti* type, void*) {
        if (type->isTypeKindOf(velXException::getClassRtti())) {
          EXPECT_NE(velRttiGetUserData(type, "_s11n_create"), nullptr) << text(type->getName());
        }
        return true;
      },
      nullptr);
}

TEST(VelS11nByName, NewObjectsAreEmpty) {
  for (const std::string& name : buildableTypes()) {
    const Object made = create(name.c_str());
    ASSERT_FALSE(made.isnull()) << name;
    EXPECT_EQ(xrcgetcount(made), 1);
    EXPECT_EQ(text(made->getVelTypeName()), name);
    for (xrttiattr* attr : attributesOf(dynamic_cast<xrttistruct*>(made->getRtti()))) {
      const xany value = attr->getValue(made);
      EXPECT_TRUE(value.isnil() || value.isuninit() || value == 0)
          << name << ' ' << text(attr->getName());
    }
  }
}

TEST(VelS11nByName, AValueOfEachKindIsTakenOrRefused) {
  const char* const texts[] = {"one"};
  xrttienum enumType("veltest::Enum", 1, texts);
  const xrchandle<velXArgs> args = new velXArgs;
  const xany values[] = {xany(),
                         nullptr,
                         5,
                         true,
                         2.5,
                         "text",
                         xstring(L"wide"),
                         xany(0, &enumType),
                         xany(0, nullptr),
                         xany(args),
                         xany(new velXFunc("f", 0)),
                         xany(xintsequence::create()),
                         xany(new velXException("x"))};
  for (const std::string& name : buildableTypes()) {
    const Object made = create(name.c_str());
    for (xrttiattr* attr : attributesOf(dynamic_cast<xrttistruct*>(made->getRtti()))) {
      const std::string attribute = text(attr->getName());
      for (const xany& value : values) {
        SCOPED_TRACE(name + ' ' + attribute + ' ' + std::to_string(value.getkind()));
        const bool fits = attr->getType() == velGetRtti_any() || value.isuninit() ||
                          value.softvalidate(attr->getType(), 1);
        const std::string before = velPrinted(made);
        if (fits) {
          EXPECT_TRUE(velS11nSet(made, attribute.c_str(), value));
        } else {
          EXPECT_VEL_THROW(velS11nSet(made, attribute.c_str(), value), velXTypeMismatch);
          EXPECT_EQ(velPrinted(made), before);
        }
      }
    }
  }
}

TEST(VelS11nByName, AMismatchTellsTypeAndValue) {
  const Object func = create("vellib::XFunc");
  const auto caught = velCaught([&] { velS11nSet(func, "Args", 5); });
  auto& mismatch = dynamic_cast<velXTypeMismatch&>(*caught);
  EXPECT_EQ(mismatch.getTypeName(), "vellib::XArgs");
  EXPECT_TRUE(mismatch.getVelObject() == 5);
}

// ---- velS11nCreate ----

TEST(VelS11nCreate, ATypeThatCannotBeMadeGivesNull) {
  const char* const names[] = {"",
                               "nowhere",
                               "int",
                               "intseq",
                               "object",
                               "xrtti",
                               "vellib::xexception",
                               "veltest::Bottom",
                               "vellib::XException ",
                               "vellib::Throwable",
                               nullptr};
  Bottom::getClassRtti();
  for (const char* name : names) EXPECT_EQ(velS11nCreate(name, nullptr), nullptr);
  const auto one = std::uintptr_t{1};
  EXPECT_EQ(velS11nCreate(reinterpret_cast<const char*>(one), nullptr), nullptr);
}

TEST(VelS11nCreate, HandsTheContextOn) {
  Sensitive::getClassRtti();
  velS11nContext context;
  for (velS11nContext* given : {&context, static_cast<velS11nContext*>(nullptr)}) {
    xobject* made = velS11nCreate("veltest::Sensitive", given);
    const Object held(made);
    xrcrelease(made);
    EXPECT_EQ(xrcgetcount(made), 1);
    EXPECT_EQ(dynamic_cast<Sensitive&>(*made).context, given);
    EXPECT_TRUE(made->isKindOf(velS11nContextSensitive::getClassRtti()));
  }
}

TEST(VelS11nContextSensitive, IsACountedStructureWithoutAttributes) {
  auto* type = dynamic_cast<xrttistruct*>(velS11nContextSensitive::getClassRtti());
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(text(type->getName()), "velS11nContextSensitive");
  EXPECT_EQ(velRttiGetFromMap("velS11nContextSensitive"), type);
  EXPECT_EQ(type->getNAttrs() + type->getNParents(), 0);
  EXPECT_TRUE(type->getIsRefCount());
  const Object object = new velS11nContextSensitive;
  EXPECT_NE(velS11nContextSensitive::cast(object), nullptr);
  EXPECT_EQ(velS11nContextSensitive::softcast(create("vellib::XArgs")), nullptr);
  auto* derived = dynamic_cast<xrttistruct*>(Sensitive::getClassRtti());
  EXPECT_EQ(derived->findAttr("Any", 1), nullptr);
}

// ---- velS11nSet ----

TEST(VelS11nSet, FindsTheSettersOfParents) {
  const Object fault = create("vellib::XSoapFault");
  EXPECT_TRUE(velS11nSet(fault, "FaultCode", "code"));
  EXPECT_TRUE(velS11nSet(fault, "Source", new velXException("source")));
  EXPECT_TRUE(velS11nSet(fault, "Description", "description"));
  auto& set = dynamic_cast<velXSoapFault&>(*fault);
  EXPECT_EQ(set.getFaultCode(), "code");
  EXPECT_EQ(set.getSource()->getDescription(), "source");
  EXPECT_EQ(set.getDescription(), "description");
}

TEST(VelS11nSet, AnOwnSetterComesBeforeAParents) {
  XHot::getClassRtti();
  const Object hot = create("veltest::XHot");
  for (const char* name : {"Degrees", "Index"}) EXPECT_TRUE(velS11nSet(hot, name, 40));
  EXPECT_TRUE(velS11nSet(hot, "Description", "own"));
  auto& set = dynamic_cast<XHot&>(*hot);
  EXPECT_EQ(set.getDegrees(), 40);
  EXPECT_EQ(set.getIndex(), 40);
  EXPECT_EQ(set.getDescription(), "own");
  EXPECT_TRUE(set.velXException::getDescription().IsNull());
}

TEST(VelS11nSet, GoesThroughADiamondDepthFirst) {
  const xrchandle<Bottom> bottom = new Bottom;
  EXPECT_TRUE(velS11nSet(bottom, "Side", 1));
  EXPECT_TRUE(velS11nSet(bottom, "Height", 2));
  EXPECT_TRUE(velS11nSet(bottom, "Extra", "three"));
  EXPECT_EQ(bottom->Left::getSide(), 1);
  EXPECT_EQ(bottom->Right::getSide(), 0);
  EXPECT_EQ(bottom->getHeight(), 2);
  EXPECT_TRUE(bottom->getExtra() == "three");
  EXPECT_VEL_THROW(velS11nSet(bottom, "Width", 1), velXInvalidDictKey);
}

TEST(VelS11nSet, AnUnknownAttributeIsAnInvalidKey) {
  const Object func = create("vellib::XFunc");
  for (const char* name : {"name", "Nam", "Names", "", "_s11n_create", "_s11n_setName",
                           "_s11n_deprecated", "Description"}) {
    const auto caught = velCaught([&] { velS11nSet(func, name, "text"); });
    auto* invalid = dynamic_cast<velXInvalidDictKey*>(caught.operator->());
    ASSERT_NE(invalid, nullptr) << name;
    EXPECT_EQ(invalid->getKey(), name);
    EXPECT_TRUE(invalid->getVelObject() == func);
  }
  EXPECT_EQ(xrcgetcount(func), 1);
}

TEST(VelS11nSet, ObjectsOfAnyTypeHaveUnknownAttributes) {
  const Object others[] = {xintsequence::create(), new VelLogObject, new xthrowable,
                           new velS11nContextSensitive};
  for (const Object& other : others) {
    EXPECT_VEL_THROW(velS11nSet(other, "Name", 1), velXInvalidDictKey);
  }
  EXPECT_VEL_THROW(velS11nSet(velGetRtti_int(), "Name", 1), velXInvalidDictKey);
}

TEST(VelS11nSet, NeedsAnObjectAndAName) {
  const Object func = create("vellib::XFunc");
  EXPECT_VEL_THROW(velS11nSet(nullptr, "Name", "x"), velXNull);
  EXPECT_VEL_THROW(velS11nSet(xuninitobject, "Name", "x"), velXNotInitialized);
  for (const std::uintptr_t address : {0u, 1u}) {
    EXPECT_VEL_THROW(velS11nSet(func, reinterpret_cast<const char*>(address), "x"), velXNull);
  }
}

TEST(VelS11nSet, ASetterOfAnotherClassRefuses) {
  // A type that claims a parent which its class has not.
  class Liar : public velXArgs {
    xrttiobject* giveRtti() override {
      static xrttiobject* const parents[] = {velXFunc::getClassRtti()};
      static xrttistruct* const type = [] {
        auto* made = new xrttistruct;
        made->initializeRttiStruct("veltest::Liar", 1, 1, parents, 0, nullptr);
        return made;
      }();
      return type;
    }
  };
  const Object liar = new Liar;
  EXPECT_VEL_THROW(velS11nSet(liar, "Name", "x"), velXTypeMismatch);
}

// ---- dropped attributes ----

TEST(VelS11nSet, ADroppedAttributeIsNotSet) {
  Letter::getClassRtti();
  const Object letter = create("veltest::Letter");
  EXPECT_TRUE(velS11nSet(letter, "_s11n_deprecated", "Stamp;Colour"));
  EXPECT_FALSE(velS11nSet(letter, "Stamp", 5));
  EXPECT_FALSE(velS11nSet(letter, "Colour", "red"));
  EXPECT_VEL_THROW(velS11nSet(letter, "Weight", 5), velXInvalidDictKey);
  EXPECT_TRUE(velS11nSet(letter, "Subject", "news"));
  EXPECT_EQ(dynamic_cast<Letter&>(*letter).getSubject(), "news");
}

TEST(VelS11nSet, AnAttributeThatIsThereIsSetEvenIfItIsListed) {
  const Object letter = create("veltest::Letter");
  velS11nSet(letter, "_s11n_deprecated", "Subject");
  EXPECT_TRUE(velS11nSet(letter, "Subject", "news"));
}

TEST(VelS11nSet, WithoutAListEveryUnknownAttributeIsDropped) {
  const Object letter = create("veltest::Letter");
  EXPECT_FALSE(velS11nSet(letter, "Anything", 5));
  EXPECT_TRUE(velS11nSet(letter, "_s11n_deprecated", nullptr));
  EXPECT_FALSE(velS11nSet(letter, "Anything", 5));
  EXPECT_TRUE(velS11nSet(letter, "_s11n_deprecated", ""));
  EXPECT_VEL_THROW(velS11nSet(letter, "Anything", 5), velXInvalidDictKey);
}

TEST(VelS11nSet, TheListOfDroppedAttributesIsText) {
  const Object letter = create("veltest::Letter");
  for (const xany& value : {xany(5), xany(true), xany(xintsequence::create())}) {
    EXPECT_VEL_THROW(velS11nSet(letter, "_s11n_deprecated", value), velXTypeMismatch);
  }
}
