// Short answers to "how do I ...", each of them a function of docs/cookbook.md.
#include <velext.h>
#include <veljson.h>

#include <clocale>
#include <iostream>
#include <thread>

namespace cook {

class Pot : public velStruct<Pot> {
  xstring name;
  int litres = 0;
  xrchandle<Pot> lid;  // what closes it

 public:
  Pot() = default;
  Pot(const char* called, int holds) : name(velText(called)), litres(holds) {}
  int size() const { return litres; }
  void setLid(const xrchandle<Pot>& by) { lid = by; }
  VEL_STRUCT(Pot, "cook::Pot", name, litres, lid)
};

}  // namespace cook

using cook::Pot;

void textOfBytes() {
  std::string bytes = "Grüße";             // UTF-8, from a file or a socket
  xstring text = velText(bytes);           // throws for what is no UTF-8
  std::string back = velUtf8(text);        // in every locale
  std::cout << (back == bytes) << '\n';
}

void partsOfText() {
  const xstring list("red, green,blue");
  for (int i = 0; i < list.GetNWords(", "); ++i) std::cout << list.GetWord(i, ", ") << '/';
  xstring text("a-b-c");
  text.Substitute("-", "+");
  std::cout << ' ' << text << ' ' << text.Pos("b") << '\n';
}

void fromVector() {
  const std::vector<int> numbers{3, 1, 2};
  const auto sequence = velSequence(numbers);
  std::sort(begin(sequence), end(sequence));
  for (int n : velToVector(sequence)) std::cout << n;
  std::cout << '\n';
}

void sortOwn() {
  auto pots = velSequenceOf<Pot>::create();
  pots->append(velNew<Pot>("big", 9));
  pots->append(velNew<Pot>("small", 2));
  std::sort(begin(pots), end(pots),
            [](const auto& a, const auto& b) { return a->size() < b->size(); });
  std::cout << pots->get(0)->size() << '\n';
}

void removeWhileLooping() {
  auto stock = velDictionary(std::map<std::string, int>{{"tea", 0}, {"cup", 8}, {"jug", 0}});
  for (auto& [key, count] : velSorted(stock)) {  // a copy of the entries
    if (count == 0) stock->remove(key);
  }
  std::cout << velCount(stock) << '\n';
}

void anyValue() {
  std::vector<xany> all{velAny(1), velAny("two"), velAny(3.5), velAny(velNew<Pot>("pot", 4))};
  for (const xany& value : all) {
    if (auto number = velGet<int>(value)) std::cout << "int " << *number << '\n';
    if (auto text = velGet<std::string>(value)) std::cout << "text " << *text << '\n';
    if (Pot* pot = velObject<Pot>(value)) std::cout << "pot of " << pot->size() << '\n';
  }
}

void readByPath() {
  const xany pot = velAny(velNew<Pot>("pot", 4));
  std::cout << velGetOr(velGetPath(pot, "/litres"), 0) << '\n';
  try {
    velTry([&] { return velGetPath(pot, "/colour"); });
  } catch (const velError& error) {
    std::cout << error.as<velXException>()->getDescription() << '\n';
  }
}

void printToText() {
  const xany value = velAny(velNew<Pot>("pot", 4));
  std::cout << velToString(value, -1) << '\n';  // one line
  velPrint(value, std::cout, 4);               // indented by four
  std::cout << '\n';
}

void describeType() {
  auto* type = dynamic_cast<xrttistruct*>(velRttiGetFromMap("cook::Pot"));
  for (int i = 0; i < type->getNAttrs(); ++i) {
    xrttiattr* attr = type->getAttr(i);
    std::cout << attr->getName() << ": " << attr->getType()->getName() << '\n';
  }
}

void catchAll() {
  try {
    velTry([] { return xintsequence::create()->get(5); });
  } catch (const std::exception& error) {  // what the core throws is one within velTry
    std::cout << error.what() << '\n';
  }
}

void whereJsonIsWrong() {
  try {
    velTry([] { return velFromJson("cook::Pot", "{\"name\": \"pot\",\n \"litres\": \"four\"}"); });
  } catch (const velError& error) {
    std::cout << error.as<velXSerialization>()->getDescription() << '\n';
  }
}

void breakCycle() {
  auto pot = velNew<Pot>("pot", 4);
  pot->setLid(pot);  // holds itself: nobody would ever destroy it
  std::cout << xrcgetcount(pot) << ' ';
  pot->setLid(nullptr);
  std::cout << xrcgetcount(pot) << '\n';
}

void toAnotherThread() {
  const xany mine = velAny(velNew<Pot>("pot", 4));
  const xany copy = velClone(mine);  // shares nothing with it
  std::thread([copy] { velSetPath(copy, "/litres", velAny(5)); }).join();
  std::cout << +(mine == copy) << ' ' << velEquals(mine, copy) << '\n';
}

int main() {
  std::setlocale(LC_ALL, "C.UTF-8");
  textOfBytes();
  partsOfText();
  fromVector();
  sortOwn();
  removeWhileLooping();
  anyValue();
  readByPath();
  printToText();
  describeType();
  catchAll();
  whereJsonIsWrong();
  breakCycle();
  toAnotherThread();
}
