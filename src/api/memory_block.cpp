// Host memory blocks in place of the platform's global memory: a block knows
// its size and counts its locks, so the intake can take exactly the bytes the
// host handed over and never read past them.
//
// A handle is no pointer to the block but the number of a slot in one
// process-wide table and the slot's generation, which changes when the block
// is freed. So a freed or made-up handle is recognised by looking it up, and
// nothing the library frees is ever read again through a handle: a stale
// handle locks nothing, also after its slot holds a new block (until the
// slot has been reused 2^32 times). The table, guarded by one mutex, is the
// library's only process-wide state besides the tracing step: blocks are
// the host's and outlive any handle or read. Its records stay allocated for
// the life of the process (16 + 24 bytes per block alive at the same time,
// at the most).
#include "api/memory_block.h"

#include <pthread.h>

#include "support/alloc.h"

namespace pdf417 {
namespace {

struct BlockSlot {
  unsigned char* bytes;  // nullptr while the slot is free
  size_t size;
  uint32_t generation;  // part of the handle; changes when the block is freed
  int32_t locks;        // the host's PDF417_BlockLock count
  int32_t readers;      // reads that have the block open
  uint32_t nextFree;    // free slots form a list (slot number + 1; 0 ends it)
};

struct BlockTable {
  // A POSIX mutex rather than std::mutex, whose error path needs the C++
  // runtime: C hosts link the static library without it.
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  BlockSlot* slots = nullptr;
  uint32_t count = 0;  // slots handed out so far
  uint32_t capacity = 0;
  uint32_t firstFree = 0;  // slot number + 1; 0: none
};

constinit BlockTable gTable;

// Holds the table's mutex for its lifetime.
struct TableLock {
  TableLock() { pthread_mutex_lock(&gTable.mutex); }
  ~TableLock() { pthread_mutex_unlock(&gTable.mutex); }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
};

PDF417_Block MakeHandle(uint32_t slot, uint32_t generation) {
  // Slot + 1 in the low half: no handle is NULL.
  return reinterpret_cast<PDF417_Block>(static_cast<uintptr_t>(uint64_t{generation} << 32 | (uint64_t{slot} + 1)));
}
static_assert(sizeof(uintptr_t) == sizeof(uint64_t), "handles hold a slot number and a generation");

// The live block a handle names, or nullptr. The caller holds the mutex.
BlockSlot* Find(PDF417_Block block) {
  const uint64_t v = reinterpret_cast<uintptr_t>(block);
  const uint64_t low = v & 0xFFFFFFFFu;
  if (low == 0 || low > gTable.count) return nullptr;
  BlockSlot& s = gTable.slots[low - 1];
  return (s.bytes != nullptr && s.generation == static_cast<uint32_t>(v >> 32)) ? &s : nullptr;
}

// Releases a slot's bytes and puts the slot on the free list. The caller
// holds the mutex.
void Release(uint32_t slot) {
  BlockSlot& s = gTable.slots[slot];
  FreeBytes(s.bytes);
  s.bytes = nullptr;
  s.size = 0;
  s.locks = 0;
  s.nextFree = gTable.firstFree;
  gTable.firstFree = slot + 1;
}

// A slot for a new block, or UINT32_MAX when the table cannot grow. The
// caller holds the mutex.
uint32_t TakeSlot() {
  if (gTable.firstFree != 0) {
    const uint32_t slot = gTable.firstFree - 1;
    gTable.firstFree = gTable.slots[slot].nextFree;
    return slot;
  }
  if (gTable.count == gTable.capacity) {
    const uint64_t grown = gTable.capacity == 0 ? 64 : 2 * uint64_t{gTable.capacity};
    if (grown >= UINT32_MAX) return UINT32_MAX;
    BlockSlot* larger = ResizeArray(gTable.slots, gTable.capacity, static_cast<size_t>(grown));
    if (larger == nullptr) return UINT32_MAX;
    gTable.slots = larger;
    gTable.capacity = static_cast<uint32_t>(grown);
  }
  return gTable.count++;
}

}  // namespace

bool OpenBlock(PDF417_Block block, OpenedBlock* out) {
  const TableLock hold;
  BlockSlot* s = Find(block);
  if (s == nullptr) return false;
  ++s->readers;
  *out = OpenedBlock{s->bytes, s->size, static_cast<uint32_t>(s - gTable.slots)};
  return true;
}

void CloseBlock(const OpenedBlock& opened) {
  const TableLock hold;
  BlockSlot& s = gTable.slots[opened.slot];
  // A block freed while open has a new generation already; its bytes wait
  // for the last read.
  if (--s.readers == 0 && s.size == SIZE_MAX) Release(opened.slot);
}

}  // namespace pdf417

using pdf417::gTable;
using pdf417::TableLock;

extern "C" {

PDF417_API PDF417_Block PDF417_BlockAlloc(size_t size) {
  // SIZE_MAX marks a block freed while open; no allocation gets that big.
  if (size == SIZE_MAX) return nullptr;
  auto* bytes = static_cast<unsigned char*>(pdf417::AllocZeroed(size));
  if (bytes == nullptr) return nullptr;
  const TableLock hold;
  const uint32_t slot = pdf417::TakeSlot();
  if (slot == UINT32_MAX) {
    pdf417::FreeBytes(bytes);
    return nullptr;
  }
  pdf417::BlockSlot& s = gTable.slots[slot];
  s.bytes = bytes;
  s.size = size;
  s.locks = 0;
  s.readers = 0;
  return pdf417::MakeHandle(slot, s.generation);
}

PDF417_API void* PDF417_BlockLock(PDF417_Block block) {
  const TableLock hold;
  pdf417::BlockSlot* s = pdf417::Find(block);
  if (s == nullptr) return nullptr;
  ++s->locks;
  return s->bytes;
}

PDF417_API int32_t PDF417_BlockUnlock(PDF417_Block block) {
  const TableLock hold;
  pdf417::BlockSlot* s = pdf417::Find(block);
  if (s == nullptr || s->locks == 0) return 0;
  return --s->locks;
}

PDF417_API size_t PDF417_BlockSize(PDF417_Block block) {
  const TableLock hold;
  const pdf417::BlockSlot* s = pdf417::Find(block);
  return s ? s->size : 0;
}

PDF417_API void PDF417_BlockFree(PDF417_Block block) {
  const TableLock hold;
  pdf417::BlockSlot* s = pdf417::Find(block);
  if (s == nullptr) return;
  ++s->generation;  // the handle is stale from here on
  const auto slot = static_cast<uint32_t>(s - gTable.slots);
  if (s->readers == 0) {
    pdf417::Release(slot);
  } else {
    s->size = SIZE_MAX;  // the last read releases the bytes
  }
}

}  // extern "C"
