// Everyday C++ beside the core, as a project outside sees it, without JSON.
#include <velext.h>

namespace outside {

VEL_ENUM(Color, "outside::Color", red, green)

class Lamp : public velStruct<Lamp> {
  Color color = Color::red;

 public:
  VEL_STRUCT(Lamp, "outside::Lamp", color)
};

}  // namespace outside

int main() {
  const auto lamp = velCreate("outside::Lamp");
  velSetAttr(lamp, "color", velAny(outside::Color::green));
  return velGet<outside::Color>(velGetAttr(lamp, "color")) == outside::Color::green ? 0 : 1;
}
