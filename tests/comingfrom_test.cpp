// Spellings for what engineers know from Qt, GObject and nlohmann-json: each test is a row of the
// tables in docs/coming-from.md, and has the row's spellings as they stand there.
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "velext.h"
#include "veljson.h"
#include "velstd_c.h"

namespace coming {

VEL_ENUM(Color, "coming::Color", red, green, blue)

class Line : public velStruct<Line> {
  xstring name;
  double price = 0;
  std::optional<Color> color;

 public:
  VEL_STRUCT(Line, "coming::Line", name, price, color)
};

class Order : public velStruct<Order> {
  int number = 0;
  xrchandle<velSequenceOf<Line>> lines = velSequenceOf<Line>::create();

 public:
  VEL_STRUCT(Order, "coming::Order", number, lines)
};

}  // namespace coming

namespace {

using coming::Color;
using coming::Line;
using coming::Order;

template <class T>
std::string Printed(const T& value) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << value;
  return out.str();
}

// The same for a record that C owns; ends it.
std::string Taken(__xstring_c text) {
  const std::string taken = xstrgetmb_c(&text);
  xstrunlock_c(&text);
  return taken;
}

// ---- Qt --------------------------------------------------------------------------------

TEST(ComingFrom, Q01_Literal) {
  xstring x = "a";
  EXPECT_TRUE(x == "a");
}

TEST(ComingFrom, Q02_Utf8) {
  const std::string s = "\xC3\xA9";
  const xstring x = velText(s);
  EXPECT_EQ(velUtf8(x), s);
}

TEST(ComingFrom, Q03_NullAndEmpty) {
  const xstring x;
  EXPECT_TRUE(x.IsNull());
  EXPECT_FALSE(x.IsEmpty());
}

TEST(ComingFrom, Q04_PartsOfText) {
  const xstring x = "abcd";
  EXPECT_TRUE(x.Substring(1, 3) == "bc");
  EXPECT_EQ(x.Pos("b"), 1);
}

TEST(ComingFrom, Q05_ReplaceAndSplit) {
  xstring x = "a,b";
  EXPECT_EQ(x.GetNWords(","), 2);
  EXPECT_TRUE(x.GetWord(0, ",") == "a");
  x.Substitute("a", "c");
  EXPECT_TRUE(x == "c,b");
}

TEST(ComingFrom, Q06_Numbers) {
  int n = 5;
  const xstring x = xstring::Printf("%d lines", n);
  EXPECT_TRUE(x == "5 lines");
  EXPECT_FALSE(x.ToInt(&n));
}

TEST(ComingFrom, Q07_Variant) {
  xany a = 5;
  a = "text";
  a = 2.5;
  EXPECT_TRUE(a == 2.5);
}

TEST(ComingFrom, Q08_VariantAsked) {
  const xany a = "5";
  EXPECT_FALSE(velGet<int>(a));
  EXPECT_EQ(velGetOr(a, 0), 0);
  EXPECT_TRUE(a.getkind() == xanyString);
}

TEST(ComingFrom, Q09_InvalidAndNull) {
  const xany a;
  EXPECT_TRUE(a.isuninit());
  EXPECT_FALSE(a.isnil());
}

TEST(ComingFrom, Q10_ObjectsInVariants) {
  auto p = velNew<Line>();
  xany a = p;
  EXPECT_EQ(velObject<Line>(a), p.operator->());
}

TEST(ComingFrom, Q11_List) {
  auto list = velSequence(std::vector<int>{1, 2});
  list->append(3);
  EXPECT_EQ(list->get(0), 1);
  EXPECT_EQ(velCount(list), 3);
}

TEST(ComingFrom, Q12_ListOfObjects) {
  auto lines = velSequenceOf<Line>::create();
  lines->append(velNew<Line>());
  EXPECT_EQ(velCount(lines), 1);
}

TEST(ComingFrom, Q13_Hash) {
  auto hash = xrealdictionary::create();
  hash->set("a", 1.5);
  EXPECT_EQ(velFind(hash, "a").value_or(0), 1.5);
  EXPECT_TRUE(hash->remove("a"));
}

TEST(ComingFrom, Q14_Loops) {
  auto hash = velDictionary(std::map<std::string, double>{{"a", 1}, {"b", 2}});
  double sum = 0;
  for (auto& [key, value] : *hash) sum += value;
  EXPECT_EQ(sum, 3);
}

TEST(ComingFrom, Q15_Copies) {
  auto list = velSequence(std::vector<int>{1, 2});
  auto copy = velClone(list);
  auto same = list;
  list->append(3);
  EXPECT_EQ(velCount(copy), 2);
  EXPECT_EQ(velCount(same), 3);
}

TEST(ComingFrom, Q16_Sharing) {
  xstring x = "a";
  xstring y = x;
  y += "b";
  EXPECT_TRUE(x == "a" && y == "ab");
}

TEST(ComingFrom, Q18_Properties) {
  auto line = velNew<Line>();
  EXPECT_TRUE(velSetAttr(line, "price", velAny(2.5)));
  EXPECT_TRUE(velGetAttr(line, "price") == 2.5);
}

TEST(ComingFrom, Q19_MetaObject) {
  auto line = velNew<Line>();
  EXPECT_TRUE(line->getRtti()->getName() == "coming::Line");
  EXPECT_EQ(velPartsOf(line).list[1].name, "price");
}

TEST(ComingFrom, Q20_Casts) {
  const xrchandle<xobject> object = velNew<Line>();
  xobject* const o = object;
  EXPECT_TRUE(dynamic_cast<Line*>(o));
  EXPECT_FALSE(dynamic_cast<Order*>(o));
  EXPECT_TRUE(o->isKindOf(Line::getClassRtti()));
}

TEST(ComingFrom, Q21_Enumerations) {
  EXPECT_STREQ(velName(Color::red), "red");
  const xany a = velAny(Color::red);
  EXPECT_EQ(velGet<Color>(a), Color::red);
}

TEST(ComingFrom, Q22_Ownership) {
  auto line = velNew<Line>();
  xrchandle<Line> other = line;
  EXPECT_EQ(xrcgetcount(line), 2);
}

TEST(ComingFrom, Q24_Printing) {
  const xany a = velAny(Color::green);
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << a;
  EXPECT_EQ(out.str(), "green");
  velPrint(a, out, 2);
  EXPECT_EQ(out.str(), "greengreen");
}

// ---- GObject and GLib, in C -------------------------------------------------------------

TEST(ComingFrom, G01_Text) {
  __xstring_c text;
  xstrcreate_c(&text, "a");
  EXPECT_STREQ(xstrgetmb_c(&text), "a");
  xstrunlock_c(&text);
}

TEST(ComingFrom, G02_WideText) {
  __xstring_c text;
  xstrcreate_c(&text, "a");
  EXPECT_TRUE(xstrgetwc_c(&text)[0] == L'a');
  xstrunlock_c(&text);
}

TEST(ComingFrom, G03_Values) {
  __xany_c value = xanyint_c(5);
  __xany_c copy = xanycopy_c(&value);
  EXPECT_EQ(xanytoint_c(&copy), 5);
  xanyunlock_c(&copy);
  xanyunlock_c(&value);
}

TEST(ComingFrom, G04_ValuesAsked) {
  __xany_c value = xanystr_c("a");
  EXPECT_FALSE(xanygetkind_c(&value) == xanyInt);
  EXPECT_EQ(xanytoint_c(&value), VEL_ERROR_INT);
  EXPECT_TRUE(xisexc_c());
  xcleanupexc_c();
  xanyunlock_c(&value);
}

TEST(ComingFrom, G05_Printed) {
  __xany_c value = xanystr_c("a");
  EXPECT_EQ(Taken(xprintstr_c(&value, -1)), "\"a\"");
  xanyunlock_c(&value);
}

TEST(ComingFrom, G06_Arrays) {
  xintsequence* seq = xintsequence_create();
  xintsequence_set(seq, xintsequence_getarraysize(seq), 5);
  EXPECT_EQ(xintsequence_get(seq, 0), 5);
  xintsequence_removerange(seq, 0, 1);
  EXPECT_EQ(xintsequence_getarraysize(seq), 0);
  xrcrelease_c(seq);
}

TEST(ComingFrom, G07_HashTables) {
  xintdictionary* dict = xintdictionary_create();
  xintdictionary_set(dict, "a", 1);
  int found = 0;
  EXPECT_TRUE(xintdictionary_find(dict, "a", &found));
  EXPECT_EQ(found, 1);
  xintdictionary_remove(dict, "a");
  EXPECT_EQ(xintdictionary_count_c(dict), 0);
  xrcrelease_c(dict);
}

TEST(ComingFrom, G08_Iteration) {
  xintdictionary* dict = xintdictionary_create();
  xintdictionary_set(dict, "a", 1);
  std::string keys;
  for (int slot = 0; slot < xintdictionary_getmapsize(dict); ++slot) {
    __xstring_c key;
    if (xintdictionary_getkeybyindex(dict, slot, &key)) keys += Taken(key);
  }
  EXPECT_EQ(keys, "a");
  xrcrelease_c(dict);
}

TEST(ComingFrom, G09_Equality) {
  xintsequence* seq = xintsequence_create();
  xintsequence* other = xintsequence_create();
  xintsequence_set(seq, 0, 5);
  xintsequence_set(other, 0, 5);
  __xany_c first = xanyobj_c(seq);
  __xany_c second = xanyobj_c(other);
  EXPECT_EQ(xcompare_c(&first, &second), 1);
  xintsequence_set(other, 0, 6);
  EXPECT_EQ(xcompare_c(&first, &second), 0);
  xanyunlock_c(&first);
  xanyunlock_c(&second);
  xrcrelease_c(seq);
  xrcrelease_c(other);
}

TEST(ComingFrom, G10_NewObjects) {
  xobject* line = xobjcreate_c("coming::Line");
  ASSERT_TRUE(line);
  xrcattach_c(line);
  xrcrelease_c(line);
  xrcrelease_c(line);
}

TEST(ComingFrom, G11_Properties) {
  xobject* line = xobjcreate_c("coming::Line");
  __xany_c price = xanyreal_c(2.5);
  xobjsetattr_c(line, "price", &price);
  __xany_c now = xobjgetattr_c(line, "price");
  EXPECT_EQ(xanytoreal_c(&now), 2.5);
  xrcrelease_c(line);
}

TEST(ComingFrom, G12_TypeNames) {
  xobject* line = xobjcreate_c("coming::Line");
  EXPECT_EQ(Taken(xgettypename_c(line)), "coming::Line");
  xrcrelease_c(line);
}

int visit(xrtti*, void* data) {
  ++*static_cast<int*>(data);
  return 1;
}

TEST(ComingFrom, G13_Registry) {
  xrtti* type = xrttifind_c("coming::Line");
  EXPECT_TRUE(type);
  int count = 0;
  xrttiforeach_c(visit, &count);
  EXPECT_GT(count, 40);
}

TEST(ComingFrom, G14_ListOfProperties) {
  xrtti* type = xrttifind_c("coming::Line");
  ASSERT_EQ(xrttigetnattrs_c(type), 3);
  xrttiattr* attr = xrttigetattr_c(type, 1);
  EXPECT_EQ(Taken(xrttiattrgetname_c(attr)), "price");
  EXPECT_EQ(Taken(xrttigetname_c(xrttiattrgettype_c(attr))), "real");
}

TEST(ComingFrom, G15_InstanceOf) {
  xobject* line = xobjcreate_c("coming::Line");
  EXPECT_TRUE(xisobjkindof_c(line, xgetrtti_c(line)));
  xrcrelease_c(line);
}

TEST(ComingFrom, G16_Enumerations) {
  xrtti* color = xrttifind_c("coming::Color");
  EXPECT_EQ(Taken(xrttimapinttostr_c(color, 1)), "green");
  EXPECT_EQ(xrttimapstrtoint_c(color, "green"), 1);
}

TEST(ComingFrom, G17_Errors) {
  xintsequence* seq = xintsequence_create();
  const int n = xintsequence_get(seq, 7);
  EXPECT_TRUE(n == VEL_ERROR_INT && xisexc_c());
  xthrowable* error = xextractexc_c();
  EXPECT_EQ(Taken(xgettypename_c(error)), "vellib::XInvalidSeqIndex");
  xrcrelease_c(error);
  xrcrelease_c(seq);
}

TEST(ComingFrom, G18_ErrorTexts) {
  xintsequence_get(nullptr, 0);
  xthrowable* error = xextractexc_c();
  __xany_c description = xobjgetattr_c(error, "Description");
  EXPECT_EQ(Taken(xanytostr_c(&description)), "Attempt to assign null to non-optional object");
  xanyunlock_c(&description);
  xrcrelease_c(error);
}

TEST(ComingFrom, G19_ErrorsDropped) {
  xintsequence_get(nullptr, 0);
  xcleanupexc_c();
  EXPECT_FALSE(xisexc_c());
}

TEST(ComingFrom, G20_AutomaticReferences) {
  auto line = velNew<Line>();
  xrchandle<Line> other = line;
  EXPECT_EQ(xrcgetcount(line), 2);
}

// ---- nlohmann-json -----------------------------------------------------------------------

const std::string text =
    "{\"number\":7,\"lines\":[{\"name\":\"tea\",\"price\":2.5,\"color\":null}]}";

TEST(ComingFrom, N01_Parse) {
  xany j = velFromJson(text);
  EXPECT_TRUE(velGetPath(j, "/number") == 7);
}

TEST(ComingFrom, N02_Dump) {
  const xany j = velFromJson("[1]");
  velJsonOptions options;
  options.indent = 2;
  EXPECT_EQ(velToJson(j), "[1]");
  EXPECT_EQ(velToJson(j, options), "[\n  1\n]");
}

TEST(ComingFrom, N03_ObjectLiteral) {
  auto j = xanydictionary::create();
  j->set("a", 1);
  j->set("b", "x");
  EXPECT_EQ(velCount(j), 2);
}

TEST(ComingFrom, N04_ArrayLiteral) {
  auto j = velSequence(std::vector<xany>{1, "two", 3.0});
  EXPECT_EQ(velToJson(j), "[1,\"two\",3.0]");
}

TEST(ComingFrom, N05_At) {
  const xany j = velFromJson(text);
  EXPECT_TRUE(velGetPath(j, "/number") == 7);
  EXPECT_FALSE(velFindPath(j, "/count"));
}

TEST(ComingFrom, N06_Pointers) {
  const xany j = velFromJson(text);
  EXPECT_TRUE(velGetPath(j, "/lines/0/name") == "tea");
}

TEST(ComingFrom, N07_Set) {
  xany j = velFromJson(text);
  velSetPath(j, "/number", velAny(8));
  EXPECT_TRUE(velGetPath(j, "/number") == 8);
}

TEST(ComingFrom, N08_PushBack) {
  xany j = velFromJson(text);
  velSetPath(j, "/lines/-", velAny("x"));
  EXPECT_TRUE(velGetPath(j, "/lines/1") == "x");
}

TEST(ComingFrom, N09_Get) {
  const xany a = velGetPath(velFromJson(text), "/number");
  EXPECT_EQ(velGet<int>(a).value(), 7);
  EXPECT_EQ(velGetOr(a, 5), 7);
}

TEST(ComingFrom, N10_Kinds) {
  const xany a = velFromJson("null");
  EXPECT_FALSE(a.getkind() == xanyInt);
  EXPECT_TRUE(a.isnil());
}

TEST(ComingFrom, N12_FromJson) {
  xrchandle<Order> order = velFromJson<Order>(text);
  EXPECT_TRUE(velGetAttr(order, "number") == 7);
}

TEST(ComingFrom, N13_ToJson) {
  xrchandle<Order> order = velFromJson<Order>(text);
  EXPECT_EQ(velToJson(order), text);
}

TEST(ComingFrom, N14_ByName) {
  xany order = velFromJson("coming::Order", text);
  EXPECT_EQ(velToJson(order), text);
}

TEST(ComingFrom, N15_Enumerations) {
  const xany line = velFromJson("coming::Line", "{\"color\":\"blue\"}");
  EXPECT_EQ(velGet<Color>(velGetAttr(velObject<Line>(line), "color")), Color::blue);
}

TEST(ComingFrom, N16_Errors) {
  try {
    velTry([&] { return velFromJson("[1,"); });
    FAIL() << "no exception";
  } catch (const velError& error) {
    EXPECT_NE(std::string(error.what()).find("line 1, column 4"), std::string::npos);
    EXPECT_TRUE(error.as<velXSerialization>());
  }
}

TEST(ComingFrom, N17_Equality) {
  const xany j = velFromJson(text);
  const xany k = velFromJson(text);
  EXPECT_TRUE(velEquals(j, k));
  EXPECT_FALSE(j == k);
}

TEST(ComingFrom, N18_Difference) {
  const xany j = velFromJson("{\"a\":1}");
  const xany k = velFromJson("{\"a\":2}");
  EXPECT_EQ(Printed(velDiff(j, k)[0]), "/a : 1 -> 2");
}

TEST(ComingFrom, N19_Items) {
  const xany j = velFromJson("{\"b\":1,\"a\":2}");
  auto* dict = velObject<xanydictionary>(j);
  std::string keys;
  for (auto& [key, value] : velSorted(*dict)) keys += velView(key);
  EXPECT_EQ(keys, "ab");
}

TEST(ComingFrom, N20_Contains) {
  const xany j = velFromJson("{\"a\":1}");
  auto* dict = velObject<xanydictionary>(j);
  EXPECT_TRUE(dict->find("a", nullptr));
  EXPECT_EQ(velCount(*dict), 1);
  dict->remove("a");
  EXPECT_EQ(velCount(*dict), 0);
}

TEST(ComingFrom, N21_Copies) {
  xany j = velFromJson("{\"a\":1}");
  xany k = velClone(j);
  velSetPath(j, "/a", velAny(2));
  EXPECT_TRUE(velGetPath(k, "/a") == 1);
}

TEST(ComingFrom, N22_Order) {
  const xany j = velFromJson("{\"b\":1,\"a\":2}");
  velJsonOptions options;
  options.sortKeys = true;
  EXPECT_EQ(velToJson(j, options), "{\"a\":2,\"b\":1}");
}

TEST(ComingFrom, N23_WideIntegers) {
  const xany a = velFromJson("5000000000");
  EXPECT_TRUE(a.getkind() == xanyReal);
}

TEST(ComingFrom, N24_Schema) {
  const xany schema = velJsonSchema("coming::Line");
  EXPECT_NE(velToJson(schema).find("\"price\""), std::string::npos);
}

TEST(ComingFrom, N25_Streams) {
  const xany j = velFromJson("[1]");
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << velToJson(j);
  EXPECT_EQ(out.str(), "[1]");
}

}  // namespace
