#include "startup_plugin.h"

class PluginException : public velXException {
  VEL_OBJECT(PluginException)
 public:
  PluginException() : velXException("from the plugin") {}
};
VEL_OBJECT_RTTI(PluginException, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* parents[] = {velXException::getClassRtti()};
  rtti->initializeRttiStruct("startup_plugin::Exception", 1, 1, parents, 0, nullptr);
})

std::string PluginCatches(void (*thrower)()) {
  try {
    thrower();
  } catch (xobject* caught) {
    const xrchandle<xobject> held(caught);
    xrcrelease(caught);
    return caught->getVelTypeName().CastToCString();
  }
  return "nothing";
}

void PluginThrows() { xthrow(xrcunihandle<xthrowable>(new PluginException)); }

xrttiobject* PluginIntSequenceRtti() { return xintsequence::getClassRtti(); }

xrtti* PluginLooksUp(const char* name) { return velRttiGetFromMap(name); }

std::vector<std::string> PluginTypeInfos() { return FrameworkTypeInfos(); }

namespace {

class PluginObject : public virtual xobject {
  VEL_OBJECT(PluginObject)
};
VEL_OBJECT_RTTI(PluginObject, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("startup_plugin::Object", 1, 0, nullptr);
})

// Made before the program's static objects, destroyed after them.
const struct PluginLife {
  PluginLife() { UseAndTell<PluginObject>("plugin's constructor"); }
  ~PluginLife() { UseAndTell<PluginObject>("plugin's destructor"); }
} pluginLife;

}  // namespace
