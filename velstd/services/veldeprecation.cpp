#include "veldeprecation.h"

#include <cstring>
#include <string>
#include <vector>

#include "korstring.h"
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
  if (list.IsNull()) return;
  // From word to word; GetWord would start from the front for each.
  const char* rest = list;
  const char* const end = rest + std::strlen(rest);
  std::vector<std::string> added;
  try {
    for (const char* word = nullptr; korStringGetNextWord(rest, end, ";", &word, &rest);) {
      std::string key(word, rest);
      const char* const text = key.c_str();
      if (!dict->find(text, nullptr)) added.push_back(key);
      dict->set(text, 0);
    }
  } catch (...) {
    // All words or none: what was added goes again, which needs no memory.
    for (const std::string& key : added) dict->remove(key.c_str());
    throw;
  }
}

xrchandle<xbooldictionary> velParseDeprecatedAttrList(xstring list) {
  auto dict = xbooldictionary::create();
  velParseDeprecatedAttrList(list, dict);
  return dict;
}
