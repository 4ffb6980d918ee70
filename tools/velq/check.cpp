// velq check: whether a document is a value of a type. velq schema: what such documents
// look like.
#include <ostream>

#include "command.h"
#include "document.h"
#include "velext.h"
#include "veljson.h"

namespace {

void checkType(const std::string& name) {
  if (!velRttiGetFromMap(name.c_str()))
    throw Failure("unknown type " + name + " (velq types lists them; --load brings more)");
}

}  // namespace

int runCheck(Arguments& arguments, std::ostream& out) {
  loadLibraries(arguments);
  const std::string type = arguments.takeText("--type", "");
  if (type.empty()) throw UsageError("--type NAME is missing");
  const std::string file = arguments.takeOperand("the file to check");
  arguments.end();
  checkType(type);

  try {
    loadDocument(file, type.c_str());
  } catch (const BadDocument& bad) {
    out << bad.what() << '\n';
    return kExitDifferent;
  }
  out << "valid\n";
  return kExitDone;
}

int runSchema(Arguments& arguments, std::ostream& out) {
  loadLibraries(arguments);
  const std::string type = arguments.takeOperand("the name of the type");
  arguments.end();
  checkType(type);

  velJsonOptions options;
  options.indent = 2;
  out << velToJson(velJsonSchema(type.c_str()), options) << '\n';
  return kExitDone;
}
