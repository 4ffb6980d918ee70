// Tests of what happens when the library is loaded, before that, and at the end
// of the process. They look at further runs of this program, which are told by
// an environment variable what to do.
#include <dlfcn.h>
#include <elf.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "startup_plugin.h"
#include "veltest.h"

namespace {

// ---- static objects ----

class ProgramObject : public virtual xobject {
  VEL_OBJECT(ProgramObject)
};
VEL_OBJECT_RTTI(ProgramObject, xrttiobject, [](xrttiobject* rtti) {
  rtti->initializeRttiObject("startup_test::Object", 1, 0, nullptr);
})

void ExitHandler() { UseAndTell<ProgramObject>("exit handler"); }

[[maybe_unused]] const int exitHandlerSet = std::atexit(&ExitHandler);

const struct ProgramLife {
  ProgramLife() : kept(xintsequence::create()) {
    kept->append(7);
    UseAndTell<ProgramObject>("program's constructor");
    if (IsScene("buffered")) {
      std::ios_base::sync_with_stdio(false);
      velDbgPrintDictKeys(nullptr, nullptr);
      std::cout << "the program's own";  // its last stream object flushes this
    }
  }
  ~ProgramLife() {
    kept->append(8);
    UseAndTell<ProgramObject>("program's destructor");
  }
  // Lives from start-up to exit.
  const xrchandle<xintsequence> kept;
  const xany text{"text"};
} programLife;

__attribute__((destructor)) void LastFunction() { UseAndTell<ProgramObject>("last function"); }

// ---- before the library's own start-up ----

const char* const kDescriptorNames[] = {
    "xrtti",       "xrttibasic", "xrttienum",     "xrttiobject",     "xrttiattr", "xrttiattrseq",
    "xrttistruct", "xrttiarray", "xrttisequence", "xrttidictionary", "xrttiunion"};
constexpr int kDescriptors = 11;
xrttiobject* (*const kDescriptorGetters[kDescriptors])() = {
    &xrtti::getClassRtti,           &xrttibasic::getClassRtti, &xrttienum::getClassRtti,
    &xrttiobject::getClassRtti,     &xrttiattr::getClassRtti,  &xrttiattrseq::getClassRtti,
    &xrttistruct::getClassRtti,     &xrttiarray::getClassRtti, &xrttisequence::getClassRtti,
    &xrttidictionary::getClassRtti, &xrttiunion::getClassRtti};
const int kParents[kDescriptors] = {-1, 0, 0, 0, -1, -1, 3, 3, 3, 3, 3};

using Order = std::array<int, kDescriptors>;

// Uses the descriptor classes in this order; tells whether all came out right.
bool WorkInOrder(const Order& order) {
  if (velRttiGetFromMap(kDescriptorNames[order[0]])) return false;  // not the first use
  for (const int i : order) {
    if (!kDescriptorGetters[i]()) return false;
  }
  for (int i = 0; i < kDescriptors; ++i) {
    xrttiobject* type = kDescriptorGetters[i]();
    const bool isSequence = std::strcmp(kDescriptorNames[i], "xrttiattrseq") == 0;
    xrttiobject* parent = kParents[i] < 0 ? nullptr : kDescriptorGetters[kParents[i]]();
    if (xrcgetcount(type) != 0) return false;  // nothing attaches while they are made
    if (velRttiGetFromMap(kDescriptorNames[i]) != type) return false;
    if (!(type->getName() == kDescriptorNames[i])) return false;
    if (type->getNParents() != (parent ? 1 : 0) || type->getParent(0) != parent) return false;
    if (type->getIsRefCount()) return false;
    if (type->getRtti() !=
        (isSequence ? xrttisequence::getClassRtti() : xrttistruct::getClassRtti())) {
      return false;
    }
  }
  return true;
}

// The same in a child, whose library nobody has used yet.
bool WorksInOrder(const Order& order) {
  const pid_t child = fork();
  if (child == 0) _exit(WorkInOrder(order) ? 0 : 1);
  int status = 1;
  waitpid(child, &status, 0);
  return status == 0;
}

// Every two of them first, the others after; then some random orders.
int WrongOrders() {
  int wrong = 0;
  for (int first = 0; first < kDescriptors; ++first) {
    for (int second = 0; second < kDescriptors; ++second) {
      if (first == second) continue;
      Order order;
      auto* next = order.begin();
      *next++ = first;
      *next++ = second;
      for (int i = 0; i < kDescriptors; ++i) {
        const int other = (second + i) % kDescriptors;
        if (other != first && other != second) *next++ = other;
      }
      if (!WorksInOrder(order)) ++wrong;
    }
  }
  Order order;
  for (int i = 0; i < kDescriptors; ++i) order[static_cast<std::size_t>(i)] = i;
  unsigned seed = 12345;
  for (int round = 0; round < 100; ++round) {
    for (std::size_t i = kDescriptors - 1; i > 0; --i) {
      seed = seed * 1103515245U + 12345U;
      std::swap(order[i], order[(seed >> 16) % (i + 1)]);
    }
    if (!WorksInOrder(order)) ++wrong;
  }
  return wrong;
}

// Runs before the static initialisers of every library. Its environment comes
// as an argument: the C library is not set up yet.
void BeforeLoading(int, char**, char** environment) {
  const std::string setting = std::string(kSceneVariable) + '=';
  for (; *environment; ++environment) {
    if (*environment == setting + "orders") _exit(WrongOrders() == 0 ? 0 : 1);
    if (*environment == setting + "early") {
      const std::string failed = UseTheLibrary<ProgramObject>();
      if (!failed.empty()) _exit(1);
      velDebugPrint(nullptr);  // nobody has set the streams up yet
      // The library's own start-up, and the tests, come after this.
    }
  }
}

__attribute__((section(".preinit_array"),
               used)) void (*const beforeLoading)(int, char**, char**) = &BeforeLoading;

// ---- further runs of this program ----

struct FurtherRun {
  int status = -1;  // as waitpid gives it
  std::string output;
  std::string errors;
};

// Runs this program with those tests, in `scene`.
FurtherRun RunAgain(const char* scene, const char* filter) {
  FurtherRun run;
  int ends[2];
  FILE* const output = std::tmpfile();
  if (!output || pipe(ends) != 0) return run;
  const std::string argument = std::string("--gtest_filter=") + filter;
  // By its name: the link leads to a checker's own program where one runs this.
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const pid_t child = fork();
  if (child == 0) {
    setenv(kSceneVariable, scene, 1);
    dup2(ends[1], STDERR_FILENO);
    dup2(fileno(output), STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(program.c_str(), "startup_test", argument.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  char part[4096];
  for (ssize_t got = 0; (got = read(ends[0], part, sizeof(part))) > 0;) {
    run.errors.append(part, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  waitpid(child, &run.status, 0);
  std::rewind(output);
  for (std::size_t got = 0; (got = std::fread(part, 1, sizeof(part), output)) > 0;) {
    run.output.append(part, got);
  }
  std::fclose(output);
  return run;
}

constexpr char kNoTest[] = "None.ofThem";

TEST(Startup, StaticObjectsUseTheLibraryFromTheFirstConstructorToTheLastDestructor) {
  // Under a leak checker the status tells of leaks, too.
  const FurtherRun run = RunAgain("life", kNoTest);
  EXPECT_EQ(run.status, 0) << run.errors;
  std::string expected;
  for (const char* who : {"plugin's constructor", "program's constructor", "program's destructor",
                          "exit handler", "last function", "plugin's destructor"}) {
    expected += std::string("booleanseq\n[\n] ") + who + '\n';
  }
  EXPECT_EQ(run.errors, expected);
}

TEST(Startup, DescriptorClassesMayBeUsedFirstInAnyOrder) {
  const FurtherRun run = RunAgain("orders", kNoTest);
  EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(Startup, NothingDependsOnTheLibraryBeingStarted) {
  const FurtherRun run = RunAgain("early", "Startup.EveryTypeIsRegisteredOnce:Startup.Plugin*");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(run.errors, "nil");
}

TEST(Startup, PrintingLeavesTheProgramsBufferedOutputToTheProgram) {
  const FurtherRun run = RunAgain("buffered", kNoTest);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, ::testing::HasSubstr("Type \"nil\" is not a dictionary"));
  EXPECT_THAT(run.output, ::testing::HasSubstr("the program's own"));
}

TEST(Startup, EveryTypeIsRegisteredOnce) {
  const std::pair<const char*, xrtti*> rows[] = {
      {"int", velGetRtti_int()},
      {"object", velGetRtti_object()},
      {"vellib::Executable", velExecutable::getClassRtti()},
      {"vellib::XNull", velXNull::getClassRtti()},
      {"booleanseq", xboolsequence::getClassRtti()},
      {"anydict", xanydictionary::getClassRtti()},
      {"xrttiattrseq", xrttiattrseq::getClassRtti()},
      {"veljava::XTimeout", xportXTimeout::getClassRtti()},
      {"startup_test::Object", ProgramObject::getClassRtti()},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(velRttiGetFromMap(row.first), row.second) << row.first;
    EXPECT_STREQ(row.second->getName().CastToCString(), row.first);
  }
}

TEST(Startup, AStaticObjectStillHoldsWhatItsConstructorMade) {
  EXPECT_EQ(programLife.kept->getarraysize(), 1);
  EXPECT_EQ(xrcgetcount(programLife.kept.operator->()), 1);
  EXPECT_TRUE(programLife.text == "text");
}

// ---- a second library ----

TEST(Startup, PluginSharesDescriptorsAndRegistry) {
  EXPECT_EQ(PluginIntSequenceRtti(), xintsequence::getClassRtti());
  EXPECT_EQ(PluginLooksUp("startup_test::Object"), ProgramObject::getClassRtti());
  EXPECT_NE(velRttiGetFromMap("startup_plugin::Object"), nullptr);
}

TEST(Startup, AnExceptionOfTheLibraryIsCaughtAsObjectInTheProgram) {
  bool caughtIt = false;
  try {
    velhThrowNull();
  } catch (xobject* caught) {
    caughtIt = dynamic_cast<velXNull*>(caught) != nullptr;
    xrcrelease(caught);
  }
  EXPECT_TRUE(caughtIt);
}

TEST(Startup, PluginCatchesAnExceptionOfTheLibraryAsObject) {
  EXPECT_EQ(PluginCatches([] { velhThrowNull(); }), "vellib::XNull");
  EXPECT_EQ(PluginCatches([] { xintsequence::create()->get(1); }), "vellib::XInvalidSeqIndex");
}

TEST(Startup, PluginThrowsWhatTheProgramCatches) {
  const auto caught = velCaught([] { PluginThrows(); });
  auto* exception = dynamic_cast<velXException*>(caught.operator->());
  ASSERT_NE(exception, nullptr);
  EXPECT_STREQ(exception->getDescription().CastToCString(), "from the plugin");
  EXPECT_STREQ(exception->getVelTypeName().CastToCString(), "startup_plugin::Exception");
  EXPECT_TRUE(exception->isKindOf(velXException::getClassRtti()));
  EXPECT_EQ(xrcgetcount(exception), 1);
}

// ---- what the library file says ----

struct Symbol {
  std::string name;
  bool defined;
  unsigned char type;
};

// The dynamic symbols of a library.
std::vector<Symbol> SymbolsOf(const char* path) {
  std::vector<Symbol> symbols;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  std::vector<char> bytes(static_cast<std::size_t>(file.tellg()));
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  const auto read = [&](auto* out, std::size_t at) {
    ASSERT_LE(at + sizeof(*out), bytes.size());
    std::memcpy(out, bytes.data() + at, sizeof(*out));
  };
  Elf64_Ehdr head{};
  read(&head, 0);
  for (unsigned i = 0; i < head.e_shnum; ++i) {
    Elf64_Shdr table{};
    Elf64_Shdr names{};
    read(&table, head.e_shoff + i * sizeof(table));
    if (table.sh_type != SHT_DYNSYM) continue;
    read(&names, head.e_shoff + table.sh_link * sizeof(names));
    for (std::size_t at = 0; at < table.sh_size; at += sizeof(Elf64_Sym)) {
      Elf64_Sym symbol{};
      read(&symbol, table.sh_offset + at);
      symbols.push_back({bytes.data() + names.sh_offset + symbol.st_name,
                         symbol.st_shndx != SHN_UNDEF,
                         static_cast<unsigned char>(ELF64_ST_TYPE(symbol.st_info))});
    }
  }
  return symbols;
}

TEST(Startup, TheLibraryRegistersNoExitHandlerAndGuardsNoStatic) {
  std::set<std::string> used;
  for (const Symbol& symbol : SymbolsOf(VELSTD_LIBRARY_FILE)) {
    if (!symbol.defined) used.insert(symbol.name);
  }
  EXPECT_EQ(used.count("_Znwm"), 1U);  // the list is the right one
  for (const char* name : {"__cxa_atexit", "__cxa_thread_atexit", "__cxa_thread_atexit_impl",
                           "atexit", "on_exit", "at_quick_exit", "__cxa_guard_acquire"}) {
    EXPECT_EQ(used.count(name), 0U) << name;
  }
}

TEST(Startup, TheRegistrationClassesAreExportedTheInstancesAreNot) {
  std::set<std::string> functions;
  std::set<std::string> objects;
  for (const Symbol& symbol : SymbolsOf(VELSTD_LIBRARY_FILE)) {
    if (!symbol.defined) continue;
    (symbol.type == STT_FUNC ? functions : objects).insert(symbol.name);
  }
  for (const char* group : {"buildintypes", "vellib", "stdcols", "xrtti", "veljava"}) {
    const std::string name = std::string("velRttiRegister_") + group;
    const std::string constructor = "_ZN" + std::to_string(name.size()) + name + "C1Ev";
    EXPECT_EQ(functions.count(constructor), 1U) << constructor;
  }
  for (const std::string& name : objects) {
    EXPECT_EQ(name.find("egister"), std::string::npos) << name;
    EXPECT_EQ(name.find("utexAllocator"), std::string::npos) << name;
    EXPECT_EQ(name.find("oadingEnd"), std::string::npos) << name;
  }
}

TEST(Startup, FrameworkClassesAreExportedAndTheirTablesAreInTheLibraryAlone) {
  const auto definedIn = [](const char* file) {
    std::set<std::string> names;
    for (const Symbol& symbol : SymbolsOf(file)) {
      if (symbol.defined) names.insert(symbol.name);
    }
    return names;
  };
  const auto library = definedIn(VELSTD_LIBRARY_FILE);
  // A class without a key function would get tables in the plugin, which asks
  // for the same type informations.
  Dl_info where{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&PluginThrows), &where), 0);
  const auto plugin = definedIn(where.dli_fname);
  ASSERT_EQ(plugin.count("_Z12PluginThrowsv"), 1U);
  ASSERT_EQ(PluginTypeInfos(), FrameworkTypeInfos());
  for (const std::string& name : FrameworkTypeInfos()) {
    EXPECT_EQ(library.count(name), 1U) << name;
    EXPECT_EQ(plugin.count(name), 0U) << name;
  }
}

}  // namespace
