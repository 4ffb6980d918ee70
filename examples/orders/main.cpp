// The tutorial in C++: one step after the other, each with what it prints.
#include <veljson.h>

#include <clocale>
#include <iostream>

#include "orders.h"

using shop::Line;
using shop::Order;

void title(const char* text) { std::cout << "-- " << text << '\n'; }

// Adds up what is ordered, whatever the values are that the lines lie in.
class Counter : public velTraverser {
 public:
  velTraverseResult beginStructAttribute(xrttistruct*, xrttiattr* attr,
                                         xrcunihandle<xobject> owner) override {
    if (attr->getName() == "count") pieces += velGetOr(attr->getValue(owner), 0);
    return velTrContinue;
  }
  int pieces = 0;
};

xrchandle<Order> example() {
  auto order = velNew<Order>(7, "Zoë");
  order->add(velNew<Line>("tea", 2, 12.5));
  order->add(velNew<Line>("cup", 1, 4.0));
  return order;
}

void values() {
  title("strings, values and collections");
  const xstring name = velText("Zoë");  // UTF-8 in, in every locale
  std::cout << velUtf8(name) << ", " << velUtf8(name).size() << " bytes\n";
  xany value = 3;  // any value: a number now, a text then
  value = "three";
  std::cout << value << ' ' << velGetOr(value, 0) << '\n';
  auto stock = xintdictionary::create();
  stock->set("tea", 40);
  stock->set("cup", 8);
  for (auto& [key, count] : velSorted(stock)) std::cout << velView(key) << ": " << count << '\n';
}

void objects() {
  title("objects");
  const auto order = example();  // the handle holds one reference
  std::cout << order->total() << '\n' << order << '\n';
}

void walks() {
  title("a walk");
  Counter counter;
  velTraverse(velAny(example()), &counter);
  std::cout << counter.pieces << " pieces\n";
}

void names() {
  title("by name");
  const auto payment = velCreate("shop::Payment");  // no header needed for this
  velSetAttr(payment, "method", velAny(shop::Method::card));
  velSetAttr(payment, "cardNumber", velAny(1234));
  std::cout << payment << '\n';
  const xany order = velAny(example());
  velSetPath(order, "/lines/1/price", velAny(4.5));
  std::cout << velGetPath(order, "/lines/1/article") << '\n';
}

void differences() {
  title("equal and different");
  const xany before = velAny(example());
  const xany after = velClone(before);
  std::cout << std::boolalpha << velEquals(before, after) << '\n';
  velSetPath(after, "/lines/0/count", velAny(3));
  velSetPath(after, "/lines/-", velAny(velNew<Line>("spoon", 1, 1.5)));
  for (const velDifference& d : velDiff(before, after)) std::cout << d << '\n';
}

void errors() {
  title("errors");
  const auto order = example();
  order->pay(nullptr);
  try {
    velTry([&] { order->pay(nullptr); });
  } catch (const velError& error) {  // a std::exception
    std::cout << error.as<shop::XPaid>()->getNumber() << '\n' << error.what() << '\n';
  }
}

void json() {
  title("JSON");
  const xany order = velAny(example());
  std::cout << velToJson(order) << '\n';
  velJsonOptions tagged;  // "lines" may hold anything: the document has to say what
  tagged.typeTags = true;
  tagged.indent = 2;
  const std::string text = velToJson(velGetPath(order, "/lines/0"), tagged);
  std::cout << text << '\n';
  std::cout << velEquals(velFromJson(velToJson(order, tagged), tagged), order) << '\n';
  std::cout << velFromJson<Line>("{\"article\": \"jug\", \"price\": 9}")->total() << '\n';
}

int main() {
  velInstallTerminateHandler();
  std::setlocale(LC_ALL, "C.UTF-8");
  values();
  objects();
  walks();
  names();
  differences();
  errors();
  json();
}
