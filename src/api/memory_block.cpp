// Host memory blocks in place of the platform's global memory: a block knows
// its size and counts its locks, so the intake can take exactly the bytes the
// host handed over and never read past them.
#include <cstdint>
#include <cstring>

#include "pdf417/pdf417.h"
#include "support/alloc.h"

struct PDF417_MemoryBlock {
  uint32_t magic;  // kBlockMagic while the block is alive
  int32_t locks;
  size_t size;
  unsigned char* bytes;
};

namespace {
constexpr uint32_t kBlockMagic = 0x50444642;  // "PDFB"

PDF417_MemoryBlock* Live(PDF417_Block block) {
  return (block != nullptr && block->magic == kBlockMagic) ? block : nullptr;
}
}  // namespace

extern "C" {

PDF417_API PDF417_Block PDF417_BlockAlloc(size_t size) {
  auto* block = pdf417::AllocArray<PDF417_MemoryBlock>(1);
  if (block == nullptr) return nullptr;
  block->bytes = static_cast<unsigned char*>(pdf417::AllocZeroed(size));
  if (block->bytes == nullptr) {
    pdf417::FreeBytes(block);
    return nullptr;
  }
  block->magic = kBlockMagic;
  block->size = size;
  return block;
}

PDF417_API void* PDF417_BlockLock(PDF417_Block block) {
  PDF417_MemoryBlock* b = Live(block);
  if (b == nullptr) return nullptr;
  ++b->locks;
  return b->bytes;
}

PDF417_API int32_t PDF417_BlockUnlock(PDF417_Block block) {
  PDF417_MemoryBlock* b = Live(block);
  if (b == nullptr || b->locks == 0) return 0;
  return --b->locks;
}

PDF417_API size_t PDF417_BlockSize(PDF417_Block block) {
  PDF417_MemoryBlock* b = Live(block);
  return b ? b->size : 0;
}

PDF417_API void PDF417_BlockFree(PDF417_Block block) {
  PDF417_MemoryBlock* b = Live(block);
  if (b == nullptr) return;
  b->magic = 0;
  pdf417::FreeBytes(b->bytes);
  pdf417::FreeBytes(b);
}

}  // extern "C"
