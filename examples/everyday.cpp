// A type in a few lines: made, printed, compared, written as JSON and read again.
#include <velext.h>
#include <veljson.h>

#include <clocale>
#include <iostream>

namespace demo {

VEL_ENUM(Color, "demo::Color", red, green, blue)

class Line : public velStruct<Line> {
  xstring name;
  double price = 0;
  std::optional<Color> color;

 public:
  VEL_STRUCT(Line, "demo::Line", name, price, color)
};

class Order : public velStruct<Order> {
  int number = 0;
  xrchandle<velSequenceOf<Line>> lines = velSequenceOf<Line>::create();

 public:
  VEL_STRUCT(Order, "demo::Order", number, lines)
};

}  // namespace demo

int main() {
  std::setlocale(LC_ALL, "");  // what is printed is in the terminal's encoding
  velInstallTerminateHandler();

  // Made and filled by names, as code does that knows no class.
  xany order = velAny(velCreate("demo::Order"));
  velSetPath(order, "/number", velAny(7));
  velSetPath(order, "/lines/-", velAny(velNew<demo::Line>()));
  velSetPath(order, "/lines/0/name", velAny("tea"));
  velSetPath(order, "/lines/0/price", velAny(12.5));
  std::cout << order << '\n';

  // JSON, and back by the name of the type.
  const std::string text = velToJson(order);
  xany back = velFromJson("demo::Order", text);  // or velFromJson<demo::Order>(text)
  std::cout << text << '\n' << "equal: " << velEquals(back, order) << '\n';

  // What somebody has changed in a copy.
  xany copy = velClone(order);
  velSetPath(copy, "/lines/0/price", velAny(13.0));
  velSetPath(copy, "/lines/0/color", velAny(demo::Color::green));
  for (const velDifference& difference : velDiff(order, copy)) std::cout << difference << '\n';

  // Loops, values and exceptions of the standard library's kind.
  auto prices = velDictionary(std::map<std::string, double>{{"tea", 12.5}, {"cake", 4}});
  for (auto& [key, price] : velSorted(prices)) std::cout << velView(key) << ' ' << price << '\n';
  if (auto number = velGet<int>(velGetPath(order, "/number"))) std::cout << *number + 1 << '\n';
  try {
    velTry([&] { return velFromJson("demo::Order", "{\"number\": \"seven\"}"); });
  } catch (const velError& error) {
    std::cout << error.as<velXSerialization>()->getDescription() << '\n';
  }

  // What documents of a type look like, for other programs.
  const xany schema = velJsonSchema("demo::Order");
  std::cout << velToJson(velGetPath(schema, "/$defs/demo::Line/properties/color")) << '\n';
}
