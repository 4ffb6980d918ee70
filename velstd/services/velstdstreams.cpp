#include "velstdstreams.h"

#include <atomic>
#include <ios>
#include <ostream>

// As <iostream> declares them.
namespace std {
extern ostream cout;
extern ostream cerr;
}  // namespace std

namespace {

std::atomic<std::ios_base::Init*> streams{nullptr};

// Never freed: the streams stay set up for exit handlers.
void SetUp() {
  if (streams.load(std::memory_order_acquire)) return;
  auto* made = new std::ios_base::Init;
  std::ios_base::Init* first = nullptr;
  // A second one that lost the race is one more reference on the streams.
  if (!streams.compare_exchange_strong(first, made, std::memory_order_acq_rel)) delete made;
}

}  // namespace

std::ostream& velStandardOutput() {
  SetUp();
  return std::cout;
}

std::ostream& velStandardError() {
  SetUp();
  return std::cerr;
}
