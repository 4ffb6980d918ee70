// The component: loading it registers its types.
#include "orders.h"

namespace shop {

VEL_ATTRIBUTED_RTTI(XPaid, "shop::XPaid", velXException::getClassRtti(), VEL_ATTRIBUTE_INFO(Number))

double Order::total() const {
  double sum = 0;
  for (const xany& line : lines) sum += velObject<Line>(line)->total();
  return sum;
}

void Order::pay(const xrchandle<Payment>& with) {
  if (status != Status::open) velThrow<XPaid>(number);
  payment = with;
  status = Status::paid;
}

}  // namespace shop
