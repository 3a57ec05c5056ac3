#include "guard_memory.h"

#include <cstdint>
#include <cstring>
#include <atomic>
#include <map>
#include <mutex>
#include <unordered_map>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace subhost::guard {
namespace {

struct Mapping {
  uint8_t *base;
  size_t pages;  // readable pages, the guard page not counted
};

size_t page_size() {
  static const size_t size = [] {
#ifdef _WIN32
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return static_cast<size_t>(info.dwPageSize);
#else
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
#endif
  }();
  return size;
}

uint8_t *map_pages(size_t pages) {
  const size_t usable = pages * page_size();
#ifdef _WIN32
  auto *base = static_cast<uint8_t *>(VirtualAlloc(nullptr, usable + page_size(), MEM_RESERVE | MEM_COMMIT,
                                                   PAGE_READWRITE));
  if (base == nullptr) return nullptr;
  DWORD old = 0;
  if (!VirtualProtect(base + usable, page_size(), PAGE_NOACCESS, &old)) {
    VirtualFree(base, 0, MEM_RELEASE);
    return nullptr;
  }
#else
  void *p = mmap(nullptr, usable + page_size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return nullptr;
  auto *base = static_cast<uint8_t *>(p);
  if (mprotect(base + usable, page_size(), PROT_NONE) != 0) {
    munmap(p, usable + page_size());
    return nullptr;
  }
#endif
  return base;
}

// Live blocks by the pointer handed out, and mappings kept for reuse by their
// page count (mapping and protecting pages for every string is slow).
std::unordered_map<const void *, Mapping> &live() {
  static std::unordered_map<const void *, Mapping> blocks;
  return blocks;
}
std::multimap<size_t, uint8_t *> &spare() {
  static std::multimap<size_t, uint8_t *> mappings;
  return mappings;
}

// Host threads allocate and free at once: the two tables are kept under one
// lock, and a count of live blocks lets a free outside guard mode skip it.
std::mutex &tables_lock() {
  static std::mutex m;
  return m;
}
std::atomic<size_t> gLive{0};

}  // namespace

void *alloc(size_t n) {
  const size_t pages = n / page_size() + 1;
  if (pages > (SIZE_MAX / page_size()) - 1) return nullptr;
  const std::lock_guard<std::mutex> hold(tables_lock());
  uint8_t *base = nullptr;
  auto it = spare().find(pages);
  if (it != spare().end()) {
    base = it->second;
    spare().erase(it);
  } else {
    base = map_pages(pages);
    if (base == nullptr) return nullptr;
  }
  uint8_t *p = base + pages * page_size() - n;
  std::memset(p, 0, n);
  live()[p] = Mapping{base, pages};
  gLive.fetch_add(1, std::memory_order_relaxed);
  return p;
}

bool owns(const void *p) {
  if (p == nullptr || gLive.load(std::memory_order_relaxed) == 0) return false;
  const std::lock_guard<std::mutex> hold(tables_lock());
  return live().count(p) != 0;
}

void release(void *p) {
  const std::lock_guard<std::mutex> hold(tables_lock());
  auto it = live().find(p);
  if (it == live().end()) return;
  spare().emplace(it->second.pages, it->second.base);
  live().erase(it);
  gLive.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace subhost::guard
