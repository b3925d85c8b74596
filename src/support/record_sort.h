// Sorting records with an order of equal keys that this code fixes, not the
// standard library: the selection of traced edges sorts by length, and which
// of several equally long edges come first decides what is read. An
// introsort: a median of three moved to the front as the pivot, an unguarded
// two-way partition, the right part taken by recursion and the left one by
// the loop; ranges of 16 records or fewer are left to one insertion sort at
// the end, and a range still longer than that after 2 floor(log2 n) levels
// is heap-sorted. Equal keys come out in the order GNU libstdc++'s std::sort
// gives them, the order the selection has always had.
#pragma once

#include <cstddef>
#include <utility>

namespace pdf417 {
namespace record_sort {

inline constexpr std::ptrdiff_t kInsertionRange = 16;

template <class T, class Less>
void MoveMedianToFirst(T* result, T* a, T* b, T* c, Less& less) {
  T* median;
  if (less(*a, *b)) {
    median = less(*b, *c) ? b : less(*a, *c) ? c : a;
  } else {
    median = less(*a, *c) ? a : less(*b, *c) ? c : b;
  }
  std::swap(*result, *median);
}

template <class T, class Less>
T* PartitionAroundFirst(T* first, T* last, Less& less) {
  T* const pivot = first;
  ++first;
  for (;;) {
    while (less(*first, *pivot)) ++first;
    --last;
    while (less(*pivot, *last)) --last;
    if (!(first < last)) return first;
    std::swap(*first, *last);
    ++first;
  }
}

// Moves *at down past every greater record before it; something not
// greater stands before it.
template <class T, class Less>
void InsertUnguarded(T* at, Less& less) {
  T value = std::move(*at);
  T* next = at - 1;
  while (less(value, *next)) {
    *at = std::move(*next);
    at = next;
    --next;
  }
  *at = std::move(value);
}

template <class T, class Less>
void InsertionSort(T* first, T* last, Less& less) {
  if (first == last) return;
  for (T* i = first + 1; i != last; ++i) {
    if (less(*i, *first)) {
      T value = std::move(*i);
      for (T* j = i; j != first; --j) *j = std::move(*(j - 1));
      *first = std::move(value);
    } else {
      InsertUnguarded(i, less);
    }
  }
}

// Sifts the record at hole down the max-heap first[0..n) and back up, as
// the heap is built and emptied.
template <class T, class Less>
void AdjustHeap(T* first, std::ptrdiff_t hole, std::ptrdiff_t n, T value, Less& less) {
  const std::ptrdiff_t top = hole;
  std::ptrdiff_t child = hole;
  while (child < (n - 1) / 2) {
    child = 2 * (child + 1);
    if (less(first[child], first[child - 1])) --child;
    first[hole] = std::move(first[child]);
    hole = child;
  }
  if ((n & 1) == 0 && child == (n - 2) / 2) {
    child = 2 * (child + 1);
    first[hole] = std::move(first[child - 1]);
    hole = child - 1;
  }
  std::ptrdiff_t parent = (hole - 1) / 2;
  while (hole > top && less(first[parent], value)) {
    first[hole] = std::move(first[parent]);
    hole = parent;
    parent = (hole - 1) / 2;
  }
  first[hole] = std::move(value);
}

template <class T, class Less>
void HeapSort(T* first, T* last, Less& less) {
  const std::ptrdiff_t n = last - first;
  if (n < 2) return;
  for (std::ptrdiff_t parent = (n - 2) / 2;; --parent) {
    AdjustHeap(first, parent, n, std::move(first[parent]), less);
    if (parent == 0) break;
  }
  for (std::ptrdiff_t end = n - 1; end > 0; --end) {
    T value = std::move(first[end]);
    first[end] = std::move(first[0]);
    AdjustHeap(first, std::ptrdiff_t{0}, end, std::move(value), less);
  }
}

template <class T, class Less>
void IntroLoop(T* first, T* last, int depth, Less& less) {
  while (last - first > kInsertionRange) {
    if (depth == 0) {
      HeapSort(first, last, less);
      return;
    }
    --depth;
    MoveMedianToFirst(first, first + 1, first + (last - first) / 2, last - 1, less);
    T* cut = PartitionAroundFirst(first, last, less);
    IntroLoop(cut, last, depth, less);
    last = cut;
  }
}

}  // namespace record_sort

// Sorts [first, last) by less (a strict weak order).
template <class T, class Less>
void SortRecords(T* first, T* last, Less less) {
  if (last - first < 2) return;
  int depth = 0;
  for (std::ptrdiff_t n = last - first; n > 1; n >>= 1) depth += 2;
  record_sort::IntroLoop(first, last, depth, less);
  if (last - first > record_sort::kInsertionRange) {
    record_sort::InsertionSort(first, first + record_sort::kInsertionRange, less);
    for (T* i = first + record_sort::kInsertionRange; i != last; ++i) record_sort::InsertUnguarded(i, less);
  } else {
    record_sort::InsertionSort(first, last, less);
  }
}

}  // namespace pdf417
