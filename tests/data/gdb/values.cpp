// Values of every kind for the debugger to look at, at the call of look().
#include <velext.h>
#include <velstd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

VEL_ENUM(Color, "demo::Color", red, green, blue)

class Shape : public velStruct<Shape> {
 public:
  int id = 7;
  VEL_STRUCT(Shape, "demo::Shape", id)
};

class Point : public velStruct<Point, Shape> {
 public:
  int x = 0, y = 0;
  xstring label;
  xrchandle<Point> next;
  xrchandle<velSequenceOf<int>> tags;
  VEL_STRUCT(Point, "demo::Point", x, y, label, next, tags)
};

// Reaches its base by two ways.
class Mark : public velStruct<Mark, Shape> {
 public:
  xany value = 1.5;
  VEL_STRUCT(Mark, "demo::Mark", value)
};
class MarkedPoint : public velStruct<MarkedPoint, Point, Mark> {
 public:
  bool seen = true;
  VEL_STRUCT(MarkedPoint, "demo::MarkedPoint", seen)
};

// Described by hand.
class Tank : public virtual xobject {
  VEL_OBJECT(Tank)
 public:
  double level = 2.5;
  xany note = "full";
  static int made;
};
int Tank::made = 1;
VEL_OBJECT_RTTI(Tank, xrttiobject,
                [](xrttiobject* rtti) { rtti->initializeRttiObject("demo::Tank", 1, 0, nullptr); })

// A collection of a class that only this program knows.
struct Pair {
  int first = 0;
  short second = 0;
};
class PairSequence : public xtcsequence<Pair> {
  VEL_OBJECT(PairSequence)
 public:
  PairSequence() : xtcsequence<Pair>(0u) {}
};
VEL_OBJECT_RTTI(PairSequence, xrttiobject,
                [](xrttiobject* rtti) { rtti->initializeRttiObject("demo::Pairs", 1, 0, nullptr); })

struct Values {
  xstring null, empty, narrow, wide, both, appended, zeros, longText, longWide, quoted, utf8,
      wideUtf8;
  __xstring_c view;
  xany uninit, nil, number, yes, odd, real, third, text, wideText, enumerator, nameless, object,
      nested, uncounted;
  __xany_c anyView;
  xrchandle<xintsequence> noInts, ints;
  xrchandle<xboolsequence> bools;
  xrchandle<xrealsequence> reals;
  xrchandle<xstringsequence> strings;
  xrchandle<xanysequence> anys, cyclic, blame, doubled;
  xrchandle<xbooldictionary> boolDict;
  xrchandle<xintdictionary> intDict, removed;
  xrchandle<xrealdictionary> realDict;
  xrchandle<xstringdictionary> stringDict;
  xrchandle<xanydictionary> anyDict;
  xrchandle<velSequenceOf<Point>> points;
  xrchandle<velSequenceOf<Color>> colors;
  xrchandle<velDictionaryOf<Point>> pointDict;
  xrchandle<velDictionaryOf<Color>> colorDict;
  xrchandle<velArrayOf<Color, 2, 2>> board;
  xrchandle<PairSequence> pairs;
  xrchandle<Point> point;
  xrchandle<MarkedPoint> marked;
  xrchandle<Tank> tank;
  xrchandle<Shape> shape;
  xrcunihandle<xobject> held, nothing;
  xrcunihandle<xobject> never;
  xobject* raw;
  xintsequence* rawInts;
  std::vector<xrchandle<xintsequence>> foreign;
  xthrowable* caught[4];
  xrtti* type;
  xrttiobject* pointType;
  xrttiattr* attribute;
  xrttiattrseq* attributes;
  // Memory that is no value.
  alignas(16) char broken[24][64];
  xintsequence* freed;
};

extern "C" __attribute__((noinline)) void look(Values& v) {
  __asm__ volatile("" : : "r"(&v) : "memory");
}

template <class Step>
xthrowable* thrownBy(Step step) {
  try {
    step();
  } catch (xthrowable* caught) {
    return caught;
  }
  return nullptr;
}

// Writes words to one of the broken places.
void put(char* at, std::initializer_list<std::uint64_t> words) {
  std::memcpy(at, words.begin(), words.size() * sizeof(std::uint64_t));
}

std::uint64_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

int main(int argc, char**) {
  static Values v;
  v.empty = "";
  v.narrow = "apples";
  v.wide = L"pears";
  v.both = L"plums";
  std::printf("%s\n", v.both.CastToCString());
  v.appended = "a";
  v.appended += "bcd";
  char* text;
  korStrBuf* const buffer = korStrBuf::AllocMB(4, &text);
  std::memcpy(text, "a\0b", 4);
  buffer->NoteLength(3);
  v.zeros = xstring({buffer, text, nullptr}, false);
  v.longText = std::string(300, 'x').c_str();
  for (int i = 0; i < 300; ++i) v.longWide += L'y';
  v.quoted = "say \"hi\"\n\tnow";
  v.utf8 = "\xC3\x84pfel";
  v.wideUtf8 = L"\u00C4pfel \u20AC";
  v.view = v.narrow.getxstring_c();

  v.nil = xanyNil;
  v.number = -42;
  v.yes = true;
  v.odd = static_cast<unsigned char>(7);
  v.real = 3.0;
  v.third = 0.1;
  v.text = "figs";
  v.wideText = xstring(L"dates");
  v.enumerator = velAny(Color::blue);
  v.nameless = xanyEnum;
  v.anyView = v.text.getxany_c();

  v.ints = xintsequence::create();
  for (int i = 1; i <= 3; ++i) v.ints->append(i * 10);
  v.object = v.ints;
  v.bools = xboolsequence::create();
  for (int byte : {0, 1, 0x80, 0x81, 9}) v.bools->append(static_cast<unsigned char>(byte));
  v.reals = xrealsequence::create();
  v.reals->append(1.5);
  v.reals->append(-2);
  v.strings = xstringsequence::create();
  v.strings->append("one");
  v.strings->append(L"two");
  v.strings->append(xstring());
  v.anys = xanysequence::create();
  v.anys->append(1);
  v.anys->append("two");
  v.anys->append(v.ints);
  v.anys->append(xany());
  v.anys->append(xanyNil);
  v.cyclic = xanysequence::create();
  v.cyclic->append(v.cyclic);
  v.cyclic->append(v.cyclic);
  v.blame = xanysequence::create();
  const xrchandle<xthrowable> blaming(thrownBy([] { v.blame->get(1); }));
  v.blame->append(blaming);
  // Thirty levels, each of which holds the next one twice.
  v.doubled = xanysequence::create();
  for (int level = 0; level < 30; ++level) {
    const xrchandle<xanysequence> inner = v.doubled;
    v.doubled = xanysequence::create();
    v.doubled->append(inner);
    v.doubled->append(inner);
  }
  v.nested = v.anys;
  v.boolDict = xbooldictionary::create();
  v.boolDict->set("yes", 1);
  v.intDict = xintdictionary::create();
  v.intDict->set("one", 1);
  v.intDict->set("two", 2);
  v.removed = xintdictionary::create();
  for (int i = 0; i < 40; ++i) v.removed->set(("k" + std::to_string(i)).c_str(), i);
  for (int i = 0; i < 38; ++i) v.removed->remove(("k" + std::to_string(i)).c_str());
  v.realDict = xrealdictionary::create();
  v.realDict->set("half", 0.5);
  v.stringDict = xstringdictionary::create();
  v.stringDict->set("a", "b");
  v.anyDict = xanydictionary::create();
  v.anyDict->set("ints", v.ints);
  v.anyDict->set("n", 5);

  v.point = velNew<Point>();
  v.point->x = 3;
  v.point->label = "here";
  v.point->next = velNew<Point>();
  v.point->tags = v.ints;
  v.marked = velNew<MarkedPoint>();
  v.tank = new Tank;
  v.shape = v.point;
  v.points = velSequenceOf<Point>::create();
  v.points->append(v.point);
  v.points->append(xrchandle<Point>());
  v.colors = velSequenceOf<Color>::create();
  v.colors->append(Color::green);
  v.pointDict = velDictionaryOf<Point>::create();
  v.pointDict->set("p", v.point);
  v.colorDict = velDictionaryOf<Color>::create();
  v.colorDict->set("c", Color::red);
  v.board = velArrayOf<Color, 2, 2>::create();
  v.board->at(0, 1) = Color::blue;
  v.pairs = new PairSequence;
  v.pairs->append({1, 2});
  v.held = xrcunihandle<xobject>(v.ints);
  v.never = xrcunihandle<xobject>(xuninitobject);
  v.uncounted = static_cast<xobject*>(velGetRtti_int());
  v.raw = v.point;
  v.rawInts = v.ints;
  v.foreign.push_back(v.ints);
  v.caught[0] = thrownBy([] { v.ints->get(99); });
  v.caught[1] = thrownBy([] { velXNativeException::Throw("disk full"); });
  v.caught[2] = thrownBy([] { velXSoapHttpTransport::Throw("no answer", 503, "busy"); });
  v.type = velGetRtti_int();
  v.pointType = Point::getClassRtti();
  auto* structure = dynamic_cast<xrttistruct*>(v.pointType);
  v.attribute = structure->getAttr(2);
  v.attributes = velRttiCollectAttrs(structure, 0);

  // Texts with a wild buffer, one that is another thing, one that nobody has a reference on.
  put(v.broken[0], {0x10, 0x20, 0x30});
  put(v.broken[1], {address(v.rawInts), 0, 0});
  // Variants of no kind, with a wild string, object and descriptor.
  put(v.broken[2], {99, 1});
  put(v.broken[3], {xanyString, 0x10, 0x20, 0x30});
  put(v.broken[4], {xanyObject, 0x10});
  put(v.broken[5], {xanyEnum, 1, 0x18});
  // A handle on something that is no object.
  put(v.broken[6], {address(v.broken[7])});
  put(v.broken[7], {address(v.broken[8]), 0, 0});
  put(v.broken[8], {1, 2, 3});
  // Collections whose sizes cannot be.
  char* copy = static_cast<char*>(std::malloc(256));
  std::memcpy(copy, static_cast<void*>(v.rawInts), 96);
  put(copy + 16, {0x0000000800000010});
  put(v.broken[9], {address(copy)});
  char* dictionary = static_cast<char*>(std::malloc(256));
  std::memcpy(dictionary, static_cast<void*>(v.intDict.operator->()), 192);
  put(dictionary + 16, {0x7FFFFFFF7FFFFFFF});
  put(v.broken[10], {address(dictionary)});
  char* unmapped = static_cast<char*>(std::malloc(256));
  std::memcpy(unmapped, static_cast<void*>(v.rawInts), 96);
  put(unmapped + 8, {0x10});
  put(v.broken[11], {address(unmapped)});
  char* counted = static_cast<char*>(std::malloc(256));
  std::memcpy(counted, static_cast<void*>(v.rawInts), 96);
  std::memset(counted + 48, 0x80, 16);
  put(v.broken[12], {address(counted)});
  char* half = static_cast<char*>(std::malloc(256));
  std::memcpy(half, static_cast<void*>(v.rawInts), 96);
  put(half + 16, {0x0000010000000006});
  put(v.broken[13], {address(half)});
  // Strings with a text that is not in the buffer, with one that is longer than its room, with a
  // buffer that nobody holds.
  const __xstring_c apples = v.narrow.getxstring_c_unattached();
  put(v.broken[14], {address(apples.buffer), 0x40, 0});
  for (int i : {16, 18}) {
    std::memcpy(v.broken[i], static_cast<const void*>(apples.buffer), 56);
    put(v.broken[i] + 16, {address(v.broken[i]) + 48});
    put(v.broken[i - 1], {address(v.broken[i]), 0, 0});
  }
  put(v.broken[16] + 40, {1000});
  put(v.broken[18] + 8, {0});
  xrchandle<xintsequence> dying = xintsequence::create();
  v.freed = dying;
  dying = xrchandle<xintsequence>();

  look(v);
  if (argc > 1) std::abort();
  return 0;
}
