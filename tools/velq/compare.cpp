// velq compare: whether two documents have the same content.
#include <ostream>
#include <string>

#include "command.h"
#include "document.h"
#include "velstd.h"

namespace {

// velCompare decides about objects only: two equal numbers do not compare equal.
// In a sequence of one element every document is part of an object.
xany Wrapped(const xany& document) {
  const auto sequence = xanysequence::create();
  sequence->append(document);
  return xany(sequence);
}

// velCompare looks for the entries of the first value in the second, not the
// other way round; two documents are equal when neither has entries of its own.
bool AreEqual(const xany& first, const xany& second) {
  return velCompare(first, second) && velCompare(second, first);
}

}  // namespace

int runCompare(Arguments& arguments, std::ostream& out) {
  const std::string first = arguments.takeOperand("the first file to compare");
  const std::string second = arguments.takeOperand("the second file to compare");
  arguments.end();
  checkInputs(first, second);

  const bool equal = AreEqual(Wrapped(loadDocument(first)), Wrapped(loadDocument(second)));
  out << (equal ? "equal\n" : "different\n");
  return equal ? kExitDone : kExitDifferent;
}
