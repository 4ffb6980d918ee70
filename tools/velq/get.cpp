// velq get: one value of a document.
#include <ostream>

#include "command.h"
#include "document.h"
#include "velext.h"
#include "veljson.h"

int runGet(Arguments& arguments, std::ostream& out) {
  const bool asJson = arguments.takeFlag("--json");
  const std::string path = arguments.takeOperand("the path of the value");
  const std::string file = arguments.takeOperand("the file to read");
  arguments.end();

  const std::optional<xany> value = velFindPath(loadDocument(file), path);
  if (!value) throw BadDocument(file + ": nothing at " + path);
  if (asJson) {
    velJsonOptions options;
    options.indent = 2;
    out << velToJson(*value, options) << '\n';
  } else {
    out << *value << '\n';
  }
  return kExitDone;
}
