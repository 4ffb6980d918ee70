// Types by name: what is registered, what a type consists of, and data that
// other layers attach to a type.
#include <velstd.h>

#include <iostream>

int main() {
  // Every type of the library is there from the start, in order of the names.
  int count = 0;
  velRttiForEach(
      [](xrtti* type, void* data) {
        if (type->getName().Match("*dict")) std::cout << type->getName() << ' ';
        ++*static_cast<int*>(data);
        return true;  // go on
      },
      &count);
  std::cout << "and more: " << std::boolalpha << (count > 30) << '\n';

  // Attributes by name, those of the parents included.
  auto* type = dynamic_cast<xrttistruct*>(velRttiGetFromMap("vellib::XInvalidSeqIndex"));
  xrttiattrseq* attrs = velRttiCollectAttrs(type, true);
  for (int i = 0; i < attrs->getarraysize(); ++i) {
    xrttiattr* attr = attrs->get(i);
    std::cout << attr->getName() << " : " << attr->getType()->getName()
              << (attr->getIsOptional() ? ", optional\n" : "\n");
  }
  xdelete(attrs);  // not counted: the caller's

  // Reading an attribute of an object whose class this code need not know.
  xrchandle<velXException> object = new velXException("read through its type");
  auto* described = dynamic_cast<xrttistruct*>(object->getRtti());
  std::cout << described->findAttr("Description", true)->getValue(object).toString() << '\n';

  // Data under a key; neither is copied.
  static int version = 3;
  velRttiAddUserData(type, "demo.version", &version);
  std::cout << *static_cast<int*>(velRttiGetUserData("vellib::XInvalidSeqIndex", "demo.version"))
            << '\n';
}
