// velcrtti.cpp - types from C.
#include "velargument.h"
#include "velflatvalue.h"
#include "velguard.h"
#include "velobjectaccess.h"
#include "velrtti.h"
#include "velstd_c.h"
#include "xany.h"
#include "xrtti.h"

namespace {

/// Asks the descriptor at `address`, which must be a D.
template <class D, class R, class Ask>
R AskType(void* address, R onError, Ask ask) {
  return velGuard(onError, [&]() -> R { return ask(velArgument<D>(address)); });
}

/// The same for an answer in text.
template <class D, class Ask>
__xstring_c AskText(void* address, Ask ask) {
  xstring text;
  velGuard([&] {
    text = velFlatValue<xstring>::onError();
    text = ask(velArgument<D>(address));
  });
  return text.getxstring_c();
}

template <class D>
bool Is(xrtti* type) {
  return dynamic_cast<D*>(type) != nullptr;
}

}  // namespace

xrtti* xrttifind_c(const char* name) {
  return velGuard<xrtti*>(nullptr, [=] { return velRttiGetFromMap(name); });
}

void xrttiforeach_c(int (*visit)(xrtti*, void*), void* data) {
  struct Call {
    int (*visit)(xrtti*, void*);
    void* data;
  } call{visit, data};
  if (!visit) return;
  velGuard([&] {
    velRttiForEach(
        [](xrtti* type, void* given) {
          const auto* visitor = static_cast<Call*>(given);
          return visitor->visit(type, visitor->data) != 0;
        },
        &call);
  });
}

__xstring_c xrttigetname_c(xrtti* type) {
  return AskText<xrtti>(type, [](xrtti* t) { return t->getName(); });
}

int xrttigetkind_c(xrtti* type) {
  return AskType<xrtti>(type, VEL_ERROR_INT, [](xrtti* t) -> int {
    if (Is<xrttibasic>(t)) return xrttiKindBasic;
    if (Is<xrttienum>(t)) return xrttiKindEnum;
    if (Is<xrttistruct>(t)) return xrttiKindStruct;
    if (Is<xrttiunion>(t)) return xrttiKindUnion;
    if (Is<xrttiarray>(t)) return xrttiKindArray;
    if (Is<xrttisequence>(t)) return xrttiKindSequence;
    if (Is<xrttidictionary>(t)) return xrttiKindDictionary;
    return Is<xrttiobject>(t) ? xrttiKindObject : 0;
  });
}

unsigned char xrttiisrefcount_c(xrtti* type) {
  return AskType<xrttiobject>(type, VEL_ERROR_BOOL,
                              [](xrttiobject* t) { return t->getIsRefCount(); });
}
int xrttigetnparents_c(xrtti* type) {
  return AskType<xrttiobject>(type, VEL_ERROR_INT, [](xrttiobject* t) { return t->getNParents(); });
}
xrtti* xrttigetparent_c(xrtti* type, int index) {
  return AskType<xrttiobject, xrtti*>(type, nullptr,
                                      [=](xrttiobject* t) { return t->getParent(index); });
}

int xrttigetnattrs_c(xrtti* type) {
  return AskType<xrttistruct>(type, VEL_ERROR_INT, [](xrttistruct* t) { return t->getNAttrs(); });
}
xrttiattr* xrttigetattr_c(xrtti* type, int index) {
  return AskType<xrttistruct, xrttiattr*>(type, nullptr,
                                          [=](xrttistruct* t) { return t->getAttr(index); });
}
xrttiattr* xrttifindattr_c(xrtti* type, const char* name, unsigned char searchParents) {
  return AskType<xrttistruct, xrttiattr*>(
      type, nullptr, [=](xrttistruct* t) { return t->findAttr(name, searchParents); });
}

int xrttigetnvalues_c(xrtti* type) {
  return AskType<xrttienum>(type, VEL_ERROR_INT, [](xrttienum* t) { return t->getNValues(); });
}
__xstring_c xrttimapinttostr_c(xrtti* type, int value) {
  return AskText<xrttienum>(type, [=](xrttienum* t) { return t->mapIntToString(value); });
}
int xrttimapstrtoint_c(xrtti* type, const char* name) {
  return AskType<xrttienum>(type, VEL_ERROR_INT,
                            [=](xrttienum* t) { return t->mapStringToInt(name); });
}

xrtti* xrttigetelemtype_c(xrtti* type) {
  return AskType<xrtti, xrtti*>(type, nullptr, [](xrtti* t) -> xrtti* {
    if (auto* sequence = dynamic_cast<xrttisequence*>(t)) return sequence->getElemType();
    if (auto* dictionary = dynamic_cast<xrttidictionary*>(t)) return dictionary->getElemType();
    return velArgument<xrttiarray>(t)->getElemType();
  });
}
int xrttigetndimentions_c(xrtti* type) {
  return AskType<xrttiarray>(type, VEL_ERROR_INT,
                             [](xrttiarray* t) { return t->getNDimentions(); });
}
int xrttigetdimention_c(xrtti* type, int index) {
  return AskType<xrttiarray>(type, VEL_ERROR_INT,
                             [=](xrttiarray* t) { return t->getDimention(index); });
}

xrttiattr* xrttigetdiscr_c(xrtti* type) {
  return AskType<xrttiunion, xrttiattr*>(type, nullptr,
                                         [](xrttiunion* t) { return t->getDiscr(); });
}
int xrttigetnlabels_c(xrtti* type) {
  return AskType<xrttiunion>(type, VEL_ERROR_INT, [](xrttiunion* t) { return t->getNLabels(); });
}
int xrttigetlabel_c(xrtti* type, int index) {
  return AskType<xrttiunion>(type, VEL_ERROR_INT,
                             [=](xrttiunion* t) { return t->getLabel(index); });
}
xrttiattr* xrttigetbranch_c(xrtti* type, int index) {
  return AskType<xrttiunion, xrttiattr*>(type, nullptr,
                                         [=](xrttiunion* t) { return t->getAttr(index); });
}
xrttiattr* xrttigetdefaultbranch_c(xrtti* type) {
  return AskType<xrttiunion, xrttiattr*>(type, nullptr,
                                         [](xrttiunion* t) { return t->getDefaultAttr(); });
}

__xstring_c xrttiattrgetname_c(xrttiattr* attr) {
  return AskText<xrttiattr>(attr, [](xrttiattr* a) { return a->getName(); });
}
xrtti* xrttiattrgettype_c(xrttiattr* attr) {
  return AskType<xrttiattr, xrtti*>(attr, nullptr, [](xrttiattr* a) { return a->getType(); });
}
unsigned char xrttiattrisoptional_c(xrttiattr* attr) {
  return AskType<xrttiattr>(attr, VEL_ERROR_BOOL, [](xrttiattr* a) { return a->getIsOptional(); });
}
__xany_c xrttiattrgetvalue_c(xrttiattr* attr, xobject* owner) {
  return velGuardVariant([=] {
    auto* attribute = velArgument<xrttiattr>(attr);
    xobject* object = velArgument<xobject>(owner);
    const velBorrow borrow(object);
    return attribute->getValue(object);
  });
}
