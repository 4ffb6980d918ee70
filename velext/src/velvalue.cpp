#include "velvalue.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <locale>
#include <sstream>

#include "velexceptions.h"
#include "velprint.h"

namespace {

// Of type and number, so that 1 and true have hashes of their own.
std::size_t Mixed(__xanykind kind, std::size_t hash) {
  return hash * 31 + static_cast<std::size_t>(kind);
}

// What a value reads as: null and uninitialised objects are none.
__xanykind KindOf(const xany& value) {
  return value.isnil() ? xanyNil : value.isuninit() ? xanyUninit : value.getkind();
}

// The place of a kind among the others.
int RankOf(__xanykind kind) {
  switch (kind) {
    case xanyUninit:
      return 0;
    case xanyNil:
      return 1;
    case xanyBool:
      return 2;
    case xanyInt:
    case xanyReal:
      return 3;
    case xanyString:
      return 4;
    case xanyEnum:
      return 5;
    default:
      return 6;
  }
}

template <class T>
int Order(T a, T b) {
  return static_cast<int>(std::less<T>()(b, a)) - static_cast<int>(std::less<T>()(a, b));
}

int OrderOfNumbers(const xany& a, const xany& b) {
  const double left = *velGet<double>(a);
  const double right = *velGet<double>(b);
  if (std::isnan(left) || std::isnan(right)) return Order(std::isnan(left), std::isnan(right));
  const int order = Order(left, right);
  return order ? order : Order(a.getkind() == xanyReal, b.getkind() == xanyReal);
}

}  // namespace

void velThrowOutOfRange(long long value) {
  velXNativeException::Throw(("Integer out of range: " + std::to_string(value)).c_str());
}

void velThrowOutOfRange(unsigned long long value) {
  velXNativeException::Throw(("Integer out of range: " + std::to_string(value)).c_str());
}

void velThrowOutOfRange(double value) {
  char digits[32];  // longer than any number is in its shortest form
  *std::to_chars(digits, digits + sizeof digits - 1, value).ptr = '\0';
  velXNativeException::Throw((std::string("Real number out of range: ") + digits).c_str());
}

void velThrowReservedReal(double value) {
  velXNativeException::Throw(value < 1e126 ? "Real number stands for no value: 9e125"
                                           : "Real number stands for no value: 1e126");
}

void velWriteValue(std::ostream& out, const xany& value) { velPrint(value, out, 2); }

std::size_t std::hash<xany>::operator()(const xany& value) const {
  const __xanykind kind = KindOf(value);
  switch (kind) {
    case xanyInt:
      return Mixed(kind, std::hash<int>()(value.operator int()));
    case xanyBool:
      return Mixed(kind, value.operator unsigned char());
    case xanyReal:
      return Mixed(kind, std::hash<double>()(value.operator double()));
    case xanyString:
      return Mixed(kind, std::hash<xstring>()(value.operator xstring()));
    case xanyEnum:
      return Mixed(kind, std::hash<int>()(value.operator int()));
    case xanyObject:
      return Mixed(kind, std::hash<const void*>()(value.operator xobject*()));
    default:
      return static_cast<std::size_t>(kind);
  }
}

int velOrder(const xany& a, const xany& b) {
  const int order = Order(RankOf(KindOf(a)), RankOf(KindOf(b)));
  if (order) return order;
  switch (KindOf(a)) {
    case xanyBool:
      return Order(a.operator unsigned char(), b.operator unsigned char());
    case xanyInt:
    case xanyReal:
      return OrderOfNumbers(a, b);
    case xanyString:
      return velOrder(a.operator xstring(), b.operator xstring());
    case xanyEnum: {
      const int types = Order(a.getRtti(), b.getRtti());
      return types ? types : Order(a.operator int(), b.operator int());
    }
    case xanyObject:
      return Order(a.operator xobject*(), b.operator xobject*());
    default:
      return 0;
  }
}

std::string velToString(const xany& value, int step) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  velPrint(value, out, step);
  return out.str();
}

bool velIsText(const xany& value, std::string_view utf8) {
  return value.getkind() == xanyString && velIsText(value.operator xstring(), utf8);
}
