#include "api/result_store.h"

#include "support/alloc.h"

namespace pdf417 {

SymbolResult* AppendResult(ResultList& list) {
  if (list.count == list.capacity) {
    // Most pages hold a few symbols; label sheets hold a few hundred.
    const int64_t grown = list.capacity == 0 ? 8 : 2 * int64_t{list.capacity};
    if (grown > INT32_MAX) return nullptr;
    SymbolResult* records = ResizeArray(list.records, static_cast<size_t>(list.capacity), static_cast<size_t>(grown));
    if (records == nullptr) return nullptr;
    list.records = records;
    list.capacity = static_cast<int32_t>(grown);
  }
  return &list.records[list.count++];
}

void FreeResults(ResultList& list) {
  for (int32_t i = 0; i < list.count; ++i) FreeDecodedData(list.records[i].data);
  FreeBytes(list.records);
  list = ResultList{};
}

}  // namespace pdf417
