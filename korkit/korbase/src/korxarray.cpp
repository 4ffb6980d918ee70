#include "korxarray.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "koralloc.h"

namespace {

// Bytes of `count` records; no allocator has the largest size to give.
std::size_t Bytes(int count, std::size_t recordSize) {
  const auto records = static_cast<std::size_t>(count);
  return recordSize != 0 && records > SIZE_MAX / recordSize ? SIZE_MAX : records * recordSize;
}

int AtMostInt(std::int64_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

}  // namespace

korRawArray::korRawArray(int growth) noexcept : step(growth < 1 ? 1 : growth) {}

korRawArray::~korRawArray() { korFree(buffer); }

void korRawArray::Resize(int n, std::size_t recordSize) {
  if (n < 0) n = 0;
  if (n < count) count = n;  // before the block shrinks, which may not fail
  FitTo(n, recordSize);
  count = n;
}

void korRawArray::Fit(std::size_t recordSize) { FitTo(count, recordSize); }

void korRawArray::FitOneMore(std::size_t recordSize) { FitTo(OneMore(), recordSize); }

void korRawArray::GrowDoubling(std::size_t recordSize) {
  const int needed = OneMore();
  if (needed <= capacity) return;
  SetCapacity(
      RoundUp(AtMostInt(std::int64_t{2} * capacity < needed ? needed : std::int64_t{2} * capacity)),
      recordSize);
}

void korRawArray::GrowByStep(std::size_t recordSize) {
  if (OneMore() <= capacity) return;
  SetCapacity(AtMostInt((std::int64_t{count} / step + 1) * step), recordSize);
}

void* korRawArray::OpenGap(int position, std::size_t recordSize) {
  void* gap = At(position, recordSize);
  if (position < count)
    std::memmove(At(position + 1, recordSize), gap, Bytes(count - position, recordSize));
  ++count;
  return gap;
}

void korRawArray::CloseGap(int position, std::size_t recordSize) {
  --count;
  if (position < count) {
    std::memmove(At(position, recordSize), At(position + 1, recordSize),
                 Bytes(count - position, recordSize));
  }
}

void korRawArray::Clear() {
  korFree(buffer);
  buffer = nullptr;
  count = 0;
  capacity = 0;
}

int korRawArray::RoundUp(int n) const {
  return AtMostInt((std::int64_t{n} + step - 1) / step * step);
}

// The count after one more insertion.
int korRawArray::OneMore() const {
  if (count == INT_MAX) velThrowSizeLimit();
  return count + 1;
}

void korRawArray::FitTo(int n, std::size_t recordSize) {
  if (!force && n <= capacity) return;
  const int fitting = RoundUp(n);
  if (fitting != capacity) SetCapacity(fitting, recordSize);
}

// `newCapacity` is not below the count. A smaller block that cannot be had
// leaves the larger one in place: removal never fails.
void korRawArray::SetCapacity(int newCapacity, std::size_t recordSize) {
  if (newCapacity == 0) {
    Clear();
    return;
  }
  const std::size_t size = Bytes(newCapacity, recordSize);
  void* block = buffer ? korRealloc(buffer, size) : korAlloc(size);
  if (!block) {
    if (newCapacity <= capacity) return;
    throw std::bad_alloc();
  }
  buffer = block;
  capacity = newCapacity;
}

void* korXArrayImpl::GetAt(int position) const {
  if (position < 0 || position >= GetCount()) return nullptr;
  return *static_cast<void**>(array.At(position, sizeof(void*)));
}

bool korXArrayImpl::SetAt(int position, void* element) {
  if (position < 0 || position >= GetCount()) return false;
  *static_cast<void**>(array.At(position, sizeof(void*))) = element;
  return true;
}

bool korXArrayImpl::InsertAt(int position, void* element) {
  if (position < 0 || position > GetCount()) return false;
  array.GrowDoubling(sizeof(void*));
  *static_cast<void**>(array.OpenGap(position, sizeof(void*))) = element;
  return true;
}

bool korXArrayImpl::RemoveAt(int position) {
  if (position < 0 || position >= GetCount()) return false;
  array.CloseGap(position, sizeof(void*));
  return true;
}

bool korXArrayImpl::_Lookup(const void* key, Compare compare, int* position) const {
  return korSearch(GetCount(), position, [&](int at) {
    return compare(key, *static_cast<void**>(array.At(at, sizeof(void*))));
  });
}

void* korClassXArrayImpl::GetAt(int position) const {
  return position >= 0 && position < GetCount() ? array.At(position, recordSize) : nullptr;
}

bool korClassXArrayImpl::RemoveAt(int position) {
  if (position < 0 || position >= GetCount()) return false;
  array.CloseGap(position, recordSize);
  return true;
}

bool korClassXArrayImpl::InsertAt(int position, const void* record) {
  if (position < 0 || position > GetCount()) return false;
  array.GrowDoubling(recordSize);
  std::memcpy(array.OpenGap(position, recordSize), record, recordSize);
  return true;
}
