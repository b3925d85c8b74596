#include "support/alloc.h"

#include <cstdlib>
#include <cstring>

namespace pdf417 {
namespace {

#if PDF417_FAULT_INJECTION
// Per-thread fault-injection state of the test hook. It is the only state the
// allocator keeps, and it is per thread so that reads on other threads are
// never affected.
struct FaultState {
  long attempts = 0;
  long failFrom = 0;  // 0: off
  bool only = false;  // fail only the failFrom-th attempt
  long live = 0;
};
thread_local FaultState tFault;

bool ShouldFail() {
  const long n = ++tFault.attempts;
  if (tFault.failFrom == 0) return false;
  return tFault.only ? n == tFault.failFrom : n >= tFault.failFrom;
}
void CountLive(long change) { tFault.live += change; }
#else
constexpr bool ShouldFail() { return false; }
void CountLive(long) {}
#endif

}  // namespace

void* AllocZeroed(std::size_t bytes) {
  if (ShouldFail()) return nullptr;
  void* block = std::calloc(bytes == 0 ? 1 : bytes, 1);
  if (block) CountLive(1);
  return block;
}

void* ResizeZeroed(void* block, std::size_t oldBytes, std::size_t newBytes) {
  if (newBytes == 0) {
    FreeBytes(block);
    return nullptr;
  }
  if (block == nullptr) return AllocZeroed(newBytes);
  if (ShouldFail()) return nullptr;
  void* grown = std::realloc(block, newBytes);
  if (grown == nullptr) return nullptr;
  if (newBytes > oldBytes) std::memset(static_cast<char*>(grown) + oldBytes, 0, newBytes - oldBytes);
  return grown;
}

void FreeBytes(void* block) {
  if (block == nullptr) return;
  CountLive(-1);
  std::free(block);
}

#if PDF417_FAULT_INJECTION
namespace alloc_testing {
void FailFrom(long n) {
  tFault.attempts = 0;
  tFault.failFrom = n;
  tFault.only = false;
}
void FailOnly(long n) {
  tFault.attempts = 0;
  tFault.failFrom = n;
  tFault.only = true;
}
long Attempts() { return tFault.attempts; }
long Live() { return tFault.live; }
void Reset() {
  tFault.attempts = 0;
  tFault.failFrom = 0;
  tFault.only = false;
}
}  // namespace alloc_testing
#endif

}  // namespace pdf417
