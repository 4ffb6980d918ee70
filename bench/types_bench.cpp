// Types and attributes by their names.
#include <glib-object.h>

#include <QMetaType>
#include <cstring>
#include <memory>

// Headers that use what is deprecated by now.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <rttr/registration>
#include <rttr/type>
#pragma GCC diagnostic pop

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::check;
using velbench::keep;
using velbench::opaque;

namespace {

constexpr int kSteps = 10000;
const char* const kNames[] = {"first", "second", "third", "fourth"};
constexpr int kNameCount = 4;

// ---- a class with four attributes, on each side ------------------------------------

class Point : public virtual xobject {
  VEL_ATTRIBUTED(Point, xobject())
  VEL_ATTRIBUTE(int, first)
  VEL_ATTRIBUTE(int, second)
  VEL_ATTRIBUTE(int, third)
  VEL_ATTRIBUTE(int, fourth)
 public:
  Point() {
    _s11n_setfirst(0);
    _s11n_setsecond(1);
    _s11n_setthird(2);
    _s11n_setfourth(3);
  }
};
VEL_ATTRIBUTED_RTTI(Point, "bench::Point", nullptr, VEL_ATTRIBUTE_INFO(first),
                    VEL_ATTRIBUTE_INFO(second), VEL_ATTRIBUTE_INFO(third),
                    VEL_ATTRIBUTE_INFO(fourth))

struct RttrPoint {
  int first = 0;
  int second = 0;
  int third = 0;
  int fourth = 0;
};
RTTR_REGISTRATION {
  rttr::registration::class_<RttrPoint>("RttrPoint")
      .property("first", &RttrPoint::first)
      .property("second", &RttrPoint::second)
      .property("third", &RttrPoint::third)
      .property("fourth", &RttrPoint::fourth);
}

struct GlibPoint {
  GObject parent;
  int values[kNameCount];
};
struct GlibPointClass {
  GObjectClass parent;
};
G_DEFINE_TYPE(GlibPoint, glib_point, G_TYPE_OBJECT)

void glibRead(GObject* object, guint property, GValue* value, GParamSpec*) {
  g_value_set_int(value, reinterpret_cast<GlibPoint*>(object)->values[property - 1]);
}
void glib_point_class_init(GlibPointClass* type) {
  auto* object = reinterpret_cast<GObjectClass*>(type);
  object->get_property = glibRead;
  for (int i = 0; i < kNameCount; ++i) {
    g_object_class_install_property(
        object, static_cast<guint>(i + 1),
        g_param_spec_int(kNames[i], kNames[i], kNames[i], 0, 100, 0, G_PARAM_READABLE));
  }
}
void glib_point_init(GlibPoint* point) {
  for (int i = 0; i < kNameCount; ++i) point->values[i] = i;
}

// ---- the works -----------------------------------------------------------------------

template <class Find>
void find(State& state, const char* name, Find find) {
  check(find(name), "a type is unknown");
  velbench::repeat(state, kSteps, [&](int) {
    const auto found = find(opaque(name));
    keep(found);
  });
}

// Reads the four attributes in turn: 0, 1, 2, 3.
template <class Read>
void read(State& state, Read readNamed) {
  std::int64_t sum = 0;
  velbench::repeat(state, kSteps, [&](int i) { sum += readNamed(opaque(kNames[i % kNameCount])); });
  check(sum == state.iterations() * (kSteps / kNameCount * 6), "an attribute is wrong");
}

void ourRead(State& state) {
  const xrchandle<Point> point = new Point;
  xobject* object = opaque(velAsObject(point.operator->()));
  read(state, [=](const char* name) {
    auto* type = dynamic_cast<xrttistruct*>(object->getRtti());
    return type->findAttr(name, 1)->getValue(object).operator int();
  });
}

void rttrRead(State& state) {
  RttrPoint point;
  point.second = 1;
  point.third = 2;
  point.fourth = 3;
  const rttr::instance object(point);
  read(state, [&](const char* name) {
    return object.get_type().get_property_value(name, object).to_int();
  });
}

void glibRead(State& state) {
  auto* object = static_cast<GObject*>(g_object_new(glib_point_get_type(), nullptr));
  read(state, [=](const char* name) {
    GValue value = G_VALUE_INIT;
    g_object_get_property(object, name, &value);
    return g_value_get_int(&value);
  });
  g_object_unref(object);
}

}  // namespace

void velbench::registerCases() {
  const char* const finding = "find a type by its name";
  add(finding, "velstd", [](State& state) {
    Point::getClassRtti();
    find(state, "bench::Point", [](const char* name) { return velRttiGetFromMap(name); });
  });
  add(finding, "RTTR", [](State& state) {
    find(state, "RttrPoint", [](const char* name) {
      const rttr::type type = rttr::type::get_by_name(name);
      return type.is_valid();
    });
  });
  add(finding, "GObject", [](State& state) {
    glib_point_get_type();
    find(state, "GlibPoint", [](const char* name) { return g_type_from_name(name); });
  });
  add(finding, "QMetaType", [](State& state) {
    find(state, "QVariantList",
         [](const char* name) { return QMetaType::fromName(QByteArrayView(name)).isValid(); });
  });
  const char* const reading = "read an attribute by its name";
  addCounting(reading, "velstd", ourRead);
  addCounting(reading, "RTTR", rttrRead);
  addCounting(reading, "GObject", [](State& state) { glibRead(state); });
}
