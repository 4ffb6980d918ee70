/* A C program that is not linked with the library: it loads, uses and closes it
 * while it runs. What it does is its first argument; the second is the library.
 * Ends with 0, or with the line (modulo 256) that found something wrong. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "velstd_c.h"

#define FAILED (__LINE__ % 256 ? __LINE__ % 256 : 1)
#define CHECK(condition)             \
  do {                               \
    if (!(condition)) return FAILED; \
  } while (0)

/* ---- the library ---- */

/* clang-format off */
#define FUNCTIONS(X)                                                                            \
  X(xintsequence_create) X(xintsequence_get) X(xintsequence_set)                                \
  X(xintsequence_getarraysize) X(xanysequence_create) X(xanysequence_get)                       \
  X(xanysequence_set) X(xstringdictionary_create) X(xstringdictionary_set)                      \
  X(xstringdictionary_find) X(xstringdictionary_remove) X(xstrcreate_c) X(xstrgetmb_c)          \
  X(xstrgetwc_c) X(xstrunlock_c) X(xanyobj_c) X(xanystr_c) X(xanyunlock_c) X(xprint_c)          \
  X(xprintstr_c) X(xrttifind_c) X(xgetrtti_c) X(xrttigetname_c) X(xisobjsameas_c)               \
  X(xgettypename_c) X(xisexc_c) X(xgetexc_c) X(xextractexc_c) X(xcleanupexc_c)                  \
  X(xrcrelease_c)
/* clang-format on */

struct library {
  void* handle;
#define FIELD(name) __typeof__(&name) name;
  FUNCTIONS(FIELD)
#undef FIELD
};

static struct library the;
static int tells_at_the_end;

static int load(const char* path) {
  the.handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!the.handle) {
    fprintf(stderr, "%s\n", dlerror());
    return FAILED;
  }
  void* address;
#define FETCH(name)                   \
  address = dlsym(the.handle, #name); \
  CHECK(address);                     \
  memcpy(&the.name, &address, sizeof(address));
  FUNCTIONS(FETCH)
#undef FETCH
  return 0;
}

/* Creates, fails, converts, prints and gives everything back. */
static int use(void) {
  xintsequence* numbers = the.xintsequence_create();
  xanysequence* values = the.xanysequence_create();
  xstringdictionary* texts = the.xstringdictionary_create();
  CHECK(numbers && values && texts);
  for (int i = 0; i < 40; ++i) the.xintsequence_set(numbers, i, i);
  CHECK(the.xintsequence_get(numbers, 39) == 39);
  __xstring_c type = the.xrttigetname_c(the.xrttifind_c("intseq"));
  CHECK(strcmp(the.xstrgetmb_c(&type), "intseq") == 0);
  the.xstrunlock_c(&type);
  CHECK(the.xisobjsameas_c(numbers, the.xgetrtti_c(numbers)) == 1);

  CHECK(the.xintsequence_get(numbers, 99) == VEL_ERROR_INT && the.xisexc_c());
  xthrowable* seen = the.xgetexc_c();
  xthrowable* taken = the.xextractexc_c();
  CHECK(seen && seen == taken && !the.xisexc_c());
  type = the.xgettypename_c(taken);
  CHECK(strcmp(the.xstrgetmb_c(&type), "vellib::XInvalidSeqIndex") == 0);
  the.xstrunlock_c(&type);
  the.xrcrelease_c(seen);
  the.xrcrelease_c(taken);
  the.xintsequence_set(numbers, -1, 5);
  CHECK(the.xisexc_c());
  CHECK(the.xintsequence_getarraysize(numbers) == 40 && !the.xisexc_c());
  the.xintsequence_set(texts, 0, 5);
  CHECK(the.xisexc_c());
  the.xcleanupexc_c();
  CHECK(!the.xisexc_c());

  __xstring_c text;
  the.xstrcreate_c(&text, "some words");
  CHECK(the.xstrgetwc_c(&text) && the.xstrgetwc_c(&text)[10] == 0);
  char key[] = "key 0";
  for (; key[4] <= '9'; ++key[4]) the.xstringdictionary_set(texts, key, text);
  the.xstringdictionary_remove(texts, "key 3");
  the.xstrunlock_c(&text);
  CHECK(the.xstringdictionary_find(texts, "key 4", &text) == 1);
  CHECK(strcmp(the.xstrgetmb_c(&text), "some words") == 0);
  the.xstrunlock_c(&text);

  xobject* parts[2];
  parts[0] = numbers;
  parts[1] = texts;
  for (int i = 0; i < 2; ++i) {
    __xany_c part = the.xanyobj_c(parts[i]);
    the.xanysequence_set(values, i, part);
    the.xanyunlock_c(&part);
  }
  __xany_c last = the.xanystr_c("at the end");
  the.xanysequence_set(values, 2, last);
  the.xanyunlock_c(&last);
  last = the.xanysequence_get(values, 2);
  CHECK(last.kind == xanyString);
  the.xanyunlock_c(&last);
  __xany_c all = the.xanyobj_c(values);
  __xstring_c printed = the.xprintstr_c(&all, -1);
  CHECK(strstr(the.xstrgetmb_c(&printed), "some words"));
  CHECK(strstr(the.xstrgetmb_c(&printed), "at the end"));
  the.xstrunlock_c(&printed);
  the.xanyunlock_c(&all);
  the.xprint_c(values);

  the.xrcrelease_c(values);
  the.xrcrelease_c(texts);
  the.xrcrelease_c(numbers);
  return 0;
}

static int load_use_close(const char* path) {
  int failed = load(path);
  if (!failed) failed = use();
  if (!failed && dlclose(the.handle) != 0) failed = FAILED;
  return failed;
}

/* ---- again and again ---- */

static long resident_kib(void) {
  long size = 0;
  long resident = 0;
  FILE* statm = fopen("/proc/self/statm", "r");
  if (!statm) return -1;
  if (fscanf(statm, "%ld %ld", &size, &resident) != 2) resident = -1;
  fclose(statm);
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/* Writes how far memory has grown between the first rounds and the last. */
static int cycles(const char* path, int rounds) {
  long resident = resident_kib(); /* what measuring takes is there before it counts */
  size_t heap = mallinfo2().uordblks;
  const int warm = rounds / 10 + 5;
  for (int i = 0; i < rounds + warm; ++i) {
    const int failed = load_use_close(path);
    if (failed) return failed;
    if (i + 1 == warm) {
      resident = resident_kib();
      heap = mallinfo2().uordblks;
    }
  }
  const long heap_growth = (long)(mallinfo2().uordblks - heap);
  fprintf(stderr, "%ld %ld", resident_kib() - resident, heap_growth);
  return 0;
}

/* ---- at the end ---- */

static void use_and_tell(const char* who) {
  const int failed = use();
  if (failed) _exit(failed);
  fprintf(stderr, "%s\n", who);
}

static void handler_set_before(void) { use_and_tell("before"); }
static void handler_set_after(void) { use_and_tell("after"); }

static int exit_handlers(const char* path) {
  tells_at_the_end = 1;
  CHECK(atexit(handler_set_before) == 0);
  int failed = load(path);
  if (!failed) failed = use();
  CHECK(atexit(handler_set_after) == 0);
  if (!failed && dlclose(the.handle) != 0) failed = FAILED;
  return failed;
}

__attribute__((destructor)) static void last_function(void) {
  if (tells_at_the_end) use_and_tell("last");
}

static volatile int outliving_rounds;

static void* outlive(void* unused) {
  for (;;) {
    const int failed = use();
    if (failed) _exit(failed);
    __atomic_add_fetch(&outliving_rounds, 1, __ATOMIC_SEQ_CST);
  }
  return unused;
}

static void wait_for_rounds(int more) {
  const int first = __atomic_load_n(&outliving_rounds, __ATOMIC_SEQ_CST);
  while (__atomic_load_n(&outliving_rounds, __ATOMIC_SEQ_CST) < first + more) usleep(100);
}

static void let_it_work(void) { wait_for_rounds(20); }

static int outliving_thread(const char* path) {
  const int failed = load(path);
  if (failed) return failed;
  pthread_t thread;
  CHECK(atexit(let_it_work) == 0);
  CHECK(pthread_create(&thread, NULL, outlive, NULL) == 0);
  CHECK(pthread_detach(thread) == 0);
  wait_for_rounds(3);
  return 0;
}

/* ---- threads ---- */

static pthread_mutex_t turn = PTHREAD_MUTEX_INITIALIZER;
static pthread_barrier_t gate;
static int failures;

static void use_in_turn(const char* who) {
  pthread_mutex_lock(&turn);
  if (use() != 0) ++failures;
  if (who) fprintf(stderr, "%s\n", who);
  pthread_mutex_unlock(&turn);
}

static void use_at_thread_end(void* unused) {
  (void)unused;
  use_in_turn("thread end");
}

static pthread_key_t key;

/* Begins before the library is loaded, uses it, and again when it ends. */
static void* use_late(void* unused) {
  pthread_barrier_wait(&gate);
  use_in_turn(NULL);
  pthread_setspecific(key, &key);
  return unused;
}

static void* print_first(void* object) {
  pthread_barrier_wait(&gate);
  the.xprint_c(object);
  return NULL;
}

#define THREADS 8

static int threads(const char* path) {
  pthread_t ids[THREADS];
  CHECK(pthread_key_create(&key, use_at_thread_end) == 0);
  CHECK(pthread_barrier_init(&gate, NULL, THREADS + 1) == 0);
  for (int i = 0; i < THREADS; ++i) CHECK(pthread_create(&ids[i], NULL, use_late, NULL) == 0);
  const int failed = load(path);
  if (failed) _exit(failed);
  pthread_barrier_wait(&gate);
  for (int i = 0; i < THREADS; ++i) pthread_join(ids[i], NULL);
  return failures == 0 ? 0 : FAILED;
}

/* Nobody has printed before, and nobody has set the streams up. */
static int first_prints(const char* path) {
  pthread_t ids[THREADS];
  xobject* objects[THREADS];
  const int failed = load(path);
  if (failed) return failed;
  CHECK(pthread_barrier_init(&gate, NULL, THREADS) == 0);
  for (int i = 0; i < THREADS; ++i) {
    objects[i] = the.xintsequence_create();
    CHECK(pthread_create(&ids[i], NULL, print_first, objects[i]) == 0);
  }
  for (int i = 0; i < THREADS; ++i) {
    pthread_join(ids[i], NULL);
    the.xrcrelease_c(objects[i]);
  }
  return 0;
}

/* ---- processes ---- */

static int forks(const char* path) {
  int failed = load(path);
  for (int i = 0; i < 2 && !failed; ++i) {
    /* Before the first use, and after it. */
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      failed = use();
      fflush(stdout);
      _exit(failed);
    }
    int status = -1;
    waitpid(child, &status, 0);
    CHECK(status == 0);
    failed = use();
  }
  return failed;
}

static int closed_streams(const char* path) {
  close(0);
  close(1);
  close(2);
  int failed = load(path);
  if (!failed) failed = use();
  if (!failed) failed = use();
  return failed;
}

/* ---- two libraries that use it ---- */

typedef const char* (*text_function)(void);
typedef void* (*address_function)(void);
typedef void (*thrower_function)(void);
typedef const char* (*catcher_function)(thrower_function);
typedef void* (*lookup_function)(const char*);

static void* fetch(void* handle, const char* name) {
  void* address = dlsym(handle, name);
  if (!address) {
    fprintf(stderr, "%s\n", dlerror());
    exit(FAILED);
  }
  return address;
}

static int two_users(const char* first, const char* second) {
  void* handles[2];
  text_function work[2];
  address_function descriptor[2];
  thrower_function thrower[2];
  catcher_function catcher[2];
  lookup_function lookup[2];
  handles[0] = dlopen(first, RTLD_NOW | RTLD_LOCAL);
  handles[1] = dlopen(second, RTLD_LAZY | RTLD_LOCAL);
  for (int i = 0; i < 2; ++i) {
    CHECK(handles[i]);
    void* address = fetch(handles[i], "LifeUserWorks");
    memcpy(&work[i], &address, sizeof(address));
    address = fetch(handles[i], "LifeUserDescriptor");
    memcpy(&descriptor[i], &address, sizeof(address));
    address = fetch(handles[i], "LifeUserThrows");
    memcpy(&thrower[i], &address, sizeof(address));
    address = fetch(handles[i], "LifeUserCatches");
    memcpy(&catcher[i], &address, sizeof(address));
    address = fetch(handles[i], "LifeUserLooksUp");
    memcpy(&lookup[i], &address, sizeof(address));
  }
  for (int i = 0; i < 2; ++i) {
    const int other = 1 - i;
    CHECK(strcmp(work[i](), "") == 0);
    CHECK(strcmp(catcher[i](thrower[other]), i == 0 ? "life_user::B" : "life_user::A") == 0);
    CHECK(lookup[i](i == 0 ? "life_user::B" : "life_user::A") == descriptor[other]());
    CHECK(lookup[i]("intseq") && lookup[i]("intseq") == lookup[other]("intseq"));
  }
  CHECK(dlclose(handles[0]) == 0);
  CHECK(strcmp(work[1](), "") == 0);
  CHECK(dlclose(handles[1]) == 0);
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 3) return FAILED;
  const char* scene = argv[1];
  if (strcmp(scene, "cycles") == 0) return cycles(argv[2], argc > 3 ? atoi(argv[3]) : 1);
  if (strcmp(scene, "exit handlers") == 0) return exit_handlers(argv[2]);
  if (strcmp(scene, "outliving thread") == 0) return outliving_thread(argv[2]);
  if (strcmp(scene, "threads") == 0) return threads(argv[2]);
  if (strcmp(scene, "first prints") == 0) return first_prints(argv[2]);
  if (strcmp(scene, "forks") == 0) return forks(argv[2]);
  if (strcmp(scene, "closed streams") == 0) return closed_streams(argv[2]);
  if (strcmp(scene, "two users") == 0 && argc > 3) return two_users(argv[2], argv[3]);
  return FAILED;
}
