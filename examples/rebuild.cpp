// Rebuilding an object by name: what a deserializer does.
#include <velstd.h>

#include <iostream>
#include <string>
#include <utility>
#include <vector>

int main() {
  xrchandle<velXFunc> call = new velXFunc("open", new velXArgs);

  // What is written down: the name of the type, and names and values of the
  // attributes, all read through the descriptor.
  const xstring typeName = call->getVelTypeName();
  std::vector<std::pair<std::string, xany>> data;
  auto* type = dynamic_cast<xrttistruct*>(call->getRtti());
  for (int i = 0; i < type->getNAttrs(); ++i) {
    xrttiattr* attr = type->getAttr(i);
    data.emplace_back(attr->getName().CastToCString(), attr->getValue(call));
  }

  // And back, without knowing the class.
  velS11nContext context;
  xobject* made = velS11nCreate(typeName, &context);
  const xrchandle<xobject> rebuilt = made;
  xrcrelease(made);  // the reference that came with it
  context.setRootObject(rebuilt);
  for (const auto& [name, value] : data) velS11nSet(rebuilt, name.c_str(), value);

  velPrint(rebuilt, std::cout, -1);
  std::cout << '\n' << (velCompare(call, rebuilt) ? "equal" : "different") << '\n';
  velS11nSet(rebuilt, "Name", "close");
  std::cout << (velCompare(call, rebuilt) ? "equal" : "different") << '\n';

  // Data that does not fit is refused, and nothing is changed.
  for (const char* name : {"Name", "Color"}) {
    try {
      velS11nSet(rebuilt, name, 5);
    } catch (xthrowable* caught) {
      std::cout << name << ": " << caught->getVelTypeName() << '\n';
      xrcrelease(caught);
    }
  }
}
