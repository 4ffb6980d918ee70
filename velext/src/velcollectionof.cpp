#include "velcollectionof.h"

#include "velexceptions.h"

std::string velNameOfType(xrtti* type) {
  const xstring name = type->getName();
  if (name.IsNull()) velXNativeException::Throw("Type is not described yet");
  return std::string(velView(name));
}
