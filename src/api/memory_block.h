// The memory blocks behind PDF417_Block handles, as the read uses them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pdf417/pdf417.h"

namespace pdf417 {

// A block held open by a read: its bytes stay allocated until CloseBlock,
// even when the host frees the block meanwhile.
struct OpenedBlock {
  const uint8_t* bytes;
  size_t size;
  uint32_t slot;
};

// Opens a live block for reading. Returns false for NULL, a freed or any
// other unknown handle (nothing is opened then).
bool OpenBlock(PDF417_Block block, OpenedBlock* out);

// Ends a read of an opened block; releases its bytes when the host freed
// the block while it was open and no other read holds it.
void CloseBlock(const OpenedBlock& opened);

}  // namespace pdf417
