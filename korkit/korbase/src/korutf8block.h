// korutf8block.h - ASCII and UTF-8, a block of units at once.
//
// What the loops of korutf8.cpp do for the bulk of a text, with the instructions
// that every x86-64 processor has, and without them where plain code does as
// well. No block reads beyond its units. Private to the toolkit.
#ifndef VELSTD_KORBASE_KORUTF8BLOCK_H
#define VELSTD_KORBASE_KORUTF8BLOCK_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Units of a block of ASCII: those that one vector of bytes holds; loops that
/// compilers are to turn into vector instructions need some more to pay.
#ifdef __SSE2__
constexpr std::size_t kKorAsciiBlock = 16;
#else
constexpr std::size_t kKorAsciiBlock = 64;
#endif

/// Units that are tested at once, without a condition for each.
constexpr std::size_t kKorAsciiRun = 64;

/// Whether so many units are ASCII. For any processor: a loop that compilers turn
/// into vector instructions.
template <class Ch>
bool korIsAsciiBlock(const Ch* text) {
  using Unit = std::make_unsigned_t<Ch>;
  Unit all = 0;
  for (std::size_t i = 0; i < kKorAsciiRun; ++i) all |= static_cast<Unit>(text[i]);
  return all < 0x80U;
}

/// Converts a block if all of its units are ASCII, and writes nothing if not. For
/// any processor.
template <class To, class From>
bool korConvertAsciiBlock(To* dest, const From* text) {
  // The sign of a unit would only cost some more.
  using Unit = std::make_unsigned_t<From>;
  Unit all = 0;
  for (std::size_t i = 0; i < kKorAsciiBlock; ++i) all |= static_cast<Unit>(text[i]);
  if (all >= 0x80U) return false;
  for (std::size_t i = 0; i < kKorAsciiBlock; ++i) {
    dest[i] = static_cast<To>(static_cast<Unit>(text[i]));
  }
  return true;
}

#ifdef __SSE2__

/// Eight or four units at any address, by their size.
inline __m128i korLoadUnits(const void* text) {
  return _mm_loadu_si128(static_cast<const __m128i*>(text));
}

/// Whether every bit is 0.
inline bool korIsZero(__m128i lanes) {
  return _mm_movemask_epi8(_mm_cmpeq_epi8(lanes, _mm_setzero_si128())) == 0xFFFF;
}

/// Bytes, without bringing them down to one.
inline bool korIsAsciiBlock(const char* text) {
  const __m128i first = _mm_or_si128(korLoadUnits(text), korLoadUnits(text + 16));
  const __m128i last = _mm_or_si128(korLoadUnits(text + 32), korLoadUnits(text + 48));
  return _mm_movemask_epi8(_mm_or_si128(first, last)) == 0;
}

/// The block above without reading a unit twice, for each direction.
inline bool korConvertAsciiBlock(wchar_t* dest, const char* text) {
  const __m128i bytes = korLoadUnits(text);
  if (_mm_movemask_epi8(bytes) != 0) return false;
  const __m128i zero = _mm_setzero_si128();
  const auto put = [dest](std::size_t at, __m128i units) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dest + at), units);
  };
  const __m128i low = _mm_unpacklo_epi8(bytes, zero);
  const __m128i high = _mm_unpackhi_epi8(bytes, zero);
  if constexpr (sizeof(wchar_t) == 2) {
    put(0, low);
    put(8, high);
  } else {
    put(0, _mm_unpacklo_epi16(low, zero));
    put(4, _mm_unpackhi_epi16(low, zero));
    put(8, _mm_unpacklo_epi16(high, zero));
    put(12, _mm_unpackhi_epi16(high, zero));
  }
  return true;
}

/// Units of 32 bits become such of 16, and these bytes; what is too large for the
/// next size becomes its largest value, and what is negative stays so, so that the
/// test of 16-bit values finds both.
inline bool korConvertAsciiBlock(char* dest, const wchar_t* text) {
  __m128i low;
  __m128i high;
  if constexpr (sizeof(wchar_t) == 2) {
    low = korLoadUnits(text);
    high = korLoadUnits(text + 8);
  } else {
    low = _mm_packs_epi32(korLoadUnits(text), korLoadUnits(text + 4));
    high = _mm_packs_epi32(korLoadUnits(text + 8), korLoadUnits(text + 12));
  }
  const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
  if (!korIsZero(_mm_and_si128(_mm_or_si128(low, high), beyond))) return false;
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dest), _mm_packus_epi16(low, high));
  return true;
}

/// Eight wide units on their way to UTF-8, whatever mixture of one, two and three
/// bytes they become: no condition depends on a unit, so that nothing is
/// predicted wrong where words of one script are parted by blanks of another.
class korUtf8Block {
 public:
  static constexpr std::size_t kUnits = 8;

  /// Reads the units. Returns whether they all are characters of at most three
  /// bytes; only then they can be written.
  bool Load(const wchar_t* text) {
    __m128i beyond = _mm_setzero_si128();
    if constexpr (sizeof(wchar_t) == 2) {
      units = korLoadUnits(text);
    } else {
      const __m128i low = korLoadUnits(text);
      const __m128i high = korLoadUnits(text + 4);
      beyond = _mm_srli_epi32(_mm_or_si128(low, high), 16);
      // Without the upper half, and with a sign, no value is too large to pack.
      units = _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(low, 16), 16),
                              _mm_srai_epi32(_mm_slli_epi32(high, 16), 16));
    }
    const __m128i surrogates = _mm_cmpeq_epi16(_mm_and_si128(units, Each(0xF800)), Each(0xD800));
    return korIsZero(_mm_or_si128(surrogates, beyond));
  }

  /// Writes the characters and returns their bytes. There is room for three bytes
  /// more, in which anything may stand afterwards.
  std::size_t Write(char* dest) const {
    const __m128i zero = _mm_setzero_si128();
    const __m128i isOne = _mm_cmpeq_epi16(_mm_and_si128(units, Each(0xFF80)), zero);
    const __m128i isShort = _mm_cmpeq_epi16(_mm_and_si128(units, Each(0xF800)), zero);
    // The first two bytes of each in one lane and the third in another; shifts move
    // the bits of a unit to where they stand in the bytes, the first byte lowest.
    const __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 6), Each(0x80C0)),
                                     _mm_and_si128(_mm_slli_epi16(units, 8), Each(0x3F00)));
    const __m128i three = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 12), Each(0x80E0)),
                                       _mm_and_si128(_mm_slli_epi16(units, 2), Each(0x3F00)));
    const __m128i front = Choose(isOne, units, Choose(isShort, two, three));
    const __m128i third = _mm_or_si128(_mm_and_si128(units, Each(0x003F)), Each(0x0080));
    std::uint32_t bytes[kUnits];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm_unpacklo_epi16(front, third));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + 4), _mm_unpackhi_epi16(front, third));
    // Each condition that holds is -1. The sum of a length and all before it is
    // where the next character begins.
    const __m128i lengths = _mm_add_epi16(Each(3), _mm_add_epi16(isOne, isShort));
    std::uint64_t ends;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&ends), _mm_packus_epi16(lengths, zero));
    ends += ends << 8U;
    ends += ends << 16U;
    ends += ends << 32U;
    // Four bytes of each: what follows the character is overwritten by the next.
    __builtin_memcpy(dest, &bytes[0], 4);
    for (unsigned i = 1; i < kUnits; ++i) {
      __builtin_memcpy(dest + ((ends >> (8U * (i - 1))) & 0xFFU), &bytes[i], 4);
    }
    return ends >> 56U;
  }

 private:
  static __m128i Each(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
  static __m128i Choose(__m128i which, __m128i yes, __m128i no) {
    return _mm_or_si128(_mm_and_si128(which, yes), _mm_andnot_si128(which, no));
  }

  __m128i units;
};

#endif  // __SSE2__

#endif  // VELSTD_KORBASE_KORUTF8BLOCK_H
