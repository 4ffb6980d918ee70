// Documents for other programs to look at, and what the reader says of theirs.
//
//   json_samples types            a line for each type: name, whether its schema takes
//                                 exactly what the reader takes, and the schema, as JSON
//   json_samples values N         a line for each of N random values of each type: name
//                                 of the type, and the value, as JSON
//   json_samples written N OPTIONS  N random values as one array; of the letters in
//                                 OPTIONS t is for tags, s for sorted keys, a digit the
//                                 indentation
//   json_samples check            for each line on the standard input, an array of the
//                                 name of a type and a document as text, the reader's
//                                 complaint as JSON, or null
#include <cctype>
#include <cstdlib>
#include <iostream>

#include "veljson_types.h"

namespace {

using namespace jsontest;

void Types(const std::vector<std::string>& names, bool isExact) {
  for (const std::string& name : names) {
    const auto line = xanysequence::create();
    line->append(velAny(name));
    line->append(velAny(isExact));
    line->append(velJsonSchema(name.c_str()));
    std::cout << velToJson(velAny(line)) << '\n';
  }
}

void Values(const std::vector<std::string>& names, unsigned count) {
  for (const std::string& name : names) {
    for (unsigned seed = 0; seed < count; ++seed) {
      std::cout << '[' << velToJson(velAny(name)) << ','
                << velToJson(Chance(seed, false).value(name, 2)) << "]\n";
    }
  }
}

void Written(unsigned count, const std::string& letters) {
  velJsonOptions options;
  for (const char letter : letters) {
    if (letter == 't') options.typeTags = true;
    if (letter == 's') options.sortKeys = true;
    if (std::isdigit(static_cast<unsigned char>(letter))) options.indent = letter - '0';
  }
  const std::vector<std::string> types = ReadableTypes();
  const auto all = xanysequence::create();
  for (unsigned seed = 0; seed < count; ++seed) {
    all->append(Chance(seed, options.typeTags).value(types[seed % types.size()], 3));
  }
  std::cout << velToJson(velAny(all), options) << '\n';
}

void Check() {
  for (std::string line; std::getline(std::cin, line);) {
    const xany pair = velFromJson(line);
    const auto type = velGet<std::string>(velGetPath(pair, "/0")).value();
    const auto text = velGet<std::string>(velGetPath(pair, "/1")).value();
    xany complaint(xanyNil);
    try {
      velTry([&] { velFromJson(type.c_str(), text); });
    } catch (const velError& error) {
      complaint = velAny(velSummary(error.object()));
    }
    std::cout << velToJson(complaint) << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  const auto count = static_cast<unsigned>(argc > 2 ? std::atoi(argv[2]) : 0);
  std::ios::sync_with_stdio(false);
  if (what == "types") {
    Types(ExactTypes(), true);
    Types(LooseTypes(), false);
  } else if (what == "values") {
    Values(ExactTypes(), count);
    Values(LooseTypes(), count);
  } else if (what == "written" && argc > 3) {
    Written(count, argv[3]);
  } else if (what == "check") {
    Check();
  } else {
    return 2;
  }
  return std::cout.flush() ? 0 : 1;
}
