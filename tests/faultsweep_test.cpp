// Strings, variants, handles and the ten collections with memory that runs out.
#define VELSWEEP_FAMILY "values and collections"
#include "faultsweep.h"

#include "velrelease.h"
#include "velstrstream.h"

namespace {

using velsweep::NeverFail;
using velsweep::Show;
using velsweep::ShowDictionary;
using velsweep::ShowSequence;
using velsweep::Table;
using velsweep::Trial;

// ---- strings ----

/// A step that makes a string out of nothing.
template <class Make>
void Makes(Table& table, const char* name, Make make) {
  table.push_back({name, [=](Trial& t) {
                     xstring made;
                     t.result([&] { return Show(made); });
                     t.run([&] { made = make(); });
                   }});
}

/// A step on each of a narrow, a wide, a shared, an empty and a null string.
template <class Change>
void Changes(Table& table, const std::string& name, Change change) {
  const auto add = [&](const char* which, auto make) {
    table.push_back({name + " (" + which + ')', [=](Trial& t) {
                       xstring text = make();
                       xstring seen;
                       t.state([&] { return Show(text); });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = change(text); });
                     }});
    table.push_back({name + " (shared " + which + ')', [=](Trial& t) {
                       const xstring kept = make();
                       xstring text = kept;
                       xstring seen;
                       t.state([&] { return Show(text) + Show(kept); });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = change(text); });
                     }});
  };
  add("narrow", [] { return xstring("one,two,three and a tail that fills the first block"); });
  add("wide", [] { return xstring(L"one,two,three and a tail that fills the first block"); });
  add("empty", [] { return xstring(""); });
  add("null", [] { return xstring(); });
}

/// The same for what gives no string.
template <class Ask>
void Asks(Table& table, const std::string& name, Ask ask) {
  const auto add = [&](const char* which, auto make) {
    table.push_back({name + " (" + which + ')', [=](Trial& t) {
                       xstring text = make();
                       int seen = 0;
                       t.state([&] { return Show(text); });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = static_cast<int>(ask(text)); });
                     }});
  };
  add("narrow", [] { return xstring("12,two"); });
  add("wide", [] { return xstring(L"12,two"); });
  add("null", [] { return xstring(); });
}

const char kLong[] =
    "a text of more than sixty-four bytes, so that what it is appended to has to grow for it";

void FillStrings(Table& table) {
  static const xstring joint("one,two");
  Makes(table, "xstring::xstring|xstring::CreateFromString", [] { return xstring(kLong); });
  Makes(table, "xstring::xstring (wide)", [] { return xstring(L"wide text"); });
  Makes(table, "xstring::xstring (part)", [] { return xstring(kLong, 7); });
  Makes(table, "xstring::xstring (wide part)", [] { return xstring(L"wide text", 4); });
  Makes(table, "xstring::xstring (range)", [] { return xstring(kLong, 3, 9); });
  Makes(table, "xstring::xstring (wide range)", [] { return xstring(L"wide text", 1, 3); });
  Makes(table, "xstring::xstring (two)", [] { return xstring("a", "b"); });
  Makes(table, "xstring::xstring (two wide)", [] { return xstring(L"a", L"b"); });
  Makes(table, "xstring::xstring (string and text)", [] { return xstring(joint, kLong); });
  Makes(table, "xstring::xstring (string and wide)", [] { return xstring(joint, L"wide"); });
  Makes(table, "xstring::xstring (copy)", [] { return xstring(joint); });
  Makes(table, "xstring::xstring (view)",
        [] { return xstring(joint.getxstring_c_unattached(), true); });
  Makes(table, "xstring::Printf", [] { return xstring::Printf("%s is %d", "one", 1); });
  Makes(table, "xstring::Assign", [] {
    xstring made("old");
    made.Assign(joint.getxstring_c_unattached(), true);
    return made;
  });
  Makes(table, "xstringAttachEmptyStrBuf", [] {
    __xstring_c view;
    xstringAttachEmptyStrBuf(&view);
    return xstring(view, false);
  });
  table.push_back({"xstring::xstring|xstring::operator= (stream)", [](Trial& t) {
                     xstring made("old"), other;
                     t.state([&] { return Show(made) + Show(other); });
                     std::strstream stream;
                     stream << kLong << std::ends;
                     t.run([&] { other = xstring(stream); });
                     stream.freeze(false);
                   }});
  table.push_back({"xstring::operator= (stream)", [](Trial& t) {
                     xstring made("old");
                     t.state([&] { return Show(made); });
                     std::strstream stream;
                     stream << kLong << std::ends;
                     t.run([&] { made = stream; });
                     stream.freeze(false);
                   }});
  Changes(table, "xstring::operator=", [](xstring& s) { return s = kLong; });
  Changes(table, "xstring::operator= - wide", [](xstring& s) { return s = L"wide"; });
  Changes(table, "xstring::operator= - string", [](xstring& s) { return s = joint; });
  Changes(table, "xstring::operator+=", [](xstring& s) { return s += kLong; });
  Changes(table, "xstring::operator+= - wide", [](xstring& s) { return s += L"wide"; });
  Changes(table, "xstring::operator+= - string", [](xstring& s) { return s += joint; });
  Changes(table, "xstring::operator+= - itself", [](xstring& s) { return s += s; });
  Changes(table, "xstring::operator+= - character",
          [](xstring& s) { return s += 'c'; });
  Changes(table, "xstring::operator+= - wide character",
          [](xstring& s) { return s += L'c'; });
  Changes(table, "xstring::Substitute",
          [](xstring& s) { return s.Substitute("o", "a longer text than the letter"), xstring(); });
  Changes(table, "xstring::Substitute - wide", [](xstring& s) { return s.Substitute(L"o", L"0"), xstring(); });
  Changes(table, "xstring::Substitute - strings",
          [](xstring& s) { return s.Substitute(joint, joint), xstring(); });
  Changes(table, "xstring::Substring", [](xstring& s) { return s.Substring(1, 5); });
  Changes(table, "xstring::GetWord", [](xstring& s) { return s.GetWord(1, ","); });
  Changes(table, "xstring::GetWord - wide", [](xstring& s) { return s.GetWord(1, L","); });
  Changes(table, "xstring::GetWord - string",
          [](xstring& s) { return s.GetWord(1, joint); });
  Changes(table, "xstring::ToUpper", [](xstring& s) { return s.ToUpper(); });
  Changes(table, "xstring::ToLower", [](xstring& s) { return s.ToLower(); });
  Changes(table, "xstring::getxstring_c",
          [](xstring& s) { return xstring(s.getxstring_c(), false); });
  Asks(table, "xstring::CastToCString|xstring::operator char const*",
       [](xstring& s) { return Strlen(s.CastToCString()); });
  Asks(table, "xstring::CastToCWString|xstring::operator wchar_t const*",
       [](xstring& s) { return Strlen(s.CastToCWString()); });
  NeverFail(table, [&] {
    Asks(table, "xstring::IsNull|xstring::IsEmpty|xstring::getxstring_c_unattached",
         [](xstring& s) { return s.IsNull() + 2 * s.IsEmpty(); });
  });
  Asks(table, "xstring::GetLength", [](xstring& s) { return s.GetLength(); });
  Asks(table, "xstring::GetMBSize", [](xstring& s) { return s.GetMBSize(); });
  Asks(table, "xstring::ToInt", [](xstring& s) {
    int value = 0;
    return s.ToInt(&value) + value;
  });
  Asks(table, "xstring::ToDouble", [](xstring& s) {
    double value = 0;
    return s.ToDouble(&value) + value;
  });
  Asks(table, "xstring::GetNWords", [](xstring& s) { return s.GetNWords(","); });
  Asks(table, "xstring::GetNWords - wide", [](xstring& s) { return s.GetNWords(L","); });
  Asks(table, "xstring::GetNWords - string", [](xstring& s) { return s.GetNWords(joint); });
  Asks(table, "xstring::Pos", [](xstring& s) { return s.Pos("t"); });
  Asks(table, "xstring::Pos - wide", [](xstring& s) { return s.Pos(L"t"); });
  Asks(table, "xstring::Pos - string", [](xstring& s) { return s.Pos(joint); });
  Asks(table, "xstring::Match", [](xstring& s) { return s.Match("*t*"); });
  Asks(table, "xstring::Match - wide", [](xstring& s) { return s.Match(L"*t*"); });
  Asks(table, "xstring::Match - string", [](xstring& s) { return s.Match(joint); });
  Asks(table, "operator==", [](xstring& s) { return s == "12,two"; });
  Asks(table, "operator==|operator!= - wide", [](xstring& s) { return s == L"12,two"; });
  Asks(table, "operator== - string", [](xstring& s) { return s == xstring(joint); });
  Asks(table, "operator<<|korOStream::operator<<|korOStream::korOStream", [](xstring& s) {
    korOStream out(std::cout);
    out << s;
    std::cout << s;
    return 0;
  });
  table.push_back({"escapeOOL", [](Trial& t) {
                     xstring made;
                     unsigned char flag = 7;
                     t.result([&] { return Show(made) + Show(flag); });
                     t.run([&] { made = escapeOOL("a_b\x7f and more to escape", &flag); });
                   }});
  table.push_back({"escapeOOL (wide)", [](Trial& t) {
                     xstring made;
                     unsigned char flag = 7;
                     t.result([&] { return Show(made) + Show(flag); });
                     t.run([&] { made = escapeOOL(L"a\u20ac_b", &flag); });
                   }});
  for (const bool wide : {false, true}) {
    table.push_back({wide ? "unescapeOOL (wide)" : "unescapeOOL", [wide](Trial& t) {
                       unsigned char flag = 7;
                       const xstring text = wide ? xstring(L"a_0041_b") : xstring("a_0041_b");
                       xstring made;
                       t.state([&] { return Show(text); });
                       t.result([&] { return Show(made) + Show(flag); });
                       t.run([&] { made = unescapeOOL(text, &flag); });
                     }});
    table.push_back({wide ? "velStringUtils::makeEscapedString (wide)"
                          : "velStringUtils::makeEscapedString",
                     [wide](Trial& t) {
                       const xstring text = wide ? xstring(L"a,b;c") : xstring("a,b;c");
                       const xstring separators(",;"), escape("\\");
                       xstring made;
                       t.state([&] { return Show(text) + Show(separators) + Show(escape); });
                       t.result([&] { return Show(made); });
                       t.run([&] {
                         made = velStringUtils::makeEscapedString(text, separators, escape);
                       });
                     }});
    table.push_back({wide ? "velStringUtils::parseEscapedandFormattedString (wide)"
                          : "velStringUtils::parseEscapedandFormattedString",
                     [wide](Trial& t) {
                       const xstring text = wide ? xstring(L"a\\,b,c;d") : xstring("a\\,b,c;d");
                       const xstring separators(",;"), escape("\\");
                       xrchandle<xstringsequence> made;
                       t.state([&] { return Show(text) + Show(separators) + Show(escape); });
                       t.result([&] { return ShowSequence(made.operator->()); });
                       t.run([&] {
                         made = velStringUtils::parseEscapedandFormattedString(text, separators,
                                                                               escape);
                       });
                     }});
  }
}

// ---- objects and handles ----

class Colours {
 public:
  static xrttienum* type() {
    static const char* const names[] = {"red", "green"};
    static xrttienum colours("faultsweep::Colours", 2, names);
    return &colours;
  }
};

xany Variant(int kind) {
  static const xrchandle<xobject> object = velAsObject(xintsequence::create().operator->());
  switch (kind) {
    case xanyUninit:
      return xany();
    case xanyNil:
      return xany(xanyNil);
    case xanyInt:
      return xany(7);
    case xanyBool:
      return xany(true);
    case xanyReal:
      return xany(2.5);
    case xanyString:
      return xany("a text");
    case xanyEnum:
      return xany(1, Colours::type());
    case xanyObject:
      return xany(object);
    case 8:
      return xany(xstring(L"a wide text"));
    default: {
      const auto sequence = xanysequence::create();
      for (int i = 0; i < 10; ++i) sequence->append(xany("an element of some length"));
      return xany(sequence);
    }
  }
}
constexpr int kVariants = 9;

/// A step on a variant of each kind.
template <class Use>
void OnVariants(Table& table, const char* name, Use use) {
  for (int kind = 0; kind < kVariants; ++kind) {
    table.push_back({std::string(name) + " (kind " + std::to_string(kind) + ')', [=](Trial& t) {
                       xany value = Variant(kind);
                       xany seen;
                       t.state([&] { return Show(value); });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = use(value); });
                     }});
  }
}

template <class Convert>
void OnVariant(Table& table, const char* name, int kind, Convert convert) {
  table.push_back({name, [=](Trial& t) {
                     xany value = Variant(kind);
                     xany seen;
                     t.state([&] { return Show(value); });
                     t.result([&] { return Show(seen); });
                     t.run([&] { seen = convert(value); });
                   }});
}

void FillVariants(Table& table) {
  OnVariants(table, "xany::xany", [](xany& v) { return xany(v); });
  OnVariants(table, "xany::getxany_c|xcadapt_cxx2c|xcadapt_c2cxx", [](xany& v) {
    __xany_c flat = xcadapt_cxx2c(v);
    const xany back = xcadapt_c2cxx(flat);
    xanyunlock_c(&flat);
    return back;
  });
  OnVariants(table, "xany::operator=", [](xany& v) {
    xany other("another");
    other = v;
    other = 7;
    other = true;
    other = 2.5;
    other = nullptr;
    return other;
  });
  OnVariants(table, "xany::operator= (text)", [](xany& v) { return v = kLong; });
  OnVariants(table, "xany::operator==", [](xany& v) {
    return xany(static_cast<int>((v == xany("a text")) + 2 * (v == "a text") + 4 * (v == 7)));
  });
  NeverFail(table, [&] {
    OnVariants(table, "xany::getRtti|xany::getkind|xany::isint|xany::isbool|xany::isreal|xany::isstring|"
               "xany::isenum|xany::isobject|xany::isnil|xany::isuninit|velToInt",
               [](xany& v) { return xany(v.getRtti() != nullptr && v.isint() + v.isobject()); });
  });
  OnVariants(table, "xany::getVelTypeName", [](xany& v) { return xany(v.getVelTypeName()); });
  OnVariants(table, "xany::softvalidate",
             [](xany& v) { return xany(v.softvalidate(velGetRtti_string(), 1)); });
  OnVariants(table, "xany::validate", [](xany& v) { return v.validate(velGetRtti_int(), 1), v; });
  OnVariants(table, "xany::toString", [](xany& v) { return xany(v.toString()); });
  OnVariant(table, "xany::toString - long", 9, [](xany& v) { return xany(v.toString()); });
  NeverFail(table, [&] {
    OnVariant(table, "xany::operator int", xanyInt, [](xany& v) { return xany(v.operator int()); });
    OnVariant(table, "xany::operator unsigned char", xanyBool,
              [](xany& v) { return xany(v.operator unsigned char()); });
    OnVariant(table, "xany::operator double", xanyReal,
              [](xany& v) { return xany(v.operator double()); });
  });
  for (const int kind : {static_cast<int>(xanyUninit), static_cast<int>(xanyString), 8}) {
    OnVariant(table, "xany::operator xstring", kind,
              [](xany& v) { return xany(v.operator xstring()); });
    OnVariant(table, "xany::operator char const*", kind,
              [](xany& v) { return xany(v.operator const char*()); });
  }
  OnVariant(table, "xany::operator xobject*", xanyObject,
            [](xany& v) { return xany(v.operator xobject*()); });
  table.push_back({"velThrowIntegerOutOfRange", [](Trial& t) {
                     t.run([] { xany(5000000000L); });
                   }});
}

template <class C, class Make>
void FillHandle(Table& table, const std::string& name, Make make) {
  using Handle = xrchandle<C>;
  const std::string h = "xrchandle<" + name + ">::";
  const std::string b = "xrcbasehandle<" + name + ">::";
  table.push_back({h + "xrchandle|" + h + "~xrchandle|" + h + "operator " + name + "*|" + b +
                       "xrcbasehandle|" + b + "operator->|" + b + "operator*|" + b + "isnull|" + b +
                       "~xrcbasehandle|" + b + "operator=",
                   [make](Trial& t) {
                     Handle held = make();
                     t.state([&] { return Show(held); });
                     t.run([&] {
                       const Handle copy(held), again(held.operator->()), none(0);
                       Handle moved(static_cast<Handle&&>(const_cast<Handle&>(copy)));
                       if (moved.isnull() || !none.isnull() || &*again != held) std::abort();
                     });
                   }});
  table.push_back({h + "operator=", [make](Trial& t) {
                     Handle held = make(), other;
                     t.state([&] { return Show(held) + Show(other); });
                     t.run([&] {
                       other = held;
                       other = other.operator->();
                       other = Handle(held);
                     });
                   }});
}

template <class T>
void FillUniHandle(Table& table, const std::string& name, T* (*make)()) {
  using Handle = xrcunihandle<T>;
  const std::string h = "xrcunihandle<" + name + ">::";
  const std::string b = "xrcbasehandle<" + name + ">::";
  table.push_back({h + "xrcunihandle|" + h + "~xrcunihandle|" + h + "operator=|" + h + "operator " +
                       name + "*|" + b + "xrcbasehandle|" + b + "operator->|" + b + "operator*|" + b + "isnull|" + b +
                       "~xrcbasehandle|" + b + "operator=",
                   [make](Trial& t) {
                     Handle held = make(), other;
                     t.state([&] {
                       return Show(velAsObject(held.operator->())) +
                              Show(velAsObject(other.operator->()));
                     });
                     t.run([&] {
                       const Handle copy(held);
                       other = copy;
                       Handle moved(static_cast<Handle&&>(other));
                       other = static_cast<Handle&&>(moved);
                     });
                   }});
}

void FillObjects(Table& table) {
  FillUniHandle<xobject>(table, "xobject", [] { return static_cast<xobject*>(new xintsequence); });
  FillUniHandle<xthrowable>(table, "xthrowable", [] { return new xthrowable; });
#define VELSWEEP_HANDLE(C, ...) FillHandle<C>(table, #C, [] { return xrchandle<C>(__VA_ARGS__); });
  VELSWEEP_HANDLE(xboolsequence, new xboolsequence)
  VELSWEEP_HANDLE(xintsequence, new xintsequence)
  VELSWEEP_HANDLE(xrealsequence, new xrealsequence)
  VELSWEEP_HANDLE(xstringsequence, new xstringsequence)
  VELSWEEP_HANDLE(xanysequence, new xanysequence)
  VELSWEEP_HANDLE(xbooldictionary, new xbooldictionary)
  VELSWEEP_HANDLE(xintdictionary, new xintdictionary)
  VELSWEEP_HANDLE(xrealdictionary, new xrealdictionary)
  VELSWEEP_HANDLE(xstringdictionary, new xstringdictionary)
  VELSWEEP_HANDLE(xanydictionary, new xanydictionary)
#define VELSWEEP_MADE(C) VELSWEEP_HANDLE(C, velS11nAccess::create<C>(nullptr))
#undef VELSWEEP_MADE
#define VELSWEEP_MADE(C)                                     \
  FillHandle<C>(table, #C, [] {                              \
    C* made = velS11nAccess::create<C>(nullptr);             \
    const xrchandle<C> held(made);                           \
    xrcrelease(made);                                        \
    return held;                                             \
  });
  VELSWEEP_MADE(velXException)
  VELSWEEP_MADE(velXArgs)
  VELSWEEP_MADE(velXFunc)
  VELSWEEP_MADE(velXExternFunc)
  VELSWEEP_MADE(velXTypeMismatch)
  VELSWEEP_MADE(velXInvalidArrayIndex)
  VELSWEEP_MADE(velXInvalidSeqIndex)
  VELSWEEP_MADE(velXInvalidDictIndex)
  VELSWEEP_MADE(velXInvalidDictKey)
  VELSWEEP_MADE(velXNegativeIndex)
  VELSWEEP_MADE(velXRefCountable)
  VELSWEEP_MADE(velXNativeException)
  VELSWEEP_MADE(velXSerialization)
  VELSWEEP_MADE(velXSoapFault)
  VELSWEEP_MADE(velXSoapHttpTransport)
#undef VELSWEEP_MADE
#undef VELSWEEP_HANDLE
  const auto onObject = [&](const char* name, auto use) {
    table.push_back({name, [use](Trial& t) {
                       const xrchandle<xobject> object(new xanysequence);
                       t.state([&] { return Show(object); });
                       t.run([&] { use(object.operator->()); });
                     }});
  };
  NeverFail(table, [&] {
    onObject("xrcattach|xrcrelease|xrcgetcount|xrcuniattach|xrcunirelease|velReassign|velAsObject",
             [](xobject* o) {
               xrcattach(o);
               xrcuniattach(o);
               velReassign(o);
               if (xrcgetcount(o) != 3) std::abort();
               xrcunirelease(o);
               xrcrelease(o);
             });
  });
  onObject("xobject::getVelTypeName", [](xobject* o) { o->getVelTypeName(); });
  NeverFail(table, [&] {
    onObject("xobject::isKindOf|xobject::isSameAs|xobject::isRefCountable|xobject::getRtti|"
             "xobject::isDeletable|xobject::onDelete|xobject::dyndowncast_i|xobject::xobject|"
             "xobject::operator=|XobjectMutexAllocator::XobjectMutexAllocator",
             [](xobject* o) {
               o->isKindOf(velGetRtti_object());
               o->isSameAs(velGetRtti_object());
               o->isDeletable();
               o->onDelete();
               const xobject copy(*o);
               xobject other;
               other = copy;
               o->dyndowncast_i(nullptr);
               const XobjectMutexAllocator again;
             });
  });
  onObject("xobject::dyndowncast|velSoftcast|velIsClass|velDyndowncast", [](xobject* o) {
    o->dyndowncast(xobject::getClassRtti());
    xobject plain;
    plain.dyndowncast(xobject::getClassRtti());
    velSoftcast<xanysequence>(o);
    velIsClass(xobject::getClassRtti(), xanysequence::getClassRtti());
  });
  onObject("velThrowTypeMismatch", [](xobject* o) { velCast<xintsequence>(o); });
  onObject("xdelete", [](xobject* o) { xdelete(o); });
  onObject("velhThrowRefCountable", [](xobject* o) { velhThrowRefCountable(o); });
  NeverFail(table, [&] {
    onObject("velReleaseScope::velReleaseScope|velReleaseScope::~velReleaseScope|"
             "velReleaseScope::defer|velReleaseScope::release|velReleaseScope::destroy|velReleaseScope::free|"
             "velReleaseScope::settle",
             [](xobject* o) {
               const velReleaseScope scope;
               velReleaseScope::settle(o);
               xrcattach(o);
               xrcrelease(o);
             });
  });
  // Destruction of deep and broad values needs no memory: it is the engine that
  // gives them up, last of all.
  table.push_back({"xrcrelease (a deep value)", [](Trial& t) {
                     xany value(1);
                     for (int i = 0; i < 300; ++i) {
                       const auto outer = xanysequence::create();
                       outer->append(value);
                       outer->append(value.isobject() ? xany(xanysequence::create()) : xany("x"));
                       value = xany(outer);
                     }
                     t.run([&] { value = xany(xstring(kLong)); });
                   }});
}

// ---- collections ----

template <class T>
struct Kind;
template <>
struct Kind<unsigned char> {
  static constexpr const char* kName = "unsigned char";
  static unsigned char value(int i) { return i % 2 ? 1 : 0; }
};
template <>
struct Kind<int> {
  static constexpr const char* kName = "int";
  static int value(int i) { return i; }
};
template <>
struct Kind<double> {
  static constexpr const char* kName = "double";
  static double value(int i) { return i + 0.5; }
};
template <>
struct Kind<xstring> {
  static constexpr const char* kName = "xstring";
  static xstring value(int i) { return xstring::Printf("value %d", i); }
};
template <>
struct Kind<xany> {
  static constexpr const char* kName = "xany";
  static xany value(int i) {
    if (i % 3 == 0) return xany(xintsequence::create());
    return i % 3 == 1 ? xany(i) : xany(xstring::Printf("value %d", i));
  }
};

/// A step on a sequence that is empty, one that has room, and one that is full.
template <class C>
class SequenceTable {
 public:
  using T = decltype(std::declval<C&>().get(0));

  SequenceTable(Table& to, const char* className, const char* form)
      : table(to), own(std::string(className) + "::"),
        base(std::string("xtbsequence<") + Kind<T>::kName + ">::"),
        storage(std::string(form) + '<' + Kind<T>::kName + ">::") {
    fill();
  }

 private:
  template <class Use>
  void add(const std::string& name, Use use) {
    const int full = static_cast<int>(256 / sizeof(T));
    for (const int count : {0, 3, full}) {
      table.push_back({name + " (" + std::to_string(count) + " elements)", [=](Trial& t) {
                         xrchandle<C> sequence = C::create();
                         for (int i = 0; i < count; ++i) sequence->append(Kind<T>::value(i));
                         const T value = Kind<T>::value(50);
                         xany seen;
                         t.state([&] { return ShowSequence(sequence.operator->()); });
                         t.result([&] { return Show(seen); });
                         t.run([&] { seen = xany(use(*sequence, value)); });
                       }});
    }
  }

  void fill() {
    const auto made = [](Trial& t, auto make) {
      xrchandle<C> sequence;
      t.state([&] { return ShowSequence(sequence.operator->()); });
      t.run([&] { sequence = make(); });
    };
    const std::string constructor = own.substr(0, own.size() - 2);
    table.push_back({own + "create|" + own + constructor + "|" + base + "xtbsequence|" + storage +
                         storage.substr(0, storage.find('<')),
                     [=](Trial& t) { made(t, [] { return C::create(); }); }});
    table.push_back({own + "createCapacity",
                     [=](Trial& t) { made(t, [] { return C::createCapacity(100); }); }});
    add(own + "getClassRtti|" + own + "dyndowncast|" + own + "cast|" + own + "softcast",
        [](C& s, const T&) {
          C::cast(&s);
          return C::softcast(&s) && s.dyndowncast(C::getClassRtti());
        });
    NeverFail(table, [&] {
      add(base + "getarraysize", [](C& s, const T&) { return s.getarraysize(); });
    });
    NeverFail(table, [&] {
      add(base + "get", [](C& s, const T&) { return s.get(0); });
      add(base + "get - below", [](C& s, const T&) { return s.get(-1); });
    });
    add(base + "operator[]", [](C& s, const T&) { return s[2]; });
    add(base + "append", [](C& s, const T& v) { return s.append(v), 0; });
    add(base + "set", [](C& s, const T& v) { return s.set(1, v), 0; });
    add(base + "set - far", [](C& s, const T& v) { return s.set(400, v), 0; });
    add(base + "insert", [](C& s, const T& v) { return s.insert(1, v), 0; });
    add(base + "insert - far", [](C& s, const T& v) { return s.insert(300, v), 0; });
    add(base + "insertseq", [](C& s, const T&) { return s.insertseq(1, s), 0; });
    NeverFail(table, [&] {
      add(base + "removerange", [](C& s, const T&) { return s.removerange(1, 2), 0; });
      add(base + "clear", [](C& s, const T&) { return s.clear(), 0; });
    });
    if constexpr (std::is_class<T>::value) {
      add(storage + "operator+=", [](C& s, const T& v) { return s += v, 0; });
    }
    // Typed steps through a descriptor.
    add("xrttisequence::getSize|xrttisequence::getElemValue", [](C& s, const T&) {
      auto* type = dynamic_cast<xrttisequence*>(C::getClassRtti());
      return type->getSize(&s) > 0 ? type->getElemValue(&s, 0) : xany();
    });
  }

  Table& table;
  std::string own, base, storage;
};

template <class C, class T>
class DictionaryTable {
 public:
  DictionaryTable(Table& to, const char* className, const char* form)
      : table(to), own(std::string(className) + "::"),
        base(std::string("xtbdictionary<") + Kind<T>::kName + ">::"),
        storage(std::string(form) + '<' + Kind<T>::kName + ">::") {
    fill();
  }

 private:
  /// On one that is empty, one with entries and tombstones, one about to grow and
  /// one about to shrink.
  template <class Use>
  void add(const std::string& name, Use use, bool shrinks = false) {
    for (const int count : {0, 5, 30, 60}) {
      table.push_back({name + " (" + std::to_string(count) + " entries)", [=](Trial& t) {
                         xrchandle<C> dictionary = C::create();
                         for (int i = 0; i < count; ++i) {
                           dictionary->set(xstring::Printf("key %d", i), Kind<T>::value(i));
                         }
                         // Down to where one removal more shrinks the table.
                         for (int i = 59; i >= 46; --i) {
                           dictionary->remove(xstring::Printf("key %d", i));
                         }
                         const T value = Kind<T>::value(50);
                         xany seen;
                         t.state([&] {
                           return ShowDictionary<C, T>(dictionary.operator->(), !shrinks);
                         });
                         t.result([&] { return Show(seen); });
                         t.run([&] { seen = xany(use(*dictionary, value)); });
                       }});
    }
  }

  static int used(C& d) {
    for (int i = 0; i < d.getmapsize(); ++i) {
      if (d.getbyindex(i, nullptr)) return i;
    }
    return 0;
  }

  void fill() {
    const auto made = [](Trial& t, auto make) {
      xrchandle<C> dictionary;
      t.state([&] { return ShowDictionary<C, T>(dictionary.operator->()); });
      t.run([&] { dictionary = make(); });
    };
    const std::string constructor = own.substr(0, own.size() - 2);
    table.push_back({own + "create|" + own + constructor + '|' + base + "xtbdictionary|" + storage +
                         storage.substr(0, storage.find('<')),
                     [=](Trial& t) { made(t, [] { return C::create(); }); }});
    table.push_back({own + "createCapacity",
                     [=](Trial& t) { made(t, [] { return C::createCapacity(100); }); }});
    add(own + "getClassRtti|" + own + "dyndowncast|" + own + "cast|" + own + "softcast",
        [](C& d, const T&) {
          C::cast(&d);
          return C::softcast(&d) && d.dyndowncast(C::getClassRtti());
        });
    NeverFail(table, [&] {
      add(base + "getmapsize|" + base + "getcount",
          [](C& d, const T&) { return d.getmapsize() + d.getcount(); });
    });
    NeverFail(table, [&] {
      add(base + "find", [](C& d, const T&) {
        T found{};
        return d.find("key 1", &found) ? xany(found) : xany();
      });
      add(base + "find - null", [](C& d, const T&) { return d.find(nullptr, nullptr); });
    });
    add(base + "set|" + storage + "Destroy", [](C& d, const T& v) { return d.set("key", v), 0; });
    add(base + "set - over", [](C& d, const T& v) { return d.set("key 1", v), 0; });
    NeverFail(table, [&] {
      add(base + "getbyindex", [](C& d, const T&) {
        T found{};
        return d.getbyindex(used(d), &found) ? xany(found) : xany();
      });
    });
    add(base + "getkeybyindex", [](C& d, const T&) {
      xstring key;
      return d.getkeybyindex(used(d), &key) ? xany(key) : xany();
    });
    add(base + "setbyindex", [](C& d, const T& v) { return d.setbyindex(used(d), v); });
    NeverFail(table, [&] {
      add(base + "remove", [](C& d, const T&) { return d.remove("key 2"); }, true);
      add(base + "removebyindex", [](C& d, const T&) { return d.removebyindex(used(d)); }, true);
      add(base + "clearall|" + storage + "Destroy", [](C& d, const T&) { return d.clearall(), 0; });
    });
    add("xrttidictionary::getSize|xrttidictionary::findElemValue|"
        "xrttidictionary::getElemKeyByIdx|xrttidictionary::getElemValueByIdx",
        [](C& d, const T&) {
          auto* type = dynamic_cast<xrttidictionary*>(C::getClassRtti());
          xany value;
          xstring key;
          if (type->getSize(&d) == 0) return value;
          type->findElemValue(&d, "key 1", &value);
          type->getElemKeyByIdx(&d, used(d), &key);
          type->getElemValueByIdx(&d, used(d), &value);
          return value;
        });
  }

  Table& table;
  std::string own, base, storage;
};

// ---- dictionaries whose keys collide ----

constexpr int kColliding = 1024;

// Any two blocks have the same hash, and so have all keys made of ten. What is in
// front of them makes each copy long enough for an allocation of its own.
const std::string& CollidingKey(int n) {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> all;
    for (int i = 0; i < kColliding; ++i) {
      std::string key(60, '-');
      for (int bit = 0; bit < 10; ++bit) key += i >> bit & 1 ? "Aa" : "BB";
      all.push_back(key);
    }
    return all;
  }();
  return keys[static_cast<std::size_t>(n)];
}

/// The dictionary has `plain` ordinary entries and `colliding` that collide, so that
/// the private index comes in, or is about to. What the index lacks memory for goes
/// without it, and the slots stay the same.
template <class C, class T>
class CollidingTable {
 public:
  CollidingTable(Table& to, const char* className)
      : table(to), name(std::string(className) + " - colliding keys, ") {
    fill();
  }

 private:
  static constexpr int kPlain = 880;
  static constexpr int kGone = 40;

  static xrchandle<C> filled(int plain, int colliding) {
    xrchandle<C> made = C::create();
    for (int i = 0; i < plain; ++i) made->set(xstring::Printf("key %d", i), Kind<T>::value(i));
    for (int i = 0; i < colliding; ++i) made->set(CollidingKey(i).c_str(), Kind<T>::value(1));
    return made;
  }
  static xrchandle<C> withTombstones() {
    const xrchandle<C> made = filled(0, 1000);
    for (int i = 0; i < kGone; ++i) made->remove(CollidingKey(i * 20).c_str());
    return made;
  }

  template <class Make, class Use>
  void add(const std::string& what, long least, Make make, Use use, bool shrinks = false) {
    table.push_back({name + what, [=](Trial& t) {
                       const xrchandle<C> dictionary = make();
                       const T value = Kind<T>::value(50);
                       int seen = 0;
                       t.allocates(least);
                       t.state([&] {
                         return ShowDictionary<C, T>(dictionary.operator->(), !shrinks);
                       });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = use(*dictionary, value); });
                     }});
  }

  void fill() {
    const auto set = [](int n) {
      return [n](C& d, const T& v) { return d.set(CollidingKey(n).c_str(), v), 0; };
    };
    add("set over tombstones", 1, withTombstones, set(1001));
    add("overwrite", 0, withTombstones, set(999));
    NeverFail(table, [&] {
      add("find", 0, withTombstones, [](C& d, const T&) {
        T found{};
        return d.find(CollidingKey(999).c_str(), &found) + d.find(CollidingKey(0).c_str(), &found);
      });
      add("remove", 0, withTombstones,
          [](C& d, const T&) { return Show(d.remove(CollidingKey(999).c_str())) == "true"; });
      // The first removals that find no index make one.
      const int made = firstMoments().at(0);
      add("remove that makes the index", 2, [made] { return filled(kPlain, made); },
          [made](C& d, const T&) {
            int absent = 0;
            for (int i = 0; i < 200; ++i) absent += !d.remove(CollidingKey(made + 1).c_str());
            return absent;
          });
      const int left = lastBeforeShrinking();
      add("remove that shrinks the table", 3, [left] { return shrunkTo(left); },
          [left](C& d, const T&) { return d.remove(CollidingKey(left - 1).c_str()) ? 1 : 0; }, true);
    });
    // A set that takes more than its key: for the index, and later for its sets of
    // places.
    for (const int count : firstMoments()) {
      add("set number " + std::to_string(count) + " that the index takes memory in", 2,
          [count] { return filled(kPlain, count); }, set(count));
    }
    const int full = lastBeforeGrowing();
    add("set that grows the table", 4, [full] { return filled(0, full); }, set(full));
  }

  static xrchandle<C> shrunkTo(int left) {
    const xrchandle<C> made = filled(0, kColliding);
    for (int i = kColliding - 1; i >= left; --i) made->remove(CollidingKey(i).c_str());
    return made;
  }

  // The numbers of colliding keys at which one more takes memory for the index.
  static std::vector<int> firstMoments() {
    std::vector<int> moments;
    const xrchandle<C> made = filled(kPlain, 1);
    for (int i = 1; i < 500; ++i) {
      const T value = Kind<T>::value(1);
      const int size = made->getmapsize();
      const long before = velsweep::allocator.live;
      made->set(CollidingKey(i).c_str(), value);
      if (velsweep::allocator.live - before > 1 && made->getmapsize() == size) moments.push_back(i);
    }
    // The index, a circle of it and the empty places.
    if (moments.size() < 2) std::abort();
    return moments;
  }
  static int lastBeforeGrowing() {
    const xrchandle<C> made = C::create();
    int last = 0;
    for (int i = 0; i < kColliding; ++i) {
      const int size = made->getmapsize();
      made->set(CollidingKey(i).c_str(), Kind<T>::value(1));
      if (made->getmapsize() != size) last = i;
    }
    return last;
  }
  // The number of entries of which one removal more makes the table smaller.
  static int lastBeforeShrinking() {
    const xrchandle<C> made = filled(0, kColliding);
    const int size = made->getmapsize();
    for (int left = kColliding; left > 0; --left) {
      made->remove(CollidingKey(left - 1).c_str());
      if (made->getmapsize() != size) return left;
    }
    std::abort();
  }

  Table& table;
  std::string name;
};

}  // namespace

void velsweep::fill(Table& table) {
  FillStrings(table);
  FillVariants(table);
  FillObjects(table);
  SequenceTable<xboolsequence>(table, "xboolsequence", "xtssequence");
  SequenceTable<xintsequence>(table, "xintsequence", "xtssequence");
  SequenceTable<xrealsequence>(table, "xrealsequence", "xtssequence");
  SequenceTable<xstringsequence>(table, "xstringsequence", "xtcsequence");
  SequenceTable<xanysequence>(table, "xanysequence", "xtcsequence");
  DictionaryTable<xbooldictionary, unsigned char>(table, "xbooldictionary", "xtsdictionary");
  DictionaryTable<xintdictionary, int>(table, "xintdictionary", "xtsdictionary");
  DictionaryTable<xrealdictionary, double>(table, "xrealdictionary", "xtsdictionary");
  DictionaryTable<xstringdictionary, xstring>(table, "xstringdictionary", "xtcdictionary");
  DictionaryTable<xanydictionary, xany>(table, "xanydictionary", "xtcdictionary");
  CollidingTable<xintdictionary, int>(table, "xtbdictionary<int>::set");
  CollidingTable<xstringdictionary, xstring>(table, "xtbdictionary<xstring>::set");
}
