// Every allocation of the library goes through this zero-filling allocator.
// In test builds a hook can make the N-th allocation fail, so that every
// allocation failure outcome can be reached in tests; RAII owners release
// what they hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace pdf417 {

// Zero-filled block of `bytes` bytes, or nullptr when memory is exhausted (or
// when the test hook says this allocation fails). A request of 0 bytes still
// returns a distinct block.
void* AllocZeroed(std::size_t bytes);

// Resizes a block from oldBytes to newBytes; bytes past oldBytes are zero.
// Returns nullptr on failure, leaving `block` untouched and still owned by the
// caller. A newBytes of 0 releases the block and returns nullptr.
void* ResizeZeroed(void* block, std::size_t oldBytes, std::size_t newBytes);

// Releases a block from AllocZeroed/ResizeZeroed. nullptr is accepted.
void FreeBytes(void* block);

// Zero-filled array of n records of a plain type; nullptr on failure or when
// n * sizeof(T) overflows.
template <class T>
T* AllocArray(std::size_t n) {
  static_assert(std::is_trivially_copyable_v<T>, "records are plain data");
  if (n != 0 && n > SIZE_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(AllocZeroed(n * sizeof(T)));
}

// Resizes an array from oldCount to newCount records (new records zeroed).
template <class T>
T* ResizeArray(T* block, std::size_t oldCount, std::size_t newCount) {
  static_assert(std::is_trivially_copyable_v<T>, "records are plain data");
  if (newCount > SIZE_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(ResizeZeroed(block, oldCount * sizeof(T), newCount * sizeof(T)));
}

struct FreeDeleter {
  void operator()(void* block) const { FreeBytes(block); }
};

// Owner of one block from this allocator: Owned<T> for a record, Owned<T[]>
// for an array.
template <class T>
using Owned = std::unique_ptr<T, FreeDeleter>;

template <class T>
Owned<T[]> MakeOwnedArray(std::size_t n) {
  return Owned<T[]>(AllocArray<T>(n));
}

#if PDF417_FAULT_INJECTION
// The test hook, compiled in only for test builds (PDF417_FAULT_INJECTION).
namespace alloc_testing {
// Makes the n-th allocation (1-based, counted from this call, on this thread)
// and every later one fail; 0 switches failures off. Per thread, so tests on
// other threads are not affected.
void FailFrom(long n);
// Makes only the n-th allocation from this call fail (1-based); 0 switches off.
void FailOnly(long n);
// Allocations attempted on this thread since the last FailFrom/FailOnly/Reset.
long Attempts();
// Blocks allocated and not yet released on this thread (resizes count once).
long Live();
// Switches failures off and sets the attempt counter to 0.
void Reset();
}  // namespace alloc_testing
#endif

}  // namespace pdf417
