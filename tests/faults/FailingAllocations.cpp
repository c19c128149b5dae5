#include "faults/FailingAllocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

thread_local long allocationsLeft = 0;  // before the first failure, that one included; 0: none is to fail
thread_local bool isLasting = false;
thread_local bool hasFailed = false;

}  // namespace

void FailingAllocations::arm(long first, bool lasting) noexcept {
  isLasting = lasting;
  hasFailed = false;
  allocationsLeft = first;
}

bool FailingAllocations::disarm() noexcept {
  allocationsLeft = 0;
  return hasFailed;
}

/// @return whether this allocation is to fail
static bool isDue() noexcept {
  if (allocationsLeft == 0 || --allocationsLeft > 0) return false;
  if (isLasting) allocationsLeft = 1;
  hasFailed = true;
  errno = ENOMEM;
  return true;
}

#ifdef VORN_TEST_REPLACES_MALLOC
// The library and its clients are to find these, whatever the compiler makes visible.
#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
  return isDue() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return isDue() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  return isDue() ? nullptr : __libc_realloc(block, size);
}
}
#pragma GCC visibility pop
#else
void* operator new(std::size_t size) {
  void* const block = isDue() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
// A sanitizer's own would not fit the delete below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return isDue() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
#endif
