// Five ideas of the library, each made visible by a few lines.
#include <velstd.h>
#include <velstd_c.h>

#include <iostream>
#include <string>

namespace demo {

class Part : public virtual xobject {
  VEL_OBJECT(Part)
 public:
  explicit Part(xanysequence* owner) : list(owner) {}
  ~Part() override { std::cout << "  a part ends; the list has " << list->getarraysize() << '\n'; }

 private:
  xanysequence* list;  // borrowed
};

VEL_OBJECT_RTTI(Part, xrttiobject,
                [](xrttiobject* rtti) { rtti->initializeRttiObject("demo::Part", 1, 0, nullptr); })

}  // namespace demo

namespace {

void lifeOfAnObject() {
  std::cout << "life\n";
  xrchandle<xanysequence> list = xanysequence::create();
  for (int i = 0; i < 3; ++i) list->append(xany(new demo::Part(list)));
  list->clear();  // the last releases wait until the list is empty
}

// Which forms a string knows: what its C view points to.
void forms(const char* name, const xstring& text) {
  __xstring_c view = text.getxstring_c();
  std::cout << "  " << name << ": " << (view.narrow ? "narrow" : "-") << ' '
            << (view.wide ? "wide" : "-") << '\n';
  xstrunlock_c(&view);
}

void twoForms() {
  std::cout << "string\n";
  xstring first(L"tea");
  xstring second = first;
  forms("first", first);
  const char* narrow = first;  // made, and kept in the buffer
  forms("first", first);
  forms("second", second);
  std::cout << "  one buffer: " << (narrow == second.CastToCString()) << '\n';
  first += "s";  // shared: gets a buffer of its own, with the form that is edited
  forms("first", first);
  forms("second", second);
}

void slots(xintdictionary* dictionary) {
  for (int slot = 0; slot < dictionary->getmapsize(); ++slot) {
    xstring key;
    if (!dictionary->getkeybyindex(slot, &key)) continue;
    unsigned length = 0;
    const unsigned hash = xbdictHashMain(key, &length);
    std::cout << "  slot " << slot << ": " << key << ", starts at " << hash % 32 << ", step "
              << xbdictHashCollision(key, length) % 32 << '\n';
  }
}

void slotsOfADictionary() {
  std::cout << "dictionary\n";
  xrchandle<xintdictionary> stock = xintdictionary::create();
  stock->set("water", 1);
  stock->set("beer", 2);
  slots(stock);
  stock->remove("water");
  std::cout << "  beer is still found: " << stock->find("beer", nullptr) << '\n';
  stock->set("rice", 3);
  slots(stock);
}

// Writes down what is called; what is inside is indented.
class Log : public velTraverser {
 public:
  velTraverseResult simpleValue(xany value) override {
    return line("simpleValue " + std::string(value.toString()));
  }
  velTraverseResult beginObject(xrttiobject* type, xrcunihandle<xobject>) override {
    return begin("beginObject " + std::string(type->getName()));
  }
  velTraverseResult endObject(xrttiobject*, xrcunihandle<xobject>) override {
    return end("endObject");
  }
  velTraverseResult beginDictionary(xrttidictionary*, xrcunihandle<xobject>) override {
    return begin("beginDictionary");
  }
  velTraverseResult endDictionary(xrttidictionary*, xrcunihandle<xobject>) override {
    return end("endDictionary");
  }
  velTraverseResult beginDictElement(xrttidictionary*, xstring key,
                                     xrcunihandle<xobject>) override {
    return begin("beginDictElement " + std::string(key));
  }
  velTraverseResult endDictElement(xrttidictionary*, xstring, xrcunihandle<xobject>) override {
    return end("endDictElement");
  }
  velTraverseResult alreadyVisited(xrcunihandle<xobject>) override {
    return line("alreadyVisited");
  }

 private:
  velTraverseResult line(const std::string& text) {
    std::cout << std::string(depth, ' ') << text << '\n';
    return velTrContinue;
  }
  velTraverseResult begin(const std::string& text) {
    line(text);
    depth += 2;
    return velTrContinue;
  }
  velTraverseResult end(const std::string& text) {
    depth -= 2;
    return line(text);
  }
  std::size_t depth = 2;
};

void aWalk() {
  std::cout << "walk\n";
  xrchandle<xanydictionary> order = xanydictionary::create();
  order->set("number", 7);
  order->set("self", order);
  Log log;
  velTraverse(order, &log);
  order->clearall();  // a cycle would keep itself alive
}

void thePendingException() {
  std::cout << "pending exception\n";
  xrchandle<xintsequence> numbers = xintsequence::create();
  xintsequence* seq = numbers;  // what a C program holds
  const int none = xintsequence_get(seq, 99);
  std::cout << "  answer " << none << ", pending: " << +xisexc_c() << '\n';
  xintsequence_set(seq, 0, 5);  // begins with an empty record
  std::cout << "  after the next call: " << +xisexc_c() << '\n';
  xintsequence_get(seq, 99);
  xthrowable* taken = xextractexc_c();  // with its reference
  std::cout << "  taken: " << taken->getVelTypeName() << ", pending: " << +xisexc_c() << '\n';
  xrcrelease(taken);
}

}  // namespace

int main() {
  lifeOfAnObject();
  twoForms();
  slotsOfADictionary();
  aWalk();
  thePendingException();
}
