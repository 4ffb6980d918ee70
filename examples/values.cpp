// Variants with their markers, sequences, and the slots of a dictionary.
#include <velstd.h>

#include <iostream>

int main() {
  std::cout << std::boolalpha;

  // Nil is a value without content; uninit is none that was ever given.
  xany nothing = nullptr;
  xany never;
  std::cout << nothing.isnil() << ' ' << never.isuninit() << '\n';

  // As plain types both are marker values, which work in both directions.
  const int marker = nothing;
  std::cout << marker << ' ' << xany(marker).isnil() << ' ' << xany(xstring()).isnil() << '\n';

  // A value converts to its own kind only; ask first.
  xany value = xstring("text");
  if (value.isstring()) std::cout << value.operator xstring() << '\n';
  if (value == "text" && value != 5) std::cout << "equal by kind and content\n";

  // set() past the end grows; get() past the end throws.
  xrchandle<xanysequence> list = xanysequence::create();
  list->append(1.5);
  list->set(2, true);
  (*list)[0] = xstring("first");
  std::cout << list->getarraysize() << ' ' << xany(list).toString() << '\n';

  // An index of a dictionary is the number of a slot, and most are vacant.
  xrchandle<xintdictionary> ages = xintdictionary::create();
  ages->set("Ann", 31);
  ages->set("Bob", 27);
  ages->set("Ann", 32);
  std::cout << ages->getmapsize() << " slots\n";
  for (int slot = 0; slot < ages->getmapsize(); ++slot) {
    xstring name;
    int age;
    if (!ages->getkeybyindex(slot, &name)) continue;
    ages->getbyindex(slot, &age);
    std::cout << name << " is " << age << '\n';
  }
  int age = -1;
  std::cout << ages->find("Cid", &age) << ' ' << age << ' ' << ages->remove("Bob") << '\n';
}
