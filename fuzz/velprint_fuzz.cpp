// Printed values are parsed again: the text, line breaks and indentation included,
// says what was in the value. Built of the same choices, a second value compares
// equal; with one leaf changed, it does not.
#include "velprint.h"

#include <cctype>
#include <charconv>
#include <locale>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include "velcompare.h"
#include "velfuzz.h"
#include "veltest_types.h"
#include "xcollections.h"

namespace {

// ---- a value as it is built and as it is read ----

struct Node {
  std::string text;                   // of a leaf; the type's name otherwise
  char open = 0;                      // of what has parts
  std::map<std::string, Node> parts;  // by what stands before the colon

  std::string Shown() const {
    if (!open) return text;
    std::string shown = text + open;
    for (const auto& part : parts) shown += part.first + ':' + part.second.Shown() + ' ';
    return shown + '.';
  }
};

xrttiobject* PointType() {
  static VelAttr x("x");
  static VelAttr y("y");
  static VelStructType type("Point", {}, {&x, &y});
  return &type;
}

constexpr int kDeepest = 12;

class Builder {
 public:
  // The leaf of that number is another one; -1: none.
  Builder(velFuzzInput input, int changedLeaf) : in(input), changed(changedLeaf) {}

  xany Build(Node& node) {
    const unsigned sort = in.isEmpty() || path.size() == kDeepest ? in.below(8) : in.below(16);
    switch (sort) {
      case 8:
      case 9:
      case 10:
        return Sequence(node);
      case 11:
      case 12:
      case 13:
        return Dictionary(node);
      case 14:
        return Point(node);
      case 15:
        if (path.empty()) return Sequence(node);
        node.text = "<printed>";
        return xany(path[in.below(static_cast<unsigned>(path.size()))]);
      default:
        return Leaf(node, sort);
    }
  }

  int Leaves() const { return leaves; }
  const std::vector<xany>& Made() const { return made; }

 private:
  xany Leaf(Node& node, unsigned sort) {
    const xany value = Usual(node, sort);
    if (leaves++ != changed) return value;
    node.text = "\"another\"";
    return xany("another");
  }

  xany Usual(Node& node, unsigned sort) {
    switch (sort) {
      case 0: {
        // Not one of the two that stand for no number.
        int number = in.number();
        if (number < -2147483646) number = 0;
        node.text = std::to_string(number);
        return xany(number);
      }
      case 1:
      case 2: {
        const bool flag = in.flag();
        node.text = flag ? "true" : "false";
        return xany(flag);
      }
      case 3: {
        const double real = in.number() / 8.0;
        char text[40];
        node.text.assign(text, std::to_chars(text, text + sizeof text, real,
                                             std::chars_format::general, 6).ptr);
        return xany(real);
      }
      case 4:
        node.text = "nil";
        return xany(xanyNil);
      default: {
        const std::string text = Word(30);
        node.text = '"' + text + '"';
        return xany(text.c_str());
      }
    }
  }

  std::string Word(unsigned most) {
    std::string word = in.text(most);
    for (char& c : word) {
      if (c == '"' || c == '\n') c = '_';
    }
    return word;
  }

  template <class Fill>
  xany WithParts(Node& node, const xany& value, const char* type, char open, Fill fill) {
    node.text = type;
    node.open = open;
    made.push_back(value);
    path.push_back(value.operator xobject*());
    fill();
    path.pop_back();
    return value;
  }

  xany Sequence(Node& node) {
    const auto sequence = xanysequence::create();
    return WithParts(node, xany(sequence), "anyseq", '[', [&] {
      const int count = in.between(0, 5);
      for (int i = 0; i < count; ++i) sequence->append(Build(node.parts[std::to_string(i)]));
    });
  }

  xany Dictionary(Node& node) {
    const auto dictionary = xanydictionary::create();
    return WithParts(node, xany(dictionary), "anydict", '{', [&] {
      for (int n = in.between(0, 5); n > 0; --n) {
        const std::string key = Word(8);
        Node part;
        const xany value = Build(part);
        dictionary->set(key.c_str(), value);
        node.parts['"' + key + '"'] = part;
      }
    });
  }

  xany Point(Node& node) {
    const xrchandle<VelThing> point(new VelThing(PointType()));
    return WithParts(node, xany(point), "Point", '{', [&] {
      for (const char* name : {"x", "y"}) point->values[name] = velGives(Build(node.parts[name]));
    });
  }

  velFuzzInput in;
  int changed;
  int leaves = 0;
  std::vector<xobject*> path;
  std::vector<xany> made;
};

// ---- the parser of the printed form ----

class Parser {
 public:
  Parser(const std::string& printed, int indentation) : text(printed), step(indentation) {}

  Node Whole() {
    Node node = Value();
    VEL_FUZZ_CHECK(at == text.size());
    return node;
  }

 private:
  void Expect(const std::string& wanted) {
    VEL_FUZZ_SAME(text.substr(at, wanted.size()), wanted);
    at += wanted.size();
  }

  std::string NextLine() const {
    return step < 0 ? " " : '\n' + std::string(static_cast<std::size_t>(indent), ' ');
  }

  bool Begins(const std::string& with) const { return text.compare(at, with.size(), with) == 0; }

  std::string Quoted() {
    const std::size_t end = text.find('"', at + 1);
    VEL_FUZZ_CHECK(end != std::string::npos);
    const std::size_t begin = at;
    at = end + 1;
    return text.substr(begin, at - begin);
  }

  std::string Plain() {
    const std::size_t begin = at;
    while (at < text.size() && !std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    return text.substr(begin, at - begin);
  }

  Node Value() {
    Node node;
    if (text[at] == '"') {
      node.text = Quoted();
      return node;
    }
    node.text = Plain();
    for (const char open : {'[', '{'}) {
      if (Begins(NextLine() + open)) return Parts(node, open);
    }
    return node;
  }

  Node Parts(Node node, char open) {
    node.open = open;
    Expect(NextLine() + open);
    if (step > 0) indent += step;
    const char close = open == '[' ? ']' : '}';
    while (true) {
      // The closing one stands further left than the next part.
      if (step > 0) indent -= step;
      const std::string end = NextLine() + close;
      const bool isEnd = Begins(end);
      if (isEnd) Expect(end);
      if (isEnd) return node;
      if (step > 0) indent += step;
      Expect(NextLine());
      const std::string name = text[at] == '"' ? Quoted() : Plain();
      Expect(" : ");
      VEL_FUZZ_CHECK(node.parts.count(name) == 0);
      node.parts[name] = Value();
    }
  }

  const std::string& text;
  int step;
  int indent = 0;
  std::size_t at = 0;
};

// What was built. Objects may hold one another in circles, which are opened in the end.
class Tree {
 public:
  Tree(const velFuzzInput& input, int changedLeaf) {
    Builder builder(input, changedLeaf);
    value = builder.Build(node);
    leaves = builder.Leaves();
    made = builder.Made();
  }
  ~Tree() {
    for (const xany& one : made) {
      xobject* const object = one.operator xobject*();
      if (auto* sequence = xanysequence::softcast(object)) sequence->clear();
      if (auto* dictionary = xanydictionary::softcast(object)) dictionary->clearall();
      if (auto* thing = dynamic_cast<VelThing*>(object)) thing->values.clear();
    }
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  xany value;
  Node node;
  int leaves = 0;

 private:
  std::vector<xany> made;
};

std::string Printed(const xany& value, int step) {
  std::ostringstream out;
  out.imbue(std::locale::classic());  // numbers are written as the stream says
  velPrint(value, out, step);
  return out.str();
}

}  // namespace

VEL_FUZZ(input) {
  const int step = input.between(-1, 4);
  const unsigned changedLeaf = input.byte();
  {
    const Tree tree(input, -1);
    const std::string printed = Printed(tree.value, step);
    VEL_FUZZ_SAME(Parser(printed, step).Whole().Shown(), tree.node.Shown());

    const bool isObject = tree.value.getkind() == xanyObject;
    const Tree twin(input, -1);
    VEL_FUZZ_CHECK(velCompare(tree.value, twin.value) == (isObject ? 1 : 0));
    if (isObject && tree.leaves > 0) {
      const Tree other(input, static_cast<int>(changedLeaf) % tree.leaves);
      const bool isSame = other.node.Shown() == tree.node.Shown();
      VEL_FUZZ_CHECK((velCompare(tree.value, other.value) != 0) == isSame);
    }
  }
  VEL_FUZZ_CHECK(VelThing::alive() == 0);
}
