// Lines that an engineer writes on the first day, coming from Qt, GLib or the standard
// library. Each either compiles and does what it says, or the test names the spelling
// to use instead and checks that the line itself does not compile: kCompiles below is
// then false. docs/everyday.md lists them.
//
// The file is compiled as C++17 and as C++20 by each compiler at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "velext.h"

namespace everyday {

VEL_ENUM(Color, "everyday::Color", red, green)

class Point : public velStruct<Point> {
  int x = 0, y = 0;

 public:
  explicit Point(int left = 0, int up = 0) : x(left), y(up) {}
  int right() const { return x; }
  VEL_STRUCT(Point, "everyday::Point", x, y)
};

}  // namespace everyday

namespace {

using namespace std::string_literals;
using everyday::Color;
using everyday::Point;

// Whether a generic lambda compiles for arguments of these types.
template <class... Arguments, class F>
constexpr bool kCompiles(const F&) {
  return std::is_invocable<const F&, Arguments...>::value;
}
#define LINE(parameters, expression) [] parameters -> decltype(expression) { return expression; }

// The check notices what compiles.
static_assert(kCompiles<std::string>(LINE((auto x), x.size())), "");
static_assert(kCompiles<int*>(LINE((auto s), s[0])), "");
static_assert(kCompiles<int>(LINE((auto a), a < 3)), "");

template <class T>
std::string Printed(const T& value) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out << value;
  return out.str();
}

// ---- strings ---------------------------------------------------------------------------

// 1: xstring x = std::string("a");
TEST(Everyday, L01_StringFromStdString) {
  static_assert(!std::is_convertible<std::string, xstring>::value, "write velText");
  const std::string s("a");
  xstring x = velText(s);
  EXPECT_TRUE(x == "a");
}

// 2: x = std::string("b");
TEST(Everyday, L02_StringAssignedStdString) {
  static_assert(!std::is_assignable<xstring&, std::string>::value, "write velText");
  const std::string s("b");
  xstring x;
  x = velText(s);
  EXPECT_TRUE(x == "b");
}

// 3: xstring x = "a"; auto y = x; y = "b";
TEST(Everyday, L03_StringFromLiteral) {
  xstring x = "a";
  xstring y{x};
  y = "b";
  EXPECT_TRUE(x == "a" && y == "b");
}

// 4: xstring x = u8"é";  (char8_t from C++20 on)
TEST(Everyday, L04_StringFromUtf8Literal) {
  const xstring x = velText(u8"é");
  EXPECT_EQ(velUtf8(x), "\xC3\xA9");
}

// 5: std::string s = x;
TEST(Everyday, L05_StdStringFromString) {
  static_assert(!std::is_convertible<xstring, std::string>::value, "write velUtf8");
  const xstring x("a");
  const std::string s = velUtf8(x);
  EXPECT_EQ(s, "a");
}

// 6: std::string s(x);  compiles: the narrow form, and no null string, please
TEST(Everyday, L06_StdStringOfString) {
  const xstring x("a");
  EXPECT_EQ(std::string(x), "a");
  EXPECT_EQ(std::string(velView(x)), "a");
  const xstring none;
  EXPECT_EQ(std::string(velView(none)), "");
}

// 7: std::string_view v = x;
TEST(Everyday, L07_ViewOfString) {
  static_assert(!std::is_convertible<xstring, std::string_view>::value, "write velView");
  const xstring x("abc");
  const std::string_view v = velView(x);
  EXPECT_EQ(v.substr(1), "bc");
}

// 8: std::cout << x;
TEST(Everyday, L08_StringPrinted) {
  EXPECT_EQ(Printed(xstring("a")), "a");
  const xstring x = velText("\xC3\xA9");
  std::cout << x << '\n';
  EXPECT_EQ(Printed(velUtf8(x)), "\xC3\xA9");  // UTF-8 in every locale
}

// 9: std::printf("%s", x);
TEST(Everyday, L09_StringToPrintf) {
  const xstring x("a");
  char text[8];
  std::snprintf(text, sizeof text, "%s", x.CastToCString());
  EXPECT_STREQ(text, "a");
}

// 10: if (x == "a") ...  if ("a" != x) ...
TEST(Everyday, L10_StringComparedWithLiteral) {
  const xstring x("a");
  EXPECT_TRUE(x == "a");
  EXPECT_TRUE("b" != x);
}

// 11: if (x == s) ...  if (v != x) ...
TEST(Everyday, L11_StringComparedWithStdText) {
  const xstring x = velText("\xC3\xA9");
  const std::string s = "\xC3\xA9";
  const std::string_view v = "e";
  EXPECT_TRUE(x == s && s == x);
  EXPECT_TRUE(x != v && v != x);
}

// 12: if (x != y) ...  if (x < y) ...  if (x < "b") ...
TEST(Everyday, L12_StringsInOrder) {
  const xstring x("a");
  const xstring y("b");
  EXPECT_TRUE(x != y && x < y && y > x && x <= y && y >= x);
  EXPECT_TRUE(x < "b" && "b" > x);
}

// 13: if (x) ...  if (!x) ...
TEST(Everyday, L13_StringAsCondition) {
  static_assert(!std::is_constructible<bool, xstring>::value, "ask IsNull or IsEmpty");
  const xstring x;
  EXPECT_TRUE(x.IsNull());
  EXPECT_TRUE(xstring("").IsEmpty());
  EXPECT_TRUE(velView(x).empty());  // null or empty
}

// 14: x.size(), x.empty(), for (char c : x)
TEST(Everyday, L14_StringAsContainer) {
  static_assert(!kCompiles<xstring>(LINE((auto x), x.size())), "write velView(x).size()");
  const xstring x("abc");
  EXPECT_EQ(velView(x).size(), 3U);
  std::string reversed;
  for (const char c : velView(x)) reversed.insert(reversed.begin(), c);
  EXPECT_EQ(reversed, "cba");
}

// 15: auto z = x + "b" + s;
TEST(Everyday, L15_StringsJoined) {
  const xstring x("a");
  const std::string s("c");
  const xstring z = x + "b" + s;
  EXPECT_TRUE(z == "abc");
  EXPECT_TRUE(x + "b" + "c"s + x == "abca");
  EXPECT_TRUE("<" + x + ">" == "<a>");
}

// 16: x += "b"; x += s; x += 'c';
TEST(Everyday, L16_StringAppended) {
  xstring x("a");
  x += "b";
  x += "c"s;
  x += 'd';
  EXPECT_TRUE(x == "abcd");
}

// 17: std::set<xstring>, std::map<xstring, int>
TEST(Everyday, L17_StringsAsSortedKeys) {
  const std::set<xstring> names{"b", "a", "b"};
  EXPECT_TRUE(names.size() == 2 && *names.begin() == "a");
  std::map<xstring, int> ages;
  ages["Ann"] = 30;
  EXPECT_EQ(ages.count("Ann"), 1U);
}

// 18: std::unordered_set<xstring>, std::unordered_map<xstring, int>
TEST(Everyday, L18_StringsAsHashedKeys) {
  std::unordered_map<xstring, int> ages{{"Ann", 30}};
  ++ages["Ann"];
  EXPECT_EQ(ages.at("Ann"), 31);
  EXPECT_EQ(std::unordered_set<xstring>({"a", "a"}).size(), 1U);
}

// 19: std::sort(names.begin(), names.end());  std::find(..., "b")
TEST(Everyday, L19_VectorOfStringsSorted) {
  std::vector<xstring> names{"c", "a", "b"};
  std::sort(names.begin(), names.end());
  EXPECT_TRUE(names[0] == "a" && names[2] == "c");
  EXPECT_EQ(std::find(names.begin(), names.end(), "b") - names.begin(), 1);
}

// 20: std::optional<xstring> o; if (o && *o == "a") ...
TEST(Everyday, L20_OptionalString) {
  std::optional<xstring> o;
  EXPECT_FALSE(o);
  o = "a";
  EXPECT_TRUE(o && *o == "a");
  EXPECT_TRUE(o.value_or("b") == "a");
}

// ---- values ----------------------------------------------------------------------------

// 21: xany a = 3; a = "text"; a = 2.5; a = true;
TEST(Everyday, L21_ValueFromLiteral) {
  xany a = 3;
  EXPECT_TRUE(a == 3);
  a = "text";
  EXPECT_TRUE(a == "text");
  a = 2.5;
  EXPECT_TRUE(a == 2.5);
  a = true;
  EXPECT_TRUE(a == true);
}

// 22: xany a = std::string("text");
TEST(Everyday, L22_ValueFromStdString) {
  static_assert(!std::is_convertible<std::string, xany>::value, "write velAny");
  const std::string s("text");
  const xany a = velAny(s);
  EXPECT_TRUE(a == "text");
  EXPECT_EQ(velGet<std::string>(velAny(u8"é")), "\xC3\xA9");  // char8_t from C++20 on
}

// 23: xany a = 5000000000;  throws rather than being another number
TEST(Everyday, L23_ValueFromBigInteger) {
  EXPECT_THROW(velTry([] { return velAny(5000000000LL); }), velError);
  EXPECT_TRUE(velAny(std::size_t{7}) == 7);
}

// 24: int n = a;  ends the program if a is no int
TEST(Everyday, L24_IntegerFromValue) {
  const xany a = 3;
  const int n = a;
  EXPECT_EQ(n, 3);
  EXPECT_EQ(velGet<int>(a).value(), 3);
  EXPECT_THROW(velGet<int>(xany("3")).value(), std::bad_optional_access);
}

// 25: if (auto n = velGet<int>(a)) use(*n);  velGetOr(a, "nobody")
TEST(Everyday, L25_ValueAskedForItsType) {
  const xany a = "Ann";
  EXPECT_FALSE(velGet<int>(a));
  if (const auto name = velGet<std::string>(a)) {
    EXPECT_EQ(*name, "Ann");
  }
  EXPECT_EQ(velGetOr(a, "nobody"), "Ann");
  EXPECT_EQ(velGetOr(a, 7), 7);
}

// 26: std::string s = a;
TEST(Everyday, L26_StdStringFromValue) {
  static_assert(!std::is_convertible<xany, std::string>::value, "write velGet<std::string>");
  const xany a = "text";
  EXPECT_EQ(velGet<std::string>(a).value(), "text");
}

// 27: if (a) ...
TEST(Everyday, L27_ValueAsCondition) {
  static_assert(!std::is_constructible<bool, xany>::value, "ask isnil or velGetOr(a, false)");
  const xany a = true;
  EXPECT_TRUE(velGetOr(a, false));
  EXPECT_TRUE(xany(xanyNil).isnil());
}

// 28: std::cout << a;
TEST(Everyday, L28_ValuePrinted) {
  EXPECT_EQ(Printed(xany(3)), "3");
  EXPECT_EQ(Printed(velAny(Color::green)), "green");
  const xany a = 3;
  std::cout << a << ' ' << xany(2.5) << ' ' << xany(xanyNil) << '\n';
}

// 29: if (a == 3) ...  if (a == b) ...  if (a != s) ...
TEST(Everyday, L29_ValueCompared) {
  const xany a = "x";
  const xany b = 3;
  const std::string s = "x";
  EXPECT_EQ(+(a == b), 0);
  EXPECT_TRUE(a == "x" && a == s && s == a && b == 3 && 3 == b);
  EXPECT_TRUE(a != b && b != s && a != 3 && b != 3.0);
}

// 30: if (a < 3) ...
TEST(Everyday, L30_ValueBelowANumber) {
  static_assert(!kCompiles<xany>(LINE((auto a), a < 3)), "write velGetOr(a, 0) < 3");
  EXPECT_TRUE(velGetOr(xany(2), 0) < 3);
  EXPECT_TRUE(xany(2) < xany(3));
}

// 31: std::vector<xany> v{1, "two", 3.0}; std::sort(v.begin(), v.end());
TEST(Everyday, L31_VectorOfValuesSorted) {
  std::vector<xany> w{1, "two", 3.0};
  std::sort(w.begin(), w.end());
  EXPECT_TRUE(w[0] == 1 && w[1] == 3.0 && w[2] == "two");
  std::vector<xany> v{3, "two", 1.5, xany(xanyNil)};
  std::sort(v.begin(), v.end());
  EXPECT_TRUE(v[0].isnil() && v[1] == 1.5 && v[2] == 3 && v[3] == "two");
}

// 32: std::unordered_map<xany, int>, std::set<xany>, std::map<std::string, xany>
TEST(Everyday, L32_ValuesAsKeys) {
  std::unordered_map<xany, int> counts;
  ++counts[1];
  ++counts["1"];
  ++counts[1];
  EXPECT_EQ(counts.size(), 2U);
  EXPECT_EQ(counts[1], 2);
  EXPECT_EQ(std::set<xany>({1, "1", 1}).size(), 2U);
  const std::map<std::string, xany> row{{"name", "Ann"}, {"age", 30}};
  EXPECT_TRUE(row.at("age") == 30);
}

// 33: switch (velGet<Color>(a).value()) ...
TEST(Everyday, L33_EnumerationInAndOut) {
  const xany a = velAny(Color::green);
  switch (velGet<Color>(a).value()) {
    case Color::red:
      FAIL();
    case Color::green:
      EXPECT_STREQ(velName(Color::green), "green");
  }
}

// ---- objects ---------------------------------------------------------------------------

// 34: auto p = std::make_shared<Point>(1, 2);
TEST(Everyday, L34_ObjectMade) {
  const auto p = velNew<Point>(1, 2);
  EXPECT_EQ(p->right(), 1);
  const xrchandle<Point> q = new Point(3, 4);
  EXPECT_EQ((*q).right(), 3);
}

// 35: if (p) ...  if (p == nullptr) ...  if (p != q) ...
TEST(Everyday, L35_HandlesCompared) {
  const auto p = velNew<Point>();
  const auto q = velNew<Point>();
  const xrchandle<Point> none;
  if (p) {
    EXPECT_TRUE(!none);
  }
  EXPECT_FALSE(p == nullptr);
  EXPECT_TRUE(none == nullptr && p != q);
  EXPECT_TRUE(p != none && p == p.operator->());
}

// 36: xany a = p;  if (a == p) ...  velGet<xrchandle<Point>>(a)
TEST(Everyday, L36_HandleInAValue) {
  const auto p = velNew<Point>(1, 2);
  const xany a = p;
  EXPECT_TRUE(a == p && p == a && !(a != p));
  const auto back = velGet<xrchandle<Point>>(a);
  EXPECT_TRUE(back && (*back)->right() == 1);
  EXPECT_EQ(velObject<Point>(a)->right(), 1);  // borrowed
}

// 37: std::set<xrchandle<Point>>, std::unordered_map<xrchandle<Point>, int>
TEST(Everyday, L37_HandlesAsKeys) {
  const auto p = velNew<Point>();
  const auto q = velNew<Point>();
  EXPECT_EQ(std::set<xrchandle<Point>>({p, q, p}).size(), 2U);
  std::unordered_map<xrchandle<Point>, int> counts;
  ++counts[p];
  ++counts[p];
  EXPECT_EQ(counts.at(p), 2);
}

// 38: std::cout << p;
TEST(Everyday, L38_ObjectPrinted) {
  const auto p = velNew<Point>(1, 2);
  std::cout << p << '\n';
  EXPECT_EQ(Printed(p), "everyday::Point\n{\n  x : 1\n  y : 2\n}");
  EXPECT_EQ(Printed(xany(p)), Printed(p));
}

// ---- collections -----------------------------------------------------------------------

// 39: std::vector<int> v = *s;  auto s = velSequence(v);
TEST(Everyday, L39_SequenceAndVector) {
  static_assert(!std::is_convertible<xintsequence&, std::vector<int>>::value, "write velToVector");
  const std::vector<int> w{1, 2, 3};
  const auto numbers = velSequence(w);
  EXPECT_EQ(velToVector(*numbers), w);
  EXPECT_EQ(std::vector<int>(begin(*numbers), end(*numbers)), w);
}

// 40: s[0], s->size(), for (int& n : *s) ++n;
TEST(Everyday, L40_SequenceInALoop) {
  static_assert(!kCompiles<xrchandle<xintsequence>>(LINE((auto s), s[0])), "write (*s)[0]");
  static_assert(!kCompiles<xrchandle<xintsequence>>(LINE((auto s), s->size())), "write velCount");
  const auto numbers = velSequence<int>({1, 2, 3});
  for (int& n : *numbers) ++n;
  EXPECT_EQ((*numbers)[0], 2);
  EXPECT_EQ(velCount(*numbers), 3);
}

// 41: std::sort(begin(*s), end(*s));  std::accumulate, std::find, ...
TEST(Everyday, L41_SequenceInAlgorithms) {
  const auto numbers = velSequence<int>({3, 1, 2});
  std::sort(begin(*numbers), end(*numbers));
  EXPECT_EQ(velToVector(*numbers), (std::vector<int>{1, 2, 3}));
  const auto s = velSequence<std::string>({"c", "a", "b"});
  std::sort(begin(*s), end(*s));
  EXPECT_EQ(velToVector<std::string>(*s), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(std::find(begin(*s), end(*s), "b") - begin(*s), 1);
#if __cplusplus >= 202002L && defined(__cpp_lib_ranges)
  static_assert(std::random_access_iterator<velElements<int>>);
  static_assert(std::input_iterator<velEntries<int>>);
  const auto others = velSequence<int>({3, 1, 2});
  std::ranges::sort(begin(*others), end(*others));
  EXPECT_EQ((*others)[0], 1);
#endif
}

// 42: for (auto& [key, value] : *d) ...  d["a"], d.find("a")
TEST(Everyday, L42_DictionaryInALoop) {
  static_assert(!kCompiles<xrchandle<xintdictionary>>(LINE((auto d), (*d)["a"])), "write velFind");
  const auto prices = velDictionary<int>({{"b", 2}, {"a", 1}});
  int sum = 0;
  for (auto& [key, value] : *prices) sum += value;
  EXPECT_EQ(sum, 3);
  std::string keys;
  for (auto& [key, value] : velSorted(*prices)) keys += velView(key);
  EXPECT_EQ(keys, "ab");
  if (const auto found = velFind(*prices, "a")) {
    EXPECT_EQ(*found, 1);
  }
  prices->set("c", 3);
  EXPECT_EQ(velToMap(*prices).at("c"), 3);
}

}  // namespace
