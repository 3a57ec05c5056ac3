#include "macho_image.h"

#if defined(_WIN32)
#include <stdexcept>

// The Windows test programs never meet a macOS library.
namespace subhost {
bool MachOImage::is_macho(const std::string &) { return false; }
MachOImage::MachOImage(const std::string &path) { throw std::runtime_error("Mach-O: not loaded on Windows: " + path); }
MachOImage::~MachOImage() = default;
void *MachOImage::symbol(const char *) const { return nullptr; }
}  // namespace subhost
#else
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cfenv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace subhost {
namespace {

constexpr uint32_t kFatMagic = 0xCAFEBABE;  // big-endian on disk
constexpr uint32_t kMagic64 = 0xFEEDFACF;
constexpr uint32_t kDylib = 6;
#if defined(__x86_64__)
constexpr uint32_t kOwnCpu = 0x01000007;
#elif defined(__aarch64__)
constexpr uint32_t kOwnCpu = 0x0100000C;
#else
constexpr uint32_t kOwnCpu = 0;  // no slice runs here
#endif

constexpr uint32_t kSegment64 = 0x19, kLoadDylib = 0xC, kLoadWeakDylib = 0x80000018, kReexportDylib = 0x8000001F,
                   kLazyLoadDylib = 0x20, kUpwardDylib = 0x80000023, kDyldInfo = 0x22,
                   kDyldInfoOnly = 0x80000022, kChainedFixups = 0x80000034, kExportsTrie = 0x80000033;
constexpr const char *kSystemLibrary = "/usr/lib/libSystem.B.dylib";

[[noreturn]] void fail(const std::string &why) { throw std::runtime_error("Mach-O: " + why); }

// Bounds-checked reads of the file's bytes.
struct Bytes {
  std::string_view all;
  template <class T>
  T get(uint64_t at) const {
    if (at > all.size() || all.size() - at < sizeof(T)) fail("the file ends inside a header or command");
    T v;
    std::memcpy(&v, all.data() + at, sizeof v);
    return v;
  }
  uint32_t be32(uint64_t at) const { return __builtin_bswap32(get<uint32_t>(at)); }
  std::string_view slice(uint64_t at, uint64_t n) const {
    if (at > all.size() || all.size() - at < n) fail("a range lies outside the file");
    return all.substr(at, n);
  }
};

// A cursor over an opcode stream or the exports trie.
struct Stream {
  std::string_view s;
  size_t p = 0;
  bool done() const { return p >= s.size(); }
  uint8_t byte() {
    if (done()) fail("an opcode stream ends early");
    return static_cast<uint8_t>(s[p++]);
  }
  uint64_t uleb() {
    uint64_t v = 0;
    for (unsigned shift = 0;; shift += 7) {
      const uint8_t b = byte();
      if (shift < 64) v |= uint64_t{b & 0x7Fu} << shift;
      if ((b & 0x80) == 0) return v;
    }
  }
  int64_t sleb() {
    int64_t v = 0;
    unsigned shift = 0;
    uint8_t b;
    do {
      b = byte();
      if (shift < 64) v |= static_cast<int64_t>(uint64_t{b & 0x7Fu} << shift);
      shift += 7;
    } while (b & 0x80);
    if (shift < 64 && (b & 0x40)) v |= static_cast<int64_t>(~uint64_t{0} << shift);
    return v;
  }
  std::string_view cstring() {
    const size_t end = s.find('\0', p);
    if (end == std::string_view::npos) fail("a name in an opcode stream has no end");
    const std::string_view name = s.substr(p, end - p);
    p = end + 1;
    return name;
  }
};

struct Segment {
  std::string name;
  uint64_t vmaddr, vmsize, fileoff, filesize;
  uint32_t initprot;
};

// What the plugin may import, all from the system library: the C functions
// it calls and what the compiler emits on its own.
uintptr_t gStackGuard = 0x5A7C3E91D2B46F08u & UINTPTR_MAX;

[[noreturn]] void stack_check_failed() {
  std::fputs("Mach-O image: stack check failed\n", stderr);
  std::abort();
}
[[noreturn]] void lazy_binder_called() {
  std::fputs("Mach-O image: a lazy import was called unbound\n", stderr);
  std::abort();
}
void zero_bytes(void *p, size_t n) { std::memset(p, 0, n); }
void fill_pattern16(void *p, const void *pattern, size_t n) {
  auto *out = static_cast<uint8_t *>(p);
  for (size_t k = 0; k < n; ++k) out[k] = static_cast<const uint8_t *>(pattern)[k % 16];
}

#if defined(__aarch64__)
// Apple's arm64 convention passes every variadic argument on the stack, one
// 8-byte slot each; the shim hands the first slot to a va_list that says its
// register areas are used up, so vsnprintf reads them all from there.
extern "C" int ztk_apple_snprintf(char *, size_t, const char *, ...);
// The procedure call standard's va_list: where the stacked arguments go on,
// and the register save areas with their (negative while unused) offsets.
struct ArgumentList {
  void *stack, *grTop, *vrTop;
  int32_t grOffset, vrOffset;
};
static_assert(sizeof(ArgumentList) == sizeof(va_list), "the arm64 va_list layout");
extern "C" int ztk_apple_vsnprintf_from(char *buffer, size_t size, const char *format, void *slots) {
  const ArgumentList list{slots, nullptr, nullptr, 0, 0};
  va_list args;
  std::memcpy(static_cast<void *>(&args), &list, sizeof list);
  return std::vsnprintf(buffer, size, format, args);
}
__asm__(
    ".text\n"
    ".globl ztk_apple_snprintf\n"
    ".type ztk_apple_snprintf, %function\n"
    "ztk_apple_snprintf:\n"
    "  mov x3, sp\n"
    "  b ztk_apple_vsnprintf_from\n");
#endif

struct Import {
  const char *name;
  const void *address;
};

const void *find_import(std::string_view name) {
  static const Import imports[] = {
      {"_malloc", reinterpret_cast<const void *>(&malloc)},
      {"_calloc", reinterpret_cast<const void *>(&calloc)},
      {"_realloc", reinterpret_cast<const void *>(&realloc)},
      {"_free", reinterpret_cast<const void *>(&free)},
      {"_memcpy", reinterpret_cast<const void *>(&memcpy)},
      {"_memmove", reinterpret_cast<const void *>(&memmove)},
      {"_memset", reinterpret_cast<const void *>(&memset)},
      {"_memcmp", reinterpret_cast<const void *>(&memcmp)},
      {"_memchr", reinterpret_cast<const void *>(static_cast<const void *(*)(const void *, int, size_t)>(&memchr))},
      {"_strlen", reinterpret_cast<const void *>(&strlen)},
      {"_strnlen", reinterpret_cast<const void *>(&strnlen)},
      {"_strchr", reinterpret_cast<const void *>(static_cast<const char *(*)(const char *, int)>(&strchr))},
#if defined(__aarch64__)
      {"_snprintf", reinterpret_cast<const void *>(&ztk_apple_snprintf)},
#else
      {"_snprintf", reinterpret_cast<const void *>(&snprintf)},
#endif
      {"_rand", reinterpret_cast<const void *>(&rand)},
      {"_srand", reinterpret_cast<const void *>(&srand)},
      {"_time", reinterpret_cast<const void *>(&time)},
      {"_fegetround", reinterpret_cast<const void *>(&fegetround)},
      {"___bzero", reinterpret_cast<const void *>(&zero_bytes)},
      {"_bzero", reinterpret_cast<const void *>(&zero_bytes)},
      {"_memset_pattern16", reinterpret_cast<const void *>(&fill_pattern16)},
      {"___stack_chk_fail", reinterpret_cast<const void *>(&stack_check_failed)},
      {"___stack_chk_guard", &gStackGuard},
      {"dyld_stub_binder", reinterpret_cast<const void *>(&lazy_binder_called)},
  };
  for (const Import &i : imports) {
    if (name == i.name) return i.address;
  }
  return nullptr;
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) fail("cannot open " + path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The slice of the running architecture: the whole file, or one entry of a
// universal file.
std::string_view own_slice(const Bytes &file) {
  if (file.all.size() >= 4 && file.be32(0) == kFatMagic) {
    const uint32_t n = file.be32(4);
    for (uint32_t k = 0; k < n; ++k) {
      const uint64_t at = 8 + 20 * uint64_t{k};
      if (file.be32(at) == kOwnCpu) return file.slice(file.be32(at + 8), file.be32(at + 12));
    }
    fail("the universal file has no slice for this architecture");
  }
  return file.all;
}

}  // namespace

bool MachOImage::is_macho(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  uint8_t head[4] = {};
  if (!in.read(reinterpret_cast<char *>(head), 4)) return false;
  const uint32_t be = uint32_t{head[0]} << 24 | uint32_t{head[1]} << 16 | uint32_t{head[2]} << 8 | head[3];
  const uint32_t le = __builtin_bswap32(be);
  return be == kFatMagic || le == kMagic64;
}

MachOImage::MachOImage(const std::string &path) {
  const std::string contents = read_file(path);
  const Bytes file{contents};
  const Bytes image{own_slice(file)};
  if (image.get<uint32_t>(0) != kMagic64) fail("no 64-bit Mach-O header");
  if (image.get<uint32_t>(4) != kOwnCpu) fail("the image is for another architecture");
  if (image.get<uint32_t>(12) != kDylib) fail("the image is not a dynamic library");
  const uint32_t ncmds = image.get<uint32_t>(16);

  std::vector<Segment> segments;
  struct Initializers {
    uint32_t type;  // 0x09: pointers, 0x16: 32-bit offsets from the image's start
    uint64_t addr, size;
  };
  std::vector<Initializers> initializers;
  std::string_view rebases, binds, lazyBinds;
  int dylibs = 0;
  uint64_t at = 32;
  for (uint32_t k = 0; k < ncmds; ++k) {
    const uint32_t cmd = image.get<uint32_t>(at), size = image.get<uint32_t>(at + 4);
    if (size < 8) fail("a load command is shorter than its header");
    switch (cmd) {
      case kSegment64: {
        char name[17] = {};
        std::memcpy(name, image.slice(at + 8, 16).data(), 16);
        Segment s{name, image.get<uint64_t>(at + 24), image.get<uint64_t>(at + 32), image.get<uint64_t>(at + 40),
                  image.get<uint64_t>(at + 48), image.get<uint32_t>(at + 60)};
        if (s.filesize > s.vmsize) fail("segment " + s.name + " holds more than its size");
        image.slice(s.fileoff, s.filesize);  // within the file
        const uint32_t nsects = image.get<uint32_t>(at + 64);
        for (uint32_t j = 0; j < nsects; ++j) {
          const uint64_t sect = at + 72 + 80 * uint64_t{j};
          const uint32_t type = image.get<uint32_t>(sect + 64) & 0xFF;
          if (type == 0x09 || type == 0x16) {  // initializer pointers, initializer offsets
            initializers.push_back({type, image.get<uint64_t>(sect + 32), image.get<uint64_t>(sect + 40)});
          }
        }
        segments.push_back(s);
        break;
      }
      case kDyldInfo:
      case kDyldInfoOnly:
        rebases = image.slice(image.get<uint32_t>(at + 8), image.get<uint32_t>(at + 12));
        binds = image.slice(image.get<uint32_t>(at + 16), image.get<uint32_t>(at + 20));
        lazyBinds = image.slice(image.get<uint32_t>(at + 32), image.get<uint32_t>(at + 36));
        exports_ = std::string(image.slice(image.get<uint32_t>(at + 40), image.get<uint32_t>(at + 44)));
        break;
      case kExportsTrie:
        exports_ = std::string(image.slice(image.get<uint32_t>(at + 8), image.get<uint32_t>(at + 12)));
        break;
      case kChainedFixups:
        fail("chained fixups are not supported (the library is linked with rebase and bind opcodes)");
      case kLoadDylib:
      case kLoadWeakDylib:
      case kReexportDylib:
      case kLazyLoadDylib:
      case kUpwardDylib: {
        const uint32_t nameAt = image.get<uint32_t>(at + 8);
        const std::string_view command = image.slice(at, size);
        if (nameAt >= size) fail("a library name lies outside its command");
        const std::string_view name = command.substr(nameAt, command.find('\0', nameAt) - nameAt);
        if (name != kSystemLibrary) fail("the image needs " + std::string(name) + ", which is not provided");
        ++dylibs;
        break;
      }
      default:
        break;
    }
    at += size;
  }
  if (segments.empty()) fail("the image has no segments");
  if (dylibs > 1) fail("the image names the system library more than once");

  uint64_t lo = UINT64_MAX, hi = 0;
  for (const Segment &s : segments) {
    if (s.vmsize == 0) continue;
    lo = std::min(lo, s.vmaddr);
    hi = std::max(hi, s.vmaddr + s.vmsize);
  }
  if (lo >= hi || hi - lo > (uint64_t{1} << 32)) fail("the segments span no sensible range");
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  mapSize_ = (static_cast<size_t>(hi - lo) + page - 1) / page * page;
  void *map = mmap(nullptr, mapSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) fail("cannot map " + std::to_string(mapSize_) + " bytes");
  map_ = static_cast<uint8_t *>(map);
  base_ = map_ - lo;
  try {
    for (const Segment &s : segments) {
      if (s.filesize > 0) std::memcpy(base_ + s.vmaddr, image.slice(s.fileoff, s.filesize).data(), s.filesize);
    }
    // A pointer-sized slot at segment `seg`, offset `off`, checked.
    auto slot = [&](uint64_t seg, uint64_t off) -> uint8_t * {
      if (seg >= segments.size()) fail("an opcode names segment " + std::to_string(seg) + ", which does not exist");
      const Segment &s = segments[seg];
      if (off > s.vmsize || s.vmsize - off < 8) fail("a fixup lies outside segment " + s.name);
      return base_ + s.vmaddr + off;
    };

    // Rebases: each pointer slot gets the distance the image moved.
    {
      Stream in{rebases};
      uint64_t seg = 0, off = 0;
      auto rebase = [&] {
        uint64_t v;
        uint8_t *p = slot(seg, off);
        std::memcpy(&v, p, 8);
        v += reinterpret_cast<uintptr_t>(base_);
        std::memcpy(p, &v, 8);
        off += 8;
      };
      while (!in.done()) {
        const uint8_t b = in.byte(), op = b & 0xF0, imm = b & 0x0F;
        if (op == 0x00) break;
        switch (op) {
          case 0x10:
            if (imm != 1) fail("rebase type " + std::to_string(imm) + " is not a pointer");
            break;
          case 0x20: seg = imm; off = in.uleb(); break;
          case 0x30: off += in.uleb(); break;
          case 0x40: off += imm * 8u; break;
          case 0x50: for (int n = 0; n < imm; ++n) rebase(); break;
          case 0x60: for (uint64_t n = in.uleb(); n > 0; --n) rebase(); break;
          case 0x70: rebase(); off += in.uleb(); break;
          case 0x80: {
            const uint64_t count = in.uleb(), skip = in.uleb();
            for (uint64_t n = 0; n < count; ++n) {
              rebase();
              off += skip;
            }
            break;
          }
          default: fail("unknown rebase opcode " + std::to_string(op));
        }
      }
    }

    // Binds, the lazy ones at once: each import slot gets its address.
    auto run_binds = [&](std::string_view stream, bool lazy) {
      Stream in{stream};
      uint64_t seg = 0, off = 0;
      int64_t addend = 0, ordinal = 0;
      std::string_view name;
      bool weakImport = false;
      auto bind = [&] {
        const void *target = nullptr;
        if (ordinal == 0) {
          target = symbol(std::string(name.substr(name.empty() ? 0 : 1)).c_str());  // the image's own export
        } else {
          target = find_import(name);
        }
        if (target == nullptr && !weakImport) fail("the import " + std::string(name) + " is not provided");
        const uint64_t v = reinterpret_cast<uintptr_t>(target) + static_cast<uint64_t>(addend);
        std::memcpy(slot(seg, off), &v, 8);
        off += 8;
      };
      while (!in.done()) {
        const uint8_t b = in.byte(), op = b & 0xF0, imm = b & 0x0F;
        switch (op) {
          case 0x00:
            if (!lazy) return;
            break;  // each lazy bind ends with its own DONE
          case 0x10: ordinal = imm; break;
          case 0x20: ordinal = static_cast<int64_t>(in.uleb()); break;
          case 0x30: ordinal = imm == 0 ? 0 : static_cast<int8_t>(0xF0 | imm); break;
          case 0x40:
            weakImport = (imm & 0x1) != 0;
            name = in.cstring();
            break;
          case 0x50:
            if (imm != 1) fail("bind type " + std::to_string(imm) + " is not a pointer");
            break;
          case 0x60: addend = in.sleb(); break;
          case 0x70: seg = imm; off = in.uleb(); break;
          case 0x80: off += in.uleb(); break;
          case 0x90: bind(); break;
          case 0xA0: bind(); off += in.uleb(); break;
          case 0xB0: bind(); off += imm * 8u; break;
          case 0xC0: {
            const uint64_t count = in.uleb(), skip = in.uleb();
            for (uint64_t n = 0; n < count; ++n) {
              bind();
              off += skip;
            }
            break;
          }
          default: fail("unknown bind opcode " + std::to_string(op));
        }
        if (ordinal > 1) fail("a bind names library " + std::to_string(ordinal) + ", which is not provided");
      }
    };
    run_binds(binds, false);
    run_binds(lazyBinds, true);

    for (const Segment &s : segments) {
      if (s.vmsize == 0) continue;
      int prot = 0;
      if (s.initprot & 1) prot |= PROT_READ;
      if (s.initprot & 2) prot |= PROT_WRITE;
      if (s.initprot & 4) prot |= PROT_EXEC;
      uint8_t *from = base_ + s.vmaddr;
      const uintptr_t start = reinterpret_cast<uintptr_t>(from) / page * page;
      if (mprotect(reinterpret_cast<void *>(start), s.vmsize + (reinterpret_cast<uintptr_t>(from) - start), prot) != 0) {
        fail("cannot protect segment " + s.name);
      }
      if (prot & PROT_EXEC) __builtin___clear_cache(reinterpret_cast<char *>(from), reinterpret_cast<char *>(from + s.vmsize));
    }

    for (const auto &[type, addr, size] : initializers) {
      if (addr < lo || addr + size > hi) fail("an initializer section lies outside the image");
      using Init = void (*)();
      if (type == 0x09) {
        for (uint64_t o = 0; o + 8 <= size; o += 8) {
          uint64_t f;
          std::memcpy(&f, base_ + addr + o, 8);
          reinterpret_cast<Init>(static_cast<uintptr_t>(f))();
        }
      } else {
        for (uint64_t o = 0; o + 4 <= size; o += 4) {
          uint32_t f;
          std::memcpy(&f, base_ + addr + o, 4);
          reinterpret_cast<Init>(base_ + f)();
        }
      }
    }
  } catch (...) {
    munmap(map_, mapSize_);
    map_ = nullptr;
    throw;
  }
}

MachOImage::~MachOImage() {
  if (map_ != nullptr) munmap(map_, mapSize_);
}

void *MachOImage::symbol(const char *name) const {
  const std::string wanted = std::string("_") + name;
  std::string_view rest = wanted;
  Stream in{exports_};
  if (in.done()) return nullptr;
  for (;;) {
    const uint64_t terminal = in.uleb();
    const size_t children = in.p + terminal;
    if (rest.empty()) {
      if (terminal == 0) return nullptr;
      const uint64_t flags = in.uleb();
      if ((flags & 0x18) != 0) return nullptr;  // re-exports and resolvers are never made here
      const uint64_t address = in.uleb();
      if ((flags & 3) == 2) return reinterpret_cast<void *>(static_cast<uintptr_t>(address));  // absolute
      if ((flags & 3) != 0) return nullptr;                                                   // thread-local
      return base_ + address;
    }
    if (children >= exports_.size()) return nullptr;
    in.p = children;
    const uint8_t count = in.byte();
    bool followed = false;
    for (uint8_t k = 0; k < count && !followed; ++k) {
      const std::string_view edge = in.cstring();
      const uint64_t next = in.uleb();
      if (rest.substr(0, edge.size()) == edge) {
        rest.remove_prefix(edge.size());
        if (next >= exports_.size()) fail("the exports trie points outside itself");
        in.p = static_cast<size_t>(next);
        followed = true;
      }
    }
    if (!followed) return nullptr;
  }
}

}  // namespace subhost
#endif
