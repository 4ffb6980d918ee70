// korstrbufalloc.h - a new text buffer, in line for the strings that make them.
//
// Most strings are short and live for a moment: a call and its checks cost them
// about as much as the block does. Private to the library.
#ifndef VELSTD_KORBASE_KORSTRBUFALLOC_H
#define VELSTD_KORBASE_KORSTRBUFALLOC_H

#include <new>

#include "korpool.h"
#include "korstrbuf.h"
#include "korstring.h"

template <class Ch>
inline korStrBuf* korStrBuf::Alloc(std::size_t size, Ch** text) {
  if (size < sizeof(Ch)) size = sizeof(Ch);
  if (size / sizeof(Ch) > kMaxLength + 1) velThrowSizeLimit();
  void* block = korpool::Alloc(sizeof(korStrBuf) + size);
  if (!block) throw std::bad_alloc();
  auto* const form = reinterpret_cast<Ch*>(static_cast<char*>(block) + sizeof(korStrBuf));
  *text = form;
  return new (block) korStrBuf(form, size, 0);
}

#endif  // VELSTD_KORBASE_KORSTRBUFALLOC_H
