// A type made by macro and the same type written by hand cannot be told apart.
#include "veltwins.h"

#include <cstring>
#include <string>
#include <vector>

#include "velcompare.h"
#include "veltest.h"
#include "xrttiattrseq.h"

extern "C" const twins::Library* veltwins_plugin_types();
extern "C" const twins::Library* veltwins_hidden_types();

// ---- the same types by hand -----------------------------------------------------------

namespace hand {

xrttienum* ColorRtti() {
  static const char* const names[] = {"red", "green", "blue"};
  static xrttienum* const rtti = [] {
    auto* const made = new xrttienum("hand::Color", 3, names);
    velRttiAddToMap(made);
    return made;
  }();
  return rtti;
}

class Point : public virtual xobject {
  VEL_OBJECT(Point)
 public:
  int x = 0;
  xstring label;
  double weight = 0;
  unsigned char isSet = 0;
  xany extra;
  xrchandle<Point> next;
  xrcunihandle<xobject> other;
  int color = 0;
};

bool IsNothing(const xany& value) { return value.isnil() || value.isuninit(); }

VEL_OBJECT_RTTI(Point, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* const attrs[] = {
      new xrttiattr("x", velGetRtti_int(), 0,
                    [](xobject* o) { return xany(velView<Point>(o)->x); }),
      new xrttiattr("label", velGetRtti_string(), 0,
                    [](xobject* o) { return xany(velView<Point>(o)->label); }),
      new xrttiattr("weight", velGetRtti_real(), 0,
                    [](xobject* o) { return xany(velView<Point>(o)->weight); }),
      new xrttiattr("isSet", velGetRtti_bool(), 0,
                    [](xobject* o) { return xany(velView<Point>(o)->isSet); }),
      new xrttiattr("extra", velGetRtti_any(), 1,
                    [](xobject* o) { return velView<Point>(o)->extra; }),
      new xrttiattr("next", Point::getClassRtti(), 1,
                    [](xobject* o) { return xany(velView<Point>(o)->next); }),
      new xrttiattr("other", velGetRtti_object(), 1,
                    [](xobject* o) { return xany(velView<Point>(o)->other); }),
      new xrttiattr("color", ColorRtti(), 0,
                    [](xobject* o) { return xany(velView<Point>(o)->color, ColorRtti()); }),
  };
  const auto setter = [rtti](const char* key, velS11nSetter set) {
    rtti->addUserData(key, reinterpret_cast<void*>(set));
  };
  const velS11nCreator create = [](velS11nContext*) -> xobject* {
    auto* const made = new Point;
    xrcattach(made);
    return made;
  };
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(create));
  setter("_s11n_setx", [](xobject* o, const xany& value) {
    if (!value.isint()) velThrowValueMismatch(velGetRtti_int(), value);
    velView<Point>(o)->x = value.isuninit() ? xany().operator int() : value.operator int();
  });
  setter("_s11n_setlabel", [](xobject* o, const xany& value) {
    if (!value.isstring()) velThrowValueMismatch(velGetRtti_string(), value);
    velView<Point>(o)->label = IsNothing(value) ? xstring() : value.operator xstring();
  });
  setter("_s11n_setweight", [](xobject* o, const xany& value) {
    if (!value.isreal()) velThrowValueMismatch(velGetRtti_real(), value);
    velView<Point>(o)->weight = value.operator double();
  });
  setter("_s11n_setisSet", [](xobject* o, const xany& value) {
    if (!value.isbool()) velThrowValueMismatch(velGetRtti_bool(), value);
    velView<Point>(o)->isSet = value.operator unsigned char();
  });
  setter("_s11n_setextra", [](xobject* o, const xany& value) { velView<Point>(o)->extra = value; });
  setter("_s11n_setnext", [](xobject* o, const xany& value) {
    Point* found = nullptr;
    if (!IsNothing(value)) {
      found = value.isobject() ? dynamic_cast<Point*>(value.operator xobject*()) : nullptr;
      if (!found) velThrowValueMismatch(Point::getClassRtti(), value);
    }
    velView<Point>(o)->next = xrchandle<Point>(found);
  });
  setter("_s11n_setother", [](xobject* o, const xany& value) {
    if (!IsNothing(value) && !value.isobject()) velThrowValueMismatch(velGetRtti_object(), value);
    velView<Point>(o)->other = IsNothing(value) ? nullptr : value.operator xobject*();
  });
  setter("_s11n_setcolor", [](xobject* o, const xany& value) {
    if (value.getkind() != xanyEnum || !ColorRtti()->isTypeSameAs(value.getRtti()) ||
        ColorRtti()->mapIntToString(value.operator int()).IsNull()) {
      velThrowValueMismatch(ColorRtti(), value);
    }
    velView<Point>(o)->color = value.operator int();
  });
  rtti->initializeRttiStruct("hand::Point", 1, 0, nullptr, 8, attrs);
})

// The diamond and the wide one by the core's own macros.
class Top : public virtual xobject {
  VEL_ATTRIBUTED(Top, xobject())
  VEL_ATTRIBUTE(int, height)
 public:
  Top() = default;
};
class Left : public virtual Top {
  VEL_ATTRIBUTED(Left, Top(context))
  VEL_ATTRIBUTE(int, side)
 public:
  Left() = default;
};
class Right : public virtual Top {
  VEL_ATTRIBUTED(Right, Top(context))
  VEL_ATTRIBUTE(xany, extra)
 public:
  Right() = default;
};
class Bottom : public Left, public Right {
  VEL_OBJECT(Bottom)
};
VEL_ATTRIBUTED_RTTI(Top, "hand::Top", nullptr, VEL_ATTRIBUTE_INFO(height))
VEL_ATTRIBUTED_RTTI(Left, "hand::Left", Top::getClassRtti(), VEL_ATTRIBUTE_INFO(side))
VEL_ATTRIBUTED_RTTI(Right, "hand::Right", Top::getClassRtti(), VEL_ATTRIBUTE_INFO(extra))
VEL_OBJECT_RTTI(Bottom, xrttistruct, [](xrttistruct* rtti) {
  static xrttiobject* const parents[] = {Left::getClassRtti(), Right::getClassRtti()};
  rtti->initializeRttiStruct("hand::Bottom", 1, 2, parents, 0, nullptr);
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<Bottom>));
})

class Wide : public virtual xobject {
  VEL_OBJECT(Wide)
 public:
  xany all[300];
};
template <int kNumber>
void AddWide(xrttistruct* rtti, xrttiattr** attrs) {
  const std::string digits = std::to_string(1000 + kNumber).substr(1);
  // The key is borrowed for ever.
  const char* const key = std::strcpy(new char[20], ("_s11n_setm" + digits).c_str());
  const std::string name = "m" + digits;
  attrs[kNumber] = new xrttiattr(name.c_str(), velGetRtti_any(), 1,
                                 [](xobject* o) { return velView<Wide>(o)->all[kNumber]; });
  const velS11nSetter set = [](xobject* o, const xany& value) {
    velView<Wide>(o)->all[kNumber] = value;
  };
  rtti->addUserData(key, reinterpret_cast<void*>(set));
}
template <int... kNumbers>
void AddAllWide(xrttistruct* rtti, xrttiattr** attrs, std::integer_sequence<int, kNumbers...>) {
  for (const auto add : {&AddWide<kNumbers>...}) add(rtti, attrs);
}
VEL_OBJECT_RTTI(Wide, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* attrs[300];
  AddAllWide(rtti, attrs, std::make_integer_sequence<int, 300>());
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<Wide>));
  rtti->initializeRttiStruct("hand::Wide", 1, 0, nullptr, 300, attrs);
})

class Shape : public virtual xobject {
  VEL_OBJECT(Shape)
 public:
  int kind = 0, radius = 0;
  xstring text;
  xany rest;
};
VEL_OBJECT_RTTI(Shape, xrttiunion, [](xrttiunion* rtti) {
  static const int labels[] = {1, 2};
  static xrttiattr* const attrs[] = {
      new xrttiattr("radius", velGetRtti_int(), 0,
                    [](xobject* o) { return xany(velView<Shape>(o)->radius); }),
      new xrttiattr("text", velGetRtti_string(), 0,
                    [](xobject* o) { return xany(velView<Shape>(o)->text); }),
  };
  const auto setter = [rtti](const char* key, velS11nSetter set) {
    rtti->addUserData(key, reinterpret_cast<void*>(set));
  };
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<Shape>));
  setter("_s11n_setkind", [](xobject* o, const xany& value) {
    velView<Shape>(o)->kind = velAttributeType<int>::write(value);
  });
  setter("_s11n_setradius", [](xobject* o, const xany& value) {
    velView<Shape>(o)->radius = velAttributeType<int>::write(value);
  });
  setter("_s11n_settext", [](xobject* o, const xany& value) {
    velView<Shape>(o)->text = velAttributeType<xstring>::write(value);
  });
  setter("_s11n_setrest", [](xobject* o, const xany& value) { velView<Shape>(o)->rest = value; });
  rtti->initializeRttiUnion("hand::Shape", 1, 0, nullptr,
                            new xrttiattr("kind", velGetRtti_int(), 0,
                                          [](xobject* o) { return xany(velView<Shape>(o)->kind); }),
                            2, labels, attrs,
                            new xrttiattr("rest", velGetRtti_any(), 1,
                                          [](xobject* o) { return velView<Shape>(o)->rest; }));
})

// Collections of points; what they hold may be null.
class PointSeq : public xtcsequence<xrchandle<Point>> {
  VEL_OBJECT(PointSeq)
 public:
  PointSeq() : xtcsequence(0) {}
};
VEL_OBJECT_RTTI(PointSeq, xrttisequence, [](xrttisequence* rtti) {
  using Functions = velSequenceFunctions<PointSeq>;
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<PointSeq>));
  rtti->initializeRttiSeq("hand::Pointseq", 1, Point::getClassRtti(), 1, &Functions::size,
                          &Functions::element);
})
class PointDict : public xtcdictionary<xrchandle<Point>> {
  VEL_OBJECT(PointDict)
 public:
  PointDict() : xtcdictionary(0) {}
};
VEL_OBJECT_RTTI(PointDict, xrttidictionary, [](xrttidictionary* rtti) {
  using Functions = velDictionaryFunctions<PointDict, xrchandle<Point>>;
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<PointDict>));
  rtti->initializeRttiDict("hand::Pointdict", 1, Point::getClassRtti(), 1, &Functions::size,
                           &Functions::find, &Functions::key, &Functions::value);
})
class Grid : public virtual xobject {
  VEL_OBJECT(Grid)
 public:
  xstring cells[2][3];
};
VEL_OBJECT_RTTI(Grid, xrttiarray, [](xrttiarray* rtti) {
  static const int sizes[] = {2, 3};
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<Grid>));
  rtti->initializeRttiArray("hand::string[2][3]", 1, 2, sizes, velGetRtti_string(), 0,
                            [](xobject* o, int* at) -> xany {
                              for (int d = 0; d < 2; ++d) {
                                if (at[d] < 0 || at[d] >= sizes[d]) {
                                  velhThrowInvalidArrayIndex(o, at[d], d);
                                }
                              }
                              return velView<Grid>(o)->cells[at[0]][at[1]];
                            });
})

// With members of the standard library: what they are called is all that is seen of them.
class Everyday : public virtual xobject {
  VEL_OBJECT(Everyday)
 public:
  std::string name;
  bool isOpen = false;
  long long count = 0;
  float share = 0;
  std::optional<int> rank;
};
VEL_OBJECT_RTTI(Everyday, xrttistruct, [](xrttistruct* rtti) {
  static xrttiattr* const attrs[] = {
      new xrttiattr("name", velGetRtti_string(), 0,
                    [](xobject* o) { return velAny(velView<Everyday>(o)->name); }),
      new xrttiattr("isOpen", velGetRtti_bool(), 0,
                    [](xobject* o) { return xany(velView<Everyday>(o)->isOpen); }),
      new xrttiattr("count", velGetRtti_int(), 0,
                    [](xobject* o) { return velAny(velView<Everyday>(o)->count); }),
      new xrttiattr("share", velGetRtti_real(), 0,
                    [](xobject* o) { return xany(double{velView<Everyday>(o)->share}); }),
      new xrttiattr("rank", velGetRtti_int(), 1,
                    [](xobject* o) {
                      const auto& held = velView<Everyday>(o)->rank;
                      return held ? xany(*held) : xany(xanyNil);
                    }),
  };
  const auto setter = [rtti](const char* key, velS11nSetter set) {
    rtti->addUserData(key, reinterpret_cast<void*>(set));
  };
  rtti->addUserData("_s11n_create", reinterpret_cast<void*>(&velMake<Everyday>));
  setter("_s11n_setname", [](xobject* o, const xany& value) {
    if (value.getkind() != xanyString) velThrowValueMismatch(velGetRtti_string(), value);
    velView<Everyday>(o)->name = velUtf8(value.operator xstring());
  });
  setter("_s11n_setisOpen", [](xobject* o, const xany& value) {
    if (value.getkind() != xanyBool) velThrowValueMismatch(velGetRtti_bool(), value);
    velView<Everyday>(o)->isOpen = value.operator unsigned char() != 0;
  });
  setter("_s11n_setcount", [](xobject* o, const xany& value) {
    if (value.getkind() != xanyInt) velThrowValueMismatch(velGetRtti_int(), value);
    velView<Everyday>(o)->count = value.operator int();
  });
  setter("_s11n_setshare", [](xobject* o, const xany& value) {
    if (value.getkind() != xanyReal) velThrowValueMismatch(velGetRtti_real(), value);
    velView<Everyday>(o)->share = static_cast<float>(value.operator double());
  });
  setter("_s11n_setrank", [](xobject* o, const xany& value) {
    if (!IsNothing(value) && value.getkind() != xanyInt) {
      velThrowValueMismatch(velGetRtti_int(), value);
    }
    auto& held = velView<Everyday>(o)->rank;
    if (IsNothing(value)) {
      held.reset();
    } else {
      held = value.operator int();
    }
  });
  rtti->initializeRttiStruct("hand::Everyday", 1, 0, nullptr, 5, attrs);
})

// Registers them, as the macros do by themselves.
const bool registered = [] {
  ColorRtti();
  for (xrttiobject* type : {Point::getClassRtti(), Bottom::getClassRtti(), Wide::getClassRtti(),
                            Shape::getClassRtti(), PointSeq::getClassRtti(),
                            PointDict::getClassRtti(), Grid::getClassRtti(),
                            Everyday::getClassRtti()}) {
    if (!type) return false;
  }
  return true;
}();

}  // namespace hand

namespace twins {

class Everyday : public velStruct<Everyday> {
  std::string name;
  bool isOpen = false;
  long long count = 0;
  float share = 0;
  std::optional<int> rank;

 public:
  VEL_STRUCT(Everyday, "twins::Everyday", name, isOpen, count, share, rank)
};

// The same by the builder.
class Built : public velStruct<Built> {
  std::string name;
  bool isOpen = false;
  long long count = 0;
  float share = 0;
  std::optional<int> rank;

 public:
  static void velDescribe(xrttistruct* rtti) {
    velDescription<Built>("built::Everyday")
        .attribute<&Built::name>("name")
        .attribute<&Built::isOpen>("isOpen")
        .attribute<&Built::count>("count")
        .attribute<&Built::share>("share")
        .attribute<&Built::rank>("rank")
        .creator(&velMake<Built>)
        .install(rtti);
  }
};

// Registered at their first use.
const bool registered = Built::getClassRtti() && velSequenceOf<Point>::getClassRtti() &&
                        velDictionaryOf<Point>::getClassRtti() &&
                        velArrayOf<xstring, 2, 3>::getClassRtti();

}  // namespace twins

namespace {

using Object = xrcunihandle<xobject>;

// Without what the names of twins differ in.
std::string Neutral(std::string text) {
  for (const char* prefix : {"hand::", "twins::", "built::"}) {
    for (std::size_t at; (at = text.find(prefix)) != std::string::npos;) {
      text.erase(at, std::string(prefix).size());
    }
  }
  return text;
}

std::string Text(const xstring& s) { return s.IsNull() ? "null" : s.CastToCString(); }
std::string NameOf(xrtti* type) { return type ? Text(type->getName()) : "none"; }

// What a step did: nothing, its answer, or the exception as it prints itself.
template <class Act>
std::string Outcome(Act&& act) {
  std::string answer;
  const auto caught = velCaught([&] { answer = act(); });
  return Neutral(caught.isnull() ? answer : velPrinted(xany(caught)));
}

// ---- descriptors, with all that they tell ---------------------------------------------

std::string Described(xrttiattr* attr, xrttiobject* type) {
  if (!attr) return "none\n";
  const std::string key = "_s11n_set" + Text(attr->getName());
  return Text(attr->getName()) + " of " + NameOf(attr->getType()) +
         (attr->getIsOptional() ? " optional" : "") + (attr->isDeletable() ? " deletable" : "") +
         (type->getUserData(key.c_str()) ? " settable\n" : "\n");
}

std::string Described(xrttiobject* type) {
  std::string text = NameOf(type) + (type->getIsRefCount() ? " counted" : "") +
                     (type->isDeletable() ? " deletable" : "") +
                     (type->getUserData("_s11n_create") ? " creatable" : "") +
                     (velRttiGetFromMap(NameOf(type).c_str()) == type ? " registered\n" : "\n") +
                     "described by " + Text(type->getVelTypeName()) + '\n';
  for (int i = -1; i <= type->getNParents(); ++i) {
    xrttiobject* const parent = type->getParent(i);
    text += "parent " + NameOf(parent) + (type->isTypeKindOf(parent) ? " above\n" : "\n");
  }
  if (auto* const asSequence = dynamic_cast<xrttisequence*>(type)) {
    text += "of " + NameOf(asSequence->getElemType()) +
            (asSequence->getIsElemOptional() ? " optional\n" : "\n");
  }
  if (auto* const asDictionary = dynamic_cast<xrttidictionary*>(type)) {
    text += "of " + NameOf(asDictionary->getElemType()) +
            (asDictionary->getIsElemOptional() ? " optional\n" : "\n");
  }
  if (auto* const asArray = dynamic_cast<xrttiarray*>(type)) {
    text += "of " + NameOf(asArray->getElemType()) +
            (asArray->getIsElemOptional() ? " optional" : "") + " by";
    for (int d = -1; d <= asArray->getNDimentions(); ++d) {
      text += ' ' + Outcome([&] { return std::to_string(asArray->getDimention(d)); });
    }
    text += '\n';
  }
  if (auto* const asStruct = dynamic_cast<xrttistruct*>(type)) {
    for (int i = -1; i <= asStruct->getNAttrs(); ++i) text += Described(asStruct->getAttr(i), type);
    xrttiattrseq* const all = velRttiCollectAttrs(asStruct, true);
    for (int i = 0; i < all->getarraysize(); ++i) {
      const xstring name = all->get(i)->getName();
      text += "all " + Text(name) + (asStruct->findAttr(Text(name).c_str(), 0) ? " own\n" : "\n");
    }
    xdelete(all);
  }
  if (auto* const asUnion = dynamic_cast<xrttiunion*>(type)) {
    text += "discriminator " + Described(asUnion->getDiscr(), type);
    text += "otherwise " + Described(asUnion->getDefaultAttr(), type);
    for (int i = -1; i <= asUnion->getNLabels(); ++i) {
      text += std::to_string(asUnion->getLabel(i)) + " is " + Described(asUnion->getAttr(i), type);
      text += std::to_string(i) + " maps " + Described(asUnion->mapLabelToAttr(i, 1), type);
    }
  }
  return text;
}

TEST(VelTwins, HaveTheSameDescriptors) {
  for (const char* name : {"Point", "Top", "Left", "Right", "Bottom", "Shape", "Wide"}) {
    const auto type = [&](const std::string& prefix) {
      return dynamic_cast<xrttiobject*>(velRttiGetFromMap((prefix + name).c_str()));
    };
    ASSERT_TRUE(type("twins::") && type("hand::")) << name;
    EXPECT_EQ(Neutral(Described(type("twins::"))), Neutral(Described(type("hand::")))) << name;
  }
}

// Where the macro has no name to choose: "twins::Point[2][3]" is "string[2][3]" by hand.
TEST(VelTwins, OfCollectionsHaveTheSameDescriptors) {
  EXPECT_EQ(Neutral(Described(velSequenceOf<twins::Point>::getClassRtti())),
            Neutral(Described(hand::PointSeq::getClassRtti())));
  EXPECT_EQ(Neutral(Described(velDictionaryOf<twins::Point>::getClassRtti())),
            Neutral(Described(hand::PointDict::getClassRtti())));
  EXPECT_EQ(Neutral(Described(velArrayOf<xstring, 2, 3>::getClassRtti())),
            Neutral(Described(hand::Grid::getClassRtti())));
}

TEST(VelTwins, OfTheBuilderHaveTheSameDescriptors) {
  const std::string byHand = Neutral(Described(hand::Everyday::getClassRtti()));
  EXPECT_EQ(Neutral(Described(twins::Everyday::getClassRtti())), byHand);
  EXPECT_EQ(Neutral(Described(twins::Built::getClassRtti())), byHand);
}

TEST(VelTwins, HaveTheSameEnumerations) {
  xrttienum* const made = velEnumRtti<twins::Color>();
  EXPECT_EQ(velRttiGetFromMap("twins::Color"), made);
  EXPECT_EQ(made->getNValues(), hand::ColorRtti()->getNValues());
  for (int i = -1; i <= 3; ++i) {
    EXPECT_EQ(Text(made->mapIntToString(i)), Text(hand::ColorRtti()->mapIntToString(i)));
  }
  for (const char* name : {"red", "blue", "Red", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(made->mapStringToInt(name), hand::ColorRtti()->mapStringToInt(name));
  }
}

// ---- what they do ----------------------------------------------------------------------

xany Color(const std::string& prefix, int number) {
  return xany(number, dynamic_cast<xrttienum*>(velRttiGetFromMap((prefix + "Color").c_str())));
}

struct Named {
  const char* what;
  xany value;
};
std::vector<Named> ValuesOfAllKinds(const std::string& prefix) {
  return {
      {"nil", xany(xanyNil)},
      {"uninit", xany()},
      {"int", xany(5)},
      {"least int", xany(-2147483645)},
      {"true", xany(true)},
      {"false", xany(false)},
      {"real", xany(2.5)},
      {"text", xany("text")},
      {"empty text", xany("")},
      {"wide text", velAny("\xC3\xBC")},
      {"green", Color(prefix, 1)},
      {"no color", Color(prefix, 3)},
      {"no color below", Color(prefix, -1)},
      {"foreign enum", velAny(5)},
      {"point", xany(velCreate((prefix + "Point").c_str()))},
      {"bottom", xany(velCreate((prefix + "Bottom").c_str()))},
      {"sequence", xany(xintsequence::create())},
  };
}

// Sets each attribute of an object to values of all kinds; tells what comes of it.
std::string Transcript(const std::string& prefix, const char* type,
                       const std::vector<std::string>& attributes) {
  std::string text;
  for (const std::string& attribute : attributes) {
    for (const auto& [what, value] : ValuesOfAllKinds(prefix)) {
      const Object object = velCreate((prefix + type).c_str());
      text += attribute + " = " + what + ": " + Outcome([&, given = value] {
                const bool isSet = velS11nSet(object, attribute.c_str(), given);
                return std::string(isSet ? "set " : "not set ") + velPrinted(xany(object));
              });
      text += Outcome([&] { return velPrinted(velGetAttr(object, attribute.c_str())); }) + '\n';
    }
  }
  return text;
}

const std::vector<std::string> kPointAttributes = {"x",    "label", "weight", "isSet", "extra",
                                                   "next", "other", "color",  "none",  ""};

TEST(VelTwins, AreSetAndRefuseAlike) {
  EXPECT_EQ(Transcript("twins::", "Point", kPointAttributes),
            Transcript("hand::", "Point", kPointAttributes));
  const std::vector<std::string> ofBottom = {"height", "side", "extra", "none"};
  EXPECT_EQ(Transcript("twins::", "Bottom", ofBottom), Transcript("hand::", "Bottom", ofBottom));
  const std::vector<std::string> ofShape = {"kind", "radius", "text", "rest"};
  EXPECT_EQ(Transcript("twins::", "Shape", ofShape), Transcript("hand::", "Shape", ofShape));
}

TEST(VelTwins, OfStandardMembersAreSetAndRefuseAlike) {
  const std::vector<std::string> all = {"name", "isOpen", "count", "share", "rank", "none"};
  const auto transcript = [&](const char* prefix) {
    std::string text;
    for (const std::string& attribute : all) {
      for (const auto& [what, value] : ValuesOfAllKinds("hand::")) {
        const Object object = velCreate((std::string(prefix) + "Everyday").c_str());
        text += attribute + " = " + what + ": " + Outcome([&, given = value] {
                  const bool isSet = velS11nSet(object, attribute.c_str(), given);
                  return std::string(isSet ? "set " : "not set ") + velPrinted(xany(object));
                });
      }
    }
    return text;
  };
  const std::string byHand = transcript("hand::");
  EXPECT_NE(byHand.find("Everyday\n{\n  name : \"text\"\n"), std::string::npos) << byHand;
  EXPECT_EQ(transcript("twins::"), byHand);
  EXPECT_EQ(transcript("built::"), byHand);
}

// A pair of a made collection and the one by hand, with the same content: elements, and
// one that is null.
std::vector<std::pair<Object, Object>> CollectionPairs() {
  std::vector<std::pair<Object, Object>> all;
  const auto object = [](xobject* of) { return Object(of); };
  for (int n : {0, 1, 2, 5}) {
    const auto madeSeq = velSequenceOf<twins::Point>::create();
    const xrchandle<hand::PointSeq> handSeq = new hand::PointSeq;
    const auto madeDict = velDictionaryOf<twins::Point>::create();
    const xrchandle<hand::PointDict> handDict = new hand::PointDict;
    for (int i = 0; i < n; ++i) {
      const Object ours = velCreate("twins::Point");
      const Object theirs = velCreate("hand::Point");
      for (const Object& point : {ours, theirs}) velS11nSet(point, "x", xany(i));
      const bool isNull = i == 1;
      const std::string key = "key" + std::to_string(i);
      xrchandle<twins::Point> made = isNull ? nullptr : twins::Point::cast(ours);
      xrchandle<hand::Point> byHand = isNull ? nullptr : hand::Point::cast(theirs);
      madeSeq->append(made);
      handSeq->append(byHand);
      madeDict->set(key.c_str(), made);
      handDict->set(key.c_str(), byHand);
    }
    all.emplace_back(object(madeSeq), object(handSeq));
    all.emplace_back(object(madeDict), object(handDict));
  }
  for (const char* text : {static_cast<const char*>(nullptr), "", "text"}) {
    const auto made = velArrayOf<xstring, 2, 3>::create();
    const xrchandle<hand::Grid> byHand = new hand::Grid;
    made->at(1, 2) = text;
    byHand->cells[1][2] = text;
    all.emplace_back(object(made), object(byHand));
  }
  return all;
}

TEST(VelTwins, OfCollectionsPrintTheSameTexts) {
  for (const auto& [made, byHand] : CollectionPairs()) {
    for (const int step : {-1, 0, 2}) {
      EXPECT_EQ(Neutral(velPrinted(xany(made), step)), Neutral(velPrinted(xany(byHand), step)));
    }
  }
}

TEST(VelTwins, OfCollectionsCompareAlikeInBothDirections) {
  const auto all = CollectionPairs();
  for (const auto& [made, byHand] : all) {
    EXPECT_FALSE(velEquals(xany(made), xany(byHand))) << "types of two names";
    for (const auto& [otherMade, otherByHand] : all) {
      EXPECT_EQ(velCompare(xany(made), xany(otherMade)),
                velCompare(xany(byHand), xany(otherByHand)));
      EXPECT_EQ(velEquals(xany(made), xany(otherMade)),
                velEquals(xany(byHand), xany(otherByHand)));
    }
  }
}

TEST(VelTwins, WriteWhatTheTableAllows) {
  const Object point = velCreate("twins::Point");
  for (const char* name : {"x", "label", "weight", "extra", "next", "other"}) {
    EXPECT_TRUE(velS11nSet(point, name, xany(xanyNil))) << name;
    EXPECT_TRUE(velGetAttr(point, name).isnil() || velGetAttr(point, name).isuninit()) << name;
  }
  EXPECT_VEL_THROW(velS11nSet(point, "color", xany(xanyNil)), velXTypeMismatch);
}

std::vector<Object> PointsOf(const std::string& prefix) {
  std::vector<Object> all;
  for (const std::string& attribute : kPointAttributes) {
    for (const auto& [what, value] : ValuesOfAllKinds(prefix)) {
      const Object object = velCreate((prefix + "Point").c_str());
      if (velCaught([&, given = value] {
            velS11nSet(object, attribute.c_str(), given);
          }).isnull()) {
        all.push_back(object);
      }
    }
  }
  return all;
}

TEST(VelTwins, PrintTheSameTexts) {
  const auto made = PointsOf("twins::");
  const auto byHand = PointsOf("hand::");
  ASSERT_EQ(made.size(), byHand.size());
  ASSERT_GT(made.size(), 40U);
  for (std::size_t i = 0; i < made.size(); ++i) {
    for (const int step : {-1, 0, 1, 2, 8}) {
      EXPECT_EQ(Neutral(velPrinted(xany(made[i]), step)),
                Neutral(velPrinted(xany(byHand[i]), step)));
    }
  }
}

TEST(VelTwins, CompareAlikeInBothDirections) {
  const auto made = PointsOf("twins::");
  const auto byHand = PointsOf("hand::");
  ASSERT_EQ(made.size(), byHand.size());
  for (std::size_t i = 0; i < made.size(); ++i) {
    for (std::size_t j = 0; j < made.size(); ++j) {
      ASSERT_EQ(velCompare(xany(made[i]), xany(made[j])),
                velCompare(xany(byHand[i]), xany(byHand[j])))
          << i << ' ' << j;
      ASSERT_EQ(velEquals(xany(made[i]), xany(made[j])),
                velEquals(xany(byHand[i]), xany(byHand[j])))
          << i << ' ' << j;
    }
    EXPECT_FALSE(velEquals(xany(made[i]), xany(byHand[i]))) << "types of two names";
  }
}

TEST(VelTwins, HaveThreeHundredAttributesAlike) {
  std::string texts[2];
  for (int kind = 0; kind < 2; ++kind) {
    const Object wide = velCreate(kind ? "hand::Wide" : "twins::Wide");
    for (int i = 0; i < 300; ++i) {
      const std::string name = "m" + std::to_string(1000 + i).substr(1);
      EXPECT_TRUE(velS11nSet(wide, name.c_str(), xany(i)));
    }
    texts[kind] = Neutral(velPrinted(xany(wide)));
    EXPECT_EQ(velGetAttr(wide, "m299").operator int(), 299);
    EXPECT_TRUE(velEquals(velClone(xany(wide)), xany(wide)));
  }
  EXPECT_EQ(texts[0], texts[1]);
}

// ---- two libraries ----------------------------------------------------------------------

class VelTwinsIn : public testing::TestWithParam<const twins::Library* (*)()> {
 protected:
  const twins::Library& library = *GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Libraries, VelTwinsIn,
                         testing::Values(&veltwins_plugin_types, &veltwins_hidden_types));

TEST_P(VelTwinsIn, AnotherLibraryHaveTheSameDescriptors) {
  xrttiobject* const type = library.pointType();
  EXPECT_TRUE(twins::Point::getClassRtti()->isTypeSameAs(type));
  EXPECT_TRUE(type->isTypeKindOf(twins::Point::getClassRtti()));
  // Only one of equal descriptors is the one in the registry.
  const auto described = [](xrttiobject* of) {
    std::string text = Described(of);
    const std::size_t at = text.find(" registered");
    return at == std::string::npos ? text : text.erase(at, 11);
  };
  EXPECT_EQ(described(type), described(twins::Point::getClassRtti()));
  EXPECT_TRUE(library.sequenceType()->isTypeSameAs(twins::PointSeq::getClassRtti()));
}

TEST_P(VelTwinsIn, AnotherLibraryByHandHaveTheSameDescriptors) {
  const auto described = [](xrttiobject* of) {
    std::string text = Described(of);
    const std::size_t at = text.find(" registered");
    return at == std::string::npos ? text : text.erase(at, 11);
  };
  xrttiobject* const ours = twins::Plain::getClassRtti();
  EXPECT_NE(library.plainType(), ours);
  EXPECT_EQ(described(library.plainType()), described(ours));
  EXPECT_TRUE(library.plainType()->isTypeSameAs(ours) && ours->isTypeSameAs(library.plainType()));
}

TEST_P(VelTwinsIn, AnotherLibraryByHandCompareAndPrintAsOurs) {
  const auto made = [](xrttiobject* type, int x, const char* label) {
    const auto create =
        reinterpret_cast<velS11nCreator>(type->getUserData("_s11n_create"));
    xobject* const object = create(nullptr);
    for (const auto& [key, value] : {std::pair("_s11n_setx", xany(x)), {"_s11n_setlabel", label}}) {
      reinterpret_cast<velS11nSetter>(type->getUserData(key))(object, value);
    }
    const Object kept = object;
    xrcrelease(object);
    return kept;
  };
  const Object ours = made(twins::Plain::getClassRtti(), 3, "a");
  const Object theirs = made(library.plainType(), 3, "a");
  EXPECT_EQ(velPrinted(xany(ours)), "twins::Plain\n{\n  x : 3\n  label : \"a\"\n}");
  EXPECT_EQ(velPrinted(xany(theirs)), velPrinted(xany(ours)));
  EXPECT_TRUE(velEquals(xany(ours), xany(theirs)) && velEquals(xany(theirs), xany(ours)));
  EXPECT_TRUE(library.areEqual(xany(ours), xany(theirs)));
  EXPECT_EQ(velHash(xany(ours)), velHash(xany(theirs)));
  EXPECT_EQ(velCompare(xany(ours), xany(theirs)), velCompare(xany(ours), xany(ours)));
  EXPECT_EQ(velCompare(xany(theirs), xany(ours)), velCompare(xany(ours), xany(ours)));
  const Object other = made(library.plainType(), 4, "a");
  EXPECT_FALSE(velEquals(xany(ours), xany(other)));
  EXPECT_NE(velCompare(xany(ours), xany(other)), velCompare(xany(ours), xany(ours)));
}

TEST_P(VelTwinsIn, AnotherLibraryAreOneTypeByCastsAndValues) {
  const Object theirs = library.makePoint(3);
  const auto ours = velNew<twins::Point>();
  EXPECT_NE(twins::Point::softcast(theirs), nullptr);
  EXPECT_TRUE(library.isPoint(ours));
  EXPECT_TRUE(library.isBlue(velAny(twins::Color::blue)));
  EXPECT_FALSE(library.isBlue(velAny(twins::Color::red)));
  EXPECT_EQ(velGet<twins::Color>(velGetAttr(theirs, "color")), twins::Color::blue);
  EXPECT_TRUE(velGet<xrchandle<twins::Point>>(xany(theirs)));
}

TEST_P(VelTwinsIn, AnotherLibraryCompareAndPrintAsOurs) {
  const Object theirs = library.makePoint(3);
  const Object ours = velCreate("twins::Point");
  velSetAttr(ours, "x", velAny(3));
  EXPECT_FALSE(library.areEqual(xany(ours), xany(theirs)));
  velSetAttr(ours, "color", velAny(twins::Color::blue));
  EXPECT_TRUE(library.areEqual(xany(ours), xany(theirs)));
  EXPECT_TRUE(velEquals(xany(theirs), xany(ours)));
  EXPECT_EQ(velCompare(xany(ours), xany(theirs)), velCompare(xany(theirs), xany(ours)));
  EXPECT_EQ(velPrinted(xany(ours)), velPrinted(xany(theirs)));
  EXPECT_TRUE(velDiff(xany(ours), xany(theirs)).empty());
}

TEST_P(VelTwinsIn, AnotherLibraryAreSetWithOurObjects) {
  const Object theirs = library.makePoint(1);
  const auto ours = velNew<twins::Point>();
  EXPECT_TRUE(velSetAttr(theirs, "next", velAny(ours)));
  EXPECT_TRUE(velSetAttr(ours, "next", velAny(library.makePoint(2))));
  EXPECT_EQ(velGet<int>(velGetPath(velAny(theirs), "/next/next/x")), 2);
  const Object sequence = library.makeSequence();
  velSetPath(velAny(sequence), "/1", velAny(ours));
  twins::PointSeq* const points = twins::PointSeq::cast(sequence);
  EXPECT_EQ(points->get(1), ours);
  EXPECT_TRUE(velEquals(velClone(velAny(sequence)), velAny(sequence)));
}

TEST(VelTwins, OfALibraryAreKnownBeforeAnyUse) {
  for (const char* name : {"veltwins_plugin::Own", "veltwins_hidden::Own"}) {
    EXPECT_EQ(velGet<int>(velGetAttr(velCreate(name), "x")), 7) << name;
  }
}

}  // namespace
