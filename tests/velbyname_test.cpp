// Objects made, read and written by names and paths.
#include <string>
#include <vector>

#include "velext.h"
#include "veltest.h"

namespace byname {

class Line : public velStruct<Line> {
 public:
  double price = 0;
  VEL_STRUCT(Line, "byname::Line", price)
};
class Order : public velStruct<Order>, public velDeprecationSupport {
 public:
  xstring customer;
  xrchandle<velSequenceOf<Line>> lines = velSequenceOf<Line>::create();
  xrchandle<xanydictionary> notes = xanydictionary::create();
  xrchandle<velArrayOf<int, 2, 2>> grid = velArrayOf<int, 2, 2>::create();
  xrchandle<xintsequence> numbers = xintsequence::create();
  xany free;
  VEL_STRUCT(Order, "byname::Order", customer, lines, notes, grid, numbers, free)
};
// Neither made nor written by name.
class Fixed : public velStruct<Fixed> {
  int x;

 public:
  explicit Fixed(int start) : x(start) {}
  VEL_STRUCT(Fixed, "byname::Fixed", x)
};
class Opaque : public virtual xobject {
  VEL_OBJECT(Opaque)
};
VEL_OBJECT_RTTI(Opaque, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("byname::Opaque", 1, 0, nullptr);
})
// Sequence and dictionary that are only read.
class ReadSeq : public virtual xobject {
  VEL_OBJECT(ReadSeq)
};
VEL_OBJECT_RTTI(ReadSeq, xrttisequence, [](xrttisequence* rtti) {
  rtti->initializeRttiSeq(
      "byname::ReadSeq", 1, velGetRtti_int(), 0, [](xobject*) { return 2; },
      [](xobject*, int index) { return xany(index); });
})

}  // namespace byname

namespace {

using namespace byname;
using Object = xrcunihandle<xobject>;

xrchandle<Order> SomeOrder() {
  const auto order = velNew<Order>();
  order->customer = "ann";
  for (const double price : {1.5, 2.5}) {
    order->lines->append(velNew<Line>());
    order->lines->get(order->lines->getarraysize() - 1)->price = price;
  }
  order->notes->set("a/b", velAny("slash"));
  order->notes->set("m~n", velAny("tilde"));
  order->notes->set("", velAny("empty"));
  order->notes->set("0", velAny("zero"));
  order->notes->set("-", velAny("dash"));
  order->grid->at(1, 0) = 7;
  order->numbers->append(3);
  return order;
}

// ---- RFC 6901 ------------------------------------------------------------------------------

TEST(VelPath, FindsTheExamplesOfRfc6901) {
  const auto document = xanydictionary::create();
  const auto foo = xanysequence::create();
  foo->append(velAny("bar"));
  foo->append(velAny("baz"));
  document->set("foo", velAny(foo));
  const struct {
    const char* key;
    const char* path;
  } keys[] = {{"", "/"},         {"a/b", "/a~1b"}, {"c%d", "/c%d"},
              {"e^f", "/e^f"},   {"g|h", "/g|h"},  {"i\\j", "/i\\j"},
              {"k\"l", "/k\"l"}, {" ", "/ "},      {"m~n", "/m~0n"}};
  int number = 0;
  for (const auto& row : keys) document->set(row.key, velAny(number++));
  number = 0;
  for (const auto& row : keys) {
    EXPECT_EQ(velGet<int>(velGetPath(velAny(document), row.path)), number++) << row.path;
    EXPECT_EQ(velStep(row.key), row.path);
  }
  EXPECT_EQ(velObjectOfValue(velGetPath(velAny(document), "")), velAsObject(document.operator->()));
  EXPECT_EQ(velObjectOfValue(velGetPath(velAny(document), "/foo")), velAsObject(foo.operator->()));
  EXPECT_EQ(velGet<std::string>(velGetPath(velAny(document), "/foo/0")), "bar");
}

TEST(VelPath, TurnsTildesOnce) {
  const auto document = xanydictionary::create();
  document->set("~1", velAny(1));
  document->set("/", velAny(2));
  EXPECT_EQ(velGet<int>(velGetPath(velAny(document), "/~01")), 1);
  EXPECT_EQ(velGet<int>(velGetPath(velAny(document), "/~1")), 2);
  EXPECT_EQ(velStep("~/~01"), "/~0~1~001");
  EXPECT_EQ(velStep(""), "/");
}

TEST(VelPath, ReadsAllKindsOfParts) {
  const xany order = velAny(SomeOrder());
  const struct {
    const char* path;
    const char* value;
  } rows[] = {
      {"/customer", "\"ann\""},
      {"/lines/1/price", "2.5"},
      {"/notes/a~1b", "\"slash\""},
      {"/notes/m~0n", "\"tilde\""},
      {"/notes/", "\"empty\""},
      {"/notes/0", "\"zero\""},
      {"/notes/-", "\"dash\""},
      {"/grid/1/0", "7"},
      {"/grid/0/1", "0"},
      {"/numbers/0", "3"},
      {"/free", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(velPrinted(velGetPath(order, row.path)), row.value) << row.path;
    ASSERT_TRUE(velFindPath(order, row.path)) << row.path;
    EXPECT_EQ(velPrinted(*velFindPath(order, row.path)), row.value) << row.path;
  }
  EXPECT_EQ(velGet<int>(velGetPath(velAny(5), "")), 5) << "any value is the whole of itself";
  EXPECT_TRUE(velGetPath(xany(xanyNil), "").isnil());
}

TEST(VelPath, ThatIsInvalidIsRefusedEverywhereWithTheReason) {
  const xany order = velAny(SomeOrder());
  const std::string slash = "no \"/\" at its beginning: ";
  const std::string tilde = "\"~\" without 0 or 1: ";
  const struct {
    std::string path;
    std::string reason;
  } kCases[] = {
      {"x", slash},          {"customer", slash},  {" /customer", slash}, {"~0", slash},
      {"#/a", slash},        {"/~", tilde},        {"/~2", tilde},        {"/notes/a~", tilde},
      {"/lines/~x", tilde},
  };
  for (const auto& one : kCases) {
    const std::string& path = one.path;
    const std::string text = "Invalid path: " + one.reason + path;
    EXPECT_VEL_NATIVE(velGetPath(order, path), text.c_str());
    EXPECT_VEL_NATIVE(velFindPath(order, path), text.c_str());
    EXPECT_VEL_NATIVE(velSetPath(order, path, velAny(1)), text.c_str());
  }
  EXPECT_VEL_NATIVE(velSetPath(order, "", velAny(1)),
                    "Invalid path: nothing can be stored in place of the whole value: ");
  EXPECT_VEL_NATIVE(velGetPath(order, std::string("/a\0b", 4)), "Invalid path: a zero byte: /a");
  const std::string zero("/notes/0\0x", 10);
  EXPECT_VEL_THROW(velGetPath(order, zero), velXNativeException);
  EXPECT_VEL_THROW(velSetPath(order, zero, velAny(1)), velXNativeException);
}

// What velXInvalidDictKey says: the type of the object, and the key.
std::string MissingKey(const xany& root, const std::string& path, bool isWritten) {
  const auto caught = velCaught([&] {
    if (isWritten) {
      velSetPath(root, path, velAny(1));
    } else {
      velGetPath(root, path);
    }
  });
  auto* const error = dynamic_cast<velXInvalidDictKey*>(caught.operator->());
  if (!error) return caught.isnull() ? "nothing" : caught->getVelTypeName().CastToCString();
  xobject* const object = velObjectOfValue(error->getVelObject());
  return std::string(object ? object->getVelTypeName().CastToCString() : "null") + ' ' +
         std::string(error->getKey().IsNull() ? "null" : error->getKey().CastToCString());
}

TEST(VelPath, TellsWhatIsNotThere) {
  const xany order = velAny(SomeOrder());
  const struct {
    const char* path;
    const char* read;
    const char* written;  // null: the same
  } rows[] = {
      {"/none", "byname::Order none", nullptr},
      {"/", "byname::Order ", nullptr},
      {"/Customer", "byname::Order Customer", nullptr},
      {"/customer/x", "null x", nullptr},
      {"/free/x", "null x", nullptr},
      {"/lines/x", "byname::Lineseq x", nullptr},
      {"/lines/", "byname::Lineseq ", nullptr},
      {"/lines/01", "byname::Lineseq 01", nullptr},
      {"/lines/+1", "byname::Lineseq +1", nullptr},
      {"/lines/-1", "byname::Lineseq -1", nullptr},
      {"/lines/1.0", "byname::Lineseq 1.0", nullptr},
      {"/lines/2147483648", "byname::Lineseq 2147483648", nullptr},
      {"/lines/99999999999999999999", "byname::Lineseq 99999999999999999999", nullptr},
      {"/lines/-/price", "byname::Lineseq -", nullptr},
      {"/lines/2", "vellib::XInvalidSeqIndex", "vellib::XTypeMismatch"},
      {"/lines/3", "vellib::XInvalidSeqIndex", nullptr},
      {"/lines/2147483647", "vellib::XInvalidSeqIndex", nullptr},
      {"/lines/-", "byname::Lineseq -", "vellib::XTypeMismatch"},
      {"/lines/5/price", "vellib::XInvalidSeqIndex", nullptr},
      {"/notes/none/x", "anydict none", nullptr},
      {"/notes/0/x", "null x", nullptr},
      {"/grid/0", "int[2][2] ", nullptr},
      {"/grid/0/x", "int[2][2] x", nullptr},
      {"/grid/2/0", "vellib::XInvalidArrayIndex", nullptr},
      {"/grid/0/2", "vellib::XInvalidArrayIndex", nullptr},
      {"/grid/0/0/0", "null 0", nullptr},
      {"/numbers/0/x", "null x", nullptr},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MissingKey(order, row.path, false), row.read) << row.path;
    EXPECT_FALSE(velFindPath(order, row.path)) << row.path;
    EXPECT_EQ(MissingKey(order, row.path, true), row.written ? row.written : row.read) << row.path;
  }
  EXPECT_TRUE(velEquals(order, velAny(SomeOrder()))) << "nothing is changed";
  velSetAttr(velObjectOfValue(order), "_s11n_deprecated", velAny("old"));
  EXPECT_EQ(MissingKey(order, "/old", true), "byname::Order old") << "dropped is not there";
  EXPECT_EQ(MissingKey(xany(xanyNil), "/x", false), "null x");
  EXPECT_EQ(MissingKey(xany(), "/x", true), "null x");
}

TEST(VelPath, ErrorOfAnIndexTellsObjectAndIndex) {
  const auto order = SomeOrder();
  const auto caught = velCaught([&] { velGetPath(velAny(order), "/lines/7"); });
  auto* const ofSequence = dynamic_cast<velXInvalidSeqIndex*>(caught.operator->());
  ASSERT_NE(ofSequence, nullptr);
  EXPECT_EQ(ofSequence->getIndex(), 7);
  const auto caughtToo = velCaught([&] { velSetPath(velAny(order), "/grid/1/9", velAny(1)); });
  auto* const ofArray = dynamic_cast<velXInvalidArrayIndex*>(caughtToo.operator->());
  ASSERT_NE(ofArray, nullptr);
  EXPECT_EQ(ofArray->getIndex(), 9);
  EXPECT_EQ(ofArray->getDimension(), 1);
  EXPECT_EQ(velObject<xobject>(ofArray->getVelObject()), velAsObject(order->grid.operator->()));
}

TEST(VelPath, WritesAllKindsOfParts) {
  const struct {
    const char* path;
    xany value;
    const char* readAt;
  } rows[] = {
      {"/customer", velAny("bob"), nullptr},
      {"/customer", xany(xanyNil), nullptr},
      {"/lines/0/price", velAny(9.5), nullptr},
      {"/lines/1", velAny(velNew<Line>()), nullptr},
      {"/lines/1", xany(xanyNil), nullptr},
      {"/lines/-", velAny(velNew<Line>()), "/lines/2"},
      {"/lines/2", velAny(velNew<Line>()), nullptr},
      {"/notes/new", velAny(1), nullptr},
      {"/notes/a~1b", velAny(2), nullptr},
      {"/notes/", velAny(3), nullptr},
      {"/notes/-", velAny(4), nullptr},
      {"/grid/1/1", velAny(5), nullptr},
      {"/numbers/0", velAny(6), nullptr},
      {"/numbers/-", velAny(7), "/numbers/1"},
      {"/free", velAny(velNew<Line>()), nullptr},
  };
  for (const auto& row : rows) {
    const xany order = velAny(SomeOrder());
    velSetPath(order, row.path, row.value);
    EXPECT_TRUE(velEquals(velGetPath(order, row.readAt ? row.readAt : row.path), row.value))
        << row.path;
    EXPECT_EQ(velDiff(velAny(SomeOrder()), order).size(), 1U) << row.path;
  }
}

TEST(VelPath, RefusesValuesOfTheWrongKind) {
  const xany order = velAny(SomeOrder());
  const char* const paths[] = {"/customer", "/lines",         "/lines/0",
                               "/lines/-",  "/lines/0/price", "/grid",
                               "/grid/0/0", "/numbers/0",     "/numbers/-"};
  for (const char* path : paths) {
    EXPECT_VEL_THROW(velSetPath(order, path, velAny(true)), velXTypeMismatch);
  }
  EXPECT_TRUE(velEquals(order, velAny(SomeOrder())));
}

TEST(VelPath, RefusesToWriteWhatIsOnlyRead) {
  const auto sequence = Object(new ReadSeq);
  EXPECT_EQ(velGet<int>(velGetPath(velAny(sequence), "/1")), 1);
  EXPECT_VEL_NATIVE(velSetPath(velAny(sequence), "/1", velAny(1)),
                    "Type cannot be written: byname::ReadSeq");
  EXPECT_VEL_THROW(velSetPath(velAny(Object(new Opaque)), "/x", velAny(1)), velXInvalidDictKey);
  EXPECT_VEL_THROW(velGetPath(velAny(Object(new Opaque)), "/x"), velXInvalidDictKey);
}

// As deep as anyone writes a path: the stack does not grow with it.
TEST(VelPath, GoesAsDeepAsItsSteps) {
  constexpr int kDepth = 20000;
  xany value = velAny(5);
  std::string path;
  for (int i = 0; i < kDepth; ++i) {
    const auto outer = xanysequence::create();
    outer->append(value);
    value = velAny(outer);
    path += "/0";
  }
  EXPECT_EQ(velGet<int>(velGetPath(value, path)), 5);
  velSetPath(value, path, velAny(6));
  EXPECT_EQ(velGet<int>(velGetPath(value, path)), 6);
}

// ---- create, set, get ------------------------------------------------------------------------

TEST(VelCreate, MakesStructuresCollectionsAndExceptions) {
  for (const char* name :
       {"byname::Order", "intseq", "anydict", "vellib::XNull", "byname::Lineseq"}) {
    const Object made = velCreate(name);
    EXPECT_EQ(made->getVelTypeName(), name);
    EXPECT_EQ(xrcgetcount(made), 1) << name;
  }
}

TEST(VelCreate, TakesANameOfTheStandardLibrary) {
  EXPECT_EQ(velCreate(std::string("intseq"))->getVelTypeName(), "intseq");
}

TEST(VelCreate, RefusesWhatItCannotMake) {
  EXPECT_VEL_NATIVE(velCreate("byname::None"), "Unknown type: byname::None");
  EXPECT_VEL_NATIVE(velCreate(""), "Unknown type: ");
  EXPECT_VEL_NATIVE(velCreate("byname::Fixed"), "Type cannot be created: byname::Fixed");
  EXPECT_VEL_NATIVE(velCreate("int"), "Type cannot be created: int");
  EXPECT_VEL_NATIVE(velCreate("object"), "Type cannot be created: object");
  EXPECT_VEL_THROW(velCreate(nullptr), velXNull);
  EXPECT_VEL_THROW(velCreate(reinterpret_cast<const char*>(1)), velXNull);
  EXPECT_VEL_NATIVE(velCreate(reinterpret_cast<const char*>(2)), "Unknown type: uninit");
}

TEST(VelSetAttr, SetsAndTells) {
  const auto order = SomeOrder();
  EXPECT_TRUE(velSetAttr(order, "customer", velAny("bob")));
  EXPECT_EQ(order->customer, "bob");
  EXPECT_TRUE(velSetAttr(order, "_s11n_deprecated", velAny("old")));
  EXPECT_FALSE(velSetAttr(order, "old", velAny("x"))) << "a dropped attribute";
  EXPECT_VEL_THROW(velSetAttr(order, "new", velAny("x")), velXInvalidDictKey);
  EXPECT_VEL_THROW(velSetAttr(order, "customer", velAny(1)), velXTypeMismatch);
}

TEST(VelSetAttr, RefusesNoObjectAndNoName) {
  const auto order = SomeOrder();
  EXPECT_VEL_THROW(velSetAttr(nullptr, "x", velAny(1)), velXNull);
  EXPECT_VEL_THROW(velSetAttr(order, nullptr, velAny(1)), velXNull);
  EXPECT_VEL_THROW(velSetAttr(xuninitobject, "x", velAny(1)), velXNotInitialized);
  EXPECT_VEL_THROW(velGetAttr(nullptr, "x"), velXNull);
  EXPECT_VEL_THROW(velGetAttr(order, nullptr), velXNull);
  EXPECT_VEL_THROW(velGetAttr(order, reinterpret_cast<const char*>(1)), velXNull);
  EXPECT_VEL_THROW(velGetAttr(xuninitobject, "x"), velXNotInitialized);
}

TEST(VelGetAttr, ReadsAttributesOnly) {
  const auto order = SomeOrder();
  EXPECT_EQ(velGet<std::string>(velGetAttr(order, "customer")), "ann");
  EXPECT_VEL_THROW(velGetAttr(order, "none"), velXInvalidDictKey);
  EXPECT_VEL_THROW(velGetAttr(order->notes, "0"), velXInvalidDictKey);
  EXPECT_VEL_THROW(velGetAttr(order->lines, "0"), velXInvalidDictKey);
}

}  // namespace
