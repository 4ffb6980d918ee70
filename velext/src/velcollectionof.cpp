#include "velcollectionof.h"

#include "velexceptions.h"

const char* velKeptName(const std::string& name) { return (new std::string(name))->c_str(); }

std::string velNameOfType(xrtti* type) {
  const xstring name = type->getName();
  if (name.IsNull()) velXNativeException::Throw("Type is not described yet");
  return std::string(velView(name));
}
