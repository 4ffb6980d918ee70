// The exception classes: what each is, says, carries, and how it is counted.
#include "velexceptions.h"

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "veltest.h"

namespace {

struct Attribute {
  const char* name;
  const char* type;
  bool optional;
};

// One row of the class table.
struct ClassRow {
  const char* typeName;
  const char* parent;  // null: none
  std::vector<Attribute> attributes;
  const char* description;  // null: given by the thrower, or no exception
  std::function<void()> raise;
};

xrchandle<xintsequence> theObject() {
  static const xrchandle<xintsequence> object = xintsequence::create();
  return object;
}

const Attribute kVelObject = {"VelObject", "any", true};
const Attribute kIndex = {"Index", "int", false};

std::vector<ClassRow> classTable() {
  const char* const root = "vellib::XException";
  return {
      {"vellib::XNull", root, {}, "Attempt to assign null to non-optional object",
       [] { velXNull::Throw(); }},
      {"vellib::XTypeMismatch", root, {kVelObject, {"TypeName", "string", false}},
       "Object type mismatch", [] { velXTypeMismatch::Throw("expected", theObject()); }},
      {"vellib::XInvalidArrayIndex", root, {kVelObject, kIndex, {"Dimension", "int", false}},
       "Array index is out of range",
       [] { velXInvalidArrayIndex::Throw(theObject(), 7, 2); }},
      {"vellib::XInvalidSeqIndex", root, {kVelObject, kIndex}, "Sequence index is out of range",
       [] { velXInvalidSeqIndex::Throw(theObject(), 7); }},
      {"vellib::XInvalidDictIndex", root, {kVelObject, kIndex}, "Dictionary index is out of range",
       [] { velXInvalidDictIndex::Throw(theObject(), 7); }},
      {"vellib::XInvalidDictKey", root, {kVelObject, {"Key", "string", false}},
       "Dictionary key is not found", [] { velXInvalidDictKey::Throw(theObject(), "key"); }},
      {"vellib::XNegativeIndex", root, {kIndex}, "Negative index",
       [] { velXNegativeIndex::Throw(-7); }},
      {"vellib::XNotInitialized", root, {}, "Object is not initialized or has been destroyed",
       [] { velXNotInitialized::Throw(); }},
      {"vellib::XRefCountable", root, {kVelObject}, "Object is reference countable",
       [] { velXRefCountable::Throw(theObject()); }},
      {"vellib::XNativeException", root, {{"StringRep", "string", false}}, "Native exception",
       [] { velXNativeException::Throw("text"); }},
      {"vellib::XConnectionClosed", root, {},
       "Attempt to communicate with client/server after connection has been closed",
       [] { velXConnectionClosed::Throw(); }},
      {"vellib::XSerialization", root, {{"Source", "vellib::XException", true}}, "text",
       [] { velXSerialization::Throw("text", 0); }},
      {"vellib::XSoapFault",
       "vellib::XSerialization",
       {{"FaultCode", "string", false}, {"FaultString", "string", false}, {"FaultDetail", "any", true}},
       "fault",
       [] { velXSoapFault::Throw("code", "fault", xany(5)); }},
      {"vellib::XSoapTransport", root, {}, "text", [] { velXSoapTransport::Throw("text"); }},
      {"vellib::XSoapHttpTransport",
       "vellib::XSoapTransport",
       {{"Reason", "string", false}, {"Status", "int", false}},
       "text",
       [] { velXSoapHttpTransport::Throw("text", 404, "reason"); }},
      {"veljava::XCannotConnect", root, {{"Host", "string", false}, {"Port", "int", false}},
       "Cannot connect", [] { xportXCannotConnect::Throw("host", 80); }},
      {"veljava::XMsgStringTooLong", root, {{"Msg", "string", false}}, "Message too long",
       [] { xportXMsgStringTooLong::Throw("message"); }},
      {"veljava::XFlushFailed", root, {}, "Flush on socket failed",
       [] { xportXFlushFailed::Throw(); }},
      {"veljava::XNullInNonOptArg", root, {{"ParamName", "string", false}},
       "Null passed to non optional parameter argument",
       [] { xportXNullInNonOptArg::Throw("parameter"); }},
      {"veljava::XTimeout", root, {{"OpName", "string", false}}, "communication timeout",
       [] { xportXTimeout::Throw("operation"); }},
      // These are built by their constructors.
      {"vellib::XException", "vellib::Throwable", {{"Description", "string", false}}, "text",
       [] { xthrow(xrcunihandle<xthrowable>(new velXException("text"))); }},
      {"vellib::XExternFunc", root, {{"Func", "vellib::XFunc", true}}, "text",
       [] { xthrow(xrcunihandle<xthrowable>(new velXExternFunc("text", 0))); }},
      {"vellib::Throwable", nullptr, {}, nullptr,
       [] { xthrow(xrcunihandle<xthrowable>(new xthrowable)); }},
      // No exceptions.
      {"vellib::XFunc", nullptr, {{"Name", "string", false}, {"Args", "vellib::XArgs", true}},
       nullptr, nullptr},
      {"vellib::XArgs", nullptr, {}, nullptr, nullptr},
  };
}

xrttistruct* structure(const char* name) {
  return dynamic_cast<xrttistruct*>(velRttiGetFromMap(name));
}

std::string text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }

template <class C>
xrchandle<C> caughtAs(const std::function<void()>& raise) {
  const auto caught = velCaught(raise);
  C* seen = dynamic_cast<C*>(caught.operator->());
  EXPECT_NE(seen, nullptr);
  return seen;
}

}  // namespace

TEST(VelExceptions, EveryClassHasItsDescriptor) {
  for (const ClassRow& row : classTable()) {
    SCOPED_TRACE(row.typeName);
    xrttistruct* type = structure(row.typeName);
    ASSERT_NE(type, nullptr);
    EXPECT_TRUE(type->getIsRefCount());
    ASSERT_EQ(type->getNParents(), row.parent ? 1 : 0);
    if (row.parent) {
      EXPECT_EQ(text(type->getParent(0)->getName()), row.parent);
    }
    ASSERT_EQ(type->getNAttrs(), static_cast<int>(row.attributes.size()));
    for (int i = 0; i < type->getNAttrs(); ++i) {
      const Attribute& wanted = row.attributes[static_cast<std::size_t>(i)];
      xrttiattr* attr = type->getAttr(i);
      EXPECT_EQ(text(attr->getName()), wanted.name);
      EXPECT_EQ(text(attr->getType()->getName()), wanted.type);
      EXPECT_EQ(attr->getIsOptional() != 0, wanted.optional) << wanted.name;
    }
  }
}

TEST(VelExceptions, ThrowGivesTheCatcherOneReferenceAndTheMessage) {
  for (const ClassRow& row : classTable()) {
    if (!row.raise) continue;
    SCOPED_TRACE(row.typeName);
    xthrowable* caught = nullptr;
    try {
      row.raise();
      FAIL() << "nothing thrown";
    } catch (xthrowable* e) {
      caught = e;
    }
    EXPECT_EQ(xrcgetcount(caught), 1);
    EXPECT_EQ(text(caught->getVelTypeName()), row.typeName);
    if (auto* exception = dynamic_cast<velXException*>(caught)) {
      ASSERT_NE(row.description, nullptr);
      EXPECT_EQ(text(exception->getDescription()), row.description);
      // The message is an attribute like any other, found through the parents.
      xrttiattr* attr = structure(row.typeName)->findAttr("Description", 1);
      ASSERT_NE(attr, nullptr);
      EXPECT_TRUE(attr->getValue(caught) == row.description);
    }
    xrcrelease(caught);
  }
}

TEST(VelExceptions, DescriptorsReadTheAttributesInOrder) {
  const auto printed = [](const std::function<void()>& raise) {
    return velPrinted(velCaught(raise), -1);
  };
  EXPECT_EQ(printed([] { velXInvalidArrayIndex::Throw(xany(3), 7, 2); }),
            "vellib::XInvalidArrayIndex { Description : \"Array index is out of range\" "
            "VelObject : 3 Index : 7 Dimension : 2 }");
  EXPECT_EQ(printed([] { velXSoapFault::Throw("c", "s", xany(5)); }),
            "vellib::XSoapFault { Description : \"s\" Source : nil FaultCode : \"c\" "
            "FaultString : \"s\" FaultDetail : 5 }");
  EXPECT_EQ(printed([] { velXSoapHttpTransport::Throw("t", 404, "r"); }),
            "vellib::XSoapHttpTransport { Description : \"t\" Reason : \"r\" Status : 404 }");
  EXPECT_EQ(printed([] { velXTypeMismatch::Throw("want", xany("have")); }),
            "vellib::XTypeMismatch { Description : \"Object type mismatch\" "
            "VelObject : \"have\" TypeName : \"want\" }");
}

TEST(VelExceptions, GettersGiveWhatWasThrown) {
  const auto array = caughtAs<velXInvalidArrayIndex>(
      [] { velXInvalidArrayIndex::Throw(theObject(), 7, 2); });
  EXPECT_TRUE(array->getVelObject() == theObject());
  EXPECT_EQ(array->getIndex(), 7);
  EXPECT_EQ(array->getDimension(), 2);
  const auto seq =
      caughtAs<velXInvalidSeqIndex>([] { velXInvalidSeqIndex::Throw(theObject(), 8); });
  EXPECT_TRUE(seq->getVelObject() == theObject());
  EXPECT_EQ(seq->getIndex(), 8);
  const auto dict =
      caughtAs<velXInvalidDictIndex>([] { velXInvalidDictIndex::Throw(theObject(), 9); });
  EXPECT_TRUE(dict->getVelObject() == theObject());
  EXPECT_EQ(dict->getIndex(), 9);
  const auto key =
      caughtAs<velXInvalidDictKey>([] { velXInvalidDictKey::Throw(theObject(), "key"); });
  EXPECT_TRUE(key->getVelObject() == theObject());
  EXPECT_EQ(text(key->getKey()), "key");
  const auto mismatch =
      caughtAs<velXTypeMismatch>([] { velXTypeMismatch::Throw("name", theObject()); });
  EXPECT_TRUE(mismatch->getVelObject() == theObject());
  EXPECT_EQ(text(mismatch->getTypeName()), "name");
  EXPECT_EQ(caughtAs<velXNegativeIndex>([] { velXNegativeIndex::Throw(-7); })->getIndex(), -7);
  EXPECT_TRUE(caughtAs<velXRefCountable>([] {
                velXRefCountable::Throw(theObject());
              })->getVelObject() == theObject());
  EXPECT_EQ(text(caughtAs<velXNativeException>([] {
                   velXNativeException::Throw("text");
                 })->getStringRep()),
            "text");
}

TEST(VelExceptions, TransportGettersGiveWhatWasThrown) {
  const auto connect =
      caughtAs<xportXCannotConnect>([] { xportXCannotConnect::Throw("host", 80); });
  EXPECT_EQ(text(connect->getHost()), "host");
  EXPECT_EQ(connect->getPort(), 80);
  EXPECT_EQ(text(caughtAs<xportXMsgStringTooLong>([] {
                   xportXMsgStringTooLong::Throw("message");
                 })->getMsg()),
            "message");
  EXPECT_EQ(text(caughtAs<xportXNullInNonOptArg>([] {
                   xportXNullInNonOptArg::Throw("parameter");
                 })->getParamName()),
            "parameter");
  EXPECT_EQ(text(caughtAs<xportXTimeout>([] { xportXTimeout::Throw("operation"); })->getOpName()),
            "operation");
  const auto fault =
      caughtAs<velXSoapFault>([] { velXSoapFault::Throw("code", "fault", xany(5)); });
  EXPECT_EQ(text(fault->getFaultCode()), "code");
  EXPECT_EQ(text(fault->getFaultString()), "fault");
  EXPECT_TRUE(fault->getFaultDetail() == 5);
  EXPECT_TRUE(fault->getSource().isnull());
  const auto http = caughtAs<velXSoapHttpTransport>(
      [] { velXSoapHttpTransport::Throw("text", 404, "reason"); });
  EXPECT_EQ(text(http->getReason()), "reason");
  EXPECT_EQ(http->getStatus(), 404);
}

TEST(VelExceptions, NullTextsGiveNullStrings) {
  for (const std::uintptr_t address : {0U, 1U}) {
    const char* null = reinterpret_cast<const char*>(address);
    EXPECT_TRUE(caughtAs<velXNativeException>([=] {
                  velXNativeException::Throw(null);
                })->getStringRep().IsNull());
    EXPECT_TRUE(caughtAs<velXInvalidDictKey>([=] {
                  velXInvalidDictKey::Throw(xany(), null);
                })->getKey().IsNull());
    const auto http = caughtAs<velXSoapHttpTransport>(
        [=] { velXSoapHttpTransport::Throw(null, 1, null); });
    EXPECT_TRUE(http->getDescription().IsNull());
    EXPECT_TRUE(http->getReason().IsNull());
    EXPECT_TRUE(caughtAs<velXTypeMismatch>([=] {
                  velXTypeMismatch::Throw(null, xany());
                })->getTypeName().IsNull());
  }
}

TEST(VelExceptions, SerializationKeepsItsSource) {
  const xrchandle<velXException> source = new velXException("cause");
  {
    const auto caught =
        caughtAs<velXSerialization>([&] { velXSerialization::Throw("text", source); });
    EXPECT_EQ(caught->getSource().operator->(), source.operator->());
    EXPECT_EQ(xrcgetcount(source.operator->()), 2);
  }
  EXPECT_EQ(xrcgetcount(source.operator->()), 1);
  const xrchandle<velXSerialization> created = velXSerialization::Create("text", source);
  EXPECT_EQ(xrcgetcount(created.operator->()), 1);
  EXPECT_EQ(text(created->getDescription()), "text");
  EXPECT_EQ(created->getSource().operator->(), source.operator->());
}

TEST(VelExceptions, CreateOfNullInNonOptArgIsTheCallersToAttach) {
  xportXNullInNonOptArg* made = xportXNullInNonOptArg::Create("parameter");
  EXPECT_EQ(xrcgetcount(made), 0);
  EXPECT_EQ(text(made->getParamName()), "parameter");
  const xrchandle<xportXNullInNonOptArg> held(made);
  EXPECT_EQ(xrcgetcount(made), 1);
}

TEST(VelExceptions, CreateNativeExceptionHasTheText) {
  const xrchandle<velXNativeException> made = velCreateNativeException("what");
  EXPECT_EQ(xrcgetcount(made.operator->()), 1);
  EXPECT_EQ(text(made->getStringRep()), "what");
  EXPECT_EQ(text(made->getDescription()), "Native exception");
}

TEST(VelExceptions, FuncAndArgsDescribeACall) {
  const xrchandle<velXArgs> args = new velXArgs;
  const xrchandle<velXFunc> func = new velXFunc("name", args);
  EXPECT_EQ(text(func->getName()), "name");
  EXPECT_EQ(func->getArgs().operator->(), args.operator->());
  const xrchandle<velXExternFunc> failed = new velXExternFunc("text", func);
  EXPECT_EQ(failed->getFunc().operator->(), func.operator->());
  EXPECT_EQ(velPrinted(xany(failed), -1),
            "vellib::XExternFunc { Description : \"text\" Func : vellib::XFunc { Name : \"name\" "
            "Args : vellib::XArgs { } } }");
}

namespace {
class UserException : public velXException {
  VEL_OBJECT(UserException)
 public:
  UserException() : velXException("user's") {}
};
VEL_OBJECT_RTTI(UserException, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* parents[] = {velXException::getClassRtti()};
  rtti->initializeRttiStruct("test::UserException", 1, 1, parents, 0, nullptr);
})
}  // namespace

TEST(VelExceptions, UsersDeriveFromThem) {
  const auto caught = velCaught([] { xthrow(xrcunihandle<xthrowable>(new UserException)); });
  EXPECT_EQ(text(dynamic_cast<velXException&>(*caught).getDescription()), "user's");
  EXPECT_TRUE(caught->isKindOf(velXException::getClassRtti()));
  // cast and softcast know the exact class only.
  EXPECT_EQ(velXException::softcast(caught.operator->()), nullptr);
  EXPECT_EQ(velPrinted(xany(caught), -1), "test::UserException { Description : \"user's\" }");
}

TEST(VelExceptions, CanBeCaughtAsThrowableObjectOrVoid) {
  try {
    velXNull::Throw();
  } catch (xobject* caught) {
    EXPECT_EQ(text(caught->getVelTypeName()), "vellib::XNull");
    xrcrelease(caught);
  }
  try {
    velXNull::Throw();
  } catch (void* caught) {
    auto* thrown = static_cast<xthrowable*>(caught);
    EXPECT_EQ(text(thrown->getVelTypeName()), "vellib::XNull");
    xrcrelease(thrown);
  }
  // The thrown type is the root: a handler for the class itself never matches.
  try {
    velXNull::Throw();
  } catch (velXNull*) {
    ADD_FAILURE() << "caught by its own class";
  } catch (xthrowable* caught) {
    xrcrelease(caught);
  }
}

TEST(XThrow, TakesAReferenceOfItsOwn) {
  const xrchandle<velXException> held = new velXException("text");
  try {
    xthrow(held);
  } catch (xthrowable* caught) {
    EXPECT_EQ(caught, held.operator->());
    EXPECT_EQ(xrcgetcount(caught), 2);
    xrcrelease(caught);
  }
  EXPECT_EQ(xrcgetcount(held.operator->()), 1);
}

// It is in line, and the library has it as well.
TEST(XThrow, CanBeCalledThroughItsAddress) {
  void (*const raise)(xrcunihandle<xthrowable>) = &xthrow;
  const xrchandle<velXException> held = new velXException("text");
  EXPECT_VEL_THROW(raise(held), velXException);
  EXPECT_VEL_THROW(raise(xrcunihandle<xthrowable>()), velXNull);
  EXPECT_EQ(xrcgetcount(held.operator->()), 1);
}

TEST(XThrow, OfNothingRaisesNull) {
  EXPECT_VEL_THROW(xthrow(xrcunihandle<xthrowable>()), velXNull);
  EXPECT_VEL_THROW(xthrow(xrcunihandle<xthrowable>(0)), velXNull);
  EXPECT_VEL_THROW(xthrow(reinterpret_cast<xthrowable*>(std::uintptr_t{22})), velXNull);
}

namespace {

// Tells how it was made and that it ended.
class Watched : public velXException {
 public:
  Watched(std::unique_ptr<int> taken, const char* description)
      : velXException(description), given(*taken) {}
  explicit Watched(int) : velXException("") { throw std::runtime_error("not made"); }
  ~Watched() override { ++ended; }
  const int given = 0;
  static inline int ended = 0;
};

}  // namespace

TEST(VelThrow, MakesWhatItThrowsWithTheCatchersReferenceOnly) {
  Watched::ended = 0;
  try {
    velThrow<Watched>(std::make_unique<int>(7), "description");
  } catch (xthrowable* caught) {
    EXPECT_EQ(xrcgetcount(caught), 1);
    auto& watched = dynamic_cast<Watched&>(*caught);
    EXPECT_EQ(watched.given, 7);
    EXPECT_EQ(text(watched.getDescription()), "description");
    xrcrelease(caught);
  }
  EXPECT_EQ(Watched::ended, 1);
}

TEST(VelThrow, PassesOnWhatTheConstructorThrows) {
  EXPECT_THROW(velThrow<Watched>(1), std::runtime_error);
}

TEST(VelThrow, CanBeCaughtAsXthrowThrows) {
  EXPECT_VEL_THROW(velThrow<velXException>("text"), velXException);
  EXPECT_VEL_THROW(velThrow<xthrowable>(), xthrowable);
  try {
    velThrow<velXException>("text");
  } catch (void* caught) {
    EXPECT_NE(caught, nullptr);
    xrcrelease(static_cast<xthrowable*>(caught));
  }
}

TEST(VelhHelpers, ThrowTheirClasses) {
  xobject* object = theObject();
  EXPECT_VEL_THROW(velhThrowNull(), velXNull);
  EXPECT_VEL_THROW(velhThrowNotInitialized(), velXNotInitialized);
  EXPECT_EQ(caughtAs<velXNegativeIndex>([] { velhThrowNegativeIndex(-3); })->getIndex(), -3);
  EXPECT_TRUE(caughtAs<velXRefCountable>([=] {
                velhThrowRefCountable(object);
              })->getVelObject() == object);
  const auto array =
      caughtAs<velXInvalidArrayIndex>([=] { velhThrowInvalidArrayIndex(object, 1, 2); });
  EXPECT_TRUE(array->getVelObject() == object);
  EXPECT_EQ(array->getIndex(), 1);
  EXPECT_EQ(array->getDimension(), 2);
  EXPECT_EQ(caughtAs<velXInvalidSeqIndex>([=] {
              velhThrowInvalidSeqIndex(object, 4);
            })->getIndex(),
            4);
  EXPECT_EQ(caughtAs<velXInvalidDictIndex>([=] {
              velhThrowInvalidDictIndex(object, 5);
            })->getIndex(),
            5);
  EXPECT_EQ(text(caughtAs<velXInvalidDictKey>([=] {
                   velhThrowInvalidDictKey(object, "k");
                 })->getKey()),
            "k");
}

TEST(VelhHelpers, AssertNonNegativeIndexPassesZero) {
  velhAssertNonNegativeIndex(0);
  velhAssertNonNegativeIndex(2147483647);
  EXPECT_VEL_THROW(velhAssertNonNegativeIndex(-1), velXNegativeIndex);
  EXPECT_VEL_THROW(velhAssertNonNegativeIndex(-2147483647 - 1), velXNegativeIndex);
}

TEST(VelhHelpers, AssertNotNullKeyRejectsNullAndOne) {
  velhAssertNotNullKey("");
  EXPECT_VEL_THROW(velhAssertNotNullKey(nullptr), velXNull);
  EXPECT_VEL_THROW(velhAssertNotNullKey(reinterpret_cast<const char*>(std::uintptr_t{1})),
                   velXNull);
}

TEST(VelhRethrow, PassesOtherExceptionsOn) {
  const auto collection = xintsequence::create();
  const auto null = velCaught([] { velhThrowNull(); });
  EXPECT_VEL_THROW(velhRethrowSeqException(null, collection), velXNull);
  EXPECT_VEL_THROW(velhRethrowDictException(null, collection), velXNull);
  auto* const uninit = reinterpret_cast<xthrowable*>(std::uintptr_t{22});
  EXPECT_VEL_THROW(velhRethrowSeqException(uninit, collection), velXNull);
  EXPECT_VEL_THROW(velhRethrowDictException(uninit, collection), velXNull);
}

TEST(VelhRethrow, RetargetsAnIndexErrorAndKeepsTheCaughtOne) {
  const auto inner = xintsequence::create();
  const auto outer = xanysequence::create();
  const auto caught = velCaught([&] { inner->get(4); });
  const auto again =
      caughtAs<velXInvalidSeqIndex>([&] { velhRethrowSeqException(caught, outer); });
  EXPECT_NE(again.operator->(), caught.operator->());
  EXPECT_TRUE(again->getVelObject() == outer);
  EXPECT_EQ(again->getIndex(), 4);
  // The caller keeps its reference, and gives it back itself.
  EXPECT_EQ(xrcgetcount(caught.operator->()), 1);

  const auto none = caughtAs<velXInvalidSeqIndex>([&] { velhRethrowSeqException(caught, nullptr); });
  EXPECT_TRUE(none->getVelObject().isnil());
}

TEST(VelhRethrow, RetargetsADictionaryIndexError) {
  const auto inner = xintdictionary::create();
  const auto outer = xanydictionary::create();
  const auto caught = velCaught([&] { inner->setbyindex(0, 1); });
  const auto again =
      caughtAs<velXInvalidDictIndex>([&] { velhRethrowDictException(caught, outer); });
  EXPECT_TRUE(again->getVelObject() == outer);
  EXPECT_EQ(again->getIndex(), 0);
}

TEST(VelhRethrow, PassesOthersOnUnchanged) {
  const auto outer = xanysequence::create();
  const auto negative = velCaught([] { velXNegativeIndex::Throw(-1); });
  for (const auto rethrow : {&velhRethrowSeqException, &velhRethrowDictException}) {
    const auto again = velCaught([&] { rethrow(negative, outer); });
    EXPECT_EQ(again.operator->(), negative.operator->());
    EXPECT_EQ(xrcgetcount(negative.operator->()), 2);
  }
  const auto seq = velCaught([] { velXInvalidSeqIndex::Throw(xany(), 1); });
  EXPECT_EQ(velCaught([&] { velhRethrowDictException(seq, outer); }).operator->(),
            seq.operator->());
  EXPECT_VEL_THROW(velhRethrowSeqException(nullptr, outer), velXNull);
}

TEST(VelExceptions, ACollectionLivesAsLongAsTheExceptionAboutIt) {
  auto seq = xintsequence::create();
  xintsequence* raw = seq;
  auto caught = velCaught([&] { raw->get(0); });
  EXPECT_EQ(xrcgetcount(raw), 2);
  caught = 0;
  EXPECT_EQ(xrcgetcount(raw), 1);
}

// Defined in a library of their own.
bool pluginCatches(xintsequence* sequence, xstring* typeName);
[[noreturn]] void pluginThrows();

TEST(VelExceptions, CrossLibraryBordersBothWays) {
  const auto seq = xintsequence::create();
  xstring typeName;
  EXPECT_TRUE(pluginCatches(seq, &typeName));
  EXPECT_EQ(typeName, "vellib::XInvalidSeqIndex");
  try {
    pluginThrows();
  } catch (xobject* caught) {
    EXPECT_EQ(text(caught->getVelTypeName()), "vellib::XNativeException");
    EXPECT_NE(dynamic_cast<velXNativeException*>(caught), nullptr);
    xrcrelease(caught);
  }
}

TEST(SizeLimit, IsANativeExceptionWithItsText) {
  EXPECT_VEL_NATIVE(velThrowSizeLimit(), "Size limit exceeded");
}
