// Exceptions: who owns what is caught, how to ask for its class, and one of
// your own.
#include <velstd.h>

#include <iostream>

namespace demo {

class XTooHot : public velXException {
  VEL_ATTRIBUTED(XTooHot, velXException(context))
  VEL_ATTRIBUTE(int, Degrees)
 public:
  explicit XTooHot(int degrees) : velXException("Too hot."), valueDegrees(degrees) {}
};

VEL_ATTRIBUTED_RTTI(XTooHot, "demo::XTooHot", velXException::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Degrees))

}  // namespace demo

// Runs `step` and tells what it throws.
template <class Step>
void tell(Step step) {
  try {
    step();
  } catch (xthrowable* caught) {  // always the root class
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);  // the reference that came with the throw
    if (auto* index = dynamic_cast<velXInvalidSeqIndex*>(caught)) {
      std::cout << "no element " << index->getIndex() << '\n';
    } else {
      velPrint(held, std::cout, -1);
      std::cout << '\n';
    }
  }
}

int main() {
  xrchandle<xintsequence> numbers = xintsequence::create();
  tell([&] { numbers->get(99); });
  tell([&] { numbers->get(-1); });
  tell([&] { xstringsequence::cast(numbers); });
  tell([] { xthrow(xrchandle<demo::XTooHot>(new demo::XTooHot(451))); });

  // cast() and softcast() know the exact class; isKindOf knows the parents.
  xrchandle<xthrowable> hot = new demo::XTooHot(40);
  std::cout << std::boolalpha << (velXException::softcast(hot) != nullptr) << ' '
            << hot->isKindOf(velXException::getClassRtti()) << '\n';
}
