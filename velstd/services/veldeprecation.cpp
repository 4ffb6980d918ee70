#include "veldeprecation.h"

#include "velexceptions.h"

void velDeprecationSupport::_s11n_set_s11n_deprecated(xstring names) {
  if (names.IsNull()) return;
  if (list.IsNull()) {
    list = names;
    return;
  }
  // As strings, so that a wide list stays wide.
  if (!list.IsEmpty() && !names.IsEmpty()) list += xstring(";");
  list += names;
}

bool velDeprecationSupport::isDeprecatedAttribute(xstring name) {
  if (list.IsNull()) return true;
  if (list.IsEmpty() || name.IsNull()) return false;
  if (parsed.isnull()) parsed = velParseDeprecatedAttrList(list);
  return parsed->find(name, nullptr);
}

void velParseDeprecatedAttrList(xstring list, xrchandle<xbooldictionary> dict) {
  if (dict.isnull()) velhThrowNull();
  for (int i = 0, n = list.GetNWords(";"); i < n; ++i) dict->set(list.GetWord(i, ";"), 0);
}

xrchandle<xbooldictionary> velParseDeprecatedAttrList(xstring list) {
  const auto dict = xbooldictionary::create();
  velParseDeprecatedAttrList(list, dict);
  return dict;
}
