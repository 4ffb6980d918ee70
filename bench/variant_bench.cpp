// Variants: one value, copied, assigned, made and set; and many, copied.
#include <QString>
#include <QVariant>
#include <nlohmann/json.hpp>
#include <variant>

#include "peers.h"
#include "velbench.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

const char* const kShort = "eightltr";
const char* const kLong = "forty-eight letters are too long for most places";

struct Ours {
  static constexpr const char* kName = "velstd";
  static constexpr bool kHoldsObjects = true;
  using Value = xany;
  static Value of(int value) { return value; }
  static Value of(double value) { return value; }
  static Value ofText(const char* text) { return text; }
  static Value ofObject() { return peers::Velstd::make(1); }
  static void set(Value& to, int value) { to = value; }
  static void set(Value& to, double value) { to = value; }
  static bool is(const Value& a, int value) { return a.getkind() == xanyInt && int{a} == value; }
  static bool is(const Value& a, double value) { return a == value; }
  static bool isText(const Value& a, const char* text) { return a == text; }
  static bool isObject(const Value& a) { return a.getkind() == xanyObject; }
};

struct Std {
  static constexpr const char* kName = "std::variant";
  static constexpr bool kHoldsObjects = true;
  using Object = peers::Std::Handle;
  using Value = std::variant<std::monostate, int, bool, double, std::string, Object>;
  static Value of(int value) { return value; }
  static Value of(double value) { return value; }
  static Value ofText(const char* text) { return std::string(text); }
  static Value ofObject() { return peers::Std::make(1); }
  static void set(Value& to, int value) { to = value; }
  static void set(Value& to, double value) { to = value; }
  template <class T>
  static bool is(const Value& a, T value) {
    return a == Value(value);
  }
  static bool isText(const Value& a, const char* text) { return std::get<std::string>(a) == text; }
  static bool isObject(const Value& a) { return std::get<Object>(a)->value == 1; }
};

struct QtCore {
  static constexpr const char* kName = "QVariant";
  static constexpr bool kHoldsObjects = true;
  using Object = peers::Std::Handle;
  using Value = QVariant;
  static Value of(int value) { return value; }
  static Value of(double value) { return value; }
  static Value ofText(const char* text) { return QString::fromUtf8(text); }
  static Value ofObject() { return QVariant::fromValue(peers::Std::make(1)); }
  static void set(Value& to, int value) { to.setValue(value); }
  static void set(Value& to, double value) { to.setValue(value); }
  template <class T>
  static bool is(const Value& a, T value) {
    return a == Value(value);
  }
  static bool isText(const Value& a, const char* text) {
    return a.toString() == QString::fromUtf8(text);
  }
  static bool isObject(const Value& a) { return a.value<Object>()->value == 1; }
};

// A GValue that cleans up after itself.
class GHolder {
 public:
  GHolder() = default;
  explicit GHolder(GType type) { g_value_init(&value, type); }
  GHolder(const GHolder& other) { Take(other); }
  GHolder& operator=(const GHolder& other) {
    if (G_VALUE_TYPE(&value) == G_VALUE_TYPE(&other.value)) {
      g_value_copy(&other.value, &value);
    } else {
      if (G_VALUE_TYPE(&value)) g_value_unset(&value);
      Take(other);
    }
    return *this;
  }
  ~GHolder() {
    if (G_VALUE_TYPE(&value)) g_value_unset(&value);
  }
  GValue value = G_VALUE_INIT;

 private:
  void Take(const GHolder& other) {
    if (!G_VALUE_TYPE(&other.value)) return;
    g_value_init(&value, G_VALUE_TYPE(&other.value));
    g_value_copy(&other.value, &value);
  }
};

struct Glib {
  static constexpr const char* kName = "GValue";
  static constexpr bool kHoldsObjects = true;
  using Value = GHolder;
  static Value of(int value) {
    Value made(G_TYPE_INT);
    g_value_set_int(&made.value, value);
    return made;
  }
  static Value of(double value) {
    Value made(G_TYPE_DOUBLE);
    g_value_set_double(&made.value, value);
    return made;
  }
  static Value ofText(const char* text) {
    Value made(G_TYPE_STRING);
    g_value_set_string(&made.value, text);
    return made;
  }
  static Value ofObject() {
    Value made(G_TYPE_OBJECT);
    g_value_take_object(&made.value, g_object_new(G_TYPE_OBJECT, nullptr));
    return made;
  }
  static void set(Value& to, int value) { g_value_set_int(&to.value, value); }
  static void set(Value& to, double value) { g_value_set_double(&to.value, value); }
  static bool is(const Value& a, int value) { return g_value_get_int(&a.value) == value; }
  static bool is(const Value& a, double value) {
    return !(g_value_get_double(&a.value) < value) && !(g_value_get_double(&a.value) > value);
  }
  static bool isText(const Value& a, const char* text) {
    return std::string(g_value_get_string(&a.value)) == text;
  }
  static bool isObject(const Value& a) { return G_IS_OBJECT(g_value_get_object(&a.value)); }
};

struct Json {
  static constexpr const char* kName = "nlohmann::json";
  static constexpr bool kHoldsObjects = false;
  using Value = nlohmann::json;
  template <class T>
  static Value of(T value) {
    return value;
  }
  static Value ofText(const char* text) { return text; }
  template <class T>
  static void set(Value& to, T value) {
    to = value;
  }
  template <class T>
  static bool is(const Value& a, T value) {
    return a == Value(value);
  }
  static bool isText(const Value& a, const char* text) { return a == Value(text); }
};

constexpr int kSteps = 10000;

template <class Side>
typename Side::Value copies(State& state, const typename Side::Value& source) {
  keep(source);
  velbench::repeat(state, kSteps, [&](int) {
    const typename Side::Value copy(source);
    keep(copy);
  });
  return source;
}

template <class Side, class T>
void copyNumber(State& state) {
  check(Side::is(copies<Side>(state, Side::of(T(7))), T(7)), "copied number");
}

template <class Side, class T>
void assignNumber(State& state) {
  const typename Side::Value source = Side::of(T(7));
  typename Side::Value target = Side::of(T(1));
  keep(source);
  velbench::repeat(state, kSteps, [&](int) {
    target = source;
    keep(target);
  });
  check(Side::is(target, T(7)), "assigned number");
}

template <class Side, class T>
void constructNumber(State& state) {
  velbench::repeat(state, kSteps, [&](int i) {
    const typename Side::Value made = Side::of(static_cast<T>(i));
    keep(made);
  });
  check(Side::is(Side::of(T(7)), T(7)), "made number");
}

template <class Side, class T>
void setNumber(State& state) {
  typename Side::Value target = Side::of(T(-1));
  velbench::repeat(state, kSteps, [&](int i) {
    Side::set(target, static_cast<T>(i));
    keep(target);
  });
  check(Side::is(target, T(kSteps - 1)), "set number");
}

template <class Side>
void copyMixed(State& state) {
  constexpr int kValues = 1000;
  std::vector<typename Side::Value> source;
  for (int i = 0; i < kValues; ++i) {
    switch (i % 4) {
      case 0:
        source.push_back(Side::of(i));
        break;
      case 1:
        source.push_back(Side::of(i + 0.5));
        break;
      case 2:
        source.push_back(Side::ofText(kShort));
        break;
      default:
        source.push_back(Side::ofText(kLong));
    }
  }
  for (auto _ : state) {
    const std::vector<typename Side::Value> copy(source);
    keep(copy.front());
  }
  state.SetItemsProcessed(state.iterations() * kValues);
  const auto copy = source;
  check(copy.size() == kValues && Side::is(copy[4], 4) && Side::is(copy[5], 5.5) &&
            Side::isText(copy[6], kShort) && Side::isText(copy[7], kLong),
        "copied values");
}

template <class Side, class T>
void addNumber(const std::string& kind) {
  velbench::add(("variant of " + kind + ": copy").c_str(), Side::kName, copyNumber<Side, T>);
  velbench::add(("variant of " + kind + ": assign").c_str(), Side::kName, assignNumber<Side, T>);
  velbench::add(("variant of " + kind + ": construct").c_str(), Side::kName,
                constructNumber<Side, T>);
  velbench::add(("variant of " + kind + ": set").c_str(), Side::kName, setNumber<Side, T>);
}

template <class Side>
void addSide() {
  addNumber<Side, int>("int");
  addNumber<Side, double>("real");
  velbench::addCounting("variant of 8 letters: copy", Side::kName, [](State& state) {
    check(Side::isText(copies<Side>(state, Side::ofText(kShort)), kShort), "copied text");
  });
  velbench::addCounting("variant of 48 letters: copy", Side::kName, [](State& state) {
    check(Side::isText(copies<Side>(state, Side::ofText(kLong)), kLong), "copied text");
  });
  if constexpr (Side::kHoldsObjects) {
    velbench::addCounting("variant of an object: copy", Side::kName, [](State& state) {
      check(Side::isObject(copies<Side>(state, Side::ofObject())), "copied object");
    });
  }
  velbench::addCounting("array of 1,000 mixed variants: copy", Side::kName, copyMixed<Side>);
}

}  // namespace

void velbench::registerCases() {
  addSide<Ours>();
  addSide<Std>();
  addSide<QtCore>();
  addSide<Glib>();
  addSide<Json>();
}
