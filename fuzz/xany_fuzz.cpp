// Variants against a record of kind and content: made, assigned, copied, moved, sent
// through C and compared.
#include "xany.h"

#include <climits>
#include <cmath>
#include <utility>
#include <vector>

#include "velfuzz.h"
#include "veltest_types.h"

namespace {

xrttienum* Colors() {
  static const char* const names[] = {"red", "green", "blue"};
  static xrttienum type("Color", 3, names);
  return &type;
}

xrttiobject* ThingType() {
  static VelPlainType type("Thing");
  return &type;
}

// What a variant holds.
struct Model {
  int kind = xanyUninit;
  int number = 0;  // also a truth, and an enumeration value
  double real = 0;
  std::string text;
  VelThing* object = nullptr;

  bool operator==(const Model& other) const {
    if (kind != other.kind) return false;
    switch (kind) {
      case xanyReal:
        return real == other.real;
      case xanyString:
        return text == other.text;
      case xanyObject:
        return object == other.object;
      case xanyUninit:
      case xanyNil:
        return true;
      default:
        return number == other.number;
    }
  }
};

Model OfKind(int kind) {
  Model model;
  model.kind = kind;
  return model;
}

constexpr std::size_t kValues = 4;
constexpr std::size_t kThings = 3;

class Duel {
 public:
  explicit Duel(velFuzzInput input) : in(input), values(kValues), models(kValues) {
    while (things.size() < kThings) things.push_back(new VelThing(ThingType()));
  }

  void Run() {
    while (!in.isEmpty()) {
      Step();
      Compare();
    }
    for (xany& value : values) value = xany();
    for (auto& thing : things) VEL_FUZZ_CHECK(xrcgetcount(thing) == 1);
  }

 private:
  void Step() {
    const std::size_t i = in.below(kValues);
    const std::size_t k = in.below(kValues);
    xany& value = values[i];
    Model& model = models[i];
    const bool assigns = in.flag();
    switch (in.below(14)) {
      case 0: {
        const int number = in.number();
        assigns ? value = number : value = xany(number);
        model = OfKind(number == INT_MIN ? xanyNil : xanyInt);
        model.number = number;
        break;
      }
      case 1: {
        const std::uint8_t truth = in.byte();
        assigns ? value = truth : value = xany(truth);
        model = OfKind(truth == 128 ? xanyNil : truth == 129 ? xanyUninit : xanyBool);
        model.number = truth;
        break;
      }
      case 2: {
        const bool truth = in.flag();
        assigns ? value = truth : value = xany(truth);
        model = OfKind(xanyBool);
        model.number = truth;
        break;
      }
      case 3: {
        const double real = in.below(8) == 0 ? 1e126 : in.below(8) == 1 ? 9e125 : in.real();
        assigns ? value = real : value = xany(real);
        model = OfKind(real == 1e126 ? xanyNil : real == 9e125 ? xanyUninit : xanyReal);
        model.real = real;
        break;
      }
      case 4: {
        const std::string text = in.text(60);
        assigns ? value = text.c_str() : value = xany(text.c_str());
        model = OfKind(xanyString);
        model.text = text;
        break;
      }
      case 5: {
        const std::string text = in.text(60);
        const bool isNull = in.below(4) == 0;
        const xstring string = isNull ? xstring() : xstring(text.c_str());
        assigns ? value = string : value = xany(string);
        model = OfKind(isNull ? xanyNil : xanyString);
        model.text = isNull ? std::string() : text;
        break;
      }
      case 6: {
        const std::size_t n = in.below(kThings);
        assigns ? value = things[n] : value = xany(things[n]);
        model = OfKind(xanyObject);
        model.object = things[n].operator->();
        break;
      }
      case 7: {
        const int number = in.between(0, 2);
        value = xany(number, Colors());
        model = OfKind(xanyEnum);
        model.number = number;
        break;
      }
      case 8:
        value = values[k];
        model = models[k];
        break;
      case 9: {
        const Model moved = models[k];
        value = std::move(values[k]);
        if (i != k) {
          values[k] = xany();
          models[k] = Model();
        }
        model = moved;
        break;
      }
      case 10: {
        const __xany_c view = values[k].getxany_c();
        value = view;
        model = models[k];
        const xany taken(view);
        VEL_FUZZ_CHECK(Same(taken, model));
        // The view's own reference.
        if (models[k].kind == xanyObject) xrcrelease(models[k].object);
        if (models[k].kind == xanyString) xstring(view.u.s, false);
        break;
      }
      case 11: {
        std::vector<xany> copies(in.below(20), values[k]);
        copies.insert(copies.begin(), value);
        for (std::size_t n = 1; n < copies.size(); ++n) VEL_FUZZ_CHECK(Same(copies[n], models[k]));
        break;
      }
      case 12:
        value = nullptr;
        model = OfKind(xanyNil);
        break;
      default:
        value = xany(xanyUninit);
        model = Model();
        break;
    }
  }

  static bool Same(const xany& value, const Model& model) {
    if (value.getkind() != model.kind) return false;
    switch (model.kind) {
      case xanyInt:
        return value.operator int() == model.number;
      case xanyBool:
        return value.operator unsigned char() == model.number;
      case xanyReal: {
        const double real = value;
        return std::isnan(model.real) ? std::isnan(real) : real == model.real;
      }
      case xanyString:
        return value.operator xstring().CastToCString() == model.text;
      case xanyEnum:
        return value.operator int() == model.number && value.getRtti() == Colors();
      case xanyObject:
        return value.operator xobject*() == static_cast<xobject*>(model.object);
      default:
        return true;
    }
  }

  void Compare() {
    std::vector<int> held(kThings, 1);
    for (std::size_t i = 0; i < kValues; ++i) {
      VEL_FUZZ_CHECK(Same(values[i], models[i]));
      const bool isEmpty = models[i].kind == xanyUninit || models[i].kind == xanyNil;
      VEL_FUZZ_CHECK(values[i].isint() == (isEmpty || models[i].kind == xanyInt));
      VEL_FUZZ_CHECK(values[i].isstring() == (isEmpty || models[i].kind == xanyString));
      VEL_FUZZ_CHECK(values[i].isobject() == (isEmpty || models[i].kind == xanyObject));
      for (std::size_t k = 0; k < kValues; ++k) {
        const bool isEqual = values[i] == values[k];
        if (isEqual != (models[i] == models[k])) {
          const std::string both = std::string(values[i].toString().CastToCString()) + " and " +
                                   values[k].toString().CastToCString();
          velFuzzFail(__FILE__, __LINE__, isEqual ? "equal" : "not equal", both);
        }
      }
      for (std::size_t n = 0; n < kThings; ++n) {
        held[n] += models[i].kind == xanyObject && models[i].object == things[n].operator->();
      }
    }
    for (std::size_t n = 0; n < kThings; ++n) VEL_FUZZ_CHECK(xrcgetcount(things[n]) == held[n]);
  }

  velFuzzInput in;
  std::vector<xrchandle<VelThing>> things;
  std::vector<xany> values;
  std::vector<Model> models;
};

}  // namespace

VEL_FUZZ(input) { Duel(input).Run(); }
