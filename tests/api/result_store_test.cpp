// The result store and the exported getters, fed directly with pass records.
#include <gtest/gtest.h>

#include <cstring>

#include "api/candidate_driver.h"
#include "api/result_store.h"
#include "pdf417/pdf417.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

struct HandleOwner {
  PDF417_Handle h = PDF417_Init();
  ~HandleOwner() { PDF417_Done(h); }
};

SymbolResult Record(int32_t base, const char* text, int32_t length, int32_t direction) {
  SymbolResult r{};
  for (int i = 0; i < 8; ++i) r.corners[i] = base + i;
  std::memcpy(r.text, text, std::strlen(text) + 1);
  r.textLength = length;
  r.direction = direction;
  r.errorCorrectionLevel = 7;
  r.mode = 12;
  r.confidence = 100;
  return r;
}

TEST(ResultStore, CopiesDirectThenTurnedWithXAndYExchanged) {
  Owned<PassResults> direct(AllocArray<PassResults>(1)), turned(AllocArray<PassResults>(1));
  direct->count = 1;
  direct->records[0] = Record(10, "AB", 4, 0);
  turned->count = 2;
  turned->records[0] = Record(100, "?", 2, 2);
  turned->records[1] = Record(200, "XYZ", 5, 3);
  HandleOwner owner;
  ASSERT_EQ(StoreResults(*owner.h, direct.get(), turned.get()), 0);
  ASSERT_EQ(PDF417_GetNumBarcodes(owner.h), 3);

  int32_t c[8];
  PDF417_GetCoordinates(owner.h, 0, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(c[i], 10 + i);
  PDF417_GetCoordinates(owner.h, 2, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
  const int32_t exchanged[8] = {201, 200, 203, 202, 205, 204, 207, 206};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(c[i], exchanged[i]);

  unsigned char text[2000];
  std::memset(text, 0x55, sizeof text);
  int32_t length = -1;
  PDF417_GetSymbolText(owner.h, 2, &length, text);
  EXPECT_EQ(length, 5);
  EXPECT_EQ(std::memcmp(text, "XYZ\0\0", 5), 0);
  EXPECT_EQ(text[5], 0x55);  // exactly length bytes are written
  EXPECT_EQ(PDF417_GetDirection(owner.h, 1), 2);
  EXPECT_EQ(PDF417_GetErrorCorrectionLevel(owner.h, 2), 7);
  EXPECT_EQ(PDF417_GetMode(owner.h, 2), 12);
  EXPECT_EQ(PDF417_GetConfidence(owner.h, 2), 100);
}

TEST(ResultStore, TextAfterFirstZeroByteReadsBackAsZeros) {
  Owned<PassResults> direct(AllocArray<PassResults>(1));
  direct->count = 1;
  direct->records[0] = Record(0, "", 0, 0);
  std::memcpy(direct->records[0].text, "A\0B", 4);  // decoded text "A\0B": 3 bytes + 2
  direct->records[0].textLength = 5;
  HandleOwner owner;
  StoreResults(*owner.h, direct.get(), nullptr);
  unsigned char text[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  int32_t length = 0;
  PDF417_GetSymbolText(owner.h, 0, &length, text);
  EXPECT_EQ(length, 5);
  const unsigned char expected[8] = {'A', 0, 0, 0, 0, 9, 9, 9};
  EXPECT_EQ(std::memcmp(text, expected, 8), 0);
}

TEST(ResultStore, OutOfRangeIndexesWriteNothingAndReturnZero) {
  Owned<PassResults> direct(AllocArray<PassResults>(1));
  direct->count = 1;
  direct->records[0] = Record(1, "Q", 3, 1);
  HandleOwner owner;
  StoreResults(*owner.h, direct.get(), nullptr);
  for (int32_t index : {-1, 1, 1000, INT32_MIN}) {
    int32_t v = 77, length = 77;
    unsigned char text[4] = {1, 2, 3, 4};
    EXPECT_EQ(PDF417_GetSymbolText(owner.h, index, &length, text), 0);
    EXPECT_EQ(length, 77);
    EXPECT_EQ(text[0], 1);
    EXPECT_EQ(PDF417_GetCoordinates(owner.h, index, &v, &v, &v, &v, &v, &v, &v, &v), 0);
    EXPECT_EQ(v, 77);
    EXPECT_EQ(PDF417_GetDirection(owner.h, index), 0);
    EXPECT_EQ(PDF417_GetErrorCorrectionLevel(owner.h, index), 0);
    EXPECT_EQ(PDF417_GetMode(owner.h, index), 0);
    EXPECT_EQ(PDF417_GetConfidence(owner.h, index), 0);
  }
  EXPECT_EQ(PDF417_GetDirection(owner.h, 0), 1);
}

TEST(CandidateDriver, CornerShiftHalfTurnAndDeskew) {
  SymbolReadRequest r{};
  const uint32_t corners[8] = {100, 40, 95, 60, 200, 38, 210, 61};
  std::memcpy(r.working, corners, sizeof corners);
  ShiftCorners(r, 10);  // box starts at (95, 38)
  EXPECT_EQ(r.working[0], 15u);
  EXPECT_EQ(r.working[1], 12u);
  EXPECT_EQ(r.working[2], 10u);
  EXPECT_EQ(r.working[5], 10u);

  // Point reflection in a 136 x 44 region, renumbered 3, 2, 1, 0.
  uint32_t before[8];
  std::memcpy(before, r.working, sizeof before);
  TurnCorners180(r, 136, 44);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(r.working[2 * k], 135 - before[2 * (3 - k)]);
    EXPECT_EQ(r.working[2 * k + 1], 43 - before[2 * (3 - k) + 1]);
  }
  // Coordinates are taken modulo 65536.
  SymbolReadRequest far{};
  far.working[6] = 200;
  TurnCorners180(far, 100, 50);
  EXPECT_EQ(far.working[0], 65535u - 100u);

  const std::pair<double, double> angles[] = {{0, 0}, {10, 350}, {350, 10}, {90, 270}};
  for (auto [a, d] : angles) EXPECT_EQ(DeskewAngle(a), d) << a;
}

}  // namespace
}  // namespace pdf417
