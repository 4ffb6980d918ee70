// Dictionaries from words to numbers: filling, finding, removing, and what they weigh.
//
// Keys are given as each side's users have them: texts with a known length, but
// null-terminated ones for GLib and for us; in rows of their own, null-terminated
// ones for all. A word that is looked for in vain ends in a character that no word
// has.
#include <absl/container/flat_hash_map.h>
#include <glib.h>
#include <malloc.h>

#include <QHash>
#include <QString>
#include <deque>
#include <map>
#include <memory>
#include <unordered_map>

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

const char* terminated(const std::string& key) { return key.c_str(); }
const char* terminated(const char* key) { return key; }

template <class Text>
struct OursOf {
  static constexpr const char* kName = "velstd";
  using Key = Text;
  using Table = xrchandle<xintdictionary>;
  static Table make() { return xintdictionary::create(); }
  static void set(Table& table, const Key& key, int value) { table->set(terminated(key), value); }
  static bool find(const Table& table, const Key& key, int* value) {
    return table->find(terminated(key), value);
  }
  static bool erase(Table& table, const Key& key) { return table->remove(terminated(key)); }
  static std::size_t size(const Table& table) {
    return static_cast<std::size_t>(table->getcount());
  }
  static std::int64_t sum(const Table& table) {
    std::int64_t total = 0;
    for (int slot = 0, slots = table->getmapsize(); slot < slots; ++slot) {
      int value = 0;
      if (table->getbyindex(slot, &value)) total += value;
    }
    return total;
  }
};

using Ours = OursOf<std::string>;

// Tables with the interface of the standard's.
template <class Map>
struct StdLike {
  using Key = std::string;
  using Table = Map;
  static Table make() { return Table(); }
  static void set(Table& table, const Key& key, int value) { table[key] = value; }
  static bool find(const Table& table, const Key& key, int* value) {
    const auto at = table.find(key);
    if (at == table.end()) return false;
    *value = at->second;
    return true;
  }
  static bool erase(Table& table, const Key& key) { return table.erase(key) == 1; }
  static std::size_t size(const Table& table) { return table.size(); }
  static std::int64_t sum(const Table& table) {
    std::int64_t total = 0;
    for (const auto& entry : table) total += entry.second;
    return total;
  }
};

struct Absl : StdLike<absl::flat_hash_map<std::string, int>> {
  static constexpr const char* kName = "absl::flat_hash_map";
};

// The same table for those who have null-terminated keys.
struct AbslTerminated : Absl {
  using Key = const char*;
  static void set(Table& table, const Key& key, int value) { table[key] = value; }
  static bool find(const Table& table, const Key& key, int* value) {
    const auto at = table.find(key);
    if (at == table.end()) return false;
    *value = at->second;
    return true;
  }
};

struct Std : StdLike<std::unordered_map<std::string, int>> {
  static constexpr const char* kName = "std::unordered_map";
};

struct QtCore {
  static constexpr const char* kName = "QHash";
  using Key = QString;
  using Table = QHash<QString, int>;
  static Table make() { return Table(); }
  static void set(Table& table, const Key& key, int value) { table.insert(key, value); }
  static bool find(const Table& table, const Key& key, int* value) {
    const auto at = table.constFind(key);
    if (at == table.constEnd()) return false;
    *value = at.value();
    return true;
  }
  static bool erase(Table& table, const Key& key) { return table.remove(key); }
  static std::size_t size(const Table& table) { return static_cast<std::size_t>(table.size()); }
  static std::int64_t sum(const Table& table) {
    std::int64_t total = 0;
    for (const int value : table) total += value;
    return total;
  }
};

template <class Text>
struct GlibOf {
  static constexpr const char* kName = "GHashTable";
  using Key = Text;
  struct Drop {
    void operator()(GHashTable* table) const { g_hash_table_destroy(table); }
  };
  using Table = std::unique_ptr<GHashTable, Drop>;
  static Table make() {
    return Table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr));
  }
  static void set(Table& table, const Key& key, int value) {
    g_hash_table_insert(table.get(), g_strdup(terminated(key)), GINT_TO_POINTER(value));
  }
  static bool find(const Table& table, const Key& key, int* value) {
    gpointer found = nullptr;
    if (!g_hash_table_lookup_extended(table.get(), terminated(key), nullptr, &found)) return false;
    *value = GPOINTER_TO_INT(found);
    return true;
  }
  static bool erase(Table& table, const Key& key) {
    return g_hash_table_remove(table.get(), terminated(key));
  }
  static std::size_t size(const Table& table) { return g_hash_table_size(table.get()); }
  static std::int64_t sum(const Table& table) {
    std::int64_t total = 0;
    GHashTableIter at;
    gpointer value = nullptr;
    g_hash_table_iter_init(&at, table.get());
    while (g_hash_table_iter_next(&at, nullptr, &value)) total += GPOINTER_TO_INT(value);
    return total;
  }
};

using Glib = GlibOf<std::string>;

void assign(const char*& to, const std::string& word) {
  static std::deque<std::string> texts;  // which stay where they are
  to = texts.emplace_back(word).c_str();
}
void assign(std::string& to, const std::string& word) { to = word; }
void assign(QString& to, const std::string& word) { to = QString::fromStdString(word); }

template <class Key>
std::vector<Key> converted(const std::vector<std::string>& from) {
  std::vector<Key> to(from.size());
  for (std::size_t i = 0; i < from.size(); ++i) assign(to[i], from[i]);
  return to;
}

// The first words of the list, the same in another order, and absent ones.
template <class Key>
struct Input {
  explicit Input(std::size_t n) {
    std::vector<std::string> chosen(velbench::words().begin(),
                                    velbench::words().begin() + static_cast<std::ptrdiff_t>(n));
    keys = converted<Key>(chosen);
    velbench::shuffle(chosen, 2);
    present = converted<Key>(chosen);
    for (std::string& word : chosen) word += '#';
    absent = converted<Key>(chosen);
  }
  std::vector<Key> keys, present, absent;
};

// Made once for each kind of key and each size.
template <class Key>
const Input<Key>& input(std::size_t n) {
  static std::map<std::size_t, std::unique_ptr<Input<Key>>> inputs;
  auto& made = inputs[n];
  if (!made) made = std::make_unique<Input<Key>>(n);
  return *made;
}

template <class Side>
void fill(typename Side::Table& table, const std::vector<typename Side::Key>& keys) {
  int value = 0;
  for (const auto& key : keys) Side::set(table, key, value++);
}

template <class Side>
typename Side::Table filled(std::size_t n) {
  typename Side::Table table = Side::make();
  fill<Side>(table, input<typename Side::Key>(n).keys);
  return table;
}

// Made once for each side and each size; only for reading.
template <class Side>
const typename Side::Table& shared(std::size_t n) {
  static std::map<std::size_t, typename Side::Table> tables;
  const auto at = tables.find(n);
  return at != tables.end() ? at->second : tables.emplace(n, filled<Side>(n)).first->second;
}

std::int64_t sumBelow(std::size_t n) { return static_cast<std::int64_t>(n * (n - 1) / 2); }

template <class Side>
void insert(State& state, std::size_t n) {
  const auto& keys = input<typename Side::Key>(n).keys;
  velbench::timed(state, static_cast<int>(n), Side::make,
                  [&](auto& table) { fill<Side>(table, keys); });
  check(Side::size(filled<Side>(n)) == n, "insert");
}

template <class Side>
void hit(State& state, std::size_t n) {
  const auto& keys = input<typename Side::Key>(n).present;
  const auto& table = shared<Side>(n);
  std::int64_t sum = 0;
  velbench::repeat(state, static_cast<int>(n), [&](int i) {
    int value = 0;
    Side::find(table, keys[static_cast<std::size_t>(i)], &value);
    sum += value;
  });
  check(sum == sumBelow(n) * state.iterations(), "hit");
}

template <class Side>
void miss(State& state, std::size_t n) {
  const auto& keys = input<typename Side::Key>(n).absent;
  const auto& table = shared<Side>(n);
  std::int64_t found = 0;
  velbench::repeat(state, static_cast<int>(n), [&](int i) {
    int value = 0;
    found += Side::find(table, keys[static_cast<std::size_t>(i)], &value);
  });
  check(found == 0, "miss");
}

template <class Side>
void overwrite(State& state, std::size_t n) {
  const auto& keys = input<typename Side::Key>(n).present;
  auto table = filled<Side>(n);
  velbench::repeat(state, static_cast<int>(n),
                   [&](int i) { Side::set(table, keys[static_cast<std::size_t>(i)], i); });
  check(Side::size(table) == n && Side::sum(table) == sumBelow(n), "overwrite");
}

// One item is a removal or an insertion.
template <class Side>
void eraseAndReinsert(State& state, std::size_t n) {
  const auto& keys = input<typename Side::Key>(n).present;
  std::size_t erased = 0;
  velbench::timed(
      state, static_cast<int>(n), [=] { return filled<Side>(n); },
      [&](auto& table) {
        erased = 0;
        for (std::size_t i = 0; i < n; i += 2) erased += Side::erase(table, keys[i]);
        for (std::size_t i = 0; i < n; i += 2) Side::set(table, keys[i], static_cast<int>(i));
        check(Side::size(table) == n, "size after insertion");
      });
  check(erased == n / 2, "erase");
}

template <class Side>
void enumerate(State& state, std::size_t n) {
  const auto& table = shared<Side>(n);
  std::int64_t sum = 0;
  for (auto _ : state) {
    sum = Side::sum(table);
    keep(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
  check(sum == sumBelow(n), "enumerate");
}

template <class Side>
void drop(State& state, std::size_t n) {
  velbench::timed(
      state, static_cast<int>(n), [=] { return filled<Side>(n); },
      [](auto& table) { table = typename Side::Table(); });
}

// Bytes that malloc has handed out.
double allocated() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

template <class Side>
void memory(State& state, std::size_t n) {
  input<typename Side::Key>(n);
  const double before = allocated();
  const auto table = filled<Side>(n);
  state.counters["bytes"] = (allocated() - before) / static_cast<double>(n);
  for (auto _ : state) keep(table);
}

// The fullest that our table gets before it doubles: 89.9 percent of 2^17 slots.
constexpr std::size_t kFull = 117833;

// Filling and finding, the keys given as the side takes them; `keys` says how.
template <class Side>
void addFilling(const std::string& keys = "") {
  const struct {
    const char* name;
    std::size_t n;
  } sizes[] = {{"1k", 1000}, {"100k", 100000}, {"663k", velbench::words().size()}};
  for (const auto& [name, n] : sizes) {
    const auto in = [&, size = name](const char* what) {
      return "dictionary of " + std::string(size) + " words" + keys + ": " + what;
    };
    velbench::addTimed(in("insert").c_str(), Side::kName, false,
                       [count = n](State& state) { insert<Side>(state, count); });
    velbench::add(in("hit").c_str(), Side::kName,
                  [count = n](State& state) { hit<Side>(state, count); });
    velbench::add(in("miss").c_str(), Side::kName,
                  [count = n](State& state) { miss<Side>(state, count); });
  }
}

template <class Side>
void addSide() {
  const auto in = [](const char* what, const char* size) {
    return "dictionary of " + std::string(size) + " words: " + what;
  };
  addFilling<Side>();
  const char* const full = "118k";
  velbench::add(in("hit at 89.9 percent load", full).c_str(), Side::kName,
                [](State& state) { hit<Side>(state, kFull); });
  velbench::add(in("miss at 89.9 percent load", full).c_str(), Side::kName,
                [](State& state) { miss<Side>(state, kFull); });
  const char* const many = "100k";
  constexpr std::size_t kMany = 100000;
  velbench::add(in("overwrite", many).c_str(), Side::kName,
                [](State& state) { overwrite<Side>(state, kMany); });
  velbench::addTimed(in("erase half and reinsert", many).c_str(), Side::kName, false,
                     [](State& state) { eraseAndReinsert<Side>(state, kMany); });
  velbench::add(in("enumerate", many).c_str(), Side::kName,
                [](State& state) { enumerate<Side>(state, kMany); });
  velbench::addTimed(in("drop", many).c_str(), Side::kName, false,
                     [](State& state) { drop<Side>(state, kMany); });
  velbench::add(in("memory per entry", many).c_str(), Side::kName,
                [](State& state) { memory<Side>(state, kMany); });
}

}  // namespace

void velbench::registerCases() {
  addSide<Ours>();
  addSide<Absl>();
  addSide<Std>();
  addSide<QtCore>();
  addSide<Glib>();
  const char* const asTexts = ", null-terminated";
  addFilling<OursOf<const char*>>(asTexts);
  addFilling<AbslTerminated>(asTexts);
  addFilling<GlibOf<const char*>>(asTexts);
}
