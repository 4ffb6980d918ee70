// The members that every framework class has, and the making of descriptors.
#include "velobject.h"

#include <stdexcept>
#include <thread>

#include "veltest.h"

namespace {

std::string Text(const xstring& text) { return text.IsNull() ? "null" : text.CastToCString(); }

template <class Kind>
bool IsA(xrtti* type) {
  return dynamic_cast<Kind*>(type) != nullptr;
}

// ---- the library's own classes ----

struct LibraryClass {
  const char* name;
  xrttiobject* (*type)();
  bool (*isOfKind)(xrtti*);
  bool counted;
};

const LibraryClass kLibraryClasses[] = {
    {"vellib::Executable", &velExecutable::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::Throwable", &xthrowable::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XException", &velXException::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XNull", &velXNull::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XTypeMismatch", &velXTypeMismatch::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XRefCountable", &velXRefCountable::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XArgs", &velXArgs::getClassRtti, &IsA<xrttistruct>, true},
    {"vellib::XFunc", &velXFunc::getClassRtti, &IsA<xrttistruct>, true},
    {"booleanseq", &xboolsequence::getClassRtti, &IsA<xrttisequence>, true},
    {"intseq", &xintsequence::getClassRtti, &IsA<xrttisequence>, true},
    {"realseq", &xrealsequence::getClassRtti, &IsA<xrttisequence>, true},
    {"stringseq", &xstringsequence::getClassRtti, &IsA<xrttisequence>, true},
    {"anyseq", &xanysequence::getClassRtti, &IsA<xrttisequence>, true},
    {"booleandict", &xbooldictionary::getClassRtti, &IsA<xrttidictionary>, true},
    {"intdict", &xintdictionary::getClassRtti, &IsA<xrttidictionary>, true},
    {"realdict", &xrealdictionary::getClassRtti, &IsA<xrttidictionary>, true},
    {"stringdict", &xstringdictionary::getClassRtti, &IsA<xrttidictionary>, true},
    {"anydict", &xanydictionary::getClassRtti, &IsA<xrttidictionary>, true},
    {"xrtti", &xrtti::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttibasic", &xrttibasic::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttienum", &xrttienum::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttiobject", &xrttiobject::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttistruct", &xrttistruct::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttiunion", &xrttiunion::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttiarray", &xrttiarray::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttisequence", &xrttisequence::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttidictionary", &xrttidictionary::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttiattr", &xrttiattr::getClassRtti, &IsA<xrttistruct>, false},
    {"xrttiattrseq", &xrttiattrseq::getClassRtti, &IsA<xrttisequence>, false},
};

TEST(VelObject, LibraryClassesHaveTheirDescriptors) {
  for (const LibraryClass& row : kLibraryClasses) {
    // Registered while the library was loaded.
    xrtti* registered = velRttiGetFromMap(row.name);
    ASSERT_NE(registered, nullptr) << row.name;
    xrttiobject* type = row.type();
    EXPECT_EQ(type, registered) << row.name;
    EXPECT_EQ(row.type(), type) << row.name;
    EXPECT_EQ(Text(type->getName()), row.name);
    EXPECT_EQ(type->getIsRefCount() != 0, row.counted) << row.name;
    EXPECT_TRUE(row.isOfKind(type)) << row.name;
  }
}

TEST(VelObject, ObjectsGiveTheDescriptorOfTheirClass) {
  const xrchandle<xintsequence> sequence = xintsequence::create();
  const xrchandle<xanydictionary> dictionary = xanydictionary::create();
  const xrchandle<velExecutable> executable(new velExecutable);
  EXPECT_EQ(sequence->getRtti(), xintsequence::getClassRtti());
  EXPECT_EQ(dictionary->getRtti(), xanydictionary::getClassRtti());
  EXPECT_EQ(executable->getRtti(), velExecutable::getClassRtti());
  EXPECT_EQ(velGetRtti_int()->getRtti(), xrttibasic::getClassRtti());
  EXPECT_EQ(xintsequence::getClassRtti()->getRtti(), xrttisequence::getClassRtti());
  EXPECT_EQ(xrttistruct::getClassRtti()->getRtti(), xrttistruct::getClassRtti());
}

TEST(VelExecutable, IsACountedStructureWithNothingOfItsOwn) {
  auto* type = dynamic_cast<xrttistruct*>(velExecutable::getClassRtti());
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(Text(type->getName()), "vellib::Executable");
  EXPECT_TRUE(type->getIsRefCount());
  EXPECT_EQ(type->getNParents(), 0);
  EXPECT_EQ(type->getNAttrs(), 0);
  EXPECT_EQ(sizeof(velExecutable), sizeof(void*) + sizeof(xobject));
  EXPECT_TRUE((std::is_base_of<xobject, velExecutable>::value));
  const xrchandle<velExecutable> object(new velExecutable);
  EXPECT_TRUE(velExecutable::cast(object) == object);
  EXPECT_TRUE(velExecutable::softcast(object) == object);
}

// ---- casts ----

TEST(VelObject, DowncastKnowsItsClassAndObject) {
  const xrchandle<xintsequence> sequence = xintsequence::create();
  xobject* object = sequence;
  EXPECT_EQ(object->dyndowncast(xintsequence::getClassRtti()),
            static_cast<void*>(sequence.operator->()));
  EXPECT_EQ(object->dyndowncast(velGetRtti_object()), static_cast<void*>(object));
  EXPECT_EQ(object->dyndowncast(xrealsequence::getClassRtti()), nullptr);
  EXPECT_EQ(object->dyndowncast(nullptr), nullptr);
  EXPECT_NE(static_cast<void*>(object), static_cast<void*>(sequence.operator->()));
}

TEST(VelObject, DowncastComparesNames) {
  const xrchandle<xintsequence> sequence = xintsequence::create();
  xrttiobject sameName;
  sameName.initializeRttiObject("intseq", 1, 0, nullptr);
  xrttiobject objectName;
  objectName.initializeRttiObject("object", 1, 0, nullptr);
  xrttiobject noName;
  noName.initializeRttiObject(nullptr, 1, 0, nullptr);
  EXPECT_EQ(sequence->dyndowncast(&sameName), static_cast<void*>(sequence.operator->()));
  EXPECT_EQ(sequence->dyndowncast(&objectName),
            static_cast<void*>(static_cast<xobject*>(sequence)));
  EXPECT_EQ(sequence->dyndowncast(&noName), nullptr);
}

TEST(VelObject, SoftcastKnowsTheExactClassOnly) {
  const xrchandle<velXNull> null(
      dynamic_cast<velXNull*>(velCaught([] { velXNull::Throw(); }).operator->()));
  const xrchandle<xintsequence> sequence = xintsequence::create();
  EXPECT_TRUE(velXNull::softcast(null) == null);
  EXPECT_TRUE(velXException::softcast(null) == nullptr);
  EXPECT_TRUE(xthrowable::softcast(null) == nullptr);
  EXPECT_TRUE(velXNull::softcast(sequence) == nullptr);
  EXPECT_TRUE(velXNull::softcast(nullptr) == nullptr);
  EXPECT_TRUE(velIsUninit(velXNull::softcast(xuninitobject)));
  EXPECT_EQ(xrcgetcount(null), 1);
}

TEST(VelObject, CastThrowsForAnotherClass) {
  const xrchandle<xintsequence> sequence = xintsequence::create();
  EXPECT_TRUE(xintsequence::cast(sequence) == sequence);
  EXPECT_TRUE(xintsequence::cast(nullptr) == nullptr);
  EXPECT_TRUE(velIsUninit(xintsequence::cast(xuninitobject)));
  {
    const auto caught = velCaught([&] { velExecutable::cast(sequence); });
    auto* mismatch = dynamic_cast<velXTypeMismatch*>(caught.operator->());
    ASSERT_NE(mismatch, nullptr);
    EXPECT_EQ(Text(mismatch->getTypeName()), "vellib::Executable");
    EXPECT_EQ(mismatch->getVelObject().operator xobject*(), static_cast<xobject*>(sequence));
    EXPECT_EQ(xrcgetcount(sequence), 2);
  }
  EXPECT_EQ(xrcgetcount(sequence), 1);
  // A derived class is another class.
  const auto null = velCaught([] { velXNull::Throw(); });
  EXPECT_VEL_THROW(velXException::cast(null), velXTypeMismatch);
}

TEST(VelObject, ClassWithoutMembersOfItsOwnIsItsBase) {
  class Plain : public VelLogObject {};
  const xrchandle<Plain> object(new Plain);
  EXPECT_EQ(Text(object->getVelTypeName()), "veltest::LogObject");
  EXPECT_EQ(VelLogObject::softcast(object), static_cast<VelLogObject*>(object));
}

// ---- the making of a descriptor ----

// A class whose descriptor counts its initialisations.
#define TEST_CLASS(C)                                                  \
  class C : public virtual xobject {                                   \
    VEL_OBJECT(C)                                                      \
   public:                                                             \
    static int made;                                                   \
  };                                                                   \
  int C::made = 0;                                                     \
  VEL_OBJECT_RTTI(C, xrttiobject, [](xrttiobject* rtti) {              \
    ++C::made;                                                         \
    rtti->initializeRttiObject("velobject_test::" #C, 1, 0, nullptr);  \
  })
TEST_CLASS(FirstGet)
TEST_CLASS(FirstGive)
TEST_CLASS(FirstDowncast)
TEST_CLASS(FirstCast)
TEST_CLASS(FirstSoftcast)
TEST_CLASS(FirstAttach)
TEST_CLASS(NeverUsed)

template <class C>
void ExpectMadeOnce(const char* name) {
  EXPECT_EQ(C::made, 1) << name;
  xrttiobject* type = C::getClassRtti();
  EXPECT_EQ(velRttiGetFromMap(name), type) << name;
  EXPECT_EQ(Text(type->getName()), name);
  EXPECT_EQ(C().getRtti(), type) << name;
  EXPECT_EQ(C::made, 1) << name;
}

TEST(VelClassRtti, AnyFirstUseMakesTheDescriptor) {
  const xrchandle<VelLogObject> other(new VelLogObject);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::FirstGet"), nullptr);
  FirstGet::getClassRtti();
  ExpectMadeOnce<FirstGet>("velobject_test::FirstGet");
  FirstGive().getRtti();
  ExpectMadeOnce<FirstGive>("velobject_test::FirstGive");
  FirstDowncast().dyndowncast(velGetRtti_object());
  ExpectMadeOnce<FirstDowncast>("velobject_test::FirstDowncast");
  EXPECT_VEL_THROW(FirstCast::cast(other), velXTypeMismatch);
  ExpectMadeOnce<FirstCast>("velobject_test::FirstCast");
  FirstSoftcast::softcast(other);
  ExpectMadeOnce<FirstSoftcast>("velobject_test::FirstSoftcast");
  { const xrchandle<FirstAttach> handle(new FirstAttach); }
  ExpectMadeOnce<FirstAttach>("velobject_test::FirstAttach");
  EXPECT_EQ(NeverUsed::made, 0);
}

TEST(VelClassRtti, MakingADescriptorAttachesNothing) {
  EXPECT_EQ(xrcgetcount(FirstGet::getClassRtti()), 0);
}

// A type with an attribute of its own type.
class Node : public virtual xobject {
  VEL_OBJECT(Node)
 public:
  xrchandle<Node> next;
  static xrttiobject* seen;
};
xrttiobject* Node::seen = nullptr;
VEL_OBJECT_RTTI(Node, xrttistruct, [](xrttistruct* rtti) {
  Node::seen = Node::getClassRtti();
  static xrttiattr next("next", Node::getClassRtti(), 1, [](xobject* owner) {
    return xany(Node::cast(owner)->next);
  });
  static xrttiattr* const attrs[] = {&next};
  rtti->initializeRttiStruct("velobject_test::Node", 1, 0, nullptr, 1, attrs);
})

TEST(VelClassRtti, TypeMayReferToItself) {
  const xrchandle<Node> node(new Node);
  node->next = new Node;
  auto* type = dynamic_cast<xrttistruct*>(node->getRtti());
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(Node::seen, type);
  EXPECT_EQ(type->getAttr(0)->getType(), type);
  EXPECT_EQ(type->getAttr(0)->getValue(node), xany(node->next));
  EXPECT_EQ(velRttiGetFromMap("velobject_test::Node"), type);
}

// Types that refer to each other; either may come first.
class Hen : public virtual xobject {
  VEL_OBJECT(Hen)
};
class Egg : public virtual xobject {
  VEL_OBJECT(Egg)
};
VEL_OBJECT_RTTI(Hen, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr egg("egg", Egg::getClassRtti(), 1, nullptr);
  static xrttiattr* const attrs[] = {&egg};
  rtti->initializeRttiStruct("velobject_test::Hen", 1, 0, nullptr, 1, attrs);
})
VEL_OBJECT_RTTI(Egg, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr hen("hen", Hen::getClassRtti(), 1, nullptr);
  static xrttiattr* const attrs[] = {&hen};
  rtti->initializeRttiStruct("velobject_test::Egg", 1, 0, nullptr, 1, attrs);
})

TEST(VelClassRtti, TypesMayReferToEachOther) {
  auto* hen = dynamic_cast<xrttistruct*>(Hen::getClassRtti());
  auto* egg = dynamic_cast<xrttistruct*>(Egg::getClassRtti());
  EXPECT_EQ(hen->getAttr(0)->getType(), egg);
  EXPECT_EQ(egg->getAttr(0)->getType(), hen);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::Hen"), hen);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::Egg"), egg);
  EXPECT_EQ(Egg().getRtti(), egg);
}

// Fails at the first two attempts.
class Stubborn : public virtual xobject {
  VEL_OBJECT(Stubborn)
 public:
  static int attempts;
  static xrttiobject* first;
};
int Stubborn::attempts = 0;
xrttiobject* Stubborn::first = nullptr;
VEL_OBJECT_RTTI(Stubborn, xrttiobject, [](xrttiobject* rtti) {
  if (++Stubborn::attempts == 1) Stubborn::first = rtti;
  if (Stubborn::attempts <= 2) throw std::runtime_error("not yet");
  rtti->initializeRttiObject("velobject_test::Stubborn", 1, 0, nullptr);
})

TEST(VelClassRtti, FailedInitialisationIsTriedAgain) {
  auto* object = new Stubborn;
  EXPECT_THROW(Stubborn::getClassRtti(), std::runtime_error);
  EXPECT_THROW(xrcattach(object), std::runtime_error);
  EXPECT_EQ(xrcgetcount(object), 0);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::Stubborn"), nullptr);
  // Nothing stays locked: another thread makes it.
  xrttiobject* made = nullptr;
  std::thread([&] { made = Stubborn::getClassRtti(); }).join();
  EXPECT_EQ(made, Stubborn::first);
  EXPECT_EQ(Stubborn::attempts, 3);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::Stubborn"), made);
  { const xrchandle<Stubborn> held(object); }
  EXPECT_EQ(Stubborn::attempts, 3);
}

// Needs another type, then fails once.
class Demanding : public virtual xobject {
  VEL_OBJECT(Demanding)
 public:
  static int attempts;
};
int Demanding::attempts = 0;
TEST_CLASS(Needed)
VEL_OBJECT_RTTI(Demanding, xrttiobject, [](xrttiobject* rtti) {
  static xrttiobject* const parents[] = {Needed::getClassRtti()};
  if (++Demanding::attempts == 1) throw std::runtime_error("not yet");
  rtti->initializeRttiObject("velobject_test::Demanding", 1, 1, parents);
})

TEST(VelClassRtti, FailureLeavesWhatWasMadeOnTheWay) {
  EXPECT_THROW(Demanding::getClassRtti(), std::runtime_error);
  ExpectMadeOnce<Needed>("velobject_test::Needed");
  EXPECT_EQ(Demanding::getClassRtti()->getParent(0), Needed::getClassRtti());
  EXPECT_EQ(Needed::made, 1);
}

// ---- names ----

// A class of any name, kind of descriptor and parents; each Tag is one class.
template <int Tag>
struct Named : xobject {
  static const char* name;
  static int parents;
  static velClassRtti place;
  template <class Kind>
  static xrttiobject* make() {
    return place.template get<Kind>([](Kind* rtti) {
      static xrttiobject* const list[] = {VelLogObject::getClassRtti(),
                                          VelPlainObject::getClassRtti()};
      rtti->initializeRttiObject(name, 1, parents, list);
    });
  }
  template <class Kind>
  static xrttiobject* make(const char* itsName, int itsParents) {
    name = itsName;
    parents = itsParents;
    return make<Kind>();
  }
};
template <int Tag>
const char* Named<Tag>::name = nullptr;
template <int Tag>
int Named<Tag>::parents = 0;
template <int Tag>
velClassRtti Named<Tag>::place;

TEST(VelClassRtti, ASecondCopyOfAClassTakesTheName) {
  xrttiobject* first = Named<1>::make<xrttiobject>("velobject_test::twice", 1);
  xrttiobject* second = Named<2>::make<xrttiobject>("velobject_test::twice", 1);
  EXPECT_NE(first, second);
  EXPECT_TRUE(first->isTypeSameAs(second));
  EXPECT_EQ(velRttiGetFromMap("velobject_test::twice"), second);
}

TEST(VelClassRtti, DirectRegistrationReplacesSilently) {
  xrttiobject* first = Named<3>::make<xrttiobject>("velobject_test::direct", 0);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::direct"), first);
  static xrttistruct other;
  other.initializeRttiStruct("velobject_test::direct", 0, 0, nullptr, 0, nullptr);
  velRttiAddToMap(&other);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::direct"), &other);
}

TEST(VelClassRtti, ANamelessClassIsNotRegisteredAndEqualsItself) {
  xrttiobject* first = Named<4>::make<xrttiobject>(nullptr, 0);
  xrttiobject* second = Named<5>::make<xrttiobject>(nullptr, 0);
  EXPECT_TRUE(velIsClass(first, first));
  EXPECT_FALSE(velIsClass(first, second));
  EXPECT_FALSE(velIsClass(first, nullptr));
}

void MakeOfAnotherKind() {
  Named<6>::make<xrttiobject>("velobject_test::kind", 0);
  Named<7>::make<xrttistruct>("velobject_test::kind", 0);
}
void MakeWithAnotherNumberOfParents() {
  Named<8>::make<xrttiobject>("velobject_test::number", 1);
  Named<9>::make<xrttiobject>("velobject_test::number", 2);
}
void MakeWithOtherParents() {
  static xrttiobject* const list[] = {VelPlainObject::getClassRtti()};
  static xrttiobject other;
  other.initializeRttiObject("velobject_test::parents", 1, 1, list);
  velRttiAddToMap(&other);
  Named<10>::make<xrttiobject>("velobject_test::parents", 1);
}
void MakeWithTheNameOfABasicType() { Named<11>::make<xrttiobject>("real", 0); }

#ifdef VELSTD_CHECKED
TEST(VelClassRttiDeathTest, AnotherClassOfTheNameAborts) {
  for (void (*make)() : {&MakeOfAnotherKind, &MakeWithAnotherNumberOfParents,
                         &MakeWithOtherParents, &MakeWithTheNameOfABasicType}) {
    EXPECT_VEL_ABORT(make(), "The name of a class descriptor belongs to another class.",
                     "velstd/services/velobject", 30);
  }
}
#else
TEST(VelClassRtti, AnotherClassOfTheNameReplacesItSilently) {
  MakeOfAnotherKind();
  EXPECT_EQ(velRttiGetFromMap("velobject_test::kind"), Named<7>::make<xrttistruct>());
  MakeWithAnotherNumberOfParents();
  EXPECT_EQ(velRttiGetFromMap("velobject_test::number"), Named<9>::make<xrttiobject>());
  MakeWithOtherParents();
  EXPECT_EQ(velRttiGetFromMap("velobject_test::parents"), Named<10>::make<xrttiobject>());
  MakeWithTheNameOfABasicType();
  EXPECT_EQ(velRttiGetFromMap("real"), Named<11>::make<xrttiobject>());
  velRttiAddToMap(velGetRtti_real());
}
#endif

// A null among the parents is no reason to fail.
TEST(VelClassRtti, NullParentsCompareEqual) {
  static velClassRtti first;
  static velClassRtti second;
  const auto fill = [](xrttiobject* rtti) {
    static xrttiobject* const list[] = {nullptr};
    rtti->initializeRttiObject("velobject_test::nullparent", 1, 1, list);
  };
  first.get<xrttiobject>(fill);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::nullparent"), first.get<xrttiobject>(fill));
  xrttiobject* made = second.get<xrttiobject>(fill);
  EXPECT_EQ(velRttiGetFromMap("velobject_test::nullparent"), made);
}

}  // namespace
