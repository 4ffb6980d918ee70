// The toolkit and the raw cores with memory that runs out.
#define VELSWEEP_FAMILY "toolkit"
#include "faultsweep.h"

#include <cstdarg>
#include <memory>

#include "korcompare.h"
#include "kormbcs.h"
#include "korstrbuf.h"
#include "korstring.h"
#include "korxarray.h"
#include "thrmutex.h"
#include "velbdict.h"
#include "xbasesequence.h"

namespace {

using velsweep::NeverFail;
using velsweep::Show;
using velsweep::Table;
using velsweep::Trial;

template <class Step>
void Step0(Table& table, const std::string& name, Step step) {
  table.push_back({name, [=](Trial& t) { t.run(step); }});
}

int Value(const void* p) { return static_cast<int>(reinterpret_cast<std::uintptr_t>(p)); }
template <class T>
T* Pointer(int i) {
  return reinterpret_cast<T*>(static_cast<std::uintptr_t>(i));
}

// ---- containers ----

/// On a container made by `make`, described by its elements and its room.
template <class Make, class Describe, class Use>
void On(Table& table, const std::string& name, Make make, Describe describe, Use use) {
  // Around the points where an array grows.
  for (const int count : {0, 3, 15, 16, 17, 32, 33}) {
    table.push_back({name + " (" + std::to_string(count) + ')', [=](Trial& t) {
                       auto container = make(count);
                       int seen = 0;
                       t.state([&] { return describe(*container); });
                       t.result([&] { return Show(seen); });
                       t.run([&] { seen = static_cast<int>(use(*container)); });
                     }});
  }
}

template <class C>
std::string Elements(const C& container) {
  std::string all = std::to_string(container.GetCount()) + ':';
  for (int i = 0; i < container.GetCount(); ++i) all += ' ' + Show(Value(container.GetAt(i)));
  return all;
}
template <class C>
std::string Capacity(const C& container) {
  return Elements(container) + " in " + std::to_string(container.GetCapacity());
}

template <class T>
void FillSet(Table& table, const std::string& name) {
  using Set = korSet<T*>;
  const std::string s = "korSet<" + name + "*>::";
  const std::string base = "korSetBase<" + name + "*, korXArrayImpl, korIterImpl>::";
  const auto make = [](int count) {
    auto set = std::make_unique<Set>(Cmp_Ptrs);
    for (int i = 1; i <= count; ++i) set->Insert(Pointer<T>(i * 8));
    return set;
  };
  const auto add = [&](const std::string& member, auto use) {
    On(
        table, member, make, [](const Set& c) { return Elements(c); }, use);
  };
  add(s + "korSet|" + base + "korSetBase|" + base + "Insert",
      [](Set& c) { return c.Insert(Pointer<T>(12)); });
  add(base + "Add", [](Set& c) { return c.Add(Pointer<T>(13)); });
  add(base + "Insert - there", [](Set& c) { return c.Insert(Pointer<T>(8)); });
  NeverFail(table, [&] {
    add(base + "Remove", [](Set& c) { return c.Remove(Pointer<T>(8)); });
    add(base + "RemoveAll", [](Set& c) { return c.RemoveAll(), 0; });
    add(base + "Contains|" + base + "GetCount|" + base + "GetAt",
        [](Set& c) { return c.Contains(Pointer<T>(8)) + Value(c.GetAt(0)); });
  });
  add(base + "GetIter|" + base + "Iter::Iter|" + base + "Iter::Get|" + base +
          "Iter::Reproduce|korIterImpl::korIterImpl|korIterImpl::Finished|korIterImpl::Next|"
          "korIterImpl::Reset|korIterImpl::GetElement|korIterImpl::Reproduce",
      [](Set& c) {
        const std::unique_ptr<typename Set::Iter> iter(c.GetIter());
        const std::unique_ptr<typename Set::Iter> again(iter->Reproduce());
        again->Next();
        again->Reset();
        return iter->Finished() ? 0 : Value(iter->Get());
      });
}

template <class Map, class V, class Make>
void FillMap(Table& table, const std::string& name, const std::string& value, Make makeEmpty) {
  static const char* const keys[] = {"k01", "k02", "k03", "k04", "k05", "k06", "k07", "k08", "k09",
                                     "k10", "k11", "k12", "k13", "k14", "k15", "k16", "k17", "k18",
                                     "k19", "k20", "k21", "k22", "k23", "k24", "k25", "k26", "k27",
                                     "k28", "k29", "k30", "k31", "k32", "k33"};
  const std::string base =
      "korMapBase<char const*, " + value + "*, korClassXArrayImpl, korMapIterImpl>::";
  const auto make = [=](int count) {
    auto map = makeEmpty();
    for (int i = 0; i < count; ++i) map->Insert(keys[i], Pointer<V>(8 * i + 8));
    return map;
  };
  const auto describe = [](const Map& map) {
    std::string all = std::to_string(map.GetCount()) + ':';
    for (int i = 0; i < map.GetCount(); ++i) {
      all += ' ' + std::string(map.GetKeyAt(i)) + '=' + Show(Value(map.GetValueAt(i)));
    }
    return all;
  };
  const auto add = [&](const std::string& member, auto use) {
    On(table, member, make, describe, use);
  };
  add(name + "|" + base + "korMapBase|" + base + "Insert",
      [](Map& m) { return m.Insert("k011", Pointer<V>(5)); });
  add(base + "Add", [](Map& m) { return m.Add("k012", Pointer<V>(5)); });
  add(base + "Insert - there", [](Map& m) { return m.Insert("k01", Pointer<V>(5)); });
  NeverFail(table, [&] {
    add(base + "Remove", [](Map& m) { return m.Remove("k01"); });
    add(base + "RemoveAll", [](Map& m) { return m.RemoveAll(), 0; });
    add(base + "Lookup|" + base + "Find|" + base + "Contains|" + base + "GetCount|" + base +
            "GetKeyAt|" + base + "GetValueAt",
        [](Map& m) {
          V* found = nullptr;
          m.Lookup("k01", &found);
          return m.Find("k02", &found) + m.Contains("k03") + Value(found);
        });
  });
  add(base + "GetIter|" + base + "Iter::Iter|" + base + "Iter::GetKey|" + base + "Iter::GetValue|" +
          base +
          "Iter::Reproduce|korMapIterImpl::korMapIterImpl|"
          "korMapIterImpl::Finished|korMapIterImpl::Next|korMapIterImpl::Reset|"
          "korMapIterImpl::GetRecord|korMapIterImpl::Reproduce",
      [](Map& m) {
        const std::unique_ptr<typename Map::Iter> iter(m.GetIter());
        const std::unique_ptr<typename Map::Iter> again(iter->Reproduce());
        again->Next();
        again->Reset();
        return iter->Finished() ? 0 : Value(iter->GetValue());
      });
}

using Element = xerrlistener*;
Element E(int i) { return Pointer<xerrlistener>(i); }

void FillArrays(Table& table) {
  const std::string e = "<xerrlistener*>::";
  using Array = dsXArray<Element>;
  const auto array = [&](const std::string& member, auto use) {
    On(
        table, member,
        [](int count) {
          auto made = std::make_unique<Array>();
          for (int i = 1; i <= count; ++i) made->Add(E(i * 8));
          return made;
        },
        [](const Array& a) { return Capacity(a); }, use);
  };
  const std::string x = "dsXArray" + e;
  array(x + "dsXArray|" + x + "Add|dsDataCollection" + e + "dsDataCollection|dsArray" + e +
            "dsArray|dsStraightArray" + e + "dsStraightArray",
        [](Array& a) { return a.Add(E(12)); });
  array(x + "Insert", [](Array& a) { return a.Insert(0, E(12)); });
  array(x + "InsertByStep", [](Array& a) { return a.InsertByStep(0, E(12)); });
  array(x + "Resize", [](Array& a) {
    a.Resize(40);
    for (int i = 0; i < 40; ++i) a[i] = E(1);
    return 0;
  });
  array(x + "SetForceRealloc|" + x + "GetStep|" + x + "operator[]|" + x + "GetCount|" + x +
            "GetCapacity|" + x + "GetBuffer|dsStraightArray" + e + "GetAt|dsStraightArray" + e +
            "GetBuffer|dsArray" + e + "Find|dsArray" + e + "Contains|dsDataCollection" + e +
            "IsEmpty",
        [](Array& a) {
          a.SetForceRealloc(false);
          return a.GetStep() + a.IsEmpty() + a.Contains(E(8)) + a.Find(E(16), nullptr);
        });
  // What memory cannot be given back stays as room; the elements are gone.
  const auto removing = [&](const std::string& member, auto use) {
    On(
        table, member,
        [](int count) {
          auto made = std::make_unique<Array>();
          made->SetForceRealloc(true);
          for (int i = 1; i <= count; ++i) made->Add(E(i * 8));
          return made;
        },
        [](const Array& a) { return Elements(a); }, use);
  };
  NeverFail(table, [&] {
    removing(x + "RemoveAt", [](Array& a) { return a.RemoveAt(0); });
    removing(x + "Remove", [](Array& a) { return a.Remove(E(8)); });
    removing(x + "RemoveAll", [](Array& a) { return a.RemoveAll(), 0; });
  });
  array("dsArray" + e + "GetIter|dsArrayIter" + e + "dsArrayIter|dsArrayIter" + e +
            "Reproduce|dsArrayIter" + e + "Get|dsArrayIter" + e + "Next|dsArrayIter" + e +
            "Reset|dsArrayIter" + e + "Finished|dsBaseIter" + e + "dsBaseIter|dsIter" + e +
            "dsIter",
        [](Array& a) {
          const std::unique_ptr<dsArrayIter<Element>> iter(a.GetIter());
          const std::unique_ptr<dsArrayIter<Element>> again(iter->Reproduce());
          again->Next();
          again->Reset();
          return iter->Finished() + Value(again->Get());
        });

  using Set = dsScalarSet<Element>;
  const auto set = [&](const std::string& member, auto use) {
    On(
        table, member,
        [](int count) {
          auto made = std::make_unique<Set>();
          for (int i = 1; i <= count; ++i) made->Add(E(i * 8));
          return made;
        },
        [](const Set& a) { return Elements(a); }, use);
  };
  const std::string b = "dsBaseSortedSet<dsXArray<xerrlistener*>, xerrlistener*>::";
  const std::string scalar = "dsBaseScalarSet<dsXArray<xerrlistener*>, xerrlistener*>::";
  set("dsScalarSet" + e + "dsScalarSet|" + b + "dsBaseSortedSet|" + b + "operator+=|" + scalar +
          "Compare|" + b + "Compare",
      [](Set& s) { return s += E(12); });
  set(b + "Insert", [](Set& s) { return s.Insert(E(12)); });
  set(b + "Add", [](Set& s) { return s.Add(E(12)); });
  NeverFail(table, [&] {
    set(b + "operator-=", [](Set& s) { return s -= E(8); });
    set(b + "Remove", [](Set& s) { return s.Remove(E(8)); });
    set(b + "RemoveByIndex", [](Set& s) { return s.RemoveByIndex(0); });
    set(b + "RemoveAll", [](Set& s) { return s.RemoveAll(), 0; });
  });
  set(b + "Contains|" + b + "FindIndex|" + b + "GetCount|" + b + "GetCapacity|" + b + "GetAt|" + b +
          "GetIter",
      [](Set& s) {
        const std::unique_ptr<dsArrayIter<Element>> iter(s.GetIter());
        return s.Contains(E(8)) + s.GetCapacity();
      });

  using Stack = velStack<xobject*>;
  for (const int count : {0, 3, 64, 128}) {
    table.push_back(
        {"velStack<xobject*>::Push|velStack<xobject*>::velStack|"
         "velStack<xobject*>::Pop|velStack<xobject*>::Top|velStack<xobject*>::GetAt|"
         "velStack<xobject*>::IsEmpty|velStack<xobject*>::GetCount|"
         "velStack<xobject*>::GetCapacity|velStack<xobject*>::operator= (" +
             std::to_string(count) + ')',
         [count](Trial& t) {
           Stack stack;
           for (int i = 1; i <= count; ++i) stack.Push(Pointer<xobject>(i * 8));
           t.state([&] { return Capacity(stack); });
           t.run([&] {
             stack.Push(Pointer<xobject>(4));
             if (Value(stack.Top()) != 4 || stack.IsEmpty()) std::abort();
             Stack moved(static_cast<Stack&&>(stack));
             stack = static_cast<Stack&&>(moved);
           });
         }});
  }

  // ---- the untyped arrays ----
  table.push_back({"dsDataMap<xerrlistener*, unsigned int>::GetCount", [](Trial& t) {
                     t.run([] {
                       const dsDataMap<Element, unsigned> map;
                       if (map.GetCount() != 0) std::abort();
                     });
                   }});
  const auto raw = [&](const std::string& member, auto use) {
    On(
        table, "korRawArray::" + member,
        [](int count) {
          auto made = std::make_unique<korRawArray>();
          for (int i = 0; i < count; ++i) {
            made->FitOneMore(8);
            *static_cast<std::uint64_t*>(made->OpenGap(i, 8)) = 7;
          }
          return made;
        },
        [](const korRawArray& a) { return Show(a.GetCount()) + " in " + Show(a.GetCapacity()); },
        use);
  };
  raw("Resize|korRawArray::korRawArray", [](korRawArray& a) { return a.Resize(50, 8), 0; });
  raw("FitOneMore|korRawArray::OpenGap", [](korRawArray& a) {
    a.FitOneMore(8);
    return a.OpenGap(0, 8) != nullptr;
  });
  raw("GrowDoubling", [](korRawArray& a) { return a.GrowDoubling(8), 0; });
  raw("GrowByStep", [](korRawArray& a) { return a.GrowByStep(8), 0; });
  raw("Fit|korRawArray::At|korRawArray::GetForce|korRawArray::SetForce|korRawArray::GetStep|"
      "korRawArray::GetCount|korRawArray::GetCapacity",
      [](korRawArray& a) { return a.Fit(8), a.GetForce() + a.GetStep(); });
  NeverFail(table, [&] {
    raw("Clear|korRawArray::CloseGap", [](korRawArray& a) { return a.Clear(), 0; });
  });
  const auto pointers = [&](const std::string& member, auto use) {
    On(
        table, "korXArrayImpl::" + member,
        [](int count) {
          auto made = std::make_unique<korXArrayImpl>();
          for (int i = 0; i < count; ++i) made->InsertAt(i, Pointer<void>(i * 8 + 8));
          return made;
        },
        [](const korXArrayImpl& a) { return Elements(a); }, use);
  };
  pointers("InsertAt|korXArrayImpl::korXArrayImpl",
           [](korXArrayImpl& a) { return a.InsertAt(0, Pointer<void>(4)); });
  NeverFail(table, [&] {
    pointers("RemoveAt", [](korXArrayImpl& a) { return a.RemoveAt(0); });
    pointers("RemoveAll", [](korXArrayImpl& a) { return a.RemoveAll(), 0; });
  });
  pointers(
      "SetAt|korXArrayImpl::GetAt|korXArrayImpl::_Lookup|korXArrayImpl::GetCount|"
      "korXArrayImpl::GetCapacity",
      [](korXArrayImpl& a) {
        int position = 0;
        a._Lookup(Pointer<void>(8), Cmp_Ptrs, &position);
        return a.SetAt(0, Pointer<void>(4)) + position + a.GetCapacity();
      });
  const auto records = [&](const std::string& member, auto use) {
    On(
        table, "korClassXArrayImpl::" + member,
        [](int count) {
          auto made = std::make_unique<korClassXArrayImpl>(sizeof(std::uint64_t));
          for (std::uint64_t i = 0; i < static_cast<unsigned>(count); ++i) made->InsertAt(0, &i);
          return made;
        },
        [](const korClassXArrayImpl& a) {
          std::string all = Show(a.GetCount());
          for (int i = 0; i < a.GetCount(); ++i) {
            all += ' ' + std::to_string(*static_cast<std::uint64_t*>(a.GetAt(i)));
          }
          return all;
        },
        use);
  };
  records(
      "InsertAt|korClassXArrayImpl::korClassXArrayImpl|korClassXArrayImpl::GetAt|"
      "korClassXArrayImpl::GetCount|korClassXArrayImpl::GetCapacity",
      [](korClassXArrayImpl& a) {
        const std::uint64_t record = 99;
        return a.InsertAt(0, &record);
      });
  NeverFail(table, [&] {
    records("RemoveAt", [](korClassXArrayImpl& a) { return a.RemoveAt(0); });
    records("RemoveAll|korClassXArrayImpl::_Lookup",
            [](korClassXArrayImpl& a) { return a.RemoveAll(), 0; });
  });
}

// ---- text ----

void FillText(Table& table) {
  Step0(table, "Strnew|Strnew__|StrneW", [] {
    delete[] Strnew("text");
    delete[] Strnew__("text");
    delete[] StrneW(L"text");
  });
  NeverFail(table, [&] {
    Step0(table, "korText|Strlen|Strbytes|Strcmp|mbsnbcnt|Cmp_Ptrs|Cmp_cStrings|IsThreadingEnabled",
          [] {
            korText("text");
            Strlen("text");
            Strlen(L"text");
            Strbytes("text");
            Strcmp(L"a", L"b");
            mbsnbcnt("text", 2);
            Cmp_Ptrs(nullptr, nullptr);
            Cmp_cStrings("a", "b");
            IsThreadingEnabled();
          });
  });
  Step0(table,
        "korStringFind|korWStringFind|korStringSubstitute|korWStringSubstitute|"
        "korStringGetWord|korWStringGetWord|korStringGetNWords|korWStringGetNWords|"
        "korStringGetNextWord|korWStringGetNextWord|korStringFindSubstring|"
        "korWStringFindSubstring|korStringMatch|korWStringMatch|korStringToInt|korWStringToInt|"
        "korStringToDouble|korWStringToDouble|korStringToLower|korStringToUpper|"
        "korWStringToLower|korWStringToUpper",
        [] {
          const char* const text = "one two";
          const wchar_t* const wide = L"one two";
          std::size_t offset = 0;
          char out[64];
          wchar_t wideOut[64];
          korStringFind(text, "o", 1, -1, &offset);
          korWStringFind(wide, L"o", 1, -1, &offset);
          korStringSubstitute(out, text, "o", "0", 1, -1);
          korWStringSubstitute(wideOut, wide, L"o", L"0", 1, -1);
          const char* start = nullptr;
          const char* end = nullptr;
          const wchar_t* wideStart = nullptr;
          const wchar_t* wideEnd = nullptr;
          korStringGetWord(text, 1, " ", &start, &offset);
          korWStringGetWord(wide, 1, L" ", &wideStart, &offset);
          korStringGetNWords(text, " ");
          korWStringGetNWords(wide, L" ");
          korStringGetNextWord(text, text + 7, " ", &start, &end);
          korWStringGetNextWord(wide, wide + 7, L" ", &wideStart, &wideEnd);
          korStringFindSubstring(text, "two");
          korWStringFindSubstring(wide, L"two");
          korStringMatch(text, "*t*");
          korWStringMatch(wide, L"*t*");
          int number = 0;
          double real = 0;
          korStringToInt("12", &number);
          korWStringToInt(L"12", &number);
          korStringToDouble("1.5", &real);
          korWStringToDouble(L"1.5", &real);
          korStringToLower(out);
          korStringToUpper(out);
          korWStringToLower(wideOut);
          korWStringToUpper(wideOut);
        });
  Step0(table,
        "kor_mbstowcs|kor_wcstombs|korMbToWcLossy|korWcToMbLossy|kor_mbsnbcnt|korMbCharCount", [] {
          wchar_t wide[16];
          char narrow[16];
          kor_mbstowcs(wide, "text", 16);
          kor_wcstombs(narrow, wide, 16);
          korMbToWcLossy(wide, "text", 5);
          korWcToMbLossy(narrow, L"text", 5);
          kor_mbsnbcnt("text", 2);
          korMbCharCount("text", 4);
        });
  Step0(table, "kor_vsprintf", [] { xstring::Printf("%s %d %f %5.2e", "a", 1, 2.5, 1e10); });
  Step0(table, "korAlloc|korFree|korRealloc", [] {
    void* block = korAlloc(10);
    if (!block) throw std::bad_alloc();
    void* moved = korRealloc(block, 20);
    korFree(moved ? moved : block);
    if (!moved) throw std::bad_alloc();
  });
  NeverFail(table, [&] {
    Step0(table, "thrMutex::Lock|thrMutex::Unlock|thrMutex::thrMutex|korSetThreading", [] {
      thrMutex mutex(thrMutexRecursive);
      mutex.Lock();
      mutex.Unlock();
    });
  });
  for (const int form : {0, 1, 2, 3}) {
    table.push_back(
        {"korStrBuf::ResizeMB|korStrBuf::ResizeWC|"
         "korStrBuf::Produce|korStrBuf::AllocMB|"
         "korStrBuf::AllocWC|korStrBuf::Attach|korStrBuf::Release|korStrBuf::Commit|"
         "korStrBuf::CommitLength|korStrBuf::GetLength (" +
             std::to_string(form) + ')',
         [form](Trial& t) {
           char* narrow = nullptr;
           wchar_t* wide = nullptr;
           korStrBuf* buffer = form % 2 ? korStrBuf::AllocWC(5 * sizeof(wchar_t), &wide)
                                        : korStrBuf::AllocMB(5, &narrow);
           if (wide) std::memcpy(wide, L"text", 5 * sizeof(wchar_t));
           if (narrow) std::memcpy(narrow, "text", 5);
           buffer->CommitLength(4);
           const bool second = form > 1;
           t.state([&] { return wide && form % 2 ? Show(xstring(wide)) : Show(narrow); });
           t.run([&] {
             if (form % 2 ? buffer->GetLength(wide) : buffer->GetLength(narrow)) {
               buffer->Commit();
             }
             if (second && form % 2) {
               buffer = buffer->ResizeWC(500 * sizeof(wchar_t), &wide, 1);
             } else if (second) {
               buffer = buffer->ResizeMB(500, &narrow, 1);
             } else if (form) {
               buffer = buffer->Produce(&narrow, nullptr);
             } else {
               buffer = buffer->Produce(nullptr, &wide);
             }
           });
           buffer->Release();
         }});
  }
  for (const bool wide : {false, true}) {
    table.push_back(
        {"korStrBuf::NoteLength|korStrBuf::Extend|korStrBuf::Reuse|"
         "korStrBuf::AddReference|korStrBuf::DropReference|korStrBuf::KnownLength (" +
             std::to_string(wide) + ')',
         [wide](Trial& t) {
           char* narrowText = nullptr;
           wchar_t* wideText = nullptr;
           korStrBuf* const buffer =
               wide ? korStrBuf::AllocWC(80, &wideText) : korStrBuf::AllocMB(80, &narrowText);
           if (wide) std::memcpy(wideText, L"text", 5 * sizeof(wchar_t));
           if (!wide) std::memcpy(narrowText, "text", 5);
           t.state([&] { return wide ? Show(xstring(wideText)) : Show(narrowText); });
           t.run([&] {
             buffer->AddReference();
             buffer->DropReference();
             if (wide && buffer->Reuse(wideText, 4)) {
               buffer->NoteLength(4);
               *buffer->Extend(wideText, 1) = L's';
             } else if (!wide && buffer->Reuse(narrowText, 4)) {
               buffer->NoteLength(4);
               *buffer->Extend(narrowText, 1) = 's';
             }
           });
           buffer->Release();
         }});
  }
}

// ---- the cores ----

class Dictionary : public xbasedictionary {
 public:
  using Entry = xdictentry<xstring>;
  Dictionary() : xbasedictionary(nullptr) {}
  ~Dictionary() { BaseClearAll(sizeof(Entry)); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  void* OnAllocate(unsigned slots) override {
    auto* entries = static_cast<Entry*>(AllocateBlock(slots * sizeof(Entry)));
    for (unsigned i = 0; i < slots; ++i) new (entries + i) Entry{nullptr, xstring()};
    return entries;
  }
  void OnDestroy(void* block, unsigned slots) override {
    auto* entries = static_cast<Entry*>(block);
    for (unsigned i = 0; i < slots; ++i) entries[i].value.~xstring();
    ReleaseBlock(block);
  }
  // A copy of its own for each, so that copying a value needs memory.
  void OnCopyEntry(void* dst, const void* src) override {
    const xstring& from = *static_cast<const xstring*>(src);
    *static_cast<xstring*>(dst) = xstring(from.CastToCString());
  }
  void OnRemoveEntry(void* value) override { *static_cast<xstring*>(value) = xstring(); }

  void put(const xstring& key, const char* text) {
    const xstring value(text);
    BaseSet(key, &value, sizeof(Entry), offsetof(Entry, value));
  }
  std::string text(bool withSlots) {
    std::string all = Show(GetCount()) + (withSlots ? " of " + Show(GetTableSize()) : "");
    std::vector<std::string> entries;
    for (unsigned i = 0; i < GetTableSize(); ++i) {
      xstring key, value;
      if (!BaseGetKeyByIndex(i, &key, sizeof(Entry))) continue;
      BaseGetByIndex(i, &value, sizeof(Entry), offsetof(Entry, value));
      entries.push_back((withSlots ? Show(i) : "") + Show(key) + Show(value));
    }
    if (!withSlots) std::sort(entries.begin(), entries.end());
    for (const std::string& entry : entries) all += ' ' + entry;
    return all;
  }
  static constexpr unsigned kSlot = sizeof(Entry);
  static constexpr unsigned kValue = offsetof(Entry, value);
};

class Sequence : public xbasesequence {
 public:
  Sequence() : xbasesequence(xseqcontrol(true, 64)) {}
  ~Sequence() { korFree(DetachStorage()); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;
  void* OnResize(unsigned newCapacity) override {
    void* block = korRealloc(GetPtr(), newCapacity);
    if (!block) throw std::bad_alloc();
    return block;
  }
  void OnAllocate(void*, unsigned) override {}
  void OnDestroy(void*, unsigned) override {}
  void OnCopy(void* dst, const void* src, unsigned bytes) override {
    if (bytes) std::memmove(dst, src, bytes);
  }
};

void FillCores(Table& table) {
  // A table that grew before the copy of the value failed, or that could not shrink,
  // has the same entries.
  const auto dictionary = [&](const std::string& member, auto use, bool shrinks = false) {
    for (const int count : {0, 5, 30, 46}) {
      table.push_back(
          {"xbasedictionary::" + member + " (" + std::to_string(count) + ')', [=](Trial& t) {
             Dictionary d;
             for (int i = 0; i < count; ++i) d.put(xstring::Printf("key %d", i), "old");
             const xstring value("new value");
             t.state([&] { return d.text(!shrinks); });
             t.run([&] { use(d, value); });
           }});
    }
  };
  constexpr unsigned slot = Dictionary::kSlot;
  constexpr unsigned at = Dictionary::kValue;
  dictionary(
      "BaseSet|xbasedictionary::xbasedictionary|xdictcontrol::xdictcontrol",
      [](Dictionary& d, const xstring& v) { d.BaseSet("key", &v, slot, at); }, true);
  dictionary(
      "BaseSet - over", [](Dictionary& d, const xstring& v) { d.BaseSet("key 1", &v, slot, at); },
      true);
  NeverFail(table, [&] {
    dictionary(
        "BaseRemove|xbasedictionary::FindIndex",
        [](Dictionary& d, const xstring&) { d.BaseRemove("key 1", slot, at); }, true);
    dictionary("BaseLocate", [](Dictionary& d, const xstring&) { d.BaseLocate("key 1", slot, at); });
    dictionary("NextEntry", [](Dictionary& d, const xstring&) { d.NextEntry(0, d.GetTableSize()); });
    dictionary(
        "BaseRemoveByIndex",
        [](Dictionary& d, const xstring&) {
          for (unsigned i = 0; i < d.GetTableSize(); ++i) {
            if (d.BaseRemoveByIndex(i, slot, at)) break;
          }
        },
        true);
    dictionary(
        "BaseClearAll|xbasedictionary::BaseFreeAllKeys|xbasedictionary::GetDataPtr|"
        "xbasedictionary::GetTableSize|xbasedictionary::GetCount|xbdictHashMain|"
        "xbdictHashCollision",
        [](Dictionary& d, const xstring&) { d.BaseClearAll(slot); });
  });
  dictionary("BaseFind|xbasedictionary::BaseGetByIndex", [](Dictionary& d, const xstring&) {
    xstring found;
    d.BaseFind("key 1", &found, slot, at);
    d.BaseGetByIndex(0, &found, slot, at);
  });
  dictionary("BaseGetKeyByIndex", [](Dictionary& d, const xstring&) {
    xstring key;
    for (unsigned i = 0; i < d.GetTableSize(); ++i) d.BaseGetKeyByIndex(i, &key, slot);
  });
  dictionary("BaseSetByIndex", [](Dictionary& d, const xstring& v) {
    for (unsigned i = 0; i < d.GetTableSize(); ++i) {
      if (d.BaseSetByIndex(i, &v, slot, at)) break;
    }
  });
  // These two may leave the dictionary empty, and then it is whole: it can be
  // filled again. From an empty one the engine compares as ever.
  for (const int count : {0, 30}) {
    table.push_back(
        {"xbasedictionary::BaseClone|xbasedictionary::BaseAllocate (" + std::to_string(count) + ')',
         [count](Trial& t) {
           Dictionary from, to;
           for (int i = 0; i < 30; ++i) from.put(xstring::Printf("key %d", i), "value");
           for (int i = 0; i < count; ++i) to.put("old", "old");
           t.state([&] {
             const std::string now = to.text(true);
             const bool lost = to.GetCount() == 0 && !to.GetDataPtr();
             return from.text(true) + (count && lost ? "1 of 32" : now.substr(0, 7));
           });
           t.run([&] { to.BaseClone(&from, slot, at); });
         }});
    table.push_back(
        {"xbasedictionary::BaseAllocate (" + std::to_string(count) + ')', [count](Trial& t) {
           Dictionary d;
           for (int i = 0; i < count; ++i) d.put("old", "old");
           t.state([&] {
             const bool lost = d.GetCount() == 0 && !d.GetDataPtr();
             return count && lost ? std::string("1 of 32") : d.text(true).substr(0, 7);
           });
           t.run([&] { d.BaseAllocate(100, slot); });
         }});
  }

  const auto sequence = [&](const std::string& member, auto use, bool shrinks = false) {
    for (const unsigned bytes : {0u, 30u, 64u, 200u}) {
      table.push_back(
          {"xbasesequence::" + member + " (" + std::to_string(bytes) + ')', [=](Trial& t) {
             Sequence s;
             const std::string filling(bytes, 'a');
             s.BaseAppend(bytes, filling.data());
             t.state([&] {
               return std::string(static_cast<char*>(s.GetPtr()), s.GetByteSize()) +
                      (shrinks ? "" : Show(s.GetCapacity()));
             });
             t.run([&] { use(s); });
           }});
    }
  };
  static const char more[] = "0123456789";
  sequence("BaseAppend|xbasesequence::xbasesequence|xseqcontrol::xseqcontrol",
           [](Sequence& s) { s.BaseAppend(10, more); });
  sequence("BaseInsert", [](Sequence& s) { s.BaseInsert(0, 10, more); });
  sequence("BaseInsert - itself",
           [](Sequence& s) { s.BaseInsert(s.GetByteSize() / 2, s.GetByteSize(), s.GetPtr()); });
  sequence("BaseInsertEmpty", [](Sequence& s) {
    const unsigned end = s.GetByteSize();
    s.BaseInsertEmpty(end, 70);
    std::memset(static_cast<char*>(s.GetPtr()) + end, 'b', 70);
  });
  sequence("BaseCopy", [](Sequence& s) { s.BaseCopy(s.GetByteSize(), 10, more); });
  NeverFail(table, [&] {
    sequence(
        "BaseRemove", [](Sequence& s) { s.BaseRemove(0, 150); }, true);
    sequence(
        "BaseClear|xbasesequence::GetByteSize|xbasesequence::GetCapacity|xbasesequence::GetPtr",
        [](Sequence& s) { s.BaseClear(); }, true);
  });
  // It empties first, as it says, and then provides the room.
  table.push_back({"xbasesequence::BaseAllocate", [](Trial& t) {
                     Sequence s;
                     t.state(
                         [&] { return Show(s.GetByteSize()) + " in " + Show(s.GetCapacity()); });
                     t.run([&] { s.BaseAllocate(1000); });
                   }});
}

}  // namespace

void velsweep::fill(Table& table) {
  FillSet<xobject>(table, "xobject");
  FillSet<xrttiobject>(table, "xrttiobject");
  const auto map = [&](auto make, auto* value, const char* name, const char* valueName) {
    using V = std::remove_pointer_t<decltype(value)>;
    using Map = typename decltype(make())::element_type;
    FillMap<Map, V>(table, name, valueName, make);
  };
  map([] { return std::make_unique<korNonOwnerStringMap<void*>>(); }, static_cast<void*>(nullptr),
      "korNonOwnerStringMap<void*>::korNonOwnerStringMap", "void");
  map([] { return std::make_unique<korNonOwnerStringMap<xrtti*>>(); }, static_cast<xrtti*>(nullptr),
      "korNonOwnerStringMap<xrtti*>::korNonOwnerStringMap", "xrtti");
  map([] { return std::make_unique<korClassMap<const char*, void*>>(Cmp_cStrings); },
      static_cast<void*>(nullptr), "korClassMap<char const*, void*>::korClassMap", "void");
  map([] { return std::make_unique<korClassMap<const char*, xrtti*>>(Cmp_cStrings); },
      static_cast<xrtti*>(nullptr), "korClassMap<char const*, xrtti*>::korClassMap", "xrtti");
  FillArrays(table);
  FillText(table);
  FillCores(table);
}
