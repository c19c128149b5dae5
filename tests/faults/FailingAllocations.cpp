#include "faults/FailingAllocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__has_feature)
#define VORN_HAS_FEATURE(feature) __has_feature(feature)
#else
#define VORN_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || VORN_HAS_FEATURE(address_sanitizer) || \
    VORN_HAS_FEATURE(thread_sanitizer)
#define VORN_OWN_MALLOC 0
#else
#define VORN_OWN_MALLOC 1
#endif

namespace {

thread_local long allocationsLeft = 0;  // before the first failure, that one included; 0: none is to fail
thread_local bool lasting = false;
thread_local bool hasFailed = false;
std::atomic<long> failures{0};

}  // namespace

bool FailingAllocations::nothrowFails = false;
const bool FailingAllocations::kReachesMalloc = VORN_OWN_MALLOC != 0;

FailingAllocations::FailingAllocations(long first, Extent extent) noexcept {
  lasting = extent == Extent::Lasting, hasFailed = false, allocationsLeft = first;
}

FailingAllocations::~FailingAllocations() {
  allocationsLeft = 0;
}

void FailingAllocations::untilThreadEnds() noexcept {
  lasting = true, hasFailed = false, allocationsLeft = 1;
}

bool FailingAllocations::struck() noexcept {
  return hasFailed;
}

long FailingAllocations::total() noexcept {
  return failures;
}

bool FailingAllocations::isDue() noexcept {
  if (allocationsLeft == 0) return false;
  if (allocationsLeft > 1) return --allocationsLeft, false;
  if (!lasting) allocationsLeft = 0;
  ++failures;
  return hasFailed = true;
}

#if VORN_OWN_MALLOC
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

static void* none() {
  return errno = ENOMEM, nullptr;
}
void* malloc(std::size_t size) {
  return FailingAllocations::isDue() ? none() : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return FailingAllocations::isDue() ? none() : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  return FailingAllocations::isDue() ? none() : __libc_realloc(block, size);
}
}
static void* allocate(std::size_t size) {
  return malloc(size);
}
#else
static void* allocate(std::size_t size) {
  return FailingAllocations::isDue() ? nullptr : std::malloc(size);
}
#endif

void* operator new(std::size_t size) {
  void* const block = allocate(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
// A sanitizer's own would not fit the delete below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return FailingAllocations::nothrowFails ? nullptr : allocate(size == 0 ? 1 : size);
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
