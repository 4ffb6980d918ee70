// orders.h - the types of a small shop, for everybody who handles its orders.
#ifndef ORDERS_H
#define ORDERS_H

#include <velext.h>

namespace shop {

VEL_ENUM(Status, "shop::Status", open, paid, shipped)

class Line : public velStruct<Line> {
  xstring article;
  int count = 1;
  double price = 0;

 public:
  Line() = default;
  Line(const char* what, int howMany, double each)
      : article(velText(what)), count(howMany), price(each) {}
  double total() const { return count * price; }
  VEL_STRUCT(Line, "shop::Line", article, count, price)
};

VEL_ENUM(Method, "shop::Method", transfer, card)

class Payment : public velUnion<Payment> {
  Method method = Method::transfer;
  xstring iban;
  int cardNumber = 0;

 public:
  VEL_UNION(Payment, "shop::Payment", method, (Method::transfer, iban),
            (Method::card, cardNumber))
};

// Lines are of one type, and yet in a sequence of anything: every language reads that one
// element by element.
class Order : public velStruct<Order> {
  int number = 0;
  std::string customer;
  Status status = Status::open;
  xrchandle<xanysequence> lines = xanysequence::create();
  xrchandle<Payment> payment;

 public:
  explicit Order(int n = 0, std::string whose = "") : number(n), customer(std::move(whose)) {}
  void add(const xrchandle<Line>& line) { lines->append(line); }
  double total() const;
  /// Throws XPaid the second time.
  void pay(const xrchandle<Payment>& with);
  VEL_STRUCT(Order, "shop::Order", number, customer, status, lines, payment)
};

class XPaid : public velXException {
  VEL_ATTRIBUTED(XPaid, velXException(context))
  VEL_ATTRIBUTE(int, Number)
 public:
  explicit XPaid(int number) : velXException("The order is paid."), valueNumber(number) {}
};

}  // namespace shop

#endif  // ORDERS_H
