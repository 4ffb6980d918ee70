// The life of an object: count 0, handles, refusal, and the end; and an object
// that belongs to its maker instead of being counted.
#include <velstd.h>

#include <iostream>

namespace demo {

class File : public virtual xobject {
  VEL_OBJECT(File)
 public:
  ~File() override { std::cout << "  destroyed\n"; }
  unsigned char isDeletable() override { return !busy; }
  void onDelete() override { std::cout << "  last reference gone\n"; }

  bool busy = false;
};

VEL_OBJECT_RTTI(File, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("demo::File", 1, 0, nullptr);  // 1: counted
})

class Desk : public virtual xobject {
  VEL_OBJECT(Desk)
 public:
  ~Desk() override { std::cout << "  destroyed\n"; }
};

VEL_OBJECT_RTTI(Desk, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("demo::Desk", 0, 0, nullptr);  // 0: not counted
})

}  // namespace demo

int main() {
  std::cout << "counted\n";
  demo::File* file = new demo::File;
  std::cout << "  new: " << xrcgetcount(file) << '\n';
  {
    xrchandle<demo::File> first = file;
    xany second = first;
    std::cout << "  two holders: " << xrcgetcount(file) << '\n';
  }

  std::cout << "refusing\n";
  xrchandle<demo::File> holder = new demo::File;
  file = holder;
  file->busy = true;
  holder = 0;  // the last handle lets go, but the object says no
  std::cout << "  still there: " << xrcgetcount(file) << '\n';
  holder = file;
  file->busy = false;
  holder = 0;

  std::cout << "not counted\n";
  demo::Desk* desk = new demo::Desk;
  {
    xrcunihandle<xobject> view = desk;
    std::cout << "  in a handle: " << xrcgetcount(desk) << '\n';
  }
  xdelete(desk);
}
