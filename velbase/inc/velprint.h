// velprint.h - values as readable text.
//
// velPrintTraverser is the visitor that writes any value to a stream; the
// functions below drive it. None of them writes a final end of line. Text is
// written as it is, without escapes, in the narrow form. Integers are written
// without digit grouping, reals as the stream is set.
#ifndef VELSTD_VELBASE_VELPRINT_H
#define VELSTD_VELBASE_VELPRINT_H

#include <iosfwd>
#include <type_traits>

#include "veltraverser.h"

// As velTraverser: destroyed through its own type.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The visitor that writes what it visits to a stream.
/// Threads: as the stream. Throws what the stream throws.
class VELSTD_API velPrintTraverser : public velTraverser {
 public:
  /// @param out   borrowed
  /// @param step  blanks by which each level is indented; -1 writes everything
  ///              on one line; 0 breaks lines without indentation
  velPrintTraverser(std::ostream& out, int step);

  velTraverseResult simpleValue(xany value) override;
  velTraverseResult enumValue(xrttienum* type, int value) override;
  velTraverseResult beginObject(xrttiobject* type, xrcunihandle<xobject> object) override;
  velTraverseResult endObject(xrttiobject* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginStructure(xrttistruct* type, xrcunihandle<xobject> object) override;
  velTraverseResult endStructure(xrttistruct* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginStructAttribute(xrttistruct* type, xrttiattr* attr,
                                         xrcunihandle<xobject> object) override;
  velTraverseResult beginSequence(xrttisequence* type, xrcunihandle<xobject> object) override;
  velTraverseResult endSequence(xrttisequence* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginSeqElement(xrttisequence* type, int position,
                                    xrcunihandle<xobject> object) override;
  velTraverseResult beginDictionary(xrttidictionary* type, xrcunihandle<xobject> object) override;
  velTraverseResult endDictionary(xrttidictionary* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginDictElement(xrttidictionary* type, xstring key,
                                     xrcunihandle<xobject> object) override;
  velTraverseResult beginArray(xrttiarray* type, xrcunihandle<xobject> object) override;
  velTraverseResult endArray(xrttiarray* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginArrayDimension(xrttiarray* type, int dimension,
                                        xrchandle<xintsequence> index,
                                        xrcunihandle<xobject> object) override;
  velTraverseResult endArrayDimension(xrttiarray* type, int dimension,
                                      xrchandle<xintsequence> index,
                                      xrcunihandle<xobject> object) override;
  velTraverseResult beginArrayElement(xrttiarray* type, xrchandle<xintsequence> index,
                                      xrcunihandle<xobject> object) override;
  velTraverseResult beginUnion(xrttiunion* type, xrcunihandle<xobject> object) override;
  velTraverseResult endUnion(xrttiunion* type, xrcunihandle<xobject> object) override;
  velTraverseResult beginUnionDicriminator(xrttiunion* type, xrttiattr* discriminator,
                                           xrcunihandle<xobject> object) override;
  velTraverseResult beginUnionValue(xrttiunion* type, xrttiattr* member,
                                    xrcunihandle<xobject> object) override;
  velTraverseResult errorOccured(const char* text, xrcunihandle<xthrowable> exception) override;
  velTraverseResult alreadyVisited(xrcunihandle<xobject> object) override;

 private:
  void shiftRight();
  void shiftLeft();
  void printBeginObject(xrttiobject* type, xrcunihandle<xobject> object, char open);
  void printEndObject(xrttiobject* type, xrcunihandle<xobject> object, char close);
  void printObjectAttribute(xrttiattr* attr);

  std::ostream& out;
  unsigned int step;
  int indent;
};

#pragma GCC diagnostic pop

/// Writes `value` with a velPrintTraverser of that step.
VELSTD_API void velPrint(xany value, std::ostream& out, int step);

/// Writes the object (borrowed) with step 2: null as "nil", xuninitobject as
/// nothing. An object that nobody holds keeps its count of 0.
VELSTD_API std::ostream& operator<<(std::ostream& out, xobject* object);

/// For templates: there is such a type if T is a framework class other than xobject.
template <class T>
using velIfFrameworkClass = std::enable_if_t<std::is_convertible<T*, xobject*>::value &&
                                             !std::is_same<T, xobject>::value>;
/// These write pointers and handles of any framework class (borrowed, nullable) as the
/// operator above does. They would convert by themselves, but not safely: a conversion
/// to the virtual base reads memory at the uninitialised address.
template <class T, class = velIfFrameworkClass<T>>
std::ostream& operator<<(std::ostream& out, T* object) {
  return out << velAsObject(object);
}
template <class T>
std::ostream& operator<<(std::ostream& out, const xrchandle<T>& object) {
  return out << velAsObject(object.operator->());
}
template <class T>
std::ostream& operator<<(std::ostream& out, const xrcunihandle<T>& object) {
  return out << velAsObject(object.operator->());
}

/// The same to the standard error stream.
VELSTD_API void velDebugPrint(xobject* object);

/// Writes the keys of a dictionary (borrowed), a line each, to the standard
/// output or, if `fileName` is given, to that file, which is made anew. A file
/// that does not open is left alone, without an error. Anything but a
/// dictionary is named and said not to be one.
VELSTD_API void velDbgPrintDictKeys(xobject* dictionary, const char* fileName);

#endif  // VELSTD_VELBASE_VELPRINT_H
