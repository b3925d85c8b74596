// Photo-like grey pictures of real symbols: a libzint symbol projected
// through a perspective map (start and stop edges not parallel, rows of
// changing height), under uneven light, blurred, with sensor noise and JPEG
// artefacts, filling most of the frame and sometimes touching its border.
// Rendering is deterministic for given options.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "factory/page_factory.h"

namespace pdf417::testing {

struct PhotoOptions {
  SymbolOptions symbol;        // data, level, columns, module width (at the symbol's centre), row height
  double keystoneDegrees = 0;  // angle between the start and stop edges (the top side the shorter when > 0)
  double sideRatio = 1;        // the start side's height over the stop side's (a turn about the vertical axis)
  double rotationDegrees = 0;  // counter-clockwise on the picture
  // Light margin kept between the symbol's outline and the picture's left,
  // top, right and bottom border, in modules; 0 puts the symbol against it.
  double margins[4] = {3, 3, 3, 3};
  double paper = 230, ink = 35;  // grey levels of paper and ink in full light
  // Light across the picture: `lightFar` of full light at the far end of a
  // linear gradient along `lightDegrees`, and a vignette that darkens the
  // corners to 1 - vignette.
  double lightFar = 1, lightDegrees = 0, vignette = 0;
  double blurSigma = 0;   // Gaussian blur, pixels
  double noiseSigma = 0;  // sensor noise, grey levels
  int jpegQuality = 0;    // 1..100: compressed and decompressed with libjpeg; 0: not
  uint32_t seed = 1;      // noise
};

// An 8-bit grey picture: 0 black, 255 white, rows top down, no padding.
struct GreyPicture {
  int width = 0, height = 0;
  std::vector<uint8_t> grey;
  SymbolTruth truth;  // the symbol's data and its body corners in picture pixels
};

// Renders one picture. Returns false (the reason in *error) when the encoder
// refuses the symbol or the picture would be larger than 4,000 pixels a side.
bool RenderPhoto(const PhotoOptions& options, GreyPicture* out, std::string* error = nullptr);

// The distortions of the photo set: each sample has mild amounts of all of
// them and a strong amount of its own.
enum class PhotoDistortion {
  kMild,         // only the mild base amounts
  kPerspective,  // 5-15 degrees of keystone between the edges, one side 5-20 % shorter than the other
  kLight,        // a gradient to 30-50 % of full light, vignette, low contrast
  kBlur,         // Gaussian blur of 0.35-0.5 module
  kJpeg,         // JPEG quality 30-50
  kSmall,        // modules of 1.5-2 pixels
  kBorder,       // one to four sides of the symbol against the picture's border
  kEverything,   // moderate amounts of all of them at once
};
inline constexpr int kPhotoDistortionCount = 8;

// Sample `index` of a distortion: payload, symbol shape and amounts drawn
// from a generator seeded by both, so every sample is reproducible.
PhotoOptions PhotoSample(PhotoDistortion kind, uint32_t index);

}  // namespace pdf417::testing
