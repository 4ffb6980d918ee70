// Sequences of numbers, texts and variants: growing, reading, shifting, copying.
#include <glib.h>

#include <QList>
#include <QString>
#include <QVariant>
#include <variant>

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

constexpr int kElements = 10000;
constexpr int kMillion = 1000000;  // beyond what an allocator has at hand
constexpr int kShifts = 100;

using StdVariant = std::variant<std::monostate, int, bool, double, std::string>;

const std::string& word(int i) { return velbench::words()[static_cast<std::size_t>(i)]; }

// Element number `i` of every sequence.
template <class T>
struct Element {
  static T at(int i) { return static_cast<T>(i); }
};
template <>
struct Element<xstring> {
  static xstring at(int i) { return word(i).c_str(); }
};
template <>
struct Element<std::string> {
  static std::string at(int i) { return word(i); }
};
template <>
struct Element<QString> {
  static QString at(int i) { return QString::fromStdString(word(i)); }
};
// Every third is a text.
template <class Variant, class Text>
Variant variantAt(int i) {
  if (i % 3 == 0) return i;
  if (i % 3 == 1) return i + 0.5;
  return Element<Text>::at(i);
}
template <>
struct Element<xany> {
  static xany at(int i) { return variantAt<xany, xstring>(i); }
};
template <>
struct Element<StdVariant> {
  static StdVariant at(int i) { return variantAt<StdVariant, std::string>(i); }
};
template <>
struct Element<QVariant> {
  static QVariant at(int i) { return variantAt<QVariant, QString>(i); }
};

template <class T>
std::vector<T> elements(int count) {
  std::vector<T> all;
  for (int i = 0; i < count; ++i) all.push_back(Element<T>::at(i));
  return all;
}

template <class Sequence, class T>
struct Ours {
  static constexpr const char* kName = "velstd";
  using Value = T;
  using Subject = xrchandle<Sequence>;
  static Subject make() { return Sequence::create(); }
  static Subject reserved(int n) { return Sequence::createCapacity(static_cast<unsigned>(n)); }
  static void append(Subject& s, const T& value) { s->append(value); }
  static T get(const Subject& s, int i) { return s->get(i); }
  static const T& at(const Subject& s, int i) { return (*s)[i]; }
  static void insert(Subject& s, int i, const T& value) { s->insert(i, value); }
  static void remove(Subject& s, int i) { s->removerange(i, i + 1); }
  static int size(const Subject& s) { return s->getarraysize(); }
  static Subject copy(const Subject& s) {
    Subject made = Sequence::create();
    made->insertseq(0, *s);
    return made;
  }
};

template <class T>
struct Std {
  static constexpr const char* kName = "std::vector";
  using Value = T;
  using Subject = std::vector<T>;
  static Subject make() { return Subject(); }
  static Subject reserved(int n) {
    Subject s;
    s.reserve(static_cast<std::size_t>(n));
    return s;
  }
  static void append(Subject& s, const T& value) { s.push_back(value); }
  static T get(const Subject& s, int i) { return s.at(static_cast<std::size_t>(i)); }
  static const T& at(const Subject& s, int i) { return s.at(static_cast<std::size_t>(i)); }
  static void insert(Subject& s, int i, const T& value) { s.insert(s.begin() + i, value); }
  static void remove(Subject& s, int i) { s.erase(s.begin() + i); }
  static int size(const Subject& s) { return static_cast<int>(s.size()); }
  static Subject copy(const Subject& s) { return s; }
};

template <class T>
struct QtCore {
  static constexpr const char* kName = "QList";
  using Value = T;
  using Subject = QList<T>;
  static Subject make() { return Subject(); }
  static Subject reserved(int n) {
    Subject s;
    s.reserve(n);
    return s;
  }
  static void append(Subject& s, const T& value) { s.append(value); }
  // Without a check, as released programs have it.
  static T get(const Subject& s, int i) { return s.at(i); }
  static const T& at(const Subject& s, int i) { return s.at(i); }
  static void insert(Subject& s, int i, const T& value) { s.insert(i, value); }
  static void remove(Subject& s, int i) { s.removeAt(i); }
  static int size(const Subject& s) { return static_cast<int>(s.size()); }
  // Copies share until one is changed, so one is.
  static Subject copy(const Subject& s) {
    Subject made = s;
    made.detach();
    return made;
  }
};

template <class T>
struct Glib {
  static constexpr const char* kName = "GArray";
  using Value = T;
  struct Drop {
    void operator()(GArray* array) const { g_array_free(array, TRUE); }
  };
  using Subject = std::unique_ptr<GArray, Drop>;
  static Subject make() { return reserved(0); }
  static Subject reserved(int n) {
    return Subject(g_array_sized_new(FALSE, FALSE, sizeof(T), static_cast<guint>(n)));
  }
  static void append(Subject& s, const T& value) { g_array_append_vals(s.get(), &value, 1); }
  // Without a check: there is no other way.
  static T get(const Subject& s, int i) { return g_array_index(s.get(), T, i); }
  static const T& at(const Subject& s, int i) { return g_array_index(s.get(), T, i); }
  static void insert(Subject& s, int i, const T& value) {
    g_array_insert_vals(s.get(), static_cast<guint>(i), &value, 1);
  }
  static void remove(Subject& s, int i) { g_array_remove_index(s.get(), static_cast<guint>(i)); }
  static int size(const Subject& s) { return static_cast<int>(s->len); }
  static Subject copy(const Subject& s) { return Subject(g_array_copy(s.get())); }
};

template <class Side>
bool holds(const typename Side::Subject& s, int at, int number) {
  return Side::get(s, at) == Element<typename Side::Value>::at(number);
}

template <class Side>
typename Side::Subject filled() {
  auto s = Side::make();
  for (int i = 0; i < kElements; ++i) Side::append(s, Element<typename Side::Value>::at(i));
  for (int i = 0; i < kElements; ++i) check(holds<Side>(s, i, i), "element");
  return s;
}

template <class Side, class Make>
void append(State& state, int count, Make make) {
  const auto values = elements<typename Side::Value>(count);
  velbench::timed(state, count, make, [&](auto& s) {
    for (const auto& value : values) Side::append(s, value);
    check(Side::size(s) == count, "append");
  });
}

// Many sequences are short and do not live long: one is made, filled and dropped.
template <class Side>
void appendShort(State& state) {
  constexpr int kShort = 50;
  const auto values = elements<typename Side::Value>(kShort);
  for (auto _ : state) {
    auto s = Side::make();
    for (const auto& value : values) Side::append(s, value);
    check(Side::size(s) == kShort, "append");
    keep(s);
  }
  state.SetItemsProcessed(state.iterations() * kShort);
}

template <class Side>
void get(State& state) {
  const auto s = filled<Side>();
  velbench::repeat(state, kElements, [&](int i) {
    const typename Side::Value value = Side::get(s, i);
    keep(value);
  });
}

template <class Side>
void getInPlace(State& state) {
  const auto s = filled<Side>();
  velbench::repeat(state, kElements, [&](int i) {
    const typename Side::Value& there = Side::at(s, i);
    if constexpr (std::is_class_v<typename Side::Value>) {
      keep(there);
    } else {
      keep(typename Side::Value{there});
    }
  });
}

template <class Side>
void insert(State& state) {
  const auto value = Element<typename Side::Value>::at(7);
  velbench::timed(state, kShifts, filled<Side>, [&](auto& s) {
    for (int i = 0; i < kShifts; ++i) Side::insert(s, kElements / 2, value);
    check(Side::size(s) == kElements + kShifts && holds<Side>(s, kElements / 2, 7) &&
              holds<Side>(s, kElements + kShifts - 1, kElements - 1),
          "insert");
  });
}

template <class Side>
void remove(State& state) {
  velbench::timed(state, kShifts, filled<Side>, [&](auto& s) {
    for (int i = 0; i < kShifts; ++i) Side::remove(s, kElements / 2);
    check(Side::size(s) == kElements - kShifts &&
              holds<Side>(s, kElements / 2, kElements / 2 + kShifts),
          "remove");
  });
}

template <class Side>
void copy(State& state) {
  const auto source = filled<Side>();
  for (auto _ : state) {
    const auto made = Side::copy(source);
    keep(made);
  }
  state.SetItemsProcessed(state.iterations() * kElements);
  const auto made = Side::copy(source);
  check(Side::size(made) == kElements && holds<Side>(made, kElements - 1, kElements - 1), "copy");
}

template <class Side>
void addSide(const char* kind) {
  constexpr bool kCounting = std::is_class_v<typename Side::Value>;
  const auto enter = [=](const char* what, bool isTimed, auto body) {
    const std::string work = std::string(kind) + " sequence: " + what;
    if (isTimed) {
      velbench::addTimed(work.c_str(), Side::kName, kCounting, body);
    } else if (kCounting) {
      velbench::addCounting(work.c_str(), Side::kName, body);
    } else {
      velbench::add(work.c_str(), Side::kName, body);
    }
  };
  enter("append", true, [](State& state) { append<Side>(state, kElements, Side::make); });
  enter("append 50 to a new one", false, appendShort<Side>);
  enter("append a million", true, [](State& state) { append<Side>(state, kMillion, Side::make); });
  enter("append reserved", true, [](State& state) {
    append<Side>(state, kElements, [] { return Side::reserved(kElements); });
  });
  enter("get", false, get<Side>);
  enter("get in place", false, getInPlace<Side>);
  enter("insert in the middle of 10k", true, insert<Side>);
  enter("remove from the middle of 10k", true, remove<Side>);
  enter("copy 10k", false, copy<Side>);
}

template <class Sequence, class OurValue, class StdValue, class QtValue>
void addKind(const char* kind) {
  addSide<Ours<Sequence, OurValue>>(kind);
  addSide<Std<StdValue>>(kind);
  addSide<QtCore<QtValue>>(kind);
  if constexpr (!std::is_class_v<OurValue>) addSide<Glib<OurValue>>(kind);
}

}  // namespace

void velbench::registerCases() {
  addKind<xintsequence, int, int, int>("int");
  addKind<xrealsequence, double, double, double>("real");
  addKind<xstringsequence, xstring, std::string, QString>("string");
  addKind<xanysequence, xany, StdVariant, QVariant>("any");
}
