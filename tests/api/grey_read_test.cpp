// Grey pictures through PDF417_ReadGrey: what it refuses, that a clean grey
// page reads exactly as its 1-bit form, that uneven light no single
// threshold copes with is read, and a sample of the photo-like set (every
// distortion) read back to exactly the encoder's payload.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/api_results.h"
#include "factory/page_factory.h"
#include "factory/photo_factory.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::testing;
using pdf417::test::ApiResult;
using pdf417::test::TestPage;

struct GreyRead {
  int32_t status = 0;
  std::vector<ApiResult> results;
};

GreyRead ReadGrey(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride) {
  GreyRead read;
  PDF417_Handle h = PDF417_Init();
  EXPECT_NE(h, nullptr);
  read.status = PDF417_ReadGrey(h, pixels, width, height, stride);
  read.results = pdf417::test::CollectResults(h);
  PDF417_Done(h);
  return read;
}

// The page in grey: ink and paper levels given, rows `stride` bytes apart
// (the bytes after a row's pixels are 0, black, which must not be read).
std::vector<uint8_t> GreyOf(const Page& page, int stride, uint8_t ink, uint8_t paper) {
  std::vector<uint8_t> grey(static_cast<size_t>(stride) * page.height, 0);
  for (int y = 0; y < page.height; ++y)
    for (int x = 0; x < page.width; ++x) grey[static_cast<size_t>(y) * stride + x] = page.at(x, y) ? ink : paper;
  return grey;
}

TEST(ReadGrey, RefusesWhatCannotBeReadSafely) {
  const TestPage p = pdf417::test::OneSymbolPage();
  const std::vector<uint8_t> grey = GreyOf(p.page, p.page.width, 40, 215);
  const int32_t w = p.page.width, h = p.page.height;
  const struct {
    const char* name;
    const uint8_t* pixels;
    int32_t width, height, stride;
  } refused[] = {
      {"no pixels", nullptr, w, h, w},
      {"width 0", grey.data(), 0, h, w},
      {"negative height", grey.data(), w, -h, w},
      {"stride below width", grey.data(), w, h, w - 1},
      {"negative stride", grey.data(), w, h, -w},
      // Refused before a byte is read: the buffer is far smaller.
      {"over 1 GiB", grey.data(), w, (1 << 30) / w + 1, w},
  };
  PDF417_Handle handle = PDF417_Init();
  ASSERT_EQ(PDF417_ReadGrey(handle, grey.data(), w, h, w), 0);
  ASSERT_GT(PDF417_GetNumBarcodes(handle), 0);
  for (const auto& r : refused) {
    // Each refusal also releases the previous read's results.
    EXPECT_EQ(PDF417_ReadGrey(handle, r.pixels, r.width, r.height, r.stride), 0) << r.name;
    EXPECT_EQ(PDF417_GetNumBarcodes(handle), 0) << r.name;
    PDF417_ReadGrey(handle, grey.data(), w, h, w);
  }
  PDF417_Done(handle);
  EXPECT_EQ(PDF417_ReadGrey(nullptr, grey.data(), w, h, w), -1);
}

// Ink and paper at two levels: the local threshold gives back the 1-bit
// page, so every result (data, corners, directions, figures, outline) is
// the one PDF417_ReadDib gives, also with padded rows.
TEST(ReadGrey, CleanGreyPageReadsAsItsOneBitForm) {
  const TestPage p = pdf417::test::ThreeSymbolsMixedPage();
  const pdf417::test::ApiRead bits = pdf417::test::ReadDibBytes(ToDib(p.page));
  ASSERT_EQ(bits.results.size(), 3u);
  const int stride = p.page.width + 3;
  const std::vector<uint8_t> grey = GreyOf(p.page, stride, 60, 200);
  const GreyRead read = ReadGrey(grey.data(), p.page.width, p.page.height, stride);
  EXPECT_EQ(read.status, 0);
  EXPECT_TRUE(read.results == bits.results);
  for (const std::string& payload : p.payloads) {
    EXPECT_EQ(std::count_if(read.results.begin(), read.results.end(),
                            [&](const ApiResult& r) { return r.hasData && r.data == payload; }),
              1);
  }
}

// Light falling from full to a fifth across the page: the paper on the dark
// side is darker than the ink on the light side, so no single threshold
// separates them, and the local one reads both symbols.
TEST(ReadGrey, UnevenLightThatNoGlobalThresholdSeparates) {
  TestPage p{MakePage(1000, 300), {}};
  ASSERT_TRUE(pdf417::test::Place(p, pdf417::test::Options(TextPayload(50, 21), 3, 3, 3.0), 250, 150, 0));
  ASSERT_TRUE(pdf417::test::Place(p, pdf417::test::Options(NumericPayload(60, 22), 3, 2, 3.0), 750, 150, 0));
  std::vector<uint8_t> grey(p.page.dark.size());
  int brightestInk = 0, darkestPaper = 255;
  for (int y = 0; y < p.page.height; ++y)
    for (int x = 0; x < p.page.width; ++x) {
      const double light = 1.0 - 0.8 * x / (p.page.width - 1);
      const int v = static_cast<int>(std::lround(light * (p.page.at(x, y) ? 70 : 240)));
      grey[static_cast<size_t>(y) * p.page.width + x] = static_cast<uint8_t>(v);
      if (p.page.at(x, y)) {
        brightestInk = std::max(brightestInk, v);
      } else {
        darkestPaper = std::min(darkestPaper, v);
      }
    }
  ASSERT_GT(brightestInk, darkestPaper);
  const GreyRead read = ReadGrey(grey.data(), p.page.width, p.page.height, p.page.width);
  for (const std::string& payload : p.payloads) {
    EXPECT_EQ(std::count_if(read.results.begin(), read.results.end(),
                            [&](const ApiResult& r) { return r.hasData && r.data == payload; }),
              1);
  }
  std::string why;
  EXPECT_TRUE(pdf417::test::OnlyPayloads(read.results, p.payloads, &why)) << why;
}

// The first samples of every distortion of the photo-like set (perspective,
// uneven light, blur, JPEG, small modules, symbols against the border, all
// at once): each reads back exactly its payload, and nothing else decodes.
// (A symbol that both the page and its quarter turn find is reported twice,
// as on a 1-bit page.)
TEST(ReadGrey, PhotoLikeSample) {
  for (int k = 0; k < kPhotoDistortionCount; ++k) {
    const auto kind = static_cast<PhotoDistortion>(k);
    for (uint32_t i = 0; i < 3; ++i) {
      GreyPicture picture;
      std::string error;
      ASSERT_TRUE(RenderPhoto(PhotoSample(kind, i), &picture, &error)) << error;
      const GreyRead read = ReadGrey(picture.grey.data(), picture.width, picture.height, picture.width);
      int exact = 0;
      for (const ApiResult& r : read.results) {
        if (!r.hasData) continue;
        EXPECT_EQ(r.data, picture.truth.data) << PhotoDistortionName(kind) << " " << i;
        exact += r.data == picture.truth.data;
      }
      EXPECT_GE(exact, 1) << PhotoDistortionName(kind) << " " << i;
    }
  }
}

}  // namespace
