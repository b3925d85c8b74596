// The library's exported C functions around one result handle.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "api/memory_block.h"
#include "api/recognition_passes.h"
#include "api/result_store.h"
#include "pdf417/pdf417.h"
#include "support/alloc.h"

namespace {

const pdf417::SymbolResult* Record(PDF417_Handle handle, int32_t index) {
  if (handle == nullptr || index < 0 || index >= handle->results.count) return nullptr;
  return &handle->results.records[index];
}

// Copies the span [offset, offset + length) of a record's data store into the
// caller's buffer, at most capacity bytes; returns length.
int32_t CopySpan(const pdf417::DecodedData& data, int32_t offset, int32_t length, void* buffer, int32_t capacity) {
  const int32_t n = std::min(length, capacity);
  if (buffer != nullptr && n > 0) std::memcpy(buffer, data.store + offset, static_cast<size_t>(n));
  return length;
}

}  // namespace

extern "C" {

PDF417_API PDF417_Handle PDF417_Init(void) { return pdf417::AllocArray<PDF417_Reader>(1); }

PDF417_API int32_t PDF417_Read(PDF417_Handle handle, PDF417_Block bitmap) {
  if (handle == nullptr) return -1;
  // The block is held open, not locked: reads on other threads may use it
  // at the same time, and a free meanwhile waits for them.
  pdf417::OpenedBlock opened{};
  if (!pdf417::OpenBlock(bitmap, &opened)) return pdf417::ReadPage(*handle, nullptr, 0);  // refused: no symbols
  const int32_t result = pdf417::ReadPage(*handle, opened.bytes, opened.size);
  pdf417::CloseBlock(opened);
  return result;
}

PDF417_API int32_t PDF417_ReadDib(PDF417_Handle handle, const void* dib, size_t length) {
  if (handle == nullptr) return -1;
  return pdf417::ReadPage(*handle, static_cast<const uint8_t*>(dib), dib ? length : 0);
}

PDF417_API int32_t PDF417_GetNumBarcodes(PDF417_Handle handle) { return handle ? handle->results.count : 0; }

PDF417_API int32_t PDF417_GetSymbolText(PDF417_Handle handle, int32_t index, int32_t* length, unsigned char* text) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr) return 0;
  if (length) *length = r->textLength;
  if (text && r->textLength > 0) std::memcpy(text, r->text, static_cast<size_t>(r->textLength));
  return 0;
}

PDF417_API int32_t PDF417_GetCoordinates(PDF417_Handle handle, int32_t index, int32_t* x0, int32_t* y0, int32_t* x1,
                                         int32_t* y1, int32_t* x2, int32_t* y2, int32_t* x3, int32_t* y3) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr) return 0;
  int32_t* out[8] = {x0, y0, x1, y1, x2, y2, x3, y3};
  for (int i = 0; i < 8; ++i) {
    if (out[i]) *out[i] = r->corners[i];
  }
  return 0;
}

PDF417_API int32_t PDF417_GetDirection(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->direction : 0;
}

PDF417_API int32_t PDF417_GetErrorCorrectionLevel(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->errorCorrectionLevel : 0;
}

PDF417_API int32_t PDF417_GetMode(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->mode : 0;
}

PDF417_API int32_t PDF417_GetConfidence(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->confidence : 0;
}

PDF417_API void PDF417_Done(PDF417_Handle handle) {
  if (handle == nullptr) return;
  pdf417::FreeResults(handle->results);
  pdf417::FreeBytes(handle);
}

PDF417_API int32_t PDF417_GetData(PDF417_Handle handle, int32_t index, unsigned char* buffer, int32_t capacity) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr || r->data.store == nullptr) return -1;
  return CopySpan(r->data, 0, r->data.dataLength, buffer, capacity);
}

PDF417_API int32_t PDF417_GetEciCount(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->data.eciCount : 0;
}

PDF417_API int32_t PDF417_GetEci(PDF417_Handle handle, int32_t index, int32_t k, int32_t* designator, int32_t* offset) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr || k < 0 || k >= r->data.eciCount) return -1;
  if (designator) *designator = r->data.ecis[k].designator;
  if (offset) *offset = r->data.ecis[k].offset;
  return 0;
}

PDF417_API int32_t PDF417_GetReaderInit(PDF417_Handle handle, int32_t index) {
  const pdf417::SymbolResult* r = Record(handle, index);
  return r ? r->data.readerInit : 0;
}

PDF417_API int32_t PDF417_GetMacro(PDF417_Handle handle, int32_t index, PDF417_Macro* macro) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr || macro == nullptr || macro->size < offsetof(PDF417_Macro, lastSegment) + sizeof(int32_t))
    return -1;
  const pdf417::MacroFields& m = r->data.macro;
  if (!m.present) return 0;
  PDF417_Macro full{};
  full.size = macro->size;
  full.segmentIndex = m.segmentIndex;
  full.lastSegment = m.lastSegment;
  full.segmentCount = m.segmentCount;
  full.timeStamp = m.timeStamp;
  full.fileSize = m.fileSize;
  full.checksum = m.checksum;
  std::memcpy(macro, &full, std::min<size_t>(macro->size, sizeof full));
  return 1;
}

PDF417_API int32_t PDF417_GetMacroField(PDF417_Handle handle, int32_t index, int32_t field, char* buffer,
                                        int32_t capacity) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr || !r->data.macro.present) return -1;
  const pdf417::MacroFields& m = r->data.macro;
  const pdf417::ByteSpan* spans[] = {&m.fileId, &m.fileName, &m.sender, &m.addressee};
  if (field < 0 || field >= 4 || spans[field]->length < 0) return -1;
  return CopySpan(r->data, spans[field]->offset, spans[field]->length, buffer, capacity);
}

PDF417_API int32_t PDF417_GetGeometry(PDF417_Handle handle, int32_t index, PDF417_Geometry* geometry) {
  const pdf417::SymbolResult* r = Record(handle, index);
  if (r == nullptr || geometry == nullptr || geometry->size < offsetof(PDF417_Geometry, columns) + sizeof(int32_t)) {
    return -1;
  }
  PDF417_Geometry full{};
  full.size = geometry->size;
  full.rows = r->rows;
  full.columns = r->columns;
  std::memcpy(full.outline, r->outline, sizeof full.outline);
  std::memcpy(geometry, &full, std::min<size_t>(geometry->size, sizeof full));
  return 0;
}

}  // extern "C"
