// JSON documents, and what is none, against the tree that RapidJSON makes of the same text, of
// which a model tells what each type takes and what then is in it; what is read, by tags and by
// types, too, can be written and read again.
#include "veljson.h"

#include <rapidjson/document.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "velext.h"
#include "velfuzz.h"
#include "veljson_types.h"
#include "velparts.h"

namespace {

using Node = rapidjson::Value;

// A number as JSON writes it, in every locale.
double RealOf(const char* text) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(text, nullptr, plain);
}

// ---- values as text, the same for the same values ----------------------------------------------

// With its length, so that nothing in it is taken for the text of something else.
std::string OfText(const std::string& utf8) { return std::to_string(utf8.size()) + '\'' + utf8; }

std::string OfReal(double number) {
  char digits[40];
  std::snprintf(digits, sizeof digits, "%a", number);  // each bit, and the sign of zero
  return digits;
}

std::string OfEnum(const std::string& type, int number) {
  return type + ':' + std::to_string(number);
}

// An object: elements, or texts by name.
class Listing {
 public:
  explicit Listing(const std::string& type) : text(type + '(') {}
  void add(const std::string& element) { text += element + ','; }
  void add(const std::string& name, const std::string& part) { add(OfText(name) + '=' + part); }
  std::string end() const { return text + ')'; }

 private:
  std::string text;
};

std::string Shown(const xany& value) {
  if (value.isnil()) return "nil";
  if (value.isuninit()) return "uninit";
  switch (value.getkind()) {
    case xanyBool:
      return value == true ? "true" : "false";
    case xanyInt:
      return std::to_string(value.operator int());
    case xanyReal:
      return OfReal(value.getxany_c().u.d);
    case xanyString:
      return OfText(velUtf8(value.operator xstring()));
    case xanyEnum:
      return OfEnum(velUtf8(value.getVelTypeName()), value.operator int());
    default:
      break;
  }
  const velParts parts = velPartsOf(value.operator xobject*());
  Listing listing(velUtf8(parts.type->getName()));
  for (const velPart& part : parts.list) {
    if (part.index < 0) {
      listing.add(part.name, Shown(part.value));
    } else {
      listing.add(Shown(part.value));
    }
  }
  return listing.end();
}

// ---- what the types of veljson_types.h take ----------------------------------------------------

enum class Sort {
  any,
  object,
  boolean,
  integer,
  real,
  text,
  name,
  record,
  choice,
  list,
  map,
  grid
};

// `type` has a "?" at its end where null is a value; `unset` is the value that a new object has.
struct Part {
  const char* name;
  const char* type;
  const char* unset;
};

// `label` is the text of a discriminator, empty for all others.
struct Branch {
  const char* label;
  const char* name;
};

struct Type {
  Sort sort = Sort::any;
  double lowest = 0, highest = 0;  // of numbers
  std::vector<const char*> names = {};
  const char* element = nullptr;
  std::vector<unsigned> sizes = {};
  std::vector<Part> parts = {};  // of a choice, the discriminator first
  std::vector<Branch> branches = {};
};

Type Plain(Sort sort) { return {sort}; }
Type Number(Sort sort, double lowest, double highest) { return {sort, lowest, highest}; }
Type List(const char* element) { return {Sort::list, 0, 0, {}, element}; }
Type Map(const char* element) { return {Sort::map, 0, 0, {}, element}; }
Type Grid(const char* element, const std::vector<unsigned>& sizes) {
  return {Sort::grid, 0, 0, {}, element, sizes};
}
Type Record(const std::vector<Part>& parts, const std::vector<Branch>& branches = {}) {
  return {branches.empty() ? Sort::record : Sort::choice, 0, 0, {}, nullptr, {}, parts, branches};
}

const Type& TypeOf(const std::string& name) {
  static const std::map<std::string, Type> types = {
      {"any", Plain(Sort::any)},
      {"object", Plain(Sort::object)},
      {"bool", Plain(Sort::boolean)},
      {"string", Plain(Sort::text)},
      // The least int of 32 bits stands for nil.
      {"int", Number(Sort::integer, -INT_MAX, INT_MAX)},
      {"int8", Number(Sort::integer, INT8_MIN, INT8_MAX)},
      {"uint16", Number(Sort::integer, 0, UINT16_MAX)},
      {"int64", Number(Sort::integer, 1 - INT_MAX, INT_MAX)},
      {"real", Number(Sort::real, -DBL_MAX, DBL_MAX)},
      {"float", Number(Sort::real, -FLT_MAX, FLT_MAX)},
      {"anyseq", List("any?")},
      {"anydict", Map("any?")},
      {"intseq", List("int?")},
      {"intdict", Map("int?")},
      {"booleanseq", List("bool?")},
      {"realseq", List("real?")},
      {"stringseq", List("string?")},
      {"int[2][3]", Grid("int?", {2, 3})},
      {"bool[2][1][2]", Grid("bool", {2, 1, 2})},
      {"jsontest::Color", {Sort::name, 0, 0, {"red", "green", "blue"}}},
      {"jsontest::Colorseq", List("jsontest::Color")},
      {"jsontest::Colordict", Map("jsontest::Color")},
      {"jsontest::Point",
       Record({{"x", "int?", "0"}, {"y", "int?", "0"}, {"label", "string?", "nil"}})},
      {"jsontest::Pointseq", List("jsontest::Point?")},
      {"jsontest::Shape", Record({{"kind", "jsontest::Color", "jsontest::Color:0"},
                                  {"radius", "real?", "0x1p+0"},
                                  {"text", "string?", "nil"}},
                                 {{"jsontest::Color:0", "radius"}, {"", "text"}})},
      {"jsontest::Number",
       Record({{"kind", "int?", "7"}, {"whole", "int?", "0"}, {"real", "real?", "0x0p+0"}},
              {{"1", "whole"}, {"2", "real"}, {"5", "real"}})},
      {"jsontest::Drawing", Record({{"points", "jsontest::Pointseq?", "jsontest::Pointseq()"},
                                    {"colors", "jsontest::Colordict?", "jsontest::Colordict()"},
                                    {"board", "int[2][3]?", "int[2][3](0,0,0,0,0,0,)"},
                                    {"origin", "jsontest::Point?", "nil"},
                                    {"shape", "jsontest::Shape?", "nil"},
                                    {"extra", "any?", "uninit"},
                                    {"isDone", "bool", "false"},
                                    {"scale", "real?", "0x1p+0"}})},
      {"jsontest::Members", Record({{"truth", "bool", "false"},
                                    {"flag", "bool?", "false"},
                                    {"number", "int?", "0"},
                                    {"real", "real?", "0x0p+0"},
                                    {"narrowReal", "float", "0x0p+0"},
                                    {"text", "string?", "nil"},
                                    {"utf8", "string", "0'"},
                                    {"any", "any?", "uninit"},
                                    {"object", "object?", "nil"},
                                    {"color", "jsontest::Color", "jsontest::Color:0"}})},
      {"jsontest::Narrow",
       Record({{"small", "int8", "0"}, {"unsignedSmall", "uint16", "0"}, {"wide", "int64", "0"}})},
      {"jsontest::Maybe", Record({{"truth", "bool?", "nil"},
                                  {"number", "int?", "nil"},
                                  {"real", "real?", "nil"},
                                  {"text", "string?", "nil"},
                                  {"color", "jsontest::Color?", "nil"}})},
      {"jsontest::Maybedict", Map("jsontest::Maybe?")},
      {"jsontest::Maybe[2]", Grid("jsontest::Maybe?", {2})},
      {"jsontest::Tree", Record({{"value", "int?", "0"},
                                 {"next", "jsontest::Tree?", "nil"},
                                 {"children", "jsontest::Treeseq?", "nil"},
                                 {"named", "jsontest::Treedict?", "nil"}})},
      {"jsontest::Treeseq", List("jsontest::Tree?")},
      {"jsontest::Treedict", Map("jsontest::Tree?")},
      {"jsontest::Bottom", Record({{"top", "int?", "1"},
                                   {"left", "int?", "nil"},
                                   {"right", "string?", "nil"},
                                   {"bottom", "bool", "true"}})},
      {"jsontest::Collections",
       Record({{"truths", "booleanseq?", "booleanseq()"},
               {"reals", "realseq?", "realseq()"},
               {"texts", "stringseq?", "stringseq()"},
               {"colors", "jsontest::Colorseq?", "jsontest::Colorseq()"},
               {"values", "anyseq?", "anyseq()"},
               {"numbers", "intdict?", "intdict()"},
               {"maybes", "jsontest::Maybedict?", "jsontest::Maybedict()"},
               {"cube", "bool[2][1][2]?", "bool[2][1][2](false,false,false,false,)"},
               {"pair", "jsontest::Maybe[2]?", "jsontest::Maybe[2](nil,nil,)"}})},
  };
  return types.at(name);
}

std::string TextOf(const Node& node) { return {node.GetString(), node.GetStringLength()}; }

// What is read where `place`, the name of a type and perhaps a "?", is expected; nothing for what
// is refused there.
using Expected = std::optional<std::string>;
Expected Read(const Node& node, std::string place);

Expected ReadNumber(const Node& node, const Type& type) {
  const double number = node.GetDouble();
  if (number < type.lowest || number > type.highest) return std::nullopt;
  if (type.sort == Sort::integer) {
    return node.IsInt() ? Expected(std::to_string(node.GetInt())) : std::nullopt;
  }
  if (number == 1e126 || number == 9e125) return std::nullopt;  // they stand for nil and uninit
  return OfReal(type.highest == FLT_MAX ? double{static_cast<float>(number)} : number);
}

Expected ReadAny(const Node& node) {
  if (node.IsBool()) return Read(node, "bool");
  if (node.IsString()) return Read(node, "string");
  if (node.IsArray()) return Read(node, "anyseq");
  if (node.IsObject()) return Read(node, "anydict");
  // The two least ints stand for nil and uninit.
  if (node.IsInt() && node.GetInt() > -INT_MAX) return std::to_string(node.GetInt());
  return OfReal(node.GetDouble());
}

Expected ReadName(const Node& node, const std::string& typeName, const Type& type) {
  for (std::size_t i = 0; i < type.names.size(); ++i) {
    if (type.names[i] == TextOf(node)) return OfEnum(typeName, static_cast<int>(i));
  }
  return std::nullopt;
}

Expected ReadList(const Node& node, const std::string& typeName, const Type& type) {
  Listing listing(typeName);
  for (const Node& each : node.GetArray()) {
    const Expected element = Read(each, type.element);
    if (!element) return std::nullopt;
    listing.add(*element);
  }
  return listing.end();
}

Expected ReadMap(const Node& node, const std::string& typeName, const Type& type) {
  std::map<std::string, std::string> entries;
  for (const auto& member : node.GetObject()) {
    const Expected entry = Read(member.value, type.element);
    if (!entry) return std::nullopt;
    entries[TextOf(member.name)] = *entry;  // of equal keys the last one
  }
  Listing listing(typeName);
  for (const auto& [key, entry] : entries) listing.add(key, entry);
  return listing.end();
}

// False when a row has not as many elements as there must be, or one of them is refused.
bool AddRow(const Node& node, const Type& type, std::size_t dimension, Listing& listing) {
  if (dimension == type.sizes.size()) {
    const Expected element = Read(node, type.element);
    if (element) listing.add(*element);
    return element.has_value();
  }
  if (!node.IsArray() || node.Size() != type.sizes[dimension]) return false;
  for (const Node& row : node.GetArray()) {
    if (!AddRow(row, type, dimension + 1, listing)) return false;
  }
  return true;
}

Expected ReadGrid(const Node& node, const std::string& typeName, const Type& type) {
  Listing listing(typeName);
  return AddRow(node, type, 0, listing) ? Expected(listing.end()) : std::nullopt;
}

// The part that a choice has beside its discriminator, if any.
std::string BranchOf(const Type& type, const std::string& label) {
  for (const Branch& branch : type.branches) {
    if (!*branch.label || label == branch.label) return branch.name;
  }
  return {};
}

// A record, or a choice, of which nothing may be given that it does not have.
Expected ReadRecord(const Node& node, const std::string& typeName, const Type& type) {
  std::map<std::string, std::string> given;
  for (const auto& member : node.GetObject()) {
    Expected value;
    for (const Part& part : type.parts) {
      if (part.name == TextOf(member.name)) value = Read(member.value, part.type);
    }
    if (!value) return std::nullopt;
    given[TextOf(member.name)] = *value;  // of equal keys the last one
  }
  Listing listing(typeName);
  std::optional<std::string> branch;
  for (const Part& part : type.parts) {
    if (branch && *branch != part.name) continue;
    const auto found = given.find(part.name);
    const std::string value = found == given.end() ? part.unset : found->second;
    listing.add(part.name, value);
    if (found != given.end()) given.erase(found);
    if (type.sort == Sort::choice && !branch) branch = BranchOf(type, value);
  }
  return given.empty() ? Expected(listing.end()) : std::nullopt;
}

Expected Read(const Node& node, std::string place) {
  const bool takesNull = place.back() == '?';
  if (takesNull) place.pop_back();
  if (node.IsNull()) return takesNull ? Expected("nil") : std::nullopt;
  const Type& type = TypeOf(place);
  switch (type.sort) {
    case Sort::any:
      return ReadAny(node);
    case Sort::object:
      return node.IsArray() || node.IsObject() ? ReadAny(node) : std::nullopt;
    case Sort::boolean:
      return node.IsBool() ? Expected(node.GetBool() ? "true" : "false") : std::nullopt;
    case Sort::integer:
    case Sort::real:
      return node.IsNumber() ? ReadNumber(node, type) : std::nullopt;
    case Sort::text:
      return node.IsString() ? Expected(OfText(TextOf(node))) : std::nullopt;
    case Sort::name:
      return node.IsString() ? ReadName(node, place, type) : std::nullopt;
    case Sort::record:
    case Sort::choice:
      return node.IsObject() ? ReadRecord(node, place, type) : std::nullopt;
    case Sort::list:
      return node.IsArray() ? ReadList(node, place, type) : std::nullopt;
    case Sort::map:
      return node.IsObject() ? ReadMap(node, place, type) : std::nullopt;
    case Sort::grid:
      return ReadGrid(node, place, type);
  }
  return std::nullopt;
}

// ---- documents ---------------------------------------------------------------------------------

// The tree of a document. Numbers are not left to RapidJSON, which makes of 0e99 what happens to
// come out.
class Tree : public rapidjson::Document {
 public:
  rapidjson::ParseResult parse(const std::string& text, std::size_t begin) {
    // With an end, for characters that are cut off are read on behind a zero byte.
    rapidjson::MemoryStream stream(text.data() + begin, text.size() - begin);
    rapidjson::Reader reader;
    rapidjson::ParseResult result;
    auto generate = [&](rapidjson::Document&) {
      result = reader.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag |
                            rapidjson::kParseNumbersAsStringsFlag>(stream, *this);
      return !result.IsError();
    };
    Populate(generate);
    return result;
  }

  bool RawNumber(const char* digits, rapidjson::SizeType length, bool) {
    const char* const end = digits + length;
    std::int64_t integer = 0;
    const auto whole = std::from_chars(digits, end, integer);
    if (whole.ptr == end && whole.ec == std::errc()) return Int64(integer);
    double real = 0;
    // What is out of range is too large or almost zero.
    if (std::from_chars(digits, end, real).ec != std::errc()) real = RealOf(digits);
    return Double(real);
  }
};

// No string holds a zero character, and of halves of pairs RapidJSON takes one that comes alone.
bool IsText(const Node& node) {
  const std::string text = TextOf(node);
  if (text.find('\0') != std::string::npos) return false;
  for (std::size_t at = text.find('\xED'); at != std::string::npos;
       at = text.find('\xED', at + 1)) {
    if (static_cast<unsigned char>(text[at + 1]) >= 0xA0) return false;
  }
  return true;
}

// What a document says as a whole.
struct Facts {
  bool isGood = true;  // only numbers that double holds, and text
  bool hasAt = false;  // a key that could be a tag
  int depth = 0;       // levels of objects and arrays
};

void Look(const Node& node, int depth, Facts& facts) {
  if (node.IsDouble() && std::isinf(node.GetDouble())) facts.isGood = false;
  if (node.IsString() && !IsText(node)) facts.isGood = false;
  if (!node.IsArray() && !node.IsObject()) return;
  facts.depth = std::max(facts.depth, depth + 1);
  if (node.IsArray()) {
    for (const Node& element : node.GetArray()) Look(element, depth + 1, facts);
    return;
  }
  for (const auto& member : node.GetObject()) {
    if (!IsText(member.name)) facts.isGood = false;
    if (*member.name.GetString() == '@') facts.hasAt = true;
    Look(member.value, depth + 1, facts);
  }
}

// Reads and, if that succeeds, writes and reads again; the value, if there is one.
bool CanRead(const char* type, const std::string& text, const velJsonOptions& options,
             xany& value) {
  const auto read = [&](const std::string& document) {
    return type ? velFromJson(type, document, options) : velFromJson(document, options);
  };
  const auto complaint = velFuzzCaught([&] { value = read(text); });
  if (!complaint.isnull()) {
    VEL_FUZZ_CHECK(dynamic_cast<velXSerialization*>(complaint.operator->()));
    return false;
  }
  VEL_FUZZ_CHECK(velEquals(read(velToJson(value, options)), value));
  return true;
}

// Reads what is to become that value, or is to be refused; the value, if there is one.
xany Check(const char* type, const std::string& text, const velJsonOptions& options,
           const Expected& expected) {
  xany value;
  VEL_FUZZ_SAME(CanRead(type, text, options, value) ? Shown(value) : "refused",
                expected ? *expected : "refused");
  return value;
}

velJsonOptions Tagged() {
  velJsonOptions options;
  options.typeTags = true;
  return options;
}

}  // namespace

VEL_FUZZ(input) {
  std::string text;
  while (!input.isEmpty()) text += static_cast<char>(input.byte());
  static constexpr char kMark[] = "\xEF\xBB\xBF";  // of the order of bytes; it may come first
  const std::size_t begin = text.compare(0, 3, kMark) == 0 ? 3 : 0;
  Tree tree;
  const rapidjson::ParseResult result = tree.parse(text, begin);
  // RapidJSON takes some numbers for too large that are not, as 0e309: nothing is known then.
  if (result.Code() == rapidjson::kParseErrorNumberTooBig &&
      std::isfinite(RealOf(text.c_str() + begin + result.Offset()))) {
    return;
  }
  Facts facts;
  if (!result.IsError()) Look(tree, 0, facts);
  // RapidJSON takes a zero byte for the end.
  const bool isGood = facts.isGood && !result.IsError() && text.find('\0') == std::string::npos;

  velJsonOptions deep;
  deep.maxDepth = facts.depth;
  Check(nullptr, text, deep, isGood ? Read(tree, "any?") : std::nullopt);
  if (deep.maxDepth-- > 0) Check(nullptr, text, deep, std::nullopt);
  for (const char* const type :
       {static_cast<const char*>(nullptr), "any", "intseq", "jsontest::Drawing",
        "jsontest::Collections", "jsontest::Members", "jsontest::Narrow", "jsontest::Tree",
        "jsontest::Number", "jsontest::Bottom"}) {
    const std::string name = type ? type : "any";
    // Null may be the whole.
    const Expected expected = isGood ? Read(tree, name + '?') : std::nullopt;
    const xany value = Check(type, text, {}, expected);
    if (!facts.hasAt) {
      Check(type, text, Tagged(), expected);
    } else {
      // Tags may name any type that is registered, more than the model has.
      xany tagged;
      VEL_FUZZ_CHECK(!CanRead(type, text, Tagged(), tagged) || isGood);
    }
    // With tags, a document tells by itself what it is.
    if (expected) Check(nullptr, velToJson(value, Tagged()), Tagged(), expected);
  }
}
