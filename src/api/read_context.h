// Everything one read works in. The stages that keep large working stores
// get them from here, so independent reads can run on different threads at
// once.
#pragma once

#include "api/result_store.h"
#include "decode/correction_workspace.h"
#include "detect/detection_workspace.h"
#include "sample/sampling_workspace.h"

namespace pdf417 {

struct ReadContext {
  DetectionWorkspace detection;
  SamplingWorkspace sampling;
  CorrectionWorkspace correction;
  ResultList results;  // the direct pass's records, then the turned pass's
  ResultList extras;   // what the further searches of both passes found
  // The page came as a grey picture (PDF417_ReadGrey): a candidate that no
  // reading by traced edges decodes is also read through its perspective,
  // as photographed symbols need. 1-bit pages are read as they always were.
  bool greyPage;
};

}  // namespace pdf417
