#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "veljson.h"
#include "velerror.h"
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
    while (!todo.empty()) {
      const Task task = std::move(todo.back());
      todo.pop_back();
      if (task.value) {
        put(*task.value, task.expected, task.depth);
      } else if (task.object) {
        under.erase(task.object);
      } else {
        text += task.text;
      }
    }
    return std::move(text);
  }

 private:
  struct Task {
    std::string text;
    std::optional<xany> value;
    xrtti* expected;
    int depth;
    xobject* object = nullptr;  // one that is through
  };

  // ---- leaves ----

  void put(const xany& value, xrtti* expected, int depth) {
    if (xobject* const object = velObjectOfValue(value)) {
      return putObject(value, object, expected, depth);
    }
    const bool isTagged = options.typeTags && needsTag(value, expected);
    if (isTagged) {
      const std::string type = value.isuninit() ? kJsonUninit : velUtf8(value.getVelTypeName());
      text += beginTagged(type);
    }
    leaf(value);
    if (isTagged) text += '}';
  }

  // Whether a reader would not know from the place and the text what it is.
  static bool needsTag(const xany& value, xrtti* expected) {
    if (value.isuninit()) return true;
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
        text += quoted(velUtf8(value.operator xstring()));
    }
  }

  void real(double number) {
    if (std::isnan(number)) velThrowJson("not a number");
    if (std::isinf(number)) velThrowJson("infinite number");
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const std::string_view written(digits, static_cast<std::size_t>(end - digits));
    text += written;
    if (written.find_first_of(".e") == std::string_view::npos) text += ".0";
  }

  static std::string enumerator(const xany& value) {
    auto* const type = dynamic_cast<xrttienum*>(value.getRtti());
    const xstring name = type ? type->mapIntToString(value.operator int()) : xstring();
    if (name.IsNull()) velThrowJson("enumeration value without a name");
    return velUtf8(name);
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

  // Keys and names are bytes: of UTF-8, as documents bring them, or of the locale. With
  // tags, a key that could be taken for one gets another "@".
  std::string keyOf(const std::string& name) const {
    const std::string key = quoted(velIsUtf8(name) ? name : velUtf8(xstring(name.c_str())));
    return options.typeTags && name[0] == '@' ? "\"@" + key.substr(1) : key;
  }

  void putObject(const xany& value, xobject* object, xrtti* expected, int depth) {
    if (depth >= options.maxDepth) velThrowJson("nested too deep");
    if (!under.insert(object).second) velThrowJson("cycle");
    kept.push_back(value);
    velParts parts = velPartsOf(object);
    const xstring name = parts.type->getName();
    std::vector<Task> tasks;
    switch (parts.shape) {
      case velShape::kOpaque:
        velThrowJson("objects of type " + velUtf8(name) + " have no parts");
      case velShape::kSequence:
      case velShape::kArray: {
        const bool isTagged =
            options.typeTags && !velIsTypeNamed(expected, name) && !(name == "anyseq");
        if (isTagged) tasks.push_back(piece(beginTagged(velUtf8(name))));
        std::size_t next = 0;
        addRow(tasks, parts, dimensionsOf(parts), next, depth);
        if (isTagged) tasks.push_back(piece("}"));
        break;
      }
      default:
        addMembers(tasks, parts, expected, depth);
    }
    todo.push_back({{}, {}, nullptr, 0, object});
    std::move(tasks.rbegin(), tasks.rend(), std::back_inserter(todo));
  }

  static Task piece(std::string piece) { return {std::move(piece), {}, nullptr, 0}; }

  static std::vector<std::size_t> dimensionsOf(const velParts& parts) {
    auto* const array = dynamic_cast<xrttiarray*>(parts.type);
    if (!array) return {parts.list.size()};
    std::vector<std::size_t> dimensions;
    for (int d = 0; d < array->getNDimentions(); ++d) {
      dimensions.push_back(static_cast<std::size_t>(std::max(array->getDimention(d), 0)));
    }
    return dimensions;
  }

  // The elements from `next` on along the first of the dimensions that are left.
  void addRow(std::vector<Task>& tasks, velParts& parts, const std::vector<std::size_t>& dimensions,
              std::size_t& next, int depth, std::size_t d = 0) {
    if (d == dimensions.size()) {
      tasks.push_back({{}, std::move(parts.list[next++].value), velTypeOfElements(parts.type), depth});
      return;
    }
    tasks.push_back(piece("["));
    for (std::size_t i = 0; i < dimensions[d] && next < parts.list.size(); ++i) {
      tasks.push_back(piece((i > 0 ? "," : "") + lineAt(depth + 1)));
      addRow(tasks, parts, dimensions, next, depth + 1, d + 1);
    }
    tasks.push_back(piece((dimensions[d] > 0 ? lineAt(depth) : "") + "]"));
  }

  void addMembers(std::vector<Task>& tasks, velParts& parts, xrtti* expected, int depth) {
    const bool isDictionary = parts.shape == velShape::kDictionary;
    if (options.sortKeys) {
      std::sort(parts.list.begin(), parts.list.end(),
                [](const velPart& a, const velPart& b) { return a.name < b.name; });
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
      tasks.push_back(piece(quoted(velUtf8(name))));
    }
    for (velPart& part : parts.list) {
      if (part.value.isuninit() && !isDictionary) continue;
      add(keyOf(part.name));
      xrtti* const type = isDictionary ? velTypeOfElements(parts.type)
                                       : velTypeOfPart(parts.type, part.name);
      tasks.push_back({{}, std::move(part.value), type, depth + 1});
    }
    tasks.push_back(piece((isFirst ? "" : lineAt(depth)) + "}"));
  }

  const velJsonOptions& options;
  std::string text;
  std::vector<Task> todo;
  std::unordered_set<xobject*> under;  // objects that are being written
  std::vector<xany> kept;              // so that no address comes back meanwhile
};

}  // namespace

std::string velToJson(const xany& value, const velJsonOptions& options) {
  try {
    return Writer(options).write(value);
  } catch (xthrowable* caught) {
    // What a getter throws is told as the reason.
    const xrcunihandle<xthrowable> held(caught);
    xrcrelease(caught);
    if (dynamic_cast<velXSerialization*>(caught)) xthrow(held);
    velThrowJson(velSummary(caught), dynamic_cast<velXException*>(caught));
  }
}
