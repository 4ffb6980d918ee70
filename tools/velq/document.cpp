#include "document.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "command.h"
#include "velext.h"
#include "veljson.h"

namespace {

std::string ReadAll(const std::string& path) {
  const auto fail = [&] { throw Failure(path + ": " + std::strerror(errno)); };
  struct Close {
    void operator()(std::FILE* file) const {
      if (file != stdin) static_cast<void>(std::fclose(file));
    }
  };
  const std::unique_ptr<std::FILE, Close> file(path == "-" ? stdin
                                                           : std::fopen(path.c_str(), "rb"));
  if (!file) fail();
  std::string text;
  std::vector<char> block(256U << 10);
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), file.get())) {
    text.append(block.data(), got);
  }
  if (std::ferror(file.get())) fail();
  return text;
}

}  // namespace

xany loadDocument(const std::string& path, const char* typeName) {
  const std::string text = ReadAll(path);
  try {
    return velTry([&] { return typeName ? velFromJson(typeName, text) : velFromJson(text); });
  } catch (const velError& error) {
    auto* const exception = error.as<velXSerialization>();
    if (!exception) throw;
    throw BadDocument(path + ": " + velUtf8(exception->getDescription()));
  }
}

void checkInputs(const std::string& first, const std::string& second) {
  if (first == "-" && second == "-") {
    throw UsageError("only one of the files can be the standard input");
  }
}
