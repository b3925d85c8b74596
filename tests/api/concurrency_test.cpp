// Reads of different pages on several threads at once, each with its own
// handle, must give exactly what the same reads give one after the other.
// scripts/tsan.sh runs these tests under ThreadSanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "api/api_results.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using namespace pdf417::testing;
using test::ApiRead;
using test::ReadDibBytes;

struct NamedDib {
  std::string name;
  std::vector<uint8_t> dib;
};

std::vector<NamedDib> Pages() {
  std::vector<NamedDib> pages;
  pages.push_back({"one symbol", ToDib(test::OneSymbolPage().page)});
  pages.push_back({"three symbols, mixed directions", ToDib(test::ThreeSymbolsMixedPage().page, false)});
  pages.push_back({"undecodable symbol", ToDib(test::UndecodableSymbolPage().page)});
  test::TestPage upsideDown{MakePage(500, 300), {}};
  test::Place(upsideDown, test::Options(NumericPayload(50, 3), 3, 3, 3.0), 250, 150, 1);
  pages.push_back({"upside down", ToDib(upsideDown.page)});
  Page noise = MakePage(400, 400);
  std::mt19937 rng(4);
  for (uint8_t& d : noise.dark) d = rng() % 2;
  pages.push_back({"noise", ToDib(noise)});
  pages.push_back({"blank", ToDib(MakePage(300, 200))});
  return pages;
}

// The tracing step is the one value a read leaves for the next (used when a
// candidate's angle does not choose a step of its own). Reads that run at
// the same time can see each other's step, so the comparison below holds for
// pages whose results do not depend on the step they start with; this test
// checks that the pages used are such pages.
TEST(Concurrency, PagesDoNotDependOnTheCarriedTracingStep) {
  std::atomic<int32_t>& step = TracingStepDirection();
  const int32_t saved = step.load();
  for (const NamedDib& p : Pages()) {
    step.store(0);
    const ApiRead fresh = ReadDibBytes(p.dib);
    for (int32_t start : {-1, 1}) {
      step.store(start);
      EXPECT_EQ(ReadDibBytes(p.dib).results, fresh.results) << p.name << " read after a step of " << start;
    }
  }
  step.store(saved);
}

// Every other round reads the page from one memory block that all threads
// share: a block is only read, so two threads may read it at once.
TEST(Concurrency, ParallelReadsGiveTheSerialResults) {
  const std::vector<NamedDib> pages = Pages();
  std::vector<ApiRead> serial;
  std::vector<PDF417_Block> blocks;
  for (const NamedDib& p : pages) {
    serial.push_back(ReadDibBytes(p.dib));
    blocks.push_back(PDF417_BlockAlloc(p.dib.size()));
    std::copy(p.dib.begin(), p.dib.end(), static_cast<uint8_t*>(PDF417_BlockLock(blocks.back())));
    PDF417_BlockUnlock(blocks.back());
  }
  const auto readBlock = [](PDF417_Block block) {
    ApiRead read;
    PDF417_Handle h = PDF417_Init();
    read.status = PDF417_Read(h, block);
    read.results = test::CollectResults(h);
    PDF417_Done(h);
    return read;
  };

  constexpr int kThreads = 4, kRounds = 3;
  std::atomic<int> reads{0}, mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round)
        for (size_t k = 0; k < pages.size(); ++k) {
          // Each thread walks the pages from a different start.
          const size_t i = (k + static_cast<size_t>(t) * 2 + static_cast<size_t>(round)) % pages.size();
          const ApiRead read = round % 2 ? readBlock(blocks[i]) : ReadDibBytes(pages[i].dib);
          ++reads;
          if (read.status != serial[i].status || !(read.results == serial[i].results)) {
            ++mismatches;
            ADD_FAILURE() << "thread " << t << ": " << pages[i].name << " differs from its serial read";
          }
        }
    });
  }
  for (std::thread& th : threads) th.join();
  for (PDF417_Block block : blocks) PDF417_BlockFree(block);
  EXPECT_EQ(mismatches.load(), 0);
  std::printf("%d parallel reads on %d threads, %d differed\n", reads.load(), kThreads, mismatches.load());
}

// Allocation failures are injected per thread: a thread whose allocations
// fail from the n-th on reads nothing (or all of it, for an n past the
// read's last allocation), and the reads on the other threads are not
// affected. The failing thread walks a fixed set of failure points and the
// clean reads run until it is through, so the two always overlap however
// the threads are scheduled.
TEST(Concurrency, AllocationFailuresOnOneThreadDoNotReachOthers) {
  const std::vector<NamedDib> pages = Pages();
  const ApiRead expected = ReadDibBytes(pages[1].dib);
  std::atomic<bool> started{false}, done{false};
  std::thread failing([&] {
    const long live = alloc_testing::Live();
    started.store(true);
    for (long n = 1; n <= 400; n += 3) {
      PDF417_Handle h = PDF417_Init();
      if (h == nullptr) continue;
      alloc_testing::FailFrom(n);
      const int32_t status = PDF417_ReadDib(h, pages[1].dib.data(), pages[1].dib.size());
      alloc_testing::Reset();
      EXPECT_TRUE(status == 0 || (status == -1 && PDF417_GetNumBarcodes(h) == 0)) << "failing from " << n;
      PDF417_Done(h);
    }
    EXPECT_EQ(alloc_testing::Live(), live);
    done.store(true);
  });
  while (!started.load()) std::this_thread::yield();
  int clean = 0;
  while (!done.load() || clean < 4) {
    EXPECT_EQ(ReadDibBytes(pages[1].dib).results, expected.results) << "read " << clean;
    ++clean;
  }
  failing.join();
}

}  // namespace
}  // namespace pdf417
