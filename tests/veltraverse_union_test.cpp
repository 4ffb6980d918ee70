// How a walk goes through unions.
#include <climits>
#include <string>
#include <vector>

#include "veltest.h"
#include "veltest_types.h"
#include "veltraverser.h"

namespace {

const char* const kColours[] = {"red", "green"};

TEST(VelTraverseUnion, EveryKindOfDiscriminatorSelectsItsMember) {
  xrttienum colour("Colour", 2, kColours);
  VelPlainType plain("Plain");
  const VelThingHandle object = velNewThing(&plain);
  VelAttr kind("kind"), zero("zero"), one("one"), nil("nil"), uninit("uninit"), other("other");
  const std::vector<VelUnionType::Branch> branches = {
      {0, &zero}, {1, &one}, {INT_MIN, &nil}, {INT_MIN + 1, &uninit}};
  VelUnionType strict("Strict", &kind, branches, nullptr);
  VelUnionType lenient("Lenient", &kind, branches, &other);
  const struct {
    VelThing::Value discriminator;
    const char* member;
    const char* withDefault;
  } rows[] = {
      {velGives(0), "zero", "zero"},
      {velGives(1), "one", "one"},
      {velGives(2), "null", "other"},
      {velGives(-1), "null", "other"},
      {velGives(true), "one", "one"},
      {velGives(false), "zero", "zero"},
      {velGives(xany(static_cast<unsigned char>(2))), "one", "one"},
      {velGives(xany(1, &colour)), "one", "one"},
      {velGives(xany(7, &colour)), "null", "other"},
      {velGives(xany(1, static_cast<xrttienum*>(nullptr))), "one", "one"},
      {velGives(xany(xanyNil)), "nil", "nil"},
      {velGives(xany()), "uninit", "uninit"},
      {velThrowsVel, "uninit", "uninit"},
      {velThrowsInt, "uninit", "uninit"},
      {velGives(1.0), "null", "null"},
      {velGives("1"), "null", "null"},
      {velGives(xany(xanyString)), "null", "null"},
      {velGives(xany(object)), "null", "null"},
      {[] { return xany(static_cast<__xanykind>(8)); }, "null", "null"},
  };
  int number = 0;
  for (const auto& row : rows) {
    for (VelUnionType* type : {&strict, &lenient}) {
      const VelThingHandle thing = velNewThing(type);
      thing->values["kind"] = row.discriminator;
      const std::string member = type == &strict ? row.member : row.withDefault;
      const std::string log = velWalked(xany(thing));
      EXPECT_NE(log.find("endUnionDicriminator(kind) beginUnionValue(" + member +
                         ") endUnionValue(" + member + ") endUnion("),
                std::string::npos)
          << "row " << number << ": " << log;
    }
    ++number;
  }
  EXPECT_EQ(VelCountedThrow::alive(), 0);
}

TEST(VelTraverseUnion, MembersAreSoughtInTheParentsToo) {
  VelAttr kind("kind"), own("own"), above("above"), fallback("fallback");
  VelUnionType parent("Parent", &kind, {{1, &above}, {2, &above}}, &fallback);
  VelUnionType type("Union", &kind, {{1, &own}}, nullptr, {&parent});
  const struct {
    int label;
    const char* member;
  } rows[] = {{1, "own"}, {2, "above"}, {3, "fallback"}};
  for (const auto& row : rows) {
    const VelThingHandle thing = velNewThing(&type);
    thing->values["kind"] = velGives(row.label);
    const std::string log = velWalkedInFull(xany(thing));
    EXPECT_NE(log.find(std::string("beginUnionValue(Union.") + row.member + ')'), std::string::npos)
        << log;
  }
}

TEST(VelTraverseUnion, ParentUnionIsVisitedFirst) {
  VelAttr kind("kind"), own("own"), above("above");
  VelUnionType parent("Parent", &kind, {{1, &above}}, nullptr);
  VelUnionType type("Union", &kind, {{1, &own}}, nullptr, {&parent});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["kind"] = velGives(1);
  EXPECT_EQ(velWalkedInFull(xany(thing)),
            "beginObject(Union) beginUnion(Union) "
            "beginUnionDicriminator(Parent.kind) simpleValue( 2 1) "
            "endUnionDicriminator(Parent.kind) "
            "beginUnionValue(Parent.above) endUnionValue(Parent.above) "
            "beginUnionDicriminator(Union.kind) simpleValue( 2 1) "
            "endUnionDicriminator(Union.kind) "
            "beginUnionValue(Union.own) endUnionValue(Union.own) "
            "endUnion(Union) endObject(Union)");
}

TEST(VelTraverseUnion, ParentThatIsNoUnionFailsTheSearchForAMember) {
  VelAttr kind("kind");
  VelPlainType plain("Plain");
  VelUnionType type("Union", &kind, {}, nullptr, {&plain});
  const VelThingHandle thing = velNewThing(&type);
  thing->values["kind"] = velGives(1);
  EXPECT_EQ(velWalked(xany(thing)),
            "beginObject(Union) beginUnion(Union) beginUnionDicriminator(kind) simpleValue(1) "
            "endUnionDicriminator(kind) errorOccured(VEL exception, vellib::XTypeMismatch) "
            "beginUnionValue(null) endUnionValue(null) endUnion(Union) endObject(Union)");
}

TEST(VelTraverseUnion, WithoutADiscriminatorItIsUninit) {
  VelAttr other("other");
  VelUnionType type("Union", nullptr, {}, &other);
  EXPECT_EQ(velWalked(xany(velNewThing(&type))),
            "beginObject(Union) beginUnion(Union) beginUnionDicriminator(null) "
            "endUnionDicriminator(null) beginUnionValue(other) endUnionValue(other) "
            "endUnion(Union) endObject(Union)");
}

TEST(VelTraverseUnion, NothingIsReadThatIsNotVisited) {
  VelAttr kind("kind"), x("x");
  VelUnionType type("Union", &kind, {{1, &x}}, nullptr);
  const VelThingHandle thing = velNewThing(&type);
  int reads = 0;
  thing->values["kind"] = velGives(1);
  thing->values["x"] = [&] { return xany(++reads); };
  for (velTraverseResult answer : {velTrSkip, velTrLeave, velTrStop}) {
    LogTraverser log;
    log.answer("beginUnionValue", answer);
    velTraverse(xany(thing), &log);
  }
  EXPECT_EQ(reads, 0);
}

TEST(VelTraverseUnion, DiscriminatorIsReadOnceBeforeItIsReported) {
  VelAttr kind("kind");
  VelUnionType type("Union", &kind, {}, nullptr);
  const VelThingHandle thing = velNewThing(&type);
  std::string log;
  thing->values["kind"] = [&] {
    log += "read ";
    return xany(1);
  };
  VelEventTraverser visitor([&](const VelEvent& event) {
    log += event.operation + ' ';
    return velTrContinue;
  });
  velTraverse(xany(thing), &visitor);
  EXPECT_EQ(log,
            "beginObject beginUnion read beginUnionDicriminator simpleValue endUnionDicriminator "
            "beginUnionValue endUnionValue endUnion endObject ");
}

}  // namespace
