#include "korpool.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>

// The C library's own allocator, whatever stands in its place, and the toolkit's.
extern "C" void* __libc_malloc(std::size_t bytes);
extern void* korOwnAlloc(std::size_t size) noexcept;

namespace korpool {

namespace {

// Nothing is kept: not yet, and never (any more).
Kept notYet = {};
Kept never = {};

}  // namespace

__thread Kept* kept = &notYet;

namespace {

// The key whose only use is to be told that a thread ends.
enum class KeyState { kNone, kInTheMaking, kReady, kFailed };
std::atomic<KeyState> keyState{KeyState::kNone};
pthread_key_t key;

using Allocate = void* (*)(std::size_t);

// To the compiler, two functions of different names have different addresses.
Allocate Address(Allocate function) {
  __asm__("" : "+r"(function));
  return function;
}

bool IsReplaced() {
  return Address(std::malloc) != Address(__libc_malloc) ||
         Address(korAlloc) != Address(korOwnAlloc);
}

// The library that has a function, as the program calls it. Asked for without a lock where
// the C library can: a thread that loads a library may be waiting for this one.
template <class Function>
void* LibraryOf(Function* function) {
  void* const address = reinterpret_cast<void*>(function);
#if __GLIBC_PREREQ(2, 35)
  dl_find_object found;
  return _dl_find_object(address, &found) == 0 ? found.dlfo_link_map : nullptr;
#else
  Dl_info info;
  return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
#endif
}

// Operator new has no second name in the C++ runtime: it is compared with a
// neighbour that nobody puts anything in the place of.
bool IsOperatorNewReplaced() {
  void* (*const used)(std::size_t) = ::operator new;
  return LibraryOf(used) != LibraryOf(std::set_new_handler);
}

template <class GiveBack>
void Clear(Shelf& shelf, GiveBack giveBack) {
  for (Block* first : shelf.blocks) {
    while (Block* const block = first) {
      first = block->next;
      giveBack(block);
    }
  }
}

// What runs after this in the ending thread keeps nothing any more.
void GiveBack(void* record) {
  kept = &never;
  auto* const mine = static_cast<Kept*>(record);
  Clear(mine->strings, korFree);
  Clear(mine->objects, [](Block* block) { ::operator delete(block); });
  korFree(record);
}

// The key by which threads are told to give back what they keep. Made by the
// thread that needs it first; one that needs it at that moment asks again later.
KeyState State() {
  KeyState state = keyState.load(std::memory_order_acquire);
  if (state == KeyState::kNone &&
      keyState.compare_exchange_strong(state, KeyState::kInTheMaking, std::memory_order_acq_rel)) {
    const bool isMade = !IsReplaced() && pthread_key_create(&key, GiveBack) == 0;
    state = isMade ? KeyState::kReady : KeyState::kFailed;
    keyState.store(state, std::memory_order_release);
  }
  return state;
}

// Lets this thread keep blocks if it can be told when it ends.
void Begin() {
  const KeyState state = State();
  if (state == KeyState::kInTheMaking) return;
  kept = &never;
  if (state == KeyState::kFailed) return;
  auto* const mine = static_cast<Kept*>(korAlloc(sizeof(Kept)));
  if (!mine) return;
  *mine = {};
  mine->strings.room = kMostBytes / kStep;
  if (!IsOperatorNewReplaced()) mine->objects.room = kMostBytes / kStep;
  if (pthread_setspecific(key, mine) == 0) {
    kept = mine;
  } else {
    korFree(mine);
  }
}

}  // namespace

void FreeSlowly(void* block, std::size_t steps) noexcept {
  if (kept == &notYet) Begin();
  if (!kept->strings.put(block, steps)) korFree(block);
}

void FreeObjectSlowly(void* block, std::size_t steps) noexcept {
  if (kept == &notYet) Begin();
  if (!kept->objects.put(block, steps)) ::operator delete(block);
}

}  // namespace korpool
