// High-level decoding (text, byte, numeric compaction) over arbitrary
// codeword sequences, in both readings (the classic text and the data as
// encoded): no access outside the codewords or the output buffer, and what
// is decoded always has the documented shape.
#include <cstdlib>
#include <memory>

#include "decode/error_correction.h"
#include "decode/high_level_decoder.h"
#include "fuzz_input.h"
#include "support/alloc.h"

using namespace pdf417;
using namespace pdf417::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  const int32_t n = 1 + in.U16() % 1000;
  std::unique_ptr<int32_t[]> codewords(new int32_t[n]);
  for (int32_t i = 0; i < n; ++i) codewords[i] = in.U16() % 929;
  const int32_t L = codewords[0] >= 1 && codewords[0] <= n ? codewords[0] : n;
  DecodedData decoded{};
  const int32_t dataStatus = DecodeData(codewords.get(), L, decoded);
  if (dataStatus == 0) {
    Require(decoded.store != nullptr && decoded.dataLength >= 0 && decoded.dataLength <= decoded.storeLength);
    Require(decoded.storeLength <= kTextBufferSize && decoded.eciCount >= 0 && decoded.eciCount <= L / 2);
    for (int32_t k = 0; k < decoded.eciCount; ++k) {
      Require(decoded.ecis[k].offset >= 0 && decoded.ecis[k].offset <= decoded.dataLength);
      Require(decoded.ecis[k].designator >= 0 && decoded.ecis[k].designator <= 811799);
    }
    const MacroFields& m = decoded.macro;
    for (const ByteSpan& f : {m.fileId, m.fileName, m.sender, m.addressee}) {
      Require(!m.present || f.length < 0 ||
              (f.offset >= decoded.dataLength && f.offset + f.length <= decoded.storeLength));
    }
  } else {
    Require(decoded.store == nullptr && decoded.ecis == nullptr);
  }
  FreeDecodedData(decoded);
  uint8_t* text = nullptr;
  int32_t length = -7, mode = -7;
  const int32_t status = DecodeHighLevel(codewords.get(), L, &text, &length, &mode);
  if (status != 0) {
    Require(text == nullptr && length == -7 && mode == -7);
    Require(L > kMaxSequenceLength || (status >= 1 && status <= 5) || status == kErrorByteGroup ||
            status == kErrorTextValue || status == kErrorBadLength);
    return 0;
  }
  Require(text != nullptr && L <= kMaxSequenceLength);
  Require(length >= 2 && length <= kTextBufferSize);
  Require(mode >= kModeText && mode <= kModeNumeric);
  // Touch every reported byte: AddressSanitizer checks the buffer holds them.
  Require(text[length - 1] == 0 && text[length - 2] == 0);
  FreeBytes(text);
  return 0;
}
