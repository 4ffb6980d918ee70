// Values of several kinds, held by handles and printed through their types.
#include <velstd.h>

#include <iostream>

int main() {
  xrchandle<xintsequence> primes = xintsequence::create();
  for (int n : {2, 3, 5}) primes->append(n);

  xrchandle<xanydictionary> book = xanydictionary::create();
  book->set("title", xstring("Numbers"));
  book->set("pages", 320);
  book->set("primes", primes);

  velPrint(book, std::cout, 2);

  xany pages;
  if (book->find("pages", &pages)) std::cout << '\n' << pages.operator int() << " pages\n";
}
