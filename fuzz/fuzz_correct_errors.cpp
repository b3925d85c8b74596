// Reed-Solomon correction over arbitrary codeword sequences and levels, and
// over valid sequences with at most t errors, which it must undo exactly;
// the corrector that locates by the syndromes' shortest recurrence against
// the one that solves linear systems.
#include <cstdlib>
#include <memory>
#include <vector>

#include "decode/error_correction.h"
#include "factory/page_factory.h"
#include "fuzz_input.h"
#include "support/alloc.h"

namespace {

using namespace pdf417;
using namespace pdf417::fuzz;

void FreeInput(CorrectionWorkspace& ws, ByteReader& in) {
  const int32_t n = in.U16() % 1000;
  const uint8_t mRaw = in.U8(), spread = in.U8();
  // m from -7 to 510: negative and too large values must be refused.
  const int32_t m = spread % 3 == 0 ? -(mRaw % 8) : static_cast<int32_t>(mRaw) * (spread % 3);
  // Exact-size array: AddressSanitizer catches any access outside it.
  std::unique_ptr<int32_t[]> codewords(new int32_t[n]);
  for (int32_t i = 0; i < n; ++i) codewords[i] = in.U16() % 929;
  std::vector<int32_t> received(codewords.get(), codewords.get() + n), again = received;
  const int32_t result = CorrectErrors(ws, codewords.get(), n, m);
  const int32_t recurrence = CorrectToCodeword(ws, again.data(), n, m);
  if (n < 1 || n > kMaxSequenceLength || m < 0 || m > kMaxLocatingSyndromes) {
    Require(result == -1 && recurrence == -1);
    return;
  }
  Require(result >= -1 && result <= m / 2);
  for (int32_t i = 0; i < n; ++i) Require(codewords[i] >= 0 && codewords[i] < 929);
  if (result >= 0) Require(Syndrome(codewords.get(), n, m + 1) == 0);
  // Both correctors agree on every result that is a codeword (syndromes
  // 1..m+1 all 0); the recurrence corrector returns nothing else and leaves
  // what it cannot correct as it was.
  bool codeword = result >= 0;
  for (int32_t j = 1; j <= m + 1 && codeword; ++j) codeword = Syndrome(codewords.get(), n, j) == 0;
  if (codeword || recurrence >= 0) {
    Require(recurrence == result);
    for (int32_t i = 0; i < n; ++i) Require(again[i] == codewords[i]);
  } else {
    Require(recurrence == -1 && again == received);
  }
}

void ValidInput(CorrectionWorkspace& ws, ByteReader& in) {
  const int32_t level = in.U8() % 9;
  const int32_t k = 2 << level, m = (1 << level) - 1, t = m / 2;
  const int32_t dataCount = 1 + in.U16() % (kMaxSequenceLength - k);
  const int32_t errorCount = in.U8() % (t + 1);
  std::vector<std::pair<int32_t, int32_t>> errors;
  for (int32_t i = 0; i < errorCount; ++i) {
    const int32_t position = in.U16() % (dataCount + k);
    errors.emplace_back(position, 1 + in.U16() % 928);
  }
  std::vector<int32_t> data(dataCount);
  for (int32_t& c : data) c = in.U16() % 929;
  const std::vector<int32_t> clean = testing::WithErrorCorrection(data, level);
  const int32_t n = static_cast<int32_t>(clean.size());
  std::unique_ptr<int32_t[]> codewords(new int32_t[n]);
  for (int32_t i = 0; i < n; ++i) codewords[i] = clean[i];
  for (const auto& [position, value] : errors) codewords[position] = (codewords[position] + value) % 929;
  int32_t wrong = 0;
  for (int32_t i = 0; i < n; ++i) wrong += codewords[i] != clean[i];
  std::vector<int32_t> again(codewords.get(), codewords.get() + n);
  const int32_t result = CorrectErrors(ws, codewords.get(), n, m);
  Require(result == wrong && CorrectToCodeword(ws, again.data(), n, m) == wrong);
  for (int32_t i = 0; i < n; ++i) Require(codewords[i] == clean[i] && again[i] == clean[i]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  Owned<CorrectionWorkspace> ws(AllocArray<CorrectionWorkspace>(1));
  Require(ws != nullptr);
  if (in.U8() & kCorrectValid) {
    ValidInput(*ws, in);
  } else {
    FreeInput(*ws, in);
  }
  return 0;
}
