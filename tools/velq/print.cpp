// velq print: a document as text, through the printing visitor.
#include <ostream>
#include <string>

#include "command.h"
#include "country.h"
#include "document.h"
#include "velstd.h"

int runPrint(Arguments& arguments, std::ostream& out) {
  const int step = arguments.takeNumber("--step", -1, 80, 2);
  const bool countries = arguments.takeFlag("--countries");
  const std::string path = arguments.takeOperand("the file to print");
  arguments.end();

  xany value = loadDocument(path);
  if (countries) value = demo::countriesOf(path, value);
  velPrintTraverser printer(out, step);
  velTraverse(value, &printer);
  out << '\n';
  return kExitDone;
}
