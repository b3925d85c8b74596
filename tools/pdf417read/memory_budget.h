// One memory budget shared by every page in flight: a page reserves the bytes
// its rasters will need before any of them is allocated, so --jobs N cannot
// multiply the peak, and a page larger than the whole budget is refused.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>

namespace pdf417read {

class MemoryBudget;

// Bytes taken from a budget, given back when the reservation ends. An empty
// reservation (no budget) holds nothing.
class Reservation {
 public:
  Reservation() = default;
  Reservation(Reservation&& other) noexcept;
  Reservation& operator=(Reservation&& other) noexcept;
  ~Reservation();

 private:
  friend class MemoryBudget;
  Reservation(MemoryBudget* budget, uint64_t bytes) : budget_(budget), bytes_(bytes) {}
  MemoryBudget* budget_ = nullptr;
  uint64_t bytes_ = 0;
};

class MemoryBudget {
 public:
  explicit MemoryBudget(uint64_t bytes) : total_(bytes) {}

  // Waits until `bytes` are free and takes them. Requests are served in the
  // order they were made, so a large page is not starved by small ones.
  // Throws std::runtime_error when the whole budget is smaller than bytes.
  Reservation Reserve(uint64_t bytes);

 private:
  friend class Reservation;
  void Release(uint64_t bytes);

  const uint64_t total_;
  std::mutex mutex_;
  std::condition_variable freed_;
  uint64_t used_ = 0;
  uint64_t nextTicket_ = 0, serving_ = 0;
};

// "512 KiB", "1.5 GiB": sizes for messages.
std::string FormatBytes(uint64_t bytes);

}  // namespace pdf417read
