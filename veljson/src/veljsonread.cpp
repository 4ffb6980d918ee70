#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "velbyname.h"
#include "velerror.h"
#include "veljson.h"
#include "veljsontype.h"
#include "velparts.h"
#include "velrtti.h"
#include "vels11n.h"
#include "veltext.h"
#include "velwrites.h"

namespace {

// Goes over a text and tells how far the parser has come.
class Watched {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Watched(const char* text, const char** reached) : at(text), end(reached) {}
  reference operator*() const { return *at; }
  Watched& operator++() {
    *end = ++at;
    return *this;
  }
  bool operator==(const Watched& other) const { return at == other.at; }
  bool operator!=(const Watched& other) const { return at != other.at; }

 private:
  const char* at;
  const char** end;
};

// A real as it is: two values of double stand for nil and uninit where a value is made
// of a plain double, but a document means the number.
xany RealOf(double number) {
  __xany_c view;
  view.kind = xanyReal;
  view.u.d = number;
  return xany(view);
}

// A number without a fraction before it is known what is expected.
struct Integer {
  bool isInt;  // one that a variant can hold
  int number;
  double real;
};

class Reader : public nlohmann::json_sax<nlohmann::json> {
 public:
  Reader(std::string_view document, xrtti* expected, const velJsonOptions& how)
      : text(document),
        options(how),
        reached(text.data()),
        seen(begin()),
        token(seen),
        rootType(expected) {}

  xany read() {
    const char* const end = text.data() + text.size();
    nlohmann::json::sax_parse(Watched(text.data(), &reached), Watched(end, &reached), this);
    // The parser takes a zero byte for the end.
    if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
      token = text.data() + zero;
      fail("zero byte");
    }
    return std::move(root);
  }

  // ---- leaves ----

  bool null() override {
    return leaf([](xrtti*) { return xany(xanyNil); });
  }
  bool boolean(bool value) override {
    return leaf([=](xrtti*) { return xany(value); });
  }
  bool number_integer(number_integer_t value) override {
    const bool isInt = value >= kUninitInt && value <= std::numeric_limits<int>::max();
    return integer({isInt, isInt ? static_cast<int>(value) : 0, static_cast<double>(value)});
  }
  bool number_unsigned(number_unsigned_t value) override {
    const bool isInt = value <= static_cast<unsigned>(std::numeric_limits<int>::max());
    return integer({isInt, isInt ? static_cast<int>(value) : 0, static_cast<double>(value)});
  }
  bool number_float(number_float_t value, const string_t& written) override {
    // What is written without a fraction and is beyond 64 bits comes here, too.
    if (written.find_first_not_of("-0123456789") == std::string::npos) {
      return integer({false, 0, value});
    }
    return leaf([=](xrtti*) { return RealOf(value); });
  }
  bool string(string_t& value) override {
    if (isTag()) return beginTagged(value);
    return leaf([&](xrtti* expected) {
      velRefuseZeroByte(value);
      if (auto* const type = dynamic_cast<xrttienum*>(expected)) return enumerator(type, value);
      return xany(velText(value));
    });
  }
  bool binary(binary_t&) override { return false; }

  // ---- objects and arrays ----

  bool start_object(std::size_t) override {
    return guarded([&] {
      refuseAsTag();
      checkDepth();
      levels.emplace_back();
      Level& level = levels.back();
      level.isArray = false;
      level.at = token;
      level.expected = expectedHere(levels.size() - 1);
      level.isUndecided = true;  // until its first key, which may be a tag
    });
  }

  bool key(string_t& value) override {
    return guarded([&] {
      Level& level = levels.back();
      level.hasKey = false;
      velRefuseZeroByte(value);
      if (level.isUndecided && options.typeTags && value == kJsonTag) {
        level.key = value;
        level.isTagNext = true;
        return;
      }
      if (level.isUndecided) decideByPlace(level);
      if (options.typeTags && value.compare(0, 1, "@") == 0) {
        if (value.compare(0, 2, "@@") != 0) {
          fail(value == kJsonTag ? "\"@type\" does not come first"
                                 : "unknown tag \"" + value + '"');
        }
        value.erase(0, 1);
      }
      level.key = std::move(value);
      level.hasKey = true;
    });
  }

  bool end_object() override {
    return guarded([&] {
      if (levels.back().isUndecided) decideByPlace(levels.back());
      refuseOtherBranches(levels.back());
      Level level = std::move(levels.back());
      levels.pop_back();
      if (level.isWrapper) {
        if (!level.hasValue) fail("a value is missing beside \"@type\"");
        return put(std::move(level.wrapped));
      }
      put(xany(level.object));
    });
  }

  bool start_array(std::size_t) override {
    return guarded([&] {
      refuseAsTag();
      checkDepth();
      if (!levels.empty()) {
        Level& outer = levels.back();
        // One dimension further in an array of several.
        if (outer.array && outer.dimension + 1 < outer.array->getNDimentions()) {
          Level row;
          row.isArray = true;
          row.object = outer.object;
          row.writes = outer.writes;
          row.array = outer.array;
          row.type = outer.type;
          row.elementType = outer.elementType;
          row.indices = outer.indices;
          row.indices.push_back(outer.index);
          row.dimension = outer.dimension + 1;
          checkCell(outer);
          levels.push_back(std::move(row));
          return;
        }
      }
      const xstring typeName = typeForArray(expectedHere(levels.size()));
      levels.emplace_back();
      levels.back().isArray = true;
      decide(levels.back(), typeName);
    });
  }

  bool end_array() override {
    return guarded([&] {
      const Level level = std::move(levels.back());
      levels.pop_back();
      if (level.array && level.index != level.array->getDimention(level.dimension)) {
        fail("the array has " + std::to_string(level.index) + " elements instead of " +
             std::to_string(level.array->getDimention(level.dimension)));
      }
      if (level.array && level.dimension > 0) {
        ++levels.back().index;
      } else {
        put(xany(level.object));
      }
    });
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::json::exception& error) override {
    // A number that is too large, or the first byte that is wrong, which is the last of
    // those that were read, the end of the text counted.
    constexpr int kNumberOverflow = 406;
    mark();
    const char* const wrong = text.data() + std::min(position > 0 ? position - 1 : 0, text.size());
    velThrowJson(place(error.id == kNumberOverflow ? token : wrong) + message(error.what()));
  }

 private:
  // An object or array of JSON that is not yet complete.
  struct Level {
    bool isArray = false;
    bool isUndecided = false;  // an object of which nothing has been seen
    bool isTagNext = false;    // its tag is the next text
    bool isWrapper = false;    // of a tagged value that is no object
    bool hasValue = false;
    xrtti* expected = nullptr;  // by its place; of a wrapper, what its value is
    bool hasKey = false;        // and stands at its value
    std::string key;
    int index = 0;
    xrcunihandle<xobject> object;
    xrttiobject* type = nullptr;
    const velWrites* writes = nullptr;
    xrtti* elementType = nullptr;
    xrttiarray* array = nullptr;
    int dimension = 0;
    std::vector<int> indices;  // of the row in an array, without the last
    const char* at = nullptr;  // where an object begins
    std::vector<std::pair<std::string, const char*>> given;  // the parts of a union
    xany wrapped;
  };

  // ---- where things are ----

  std::string path() const {
    std::string made;
    for (const Level& level : levels) {
      if (level.isWrapper || (!level.isArray && !level.hasKey)) continue;
      made += level.isArray ? '/' + std::to_string(level.index) : velStep(level.key);
    }
    return made;
  }

  // Behind the byte order mark that may come first.
  const char* begin() const {
    static constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return text.data() + (text.substr(0, kMark.size()) == kMark ? kMark.size() : 0);
  }

  // The parser has come to the end of the next token, or one character further: looks
  // where that begins and ends.
  void mark() {
    token = std::min(seen, reached);
    while (token != reached && std::strchr(" \t\r\n,:", *token)) ++token;
    seen = token;
    while (seen != reached && std::strchr("+-.0123456789eE", *seen)) ++seen;
    if (seen == token) seen = reached;
  }

  // Line and column, in characters from 1.
  std::string place(const char* of) const {
    std::size_t line = 1;
    std::size_t column = 1;
    for (const char* at = std::min(begin(), of); at != of; ++at) {
      const auto byte = static_cast<unsigned char>(*at);
      if (byte == '\n') {
        ++line;
        column = 1;
      } else if ((byte & 0xC0U) != 0x80) {
        ++column;
      }
    }
    return path() + (path().empty() ? "" : ": ") + "line " + std::to_string(line) + ", column " +
           std::to_string(column) + ": ";
  }

  [[noreturn]] void fail(const std::string& what,
                         const xrchandle<velXException>& source = 0) const {
    isTold = true;
    velThrowJson(place(token) + what, source);
  }

  // Runs a step, which is a token; an exception of the framework is told with the place.
  template <class Step>
  bool guarded(Step step) {
    mark();
    try {
      step();
    } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
      const xrcunihandle<xthrowable> held(caught);
      xrcrelease(caught);
      if (isTold) xthrow(held);
      auto* const exception = dynamic_cast<velXException*>(caught);
      fail(velSummary(caught), exception);
    }
    return true;
  }

  // ---- types ----

  bool isTag() const { return !levels.empty() && levels.back().isTagNext; }

  // The type that what comes next has by its place; null for any.
  xrtti* expectedHere(std::size_t depth) const {
    if (depth == 0) return rootType;
    const Level& outer = levels[depth - 1];
    if (outer.isWrapper) return outer.expected;
    if (outer.elementType) return outer.elementType;
    return outer.isArray ? nullptr : velTypeOfPart(outer.type, outer.key);
  }

  static bool isAny(xrtti* type) {
    return !type || type->getName() == "any" || type->getName() == "object";
  }

  xstring typeForObject(xrtti* expected) const {
    if (isAny(expected)) return "anydict";
    if (dynamic_cast<xrttistruct*>(expected) || dynamic_cast<xrttiunion*>(expected) ||
        dynamic_cast<xrttidictionary*>(expected)) {
      return expected->getName();
    }
    fail("an object where " + nameOf(expected) + " is expected");
  }
  xstring typeForArray(xrtti* expected) const {
    if (isAny(expected)) return "anyseq";
    if (dynamic_cast<xrttisequence*>(expected) || dynamic_cast<xrttiarray*>(expected)) {
      return expected->getName();
    }
    fail("an array where " + nameOf(expected) + " is expected");
  }
  static std::string nameOf(xrtti* type) { return velKeyUtf8(type->getName()); }

  // A name stands in a document in UTF-8; it may be text of the locale.
  static xrtti* typeOfName(const std::string& utf8) {
    if (xrtti* const type = velRttiGetFromMap(utf8.c_str())) return type;
    const std::optional<std::string> narrow = velNarrowIfText(utf8);
    return narrow ? velRttiGetFromMap(narrow->c_str()) : nullptr;
  }

  void checkDepth() const {
    if (static_cast<long long>(levels.size()) >= options.maxDepth) fail("nested too deep");
  }

  // Makes an object that tells no type, at its beginning.
  void decideByPlace(Level& level) {
    const char* const next = std::exchange(token, level.at);
    decide(level, typeForObject(level.expected));
    token = next;
  }

  // Makes the object of a level.
  void decide(Level& level, const xstring& typeName) {
    level.object = velCreate(typeName.CastToCString());
    level.isUndecided = level.isTagNext = false;
    level.type = level.object->getRtti();
    level.writes = velGetWrites(level.type);
    level.elementType = velTypeOfElements(level.type);
    level.array = level.isArray ? dynamic_cast<xrttiarray*>(level.type) : nullptr;
  }

  // The object that is open tells its type.
  bool beginTagged(const std::string& typeName) {
    return guarded([&] {
      Level& level = levels.back();
      velRefuseZeroByte(typeName);
      level.isTagNext = false;
      if (typeName == kJsonUninit) {
        level.isUndecided = false;
        level.isWrapper = true;
        level.expected = nullptr;  // the value does not count
        return;
      }
      xrtti* const type = typeOfName(typeName);
      if (!type) fail("unknown type " + typeName);
      const bool isObject = dynamic_cast<xrttistruct*>(type) || dynamic_cast<xrttiunion*>(type) ||
                            dynamic_cast<xrttidictionary*>(type);
      if (isObject) {
        if (level.expected && !isAny(level.expected) && !type->isTypeKindOf(level.expected)) {
          fail(typeName + " where " + nameOf(level.expected) + " is expected");
        }
        return decide(level, type->getName());
      }
      level.isUndecided = false;
      level.isWrapper = true;
      level.expected = type;
    });
  }

  void refuseAsTag() const {
    if (isTag()) fail("\"@type\" is no name");
  }

  // ---- values ----

  template <class Make>
  bool leaf(Make make) {
    return guarded([&] {
      refuseAsTag();
      put(make(expectedHere(levels.size())));
    });
  }

  bool integer(const Integer& number) {
    return leaf([&](xrtti* expected) {
      if (velIsTypeNamed(expected, "real")) return RealOf(number.real);
      const bool isIntExpected = velIsTypeNamed(expected, "int");
      if (number.isInt && (isIntExpected || number.number != kUninitInt))
        return xany(number.number);
      if (isIntExpected) fail("integer out of range");
      return RealOf(number.real);
    });
  }

  xany enumerator(xrttienum* type, const std::string& name) const {
    const int number = type->mapStringToInt(name.c_str());
    if (number < 0) fail('"' + name + "\" is no value of " + nameOf(type));
    return xany(number, type);
  }

  static void checkCell(const Level& level) {
    if (level.index >= level.array->getDimention(level.dimension)) {
      velhThrowInvalidArrayIndex(level.object, level.index, level.dimension);
    }
  }

  // A value that is complete goes where it belongs.
  void put(xany value) {
    if (levels.empty()) {
      if (rootType) value.validate(rootType, true);
      root = std::move(value);
      return;
    }
    Level& level = levels.back();
    if (level.isWrapper) {
      if (level.key != kJsonValue || level.hasValue)
        fail("only \"value\" may stand beside \"@type\"");
      level.hasValue = true;
      if (level.expected) {
        value.validate(level.expected, false);
        level.wrapped = std::move(value);
      }
      return;
    }
    // A plain double cannot hold each number.
    if (value.getkind() == xanyReal && velIsTypeNamed(expectedHere(levels.size()), "real") &&
        velIsReservedReal(value.operator double())) {
      fail("real number stands for no value");
    }
    if (level.array) {
      if (level.dimension + 1 < level.array->getNDimentions()) fail("an array is expected here");
      checkCell(level);
      std::vector<int> indices = level.indices;
      indices.push_back(level.index);
      check(level.writes && level.writes->setCell)->setCell(level.object, indices.data(), value);
      ++level.index;
    } else if (level.isArray) {
      check(level.writes && level.writes->setElement)->setElement(level.object, level.index, value);
      ++level.index;
    } else if (dynamic_cast<xrttidictionary*>(level.type)) {
      check(level.writes && level.writes->setEntry)
          ->setEntry(level.object, level.key.c_str(), value);
    } else {
      velSetAttr(level.object, level.key.c_str(), value);
      if (dynamic_cast<xrttiunion*>(level.type)) level.given.emplace_back(level.key, token);
    }
  }

  // A union has one branch: of another one, nothing would be left. Its discriminator may
  // come last.
  void refuseOtherBranches(Level& level) {
    if (level.given.empty()) return;
    const velParts parts = velPartsOf(level.object);
    for (const auto& [name, at] : level.given) {
      const bool isThere =
          std::any_of(parts.list.begin(), parts.list.end(),
                      [&name = name](const velPart& part) { return part.name == name; });
      if (isThere) continue;
      level.key = name;
      token = at;
      fail("not the branch that the discriminator of " + nameOf(level.type) + " tells");
    }
  }

  const velWrites* check(bool isPossible) const {
    if (!isPossible) fail("type cannot be written: " + nameOf(levels.back().type));
    return levels.back().writes;
  }

  // The parser's message without its own mark and position in front.
  static std::string message(std::string message) {
    if (const std::size_t mark = message.find("] "); mark != std::string::npos) {
      message.erase(0, mark + 2);
    }
    if (message.compare(0, 11, "parse error") == 0) {
      if (const std::size_t colon = message.find(": "); colon != std::string::npos) {
        message.erase(0, colon + 2);
      }
    }
    return message;
  }

  std::string_view text;
  const velJsonOptions& options;
  const char* reached;
  const char* seen;   // the end of the last token
  const char* token;  // the beginning of this one
  xrtti* rootType;
  xany root;
  std::vector<Level> levels;
  mutable bool isTold = false;  // the exception that is thrown has its place
};

}  // namespace

xany velFromJson(std::string_view text, const velJsonOptions& options) {
  return Reader(text, nullptr, options).read();
}

xany velFromJson(const char* typeName, std::string_view text, const velJsonOptions& options) {
  if (!typeName) velhThrowNull();
  xrtti* const type = velRttiGetFromMap(typeName);
  if (!type) velThrowJson("unknown type " + std::string(typeName));
  return Reader(text, type, options).read();
}
