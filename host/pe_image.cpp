#include "pe_image.h"

#if defined(_WIN32)
#include <stdexcept>

// Windows loads the library itself.
namespace subhost {
bool PEImage::is_pe(const std::string &) { return false; }
PEImage::PEImage(const std::string &path) { throw std::runtime_error("PE: not loaded by the host on Windows: " + path); }
PEImage::~PEImage() = default;
void *PEImage::symbol(const char *) const { return nullptr; }
}  // namespace subhost
#else
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cfenv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string_view>

namespace subhost {
namespace {

constexpr uint16_t kMachineArm64 = 0xAA64;
#if defined(__aarch64__)
constexpr bool kRunsArm64 = true;
#else
constexpr bool kRunsArm64 = false;  // the image's code cannot run here
#endif
constexpr uint16_t kPE32Plus = 0x20B;
constexpr uint16_t kDllFlag = 0x2000;
constexpr uint32_t kDirExport = 0, kDirImport = 1, kDirBaseReloc = 5, kDirTls = 9;
constexpr uint32_t kExecute = 0x20000000, kRead = 0x40000000, kWrite = 0x80000000;
constexpr uint32_t kProcessDetach = 0, kProcessAttach = 1;

[[noreturn]] void fail(const std::string &why) { throw std::runtime_error("PE: " + why); }

// Bounds-checked reads of the file's bytes.
struct Bytes {
  std::string_view all;
  template <class T>
  T get(uint64_t at) const {
    if (at > all.size() || all.size() - at < sizeof(T)) fail("the file ends inside a header");
    T v;
    std::memcpy(&v, all.data() + at, sizeof v);
    return v;
  }
  std::string_view slice(uint64_t at, uint64_t n) const {
    if (at > all.size() || all.size() - at < n) fail("a section's bytes lie outside the file");
    return all.substr(at, n);
  }
};

// The system's thread-local slots (kernel32's TlsAlloc family) for the
// images this host loads. A slot belongs to the image whose code asked for
// it and is given back when that image unloads; its generation changes on
// every allocation, so that a thread's value from an earlier owner reads as
// null, as a fresh slot does on Windows.
constexpr uint32_t kSlots = 1088;  // as many as Windows offers a process
constexpr uint32_t kNoSlot = 0xFFFFFFFF;
struct SlotOwner {
  const uint8_t *lo = nullptr, *hi = nullptr;
};
std::mutex gSlotsMutex;
SlotOwner gSlotOwner[kSlots];
std::atomic<uint64_t> gSlotGeneration[kSlots];
struct ThreadSlot {
  uint64_t generation = 0;
  void *value = nullptr;
};
thread_local ThreadSlot tSlots[kSlots];

struct LiveImage {
  const uint8_t *lo, *hi;
};
std::vector<LiveImage> gLiveImages;  // guarded by gSlotsMutex

uint32_t tls_alloc_for(const void *caller) {
  const auto *from = static_cast<const uint8_t *>(caller);
  const std::lock_guard<std::mutex> lock(gSlotsMutex);
  const auto image = std::find_if(gLiveImages.begin(), gLiveImages.end(),
                                  [&](const LiveImage &i) { return from >= i.lo && from < i.hi; });
  if (image == gLiveImages.end()) return kNoSlot;
  for (uint32_t k = 0; k < kSlots; ++k) {
    if (gSlotOwner[k].lo == nullptr) {
      gSlotOwner[k] = {image->lo, image->hi};
      gSlotGeneration[k].fetch_add(1, std::memory_order_release);
      return k;
    }
  }
  return kNoSlot;
}
extern "C" uint32_t ztk_win_TlsAlloc() { return tls_alloc_for(__builtin_return_address(0)); }
extern "C" void *ztk_win_TlsGetValue(uint32_t slot) {
  if (slot >= kSlots) return nullptr;
  const ThreadSlot &s = tSlots[slot];
  return s.generation == gSlotGeneration[slot].load(std::memory_order_acquire) ? s.value : nullptr;
}
extern "C" int ztk_win_TlsSetValue(uint32_t slot, void *value) {
  if (slot >= kSlots) return 0;
  tSlots[slot] = {gSlotGeneration[slot].load(std::memory_order_acquire), value};
  return 1;
}
extern "C" uint32_t ztk_win_GetCurrentThreadId() { return static_cast<uint32_t>(syscall(SYS_gettid)); }
extern "C" uint64_t ztk_win_GetTickCount64() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<uint64_t>(t.tv_sec) * 1000u + static_cast<uint64_t>(t.tv_nsec) / 1000000u;
}

// The Universal C Runtime's rounding-mode values.
extern "C" int ztk_win_fegetround() {
  switch (std::fegetround()) {
    case FE_TONEAREST: return 0x000;
#if defined(FE_DOWNWARD)
    case FE_DOWNWARD: return 0x100;
#endif
#if defined(FE_UPWARD)
    case FE_UPWARD: return 0x200;
#endif
#if defined(FE_TOWARDZERO)
    case FE_TOWARDZERO: return 0x300;
#endif
    default: return -1;
  }
}

#if defined(__aarch64__)
// A format as glibc reads it: Windows' `long` is 32 bits, so an `l` before
// an integer conversion names an int, and `long double` is a double, so an
// `L` before a floating conversion names nothing.
std::string linux_format(const char *format) {
  std::string out;
  for (const char *p = format; *p != '\0';) {
    if (*p != '%') {
      out += *p++;
      continue;
    }
    out += *p++;
    while (*p != '\0' && std::strchr("-+ #0'", *p) != nullptr) out += *p++;
    while (*p != '\0' && (std::strchr("0123456789.*", *p) != nullptr)) out += *p++;
    std::string length;
    while (*p != '\0' && std::strchr("hlLjzt", *p) != nullptr) length += *p++;
    const char conversion = *p;
    if (length == "l" && conversion != '\0' && std::strchr("diouxX", conversion) != nullptr) length.clear();
    if (length == "L" && conversion != '\0' && std::strchr("aAeEfFgG", conversion) != nullptr) length.clear();
    out += length;
    if (conversion != '\0') out += *p++;
  }
  return out;
}

// The runtime's one formatter. Windows' arm64 va_list points at 8-byte
// slots, one per argument, doubles included (the variadic ones travel in
// general registers, which the callee spills beside the stacked ones); the
// procedure call standard's va_list is given those slots as its stack area
// with its register areas used up, so vsnprintf reads every argument from
// there. Option bit 2 asks for C99 results; without it, a cut output
// answers -1 as the runtime's legacy behaviour does.
struct ArgumentList {
  void *stack, *grTop, *vrTop;
  int32_t grOffset, vrOffset;
};
static_assert(sizeof(ArgumentList) == sizeof(va_list), "the arm64 va_list layout");
extern "C" int ztk_win_stdio_common_vsprintf(uint64_t options, char *buffer, size_t size, const char *format,
                                             void *, char *slots) {
  const ArgumentList list{slots, nullptr, nullptr, 0, 0};
  va_list args;
  std::memcpy(static_cast<void *>(&args), &list, sizeof list);
  const std::string own = linux_format(format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the plugin's format, rewritten
  const int n = std::vsnprintf(buffer, size, own.c_str(), args);
#pragma GCC diagnostic pop
  if ((options & 2) == 0 && n >= 0 && static_cast<size_t>(n) >= size) return -1;
  return n;
}
#endif

#if !defined(__aarch64__)
// Bound where ARM64 images never run, so that the list is the same everywhere.
[[noreturn]] void not_bound() {
  std::fputs("PE image: an import without an implementation was called\n", stderr);
  std::abort();
}
#endif

struct Import {
  const char *dll, *name;
  const void *address;
};

#define ZTK_IMPORT(dll, name, address) {dll, name, reinterpret_cast<const void *>(address)}
const void *find_import(std::string_view dll, std::string_view name) {
  static const Import imports[] = {
      ZTK_IMPORT("api-ms-win-crt-heap-l1-1-0.dll", "malloc", &malloc),
      ZTK_IMPORT("api-ms-win-crt-heap-l1-1-0.dll", "calloc", &calloc),
      ZTK_IMPORT("api-ms-win-crt-heap-l1-1-0.dll", "realloc", &realloc),
      ZTK_IMPORT("api-ms-win-crt-heap-l1-1-0.dll", "free", &free),
      ZTK_IMPORT("api-ms-win-crt-string-l1-1-0.dll", "memset", &memset),
      ZTK_IMPORT("api-ms-win-crt-string-l1-1-0.dll", "strlen", &strlen),
      ZTK_IMPORT("api-ms-win-crt-string-l1-1-0.dll", "strnlen", &strnlen),
      ZTK_IMPORT("api-ms-win-crt-utility-l1-1-0.dll", "rand", &rand),
      ZTK_IMPORT("api-ms-win-crt-utility-l1-1-0.dll", "srand", &srand),
      ZTK_IMPORT("api-ms-win-crt-time-l1-1-0.dll", "_time64", &time),  // time_t is 64 bits on both
      ZTK_IMPORT("api-ms-win-crt-runtime-l1-1-0.dll", "fegetround", &ztk_win_fegetround),
#if defined(__aarch64__)
      ZTK_IMPORT("api-ms-win-crt-stdio-l1-1-0.dll", "__stdio_common_vsprintf", &ztk_win_stdio_common_vsprintf),
#else
      ZTK_IMPORT("api-ms-win-crt-stdio-l1-1-0.dll", "__stdio_common_vsprintf", &not_bound),
#endif
      ZTK_IMPORT("kernel32.dll", "GetCurrentThreadId", &ztk_win_GetCurrentThreadId),
      ZTK_IMPORT("kernel32.dll", "GetTickCount64", &ztk_win_GetTickCount64),
      ZTK_IMPORT("kernel32.dll", "TlsAlloc", &ztk_win_TlsAlloc),
      ZTK_IMPORT("kernel32.dll", "TlsGetValue", &ztk_win_TlsGetValue),
      ZTK_IMPORT("kernel32.dll", "TlsSetValue", &ztk_win_TlsSetValue),
  };
  for (const Import &i : imports) {
    // DLL names are not case-sensitive on Windows.
    if (name == i.name && dll.size() == std::strlen(i.dll) &&
        std::equal(dll.begin(), dll.end(), i.dll, [](char a, char b) { return std::tolower(a) == b; })) {
      return i.address;
    }
  }
  return nullptr;
}
#undef ZTK_IMPORT

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("cannot open " + path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct Section {
  std::string name;
  uint32_t vaddr, vsize, rawSize, rawAt, flags;
};

}  // namespace

bool PEImage::is_pe(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  char head[2] = {};
  return in.read(head, 2) && head[0] == 'M' && head[1] == 'Z';
}

PEImage::PEImage(const std::string &path) {
  const std::string contents = read_file(path);
  const Bytes file{contents};
  if (file.get<uint16_t>(0) != 0x5A4D) fail("no DOS header");
  const uint32_t pe = file.get<uint32_t>(0x3C);
  if (file.get<uint32_t>(pe) != 0x00004550) fail("no PE signature");
  const uint16_t machine = file.get<uint16_t>(pe + 4);
  if (machine != kMachineArm64) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "%04X", machine);
    fail(std::string("the image is for machine 0x") + hex + ", not ARM64");
  }
  const uint16_t nsections = file.get<uint16_t>(pe + 6);
  const uint16_t optionalSize = file.get<uint16_t>(pe + 20);
  if ((file.get<uint16_t>(pe + 22) & kDllFlag) == 0) fail("the image is not a DLL");
  const uint64_t opt = pe + 24;
  if (file.get<uint16_t>(opt) != kPE32Plus) fail("the image is not PE32+");
  if (optionalSize < 112) fail("the optional header is too short");
  entry_ = file.get<uint32_t>(opt + 16);
  const uint32_t imageSize = file.get<uint32_t>(opt + 56), headersSize = file.get<uint32_t>(opt + 60);
  const uint32_t ndirs = file.get<uint32_t>(opt + 108);
  if (112 + uint64_t{ndirs} * 8 > optionalSize) fail("the data directories overrun the optional header");
  auto directory = [&](uint32_t k) -> std::pair<uint32_t, uint32_t> {
    if (k >= ndirs) return {0, 0};
    return {file.get<uint32_t>(opt + 112 + 8 * k), file.get<uint32_t>(opt + 116 + 8 * k)};
  };
  if (directory(kDirTls).second != 0) fail("the image has static thread-local storage, which is not supported");
  std::vector<Section> sections;
  for (uint32_t k = 0; k < nsections; ++k) {
    const uint64_t at = opt + optionalSize + 40 * uint64_t{k};
    char name[9] = {};
    std::memcpy(name, file.slice(at, 8).data(), 8);
    Section s{name, file.get<uint32_t>(at + 12), file.get<uint32_t>(at + 8), file.get<uint32_t>(at + 16),
              file.get<uint32_t>(at + 20), file.get<uint32_t>(at + 36)};
    if (uint64_t{s.vaddr} + std::max(s.vsize, s.rawSize) > imageSize) fail("section " + s.name + " lies outside the image");
    file.slice(s.rawAt, std::min(s.vsize, s.rawSize));  // within the file
    sections.push_back(s);
  }
  if (sections.empty()) fail("the image has no sections");
  if (!kRunsArm64) fail("ARM64 code runs only on arm64");
  if (imageSize == 0 || imageSize > (1u << 30) || headersSize > imageSize) fail("the image's size is not sensible");

  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  mapSize_ = (size_t{imageSize} + page - 1) / page * page;
  void *map = mmap(nullptr, mapSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) fail("cannot map " + std::to_string(mapSize_) + " bytes");
  map_ = static_cast<uint8_t *>(map);
  try {
    std::memcpy(map_, file.slice(0, std::min<uint64_t>(headersSize, contents.size())).data(),
                std::min<uint64_t>(headersSize, contents.size()));
    for (const Section &s : sections) {
      const uint32_t n = std::min(s.vsize, s.rawSize);
      if (n > 0) std::memcpy(map_ + s.vaddr, file.slice(s.rawAt, n).data(), n);
    }
    // A range of the mapped image, checked.
    auto at = [&](uint64_t rva, uint64_t n) -> uint8_t * {
      if (rva > imageSize || imageSize - rva < n) fail("a table points outside the image");
      return map_ + rva;
    };
    auto u16 = [&](uint64_t rva) { uint16_t v; std::memcpy(&v, at(rva, 2), 2); return v; };
    auto u32 = [&](uint64_t rva) { uint32_t v; std::memcpy(&v, at(rva, 4), 4); return v; };
    auto u64 = [&](uint64_t rva) { uint64_t v; std::memcpy(&v, at(rva, 8), 8); return v; };
    auto cstring = [&](uint64_t rva) {
      const uint8_t *p = at(rva, 1);
      const void *end = std::memchr(p, 0, imageSize - rva);
      if (end == nullptr) fail("a name has no end");
      return std::string_view(reinterpret_cast<const char *>(p), static_cast<const uint8_t *>(end) - p);
    };

    // Base relocations: each 64-bit slot moves by the distance from the
    // preferred base.
    const uint64_t delta = reinterpret_cast<uintptr_t>(map_) - file.get<uint64_t>(opt + 24);
    const auto [relocAt, relocSize] = directory(kDirBaseReloc);
    for (uint64_t block = relocAt; block < uint64_t{relocAt} + relocSize;) {
      const uint32_t pageRva = u32(block), blockSize = u32(block + 4);
      if (blockSize < 8 || blockSize % 2 != 0) fail("a relocation block has a wrong size");
      for (uint64_t e = block + 8; e < block + blockSize; e += 2) {
        const uint16_t entry = u16(e);
        const uint32_t type = entry >> 12, offset = entry & 0xFFF;
        if (type == 0) continue;  // padding
        if (type != 10) fail("relocation type " + std::to_string(type) + " is not a 64-bit address");
        uint8_t *slot = at(uint64_t{pageRva} + offset, 8);
        uint64_t v;
        std::memcpy(&v, slot, 8);
        v += delta;
        std::memcpy(slot, &v, 8);
      }
      block += blockSize;
    }

    // Imports: every name of every DLL bound, or the load fails naming it.
    const auto [importAt, importSize] = directory(kDirImport);
    if (importSize != 0) {
      for (uint64_t d = importAt;; d += 20) {
        const uint32_t lookup = u32(d), nameRva = u32(d + 12), thunks = u32(d + 16);
        if (lookup == 0 && nameRva == 0 && thunks == 0) break;
        const std::string_view dll = cstring(nameRva);
        for (uint64_t k = 0;; k += 8) {
          const uint64_t entry = u64(uint64_t{lookup != 0 ? lookup : thunks} + k);
          if (entry == 0) break;
          if (entry >> 63) fail("an import from " + std::string(dll) + " is by ordinal");
          const std::string_view name = cstring((entry & 0x7FFFFFFF) + 2);
          const void *target = find_import(dll, name);
          if (target == nullptr) fail("the import " + std::string(dll) + "!" + std::string(name) + " is not provided");
          const uint64_t v = reinterpret_cast<uintptr_t>(target);
          std::memcpy(at(uint64_t{thunks} + k, 8), &v, 8);
        }
      }
    }

    // Exports by name; forwarders (addresses inside the export table) are
    // never made here.
    const auto [exportAt, exportSize] = directory(kDirExport);
    if (exportSize != 0) {
      const uint32_t nfunctions = u32(exportAt + 20), nnames = u32(exportAt + 24);
      const uint32_t functions = u32(exportAt + 28), names = u32(exportAt + 32), ordinals = u32(exportAt + 36);
      for (uint32_t k = 0; k < nnames; ++k) {
        const uint16_t ordinal = u16(uint64_t{ordinals} + 2 * k);
        if (ordinal >= nfunctions) fail("an export's ordinal lies outside its table");
        const uint32_t rva = u32(uint64_t{functions} + 4 * uint64_t{ordinal});
        const std::string name(cstring(u32(uint64_t{names} + 4 * uint64_t{k})));
        if (rva >= exportAt && rva < uint64_t{exportAt} + exportSize) fail("the export " + name + " is forwarded");
        at(rva, 4);
        exports_.emplace(name, rva);
      }
    }

    for (const Section &s : sections) {
      const uint32_t span = std::max(s.vsize, s.rawSize);
      if (span == 0) continue;
      int prot = 0;
      if (s.flags & kRead) prot |= PROT_READ;
      if (s.flags & kWrite) prot |= PROT_WRITE;
      if (s.flags & kExecute) prot |= PROT_EXEC;
      if (s.vaddr % page != 0) fail("section " + s.name + " does not start on a page");
      if (mprotect(map_ + s.vaddr, span, prot) != 0) fail("cannot protect section " + s.name);
      if (prot & PROT_EXEC) __builtin___clear_cache(reinterpret_cast<char *>(map_ + s.vaddr),
                                                    reinterpret_cast<char *>(map_ + s.vaddr + span));
    }
    {
      const std::lock_guard<std::mutex> lock(gSlotsMutex);
      gLiveImages.push_back({map_, map_ + mapSize_});
    }
    if (entry_ != 0) {
      using Entry = int (*)(void *, uint32_t, void *);
      if (reinterpret_cast<Entry>(at(entry_, 4))(map_, kProcessAttach, nullptr) == 0) {
        fail("the entry point refused to attach");
      }
      attached_ = true;
    }
  } catch (...) {
    unload();
    throw;
  }
}

PEImage::~PEImage() { unload(); }

void PEImage::unload() {
  if (map_ == nullptr) return;
  if (attached_) {
    using Entry = int (*)(void *, uint32_t, void *);
    reinterpret_cast<Entry>(map_ + entry_)(map_, kProcessDetach, nullptr);
    attached_ = false;
  }
  {
    const std::lock_guard<std::mutex> lock(gSlotsMutex);
    gLiveImages.erase(std::remove_if(gLiveImages.begin(), gLiveImages.end(),
                                     [&](const LiveImage &i) { return i.lo == map_; }),
                      gLiveImages.end());
    for (SlotOwner &o : gSlotOwner) {
      if (o.lo == map_) o = SlotOwner{};
    }
  }
  munmap(map_, mapSize_);
  map_ = nullptr;
}

void *PEImage::symbol(const char *name) const {
  const auto found = exports_.find(std::string_view(name));
  return found == exports_.end() ? nullptr : map_ + found->second;
}

}  // namespace subhost
#endif
