#include "xescape.h"

#include <cstddef>
#include <utility>

#include "kormbcs.h"
#include "korstring.h"

namespace {

constexpr unsigned char kPassedOn = 0;
constexpr unsigned char kReplaced = 1;
constexpr unsigned char kNotKnown = 0x80;

template <class Ch>
struct Marker;
template <>
struct Marker<char> {
  static constexpr auto text = "<<<OUT OF LOCALE>>>";
};
template <>
struct Marker<wchar_t> {
  static constexpr auto text = L"<<<OUT OF LOCALE>>>";
};

void Tell(unsigned char* flag, unsigned char value) {
  if (flag) *flag = value;
}

// `measure` gives the converted length, or -1.
template <class Ch, class Other>
xstring Escape(const Ch* text, unsigned char* flag,
               std::size_t (*measure)(Other*, const Ch*, std::size_t)) {
  Tell(flag, kPassedOn);
  text = korText(text);
  if (!text) return xstring();
  if (measure(nullptr, text, 0) != static_cast<std::size_t>(-1)) return xstring(text);
  Tell(flag, kReplaced);
  return xstring(Marker<Ch>::text);
}

}  // namespace

xstring escapeOOL(const wchar_t* text, unsigned char* flag) {
  return Escape(text, flag, &kor_wcstombs);
}

xstring escapeOOL(const char* text, unsigned char* flag) {
  return Escape(text, flag, &kor_mbstowcs);
}

xstring unescapeOOL(xstring text, unsigned char* flag) {
  Tell(flag, kNotKnown);
  return text;
}
