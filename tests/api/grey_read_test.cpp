// Grey pictures through PDF417_ReadGrey: what it refuses, that a clean grey
// page reads exactly as its 1-bit form, and a sample of the photo-like set
// (every distortion: perspective, uneven light no global threshold copes
// with, blur, JPEG, small modules, symbols against the border, all at once)
// read back to exactly the encoder's payload.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "api/api_results.h"
#include "factory/page_factory.h"
#include "factory/photo_factory.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::testing;
using pdf417::test::ApiRead;
using pdf417::test::ApiResult;

ApiRead ReadGrey(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride) {
  return pdf417::test::ReadWith([&](PDF417_Handle h) { return PDF417_ReadGrey(h, pixels, width, height, stride); });
}

// The page in grey, ink 60 and paper 200, rows `stride` bytes apart (the
// bytes after a row's pixels are 0, black, which must not be read).
std::vector<uint8_t> GreyOf(const Page& page, int stride) {
  std::vector<uint8_t> grey(static_cast<size_t>(stride) * page.height, 0);
  for (int y = 0; y < page.height; ++y)
    for (int x = 0; x < page.width; ++x) grey[static_cast<size_t>(y) * stride + x] = page.at(x, y) ? 60 : 200;
  return grey;
}

TEST(ReadGrey, RefusesWhatCannotBeReadSafely) {
  const Page page = pdf417::test::OneSymbolPage().page;
  const std::vector<uint8_t> grey = GreyOf(page, page.width);
  const int32_t w = page.width, h = page.height;
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
  for (const auto& r : refused) {
    // Each refusal also releases the previous read's results.
    ASSERT_EQ(PDF417_ReadGrey(handle, grey.data(), w, h, w), 0);
    ASSERT_GT(PDF417_GetNumBarcodes(handle), 0);
    EXPECT_EQ(PDF417_ReadGrey(handle, r.pixels, r.width, r.height, r.stride), 0) << r.name;
    EXPECT_EQ(PDF417_GetNumBarcodes(handle), 0) << r.name;
  }
  PDF417_Done(handle);
  EXPECT_EQ(PDF417_ReadGrey(nullptr, grey.data(), w, h, w), -1);
}

// Ink and paper at two levels: the local threshold gives back the 1-bit
// page, so every result (data, corners, directions, figures, outline) is
// the one PDF417_ReadDib gives, also with padded rows.
TEST(ReadGrey, CleanGreyPageReadsAsItsOneBitForm) {
  const pdf417::test::TestPage p = pdf417::test::ThreeSymbolsMixedPage();
  const ApiRead bits = pdf417::test::ReadDibBytes(ToDib(p.page));
  ASSERT_EQ(bits.results.size(), 3u);
  for (const std::string& payload : p.payloads) {
    EXPECT_EQ(std::count_if(bits.results.begin(), bits.results.end(), [&](const ApiResult& r) { return r.data == payload; }), 1);
  }
  const std::vector<uint8_t> grey = GreyOf(p.page, p.page.width + 3);
  const ApiRead read = ReadGrey(grey.data(), p.page.width, p.page.height, p.page.width + 3);
  EXPECT_EQ(read.status, 0);
  EXPECT_TRUE(read.results == bits.results);
}

// The first samples of every distortion of the photo-like set: each reads
// back exactly its payload, and nothing else decodes. (A symbol that both
// the page and its quarter turn find is reported twice, as on a 1-bit page.)
TEST(ReadGrey, PhotoLikeSample) {
  for (int k = 0; k < kPhotoDistortionCount; ++k) {
    const auto kind = static_cast<PhotoDistortion>(k);
    for (uint32_t i = 0; i < 3; ++i) {
      GreyPicture picture;
      std::string error;
      ASSERT_TRUE(RenderPhoto(PhotoSample(kind, i), &picture, &error)) << error;
      const ApiRead read = ReadGrey(picture.grey.data(), picture.width, picture.height, picture.width);
      int exact = 0;
      for (const ApiResult& r : read.results) {
        EXPECT_TRUE(!r.hasData || r.data == picture.truth.data) << PhotoDistortionName(kind) << " " << i;
        exact += r.hasData && r.data == picture.truth.data;
      }
      EXPECT_GE(exact, 1) << PhotoDistortionName(kind) << " " << i;
    }
  }
}

}  // namespace
