// veltest.h - what the tests of the library share.
#ifndef VELSTD_TESTS_VELTEST_H
#define VELSTD_TESTS_VELTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "velstd.h"

/// Runs `statement` and takes what it throws: the exception with one reference
/// held by the handle, or a null handle.
template <class F>
xrchandle<xthrowable> velCaught(F&& statement) {
  try {
    statement();
  } catch (xthrowable* caught) {
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    return held;
  }
  return 0;
}

/// `statement` throws an exception of class Class.
#define EXPECT_VEL_THROW(statement, Class)                                           \
  do {                                                                               \
    const auto velCaughtHere = velCaught([&] { statement; });                        \
    ASSERT_FALSE(velCaughtHere.isnull()) << #statement " throws nothing";            \
    EXPECT_NE(dynamic_cast<Class*>(velCaughtHere.operator->()), nullptr)             \
        << #statement " throws a "                                                   \
        << velCaughtHere->getVelTypeName().CastToCString();                          \
  } while (0)

/// `statement` throws a velXNativeException with that StringRep.
#define EXPECT_VEL_NATIVE(statement, text)                                           \
  do {                                                                               \
    const auto velCaughtHere = velCaught([&] { statement; });                        \
    auto* velNative = dynamic_cast<velXNativeException*>(velCaughtHere.operator->()); \
    ASSERT_NE(velNative, nullptr) << #statement;                                     \
    EXPECT_STREQ(velNative->getStringRep().CastToCString(), text);                   \
  } while (0)

/// `statement` ends the process through _korAbort: SIGABRT, and on the standard
/// error stream this one line and nothing else.
#define EXPECT_VEL_ABORT(statement, message, source, line)                           \
  do {                                                                               \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                  \
    EXPECT_EXIT(statement, ::testing::KilledBySignal(SIGABRT),                       \
                ::testing::Eq(velAbortLine(message, source, line)));                 \
  } while (0)

inline std::string velAbortLine(const char* message, const char* source, int line) {
  return std::string(message) + " (" + source + ", line " + std::to_string(line) + ")\n";
}

/// The text that velPrint gives on a stream whose reals have a point.
inline std::string velPrinted(const xany& value, int step = 2) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  velPrint(value, out, step);
  return out.str();
}

/// A counted object that logs what happens to it into a text.
class VelLogObject : public virtual xobject {
  VEL_OBJECT(VelLogObject)
 public:
  explicit VelLogObject(std::string* log = nullptr, std::string name = "object",
                        bool deletable = true)
      : log_(log), name_(std::move(name)), deletable_(deletable) {
    ++alive();
  }
  ~VelLogObject() override {
    --alive();
    note("destroyed");
  }
  unsigned char isDeletable() override {
    note("asked");
    return deletable_;
  }
  void onDelete() override { note("onDelete"); }
  void setDeletable(bool deletable) { deletable_ = deletable; }

  /// Objects of this class that exist.
  static int& alive() {
    static int count = 0;
    return count;
  }

 private:
  void note(const char* what) {
    if (log_) *log_ += name_ + ' ' + what + '\n';
  }

  std::string* log_;
  std::string name_;
  bool deletable_;
};

/// The same of a class that is not counted.
class VelPlainObject : public virtual xobject {
  VEL_OBJECT(VelPlainObject)
 public:
  explicit VelPlainObject(std::string* log = nullptr, bool deletable = true)
      : log_(log), deletable_(deletable) {}
  ~VelPlainObject() override {
    if (log_) *log_ += "destroyed\n";
  }
  unsigned char isDeletable() override { return deletable_; }
  void onDelete() override {
    if (log_) *log_ += "onDelete\n";
  }
  void setDeletable(bool deletable) { deletable_ = deletable; }

 private:
  std::string* log_;
  bool deletable_;
};

// The tests are single programs, so their descriptors may be defined here.
#ifndef VELTEST_DECLARATIONS_ONLY
VEL_OBJECT_RTTI(VelLogObject, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::LogObject", 1, 0, nullptr);
})
VEL_OBJECT_RTTI(VelPlainObject, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("veltest::PlainObject", 0, 0, nullptr);
})
#endif

/// A visitor that writes each call down, "operation(arguments) ", and answers
/// velTrContinue or what it was told to.
class LogTraverser : public velTraverser {
 public:
  /// Answers `result` from now on to `operation`; with `nth` only to its nth
  /// call, from 1.
  void answer(const std::string& operation, velTraverseResult result, int nth = 0) {
    answers_[operation] = {result, nth};
  }
  /// What was called so far, without the last blank.
  std::string text() const { return text_.substr(0, text_.empty() ? 0 : text_.size() - 1); }

  velTraverseResult simpleValue(xany value) override {
    return note("simpleValue", velPrinted(value));
  }
  velTraverseResult enumValue(xrttienum* type, int value) override {
    return note("enumValue", name(type) + ' ' + std::to_string(value));
  }
  velTraverseResult beginObject(xrttiobject* t, xrcunihandle<xobject>) override {
    return note("beginObject", name(t));
  }
  velTraverseResult endObject(xrttiobject* t, xrcunihandle<xobject>) override {
    return note("endObject", name(t));
  }
  velTraverseResult beginStructure(xrttistruct* t, xrcunihandle<xobject>) override {
    return note("beginStructure", name(t));
  }
  velTraverseResult endStructure(xrttistruct* t, xrcunihandle<xobject>) override {
    return note("endStructure", name(t));
  }
  velTraverseResult beginStructAttribute(xrttistruct*, xrttiattr* a,
                                         xrcunihandle<xobject>) override {
    return note("beginStructAttribute", name(a));
  }
  velTraverseResult endStructAttribute(xrttistruct*, xrttiattr* a,
                                       xrcunihandle<xobject>) override {
    return note("endStructAttribute", name(a));
  }
  velTraverseResult beginSequence(xrttisequence* t, xrcunihandle<xobject>) override {
    return note("beginSequence", name(t));
  }
  velTraverseResult endSequence(xrttisequence* t, xrcunihandle<xobject>) override {
    return note("endSequence", name(t));
  }
  velTraverseResult beginSeqElement(xrttisequence*, int position, xrcunihandle<xobject>) override {
    return note("beginSeqElement", std::to_string(position));
  }
  velTraverseResult endSeqElement(xrttisequence*, int position, xrcunihandle<xobject>) override {
    return note("endSeqElement", std::to_string(position));
  }
  velTraverseResult beginDictionary(xrttidictionary* t, xrcunihandle<xobject>) override {
    return note("beginDictionary", name(t));
  }
  velTraverseResult endDictionary(xrttidictionary* t, xrcunihandle<xobject>) override {
    return note("endDictionary", name(t));
  }
  velTraverseResult beginDictElement(xrttidictionary*, xstring key,
                                     xrcunihandle<xobject>) override {
    return note("beginDictElement", text(key));
  }
  velTraverseResult endDictElement(xrttidictionary*, xstring key,
                                   xrcunihandle<xobject>) override {
    return note("endDictElement", text(key));
  }
  velTraverseResult beginArray(xrttiarray* t, xrcunihandle<xobject>) override {
    return note("beginArray", name(t));
  }
  velTraverseResult endArray(xrttiarray* t, xrcunihandle<xobject>) override {
    return note("endArray", name(t));
  }
  velTraverseResult beginArrayDimension(xrttiarray*, int d, xrchandle<xintsequence> index,
                                        xrcunihandle<xobject>) override {
    return note("beginArrayDimension", std::to_string(d) + ' ' + text(index));
  }
  velTraverseResult endArrayDimension(xrttiarray*, int d, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject>) override {
    return note("endArrayDimension", std::to_string(d) + ' ' + text(index));
  }
  velTraverseResult beginArrayElement(xrttiarray*, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject>) override {
    return note("beginArrayElement", text(index));
  }
  velTraverseResult endArrayElement(xrttiarray*, xrchandle<xintsequence> index,
                                    xrcunihandle<xobject>) override {
    return note("endArrayElement", text(index));
  }
  velTraverseResult beginUnion(xrttiunion* t, xrcunihandle<xobject>) override {
    return note("beginUnion", name(t));
  }
  velTraverseResult endUnion(xrttiunion* t, xrcunihandle<xobject>) override {
    return note("endUnion", name(t));
  }
  velTraverseResult beginUnionDicriminator(xrttiunion*, xrttiattr* a,
                                           xrcunihandle<xobject>) override {
    return note("beginUnionDicriminator", name(a));
  }
  velTraverseResult endUnionDicriminator(xrttiunion*, xrttiattr* a,
                                         xrcunihandle<xobject>) override {
    return note("endUnionDicriminator", name(a));
  }
  velTraverseResult beginUnionValue(xrttiunion*, xrttiattr* a, xrcunihandle<xobject>) override {
    return note("beginUnionValue", name(a));
  }
  velTraverseResult endUnionValue(xrttiunion*, xrttiattr* a, xrcunihandle<xobject>) override {
    return note("endUnionValue", name(a));
  }
  velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> e) override {
    return note("errorOccured",
                std::string(text) + ", " + (e.isnull() ? "null" : LogTraverser::text(e->getVelTypeName())));
  }
  velTraverseResult alreadyVisited(xrcunihandle<xobject> object) override {
    return note("alreadyVisited", text(object->getVelTypeName()));
  }

 private:
  struct Answer {
    velTraverseResult result;
    int nth;
  };

  static std::string text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }
  static std::string text(const xrchandle<xintsequence>& index) {
    std::string out = "[";
    for (int i = 0; i < index->getarraysize(); ++i) {
      out += (i ? "," : "") + std::to_string(index->get(i));
    }
    return out + ']';
  }
  template <class Descriptor>
  static std::string name(Descriptor* d) {
    return d ? text(d->getName()) : "null";
  }

  velTraverseResult note(const std::string& operation, const std::string& arguments) {
    text_ += operation + '(' + arguments + ") ";
    const int call = ++calls_[operation];
    const auto found = answers_.find(operation);
    if (found == answers_.end()) return velTrContinue;
    return found->second.nth == 0 || found->second.nth == call ? found->second.result
                                                               : velTrContinue;
  }

  std::string text_;
  std::map<std::string, Answer> answers_;
  std::map<std::string, int> calls_;
};

#endif  // VELSTD_TESTS_VELTEST_H
