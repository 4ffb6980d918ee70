#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "velbyname.h"
#include "velerror.h"
#include "veljson.h"
#include "veljsontype.h"
#include "velparts.h"
#include "veltext.h"

namespace {

// Writes what is on a list, the last entry first: pieces of text, and values, which
// put their own pieces and parts there.
class Writer {
 public:
  explicit Writer(const velJsonOptions& how) : options(how) {}

  std::string write(const xany& value) {
    todo.push_back({{}, value, nullptr, 0});
    try {
      while (!todo.empty()) {
        const Task task = std::move(todo.back());
        todo.pop_back();
        carryOut(task);
      }
    } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
      // What a getter throws is told as the reason.
      const xrcunihandle<xthrowable> held(caught);
      xrcrelease(caught);
      if (isTold) xthrow(held);
      fail(velSummary(caught), dynamic_cast<velXException*>(caught));
    }
    return std::move(text);
  }

 private:
  struct Task {
    std::string text;  // of a value: the steps of the path from the object that it is in
    std::optional<xany> value;
    xrtti* expected;
    int depth;
    xobject* object = nullptr;  // one that is through
  };

  void carryOut(const Task& task) {
    if (task.value) {
      path.resize(pathsOfOpen.empty() ? 0 : pathsOfOpen.back());
      path += task.text;
      put(*task.value, task.expected, task.depth);
    } else if (task.object) {
      under.erase(task.object);
      pathsOfOpen.pop_back();
    } else {
      text += task.text;
    }
  }

  // Throws with the path of the value that is being written.
  [[noreturn]] void fail(const std::string& what, const xrchandle<velXException>& source = 0) {
    isTold = true;
    velThrowJson(path.empty() ? what : path + ": " + what, source);
  }

  std::string utf8(const xstring& string) {
    std::optional<std::string> made = velUtf8IfText(string);
    if (!made) fail("bytes that are no text");
    return *std::move(made);
  }

  // ---- leaves ----

  void put(const xany& value, xrtti* expected, int depth) {
    if (xobject* const object = velObjectOfValue(value)) {
      return putObject(value, object, expected, depth);
    }
    const bool isTagged = options.typeTags && needsTag(value, expected);
    if (isTagged) {
      const std::string type = value.isuninit() ? kJsonUninit : velKeyUtf8(value.getVelTypeName());
      text += beginTagged(type);
    }
    leaf(value);
    if (isTagged) text += '}';
  }

  // Whether a reader would not know from the place and the text what it is.
  static bool needsTag(const xany& value, xrtti* expected) {
    if (value.isuninit()) return true;
    // The int that is uninit elsewhere is a real without a type.
    if (value.getkind() == xanyInt && value.operator int() == kUninitInt) {
      return !velIsTypeNamed(expected, "int");
    }
    return value.getkind() == xanyEnum && !velIsTypeNamed(expected, value.getVelTypeName());
  }

  void leaf(const xany& value) {
    if (value.isnil() || value.isuninit()) {
      text += "null";
      return;
    }
    switch (value.getkind()) {
      case xanyInt:
        text += std::to_string(value.operator int());
        break;
      case xanyBool:
        text += value.operator unsigned char() != 0 ? "true" : "false";
        break;
      case xanyReal:
        real(value.operator double());
        break;
      case xanyEnum:
        text += quoted(enumerator(value));
        break;
      default:
        text += quoted(utf8(value.operator xstring()));
    }
  }

  void real(double number) {
    if (std::isnan(number)) fail("not a number");
    if (std::isinf(number)) fail("infinite number");
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const std::string_view written(digits, static_cast<std::size_t>(end - digits));
    text += written;
    if (written.find_first_of(".e") == std::string_view::npos) text += ".0";
  }

  std::string enumerator(const xany& value) {
    auto* const type = dynamic_cast<xrttienum*>(value.getRtti());
    const xstring name = type ? type->mapIntToString(value.operator int()) : xstring();
    if (name.IsNull()) fail("enumeration value without a name");
    return velKeyUtf8(name);
  }

  static std::string quoted(const std::string& utf8) {
    std::string made = "\"";
    for (const char c : utf8) {
      const auto byte = static_cast<unsigned char>(c);
      static constexpr char kShort[] = "btn_fr";
      if (c == '"' || c == '\\') {
        made += '\\';
        made += c;
      } else if (byte >= 8 && byte <= 13 && byte != 11) {
        made += '\\';
        made += kShort[byte - 8];
      } else if (byte < 0x20 || byte == 0x7F) {
        static constexpr char kDigits[] = "0123456789abcdef";
        made += "\\u00";
        made += kDigits[byte >> 4U];
        made += kDigits[byte & 15U];
      } else {
        made += c;
      }
    }
    return made + '"';
  }

  // ---- objects ----

  std::string lineAt(int depth) const {
    if (options.indent < 0) return {};
    return '\n' + std::string(static_cast<std::size_t>(options.indent * depth), ' ');
  }
  const char* colon() const { return options.indent < 0 ? ":" : ": "; }
  std::string beginTagged(const std::string& type) const {
    return std::string("{\"") + kJsonTag + '"' + colon() + quoted(type) +
           (options.indent < 0 ? ",\"" : ", \"") + kJsonValue + '"' + colon();
  }

  // Keys and names are bytes: of UTF-8, as documents bring them, or of the locale.
  std::string utf8Of(const std::string& name) {
    return velIsUtf8(name) ? name : utf8(xstring(name.c_str()));
  }
  // With tags, a key that could be taken for one gets another "@".
  std::string keyOf(const std::string& name) const {
    return quoted(options.typeTags && name[0] == '@' ? '@' + name : name);
  }

  void putObject(const xany& value, xobject* object, xrtti* expected, int depth) {
    if (depth >= options.maxDepth) fail("nested too deep");
    if (!under.insert(object).second) fail("cycle");
    kept.push_back(value);
    pathsOfOpen.push_back(path.size());
    velParts parts = partsOf(object);
    const xstring name = parts.type->getName();
    std::vector<Task> tasks;
    switch (parts.shape) {
      case velShape::kOpaque:
        fail("objects of type " + velKeyUtf8(name) + " have no parts");
      case velShape::kSequence:
      case velShape::kArray: {
        const bool isTagged =
            options.typeTags && !velIsTypeNamed(expected, name) && !(name == "anyseq");
        if (isTagged) tasks.push_back(piece(beginTagged(velKeyUtf8(name))));
        std::size_t next = 0;
        addRow(tasks, parts, dimensionsOf(parts), next, depth, "");
        if (isTagged) tasks.push_back(piece("}"));
        break;
      }
      default:
        addMembers(tasks, parts, expected, depth);
    }
    todo.push_back({{}, {}, nullptr, 0, object});
    std::move(tasks.rbegin(), tasks.rend(), std::back_inserter(todo));
  }

  // When a getter throws, its part is where the path ends.
  velParts partsOf(xobject* object) {
    velParts parts;
    try {
      velReadParts(object, parts);
    } catch (xthrowable*) {  // NOLINT(cert-err09-cpp): thrown so
      if (!parts.list.empty()) {
        const velPart& read = parts.list.back();
        path +=
            read.index < 0 ? velStep(utf8Of(read.name)) : stepsTo(read.index, dimensionsOf(parts));
      }
      throw;
    }
    return parts;
  }

  // The steps to the element of that number, which counts row by row.
  static std::string stepsTo(int number, const std::vector<std::size_t>& dimensions) {
    auto index = static_cast<std::size_t>(number);
    if (dimensions.size() == 1) return '/' + std::to_string(index);
    std::string steps;
    for (std::size_t d = dimensions.size(); d-- > 0;) {
      steps.insert(0, '/' + std::to_string(index % dimensions[d]));
      index /= dimensions[d];
    }
    return steps;
  }

  static Task piece(std::string piece) { return {std::move(piece), {}, nullptr, 0}; }

  static std::vector<std::size_t> dimensionsOf(const velParts& parts) {
    auto* const array = dynamic_cast<xrttiarray*>(parts.type);
    if (!array) return {parts.list.size()};
    std::vector<std::size_t> dimensions;
    dimensions.reserve(static_cast<std::size_t>(std::max(array->getNDimentions(), 0)));
    for (int d = 0; d < array->getNDimentions(); ++d) {
      dimensions.push_back(static_cast<std::size_t>(std::max(array->getDimention(d), 0)));
    }
    return dimensions;
  }

  // The elements from `next` on along the first of the dimensions that are left.
  void addRow(std::vector<Task>& tasks, velParts& parts, const std::vector<std::size_t>& dimensions,
              std::size_t& next, int depth, const std::string& steps, std::size_t d = 0) {
    if (d == dimensions.size()) {
      tasks.push_back(
          {steps, std::move(parts.list[next++].value), velTypeOfElements(parts.type), depth});
      return;
    }
    tasks.push_back(piece("["));
    for (std::size_t i = 0; i < dimensions[d] && next < parts.list.size(); ++i) {
      tasks.push_back(piece((i > 0 ? "," : "") + lineAt(depth + 1)));
      addRow(tasks, parts, dimensions, next, depth + 1, steps + '/' + std::to_string(i), d + 1);
    }
    tasks.push_back(piece((dimensions[d] > 0 ? lineAt(depth) : "") + "]"));
  }

  struct ByName {
    bool operator()(const velPart& a, const velPart& b) const { return a.name < b.name; }
    bool operator()(const velPart& a, const std::string& b) const { return a.name < b; }
    bool operator()(const std::string& a, const velPart& b) const { return a < b.name; }
  };

  void addMembers(std::vector<Task>& tasks, velParts& parts, xrtti* expected, int depth) {
    const bool isDictionary = parts.shape == velShape::kDictionary;  // sorted already
    if (options.sortKeys) {
      std::sort(parts.list.begin(), parts.list.end(), ByName());
    }
    tasks.push_back(piece("{"));
    bool isFirst = true;
    const auto add = [&](const std::string& key) {
      tasks.push_back(piece((isFirst ? "" : ",") + lineAt(depth + 1) + key + colon()));
      isFirst = false;
    };
    const xstring name = parts.type->getName();
    if (options.typeTags && !velIsTypeNamed(expected, name) && !(name == "anydict")) {
      add(quoted(kJsonTag));
      tasks.push_back(piece(quoted(velKeyUtf8(name))));
    }
    for (velPart& part : parts.list) {
      if (part.value.isuninit() && !isDictionary) continue;
      const std::string partName = utf8Of(part.name);
      if (isDictionary && partName != part.name) refuseSecond(parts, partName);
      add(keyOf(partName));
      xrtti* const type =
          isDictionary ? velTypeOfElements(parts.type) : velTypeOfPart(parts.type, part.name);
      tasks.push_back({velStep(partName), std::move(part.value), type, depth + 1});
    }
    tasks.push_back(piece((isFirst ? "" : lineAt(depth)) + "}"));
  }

  // A key of the locale may be the same text as one of UTF-8.
  void refuseSecond(const velParts& parts, const std::string& key) {
    if (std::binary_search(parts.list.begin(), parts.list.end(), key, ByName())) {
      fail("two entries have the key " + quoted(key));
    }
  }

  const velJsonOptions& options;
  std::string text;
  std::string path;                      // of the value that is being written
  std::vector<std::size_t> pathsOfOpen;  // sizes of the paths of the objects that it is in
  bool isTold = false;                   // the exception that is thrown has its path
  std::vector<Task> todo;
  std::unordered_set<xobject*> under;  // objects that are being written
  std::vector<xany> kept;              // so that no address comes back meanwhile
};

}  // namespace

std::string velToJson(const xany& value, const velJsonOptions& options) {
  return Writer(options).write(value);
}
