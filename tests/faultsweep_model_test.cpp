// Descriptors, the registry, exceptions, walking, printing, comparing, listeners
// and objects by name, with memory that runs out.
#define VELSWEEP_FAMILY "object model"
#include "faultsweep.h"

#include <memory>

#include "veltest_types.h"

namespace {

using velsweep::NeverFail;
using velsweep::Show;
using velsweep::ShowDictionary;
using velsweep::ShowSequence;
using velsweep::Table;
using velsweep::Trial;

/// `object` as one whose class the compiler cannot see: a call that it makes
/// direct goes to a part of the library that is not exported.
xobject* Unknown(xobject* object) {
  __asm__("" : "+r"(object));
  return object;
}

/// A step that changes nothing and may throw.
template <class Step>
void Step0(Table& table, const std::string& name, Step step, bool cold = false) {
  table.push_back({name, [=](Trial& t) { t.run(step); }, cold});
}

// ---- descriptors of the tests ----

class SweepThing : public virtual xobject {
  VEL_ATTRIBUTED(SweepThing, xobject())
  VEL_ATTRIBUTE(int, Number)
  VEL_ATTRIBUTE(xstring, Text)
  VEL_ATTRIBUTE(xany, Value)
};
VEL_ATTRIBUTED_RTTI(SweepThing, "faultsweep::Thing", nullptr, VEL_ATTRIBUTE_INFO(Number),
                    VEL_ATTRIBUTE_INFO(Text), VEL_ATTRIBUTE_INFO(Value))

class SweepColdParent : public virtual xobject {
  VEL_ATTRIBUTED(SweepColdParent, xobject())
  VEL_ATTRIBUTE(xstring, Text)
};
VEL_ATTRIBUTED_RTTI(SweepColdParent, "faultsweep::ColdParent", nullptr, VEL_ATTRIBUTE_INFO(Text))

class SweepColdChild : public SweepColdParent {
  VEL_ATTRIBUTED(SweepColdChild, SweepColdParent(context))
  VEL_ATTRIBUTE(int, Number)
};
VEL_ATTRIBUTED_RTTI(SweepColdChild, "faultsweep::ColdChild", SweepColdParent::getClassRtti(),
                    VEL_ATTRIBUTE_INFO(Number))

class SweepDeprecated : public virtual xobject, public velDeprecationSupport {
  VEL_ATTRIBUTED(SweepDeprecated, xobject())
  VEL_ATTRIBUTE(int, Number)
};
VEL_ATTRIBUTED_RTTI(SweepDeprecated, "faultsweep::Deprecated", nullptr, VEL_ATTRIBUTE_INFO(Number))

class NamedType : public xrttiobject {
 public:
  void rename(const char* text) { initializeRtti(text); }
};

template <class C>
xrchandle<C> New() {
  C* made = velS11nAccess::create<C>(nullptr);
  const xrchandle<C> held(made);
  xrcrelease(made);
  return held;
}

template <class C, class Use>
void OnObject(Table& table, const std::string& name, Use use) {
  table.push_back({name, [use](Trial& t) {
                     const xrchandle<C> object = New<C>();
                     t.state([&] { return Show(object) + xany(object).toString().CastToCString(); });
                     t.run([&] { use(object.operator->()); });
                   }});
}

constexpr int kFew = 20;

void FillDescriptors(Table& table) {
  Step0(table, "velClassRtti::Make|velClassRtti::get|velInitializeStruct|velRttiAddToMap (first use)",
        [] {
          xrttiobject* type = SweepColdChild::getClassRtti();
          auto* whole = dynamic_cast<xrttistruct*>(type);
          if (whole->getNAttrs() != 1 || whole->getNParents() != 1 || !whole->getAttr(0)) std::abort();
          if (velRttiGetFromMap("faultsweep::ColdChild") != type) std::abort();
          if (velRttiGetFromMap("faultsweep::ColdParent") != type->getParent(0)) std::abort();
          if (!type->getUserData("_s11n_create")) std::abort();
        },
        true);
  Step0(table, "velClassRtti::Make (through an object)",
        [] {
          const xrchandle<SweepColdChild> made = New<SweepColdChild>();
          if (!made->isKindOf(SweepColdParent::getClassRtti())) std::abort();
        },
        true);
  Step0(table, "xrtti::addUserData|xrtti::getUserDataMap (first)",
        [] {
          static auto* type = new NamedType;
          type->addUserData("key", type);
          if (type->getUserData("key") != type) std::abort();
        },
        true);
  Step0(table, "xrtti::getUserData (first)",
        [] {
          static auto* type = new NamedType;
          if (type->getUserData("key")) std::abort();
        },
        true);
  Step0(table, "velRttiAddToMap (new names)",
        [] {
          // Enough for the registry to grow.
          for (int i = 0; i < kFew; ++i) {
            char name[] = "faultsweep::new_A";
            name[16] = static_cast<char>('A' + i);
            static xrttiobject* types[kFew];
            if (!types[i]) types[i] = new xrttiobject;
            // Once: the registry's key is the name that the descriptor holds.
            if (types[i]->getName().IsNull()) {
              types[i]->initializeRttiObject(name, 1, 0, nullptr);
            }
            xrtti* known = velRttiGetFromMap(name);
            if (known && known != types[i]) std::abort();
            velRttiAddToMap(types[i]);
            if (velRttiGetFromMap(name) != types[i]) std::abort();
          }
        },
        true);
  // Replacing at every number of entries that the registry may have.
  for (int i = 0; i < kFew; ++i) {
    table.push_back({"velRttiAddToMap - replace " + std::to_string(i), [i](Trial& t) {
                       static NamedType* types[kFew][2];
                       const std::string name = "faultsweep::replaced_" + std::to_string(i);
                       for (NamedType*& type : types[i]) {
                         if (!type) type = new NamedType;
                         if (type->getName().IsNull()) type->rename(name.c_str());
                       }
                       velRttiAddToMap(types[i][0]);
                       t.state([&] {
                         xrtti* known = velRttiGetFromMap(name.c_str());
                         return std::string(known == types[i][0]   ? "first"
                                            : known == types[i][1] ? "second"
                                                                   : "lost");
                       });
                       t.run([&] { velRttiAddToMap(types[i][1]); });
                     }});
  }
  Step0(table, "velRttiGetFromMap", [] { velRttiGetFromMap("intseq"); });
  Step0(table, "velRttiForEach",
        [] { velRttiForEach([](xrtti*, void*) { return true; }, nullptr); });
  Step0(table, "velGetRtti_bool|velGetRtti_int|velGetRtti_real|velGetRtti_string|velGetRtti_any|"
        "velGetRtti_object|xobject::getClassRtti",
        [] {
          velGetRtti_bool();
          velGetRtti_int();
          velGetRtti_real();
          velGetRtti_string();
          velGetRtti_any();
          xobject::getClassRtti();
        });
  Step0(table, "xobject::operator new|xobject::operator delete", [] {
    xobject::operator delete(xobject::operator new(40), 40);
    xobject::operator delete(xobject::operator new(1000), 1000);
  });
  Step0(table, "velRttiRegister_buildintypes::velRttiRegister_buildintypes|"
        "velRttiRegister_vellib::velRttiRegister_vellib|"
        "velRttiRegister_stdcols::velRttiRegister_stdcols|"
        "velRttiRegister_xrtti::velRttiRegister_xrtti|"
        "velRttiRegister_veljava::velRttiRegister_veljava",
        [] {
          velRttiRegister_buildintypes();
          velRttiRegister_vellib();
          velRttiRegister_stdcols();
          velRttiRegister_xrtti();
          velRttiRegister_veljava();
        });
  Step0(table, "velRttiAddUserData|velRttiGetUserData|xrtti::addUserData|xrtti::getUserData", [] {
    static int data;
    velRttiAddUserData(velGetRtti_int(), "faultsweep", &data);
    if (velRttiGetUserData(velGetRtti_int(), "faultsweep") != &data) std::abort();
    if (velRttiGetUserData("int", "faultsweep") != &data) std::abort();
  });
  // A map that grows.
  table.push_back({"xrtti::addUserData - growing|xrtti::getUserDataMap", [](Trial& t) {
                     static auto* type = new NamedType;
                     static const char* const keys[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i",
                                                        "j", "k", "l", "m", "n", "o", "p", "q"};
                     type->getUserDataMap()->RemoveAll();
                     for (int i = 0; i < 16; ++i) type->addUserData(keys[i], type);
                     t.state([&] { return Show(type->getUserDataMap()->GetCount()); });
                     t.run([&] { type->addUserData(keys[16], type); });
                   }});
  for (const bool parents : {false, true}) {
    table.push_back({parents ? "velRttiCollectAttrs (parents)" : "velRttiCollectAttrs",
                     [parents](Trial& t) {
                       auto* type = dynamic_cast<xrttistruct*>(velXSoapFault::getClassRtti());
                       xrttiattrseq* made = nullptr;
                       int count = 0;
                       t.result([&] { return Show(count); });
                       t.run([&] {
                         made = velRttiCollectAttrs(type, parents);
                         count = made->getarraysize();
                         xdelete(made);
                       });
                     }});
  }
  table.push_back({"xrttiattrseq::xrttiattrseq|xrttiattrseq::create|xrttiattrseq::getClassRtti|"
                   "xrttiattrseq::dyndowncast|xtbsequence<xrttiattr*>::append|"
                   "xtbsequence<xrttiattr*>::insert|xtbsequence<xrttiattr*>::set|"
                   "xtbsequence<xrttiattr*>::xtbsequence|xtssequence<xrttiattr*>::xtssequence",
                   [](Trial& t) {
                     xrttiattrseq list;
                     t.state([&] { return Show(list.getarraysize()); });
                     t.run([&] {
                       const std::unique_ptr<xobject> other(xrttiattrseq::create());
                       list.append(nullptr);
                     });
                   }});
  Step0(table, "xtbsequence<xrttiattr*>::get|xtbsequence<xrttiattr*>::operator[]|"
        "xtbsequence<xrttiattr*>::getarraysize|xtbsequence<xrttiattr*>::removerange|"
        "xtbsequence<xrttiattr*>::clear|xtbsequence<xrttiattr*>::insertseq",
        [] {
          xrttiattrseq list(3);
          xobject* const object = Unknown(&list);
          list.set(4, nullptr);
          list.insert(0, list.get(0));
          list.insertseq(1, list);
          list[1] = nullptr;
          list.removerange(1, 2);
          object->dyndowncast(xrttiattrseq::getClassRtti());
          list.clear();
        });
  Step0(table, "xrttibasic::xrttibasic|xrttienum::xrttienum|xrttiattr::xrttiattr|xrtti::xrtti", [] {
    static const char* const names[] = {"red", "green and a name that needs a block of its own"};
    xrttibasic basic("faultsweep::basic");
    xrttienum colours("faultsweep::colours", 2, names);
    xrttiattr attr("faultsweep attribute", &basic, 1, nullptr);
    colours.mapIntToString(1);
    if (colours.mapStringToInt("red") != 0 || colours.getNValues() != 2) std::abort();
    attr.getValue(nullptr);
    if (attr.getType() != &basic || !attr.getIsOptional() || attr.isDeletable()) std::abort();
    if (basic.isDeletable()) std::abort();
  });
  Step0(table, "xrttienum::mapIntToString|xrttienum::mapStringToInt|xrttienum::getNValues|"
        "xrttiattr::getName|xrttiattr::getType|xrttiattr::getIsOptional|xrttiattr::isDeletable|"
        "xrttiattr::getValue|xrtti::isDeletable",
        [] {
          auto* type = dynamic_cast<xrttistruct*>(SweepThing::getClassRtti());
          type->getAttr(0)->getName();
          type->getAttr(0)->getValue(New<SweepThing>());
        });
  Step0(table, "xrttiobject::xrttiobject|xrttiobject::initializeRttiObject|xrttistruct::xrttistruct|"
        "xrttistruct::initializeRttiStruct|xrttiunion::xrttiunion|xrttiunion::initializeRttiUnion|"
        "xrttiarray::xrttiarray|xrttiarray::initializeRttiArray|xrttisequence::xrttisequence|"
        "xrttisequence::initializeRttiSeq|xrttidictionary::xrttidictionary|"
        "xrttidictionary::initializeRttiDict|xrtti::initializeRtti",
        [] {
          static const int sizes[] = {2};
          xrttiobject object;
          object.initializeRttiObject("a", 1, 0, nullptr);
          xrttistruct structure;
          structure.initializeRttiStruct("b", 1, 0, nullptr, 0, nullptr);
          xrttiunion choice;
          choice.initializeRttiUnion("c", 1, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr);
          choice.mapLabelToAttr(3, 1);
          choice.mapLabelToAttr(xany(3), 0);
          xrttiarray array;
          array.initializeRttiArray("d", 1, 1, sizes, velGetRtti_int(), 0, nullptr);
          array.getElemValue(nullptr, xintsequence::create());
          xrttisequence sequence;
          sequence.initializeRttiSeq("e", 1, velGetRtti_int(), 0, nullptr, nullptr);
          xrttidictionary dictionary;
          dictionary.initializeRttiDict("f", 1, velGetRtti_int(), 0, nullptr, nullptr, nullptr,
                                        nullptr);
        });
  Step0(table, "xrttiunion::mapLabelToAttr|xrttiunion::getDiscr|xrttiunion::getNLabels|"
        "xrttiunion::getLabel|xrttiunion::getAttr|xrttiunion::getDefaultAttr|"
        "xrttiarray::getElemValue|xrttiarray::getNDimentions|xrttiarray::getDimention|"
        "xrttiarray::getElemType|xrttiarray::getIsElemOptional|xrttisequence::getElemType|"
        "xrttisequence::getIsElemOptional|xrttidictionary::getElemType|"
        "xrttidictionary::getIsElemOptional",
        [] {
          xrttiunion below;
          static xrttiobject* parents[] = {new xrttiunion};
          below.initializeRttiUnion("c", 1, 1, parents, nullptr, 0, nullptr, nullptr, nullptr);
          below.mapLabelToAttr(3, 1);
          if (below.getDiscr() || below.getNLabels() || below.getAttr(0)) std::abort();
          if (below.getLabel(0) == 0 || below.getDefaultAttr()) std::abort();
          xrttiarray array;
          auto index = xintsequence::create();
          index->set(20, 1);
          array.getElemValue(nullptr, index);
          if (array.getNDimentions() || array.getDimention(0) == 0) std::abort();
          dynamic_cast<xrttisequence*>(xintsequence::getClassRtti())->getElemType();
        });
  Step0(table, "xrttistruct::findAttr|xrttistruct::getNAttrs|xrttistruct::getAttr|"
        "xrttiobject::getParent|xrttiobject::getNParents|xrttiobject::getIsRefCount",
        [] {
          auto* type = dynamic_cast<xrttistruct*>(velXSoapFault::getClassRtti());
          if (!type->findAttr("Description", 1) || type->findAttr("none", 1)) std::abort();
        });
  Step0(table, "velAttributeType<int>::type|velAttributeType<int>::read|"
               "velAttributeType<xany>::type|velAttributeType<xany>::read|"
               "velAttributeType<xany>::write|velAttributeType<xstring>::type",
        [] {
          if (velAttributeType<int>::type() != velGetRtti_int()) std::abort();
          if (velAttributeType<xstring>::type() != velGetRtti_string()) std::abort();
          if (velAttributeType<xany>::type() != velGetRtti_any()) std::abort();
          const xany five = velAttributeType<int>::read(5);
          if (velAttributeType<xany>::read(five) != velAttributeType<xany>::write(five)) std::abort();
        },
        true);
  Step0(table, "velAttributeType<xstring>::read", [] {
    const xstring text = velAttributeType<xstring>::read("text").operator xstring();
    if (text != "text") std::abort();
  });
  Step0(table, "xrtti::getName", [] { velGetRtti_int()->getName(); });
  NeverFail(table, [&] {
    Step0(table, "xrttiobject::isTypeKindOf|xrtti::isTypeSameAs|xrtti::isTypeKindOf", [] {
      if (!velXSoapFault::getClassRtti()->isTypeKindOf(xthrowable::getClassRtti())) std::abort();
      velXSoapFault::getClassRtti()->isTypeSameAs(velGetRtti_int());
      velGetRtti_int()->isTypeKindOf(velGetRtti_any());
    });
    OnObject<velXSoapFault>(table, "xobject::isKindOf|xobject::isSameAs - parents", [](xobject* o) {
      if (!o->isKindOf(xthrowable::getClassRtti()) ||
          o->isSameAs(xthrowable::getClassRtti())) {
        std::abort();
      }
      if (o->isKindOf(xintsequence::getClassRtti())) std::abort();
    });
  });
  const auto kinds = [&](const char* name, auto type) {
    using C = std::remove_pointer_t<decltype(type)>;
    const std::string c = std::string(name) + "::";
    Step0(table, c + "getClassRtti|" + c + "dyndowncast|" + c + "cast|" + c + "softcast", [] {
      C::cast(nullptr);
      xrttiobject* own = C::getClassRtti();
      const std::unique_ptr<xobject> made(Unknown(new C));
      if (!C::softcast(made.get()) || !made->dyndowncast(own)) std::abort();
    });
  };
#define VELSWEEP_KIND(C) kinds(#C, static_cast<C*>(nullptr));
  VELSWEEP_KIND(xrtti)
  VELSWEEP_KIND(xrttibasic)
  VELSWEEP_KIND(xrttienum)
  VELSWEEP_KIND(xrttiobject)
  VELSWEEP_KIND(xrttistruct)
  VELSWEEP_KIND(xrttiunion)
  VELSWEEP_KIND(xrttiarray)
  VELSWEEP_KIND(xrttisequence)
  VELSWEEP_KIND(xrttidictionary)
  VELSWEEP_KIND(xrttiattr)
  VELSWEEP_KIND(xthrowable)
  VELSWEEP_KIND(velExecutable)
  VELSWEEP_KIND(velS11nContextSensitive)
#undef VELSWEEP_KIND
}

// ---- exceptions ----

template <class C>
void FillException(Table& table, const char* name) {
  const std::string c = std::string(name) + "::";
  table.push_back({c + "_s11n_create|" + c + name + '|' + c + "getClassRtti|" + c + "dyndowncast|" +
                       c + "cast|" + c + "softcast|velS11nCreate|velS11nAccess::create",
                   [](Trial& t) {
                     xrchandle<xobject> made;
                     t.state([&] { return Show(made); });
                     const xstring type = C::getClassRtti()->getName();
                     t.run([&] {
                       xobject* object = velS11nCreate(type, nullptr);
                       xrchandle<xobject> held(object);
                       xrcrelease(object);
                       if (!C::cast(object) || !C::softcast(object)) std::abort();
                       if (!object->dyndowncast(C::getClassRtti())) std::abort();
                       made = held;
                     });
                   }});
  // Each attribute, read and set by name.
  auto* type = dynamic_cast<xrttistruct*>(C::getClassRtti());
  const std::unique_ptr<xrttiattrseq> attributes(velRttiCollectAttrs(type, 1));
  for (int i = 0; i < attributes->getarraysize(); ++i) {
    xrttiattr* attr = attributes->get(i);
    const std::string member = attr->getName().CastToCString();
    table.push_back({c + "_s11n_set" + member + '|' + c + "get" + member +
                         "|velS11nSet|xrttiattr::getValue|velS11nAccess::set",
                     [=](Trial& t) {
                       const xrchandle<xobject> object(velAsObject(New<C>().operator->()));
                       t.state([&] { return Show(object) + Show(attr->getValue(object)); });
                       const xany value = attr->getType() == velGetRtti_int()      ? xany(3)
                                          : attr->getType() == velGetRtti_string() ? xany("text")
                                                                                   : xany(xanyNil);
                       t.run([&] { velS11nSet(object, member.c_str(), value); });
                     }});
  }
}

template <class Raise>
void Throws(Table& table, const std::string& name, Raise raise) {
  table.push_back({name, [raise](Trial& t) {
                     const auto sequence = xintsequence::create();
                     const xrchandle<velXException> source(new velXException("source"));
                     t.state([&] { return Show(sequence) + Show(source); });
                     t.run([&] { raise(sequence, source); });
                   }});
}

void FillExceptions(Table& table) {
#define VELSWEEP_EXCEPTION(C) FillException<C>(table, #C);
  VELSWEEP_EXCEPTION(velXException)
  VELSWEEP_EXCEPTION(velXNull)
  VELSWEEP_EXCEPTION(velXTypeMismatch)
  VELSWEEP_EXCEPTION(velXInvalidArrayIndex)
  VELSWEEP_EXCEPTION(velXInvalidSeqIndex)
  VELSWEEP_EXCEPTION(velXInvalidDictIndex)
  VELSWEEP_EXCEPTION(velXInvalidDictKey)
  VELSWEEP_EXCEPTION(velXNegativeIndex)
  VELSWEEP_EXCEPTION(velXNotInitialized)
  VELSWEEP_EXCEPTION(velXRefCountable)
  VELSWEEP_EXCEPTION(velXNativeException)
  VELSWEEP_EXCEPTION(velXConnectionClosed)
  VELSWEEP_EXCEPTION(velXArgs)
  VELSWEEP_EXCEPTION(velXFunc)
  VELSWEEP_EXCEPTION(velXExternFunc)
  VELSWEEP_EXCEPTION(velXSerialization)
  VELSWEEP_EXCEPTION(velXSoapFault)
  VELSWEEP_EXCEPTION(velXSoapTransport)
  VELSWEEP_EXCEPTION(velXSoapHttpTransport)
  VELSWEEP_EXCEPTION(xportXCannotConnect)
  VELSWEEP_EXCEPTION(xportXMsgStringTooLong)
  VELSWEEP_EXCEPTION(xportXFlushFailed)
  VELSWEEP_EXCEPTION(xportXNullInNonOptArg)
  VELSWEEP_EXCEPTION(xportXTimeout)
#undef VELSWEEP_EXCEPTION
  using Seq = const xrchandle<xintsequence>&;
  using Exc = const xrchandle<velXException>&;
  Throws(table, "velXNull::Throw", [](Seq, Exc) { velXNull::Throw(); });
  Throws(table, "velXNotInitialized::Throw", [](Seq, Exc) { velXNotInitialized::Throw(); });
  Throws(table, "velXConnectionClosed::Throw", [](Seq, Exc) { velXConnectionClosed::Throw(); });
  Throws(table, "velXNegativeIndex::Throw", [](Seq, Exc) { velXNegativeIndex::Throw(-1); });
  Throws(table, "velXRefCountable::Throw", [](Seq s, Exc) { velXRefCountable::Throw(s); });
  Throws(table, "velXTypeMismatch::Throw", [](Seq s, Exc) { velXTypeMismatch::Throw("type", s); });
  Throws(table, "velXInvalidArrayIndex::Throw",
         [](Seq s, Exc) { velXInvalidArrayIndex::Throw(s, 1, 2); });
  Throws(table, "velXInvalidSeqIndex::Throw", [](Seq s, Exc) { velXInvalidSeqIndex::Throw(s, 1); });
  Throws(table, "velXInvalidDictIndex::Throw", [](Seq s, Exc) { velXInvalidDictIndex::Throw(s, 1); });
  Throws(table, "velXInvalidDictKey::Throw", [](Seq s, Exc) { velXInvalidDictKey::Throw(s, "key"); });
  Throws(table, "velXNativeException::Throw", [](Seq, Exc) { velXNativeException::Throw("text"); });
  Throws(table, "velXSerialization::Throw",
         [](Seq, Exc e) { velXSerialization::Throw("text", e); });
  Throws(table, "velXSerialization::Create", [](Seq, Exc e) { velXSerialization::Create("text", e); });
  Throws(table, "velXSoapFault::Throw", [](Seq s, Exc) { velXSoapFault::Throw("a", "b", s); });
  Throws(table, "velXSoapTransport::Throw", [](Seq, Exc) { velXSoapTransport::Throw("text"); });
  Throws(table, "velXSoapHttpTransport::Throw",
         [](Seq, Exc) { velXSoapHttpTransport::Throw("text", 3, "reason"); });
  Throws(table, "xportXCannotConnect::Throw", [](Seq, Exc) { xportXCannotConnect::Throw("host", 1); });
  Throws(table, "xportXMsgStringTooLong::Throw",
         [](Seq, Exc) { xportXMsgStringTooLong::Throw("text"); });
  Throws(table, "xportXFlushFailed::Throw", [](Seq, Exc) { xportXFlushFailed::Throw(); });
  Throws(table, "xportXNullInNonOptArg::Throw",
         [](Seq, Exc) { xportXNullInNonOptArg::Throw("text"); });
  Throws(table, "xportXNullInNonOptArg::Create", [](Seq, Exc) {
    const xrchandle<xportXNullInNonOptArg> made(xportXNullInNonOptArg::Create("text"));
  });
  Throws(table, "xportXTimeout::Throw", [](Seq, Exc) { xportXTimeout::Throw("text"); });
  Throws(table, "velComplaint::null", [](Seq, Exc) { xrcrelease(velComplaint::null()); });
  Throws(table, "velComplaint::sequenceIndex",
         [](Seq s, Exc) { xrcrelease(velComplaint::sequenceIndex(s, 5)); });
  Throws(table, "velComplaint::sequenceIndex (below 0)",
         [](Seq s, Exc) { xrcrelease(velComplaint::sequenceIndex(s, -5)); });
  Throws(table, "velCreateNativeException", [](Seq, Exc) { velCreateNativeException("text"); });
  Throws(table, "velXException::velXException",
         [](Seq, Exc) { xthrow(xrcunihandle<xthrowable>(new velXException("text"))); });
  Throws(table, "velXExternFunc::velXExternFunc|velXFunc::velXFunc|velXArgs::velXArgs", [](Seq, Exc) {
    const xrchandle<velXArgs> args(new velXArgs);
    const xrchandle<velXFunc> func(new velXFunc("name", args));
    xthrow(xrcunihandle<xthrowable>(new velXExternFunc("text", func)));
  });
  Throws(table, "xthrow|xthrowable::xthrowable", [](Seq, Exc e) { xthrow(e); });
  Throws(table, "xthrow (nothing)", [](Seq, Exc) { xthrow(xrcunihandle<xthrowable>()); });
  Throws(table, "velhThrowNull", [](Seq, Exc) { velhThrowNull(); });
  Throws(table, "velhThrowNotInitialized", [](Seq, Exc) { velhThrowNotInitialized(); });
  Throws(table, "velhThrowNegativeIndex", [](Seq, Exc) { velhThrowNegativeIndex(-1); });
  Throws(table, "velhThrowRefCountable", [](Seq s, Exc) { velhThrowRefCountable(s); });
  Throws(table, "velhThrowInvalidArrayIndex",
         [](Seq s, Exc) { velhThrowInvalidArrayIndex(s, 1, 1); });
  Throws(table, "velhThrowInvalidSeqIndex", [](Seq s, Exc) { velhThrowInvalidSeqIndex(s, 1); });
  Throws(table, "velhThrowInvalidDictIndex", [](Seq s, Exc) { velhThrowInvalidDictIndex(s, 1); });
  Throws(table, "velhThrowInvalidDictKey", [](Seq s, Exc) { velhThrowInvalidDictKey(s, "key"); });
  Throws(table, "velhAssertNonNegativeIndex", [](Seq, Exc) { velhAssertNonNegativeIndex(-1); });
  Throws(table, "velhAssertNotNullKey", [](Seq, Exc) { velhAssertNotNullKey(nullptr); });
  Throws(table, "velThrowSizeLimit", [](Seq, Exc) { velThrowSizeLimit(); });
  Throws(table, "velThrowValueMismatch",
         [](Seq s, Exc) { velThrowValueMismatch(velGetRtti_int(), s); });
  Throws(table, "velAttributeType<int>::write",
         [](Seq s, Exc) { velAttributeType<int>::write(s); });
  Throws(table, "velAttributeType<xstring>::write",
         [](Seq s, Exc) { velAttributeType<xstring>::write(s); });
  Throws(table, "velThrowTypeMismatch", [](Seq s, Exc) { velView<xintdictionary>(s.operator->()); });
  // Re-targeting what was caught.
  table.push_back({"velhRethrowSeqException", [](Trial& t) {
                     const auto sequence = xintsequence::create();
                     const auto caught = velCaught([&] { sequence->get(5); });
                     t.state([&] { return Show(sequence) + Show(caught); });
                     t.run([&] { velhRethrowSeqException(caught, sequence); });
                   }});
  table.push_back({"velhRethrowDictException", [](Trial& t) {
                     const auto dictionary = xintdictionary::create();
                     const auto caught = velCaught([&] { dictionary->setbyindex(5, 1); });
                     t.state([&] { return Show(dictionary) + Show(caught); });
                     t.run([&] { velhRethrowDictException(caught, dictionary); });
                   }});
}

// ---- walking ----

xany Value() {
  const auto inner = xintdictionary::create();
  inner->set("one", 1);
  inner->set("two", 2);
  const auto outer = xanysequence::create();
  outer->append(xany(inner));
  outer->append(xany("text"));
  outer->append(xany(2.5));
  outer->append(xany(true));
  outer->append(xany(inner));
  const auto thing = New<SweepThing>();
  velS11nSet(thing, "Text", xany("a text of the thing"));
  velS11nSet(thing, "Value", xany(outer));
  return xany(thing);
}

struct Types {
  VelAttr discriminator{"d", velGetRtti_int()};
  VelAttr branch{"b"};
  VelArrayType array{"faultsweep::array", {2, 2}};
  VelUnionType choice{"faultsweep::union", &discriminator, {{1, &branch}}, nullptr};
  VelSeqType sequence{"faultsweep::sequence"};
};
Types& types() {
  static auto* all = new Types;
  return *all;
}

xany Shape(bool array) {
  if (array) {
    auto made = velNewThing(&types().array);
    made->items.assign(4, velGives(xany("item")));
    return xany(made);
  }
  auto made = velNewThing(&types().choice);
  made->values["d"] = velGives(xany(1));
  made->values["b"] = velGives(xany("branch"));
  return xany(made);
}

/// On each shape of value.
template <class Use>
void Walks(Table& table, const std::string& name, Use use) {
  const auto add = [&](const char* which, auto make) {
    table.push_back({name + " (" + which + ')', [=](Trial& t) {
                       const xany value = make();
                       int seen = 0;
                       t.state([&] { return Show(value); });
                       t.result([&] { return Show(seen); });
                       t.mayReport();
                       t.run([&] { seen = use(value); });
                     }});
  };
  add("values", [] { return Value(); });
  add("array", [] { return Shape(true); });
  add("union", [] { return Shape(false); });
  add("text", [] { return xany(xstring(L"wide")); });
}

class Listener : public xerrlistener {
 public:
  xerhstatus notify(const char*, xrcunihandle<xthrowable>, xrcunihandle<xobject>,
                    xrcunihandle<xobject>) override {
    return xerhNotHandled;
  }
};

void FillWalks(Table& table) {
  Walks(table, "velTraverse|velTraverser::velTraverser|velTraverser::simpleValue|"
        "velTraverser::enumValue|velTraverser::beginObject|velTraverser::endObject|velTraverser::beginStructure|"
        "velTraverser::endStructure|velTraverser::beginStructAttribute|"
        "velTraverser::endStructAttribute|velTraverser::beginSequence|velTraverser::endSequence|"
        "velTraverser::beginSeqElement|velTraverser::endSeqElement|velTraverser::beginDictionary|"
        "velTraverser::endDictionary|velTraverser::beginDictElement|velTraverser::endDictElement|"
        "velTraverser::beginArray|velTraverser::endArray|velTraverser::beginArrayDimension|"
        "velTraverser::endArrayDimension|velTraverser::beginArrayElement|"
        "velTraverser::endArrayElement|velTraverser::beginUnion|velTraverser::endUnion|"
        "velTraverser::beginUnionDicriminator|velTraverser::endUnionDicriminator|"
        "velTraverser::beginUnionValue|velTraverser::endUnionValue|velTraverser::errorOccured|"
        "velTraverser::alreadyVisited",
        [](const xany& value) {
          velTraverser visitor;
          velTraverse(value, &visitor);
          visitor.errorOccured("text", 0);
          visitor.enumValue(nullptr, 0);
          return 0;
        });
  Walks(table, "velPrint|velPrintTraverser::velPrintTraverser|velPrintTraverser::simpleValue|"
        "velPrintTraverser::beginObject|velPrintTraverser::endObject|"
        "velPrintTraverser::beginStructure|velPrintTraverser::endStructure|"
        "velPrintTraverser::beginStructAttribute|velPrintTraverser::beginSequence|"
        "velPrintTraverser::endSequence|velPrintTraverser::beginSeqElement|"
        "velPrintTraverser::beginDictionary|velPrintTraverser::endDictionary|"
        "velPrintTraverser::beginDictElement|velPrintTraverser::beginArray|"
        "velPrintTraverser::endArray|velPrintTraverser::beginArrayDimension|"
        "velPrintTraverser::endArrayDimension|velPrintTraverser::beginArrayElement|"
        "velPrintTraverser::beginUnion|velPrintTraverser::endUnion|"
        "velPrintTraverser::beginUnionDicriminator|velPrintTraverser::beginUnionValue|"
        "velPrintTraverser::alreadyVisited",
        [](const xany& value) { return velPrint(value, std::cout, 2), 0; });
  Walks(table, "operator<<", [](const xany& value) {
    if (value.isobject()) std::cout << value.operator xobject*();
    return 0;
  });
  Walks(table, "velDebugPrint", [](const xany& value) {
    if (value.isobject()) velDebugPrint(value);
    return 0;
  });
  Walks(table, "xany::toString", [](const xany& value) { return value.toString().IsNull(); });
  Walks(table, "velCompare|velCompareTraverser::velCompareTraverser|"
        "velCompareTraverser::~velCompareTraverser|velCompareTraverser::getState|"
        "velCompareTraverser::simpleValue|velCompareTraverser::beginObject|"
        "velCompareTraverser::endObject|velCompareTraverser::beginSequence|"
        "velCompareTraverser::beginStructAttribute|velCompareTraverser::beginSeqElement|"
        "velCompareTraverser::beginDictElement|velCompareTraverser::beginArrayElement|"
        "velCompareTraverser::beginUnionDicriminator|velCompareTraverser::beginUnionValue|"
        "velCompareTraverser::alreadyVisited",
        [](const xany& value) { return static_cast<int>(velCompare(value, value)); });
  Step0(table, "velCompareTraverser::enumValue|velCompareTraverser::errorOccured", [] {
    velCompareTraverser comparer(xany(1));
    comparer.enumValue(nullptr, 1);
    comparer.errorOccured("text", 0);
  });
  Step0(table, "velPrintTraverser::enumValue|velPrintTraverser::errorOccured", [] {
    static const char* const names[] = {"red"};
    static auto* colours = new xrttienum("faultsweep::printed", 1, names);
    velPrintTraverser printer(std::cout, 2);
    printer.enumValue(colours, 0);
    printer.errorOccured("text", 0);
  });
  for (const char* file : {static_cast<const char*>(nullptr), "/dev/null"}) {
    table.push_back({file ? "velDbgPrintDictKeys (file)" : "velDbgPrintDictKeys", [file](Trial& t) {
                       const auto dictionary = xintdictionary::create();
                       dictionary->set("key", 1);
                       t.state([&] { return ShowDictionary<xintdictionary, int>(dictionary); });
                       t.run([&] { velDbgPrintDictKeys(dictionary, file); });
                     }});
  }

  // ---- listeners ----
  Step0(table, "xerrhandler::addlistener (first)",
        [] {
          static Listener listener;
          xerrhandler::addlistener(&listener);
          xerrhandler::removelistener(&listener);
        },
        true);
  table.push_back({"xerrhandler::addlistener|xerrhandler::dispatch", [](Trial& t) {
                     static Listener listeners[17];
                     for (int i = 0; i < 16; ++i) xerrhandler::addlistener(&listeners[i]);
                     const xrchandle<xintsequence> object = xintsequence::create();
                     t.state([&] { return Show(object); });
                     t.run([&] {
                       xerrhandler::addlistener(&listeners[16]);
                       if (xerrhandler::dispatch("text", 0, object, object)) std::abort();
                     });
                     for (Listener& listener : listeners) xerrhandler::removelistener(&listener);
                   }});
  NeverFail(table, [&] {
    Step0(table, "xerrhandler::removelistener", [] {
      static Listener listener;
      xerrhandler::removelistener(&listener);
    });
  });

  // ---- objects by name ----
  table.push_back({"velS11nContext::velS11nContext", [](Trial& t) {
                     t.run([] { const velS11nContext context; });
                   }});
  table.push_back({"velS11nContext::setUserData|velS11nContext::getUserData|"
                   "velS11nContext::setRootObject|velS11nContext::getRootObject",
                   [](Trial& t) {
                     velS11nContext context;
                     const auto object = xintsequence::create();
                     t.state([&] {
                       return Show(context.getUserData("name")) + Show(context.getUserData()) +
                              Show(object);
                     });
                     const xany value("text");
                     t.run([&] {
                       context.setRootObject(object);
                       context.getRootObject();
                       context.setRootObject(xrcunihandle<xobject>());
                       context.setUserData("name", value);
                     });
                   }});
  table.push_back({"velS11nContext::setUserData - unnamed", [](Trial& t) {
                     velS11nContext context;
                     t.state([&] { return Show(context.getUserData()); });
                     t.run([&] { context.setUserData(xany("text")); });
                   }});
  Step0(table, "velS11nCreate", [] { xrcrelease(velS11nCreate("faultsweep::Thing", nullptr)); });
  Step0(table, "velS11nCreate (unknown)", [] { velS11nCreate("no such type", nullptr); });
  OnObject<SweepThing>(table, "velS11nSet (int)",
                       [](xobject* o) { velS11nSet(o, "Number", xany(1)); });
  OnObject<SweepThing>(table, "velS11nHasSetter", [](xobject* o) {
    EXPECT_TRUE(velS11nHasSetter(o->getRtti(), "Number"));
  });
  OnObject<SweepThing>(table, "velS11nSet (text)",
                       [](xobject* o) { velS11nSet(o, "Text", xany("text")); });
  OnObject<SweepThing>(table, "velS11nSet (mismatch)",
                       [](xobject* o) { velS11nSet(o, "Number", xany("text")); });
  OnObject<SweepThing>(table, "velS11nSet (unknown)",
                       [](xobject* o) { velS11nSet(o, "None", xany("text")); });
  OnObject<SweepDeprecated>(table, "velS11nSet (deprecated)|velS11nAccess::isDeprecated|"
                            "velDeprecationSupport::isDeprecatedAttribute",
                            [](xobject* o) {
                              velS11nSet(o, "_s11n_deprecated", xany("a;b"));
                              velS11nSet(o, "a", xany(1));
                            });
  table.push_back({"velS11nAccess::addDeprecated|velDeprecationSupport::_s11n_set_s11n_deprecated",
                   [](Trial& t) {
                     const auto object = New<SweepDeprecated>();
                     velDeprecationSupport* support = object.operator->();
                     velS11nAccess::addDeprecated(support, "first");
                     t.state([&] {
                       // A copy of the list: asking would build the set.
                       std::string all;
                       for (const char* name : {"first", "second"}) {
                         const auto probe = New<SweepDeprecated>();
                         static_cast<velDeprecationSupport&>(*probe) = *support;
                         all += Show(velS11nAccess::isDeprecated(probe.operator->(), name));
                       }
                       return all;
                     });
                     const xstring more("second;and a third with a long name");
                     t.run([&] { velS11nAccess::addDeprecated(support, more); });
                   }});
  table.push_back({"velParseDeprecatedAttrList", [](Trial& t) {
                     xrchandle<xbooldictionary> made;
                     const xstring list("a;b;c");
                     t.result([&] {
                       return ShowDictionary<xbooldictionary, unsigned char>(made.operator->());
                     });
                     t.run([&] { made = velParseDeprecatedAttrList(list); });
                   }});
  table.push_back({"velParseDeprecatedAttrList (into)", [](Trial& t) {
                     const auto into = xbooldictionary::create();
                     into->set("old", 1);
                     const xstring list("a;b;c;a word that is longer than the others");
                     t.state([&] {
                       return ShowDictionary<xbooldictionary, unsigned char>(into.operator->());
                     });
                     t.run([&] { velParseDeprecatedAttrList(list, into); });
                   }});
}

}  // namespace

void velsweep::fill(Table& table) {
  // Making the table of the exceptions uses their descriptors, which are warm since
  // the library was loaded; the classes of this file stay cold.
  FillDescriptors(table);
  FillExceptions(table);
  FillWalks(table);
}
