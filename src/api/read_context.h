// Everything one read works in. The stages that were designed around
// process-wide work areas get them from here instead, so independent reads
// can run on different threads at once.
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
  PassResults direct;
  PassResults turned;
};

}  // namespace pdf417
