// Reads of different pages on several threads at once, each with its own
// handle, must give exactly what the same reads give one after the other.
// scripts/tsan.sh runs these tests under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "api/api_results.h"
#include "factory/hostile_pages.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using namespace pdf417::testing;
using test::ApiRead;
using test::ReadDibBytes;

std::vector<std::vector<uint8_t>> Pages() {
  test::TestPage upsideDown{MakePage(500, 300), {}};
  test::Place(upsideDown, test::Options(NumericPayload(50, 3), 3, 3, 3.0), 250, 150, 1);
  return {ToDib(test::OneSymbolPage().page), ToDib(test::ThreeSymbolsMixedPage().page, false),
          ToDib(test::UndecodableSymbolPage().page), ToDib(upsideDown.page), NoisePage(400, 400, 4).bytes,
          ToDib(MakePage(300, 200))};
}

// The tracing step is the one value a read leaves for the next (used when a
// candidate's angle does not choose a step of its own). Reads that run at
// the same time can see each other's step, so the comparison below holds for
// pages whose results do not depend on the step they start with; this test
// checks that the pages used are such pages.
TEST(Concurrency, PagesDoNotDependOnTheCarriedTracingStep) {
  std::atomic<int32_t>& step = TracingStepDirection();
  const int32_t saved = step.load();
  for (const std::vector<uint8_t>& dib : Pages()) {
    step.store(0);
    const ApiRead fresh = ReadDibBytes(dib);
    for (int32_t start : {-1, 1}) {
      step.store(start);
      EXPECT_EQ(ReadDibBytes(dib).results, fresh.results) << "read after a step of " << start;
    }
  }
  step.store(saved);
}

// Every other round reads the page from one memory block that all threads
// share: a block is only read, so two threads may read it at once.
TEST(Concurrency, ParallelReadsGiveTheSerialResults) {
  const std::vector<std::vector<uint8_t>> pages = Pages();
  std::vector<ApiRead> serial;
  std::vector<PDF417_Block> blocks;
  for (const std::vector<uint8_t>& dib : pages) {
    serial.push_back(ReadDibBytes(dib));
    blocks.push_back(test::BlockOf(dib));
  }
  constexpr int kThreads = 4, kRounds = 3;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round)
        for (size_t k = 0; k < pages.size(); ++k) {
          // Each thread walks the pages from a different start.
          const size_t i = (k + static_cast<size_t>(t) * 2 + static_cast<size_t>(round)) % pages.size();
          const ApiRead read = round % 2 ? test::ReadWith([&](PDF417_Handle h) { return PDF417_Read(h, blocks[i]); })
                                         : ReadDibBytes(pages[i]);
          if (read.status != serial[i].status || !(read.results == serial[i].results)) {
            ++mismatches;
            ADD_FAILURE() << "thread " << t << ": page " << i << " differs from its serial read";
          }
        }
    });
  }
  for (std::thread& th : threads) th.join();
  for (PDF417_Block block : blocks) PDF417_BlockFree(block);
  EXPECT_EQ(mismatches.load(), 0);
}

// Allocation failures are injected per thread: a thread whose allocations
// fail from the n-th on reads nothing (or all of it, for an n past the
// read's last allocation), and the reads on the other threads are not
// affected. The failing thread walks a fixed set of failure points and the
// clean reads run until it is through, so the two always overlap however
// the threads are scheduled.
TEST(Concurrency, AllocationFailuresOnOneThreadDoNotReachOthers) {
  const std::vector<uint8_t> dib = Pages()[1];
  const ApiRead expected = ReadDibBytes(dib);
  std::atomic<bool> started{false}, done{false};
  std::thread failing([&] {
    const long live = alloc_testing::Live();
    started.store(true);
    for (long n = 1; n <= 400; n += 3) {
      PDF417_Handle h = PDF417_Init();
      alloc_testing::FailFrom(n);
      const int32_t status = PDF417_ReadDib(h, dib.data(), dib.size());
      alloc_testing::Reset();
      EXPECT_TRUE(status == 0 || (status == -1 && PDF417_GetNumBarcodes(h) == 0)) << "failing from " << n;
      PDF417_Done(h);
    }
    EXPECT_EQ(alloc_testing::Live(), live);
    done.store(true);
  });
  while (!started.load()) std::this_thread::yield();
  for (int clean = 0; !done.load() || clean < 4; ++clean) EXPECT_EQ(ReadDibBytes(dib).results, expected.results) << "read " << clean;
  failing.join();
}

}  // namespace
}  // namespace pdf417
