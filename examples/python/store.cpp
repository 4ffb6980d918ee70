// Types that store.py uses: a shared library that registers them when it is loaded.
#include <velext.h>

namespace store {

VEL_ENUM(Size, "store::Size", small, medium, large)

class Item : public velStruct<Item> {
  xstring name;
  double price = 0;
  std::optional<Size> size;

 public:
  VEL_STRUCT(Item, "store::Item", name, price, size)
};

class Order : public velStruct<Order> {
  int number = 0;
  xrchandle<xanysequence> items;
  xrchandle<xintdictionary> stock;

 public:
  VEL_STRUCT(Order, "store::Order", number, items, stock)
};

}  // namespace store
