#include "memory_budget.h"

#include <cstdio>

namespace pdf417read {

Reservation::Reservation(Reservation&& other) noexcept : budget_(other.budget_), bytes_(other.bytes_) {
  other.budget_ = nullptr;
  other.bytes_ = 0;
}

Reservation& Reservation::operator=(Reservation&& other) noexcept {
  if (this != &other) {
    if (budget_) budget_->Release(bytes_);
    budget_ = other.budget_;
    bytes_ = other.bytes_;
    other.budget_ = nullptr;
    other.bytes_ = 0;
  }
  return *this;
}

Reservation::~Reservation() {
  if (budget_) budget_->Release(bytes_);
}

Reservation MemoryBudget::Reserve(uint64_t bytes) {
  if (bytes > total_)
    throw std::runtime_error("page needs " + FormatBytes(bytes) + " of memory, more than the budget of " +
                             FormatBytes(total_) + " (--max-memory)");
  std::unique_lock lock(mutex_);
  const uint64_t ticket = nextTicket_++;
  freed_.wait(lock, [&] { return serving_ == ticket && total_ - used_ >= bytes; });
  serving_++;
  used_ += bytes;
  freed_.notify_all();  // the next ticket may fit as well
  return Reservation(this, bytes);
}

void MemoryBudget::Release(uint64_t bytes) {
  {
    std::lock_guard lock(mutex_);
    used_ -= bytes;
  }
  freed_.notify_all();
}

std::string FormatBytes(uint64_t bytes) {
  static constexpr const char* kUnits[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  double value = static_cast<double>(bytes);
  int unit = 0;
  while (value >= 1024 && unit < 4) value /= 1024, unit++;
  char text[32];
  if (unit == 0 || value >= 100 || value == static_cast<double>(static_cast<uint64_t>(value)))
    std::snprintf(text, sizeof text, "%.0f %s", value, kUnits[unit]);
  else std::snprintf(text, sizeof text, "%.1f %s", value, kUnits[unit]);
  return text;
}

}  // namespace pdf417read
