#include "velvalue.h"

#include "velexceptions.h"
#include "velprint.h"

namespace {

// Of type and number, so that 1 and true have hashes of their own.
std::size_t Mixed(__xanykind kind, std::size_t hash) {
  return hash * 31 + static_cast<std::size_t>(kind);
}

}  // namespace

void velThrowOutOfRange(long long value) {
  velXNativeException::Throw(("Integer out of range: " + std::to_string(value)).c_str());
}

void velThrowOutOfRange(unsigned long long value) {
  velXNativeException::Throw(("Integer out of range: " + std::to_string(value)).c_str());
}

void velThrowReservedReal(double value) {
  velXNativeException::Throw(value < 1e126 ? "Real number stands for no value: 9e125"
                                           : "Real number stands for no value: 1e126");
}

void velWriteValue(std::ostream& out, const xany& value) { velPrint(value, out, 2); }

std::size_t std::hash<xany>::operator()(const xany& value) const {
  const __xanykind kind = value.getkind();
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
