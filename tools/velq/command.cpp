#include "command.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <utility>

Arguments::Arguments(std::vector<std::string> given) : words(std::move(given)) {
  const auto mark = std::find(words.begin(), words.end(), "--");
  firstPlain = static_cast<std::size_t>(mark - words.begin());
  if (mark != words.end()) words.erase(mark);
}

// A single dash is an operand: the standard input.
bool Arguments::isOption(std::size_t position) const {
  return position < firstPlain && words[position].size() > 1 && words[position][0] == '-';
}

void Arguments::refuseOptions() const {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (isOption(i)) throw UsageError("unknown option " + words[i]);
  }
}

bool Arguments::takeFlag(const std::string& name) {
  const auto plain = words.begin() + static_cast<std::ptrdiff_t>(firstPlain);
  const auto found = std::find(words.begin(), plain, name);
  if (found == plain) return false;
  words.erase(found);
  --firstPlain;
  return true;
}

// Takes out the value of the first `--name VALUE` or `--name=VALUE`; false for none. One
// without a value is empty.
bool Arguments::takeValue(const std::string& name, std::string& value) {
  for (std::size_t i = 0; i < firstPlain; ++i) {
    std::size_t taken = 1;
    if (words[i].compare(0, name.size() + 1, name + '=') == 0) {
      value = words[i].substr(name.size() + 1);
    } else if (words[i] != name) {
      continue;
    } else if (i + 1 < firstPlain) {
      value = words[i + 1];
      taken = 2;
    } else {
      value.clear();
    }
    const auto at = words.begin() + static_cast<std::ptrdiff_t>(i);
    words.erase(at, at + static_cast<std::ptrdiff_t>(taken));
    firstPlain -= taken;
    return true;
  }
  return false;
}

int Arguments::takeNumber(const std::string& name, int low, int high, int otherwise) {
  std::string text;
  if (!takeValue(name, text)) return otherwise;
  int number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  if (error != std::errc() || end != textEnd || number < low || number > high) {
    throw UsageError(name + " needs a number from " + std::to_string(low) + " to " +
                     std::to_string(high));
  }
  return number;
}

std::string Arguments::takeText(const std::string& name, const std::string& otherwise) {
  std::string text;
  if (!takeValue(name, text)) return otherwise;
  if (text.empty()) throw UsageError(name + " needs a value");
  return text;
}

std::string Arguments::takeOperand(const std::string& what) {
  refuseOptions();
  if (words.empty()) throw UsageError(what + " is missing");
  std::string operand = std::move(words.front());
  words.erase(words.begin());
  if (firstPlain > 0) --firstPlain;
  return operand;
}

void Arguments::end() {
  refuseOptions();
  if (!words.empty()) throw UsageError("one argument too many: " + words.front());
}

void loadLibraries(Arguments& arguments) {
  for (;;) {
    const std::string library = arguments.takeText("--load", "");
    if (library.empty()) return;
    // A name without a folder is one of this folder before it is one of the system. Types
    // stay registered, so their library stays loaded.
    constexpr int kMode = RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE;
    const bool isHere = library.find('/') == std::string::npos && access(library.c_str(), F_OK) == 0;
    const std::string path = isHere ? "./" + library : library;
    // cppcheck-suppress leakReturnValNotUsed
    if (!dlopen(path.c_str(), kMode)) throw Failure(dlerror());
  }
}
