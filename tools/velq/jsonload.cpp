#include "jsonload.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "xcollections.h"

namespace {

std::string ReadAll(const std::string& path) {
  const auto fail = [&] { throw Failure(path + ": " + std::strerror(errno)); };
  struct Close {
    void operator()(std::FILE* file) const {
      if (file != stdin) std::fclose(file);
    }
  };
  const std::unique_ptr<std::FILE, Close> file(path == "-" ? stdin
                                                           : std::fopen(path.c_str(), "rb"));
  if (!file) fail();
  std::string text;
  std::vector<char> block(256 * 1024);
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), file.get())) {
    text.append(block.data(), got);
  }
  if (std::ferror(file.get())) fail();
  return text;
}

// A real as it is: two values of double stand for nil and uninit where a value
// is made of a plain double, but a document means the number.
xany RealOf(double number) {
  __xany_c view;
  view.kind = xanyReal;
  view.u.d = number;
  return xany(view);
}

// The two smallest ints stand for nil and uninit.
xany NumberOf(std::int64_t number) {
  constexpr int kSmallestPlain = std::numeric_limits<int>::min() + 2;
  if (number < kSmallestPlain || number > std::numeric_limits<int>::max()) {
    return RealOf(static_cast<double>(number));
  }
  return xany(static_cast<int>(number));
}

// Builds values from the parser's events. What is open is held by its
// container, and the outermost by `root`; the stack tells the way down.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  Builder(const std::string& documentPath, const std::string& documentText)
      : path(documentPath), text(documentText) {}

  xany result() { return root; }

  bool null() override { return add(xany(xanyNil)); }
  bool boolean(bool value) override { return add(xany(value)); }
  bool number_integer(number_integer_t value) override { return add(NumberOf(value)); }
  bool number_unsigned(number_unsigned_t value) override {
    constexpr auto kLargest = static_cast<number_unsigned_t>(std::numeric_limits<int>::max());
    return add(value > kLargest ? RealOf(static_cast<double>(value))
                                : xany(static_cast<int>(value)));
  }
  bool number_float(number_float_t value, const string_t&) override { return add(RealOf(value)); }
  bool string(string_t& value) override {
    if (HoldsZero(value))
      throw Failure(path + ": the text at " + way() + " holds a zero character");
    return add(xany(xstring(value.c_str())));
  }
  // Only formats that are no text have these.
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override {
    const xrchandle<xanydictionary> object = xanydictionary::create();
    add(xany(object));
    open.push_back({object, 0});
    keys.emplace_back();
    return true;
  }
  bool key(string_t& value) override {
    if (HoldsZero(value)) {
      throw Failure(path + ": a key of " + way(open.size() - 1) + " holds a zero character");
    }
    keys.back() = std::move(value);
    return true;
  }
  bool end_object() override {
    keys.pop_back();
    open.pop_back();
    return true;
  }

  bool start_array(std::size_t) override {
    const xrchandle<xanysequence> array = xanysequence::create();
    add(xany(array));
    open.push_back({0, array});
    return true;
  }
  bool end_array() override {
    open.pop_back();
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::json::exception& error) override {
    throw Failure(path + ':' + LineAndColumn(position) + ": " + Message(error.what()));
  }

 private:
  // A container that is not yet complete; one of the two.
  struct Level {
    xrchandle<xanydictionary> object;
    xrchandle<xanysequence> array;
  };

  static bool HoldsZero(const std::string& s) { return s.find('\0') != std::string::npos; }

  bool add(xany value) {
    if (open.empty()) {
      root = std::move(value);
    } else if (const Level& inner = open.back(); inner.array.isnull()) {
      inner.object->set(keys.back().c_str(), std::move(value));
    } else {
      inner.array->append(std::move(value));
    }
    return true;
  }

  // The way from the document's root to what comes next, or to the container
  // `levels` below the root.
  std::string way(std::size_t levels = std::numeric_limits<std::size_t>::max()) const {
    std::string out = "$";
    std::size_t objects = 0;
    levels = std::min(levels, open.size());
    for (std::size_t i = 0; i < levels; ++i) {
      const Level& level = open[i];
      if (level.array.isnull()) {
        out += '.' + keys[objects++];
      } else {
        // All levels but the last hold the next one already.
        const int next = level.array->getarraysize() - (i + 1 < open.size() ? 1 : 0);
        out += '[' + std::to_string(next) + ']';
      }
    }
    return out;
  }

  // `position` counts the bytes that were read, the wrong one included.
  std::string LineAndColumn(std::size_t position) const {
    const std::size_t wrong = std::min(position > 0 ? position - 1 : 0, text.size());
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < wrong; ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      if (byte == '\n') {
        ++line;
        column = 1;
      } else if ((byte & 0xC0) != 0x80) {
        ++column;  // not in the middle of a character
      }
    }
    return std::to_string(line) + ':' + std::to_string(column);
  }

  // The parser's message without its own mark and position in front.
  static std::string Message(std::string message) {
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

  const std::string& path;
  const std::string& text;
  xany root;
  std::vector<Level> open;
  std::vector<std::string> keys;  // of the open objects, the key under way
};

}  // namespace

xany loadJson(const std::string& text, const std::string& path) {
  Builder builder(path, text);
  nlohmann::json::sax_parse(text, &builder);
  return builder.result();
}

xany loadJsonFile(const std::string& path) { return loadJson(ReadAll(path), path); }
