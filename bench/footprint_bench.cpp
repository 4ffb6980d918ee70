// What a program pays before it does anything: loading, sizes, compiling.
//
// The programs that are started, and the files that are compiled, lie in
// footprint/.
#include <absl/container/flat_hash_map.h>
#include <dlfcn.h>
#include <glib-object.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <unordered_map>
#include <variant>

#include "peers.h"
#include "velbench.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

const char kOurs[] = "velstd";
const char kStd[] = "the standard library";
const char kQt[] = "Qt Core";
const char kGlib[] = "GLib";

// ---- processes -------------------------------------------------------------------

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// Runs a program to its end; the processor time, in seconds, that it and its own
// children have used.
double run(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child = 0;
  check(posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) == 0,
        "a program cannot be started");
  int status = 0;
  rusage used;
  check(wait4(child, &status, 0, &used) == child && status == 0, "a program has failed");
  return secondsOf(used.ru_utime) + secondsOf(used.ru_stime);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::string program(const char* name) { return std::string(VELBENCH_PROGRAMS "/start_") + name; }

// The median of many starts, over that of as many bare programs between them.
void load(State& state, const char* name) {
  constexpr int kStarts = 51;
  for (auto _ : state) {
    std::vector<double> own, bare;
    for (int i = 0; i < kStarts; ++i) {
      bare.push_back(run({program("standard")}));
      own.push_back(run({program(name)}));
    }
    state.SetIterationTime(median(own) - median(bare));
  }
  state.SetItemsProcessed(state.iterations());
}

void compile(State& state, const char* name, const char* folders) {
  std::vector<std::string> command{VELBENCH_COMPILER, "-std=c++17", "-O2", "-fPIC", "-c", "-o",
                                   "/dev/null"};
  std::istringstream list(folders);
  for (std::string folder; std::getline(list, folder, ':');) command.push_back("-I" + folder);
  command.push_back(std::string(VELBENCH_SOURCES "/") + name + ".cpp");
  for (auto _ : state) state.SetIterationTime(run(command));
  state.SetItemsProcessed(state.iterations());
}

// ---- files -------------------------------------------------------------------------

// Bytes of the library that holds `function`, without its symbols.
double strippedSize(const void* function) {
  Dl_info found;
  check(dladdr(function, &found) != 0, "a library is not found");
  char copy[] = "/tmp/velbench.XXXXXX";
  const int file = mkstemp(copy);
  check(file >= 0, "a temporary file");
  close(file);
  run({"strip", "-o", copy, found.dli_fname});
  struct stat about;
  check(stat(copy, &about) == 0, "a temporary file");
  unlink(copy);
  return static_cast<double>(about.st_size);
}

template <class Function>
double strippedSize(Function* function) {
  return strippedSize(reinterpret_cast<const void*>(function));
}

void addBytes(const char* work, const char* side, const std::function<double()>& bytes) {
  velbench::addOnce(work, side, [=](State& state) {
    for (auto _ : state) state.counters["bytes"] = bytes();
  });
}

// ---- objects -----------------------------------------------------------------------

// Bytes of memory for one value that make() gives, and of the value itself.
template <class Make>
double bytesOf(Make make) {
  using Value = decltype(make());
  constexpr std::size_t kValues = 10000;
  make();  // what is made but once is not counted
  const double before = velbench::allocatedBytes();
  std::vector<Value> values;
  values.reserve(kValues);
  for (std::size_t i = 0; i < kValues; ++i) values.push_back(make());
  keep(values);
  return (velbench::allocatedBytes() - before) / static_cast<double>(kValues);
}

template <class Make>
void add(const char* work, const char* side, Make make) {
  addBytes(work, side, [=] { return bytesOf(make); });
}

template <class Side>
void addObject() {
  add("bytes: an object with an int", Side::kName, [] { return Side::make(1); });
}

class QtObject : public QObject {
 public:
  explicit QtObject(int number) : value(number) {}
  const int value;
};

// What GLib hands out as a pointer, with the function that takes it back.
template <class T, void (*drop)(T*)>
struct Drop {
  void operator()(T* owned) const { drop(owned); }
};
void dropArray(GArray* array) { g_array_free(array, TRUE); }
void dropString(GString* text) { g_string_free(text, TRUE); }
using Array = std::unique_ptr<GArray, Drop<GArray, dropArray>>;
using Pointers = std::unique_ptr<GPtrArray, Drop<GPtrArray, g_ptr_array_unref>>;
using Table = std::unique_ptr<GHashTable, Drop<GHashTable, g_hash_table_unref>>;
using Text = std::unique_ptr<GString, Drop<GString, dropString>>;

// A GValue, which lies where its owner puts it.
class Value {
 public:
  explicit Value(int number) {
    g_value_init(&value_, G_TYPE_INT);
    g_value_set_int(&value_, number);
  }
  explicit Value(const char* text) {
    g_value_init(&value_, G_TYPE_STRING);
    g_value_set_string(&value_, text);
  }
  Value(Value&& other) noexcept : value_(std::exchange(other.value_, GValue())) {}
  Value& operator=(Value&&) = delete;
  ~Value() {
    if (G_IS_VALUE(&value_)) g_value_unset(&value_);
  }

 private:
  GValue value_ = G_VALUE_INIT;
};

using StdVariant = std::variant<std::monostate, int, bool, double, std::string>;

void addValues(const char* number, const char* letters, const char* text) {
  const std::string ofLetters = std::string("bytes: a variant of ") + number + " letters";
  add(ofLetters.c_str(), kOurs, [=] { return xany(letters); });
  add(ofLetters.c_str(), kStd, [=] { return StdVariant(std::string(letters)); });
  add(ofLetters.c_str(), kQt, [=] { return QVariant(QString(letters)); });
  add(ofLetters.c_str(), kGlib, [=] { return Value(letters); });
  add(text, kOurs, [=] { return xstring(letters); });
  add(text, kStd, [=] { return std::string(letters); });
  add(text, kQt, [=] { return QString(letters); });
  add(text, kGlib, [=] { return Text(g_string_new(letters)); });
}

void addSizes() {
  const char* const library = "bytes: the library, stripped";
  addBytes(library, kOurs, [] { return strippedSize(velRttiGetFromMap); });
  addBytes(library, kQt, [] { return strippedSize(qVersion); });
  addBytes(library, kGlib,
           [] { return strippedSize(g_object_ref) + strippedSize(g_hash_table_new); });

  addObject<peers::Velstd>();
  addObject<peers::Std>();
  addObject<peers::QtCore>();
  addObject<peers::Boost>();
  addObject<peers::Glib>();
  add("bytes: an object with an int", "QObject", [] { return std::make_unique<QtObject>(1); });

  const char* const variant = "bytes: a variant of an int";
  add(variant, kOurs, [] { return xany(7); });
  add(variant, kStd, [] { return StdVariant(7); });
  add(variant, kQt, [] { return QVariant(7); });
  add(variant, kGlib, [] { return Value(7); });
  addValues("8", "8 letter", "bytes: a text of 8 letters");
  addValues("48", "forty-eight letters are too many for any pocket.",
            "bytes: a text of 48 letters");

  const char* const numbers = "bytes: an empty sequence of ints";
  add(numbers, kOurs, [] { return xintsequence::create(); });
  add(numbers, kStd, [] { return std::vector<int>(); });
  add(numbers, kQt, [] { return QList<int>(); });
  add(numbers, kGlib, [] { return Array(g_array_new(FALSE, FALSE, sizeof(int))); });
  const char* const values = "bytes: an empty sequence of variants";
  add(values, kOurs, [] { return xanysequence::create(); });
  add(values, kStd, [] { return std::vector<StdVariant>(); });
  add(values, kQt, [] { return QVariantList(); });
  add(values, kGlib, [] { return Pointers(g_ptr_array_new()); });
  const char* const dictionary = "bytes: an empty dictionary";
  add(dictionary, kOurs, [] { return xintdictionary::create(); });
  add(dictionary, kStd, [] { return std::unordered_map<std::string, int>(); });
  add(dictionary, "Abseil", [] { return absl::flat_hash_map<std::string, int>(); });
  add(dictionary, kQt, [] { return QHash<QString, int>(); });
  add(dictionary, kGlib, [] { return Table(g_hash_table_new(g_str_hash, g_str_equal)); });
}

}  // namespace

void velbench::registerCases() {
  const char* const loading = "load and register the types, over a bare program";
  addOnce(loading, kOurs, [](State& state) { load(state, "velstd"); });
  addOnce(loading, kQt, [](State& state) { load(state, "qtcore"); });
  addOnce(loading, kGlib, [](State& state) { load(state, "glib"); });
  const char* const compiling = "compile a file with the headers";
  addOnce(compiling, kOurs,
          [](State& state) { compile(state, "velstd", VELBENCH_FOLDERS_VELSTD); });
  addOnce(compiling, "<iostream> and <map>", [](State& state) { compile(state, "standard", ""); });
  addOnce(compiling, kQt, [](State& state) { compile(state, "qtcore", VELBENCH_FOLDERS_QTCORE); });
  addOnce(compiling, kGlib, [](State& state) { compile(state, "glib", VELBENCH_FOLDERS_GLIB); });
  addSizes();
}
