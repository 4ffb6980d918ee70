#include <velext.h>
#include <veljson.h>

#include <iostream>

class Point : public velStruct<Point> {
  int x = 0, y = 0;

 public:
  VEL_STRUCT(Point, "demo::Point", x, y)
};

int main() {
  auto point = velFromJson<Point>("{\"x\": 3}");
  std::cout << point << '\n' << velToJson(velAny(point)) << '\n';
}
