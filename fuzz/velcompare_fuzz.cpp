// Comparisons of random values, held against plain recursion over a record of what
// they hold. Objects are shared, met again within themselves, and of types that are the
// same by name only. The second values are like the first, spelled another way; like
// them but for a few changes; or made on their own.
#include "velcompare.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "velfuzz.h"
#include "veltest_types.h"

namespace {

// ---- what values hold ----

struct Value {
  int kind = xanyUninit;
  std::string text = {};  // leaves of one kind are equal when it is the same; empty for NaN
  int number = 0;         // of an int, a truth or an enumeration value; an object's place
  // The value itself, unless it is an object, in two spellings that mean the same.
  xany plain[2] = {xany(), xany(xuninitobject)};
};

Value Nil() { return {xanyNil, "", INT_MIN, {nullptr, xany(xanyObject)}}; }
Value OfNumber(int n) {
  return n == INT_MIN ? Nil() : Value{xanyInt, std::to_string(n), n, {n, n}};
}
Value OfTruth(std::uint8_t truth) {
  if (truth == 128) return Nil();
  return truth == 129 ? Value() : Value{xanyBool, std::to_string(truth), truth, {truth, truth}};
}
Value OfReal(double real) {
  if (real == 1e126) return Nil();
  if (real == 9e125) return Value();
  char text[40];
  std::snprintf(text, sizeof text, "%a", real == 0 ? 0.0 : real);
  return {xanyReal, std::isnan(real) ? "" : text, 0, {real, real}};
}
// Wide characters that are not ASCII have another narrow form in each locale.
Value OfText(const std::string& text) {
  const xstring narrow(text.c_str());
  std::vector<wchar_t> wide(text.begin(), text.end());
  wide.push_back(0);
  const bool isAscii = std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
  return {xanyString, text, 0, {narrow, isAscii ? xstring(wide.data()) : narrow}};
}
Value OfColor(int n) {
  static const char* const names[] = {"red", "green"};
  static xrttienum type("Color", 2, names);
  return {xanyEnum, "", n, {xany(n, &type), xany(n, &type)}};
}

bool IsNan(const Value& value) { return value.kind == xanyReal && value.text.empty(); }

struct Node {
  unsigned type = 0;
  std::vector<Value> parts = {};       // of a thing also its attributes: a, b, c
  std::vector<std::string> keys = {};  // of a dictionary, each once; one for each part
};
using Nodes = std::vector<Node>;

// ---- types ----

class World;

struct Type {
  std::vector<std::string> names;  // its own and those above it
  // In the order of the walk: attributes by their letters; elements of a sequence [,
  // of a dictionary {, of an array #; discriminator and member of a union ?.
  std::string contents;
  char elements = 'v';  // int, bool, real, string or any value; '-' is any but an object
  xrttiobject* ofThings = nullptr;
  std::vector<int> sizes = {};        // of an array
  std::map<int, char> branches = {};  // of a union; '-' is none
  char fallback = '-';
  xany (*create)(bool isOther) = nullptr;  // these two are of a standard collection
  void (*fill)(xobject* object, const Node& node, const World& world) = nullptr;
};

// Objects of a class below a standard one are read through their descriptor only.
template <class C>
xany Create(bool isOther) {
  class Other : public C {};
  return isOther ? xany(xrchandle<C>(new Other)) : xany(C::create());
}

template <class C, class T>
void Fill(xobject* object, const Node& node, const World& world);

template <class C, class T>
Type CollectionOf(const char* name, const char* contents, char elements) {
  return {{name}, contents, elements, nullptr, {}, {}, '-', Create<C>, Fill<C, T>};
}

// Things come first, then sequences, then dictionaries; the last of these hold anything.
constexpr unsigned kThings = 13;
constexpr unsigned kAnySequence = kThings + 4;
constexpr unsigned kAnyDictionary = kAnySequence + 5;
constexpr unsigned kTypes = kAnyDictionary + 1;

const Type& TypeOf(const Node& node) {
  static VelAttr a("a");
  static VelAttr b("b");
  static VelAttr c("c");
  static VelStructType pair("Pair", {}, {&a, &b});
  static VelStructType triple("Triple", {&pair}, {&c});
  static VelStructType both("Both", {&triple, &pair}, {});
  static VelStructType namesake("Pair", {}, {&c});
  static VelUnionType choice("Choice", &a, {{1, &b}, {2, &c}, {INT_MIN, &b}, {INT_MIN + 1, &c}},
                             nullptr);
  static VelUnionType usual("Usual", &a, {{0, &c}, {1, nullptr}}, &b);
  static VelSeqType list("List");
  static VelSeqType longer("Longer", {&list});
  static VelPlainType plain("Plain");
  static VelArrayType row("Grid", {3});
  static VelArrayType square("Grid", {2, 2});
  static VelArrayType wide("Grid", {2, 3});
  static VelStructType noGrid("Grid", {}, {&a});
  static const std::vector<Type> types{
      {{"Pair"}, "ab", 'v', &pair},
      {{"Triple", "Pair"}, "abc", 'v', &triple},
      {{"Both", "Triple", "Pair"}, "abc", 'v', &both},
      {{"Pair"}, "c", 'v', &namesake},
      {{"Choice"}, "?", 'v', &choice, {}, {{1, 'b'}, {2, 'c'}, {INT_MIN, 'b'}, {INT_MIN + 1, 'c'}}},
      {{"Usual"}, "?", 'v', &usual, {}, {{0, 'c'}, {1, '-'}}, 'b'},
      {{"List"}, "[", 'v', &list},
      {{"Longer", "List"}, "[[", 'v', &longer},
      {{"Plain"}, "", 'v', &plain},
      {{"Grid"}, "#", 'v', &row, {3}},
      {{"Grid"}, "#", 'v', &square, {2, 2}},
      {{"Grid"}, "#", 'v', &wide, {2, 3}},
      {{"Grid"}, "a", 'v', &noGrid},
      CollectionOf<xintsequence, int>("intseq", "[", 'i'),
      CollectionOf<xboolsequence, unsigned char>("booleanseq", "[", 'b'),
      CollectionOf<xrealsequence, double>("realseq", "[", 'r'),
      CollectionOf<xstringsequence, xstring>("stringseq", "[", 's'),
      CollectionOf<xanysequence, xany>("anyseq", "[", 'v'),
      CollectionOf<xintdictionary, int>("intdict", "{", 'i'),
      CollectionOf<xbooldictionary, unsigned char>("booleandict", "{", 'b'),
      CollectionOf<xrealdictionary, double>("realdict", "{", 'r'),
      CollectionOf<xstringdictionary, xstring>("stringdict", "{", 's'),
      CollectionOf<xanydictionary, xany>("anydict", "{", 'v')};
  return types[node.type];
}

// ---- the objects themselves ----

class World {
 public:
  World(const Nodes& all, const Value& plain, bool isOther) : nodes(all), spelling(isOther) {
    for (const Node& node : nodes) {
      const Type& type = TypeOf(node);
      roots.push_back({xanyObject, "", static_cast<int>(objects.size()), {}});
      objects.push_back(type.ofThings ? xany(velNewThing(type.ofThings)) : type.create(isOther));
    }
    for (std::size_t i = 0; i < nodes.size(); ++i) FillObject(objects[i], nodes[i]);
    roots.push_back(plain);
  }
  ~World() {
    for (const xany& each : objects) {
      xobject* const object = each;
      if (auto* sequence = dynamic_cast<xanysequence*>(object)) sequence->clear();
      if (auto* dictionary = dynamic_cast<xanydictionary*>(object)) dictionary->clearall();
      if (auto* thing = dynamic_cast<VelThing*>(object)) thing->values.clear();
      if (auto* thing = dynamic_cast<VelThing*>(object)) thing->items.clear();
    }
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  xany Make(const Value& value) const {
    if (value.kind == xanyObject) return objects[static_cast<std::size_t>(value.number)];
    return value.plain[spelling];
  }

  std::vector<int> Counts() const {
    std::vector<int> counts;
    for (const xany& object : objects) counts.push_back(xrcgetcount(object.operator xobject*()));
    return counts;
  }

  const Nodes nodes;
  const bool spelling;
  std::vector<Value> roots;  // what is compared: each object, and a value that is none

 private:
  void FillObject(xobject* object, const Node& node) {
    const Type& type = TypeOf(node);
    if (type.fill) return type.fill(object, node, *this);
    VelThing& thing = VelThing::of(object);
    for (const Value& part : node.parts) thing.items.push_back(velGives(Make(part)));
    // No array and no attribute lies outside.
    const bool isSequence = type.contents[0] == '[';
    while (!isSequence && thing.items.size() < 6) thing.items.push_back(velGives(xany()));
    for (const char* name : {"a", "b", "c"}) {
      const auto at = static_cast<std::size_t>(*name - 'a');
      if (at < thing.items.size()) thing.values[name] = thing.items[at];
    }
  }

  std::vector<xany> objects;
};

template <class C, class T>
void Fill(xobject* object, const Node& node, const World& world) {
  const auto element = [&](std::size_t i) -> T {
    const xany value = world.Make(node.parts[i]);
    if constexpr (std::is_same_v<T, xany>) return value;
    if constexpr (!std::is_same_v<T, xany>) return value.operator T();
  };
  C& collection = dynamic_cast<C&>(*object);
  for (std::size_t n = node.parts.size(), i = 0; i < n; ++i) {
    if constexpr (std::is_base_of_v<xtbsequence<T>, C>) {
      collection.append(element(i));
    } else {
      // The entries lie in other slots, but are the same.
      const std::size_t at = world.spelling ? n - 1 - i : i;
      collection.set(node.keys[at].c_str(), element(at));
    }
  }
}

// ---- the choices ----

class Maker {
 public:
  explicit Maker(velFuzzInput input) : in(input) {}

  Nodes All() {
    Nodes nodes(1 + Any(12));
    count = nodes.size();
    for (Node& node : nodes) {
      // Those that hold anything come more often.
      node.type = in.below(kTypes + 9);
      if (node.type >= kTypes) node.type = node.type % 2 == 0 ? kAnySequence : kAnyDictionary;
      for (unsigned n = in.below(16) == 15 ? in.below(60) : in.below(7); n > 0; --n) Append(node);
    }
    return nodes;
  }

  std::size_t Any(std::size_t n) {
    return in.below(static_cast<unsigned>(std::min<std::size_t>(n, 256)));
  }

  Value Part(char elements) {
    unsigned sort = in.below(elements == '-' ? 9 : 16);
    if (elements == 'i') sort = 2 + sort % 2;
    if (elements == 'b') sort = 4;
    if (elements == 'r') sort = 5;
    if (elements == 's') sort = sort == 0 ? 1 : 6;
    switch (sort) {
      case 0:
        return Value();
      case 1:
        return Nil();
      case 2:
        return OfNumber(in.number());
      case 3:
        return OfNumber(in.between(-1, 2));
      case 4:
        return OfTruth(in.flag() ? in.byte() : in.flag());
      case 5: {
        static constexpr double kUsual[] = {0, -0.0, 1, 1e126, 9e125};
        const std::size_t usual = Any(8);
        return OfReal(usual < 5 ? kUsual[usual] : in.real());
      }
      case 6:
      case 7:
        return OfText(Word());
      case 8:
        return OfColor(in.between(-1, 1));
      default:
        return {xanyObject, "", static_cast<int>(Any(count)), {}};
    }
  }

  void Change(Nodes& nodes) {
    count = nodes.size();
    Node& node = nodes[Any(count)];
    const std::size_t sort = Any(9);
    if (sort == 0) {
      node.type = node.type < kThings         ? in.below(kThings)
                  : node.type <= kAnySequence ? kAnySequence
                                              : kAnyDictionary;
    } else if (sort == 1 || node.parts.empty()) {
      Append(node);
    } else {
      ChangePart(nodes, node, sort, Any(node.parts.size()));
    }
  }

 private:
  void ChangePart(Nodes& nodes, Node& node, std::size_t sort, std::size_t at) {
    Value& part = node.parts[at];
    if (sort == 2) {
      node.parts.erase(node.parts.begin() + static_cast<std::ptrdiff_t>(at));
      if (!node.keys.empty()) node.keys.erase(node.keys.begin() + static_cast<std::ptrdiff_t>(at));
    } else if (sort == 3) {
      std::swap(part, node.parts[Any(node.parts.size())]);
    } else if (sort == 4 && !node.keys.empty()) {
      const std::string key = Word();
      if (!Has(node, key)) node.keys[at] = key;
    } else if (sort == 5 && part.kind == xanyObject) {
      // What was reached twice, or within itself, no longer is.
      const Node twin = nodes[static_cast<std::size_t>(part.number)];
      part.number = static_cast<int>(count);
      nodes.push_back(twin);
    } else {
      part = Part(TypeOf(node).elements);
    }
  }

  void Append(Node& node) {
    const Type& type = TypeOf(node);
    if (type.contents == "{") {
      const std::string key = Word();
      if (Has(node, key)) return;
      node.keys.push_back(key);
    }
    node.parts.push_back(Part(type.elements));
  }

  static bool Has(const Node& node, const std::string& key) {
    return std::count(node.keys.begin(), node.keys.end(), key) != 0;
  }

  // Mostly one of a few, so that some are the same.
  std::string Word() {
    if (in.below(8) == 7) return in.text(20);
    return std::string(in.below(20) % 10, static_cast<char>('a' + in.below(3)));
  }

  velFuzzInput in;
  std::size_t count = 1;  // of the objects that a part may be
};

// ---- the comparison ----

struct TooLong {};

class Comparison {
 public:
  Comparison(const World& one, const World& another, int& stepsLeft)
      : first(one.nodes), second(another.nodes), steps(stepsLeft) {}

  bool IsEqual(const Value& a, const Value& b) { return a.kind == xanyObject && Same(a, b); }
  /// Whether a rule was used that is not the same both ways.
  bool IsOneSided() const { return isOneSided; }

 private:
  bool OneSided(bool same) {
    isOneSided = true;
    return same;
  }

  bool Same(const Value& a, const Value& b) {
    if (--steps < 0) throw TooLong();
    if (b.kind == xanyUninit) isOneSided = true;
    if (a.kind == xanyUninit) return OneSided(true);
    if (a.kind == xanyEnum) return OneSided(b.kind == xanyInt && b.number == a.number);
    if (a.kind != xanyObject) return a.kind == b.kind && a.text == b.text && !IsNan(a);
    if (!path.insert(a.number).second) return OneSided(true);
    const bool same =
        b.kind == xanyObject && SameObjects(first[static_cast<std::size_t>(a.number)],
                                            second[static_cast<std::size_t>(b.number)]);
    path.erase(a.number);
    return same;
  }

  bool SameObjects(const Node& a, const Node& b) {
    const Type& type = TypeOf(a);
    const auto& names = TypeOf(b).names;
    if (std::count(names.begin(), names.end(), type.names[0]) == 0) return false;
    const bool isAsLong = a.parts.size() == b.parts.size();
    if (a.type != b.type || !isAsLong) isOneSided = true;
    for (const char content : type.contents) {
      if (content == '[' && !isAsLong) return false;
      const bool same = content == '[' || content == '{' ? SameElements(a, b)
                        : content == '#'                 ? SameCells(a, b)
                        : content == '?' ? SameParts(a, b, 0) && SameAttributes(a, b, Member(a))
                                         : SameAttributes(a, b, content);
      if (!same) return false;
    }
    return true;
  }

  static const Value& Part(const Node& node, std::size_t at) {
    static const Value missing;
    return at < node.parts.size() ? node.parts[at] : missing;
  }
  bool SameParts(const Node& a, const Node& b, std::size_t at) {
    return Same(Part(a, at), Part(b, at));
  }
  bool SameAttributes(const Node& a, const Node& b, char name) {
    return name == '-' || SameParts(a, b, static_cast<std::size_t>(name - 'a'));
  }

  bool SameElements(const Node& a, const Node& b) {
    for (std::size_t i = 0; i < a.parts.size(); ++i) {
      std::size_t k = i;
      if (!a.keys.empty()) {
        const auto found = std::find(b.keys.begin(), b.keys.end(), a.keys[i]);
        if (found == b.keys.end()) return false;
        k = static_cast<std::size_t>(found - b.keys.begin());
      }
      if (!Same(a.parts[i], b.parts[k])) return false;
    }
    return true;
  }

  bool SameCells(const Node& a, const Node& b) {
    const std::vector<int>& sizes = TypeOf(a).sizes;
    const std::vector<int>& own = TypeOf(b).sizes;
    std::vector<int> index(sizes.size(), 0);
    for (std::size_t place = 0;; ++place) {
      for (std::size_t d = 0; d < index.size() && !own.empty(); ++d) {
        if (d >= own.size() || index[d] >= own[d]) return false;
      }
      if (!SameParts(a, b, place)) return false;
      std::size_t d = index.size();
      while (d > 0 && ++index[d - 1] == sizes[d - 1]) index[--d] = 0;
      if (d == 0) return true;
    }
  }

  static char Member(const Node& node) {
    const Type& type = TypeOf(node);
    const Value& label = Part(node, 0);
    if (label.kind == xanyReal || label.kind == xanyString || label.kind == xanyObject) return '-';
    const int number = label.kind == xanyUninit ? INT_MIN + 1
                       : label.kind == xanyBool ? label.number != 0
                                                : label.number;
    const auto found = type.branches.find(number);
    return found == type.branches.end() ? type.fallback : found->second;
  }

  const Nodes& first;
  const Nodes& second;
  int& steps;
  std::set<int> path;  // of the first world's objects, those that are being compared
  bool isOneSided = false;
};

// Compares both ways; answers the first.
bool Compare(const World& first, const Value& a, const World& second, const Value& b, int& steps) {
  Comparison forth(first, second, steps);
  Comparison back(second, first, steps);
  const bool expected[] = {forth.IsEqual(a, b), back.IsEqual(b, a)};
  const xany one = first.Make(a);
  const xany other = second.Make(b);
  const bool found[] = {velCompare(one, other) != 0, velCompare(other, one) != 0};
  if (found[0] != expected[0] || found[1] != expected[1]) {
    velFuzzFail(__FILE__, __LINE__, found[0] != expected[0] ? "forth" : "back",
                std::string(one.toString().CastToCString()) + "\n--- and\n" +
                    other.toString().CastToCString());
  }
  VEL_FUZZ_CHECK(!found[0] || forth.IsOneSided() || found[1]);
  return found[0];
}

// Whether nothing in `value` is different from itself.
bool IsCalm(const Nodes& nodes, const Value& value, std::set<int>& seen) {
  if (value.kind == xanyEnum || IsNan(value)) return false;
  if (value.kind != xanyObject || !seen.insert(value.number).second) return true;
  const auto& parts = nodes[static_cast<std::size_t>(value.number)].parts;
  return std::all_of(parts.begin(), parts.end(),
                     [&](const Value& part) { return IsCalm(nodes, part, seen); });
}

}  // namespace

VEL_FUZZ(input) {
  {
    const bool isOther = input.flag();
    const unsigned changes = input.below(4);
    Maker maker(input);
    const Nodes nodes = maker.All();
    const Value plain = maker.Part('-');
    Nodes others = changes == 3 ? maker.All() : nodes;
    for (unsigned i = 0; i < changes; ++i) maker.Change(others);
    const World first(nodes, plain, false);
    const World second(others, plain, isOther);
    const std::vector<int> counts[] = {first.Counts(), second.Counts()};

    int steps = 2000;  // ways through objects that are reached twice are many
    try {
      for (std::size_t i = 0; i < first.roots.size(); ++i) {
        const Value& root = first.roots[i];
        const Value& twin = second.roots[i < second.roots.size() ? i : 0];
        const bool isItself = Compare(first, root, first, root, steps);
        const bool isTwin = Compare(first, root, second, twin, steps);
        Compare(first, root, second, second.roots[maker.Any(second.roots.size())], steps);
        std::set<int> seen;
        if (root.kind == xanyObject && IsCalm(nodes, root, seen)) {
          VEL_FUZZ_CHECK(isItself && (isTwin || changes > 0));
        }
      }
    } catch (const TooLong&) {}
    VEL_FUZZ_CHECK(first.Counts() == counts[0] && second.Counts() == counts[1]);
  }
  VEL_FUZZ_CHECK(VelThing::alive() == 0);
}
