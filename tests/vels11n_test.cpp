// The context of a deserialization, and the members by which objects are built.
#include "vels11n.h"

#include "veltest.h"

TEST(VelS11nContext, StartsEmpty) {
  velS11nContext context;
  EXPECT_TRUE(context.getRootObject().isnull());
  EXPECT_TRUE(context.getUserData("x").isuninit());
  EXPECT_TRUE(context.getUserData().isuninit());
}

TEST(VelS11nContext, KeepsValuesByName) {
  velS11nContext context;
  context.setUserData("x", 5);
  EXPECT_TRUE(context.getUserData("x") == 5);
  context.setUserData("x", "six");
  EXPECT_TRUE(context.getUserData("x") == "six");
  EXPECT_TRUE(context.getUserData("y").isuninit());
}

TEST(VelS11nContext, TheShortFormsUseTheEmptyName) {
  velS11nContext context;
  context.setUserData(7);
  EXPECT_TRUE(context.getUserData() == 7);
  EXPECT_TRUE(context.getUserData("") == 7);
}

TEST(VelS11nContext, NullNamesRaiseNull) {
  velS11nContext context;
  for (const std::uintptr_t address : {0U, 1U}) {
    const char* null = reinterpret_cast<const char*>(address);
    EXPECT_VEL_THROW(context.setUserData(null, 1), velXNull);
    EXPECT_VEL_THROW(context.getUserData(null), velXNull);
  }
}

TEST(VelS11nContext, HoldsItsRoot) {
  std::string log;
  {
    velS11nContext context;
    auto* first = new VelLogObject(&log, "first");
    context.setRootObject(first);
    EXPECT_EQ(xrcgetcount(first), 1);
    EXPECT_EQ(static_cast<xobject*>(context.getRootObject()), first);
    context.setRootObject(new VelLogObject(&log, "second"));
    EXPECT_EQ(log, "first asked\nfirst onDelete\nfirst destroyed\n");
    log.clear();
    context.setUserData("value", new VelLogObject(&log, "value"));
  }
  // The values go before the root.
  EXPECT_EQ(log,
            "value asked\nvalue onDelete\nvalue destroyed\n"
            "second asked\nsecond onDelete\nsecond destroyed\n");
}

TEST(VelS11nContext, IsNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible<velS11nContext>::value);
  EXPECT_FALSE(std::is_copy_assignable<velS11nContext>::value);
}

TEST(VelS11n, CreateGivesAnEmptyObjectWithOneReference) {
  velS11nContext context;
  for (velS11nContext* used : {&context, static_cast<velS11nContext*>(nullptr)}) {
    auto* made = velS11nAccess::create<velXInvalidArrayIndex>(used);
    const xrchandle<velXInvalidArrayIndex> held(made);
    xrcrelease(made);
    EXPECT_EQ(xrcgetcount(made), 1);
    EXPECT_TRUE(made->getDescription().IsNull());
    EXPECT_TRUE(made->getVelObject().isuninit());
    EXPECT_EQ(made->getIndex(), 0);
    EXPECT_EQ(made->getDimension(), 0);
  }
}

TEST(VelS11n, DescriptorsKeepCreatorAndSetters) {
  void* create = velRttiGetUserData("vellib::XFunc", "_s11n_create");
  void* setName = velRttiGetUserData("vellib::XFunc", "_s11n_setName");
  void* setArgs = velRttiGetUserData("vellib::XFunc", "_s11n_setArgs");
  ASSERT_TRUE(create && setName && setArgs);
  xobject* made = reinterpret_cast<velS11nCreator>(create)(nullptr);
  const xrchandle<velXFunc> func = dynamic_cast<velXFunc*>(made);
  xrcrelease(made);
  EXPECT_TRUE(func->getName().IsNull());
  EXPECT_TRUE(func->getArgs().isnull());
  reinterpret_cast<velS11nSetter>(setName)(func, xany("name"));
  EXPECT_EQ(func->getName(), "name");
  const xrchandle<velXArgs> args = new velXArgs;
  reinterpret_cast<velS11nSetter>(setArgs)(func, xany(args));
  EXPECT_EQ(func->getArgs().operator->(), args.operator->());
  reinterpret_cast<velS11nSetter>(setArgs)(func, xany(nullptr));
  EXPECT_TRUE(func->getArgs().isnull());
}

TEST(VelS11n, SettersRefuseValuesOfAnotherKind) {
  const xrchandle<velXFunc> func = new velXFunc("name", 0);
  const auto set = [&](const char* key, const xany& value) {
    reinterpret_cast<velS11nSetter>(velRttiGetUserData("vellib::XFunc", key))(func, value);
  };
  EXPECT_VEL_THROW(set("_s11n_setName", xany(5)), velXTypeMismatch);
  EXPECT_VEL_THROW(set("_s11n_setArgs", xany("text")), velXTypeMismatch);
  EXPECT_VEL_THROW(set("_s11n_setArgs", xany(xintsequence::create())), velXTypeMismatch);
  EXPECT_EQ(func->getName(), "name");
  set("_s11n_setName", xany());
  EXPECT_TRUE(func->getName().IsNull());

  const auto negative = velCaught([] { velXNegativeIndex::Throw(-2); });
  auto* setIndex = reinterpret_cast<velS11nSetter>(
      velRttiGetUserData("vellib::XNegativeIndex", "_s11n_setIndex"));
  EXPECT_VEL_THROW(setIndex(negative, xany("text")), velXTypeMismatch);
  EXPECT_VEL_THROW(setIndex(func, xany(1)), velXTypeMismatch);
  setIndex(negative, xany(-9));
  EXPECT_EQ(dynamic_cast<velXNegativeIndex&>(*negative).getIndex(), -9);
}

TEST(VelS11n, HasASetterForWhatTheTypeOrAParentDeclares) {
  xrttiobject* const type = velXTypeMismatch::getClassRtti();
  EXPECT_TRUE(velS11nHasSetter(type, "TypeName"));
  EXPECT_TRUE(velS11nHasSetter(type, "Description"));
  EXPECT_FALSE(velS11nHasSetter(type, "Index"));
  EXPECT_FALSE(velS11nHasSetter(type, ""));
}

TEST(VelS11n, NothingHasASetterForNothing) {
  EXPECT_FALSE(velS11nHasSetter(nullptr, "Description"));
  for (const std::uintptr_t address : {0U, 1U}) {
    EXPECT_FALSE(velS11nHasSetter(velXNull::getClassRtti(), reinterpret_cast<const char*>(address)));
  }
}

namespace {

// A descriptor that is filled in for the test; descriptors refuse deletion.
xrttistruct* WithTwoParents() {
  static auto* const rtti = [] {
    auto* const made = new xrttistruct;
    xrttiobject* const parents[] = {velXNull::getClassRtti(), velXFunc::getClassRtti()};
    const velAttributeInfo attributes[] = {
        {"Fixed", "_s11n_setFixed", velGetRtti_int(), false, [](xobject*) { return xany(7); },
         nullptr}};
    velInitializeStruct(made, "tests::TwoParents", nullptr, 2, parents, 1, attributes);
    return made;
  }();
  return rtti;
}

}  // namespace

TEST(VelInitializeStruct, TakesSeveralParentsInTheirOrder) {
  xrttistruct* const rtti = WithTwoParents();
  ASSERT_EQ(rtti->getNParents(), 2);
  EXPECT_EQ(rtti->getParent(0), velXNull::getClassRtti());
  EXPECT_EQ(rtti->getParent(1), velXFunc::getClassRtti());
  EXPECT_TRUE(velS11nHasSetter(rtti, "Args"));
}

TEST(VelInitializeStruct, WithoutCreatorAndSetterThereIsNeither) {
  xrttistruct* const rtti = WithTwoParents();
  EXPECT_EQ(rtti->getUserData("_s11n_create"), nullptr);
  EXPECT_FALSE(velS11nHasSetter(rtti, "Fixed"));
  EXPECT_EQ(rtti->getNAttrs(), 1);
  EXPECT_TRUE(rtti->getAttr(0)->getValue(nullptr) == 7);
}
