// startup_plugin.h - a second library that uses the one under test.
//
// It has a static object of its own and throws and catches across the border
// between libraries.
#ifndef VELSTD_TESTS_STARTUP_PLUGIN_H
#define VELSTD_TESTS_STARTUP_PLUGIN_H

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "velstd.h"

/// Set in a child process that is to tell what its static objects do.
constexpr char kSceneVariable[] = "VELSTD_TEST_SCENE";

inline bool IsScene(const char* name) {
  const char* scene = std::getenv(kSceneVariable);
  return scene && std::string(scene) == name;
}

/// Adds up how often each visit comes.
class CountingTraverser : public velTraverser {
 public:
  int values = 0;

  velTraverseResult simpleValue(xany) override {
    ++values;
    return velTrContinue;
  }
};

/// Creates, registers, looks up, walks, prints, throws, catches and releases;
/// tells what went wrong, or "".
template <class UserClass>
std::string UseTheLibrary() {
  const auto sequence = xintsequence::create();
  for (int i = 0; i < 20; ++i) sequence->append(i);
  const auto dictionary = xanydictionary::create();
  dictionary->set("sequence", xany(sequence));
  dictionary->set("text", "words");
  if (xrcgetcount(sequence.operator->()) != 2) return "references";

  // The descriptors come first: until the library is loaded, a type is
  // registered by its first use.
  xrttiobject* const intSequence = xintsequence::getClassRtti();
  xrttiobject* const null = velXNull::getClassRtti();
  if (velRttiGetFromMap("intseq") != intSequence) return "look-up";
  if (velRttiGetFromMap("vellib::XNull") != null) return "look-up";
  const xrchandle<UserClass> object(new UserClass);
  if (velRttiGetFromMap(object->getVelTypeName()) != UserClass::getClassRtti()) return "user class";

  CountingTraverser traverser;
  velTraverse(xany(dictionary), &traverser);
  if (traverser.values != 21) return "walk";
  std::ostringstream out;
  out << dictionary;
  if (out.str().find("19 : 19") == std::string::npos) return "print";
  if (xstring(L"wide") != "wide") return "text";

  try {
    sequence->get(20);
    return "no exception";
  } catch (xthrowable* caught) {
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    if (!dynamic_cast<velXInvalidSeqIndex*>(caught)) return "other exception";
  }
  return "";
}

/// Uses the library and, in scene "life", says so on the standard error stream.
template <class UserClass>
void UseAndTell(const char* who) {
  const std::string failed = UseTheLibrary<UserClass>();
  if (!IsScene("life")) return;
  const auto sequence = xboolsequence::create();
  velDebugPrint(sequence.operator->());
  std::fprintf(stderr, " %s%s%s\n", who, failed.empty() ? "" : " fails: ", failed.c_str());
}

template <class... Classes>
std::vector<std::string> TypeInfosOf() {
  return {std::string("_ZTI") + typeid(Classes).name()...};
}

/// Symbols of the type informations of all framework classes.
inline std::vector<std::string> FrameworkTypeInfos() {
  return TypeInfosOf<
      xobject, xrtti, xrttibasic, xrttienum, xrttiobject, xrttistruct, xrttiunion, xrttiarray,
      xrttisequence, xrttidictionary, xrttiattr, xrttiattrseq, xboolsequence, xintsequence,
      xrealsequence, xstringsequence, xanysequence, xbooldictionary, xintdictionary,
      xrealdictionary, xstringdictionary, xanydictionary, velExecutable, xthrowable, velXException,
      velXNull, velXTypeMismatch, velXInvalidArrayIndex, velXInvalidSeqIndex, velXInvalidDictIndex,
      velXInvalidDictKey, velXNegativeIndex, velXNotInitialized, velXRefCountable,
      velXNativeException, velXConnectionClosed, velXArgs, velXFunc, velXExternFunc,
      velXSerialization, velXSoapFault, velXSoapTransport, velXSoapHttpTransport,
      xportXCannotConnect, xportXMsgStringTooLong, xportXFlushFailed, xportXNullInNonOptArg,
      xportXTimeout, velTraverser, velPrintTraverser, velS11nContext>();
}

/// An exception class that only the plugin knows.
class PluginException;

/// Catches as xobject* what the library throws, and names its type.
std::string PluginCatches(void (*thrower)());
/// Throws a PluginException.
[[noreturn]] void PluginThrows();
/// The descriptor as the plugin sees it.
xrttiobject* PluginIntSequenceRtti();
xrtti* PluginLooksUp(const char* name);
std::vector<std::string> PluginTypeInfos();

#endif  // VELSTD_TESTS_STARTUP_PLUGIN_H
