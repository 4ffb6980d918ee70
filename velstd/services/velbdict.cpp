#include "velbdict.h"

#include <endian.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "korabort.h"
#include "korstring.h"
#include "velbdictindex.h"
#include "velbdictkeys.h"
#include "velexceptions.h"
#include "velupdate.h"
#include "velwraps.h"
#include "xstring.h"

namespace {

constexpr char kSource[] = "velstd/services/velbdict";
constexpr unsigned kNoIndex = 0xFFFFFFFF;
constexpr std::uint64_t kMostSlots = std::uint64_t{1} << 30;

const char* const kTombstone = reinterpret_cast<const char*>(std::uintptr_t{1});

std::uint32_t SignedByte(char c) { return static_cast<std::uint32_t>(static_cast<signed char>(c)); }

// The step of a key's path from its start on.
std::uint32_t StepOf(const char* key, unsigned length) {
  return length ? xbdictHashCollision(key, length) : 1;
}

// ---- texts, eight bytes at a time ----

// The first byte of the text is the lowest of the word.
std::uint64_t WordAt(const char* at) {
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return le64toh(word);
}

// The last length % 8 bytes of a text, and zeros. Reads the text and the zero
// after it, no more: two halves of a short one overlap.
std::uint64_t TailOf(const char* text, std::size_t length) {
  if (length >= 7) return WordAt(text + length - 7) >> (8 * (7 - length % 8));
  if (length >= 3) {
    std::uint32_t first, last;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + length - 3, sizeof last);
    return le32toh(first) | std::uint64_t{le32toh(last)} << (8 * (length - 3));
  }
  if (length == 0) return 0;
  std::uint16_t both;
  std::memcpy(&both, text, sizeof both);
  return le16toh(both);
}

// Powers of 31 modulo 2^32.
constexpr std::uint32_t kPowers[] = {1,        31,        961,        29791,     923521,
                                     28629151, 887503681, 1742810335, 2487512833};

// The sum of the eight bytes of a word, unsigned, each times its power of 31, 7
// for the first. Neighbours are added up in pairs, pairs in fours, fours in eights:
// three multiplications, where one byte after the other takes eight in a chain.
// Modulo 2^32, as the polynomial is defined.
VEL_WRAPS std::uint32_t SumOfBytes(std::uint64_t word) {
  constexpr std::uint64_t kBytes = 0x00FF00FF00FF00FF;
  constexpr std::uint64_t kPairs = 0x0000FFFF0000FFFF;
  word = (word & kBytes) * kPowers[1] + (word >> 8 & kBytes);
  word = (word & kPairs) * kPowers[2] + (word >> 16 & kPairs);
  return static_cast<std::uint32_t>(word) * kPowers[4] + static_cast<std::uint32_t>(word >> 32);
}

// What the polynomial of a text with bytes from 0x80 on is less than it is with
// unsigned bytes: 256 for each of them, which is twice their highest bit. Modulo 2^32.
[[gnu::noinline]] VEL_WRAPS std::uint32_t ExcessOf(const char* text, std::size_t length) {
  std::uint32_t sum = 0;
  for (const char* const end = text + length; text != end; ++text) {
    sum = sum * 31 + 2 * (static_cast<unsigned char>(*text) & 0x80U);
  }
  return sum;
}

// The hash of a text whose polynomial is `h`, counted with unsigned bytes, and whose
// bytes `seen` holds, one over the other. Modulo 2^32, as the hash is defined.
VEL_WRAPS std::uint32_t Finished(std::uint32_t h, std::uint64_t seen, const char* text,
                                 std::size_t length) {
  if (__builtin_expect((seen & 0x8080808080808080) != 0, 0)) h -= ExcessOf(text, length);
  h += ~(h << 9);
  h ^= h >> 14;
  h *= 17;
  h ^= h >> 10;
  return h;
}

// The hash of a text from 16 bytes on, whose tail is given (see TailOf). Modulo 2^32.
[[gnu::noinline]] VEL_WRAPS std::uint32_t HashOfLong(const char* text, std::size_t length,
                                                     std::uint64_t tail) {
  std::uint32_t h = 0;
  std::uint64_t seen = tail;
  const std::size_t rest = length % 8;
  const char* const end = text + length / 8 * 8;
  for (const char* at = text; at != end; at += 8) {
    const std::uint64_t word = WordAt(at);
    seen |= word;
    h = h * kPowers[8] + SumOfBytes(word);
  }
  // The tail moves up, so that its last byte is the eighth.
  h = h * kPowers[rest] + SumOfBytes(tail << 8 << (8 * (7 - rest)));
  return Finished(h, seen, text, length);
}

// The hash of a text of known length; `tail` gets its tail. Most keys have up to 15
// bytes: two words that end with the text, filled up with zeros in front, which
// add nothing to the polynomial. Modulo 2^32.
VEL_WRAPS inline std::uint32_t HashOf(const char* text, std::size_t length, std::uint64_t& tail) {
  if (length < 8) {
    tail = TailOf(text, length);
    return Finished(SumOfBytes(tail << 8 << (8 * (7 - length))), tail, text, length);
  }
  if (length >= 16) {
    tail = TailOf(text, length);
    return HashOfLong(text, length, tail);
  }
  const std::uint64_t first = WordAt(text);
  const std::uint64_t last = WordAt(text + length - 8);
  const std::size_t overlap = 8 * (15 - length);  // less one byte
  tail = last >> 8 >> overlap;
  const std::uint32_t h = SumOfBytes(first << 8 << overlap) * kPowers[8] + SumOfBytes(last);
  return Finished(h, first | last, text, length);
}

// The values of all scalars lie in eight bytes, which take no call.
void CopyBytes(void* to, const void* from, std::size_t bytes) {
  if (bytes == sizeof(std::uint64_t)) {
    std::memcpy(to, from, sizeof(std::uint64_t));
  } else {
    std::memcpy(to, from, bytes);
  }
}

// Whether `entries` in `slots` are more than `percent`, in whole percent: a quotient
// is above a number if it is at least the next one, which takes no division.
bool LoadAbove(std::uint64_t entries, std::uint64_t slots, std::uint64_t percent) {
  return entries * 100 >= (percent + 1) * slots;
}
bool LoadBelow(std::uint64_t entries, std::uint64_t slots, std::uint64_t percent) {
  return entries * 100 < percent * slots;
}

}  // namespace

// A record in three pieces, as it is computed and written: what is put together from
// smaller ones in memory cannot be read at once by a processor.
struct xbasedictionary::Parts {
  std::uint64_t first, second;
  std::uint32_t hash;
};

// One part of a cache line for all that is known of a key.
struct xbasedictionary::Record {
  static constexpr std::size_t kMostText = 14;

  // put() writes all of it, as bytes.
  // cppcheck-suppress uninitMemberVar
  Record() = default;
  // cppcheck-suppress uninitMemberVar
  explicit Record(const Parts& parts) { put(parts); }
  void put(const Parts& parts) {
    const std::uint64_t first = htole64(parts.first);
    const std::uint64_t second = htole64(parts.second);
    static_assert(sizeof first + sizeof second == offsetof(Record, hash), "text and step");
    char* const at = reinterpret_cast<char*>(this);
    std::memcpy(at, &first, sizeof first);
    std::memcpy(at + sizeof first, &second, sizeof second);
    hash = parts.hash;
  }

  // The eight bytes from `at` on, the step in the last of them.
  std::uint64_t word(std::size_t at) const {
    return WordAt(reinterpret_cast<const char*>(this) + at);
  }
  bool isLong() const { return text[kMostText] != 0; }
  std::uint32_t step() const { return SignedByte(stepByte) << 1 | 1; }

  char text[kMostText + 1];  // and zeros; the last is 1 for a longer one
  char stepByte;             // half of the step, which is twice a signed byte and one
  std::uint32_t hash;
};

struct xbasedictionary::Key {
  // Not of null text, which is no key; the address 2 is a text here, too.
  explicit Key(const char* key)
      : text(korText(key)),
        length(std::strlen(text)),
        tail(0),
        hash(HashOf(text, length, tail)),
        tag(TagOf(hash)),
        bit(BitOf(hash)) {}

  std::uint32_t step() const { return StepOf(text, static_cast<unsigned>(length)); }

  bool isLong() const { return length > Record::kMostText; }
  // The words of a short one.
  std::uint64_t firstWord() const { return length < 8 ? tail : WordAt(text); }
  std::uint64_t secondWord() const { return length < 8 ? 0 : tail; }

  Record record() const { return Record(parts()); }
  Parts parts() const {
    const std::uint64_t step64 = static_cast<unsigned char>(step() / 2);
    return {isLong() ? 0 : firstWord(),
            (isLong() ? std::uint64_t{1} << 48 : secondWord()) | step64 << 56, hash};
  }

  // Whether the slot of that record and that key has this text.
  bool isTextOf(const Record& its, const char* const& slotKey) const {
    if (!isLong()) return its.word(0) == firstWord() && its.word(8) << 8 == secondWord() << 8;
    return its.isLong() && isTextOf(slotKey);
  }
  // Copies are padded with zeros to a multiple of eight, and the word in which a text
  // ends ends the comparison.
  bool isTextOf(const char* copy) const {
    std::size_t at = 0;
    for (; at + 8 <= length; at += 8) {
      if (WordAt(copy + at) != WordAt(text + at)) return false;
    }
    return WordAt(copy + at) == tail;
  }

  // The slot number takes the low bits of the hash as they are; multiplied, the
  // others show in the high ones (Knuth, "The Art of Computer Programming",
  // volume 3, 6.4: the golden ratio).
  static std::uint32_t Mixed(std::uint32_t hash) {
    return static_cast<std::uint32_t>(hash * std::uint64_t{0x9E3779B1});
  }
  static unsigned char TagOf(std::uint32_t hash) {
    return static_cast<unsigned char>(std::max(Mixed(hash) >> 24, kVacated + 1U));
  }
  static unsigned char BitOf(std::uint32_t hash) {
    return static_cast<unsigned char>(1U << (Mixed(hash) >> 21 & 7));
  }

  const char* text;
  std::size_t length;
  std::uint64_t tail;
  std::uint32_t hash;
  unsigned char tag;
  unsigned char bit;
};

struct xbasedictionary::Past {
  void* table;
  unsigned slotCount;
  unsigned liveCount;
  Record* records;
  Mark* marks;
  unsigned mask;
  unsigned char textsUsed;
  std::uint32_t liveBits;
  velDictIndex* shortcut;
};

static_assert(sizeof(xdictentry<unsigned char>) == 16 && sizeof(xdictentry<int>) == 16 &&
                  sizeof(xdictentry<double>) == 16 && sizeof(xdictentry<xstring>) == 32,
              "key pointer, then value");

std::uint32_t xbdictHashMain(const char* key, unsigned* length) {
  const std::size_t bytes = std::strlen(key);
  *length = static_cast<unsigned>(bytes);
  std::uint64_t tail;
  return HashOf(key, bytes, tail);
}

std::uint32_t xbdictHashCollision(const char* key, unsigned length) {
  if (length <= 2) return SignedByte(key[0]) << 1 | 1;
  return (SignedByte(key[length / 2 + 1]) ^ SignedByte(key[length - 2]) ^ SignedByte(key[1])) << 1 |
         1;
}

const char*& xbasedictionary::KeyOf(void* block, unsigned index, unsigned slotSize) const {
  return *reinterpret_cast<const char**>(static_cast<char*>(block) + std::size_t{index} * slotSize);
}

void* xbasedictionary::ValueAt(unsigned index, unsigned slotSize, unsigned valueOffset) const {
  return static_cast<char*>(table) + std::size_t{index} * slotSize + valueOffset;
}

bool xbasedictionary::IsLive(unsigned index, unsigned slotSize) const {
  return index < slotCount && !xdictentryIsVacant(KeyAt(index, slotSize));
}

// Which of the four 16-bit pieces of `row` in memory is the first that is not 0.
static unsigned FirstOfRow(std::uint64_t row) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return static_cast<unsigned>(__builtin_ctzll(row)) / 16;
#else
  return static_cast<unsigned>(__builtin_clzll(row)) / 16;
#endif
}

unsigned xbasedictionary::NextMarked(unsigned index, unsigned end) const {
  // Of a live slot's tag a bit above the lowest is set. Four slots are looked at
  // together, without a question for each: the answers follow no pattern.
  static_assert((kEmpty | kVacated) == 1 && sizeof(Mark) == 2, "what the look relies on");
  constexpr unsigned kRow = 4;
  constexpr Mark tagBits[kRow] = {{0xFE, 0}, {0xFE, 0}, {0xFE, 0}, {0xFE, 0}};
  std::uint64_t liveMask;
  std::memcpy(&liveMask, tagBits, sizeof liveMask);
  end = std::min(end, slotCount);
  for (; index + kRow <= end; index += kRow) {
    std::uint64_t live;
    std::memcpy(&live, slotMarks + index, sizeof live);
    live &= liveMask;
    if (live != 0) return index + FirstOfRow(live);
  }
  for (; index < end; ++index) {
    if (slotMarks[index].tag > kVacated) return index;
  }
  return index;
}

void* xbasedictionary::AllocateBlock(std::size_t bytes) { return new char[bytes]; }
void xbasedictionary::ReleaseBlock(void* block) { delete[] static_cast<char*>(block); }

xbasedictionary::~xbasedictionary() {
  DropShortcut();
  DropMarks();
  DropKeys();
}

void xbasedictionary::DropShortcut() {
  velDictIndex::destroy(shortcut);
  shortcut = nullptr;
  wastedProbes = 0;
}

void xbasedictionary::DropMarks() {
  ReleaseBeside(slotRecords, slotMarks);
  slotRecords = nullptr;
  slotMarks = nullptr;
  liveBits = 0;
}

// What lies beside a table, unless it goes with the block of the table.
void xbasedictionary::ReleaseBeside(Record* records, Mark* marks) const {
  if (records) {
    ::operator delete(records);
  } else if (!ownHooks) {
    ::operator delete(marks);
  }
}

void xbasedictionary::DropKeys() {
  velDictKeys::destroy(keyStore);
  keyStore = nullptr;
}

// A copy of a key in the store. Throws std::bad_alloc.
const char* xbasedictionary::StoreKey(const char* text, std::size_t length) {
  // The first of them lie in one block with their store.
  constexpr std::size_t kFirstKeys = 128;
  if (!keyStore) keyStore = velDictKeys::create(kFirstKeys);
  const char* copy = keyStore ? keyStore->add(text, length) : nullptr;
  if (!copy) {
    if (keyStore && keyStore->isEmpty()) DropKeys();
    throw std::bad_alloc();
  }
  return copy;
}

// A copy of a key that does not lie in a record. Throws std::bad_alloc.
const char* xbasedictionary::NewKey(const char* text, std::size_t length) {
  if (!slotRecords && length <= velDictKeys::kShort) {
    auto* beside = reinterpret_cast<Beside*>(slotMarks);
    const std::size_t size = velDictKeys::paddedSize(length);
    if (size <= sizeof beside->texts - textsUsed) {
      const char* const copy = velDictKeys::fill(beside->texts + textsUsed, text, length);
      textsUsed = static_cast<unsigned char>(textsUsed + size);
      return copy;
    }
  }
  return StoreKey(text, length);
}

// Whether a copy of a key lies where a table of the first size has its marks.
bool xbasedictionary::IsBeside(const Mark* marks, const char* copy) {
  const auto at = reinterpret_cast<std::uintptr_t>(copy);
  const auto begin = reinterpret_cast<std::uintptr_t>(marks);
  return at >= begin && at - begin < sizeof(Beside);
}

// The place of a key beside the table is free again if it is the last.
void xbasedictionary::GiveBackKey(const char* copy, std::size_t length) {
  if (!slotRecords && IsBeside(slotMarks, copy)) {
    const auto* beside = reinterpret_cast<const Beside*>(slotMarks);
    if (copy + velDictKeys::paddedSize(length) == beside->texts + textsUsed) {
      textsUsed = static_cast<unsigned char>(copy - beside->texts);
    }
    return;
  }
  keyStore->remove(copy, length);
  if (keyStore->isEmpty()) DropKeys();
}

inline bool xbasedictionary::HasText(unsigned index, const Key& key, unsigned slotSize) const {
  const char* const& slotKey = KeyOf(table, index, slotSize);
  return slotRecords ? key.isTextOf(slotRecords[index], slotKey) : key.isTextOf(slotKey);
}

// Whether `key` is there, and its slot, else kNoIndex. `probes` gets the number of
// slots looked at.
inline bool xbasedictionary::IsPresent(const Key& key, unsigned& index, unsigned slotSize,
                                       unsigned& probes) const {
  index = kNoIndex;
  probes = 0;
  if (!slotMarks) return false;
  if (__builtin_expect(shortcut != nullptr, 0)) {
    index = shortcut->find(key.text);
    return index != kNoIndex;
  }
  const unsigned at = key.hash & markMask;
  // Needed unless the mark says no, and then the wait for all of them is one.
  if (slotRecords) __builtin_prefetch(&slotRecords[at]);
  __builtin_prefetch(&KeyOf(table, at, slotSize));
  probes = 1;
  const Mark start = slotMarks[at];
  if (start.tag == key.tag && HasText(at, key, slotSize)) {
    index = at;
    return true;
  }
  if (!(start.passed & key.bit)) return false;
  // Copies and results by value, so that what is known of the key stays in registers.
  const Found found = PresentBeyondStart(Key(key), slotSize);
  index = found.index;
  probes = found.probes;
  return index != kNoIndex;
}

// The slot of `key` on the rest of its path.
[[gnu::noinline]] xbasedictionary::Found xbasedictionary::PresentBeyondStart(
    const Key& key, unsigned slotSize) const {
  std::uint64_t h = key.hash;
  unsigned probes = 1;
  for (const std::uint32_t step = key.step(); probes <= markMask;) {
    h += step;
    ++probes;
    const unsigned at = static_cast<unsigned>(h) & markMask;
    const unsigned char tag = slotMarks[at].tag;
    if (tag == key.tag && HasText(at, key, slotSize)) return {at, probes};
    if (tag == kEmpty) break;
  }
  return {kNoIndex, probes};
}

// The slot to fill with a key that is not there, or kNoIndex when all are taken;
// `probes` as above.
template <class Path>
[[gnu::always_inline]] inline unsigned xbasedictionary::SlotToFill(const Path& path,
                                                                   unsigned& probes) const {
  probes = 0;
  if (!slotMarks) return kNoIndex;
  if (shortcut) return shortcut->slotToFill(path.hash, path.step());
  // Most often the first is empty, and nobody asks for the step.
  probes = 1;
  std::uint64_t h = path.hash;
  unsigned at = path.hash & markMask;
  unsigned char tag = slotMarks[at].tag;
  if (tag == kEmpty) return at;
  unsigned index = kNoIndex;
  for (const std::uint32_t step = path.step();;) {
    // The last one passed wins, not the first: slot order is visible to callers
    // through getkeybyindex.
    if (tag == kVacated) index = at;
    if (probes > markMask) return index;
    h += step;
    ++probes;
    at = static_cast<unsigned>(h) & markMask;
    tag = slotMarks[at].tag;
    if (tag == kEmpty) return index == kNoIndex ? at : index;
  }
}

// Ends the process where an absent key has no slot to go to.
void xbasedictionary::CheckRoom() const {
  if (liveCount == slotCount && slotCount != 0) _korAbort("Hash table overflow.", kSource, 228);
}

bool xbasedictionary::FindIndex(const char* key, unsigned& index, unsigned slotSize) const {
  index = kNoIndex;
  if (xdictentryIsVacant(key)) return false;
  const Key sought(key);
  unsigned probes;
  if (IsPresent(sought, index, slotSize, probes)) return true;
  CheckRoom();
  index = SlotToFill(sought, probes);
  return false;
}

// A table whose probes have added up to its size gets its shortcut. Only changes
// count, so that lookups alone write nothing.
void xbasedictionary::CountProbes(unsigned probes, unsigned slotSize) {
  if (probes <= velDictIndex::kFreeProbes) return;
  wastedProbes += probes - velDictIndex::kFreeProbes;
  if (wastedProbes < slotCount) return;
  wastedProbes = 0;
  shortcut = velDictIndex::create({table, slotSize, slotCount});
}

// These set the tag of a slot, and of a table without records the bit.
inline void xbasedictionary::MarkLive(unsigned index, unsigned char tag) {
  slotMarks[index].tag = tag;
  if (!slotRecords) liveBits |= std::uint32_t{1} << index;
}
inline void xbasedictionary::MarkVacant(unsigned index, unsigned char tag) {
  slotMarks[index].tag = tag;
  if (!slotRecords) liveBits &= ~(std::uint32_t{1} << index);
}

// Puts a key into the slot found for it: the copy, or, without one, the text of the
// record there.
[[gnu::always_inline]] inline void xbasedictionary::Occupy(unsigned index, std::uint32_t hash,
                                                           const char* copy, unsigned slotSize) {
  const char* const key = copy ? copy : slotRecords[index].text;
  if (shortcut) shortcut->adding(index, key);
  KeyOf(table, index, slotSize) = key;
  MarkLive(index, Key::TagOf(hash));
  const unsigned start = hash & markMask;
  if (index != start) slotMarks[start].passed |= Key::BitOf(hash);
  ++liveCount;
}

const void* xbasedictionary::BaseLocate(const char* key, unsigned slotSize,
                                        unsigned valueOffset) const {
  if (xdictentryIsVacant(key)) return nullptr;
  unsigned index;
  unsigned probes;
  if (IsPresent(Key(key), index, slotSize, probes)) return ValueAt(index, slotSize, valueOffset);
  CheckRoom();
  return nullptr;
}

bool xbasedictionary::BaseFind(const char* key, void* value, unsigned slotSize,
                               unsigned valueOffset) {
  const void* found = BaseLocate(key, slotSize, valueOffset);
  if (found && value) OnCopyEntry(value, found);
  return found != nullptr;
}

// The value of an entry, under a mark: its own code runs.
inline void xbasedictionary::Assign(void* slotValue, const void* value) {
  const velUpdate update(this);
  OnCopyEntry(slotValue, value);
}

void xbasedictionary::BaseSet(const char* given, const void* value, unsigned slotSize,
                              unsigned valueOffset) {
  velUpdate::refuse(this, kSource, 300);
  if (xdictentryIsVacant(given)) velhAssertNotNullKey(given);
  std::uint64_t wanted = slotCount;
  if (slotCount == 0) {
    wanted = kFirstSize;
  } else if (LoadAbove(liveCount, slotCount, policy.growPercent)) {
    wanted = std::uint64_t{slotCount} * 2;
    if (wanted > kMostSlots) velThrowSizeLimit();
  }
  // What a new entry needs is there before anything changes.
  Key key(given);
  const char* const text = key.text;
  unsigned index;
  unsigned probes;
  const bool present = IsPresent(key, index, slotSize, probes);
  const bool resizes = wanted != slotCount;
  if (!resizes) {
    if (present) {
      CountProbes(probes, slotSize);
      return Assign(ValueAt(index, slotSize, valueOffset), value);
    }
    CheckRoom();
  }
  // The table to come has records, but for the first, which has room for a key that
  // is not very long.
  static_assert(velDictKeys::kShort < sizeof(Beside::texts), "room for any short key");
  const bool fits = slotCount == 0 && key.length <= velDictKeys::kShort;
  const char* copy = nullptr;
  Parts parts = {};
  if (resizes) {
    parts = key.parts();
    if (!present && key.isLong() && !fits) copy = StoreKey(text, key.length);
    try {
      // The text may be one of our own, and these move.
      AdjustTableSize(static_cast<unsigned>(wanted), slotSize, valueOffset, &index);
    } catch (...) {
      if (copy) GiveBackKey(copy, key.length);
      throw;
    }
    if (present) return Assign(ValueAt(index, slotSize, valueOffset), value);
    if (fits) copy = NewKey(text, key.length);
    index = SlotToFill(Record(parts), probes);
  } else {
    if (slotRecords) parts = key.parts();
    if (!slotRecords || key.isLong()) copy = NewKey(text, key.length);
    index = SlotToFill(key, probes);
  }
  CountProbes(probes, slotSize);
  const char* const vacant = KeyAt(index, slotSize);
  const unsigned char vacantTag = slotMarks[index].tag;
  if (slotRecords) slotRecords[index].put(parts);
  Occupy(index, key.hash, copy, slotSize);
  try {
    Assign(ValueAt(index, slotSize, valueOffset), value);
  } catch (...) {
    // No entry without its value.
    DropShortcut();
    KeyOf(table, index, slotSize) = vacant;
    MarkVacant(index, vacantTag);
    --liveCount;
    if (copy) GiveBackKey(copy, key.length);
    throw;
  }
}

void xbasedictionary::RemoveAt(unsigned index, unsigned slotSize, unsigned valueOffset) {
  velUpdate::refuse(this, kSource, 330);
  const char*& key = KeyOf(table, index, slotSize);
  if (shortcut) shortcut->removing(index);
  if (!slotRecords || slotRecords[index].isLong()) GiveBackKey(key, std::strlen(key));
  key = kTombstone;
  MarkVacant(index, kVacated);
  {
    const velUpdate update(this);
    OnRemoveEntry(ValueAt(index, slotSize, valueOffset));
  }
  --liveCount;
  if (liveCount == 0) textsUsed = 0;  // whatever the order in which they went
  const unsigned half = slotCount / 2;
  const bool shrinks = policy.shrinkPercent != 0 && slotCount > kFirstSize &&
                       LoadBelow(liveCount, slotCount, policy.shrinkPercent) &&
                       LoadBelow(liveCount, half, policy.growPercent);
  if (!shrinks) return;
  try {
    AdjustTableSize(half, slotSize, valueOffset, nullptr);
  } catch (const std::bad_alloc&) {
    // The entry is gone; a table that stays large is no failure.
  }
}

bool xbasedictionary::BaseRemove(const char* key, unsigned slotSize, unsigned valueOffset) {
  if (xdictentryIsVacant(key)) return false;
  unsigned index;
  unsigned probes;
  const bool present = IsPresent(Key(key), index, slotSize, probes);
  CountProbes(probes, slotSize);
  if (!present) {
    CheckRoom();
    return false;
  }
  RemoveAt(index, slotSize, valueOffset);
  return true;
}

bool xbasedictionary::BaseRemoveByIndex(unsigned index, unsigned slotSize, unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  RemoveAt(index, slotSize, valueOffset);
  return true;
}

bool xbasedictionary::BaseGetByIndex(unsigned index, void* value, unsigned slotSize,
                                     unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  if (value) OnCopyEntry(value, ValueAt(index, slotSize, valueOffset));
  return true;
}

bool xbasedictionary::BaseGetKeyByIndex(unsigned index, xstring* key, unsigned slotSize) const {
  if (!IsLive(index, slotSize)) return false;
  if (key) *key = KeyAt(index, slotSize);
  return true;
}

bool xbasedictionary::BaseSetByIndex(unsigned index, const void* value, unsigned slotSize,
                                     unsigned valueOffset) {
  if (!IsLive(index, slotSize)) return false;
  velUpdate::refuse(this, kSource, 380);
  Assign(ValueAt(index, slotSize, valueOffset), value);
  return true;
}

void xbasedictionary::BaseFreeAllKeys(unsigned) {
  DropShortcut();
  DropKeys();
}

void xbasedictionary::BaseClearAll(unsigned) {
  velUpdate::refuse(this, kSource, 400);
  void* const block = table;
  const unsigned slots = slotCount;
  // Whoever is called while the block goes finds an empty dictionary.
  table = nullptr;
  slotCount = liveCount = 0;
  DropShortcut();
  DropMarks();
  DropKeys();
  if (block) OnDestroy(block, slots);
}

// The same for what values put in as they go, until there is nothing.
void xbasedictionary::Empty(unsigned slotSize) {
  do {
    BaseClearAll(slotSize);
  } while (table);
}

// Another table, of empty slots; or, without memory, the one that was there.
// `withRecords` is for the first size; larger ones always have them.
void xbasedictionary::Allocate(unsigned slots, unsigned slotSize, bool withRecords) {
  const velUpdate update(this);
  void* const block = OnAllocate(slots);
  if (!ownHooks) {
    for (unsigned i = 0; i < slots; ++i) KeyOf(block, i, slotSize) = nullptr;
  }
  void* beside = nullptr;
  withRecords |= slots != kFirstSize;
  try {
    if (withRecords) {
      beside = ::operator new (std::size_t{slots} * (sizeof(Record) + sizeof(Mark)));
    } else if (ownHooks) {
      beside = static_cast<char*>(block) + std::size_t{slots} * slotSize;
    } else {
      beside = ::operator new(sizeof(Beside));
    }
  } catch (...) {
    OnDestroy(block, slots);
    throw;
  }
  table = block;
  slotCount = slots;
  slotRecords = withRecords ? static_cast<Record*>(beside) : nullptr;
  slotMarks = withRecords ? reinterpret_cast<Mark*>(slotRecords + slots)
                          : static_cast<Beside*>(beside)->marks;
  markMask = slots - 1;
  textsUsed = 0;
  liveBits = 0;
  std::fill_n(slotMarks, slots, Mark{kEmpty, 0});
}

void xbasedictionary::BaseAllocate(unsigned n, unsigned slotSize) {
  std::uint64_t slots = kFirstSize;
  while (n && LoadAbove(n, slots, policy.growPercent)) slots *= 2;
  if (slots > kMostSlots) velThrowSizeLimit();
  Empty(slotSize);
  if (n) Allocate(static_cast<unsigned>(slots), slotSize, false);
}

// `moving` (nullable) is a slot that the caller keeps an eye on: it gets the number
// of the slot that its entry moves to.
void xbasedictionary::AdjustTableSize(unsigned newSize, unsigned slotSize, unsigned valueOffset,
                                      unsigned* moving) {
  if (table && !slotRecords) KeepKeysBeside(slotSize);
  const Past past = {table,    slotCount, liveCount, slotRecords, slotMarks,
                     markMask, textsUsed, liveBits,  shortcut};
  const velUpdate update(this);
  Allocate(newSize, slotSize, past.table != nullptr);
  liveCount = 0;
  shortcut = nullptr;
  wastedProbes = 0;
  // A table that gets smaller takes its keys to a smaller store if half of this
  // one is waste, and if there is memory for it.
  velDictKeys* const freshKeys =
      newSize < past.slotCount && keyStore && keyStore->used() < keyStore->room() / 2
          ? velDictKeys::create(keyStore->used())
          : nullptr;
  try {
    Rehash(past, slotSize, valueOffset, freshKeys, moving);
  } catch (...) {
    // A value could not be copied: the old block still has all of them.
    void* const newTable = table;
    DropShortcut();
    DropMarks();
    velDictKeys::destroy(freshKeys);
    table = past.table;
    slotCount = past.slotCount;
    liveCount = past.liveCount;
    slotRecords = past.records;
    slotMarks = past.marks;
    markMask = past.mask;
    textsUsed = past.textsUsed;
    liveBits = past.liveBits;
    shortcut = past.shortcut;
    OnDestroy(newTable, newSize);
    throw;
  }
  velDictIndex::destroy(past.shortcut);
  if (past.table && !past.records) DropShortKeys(past, slotSize);
  ReleaseBeside(past.records, past.marks);
  if (freshKeys) {
    freshKeys->takeLong(*keyStore);
    DropKeys();
    keyStore = freshKeys;
  }
  OnDestroy(past.table, past.slotCount);
}

// Before a table without records goes: what will not be short enough for a record
// moves from beside the table to the store. The dictionary is whole at any time.
void xbasedictionary::KeepKeysBeside(unsigned slotSize) {
  for (unsigned i = 0; i < slotCount; ++i) {
    const char*& key = KeyOf(table, i, slotSize);
    if (xdictentryIsVacant(key) || !IsBeside(slotMarks, key)) continue;
    const std::size_t length = std::strlen(key);
    if (length > Record::kMostText) key = StoreKey(key, length);
  }
}

// When one has gone: its short keys lie in records now and leave the store.
void xbasedictionary::DropShortKeys(const Past& past, unsigned slotSize) {
  for (unsigned i = 0; i < past.slotCount; ++i) {
    const char* const key = KeyOf(past.table, i, slotSize);
    if (xdictentryIsVacant(key) || IsBeside(past.marks, key)) continue;
    const std::size_t length = std::strlen(key);
    if (length <= Record::kMostText) GiveBackKey(key, length);
  }
}

// Brings the entries of a table to this one, which is empty, in the order of their
// slots. The old block keeps its keys, but they are only tested for vacancy from
// here on.
void xbasedictionary::Rehash(const Past& past, unsigned slotSize, unsigned valueOffset,
                             velDictKeys* freshKeys, unsigned* moving) {
  if (!past.table) return;
  const unsigned followed = moving ? *moving : kNoIndex;
  for (unsigned i = 0; i <= past.mask; ++i) {
    if (past.marks[i].tag <= kVacated) continue;
    const char* const key = KeyOf(past.table, i, slotSize);
    Record made;
    if (!past.records) made = Key(key).record();
    const Record& record = past.records ? past.records[i] : made;
    unsigned probes;
    const unsigned index = SlotToFill(record, probes);
    CountProbes(probes, slotSize);
    const char* copy = nullptr;
    if (record.isLong()) copy = freshKeys ? freshKeys->moved(key, std::strlen(key)) : key;
    slotRecords[index] = record;
    Occupy(index, record.hash, copy, slotSize);
    if (i == followed) *moving = index;
    const char* const value =
        static_cast<char*>(past.table) + std::size_t{i} * slotSize + valueOffset;
    if (ownBytes) {
      CopyBytes(ValueAt(index, slotSize, valueOffset), value, slotSize - valueOffset);
    } else {
      OnCopyEntry(ValueAt(index, slotSize, valueOffset), value);
    }
  }
}

void xbasedictionary::BaseClone(const xbasedictionary* other, unsigned slotSize,
                                unsigned valueOffset) {
  if (other == this) return;
  Empty(slotSize);
  if (!other || !other->table) return;
  Allocate(other->slotCount, slotSize, other->slotRecords != nullptr);
  try {
    const velUpdate update(this);
    const velUpdate reading(other);
    for (unsigned i = 0; i < slotCount; ++i) {
      slotMarks[i].passed = other->slotMarks[i].passed;
      const char* key = other->KeyAt(i, slotSize);
      if (!xdictentryIsVacant(key)) {
        if (slotRecords) slotRecords[i] = other->slotRecords[i];
        key = slotRecords && !slotRecords[i].isLong() ? slotRecords[i].text
                                                      : NewKey(key, std::strlen(key));
      }
      KeyOf(table, i, slotSize) = key;
      if (xdictentryIsVacant(key)) {
        MarkVacant(i, other->slotMarks[i].tag);
        continue;
      }
      MarkLive(i, other->slotMarks[i].tag);
      ++liveCount;
      OnCopyEntry(ValueAt(i, slotSize, valueOffset), other->ValueAt(i, slotSize, valueOffset));
    }
  } catch (...) {
    BaseClearAll(slotSize);
    throw;
  }
  // The copy is as crowded as the original.
  if (other->shortcut) shortcut = velDictIndex::create({table, slotSize, slotCount});
}
