// A tree of values from real documents: building, walking, printing, comparing.
//
// One item is a node: a text, a number, an object or an array. The documents are
// parsed before; every side is built from the same list of nodes, whose texts are
// bytes as a parser delivers them.
//
// The values of frameworks stand in rows of their own: a walk hands each node out
// as a value. Libraries made for JSON alone let a loop look at nodes in place and
// look up members one after the other; what that is worth, the rows "in place" show.
#include <glib.h>
#include <malloc.h>

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QVariant>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

// Its members are moved with memcpy, which g++ warns of.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wclass-memaccess"
#pragma GCC diagnostic ignored "-Wconversion"
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#pragma GCC diagnostic pop

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

enum class Kind { object, array, end, text, number, truth, nothing };

// A node, or the end of the innermost object or array.
struct Node {
  Kind kind;
  std::string key;  // of a member
  std::string text;
  double number = 0;
};

struct Document {
  std::vector<Node> nodes;
  int size = 0;  // ends not counted
};

// Writes the parser's events down.
class Recorder : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit Recorder(Document& document) : to(document) {}

  bool null() override { return add(Kind::nothing); }
  bool boolean(bool value) override { return add(Kind::truth, {}, value); }
  bool number_integer(number_integer_t value) override {
    return add(Kind::number, {}, static_cast<double>(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return add(Kind::number, {}, static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) override {
    return add(Kind::number, {}, value);
  }
  bool string(string_t& value) override { return add(Kind::text, value); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return add(Kind::object); }
  bool key(string_t& value) override {
    nextKey = value;
    return true;
  }
  bool end_object() override { return end(); }
  bool start_array(std::size_t) override { return add(Kind::array); }
  bool end_array() override { return end(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
    return false;
  }

 private:
  bool add(Kind kind, std::string text = {}, double number = 0) {
    to.nodes.push_back({kind, std::move(nextKey), std::move(text), number});
    nextKey.clear();
    ++to.size;
    return true;
  }
  bool end() {
    to.nodes.push_back({Kind::end, {}, {}});
    return true;
  }

  Document& to;
  std::string nextKey;
};

// An array of the two largest documents of iso-codes.
const Document& document() {
  static const Document read = [] {
    Document made;
    Recorder recorder(made);
    recorder.start_array(2);
    for (const char* name : {"iso_639-3", "iso_3166-2"}) {
      std::ifstream file(std::string("/usr/share/iso-codes/json/") + name + ".json");
      check(file && nlohmann::json::sax_parse(file, &recorder), "a document is missing");
    }
    recorder.end_array();
    check(made.size > 60000, "the documents are too small");
    return made;
  }();
  return read;
}

// ---- the sides: how each makes values and hands them out ---------------------

// Nodes that a walk has met, and how deep it is.
class Counter : public velTraverser {
 public:
  velTraverseResult simpleValue(xany) override {
    ++nodes;
    return velTrContinue;
  }
  velTraverseResult beginObject(xrttiobject*, xrcunihandle<xobject>) override {
    ++nodes;
    return velTrContinue;
  }
  int nodes = 0;
};

struct Ours {
  static constexpr const char* kName = "velstd";
  using Value = xany;
  using Object = xrchandle<xanydictionary>;
  using Array = xrchandle<xanysequence>;
  static Object object() { return xanydictionary::create(); }
  static Array array() { return xanysequence::create(); }
  static void add(Object& object, const std::string& key, Value value) {
    object->set(key.c_str(), std::move(value));
  }
  static void add(Array& array, Value value) { array->append(std::move(value)); }
  template <class Container>
  static Value value(Container& container) {
    return xany(container);
  }
  static Value text(const std::string& bytes) { return xany(bytes.c_str()); }
  static Value number(double value) { return xany(value); }
  static Value truth(bool value) { return xany(value); }
  static Value nothing() { return xany(xanyNil); }

  static int count(const Value& tree) {
    Counter counter;
    velTraverse(tree, &counter);
    return counter.nodes;
  }
  static std::size_t print(const Value& tree) {
    std::ostringstream out;
    velPrint(tree, out, -1);
    return out.str().size();
  }
  static bool equal(const Value& a, const Value& b) { return velCompare(a, b); }
};

struct Nlohmann {
  static constexpr const char* kName = "nlohmann::json";
  using Value = nlohmann::json;
  using Object = nlohmann::json;
  using Array = nlohmann::json;
  static Object object() { return nlohmann::json::object(); }
  static Array array() { return nlohmann::json::array(); }
  static void add(Object& object, const std::string& key, Value value) {
    object.emplace(key, std::move(value));
  }
  static void add(Array& array, Value value) { array.push_back(std::move(value)); }
  static Value value(Value& container) { return std::move(container); }
  static Value text(const std::string& bytes) { return bytes; }
  static Value number(double value) { return value; }
  static Value truth(bool value) { return value; }
  static Value nothing() { return nullptr; }

  static int count(const Value& tree) {
    int nodes = 1;
    if (tree.is_structured()) {
      for (const Value& part : tree) nodes += count(part);
    }
    return nodes;
  }
  static std::size_t print(const Value& tree) { return tree.dump().size(); }
  static bool equal(const Value& a, const Value& b) { return a == b; }
};

struct QtJson {
  static constexpr const char* kName = "QJsonValue";
  using Value = QJsonValue;
  using Object = QJsonObject;
  using Array = QJsonArray;
  static Object object() { return {}; }
  static Array array() { return {}; }
  static void add(Object& object, const std::string& key, Value value) {
    object.insert(QString::fromStdString(key), std::move(value));
  }
  static void add(Array& array, Value value) { array.append(std::move(value)); }
  template <class Container>
  static Value value(Container& container) {
    return Value(std::move(container));
  }
  static Value text(const std::string& bytes) { return QString::fromStdString(bytes); }
  static Value number(double value) { return value; }
  static Value truth(bool value) { return value; }
  static Value nothing() { return {}; }

  static int count(const Value& tree) {
    int nodes = 1;
    if (tree.isObject()) {
      const QJsonObject object = tree.toObject();
      for (auto at = object.begin(); at != object.end(); ++at) nodes += count(at.value());
    } else if (tree.isArray()) {
      const QJsonArray array = tree.toArray();
      for (const Value part : array) nodes += count(part);
    }
    return nodes;
  }
  static std::size_t print(const Value& tree) {
    const QJsonDocument document(tree.toArray());
    return static_cast<std::size_t>(document.toJson(QJsonDocument::Compact).size());
  }
  static bool equal(const Value& a, const Value& b) { return a == b; }
};

struct QtVariant {
  static constexpr const char* kName = "QVariant";
  using Value = QVariant;
  using Object = QVariantHash;
  using Array = QVariantList;
  static Object object() { return {}; }
  static Array array() { return {}; }
  static void add(Object& object, const std::string& key, Value value) {
    object.insert(QString::fromStdString(key), std::move(value));
  }
  static void add(Array& array, Value value) { array.append(std::move(value)); }
  template <class Container>
  static Value value(Container& container) {
    return Value(std::move(container));
  }
  static Value text(const std::string& bytes) { return QString::fromStdString(bytes); }
  static Value number(double value) { return value; }
  static Value truth(bool value) { return value; }
  static Value nothing() { return {}; }

  static int count(const Value& tree) {
    int nodes = 1;
    if (tree.typeId() == QMetaType::QVariantHash) {
      const QVariantHash object = tree.toHash();
      for (auto at = object.begin(); at != object.end(); ++at) nodes += count(at.value());
    } else if (tree.typeId() == QMetaType::QVariantList) {
      const QVariantList array = tree.toList();
      for (const Value& part : array) nodes += count(part);
    }
    return nodes;
  }
  static std::size_t print(const Value& tree) {
    QString text;
    QDebug(&text) << tree;
    return static_cast<std::size_t>(text.size());
  }
  static bool equal(const Value& a, const Value& b) { return a == b; }
};

// A reference to a GVariant, which is never changed once it is made.
class GlibValue {
 public:
  explicit GlibValue(GVariant* floating) : variant_(g_variant_ref_sink(floating)) {}
  GlibValue(GlibValue&& other) noexcept : variant_(std::exchange(other.variant_, nullptr)) {}
  GlibValue& operator=(GlibValue&&) = delete;
  ~GlibValue() {
    if (variant_) g_variant_unref(variant_);
  }
  GVariant* get() const { return variant_; }

 private:
  GVariant* variant_;
};

struct Glib {
  static constexpr const char* kName = "GVariant";
  using Value = GlibValue;
  struct Builder {
    explicit Builder(const char* type) : builder(g_variant_builder_new(G_VARIANT_TYPE(type))) {}
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;
    ~Builder() { g_variant_builder_unref(builder); }
    GVariantBuilder* const builder;
  };
  struct Object : Builder {
    Object() : Builder("a{sv}") {}
  };
  struct Array : Builder {
    Array() : Builder("av") {}
  };
  static Object object() { return {}; }
  static Array array() { return {}; }
  static void add(Object& object, const std::string& key, Value value) {
    g_variant_builder_add(object.builder, "{sv}", key.c_str(), value.get());
  }
  static void add(Array& array, Value value) {
    g_variant_builder_add(array.builder, "v", value.get());
  }
  static Value value(Builder& made) { return Value(g_variant_builder_end(made.builder)); }
  static Value text(const std::string& bytes) { return Value(g_variant_new_string(bytes.c_str())); }
  static Value number(double value) { return Value(g_variant_new_double(value)); }
  static Value truth(bool value) { return Value(g_variant_new_boolean(value)); }
  static Value nothing() { return Value(g_variant_new("()")); }

  static int count(GVariant* tree) {
    int nodes = 1;
    const bool object = g_variant_is_of_type(tree, G_VARIANT_TYPE_VARDICT);
    if (!object && !g_variant_is_of_type(tree, G_VARIANT_TYPE("av"))) return nodes;
    GVariantIter at;
    GVariant* part = nullptr;
    g_variant_iter_init(&at, tree);
    while (object ? g_variant_iter_next(&at, "{&sv}", nullptr, &part)
                  : g_variant_iter_next(&at, "v", &part)) {
      nodes += count(part);
      g_variant_unref(part);
    }
    return nodes;
  }
  static int count(const Value& tree) { return count(tree.get()); }
  static std::size_t print(const Value& tree) {
    GString* text = g_variant_print_string(tree.get(), nullptr, FALSE);
    const std::size_t size = text->len;
    g_string_free(text, TRUE);
    return size;
  }
  static bool equal(const Value& a, const Value& b) { return g_variant_equal(a.get(), b.get()); }
};

// Every value with memory of its own, so that it may go before the others do.
struct Rapid {
  static constexpr const char* kName = "RapidJSON";
  using Value = rapidjson::GenericValue<rapidjson::UTF8<>, rapidjson::CrtAllocator>;
  using Object = Value;
  using Array = Value;
  static rapidjson::CrtAllocator& memory() {
    static rapidjson::CrtAllocator allocator;
    return allocator;
  }
  static Object object() { return Value(rapidjson::kObjectType); }
  static Array array() { return Value(rapidjson::kArrayType); }
  static void add(Object& object, const std::string& key, Value value) {
    object.AddMember(text(key), value, memory());
  }
  static void add(Array& array, Value value) { array.PushBack(value, memory()); }
  static Value value(Value& container) { return std::move(container); }
  static Value text(const std::string& bytes) {
    return Value(bytes.data(), static_cast<rapidjson::SizeType>(bytes.size()), memory());
  }
  static Value number(double value) { return Value(value); }
  static Value truth(bool value) { return Value(value); }
  static Value nothing() { return Value(); }

  static int count(const Value& tree) {
    int nodes = 1;
    if (tree.IsObject()) {
      for (const auto& member : tree.GetObject()) nodes += count(member.value);
    } else if (tree.IsArray()) {
      for (const Value& part : tree.GetArray()) nodes += count(part);
    }
    return nodes;
  }
  static std::size_t print(const Value& tree) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    tree.Accept(writer);
    return std::string(text.GetString(), text.GetSize()).size();
  }
  static bool equal(const Value& a, const Value& b) { return a == b; }
};

// ---- the works ----------------------------------------------------------------

// The value that begins at `at`, which then stands behind it.
template <class Side>
typename Side::Value built(const Node*& at) {
  const Node& node = *at++;
  switch (node.kind) {
    case Kind::object: {
      auto object = Side::object();
      while (at->kind != Kind::end) {
        const std::string& key = at->key;
        Side::add(object, key, built<Side>(at));
      }
      ++at;
      return Side::value(object);
    }
    case Kind::array: {
      auto array = Side::array();
      while (at->kind != Kind::end) Side::add(array, built<Side>(at));
      ++at;
      return Side::value(array);
    }
    case Kind::text:
      return Side::text(node.text);
    case Kind::number:
      return Side::number(node.number);
    case Kind::truth:
      return Side::truth(node.number != 0);
    default:
      return Side::nothing();
  }
}

template <class Side>
typename Side::Value built() {
  const Node* at = document().nodes.data();
  return built<Side>(at);
}

// Joins what cases before have freed, so that each finds the heap of a young
// process: nodes that lie scattered cost several times as much.
void tidyHeap() {
  document();
  malloc_trim(0);
}

// Runs `step` on the whole tree again and again; one item is a node.
template <class Step>
void repeat(State& state, Step step) {
  for (auto _ : state) step();
  state.SetItemsProcessed(state.iterations() * document().size);
}

template <class Side>
void buildAndDrop(State& state) {
  tidyHeap();
  check(Side::count(built<Side>()) == document().size, "nodes of a tree");
  repeat(state, [] {
    const auto tree = built<Side>();
    keep(tree);
  });
}

template <class Side>
void walk(State& state) {
  tidyHeap();
  const auto tree = built<Side>();
  repeat(state, [&] { check(Side::count(tree) == document().size, "walk"); });
}

template <class Side>
void print(State& state) {
  tidyHeap();
  const auto tree = built<Side>();
  repeat(state, [&] { check(Side::print(tree) > 500000, "print"); });
}

template <class Side>
void compare(State& state) {
  tidyHeap();
  const auto tree = built<Side>();
  const auto other = built<Side>();
  repeat(state, [&] { check(Side::equal(tree, other), "compare"); });
}

template <class Side>
void addSide(const char* suffix, bool walks = true) {
  const auto in = [=](const char* what) { return std::string("tree: ") + what + suffix; };
  velbench::addCounting(in("build and drop").c_str(), Side::kName, buildAndDrop<Side>);
  if (walks) velbench::addCounting(in("walk").c_str(), Side::kName, walk<Side>);
  velbench::addCounting(in("print").c_str(), Side::kName, print<Side>);
  velbench::addCounting(in("deep compare").c_str(), Side::kName, compare<Side>);
}

}  // namespace

void velbench::registerCases() {
  addSide<Ours>("");
  addSide<Nlohmann>("", false);
  addSide<QtJson>("");
  addSide<QtVariant>("");
  // With pools of its own between their nodes, it would make all others slower.
  if (std::getenv("G_SLICE")) addSide<Glib>("");
  const char* const inPlace = ", in place";
  addSide<Ours>(inPlace);
  addSide<Rapid>(inPlace);
  velbench::addCounting("tree: walk, in place", Nlohmann::kName, walk<Nlohmann>);
}
