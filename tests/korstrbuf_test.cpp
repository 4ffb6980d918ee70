#include "korstrbuf.h"

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "veltest.h"
#include "veltest_string.h"

namespace {

// One width: how to ask a buffer for it, and which other one there is.
struct NarrowForm {
  using Ch = char;
  using Other = wchar_t;
  static korStrBuf* Alloc(std::size_t size, Ch** text) { return korStrBuf::AllocMB(size, text); }
  static korStrBuf* Resize(korStrBuf* b, std::size_t size, Ch** text, int keep) {
    return b->ResizeMB(size, text, keep);
  }
  static korStrBuf* Produce(korStrBuf* b, Ch** own, Other** other) {
    return b->Produce(own, other);
  }
  static void Attach(korStrBuf* b, Ch** own, Other** other) { b->Attach(own, other); }
};
struct WideForm {
  using Ch = wchar_t;
  using Other = char;
  static korStrBuf* Alloc(std::size_t size, Ch** text) { return korStrBuf::AllocWC(size, text); }
  static korStrBuf* Resize(korStrBuf* b, std::size_t size, Ch** text, int keep) {
    return b->ResizeWC(size, text, keep);
  }
  static korStrBuf* Produce(korStrBuf* b, Ch** own, Other** other) {
    return b->Produce(other, own);
  }
  static void Attach(korStrBuf* b, Ch** own, Other** other) { b->Attach(other, own); }
};

bool Same(const char* a, const char* b) { return std::strcmp(a, b) == 0; }
bool Same(const wchar_t* a, const wchar_t* b) { return SameWide(a, b); }

template <class W>
class KorStrBufForm : public testing::Test {
 protected:
  using Ch = typename W::Ch;
  using Other = typename W::Other;

  static std::size_t Bytes(std::size_t characters) { return (characters + 1) * sizeof(Ch); }
  static std::size_t OtherBytes(std::size_t characters) { return (characters + 1) * sizeof(Other); }
  static const Ch* T(const char* ascii) { return Lit<Ch>(ascii); }
  static const Other* O(const char* ascii) { return Lit<Other>(ascii); }

  // A buffer that holds `ascii` in this form only.
  static korStrBuf* Make(const char* ascii, Ch** text) {
    const std::size_t size = Bytes(std::strlen(ascii));
    korStrBuf* buffer = W::Alloc(size, text);
    std::memcpy(*text, T(ascii), size);
    return buffer;
  }

  // The forms that exist, without a lasting reference.
  static void Peek(korStrBuf* buffer, Ch** own, Other** other) {
    W::Attach(buffer, own, other);
    buffer->Release();
  }
};
using Widths = testing::Types<NarrowForm, WideForm>;
struct FormName {
  template <class W>
  static std::string GetName(int number) {
    return WidthName::GetName<typename W::Ch>(number);
  }
};
TYPED_TEST_SUITE(KorStrBufForm, Widths, FormName);

// Slot number of a virtual function, as the platform's ABI writes it into a
// pointer to member: the offset in the table, plus 1.
template <class F>
std::size_t SlotOf(F function) {
  std::size_t offset = 0;
  std::memcpy(&offset, &function, sizeof offset);
  return offset % 2 == 1 ? (offset - 1) / sizeof(void*) : 999;
}

TEST(KorStrBuf, SlotsHaveTheirPublishedOrder) {
  EXPECT_EQ(SlotOf(&korStrBuf::Produce), 0U);
  EXPECT_EQ(SlotOf(&korStrBuf::ResizeMB), 1U);
  EXPECT_EQ(SlotOf(&korStrBuf::ResizeWC), 2U);
  EXPECT_EQ(SlotOf(&korStrBuf::Commit), 3U);
  EXPECT_EQ(SlotOf(&korStrBuf::Attach), 4U);
  EXPECT_EQ(SlotOf(&korStrBuf::Release), 5U);
}

TYPED_TEST(KorStrBufForm, AllocationHoldsOneFormOnly) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  typename TypeParam::Ch* own = nullptr;
  auto* other = reinterpret_cast<typename TypeParam::Other*>(std::uintptr_t{99});
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, nullptr);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, AllocationOfNothingHasRoomForTheTerminator) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = TypeParam::Alloc(0, &text);
  text[0] = 0;
  typename TypeParam::Other* other = nullptr;
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_EQ(other[0], 0);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, SizesBeyondTheLongestTextThrow) {
  typename TypeParam::Ch* text = nullptr;
  EXPECT_VEL_NATIVE(TypeParam::Alloc(this->Bytes(korStrBuf::kMaxLength + 1), &text),
                    "Size limit exceeded");
  EXPECT_EQ(text, nullptr);
}

TEST(KorStrBuf, TheLongestTextFits) {
  EXPECT_EQ(korStrBuf::kMaxLength, 2147483646U);
  char* text = nullptr;
  korStrBuf* buffer = korStrBuf::AllocMB(korStrBuf::kMaxLength + 1, &text);
  text[korStrBuf::kMaxLength] = 0;
  text[0] = 0;
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ProduceConvertsTheMissingFormOnce) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  typename TypeParam::Ch* own = nullptr;
  typename TypeParam::Other* first = nullptr;
  typename TypeParam::Other* again = nullptr;
  EXPECT_EQ(TypeParam::Produce(buffer, &own, &first), buffer);
  EXPECT_EQ(own, text);
  EXPECT_TRUE(Same(first, this->O("abc")));
  EXPECT_EQ(TypeParam::Produce(buffer, nullptr, &again), buffer);
  EXPECT_EQ(again, first);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ProduceWithoutPlacesMakesBothForms) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  EXPECT_EQ(buffer->Produce(nullptr, nullptr), buffer);
  typename TypeParam::Ch* own = nullptr;
  typename TypeParam::Other* other = nullptr;
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  ASSERT_NE(other, nullptr);
  EXPECT_TRUE(Same(other, this->O("abc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ProduceOfTheFormThatExistsMakesNoOther) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  typename TypeParam::Ch* own = nullptr;
  TypeParam::Produce(buffer, &own, nullptr);
  typename TypeParam::Other* other = nullptr;
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, nullptr);
  buffer->Release();
}

TEST(KorStrBuf, ProduceTurnsWhatDoesNotConvertIntoQuestionMarks) {
  const PlainLocale plain;
  wchar_t* wide;
  korStrBuf* buffer = korStrBuf::AllocWC(4 * sizeof(wchar_t), &wide);
  std::memcpy(wide, L"a\u00e9b", 4 * sizeof(wchar_t));
  char* narrow = nullptr;
  buffer->Produce(&narrow, nullptr);
  EXPECT_STREQ(narrow, "a?b");
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ResizeGivesRoomAndKeepsTheText) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  for (const std::size_t length : {4U, 5U, 40U, 1000U}) {
    buffer = TypeParam::Resize(buffer, this->Bytes(length), &text, 1);
    EXPECT_TRUE(Same(text, this->T("abc"))) << length;
    for (std::size_t i = 3; i < length; ++i) text[i] = 'x';
    text[length] = 0;
    typename TypeParam::Ch* own = nullptr;
    typename TypeParam::Other* other;
    this->Peek(buffer, &own, &other);
    EXPECT_EQ(own, text) << length;
    text[3] = 0;
  }
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ResizeOfASoleOwnerToTheSameSizeStaysInPlace) {
  typename TypeParam::Ch* before;
  typename TypeParam::Ch* after;
  korStrBuf* buffer = this->Make("abc", &before);
  EXPECT_EQ(TypeParam::Resize(buffer, this->Bytes(3), &after, 1), buffer);
  EXPECT_EQ(after, before);
  EXPECT_TRUE(Same(after, this->T("abc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ResizeCutsALongerText) {
  for (const bool shared : {false, true}) {
    typename TypeParam::Ch* old;
    typename TypeParam::Ch* text;
    korStrBuf* buffer = this->Make("abcdef", &old);
    if (shared) buffer->Attach(nullptr, nullptr);
    korStrBuf* const resized = TypeParam::Resize(buffer, this->Bytes(2), &text, 1);
    EXPECT_TRUE(Same(text, this->T("ab"))) << shared;
    if (shared) {
      EXPECT_TRUE(Same(old, this->T("abcdef")));
      buffer->Release();
    }
    resized->Release();
  }
}

TYPED_TEST(KorStrBufForm, ResizeOfASharedBufferMovesToANewOne) {
  typename TypeParam::Ch* old;
  typename TypeParam::Ch* text;
  korStrBuf* shared = this->Make("abc", &old);
  shared->Attach(nullptr, nullptr);
  korStrBuf* own = TypeParam::Resize(shared, this->Bytes(3), &text, 1);
  EXPECT_NE(own, shared);
  EXPECT_NE(text, old);
  text[0] = 'x';
  EXPECT_TRUE(Same(old, this->T("abc")));
  EXPECT_TRUE(Same(text, this->T("xbc")));
  // The reference of the caller has moved along: one is left on each.
  own->Release();
  EXPECT_EQ(TypeParam::Resize(shared, this->Bytes(3), &text, 1), shared);
  shared->Release();
}

TYPED_TEST(KorStrBufForm, ResizeOfTheMissingFormProducesIt) {
  // A buffer born in the other form.
  typename TypeParam::Other* born;
  typename TypeParam::Ch* text = nullptr;
  using Born = std::conditional_t<std::is_same<typename TypeParam::Other, char>::value, NarrowForm,
                                  WideForm>;
  korStrBuf* buffer = Born::Alloc(this->OtherBytes(3), &born);
  std::memcpy(born, this->O("abc"), this->OtherBytes(3));
  buffer = TypeParam::Resize(buffer, this->Bytes(4), &text, 1);
  EXPECT_TRUE(Same(text, this->T("abc")));
  text[3] = 'd';
  text[4] = 0;
  buffer->Commit();
  typename TypeParam::Other* other = nullptr;
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_TRUE(Same(other, this->O("abcd")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ResizeWithoutKeepGivesRoom) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  for (const bool shared : {false, true}) {
    korStrBuf* const old = buffer;
    if (shared) old->Attach(nullptr, nullptr);
    buffer = TypeParam::Resize(buffer, this->Bytes(shared ? 9 : 5), &text, 0);
    std::memcpy(text, this->T("fresh"), this->Bytes(5));
    if (shared) {
      EXPECT_NE(buffer, old);
      old->Release();
    }
    EXPECT_TRUE(Same(text, this->T("fresh")));
  }
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ResizeBeyondTheLongestTextThrowsAndChangesNothing) {
  typename TypeParam::Ch* text;
  typename TypeParam::Ch* place = nullptr;
  korStrBuf* buffer = this->Make("abc", &text);
  EXPECT_VEL_NATIVE(TypeParam::Resize(buffer, this->Bytes(korStrBuf::kMaxLength + 1), &place, 1),
                    "Size limit exceeded");
  EXPECT_EQ(place, nullptr);
  EXPECT_TRUE(Same(text, this->T("abc")));
  EXPECT_EQ(TypeParam::Resize(buffer, this->Bytes(3), &place, 1), buffer);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, CommitDropsTheStaleForm) {
  typename TypeParam::Ch* text;
  typename TypeParam::Other* other = nullptr;
  korStrBuf* buffer = this->Make("abc", &text);
  TypeParam::Produce(buffer, nullptr, &other);
  buffer = TypeParam::Resize(buffer, this->Bytes(3), &text, 1);
  text[0] = 'x';
  buffer->Commit();
  typename TypeParam::Ch* own = nullptr;
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, nullptr);
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_TRUE(Same(other, this->O("xbc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, CommitWithoutAResizeKeepsTheFormItWasBornWith) {
  typename TypeParam::Ch* text;
  typename TypeParam::Other* other = nullptr;
  korStrBuf* buffer = this->Make("abc", &text);
  TypeParam::Produce(buffer, nullptr, &other);
  text[0] = 'x';
  buffer->Commit();
  typename TypeParam::Ch* own = nullptr;
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, nullptr);
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_TRUE(Same(other, this->O("xbc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, CommitWithOneFormChangesNothing) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  buffer->Commit();
  buffer->Commit();
  EXPECT_TRUE(Same(text, this->T("abc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ExtendWritesBehindTheTextWhileThereIsRoom) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = TypeParam::Alloc(this->Bytes(8), &text);
  std::memcpy(text, this->T("abc"), this->Bytes(3));
  EXPECT_EQ(buffer->Extend(text, 1), nullptr);  // nobody has told the length
  buffer->NoteLength(3);
  typename TypeParam::Ch* place = buffer->Extend(text, 2);
  ASSERT_EQ(place, text + 3);
  std::memcpy(place, this->T("de"), 2 * sizeof(*place));
  EXPECT_TRUE(Same(text, this->T("abcde")));
  EXPECT_EQ(buffer->GetLength(text), 5U);
  EXPECT_EQ(buffer->Extend(text, 4), nullptr);
  EXPECT_EQ(buffer->Extend(text, static_cast<std::size_t>(-1)), nullptr);
  EXPECT_TRUE(Same(text, this->T("abcde")));
  place = buffer->Extend(text, 3);
  ASSERT_EQ(place, text + 5);
  std::memcpy(place, this->T("fgh"), 3 * sizeof(*place));
  EXPECT_TRUE(Same(text, this->T("abcdefgh")));
  EXPECT_EQ(buffer->Extend(text, 1), nullptr);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ExtendAndReuseRefuseWhatIsSharedAndTheProducedForm) {
  typename TypeParam::Ch* text;
  typename TypeParam::Other* other = nullptr;
  korStrBuf* buffer = TypeParam::Alloc(this->Bytes(20), &text);
  std::memcpy(text, this->T("abc"), this->Bytes(3));
  buffer->NoteLength(3);
  buffer->AddReference();
  EXPECT_EQ(buffer->Extend(text, 1), nullptr);
  EXPECT_FALSE(buffer->Reuse(text, 3));
  buffer->DropReference();
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_EQ(buffer->Extend(text, 1), nullptr);  // the other form would be stale
  EXPECT_EQ(buffer->Extend(other, 1), nullptr);
  EXPECT_FALSE(buffer->Reuse(other, 3));
  EXPECT_EQ(buffer->GetLength(other), 3U);
  EXPECT_TRUE(Same(text, this->T("abc")));
  EXPECT_TRUE(Same(other, this->O("abc")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ReuseDropsTheOtherFormAndNotesTheLength) {
  typename TypeParam::Ch* text;
  typename TypeParam::Other* other = nullptr;
  korStrBuf* buffer = this->Make("abcdef", &text);
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_FALSE(buffer->Reuse(text, 7));
  ASSERT_TRUE(buffer->Reuse(text, 2));
  std::memcpy(text, this->T("xy"), this->Bytes(2));
  EXPECT_EQ(buffer->GetLength(text), 2U);
  typename TypeParam::Ch* own = nullptr;
  this->Peek(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, nullptr);
  TypeParam::Produce(buffer, nullptr, &other);
  EXPECT_TRUE(Same(other, this->O("xy")));
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, ALargeBufferIsNotReusedForASmallText) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = TypeParam::Alloc(this->Bytes(999), &text);
  text[0] = 0;
  EXPECT_FALSE(buffer->Reuse(text, 100));
  EXPECT_TRUE(buffer->Reuse(text, 300));
  buffer->Release();
}

// Whoever edits in place and commits may have changed the length.
TYPED_TEST(KorStrBufForm, CommitForgetsTheLength) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abcdef", &text);
  buffer->NoteLength(6);
  text[2] = 0;
  buffer->Commit();
  EXPECT_EQ(buffer->GetLength(text), 2U);
  buffer->Release();
}

TYPED_TEST(KorStrBufForm, AttachAddsAReferenceAndTellsTheForms) {
  typename TypeParam::Ch* text;
  korStrBuf* buffer = this->Make("abc", &text);
  typename TypeParam::Other* made = nullptr;
  TypeParam::Produce(buffer, nullptr, &made);
  typename TypeParam::Ch* own = nullptr;
  typename TypeParam::Other* other = nullptr;
  TypeParam::Attach(buffer, &own, &other);
  EXPECT_EQ(own, text);
  EXPECT_EQ(other, made);
  buffer->Release();
  EXPECT_TRUE(Same(text, this->T("abc")));  // one reference is left
  buffer->Release();
}

TEST(KorStrBuf, ManyReferencesAreCounted) {
  char* text;
  korStrBuf* buffer = korStrBuf::AllocMB(2, &text);
  std::strcpy(text, "a");
  for (int i = 0; i < 1000; ++i) buffer->Attach(nullptr, nullptr);
  for (int i = 0; i < 999; ++i) buffer->Release();
  char* place;
  korStrBuf* fresh = buffer->ResizeMB(2, &place, 1);  // takes the 1001st away
  EXPECT_NE(fresh, buffer);
  fresh->Release();
  EXPECT_EQ(buffer->ResizeMB(2, &place, 1), buffer);
  buffer->Release();
}

// All threads ask at once; one conversion is published, and never moves.
TYPED_TEST(KorStrBufForm, ConcurrentProduceGivesAllThreadsOneForm) {
  for (int round = 0; round < 50; ++round) {
    typename TypeParam::Ch* text;
    korStrBuf* buffer = this->Make("a text of some length", &text);
    std::vector<typename TypeParam::Other*> seen(4);
    std::atomic<int> waiting{4};
    std::vector<std::thread> threads;
    for (auto& place : seen) {
      buffer->Attach(nullptr, nullptr);
      threads.emplace_back([&waiting, buffer, &place] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        TypeParam::Produce(buffer, nullptr, &place);
        buffer->Release();
      });
    }
    for (auto& thread : threads) thread.join();
    for (auto* place : seen) EXPECT_EQ(place, seen[0]);
    EXPECT_TRUE(Same(seen[0], this->O("a text of some length")));
    buffer->Release();
  }
}

TEST(KorStrBuf, ConcurrentAttachAndReleaseKeepTheCount) {
  char* text;
  korStrBuf* buffer = korStrBuf::AllocMB(2, &text);
  std::strcpy(text, "a");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([buffer] {
      for (int i = 0; i < 10000; ++i) {
        buffer->Attach(nullptr, nullptr);
        buffer->Release();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  char* place;
  EXPECT_EQ(buffer->ResizeMB(2, &place, 1), buffer);  // back to one owner
  buffer->Release();
}

}  // namespace
