// A visitor: looks for texts in any value, and steers the walk by what its
// operations answer.
#include <velstd.h>

#include <iostream>

// Writes down what it meets. Does not look into "private" entries, looks only
// at the first two elements of a sequence, and ends at the text "stop".
class TextFinder : public velTraverser {
 public:
  velTraverseResult simpleValue(xany value) override {
    if (value.getkind() != xanyString) return velTrContinue;
    if (value == "stop") return velTrStop;  // 4: the whole walk ends
    std::cout << "  " << value.operator xstring() << '\n';
    return velTrContinue;  // 1: go on
  }

  velTraverseResult beginDictElement(xrttidictionary*, xstring key,
                                     xrcunihandle<xobject>) override {
    if (key == "private") return velTrSkip;  // 2: not this entry, but the next
    std::cout << key << ":\n";
    return velTrContinue;
  }

  velTraverseResult beginSeqElement(xrttisequence*, int position, xrcunihandle<xobject>) override {
    return position < 2 ? velTrContinue : velTrLeave;  // 3: no more of this sequence
  }
};

xrchandle<xanysequence> texts(std::initializer_list<const char*> list) {
  xrchandle<xanysequence> out = xanysequence::create();
  for (const char* text : list) out->append(xstring(text));
  return out;
}

void walk(const xany& value) {
  TextFinder finder;
  velTraverse(value, &finder);
}

int main() {
  xrchandle<xanydictionary> data = xanydictionary::create();
  data->set("fruits", texts({"apple", "pear", "plum"}));
  data->set("private", texts({"secret"}));
  walk(data);

  std::cout << "--\n";
  walk(texts({"red", "stop"}));

  // An object that contains itself is visited once.
  std::cout << "--\n";
  data->set("again", data);
  data->remove("fruits");
  velPrint(data, std::cout, -1);
  std::cout << '\n';
  data->clearall();  // a cycle would keep itself alive
}
