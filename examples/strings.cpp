// One string, two forms: narrow text in the locale's encoding, and wide text.
// Null is not empty.
#include <velstd.h>

#include <clocale>
#include <iostream>

int main() {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::cout << std::boolalpha;

  xstring wide(L"\u00c5land");  // only the wide form so far
  std::cout << wide.GetLength() << " characters\n";
  const char* narrow = wide;  // made on demand, then kept
  std::cout << narrow << ", " << wide.GetLength() << " bytes\n";

  xstring null;
  xstring empty("");
  std::cout << "null: " << null.IsNull() << ' ' << null.IsEmpty() << ' ' << (null == empty) << '\n';
  std::cout << "empty: " << empty.IsNull() << ' ' << empty.IsEmpty() << '\n';

  xstring copy = wide;  // shares the text until one changes
  copy += " Islands";
  std::cout << wide << " | " << copy << " | " << copy.ToUpper() << '\n';

  xstring line("one, two,, three");
  for (int i = 0; i < line.GetNWords(", "); ++i) std::cout << '[' << line.GetWord(i, ", ") << ']';
  std::cout << '\n';

  line.Substitute(", ", "; ");
  std::cout << line << ", " << line.Pos("two") << ", " << line.Substring(5, 8) << ", "
            << line.Match("one*") << '\n';

  int number = 0;
  std::cout << xstring(" 42 ").ToInt(&number) << ' ' << number << ' '
            << xstring("42x").ToInt(&number) << '\n';
}
