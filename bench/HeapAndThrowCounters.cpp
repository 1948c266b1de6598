// Counting replacements of the global allocation functions and of the C++
// runtime's throw entry point, for the benchmark program only.
//
// Allocations: replacing every form of global operator new / delete in the
// executable replaces them for the whole process, the shared library and
// OpenCV included, as the language allows. Memory that OpenCV takes with its
// own allocator (cv::Mat blocks) or with malloc is not counted.
//
// Exceptions: every `throw` compiles to a call to __cxa_throw. Wrapping it with
// the linker's --wrap would only catch the calls linked statically into this
// program, not those inside libvideodevice.so (the default build is shared),
// so the program defines __cxa_throw itself: the dynamic linker binds every
// module's call to the executable's definition first, which counts and then
// hands over to the next definition in lookup order (the C++ runtime's, or a
// sanitizer's interceptor), found with dlsym(RTLD_NEXT).

#include "HeapAndThrowCounters.h"

#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<std::uint64_t> gAllocations{0};
std::atomic<std::uint64_t> gThrows{0};

void* allocate(std::size_t size, std::size_t alignment) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  if (size == 0) size = 1;
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
  for (;;) {
    void* block = nullptr;
    if (alignment == sizeof(void*) ? (block = std::malloc(size)) != nullptr
                                   : posix_memalign(&block, alignment, size) == 0)
      return block;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void* allocateNoThrow(std::size_t size, std::size_t alignment) noexcept {
  try {
    return allocate(size, alignment);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// The exception's type goes through as std::type_info*; GCC's own implicit
// declaration, which this definition must match, spells it void*.
using ThrowFunction = void (*)(void*, void*, void (*)(void*));

ThrowFunction nextThrow() {
  // dlsym hands back an object pointer; copy its bits into the function
  // pointer rather than cast between the two kinds.
  void* symbol = dlsym(RTLD_NEXT, "__cxa_throw");
  ThrowFunction function = nullptr;
  static_assert(sizeof function == sizeof symbol, "function and object pointers differ in size");
  std::memcpy(&function, &symbol, sizeof function);
  return function;
}

}  // namespace

namespace bench {

std::uint64_t heapAllocations() { return gAllocations.load(std::memory_order_relaxed); }
std::uint64_t thrownExceptions() { return gThrows.load(std::memory_order_relaxed); }

}  // namespace bench

constexpr std::size_t kPlain = alignof(std::max_align_t);

void* operator new(std::size_t size) { return allocate(size, kPlain); }
void* operator new[](std::size_t size) { return allocate(size, kPlain); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size, kPlain);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size, kPlain);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(block);
}

extern "C" [[noreturn]] void __cxa_throw(void* thrown, void* type, void (*destroy)(void*)) {
  static const ThrowFunction next = nextThrow();
  gThrows.fetch_add(1, std::memory_order_relaxed);
  if (next == nullptr) std::abort();  // no C++ runtime loaded: nothing could be thrown
  next(thrown, type, destroy);
  __builtin_unreachable();
}
