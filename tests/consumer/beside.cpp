// The libraries beside the core, as a project outside sees them.
#include <velext.h>
#include <veljson.h>

#include <iostream>

namespace outside {

class Point : public velStruct<Point> {
  int x = 0, y = 0;

 public:
  VEL_STRUCT(Point, "outside::Point", x, y)
};

}  // namespace outside

int main() {
  const xany point = velFromJson("outside::Point", "{\"x\": 3}");
  const std::string text = velToJson(point);
  std::cout << text << '\n';
  return text == "{\"x\":3,\"y\":0}" && velEquals(velClone(point), point) ? 0 : 1;
}
