// velq diff: what makes one document another.
#include <ostream>

#include "command.h"
#include "document.h"
#include "velext.h"

int runDiff(Arguments& arguments, std::ostream& out) {
  const std::string first = arguments.takeOperand("the first file to compare");
  const std::string second = arguments.takeOperand("the second file to compare");
  arguments.end();
  checkInputs(first, second);

  const auto differences = velDiff(loadDocument(first), loadDocument(second));
  for (const velDifference& difference : differences) out << difference << '\n';
  return differences.empty() ? kExitDone : kExitDifferent;
}
