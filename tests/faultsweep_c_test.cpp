// Every function of the C interface with memory that runs out: "Out of memory" is
// pending afterwards, and nothing else has happened.
#define VELSWEEP_FAMILY "C interface"
#include "faultsweep.h"
#include "veltest_cfunctions.h"

namespace {

using velsweep::NeverFail;
using velsweep::Show;
using velsweep::ShowDictionary;
using velsweep::ShowSequence;
using velsweep::Table;
using velsweep::Trial;

// ---- records that give back what they hold, also without memory ----

struct Text {
  __xstring_c view{};
  Text() { xstrcreate_c(&view, nullptr); }
  explicit Text(const char* text) { xstrcreate_c(&view, text); }
  ~Text() { xstrunlock_c(&view); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  void take(__xstring_c got) {
    xstrunlock_c(&view);
    view = got;
  }
};
struct Variant {
  __xany_c view = xanyuninit_c();
  Variant() = default;
  explicit Variant(__xany_c made) : view(made) {}
  ~Variant() { xanyunlock_c(&view); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  void take(__xany_c got) {
    xanyunlock_c(&view);
    view = got;
  }
};
struct Object {
  xobject* object = nullptr;
  Object() = default;
  explicit Object(xobject* made) : object(made) {}
  ~Object() { xrcrelease_c(object); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  void take(xobject* got) {
    xrcrelease_c(object);
    object = got;
  }
};

template <class T>
xobject* Flat(T* object) {
  return object;
}

/// A call on a sequence of strings, a long narrow text and a wide one.
struct Scene {
  Object sequence{Flat(xstringsequence_create())};
  Object thing{xobjcreate_c("vellib::XInvalidDictKey")};
  Text narrow{"a narrow text"};
  Text wide;
  Variant any{xanyint_c(3)};
  Variant text{xanystr_c("a text in a variant")};
  Variant object{xanyobj_c(thing.object)};
  Variant seenAny;
  Text seenText;
  Object seenObject;
  int seen = 0;

  Scene() {
    const xstring made(L"a wide text");
    wide.take(made.getxstring_c());
    xstringsequence_set(dynamic_cast<xstringsequence*>(sequence.object), 1, narrow.view);
  }
  std::string state() const {
    return Show(sequence.object) + Show(thing.object) + Show(narrow.view) + Show(wide.view) +
           Show(any.view) + Show(text.view) + Show(object.view);
  }
  std::string result() const {
    return Show(seenAny.view) + Show(seenText.view) + Show(seenObject.object) + Show(seen);
  }
};

template <class Call>
void Calls(Table& table, const char* name, Call call) {
  table.push_back({name, [call](Trial& t) {
                     Scene scene;
                     t.state([&] { return scene.state(); });
                     t.result([&] { return scene.result(); });
                     t.runC([&] { call(scene); });
                   }});
}

// What `xisexc_c` and its kin give is what the engine itself looks at, so these
// calls leave nothing pending.
void FillPending(Table& table) {
  NeverFail(table, [&] {
    Calls(table, "xsetexc_c|xgetexc_c|xisexc_c|xextractexc_c|xcleanupexc_c", [](Scene& s) {
      auto* exception = dynamic_cast<xthrowable*>(s.thing.object);
      xsetexc_c(exception);
      s.seen = xisexc_c();
      xrcrelease_c(Flat(xgetexc_c()));
      xsetexc_c(exception);
      xrcrelease_c(Flat(xextractexc_c()));
      xsetexc_c(exception);
      xcleanupexc_c();
    });
  });
  Calls(table, "xsetexc_c (not an exception)", [](Scene& s) {
    xsetexc_c(static_cast<xthrowable*>(static_cast<void*>(s.sequence.object)));
  });
}

void FillFunctions(Table& table) {
  FillPending(table);
  NeverFail(table, [&] {
    Calls(table, "xisrcobj_c|xrcattach_c|xrcrelease_c|xgetrtti_c|xisobjsameas_c", [](Scene& s) {
      xrcattach_c(s.sequence.object);
      xrcrelease_c(s.sequence.object);
      s.seen = xisrcobj_c(s.sequence.object) +
               xisobjsameas_c(s.sequence.object, xstringsequence_getclassrtti_c()) +
               (xgetrtti_c(s.thing.object) != nullptr);
    });
    Calls(table, "xisobjkindof_c", [](Scene& s) {
      s.seen = xisobjkindof_c(s.thing.object, velXException::getClassRtti()) +
               2 * xisobjkindof_c(s.thing.object, velXNull::getClassRtti());
    });
  });
  Calls(table, "xdelete_c", [](Scene& s) {
    xrcattach_c(s.thing.object);
    xdelete_c(s.thing.object);
  });
  Calls(table, "xgettypename_c", [](Scene& s) { s.seenText.take(xgettypename_c(s.thing.object)); });
  Calls(table, "xgettypename_c (null)", [](Scene& s) { s.seenText.take(xgettypename_c(nullptr)); });
  Calls(table, "xstrcreate_c", [](Scene& s) {
    __xstring_c made;
    xstrcreate_c(&made, "a long text that needs a block of more than sixty-four bytes, this one");
    s.seenText.take(made);
  });
  Calls(table, "xstrgetmb_c", [](Scene& s) { s.seen = xstrgetmb_c(&s.wide.view) != nullptr; });
  Calls(table, "xstrgetwc_c", [](Scene& s) { s.seen = xstrgetwc_c(&s.narrow.view) != nullptr; });
  NeverFail(table, [&] {
    Calls(table, "xstrlock_c|xstrunlock_c", [](Scene& s) {
      __xstring_c copy = s.narrow.view;
      xstrlock_c(&copy);
      xstrunlock_c(&copy);
      xstrunlock_c(&copy);
    });
  });
  NeverFail(table, [&] {
    Calls(table, "xanyuninit_c|xanynil_c|xanyint_c|xanybool_c|xanyreal_c", [](Scene& s) {
      s.seenAny.take(xanyuninit_c());
      s.seenAny.take(xanynil_c());
      s.seenAny.take(xanybool_c(1));
      s.seenAny.take(xanyreal_c(2.5));
      s.seenAny.take(xanyint_c(3));
    });
  });
  Calls(table, "xanystr_c", [](Scene& s) { s.seenAny.take(xanystr_c("a text")); });
  Calls(table, "xanyxstr_c", [](Scene& s) { s.seenAny.take(xanyxstr_c(s.narrow.view)); });
  Calls(table, "xanyenum_c", [](Scene& s) {
    static const char* const names[] = {"red", "green"};
    static auto* colours = new xrttienum("faultsweep::flat", 2, names);
    s.seenAny.take(xanyenum_c(1, colours));
  });
  Calls(table, "xanyenum_c (null)", [](Scene& s) { s.seenAny.take(xanyenum_c(1, nullptr)); });
  NeverFail(table, [&] {
    Calls(table, "xanyobj_c", [](Scene& s) { s.seenAny.take(xanyobj_c(s.thing.object)); });
    Calls(table, "xanytoint_c", [](Scene& s) { s.seen = xanytoint_c(&s.any.view); });
  });
  Calls(table, "xanytoint_c (mismatch)", [](Scene& s) { s.seen = xanytoint_c(&s.text.view); });
  Calls(table, "xanytobool_c", [](Scene& s) { s.seen = xanytobool_c(&s.text.view); });
  Calls(table, "xanytoreal_c", [](Scene& s) { s.seen = xanytoreal_c(&s.text.view) > 1; });
  Calls(table, "xanytostr_c", [](Scene& s) { s.seenText.take(xanytostr_c(&s.text.view)); });
  Calls(table, "xanytostr_c (mismatch)", [](Scene& s) { s.seenText.take(xanytostr_c(&s.any.view)); });
  NeverFail(table, [&] {
    Calls(table, "xanytoobj_c", [](Scene& s) { s.seenObject.take(xanytoobj_c(&s.object.view)); });
  });
  Calls(table, "xanytoobj_c (mismatch)", [](Scene& s) { s.seenObject.take(xanytoobj_c(&s.any.view)); });
  NeverFail(table, [&] {
    Calls(table, "xanygetkind_c", [](Scene& s) { s.seen = xanygetkind_c(&s.object.view); });
    Calls(table, "xanygetkind_c (null)", [](Scene& s) { s.seen = xanygetkind_c(nullptr); });
    Calls(table, "xanycopy_c|xanyunlock_c", [](Scene& s) { s.seenAny.take(xanycopy_c(&s.text.view)); });
  });
  Calls(table, "xprint_c", [](Scene& s) { xprint_c(s.sequence.object); });
  Calls(table, "xprintstr_c", [](Scene& s) { s.seenText.take(xprintstr_c(&s.object.view, 2)); });
  Calls(table, "xprintstr_c (null)", [](Scene& s) { s.seenText.take(xprintstr_c(nullptr, 2)); });
  table.push_back({"xcompare_c", [](Trial& t) {
                     Scene s;
                     t.state([&] { return s.state(); });
                     t.result([&] { return s.result(); });
                     // A getter without memory is a failed read, as the walk tells it.
                     t.mayReport();
                     t.runC([&] { s.seen = xcompare_c(&s.object.view, &s.object.view); });
                   }});

  // ---- types ----
  const auto rtti = [&](const char* name, auto ask) {
    Calls(table, name, [ask](Scene& s) {
      s.seen = static_cast<int>(ask(xrttifind_c("vellib::XSoapFault"), s));
    });
  };
  Calls(table, "xrttifind_c", [](Scene& s) { s.seen = xrttifind_c("intseq") != nullptr; });
  Calls(table, "xrttiforeach_c", [](Scene&) {
    xrttiforeach_c([](xrtti*, void*) { return 1; }, nullptr);
  });
  rtti("xrttigetname_c", [](xrtti* r, Scene& s) { return s.seenText.take(xrttigetname_c(r)), 0; });
  rtti("xrttigetname_c (null)", [](xrtti*, Scene& s) { return s.seenText.take(xrttigetname_c(nullptr)), 0; });
  NeverFail(table, [&] {
    rtti("xrttigetkind_c|xrttiisrefcount_c|xrttigetnparents_c|xrttigetnattrs_c",
         [](xrtti* r, Scene&) {
           return xrttigetkind_c(r) + xrttiisrefcount_c(r) + xrttigetnparents_c(r) +
                  xrttigetnattrs_c(r);
         });
    rtti("xrttigetparent_c", [](xrtti* r, Scene&) { return xrttigetparent_c(r, 0) != nullptr; });
    rtti("xrttigetattr_c", [](xrtti* r, Scene&) { return xrttigetattr_c(r, 0) != nullptr; });
  });
  rtti("xrttifindattr_c",
       [](xrtti* r, Scene&) { return xrttifindattr_c(r, "Description", 1) != nullptr; });
  // The kinds that this type is not.
  rtti("xrttigetnvalues_c", [](xrtti* r, Scene&) { return xrttigetnvalues_c(r); });
  rtti("xrttimapinttostr_c",
       [](xrtti* r, Scene& s) { return s.seenText.take(xrttimapinttostr_c(r, 0)), 0; });
  rtti("xrttimapstrtoint_c", [](xrtti* r, Scene&) { return xrttimapstrtoint_c(r, "red"); });
  rtti("xrttigetelemtype_c", [](xrtti* r, Scene&) { return xrttigetelemtype_c(r) != nullptr; });
  rtti("xrttigetndimentions_c", [](xrtti* r, Scene&) { return xrttigetndimentions_c(r); });
  rtti("xrttigetdimention_c", [](xrtti* r, Scene&) { return xrttigetdimention_c(r, 0); });
  rtti("xrttigetdiscr_c", [](xrtti* r, Scene&) { return xrttigetdiscr_c(r) != nullptr; });
  rtti("xrttigetnlabels_c", [](xrtti* r, Scene&) { return xrttigetnlabels_c(r); });
  rtti("xrttigetlabel_c", [](xrtti* r, Scene&) { return xrttigetlabel_c(r, 0); });
  rtti("xrttigetbranch_c", [](xrtti* r, Scene&) { return xrttigetbranch_c(r, 0) != nullptr; });
  rtti("xrttigetdefaultbranch_c",
       [](xrtti* r, Scene&) { return xrttigetdefaultbranch_c(r) != nullptr; });
  rtti("xrttiattrgetname_c", [](xrtti* r, Scene& s) {
    return s.seenText.take(xrttiattrgetname_c(xrttigetattr_c(r, 0))), 0;
  });
  NeverFail(table, [&] {
    rtti("xrttiattrgettype_c|xrttiattrisoptional_c", [](xrtti* r, Scene&) {
      xrttiattr* attr = xrttigetattr_c(r, 0);
      return (xrttiattrgettype_c(attr) != nullptr) + xrttiattrisoptional_c(attr);
    });
  });
  rtti("xrttiattrgetvalue_c", [](xrtti*, Scene& s) {
    xrtti* own = xrttifind_c("vellib::XInvalidDictKey");
    s.seenAny.take(xrttiattrgetvalue_c(xrttigetattr_c(own, 1), s.thing.object));
    return 0;
  });
  rtti("xrttiattrgetvalue_c (of another class)", [](xrtti* r, Scene& s) {
    s.seenAny.take(xrttiattrgetvalue_c(xrttigetattr_c(r, 0), s.sequence.object));
    return 0;
  });

  // ---- objects by name ----
  Calls(table, "xobjcreate_c",
        [](Scene& s) { s.seenObject.take(xobjcreate_c("vellib::XSoapFault")); });
  Calls(table, "xobjgetattr_c",
        [](Scene& s) { s.seenAny.take(xobjgetattr_c(s.thing.object, "Key")); });
  Calls(table, "xobjgetattr_c (unknown)",
        [](Scene& s) { s.seenAny.take(xobjgetattr_c(s.thing.object, "None")); });
  table.push_back({"xobjsetattr_c", [](Trial& t) {
                     Scene s;
                     t.state([&] {
                       auto* thing = dynamic_cast<velXInvalidDictKey*>(s.thing.object);
                       return s.state() + Show(thing->getKey());
                     });
                     t.runC([&] { xobjsetattr_c(s.thing.object, "Key", &s.text.view); });
                   }});
}

// ---- collections ----

template <class Flat>
struct Kind;
template <>
struct Kind<unsigned char> {
  struct Value {
    unsigned char view = 1;
    void take(unsigned char got) { view = got; }
  };
};
template <>
struct Kind<int> {
  struct Value {
    int view = 5;
    void take(int got) { view = got; }
  };
};
template <>
struct Kind<double> {
  struct Value {
    double view = 2.5;
    void take(double got) { view = got; }
  };
};
template <>
struct Kind<__xstring_c> {
  struct Value : Text {
    Value() : Text("a string value") {}
  };
};
template <>
struct Kind<__xany_c> {
  struct Value : Variant {
    Value() : Variant(xanystr_c("an any value")) {}
  };
};

template <class C, class Flat>
void FillSequence(Table& table, const std::string& name, VelSequenceFunctions<C, Flat> f) {
  const auto add = [&](const std::string& member, auto use) {
    for (const int count : {0, 4, static_cast<int>(256 / sizeof(Flat))}) {
      table.push_back({name + member + " (" + std::to_string(count) + ')', [=](Trial& t) {
                         C* sequence = f.create();
                         const Object held(sequence);
                         const typename Kind<Flat>::Value value;
                         typename Kind<Flat>::Value got;
                         int seen = 0;
                         for (int i = 0; i < count; ++i) f.set(sequence, i, value.view);
                         t.state([&] { return ShowSequence(sequence); });
                         t.result([&] { return Show(got.view) + Show(seen); });
                         t.runC([&] { seen = use(sequence, value.view, got); });
                       }});
    }
  };
  using Got = typename Kind<Flat>::Value;
  using In = const Flat&;
  table.push_back({name + "_create|" + name + "_getclassrtti_c", [=](Trial& t) {
                     Object made;
                     t.state([&] { return Show(made.object); });
                     t.runC([&] {
                       f.getclassrtti();
                       made.take(f.create());
                     });
                   }});
  NeverFail(table, [&] {
    add("_getarraysize", [=](C* s, In, Got&) { return f.getarraysize(s); });
    add("_getarraysize - null", [=](C*, In, Got&) { return f.getarraysize(nullptr); });
  });
  const auto reads = [&] {
    add("_get", [=](C* s, In, Got& got) { return got.take(f.get(s, 1)), 0; });
    add("_get - below", [=](C* s, In, Got& got) { return got.take(f.get(s, -1)), 0; });
  };
  // The view of a string is an object of its own.
  if (std::is_class<Flat>::value) {
    reads();
  } else {
    NeverFail(table, reads);
  }
  add("_set", [=](C* s, In v, Got&) { return f.set(s, 2, v), 0; });
  add("_set - far", [=](C* s, In v, Got&) { return f.set(s, 300, v), 0; });
  add("_insert", [=](C* s, In v, Got&) { return f.insert(s, 1, v), 0; });
  add("_insertseq", [=](C* s, In, Got&) { return f.insertseq(s, 1, s), 0; });
  NeverFail(table, [&] {
    add("_removerange", [=](C* s, In, Got&) { return f.removerange(s, 0, 2), 0; });
  });
}

// A string or variant is always written and then the caller's; a scalar only when
// it is found.
template <class Got, class Flat>
void Keep(Got& got, const Flat& found, int present) {
  if (std::is_class<Flat>::value || present == 1) got.take(found);
}

template <class T, class C, class Flat>
void FillDictionary(Table& table, const std::string& name, VelDictionaryFunctions<C, Flat> f) {
  using Got = typename Kind<Flat>::Value;
  using In = const Flat&;
  const auto add = [&](const std::string& member, auto use, bool shrinks = false) {
    for (const int count : {0, 5, 30, 46}) {
      table.push_back({name + member + " (" + std::to_string(count) + ')', [=](Trial& t) {
                         C* dictionary = f.create();
                         const Object held(dictionary);
                         const Got value;
                         Got got;
                         Text key;
                         int seen = 0;
                         for (int i = 0; i < count; ++i) {
                           f.set(dictionary, xstring::Printf("key %d", i), value.view);
                         }
                         int used = 0;
                         while (used < f.getmapsize(dictionary) &&
                                !dictionary->getbyindex(used, nullptr)) {
                           ++used;
                         }
                         t.state([&] { return ShowDictionary<C, T>(dictionary, !shrinks); });
                         t.result([&] { return Show(seen) + Show(got.view) + Show(key.view); });
                         t.runC([&] { seen = use(dictionary, value.view, got, key, used); });
                       }});
    }
  };
  table.push_back({name + "_create|" + name + "_getclassrtti_c", [=](Trial& t) {
                     Object made;
                     t.state([&] { return Show(made.object); });
                     t.runC([&] {
                       f.getclassrtti();
                       made.take(f.create());
                     });
                   }});
  NeverFail(table, [&] {
    add("_getmapsize", [=](C* d, In, Got&, Text&, int) { return f.getmapsize(d); });
    add("_count_c", [=](C* d, In, Got&, Text&, int) { return f.count(d); });
    add("_count_c - null", [=](C*, In, Got&, Text&, int) { return f.count(nullptr); });
    add("_find", [=](C* d, In, Got& got, Text&, int) {
      Flat found{};
      const int present = f.find(d, "key 1", &found);
      Keep(got, found, present);
      return present;
    });
  });
  add("_set", [=](C* d, In v, Got&, Text&, int) { return f.set(d, "key", v), 0; });
  add("_set - over", [=](C* d, In v, Got&, Text&, int) { return f.set(d, "key 1", v), 0; });
  NeverFail(table, [&] {
    add("_remove", [=](C* d, In, Got&, Text&, int) { return f.remove(d, "key 2"), 0; }, true);
  });
  NeverFail(table, [&] {
    add("_getbyindex", [=](C* d, In, Got& got, Text&, int used) {
      Flat found{};
      const int present = f.getbyindex(d, used, &found);
      Keep(got, found, present);
      return present;
    });
  });
  add("_getkeybyindex", [=](C* d, In, Got&, Text& key, int used) {
    __xstring_c found;
    const int present = f.getkeybyindex(d, used, &found);
    key.take(found);
    return present;
  });
  add("_setbyindex", [=](C* d, In v, Got&, Text&, int used) { return f.setbyindex(d, used, v), 0; });
  NeverFail(table, [&] {
    add("_removebyindex",
        [=](C* d, In, Got&, Text&, int used) { return f.removebyindex(d, used), 0; }, true);
  });
}

}  // namespace

void velsweep::fill(Table& table) {
  FillFunctions(table);
#define VELSWEEP_SEQUENCE(C, Flat) FillSequence(table, #C, VEL_SEQUENCE_FUNCTIONS(C, Flat));
  VELSWEEP_SEQUENCE(xboolsequence, unsigned char)
  VELSWEEP_SEQUENCE(xintsequence, int)
  VELSWEEP_SEQUENCE(xrealsequence, double)
  VELSWEEP_SEQUENCE(xstringsequence, __xstring_c)
  VELSWEEP_SEQUENCE(xanysequence, __xany_c)
#undef VELSWEEP_SEQUENCE
#define VELSWEEP_DICTIONARY(C, T, Flat) \
  FillDictionary<T>(table, #C, VEL_DICTIONARY_FUNCTIONS(C, Flat));
  VELSWEEP_DICTIONARY(xbooldictionary, unsigned char, unsigned char)
  VELSWEEP_DICTIONARY(xintdictionary, int, int)
  VELSWEEP_DICTIONARY(xrealdictionary, double, double)
  VELSWEEP_DICTIONARY(xstringdictionary, xstring, __xstring_c)
  VELSWEEP_DICTIONARY(xanydictionary, xany, __xany_c)
#undef VELSWEEP_DICTIONARY
}
