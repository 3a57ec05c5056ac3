// A qemu user-mode plugin that counts the guest instructions executed inside
// one address range (the plugin library's code) between two marks the guest
// program sets (icount_protocol.h).
//
// Every translated block gets an execution counter of its own, bumped by an
// inline add, whatever its address and whether or not the range is known
// yet: the guest announces the range only after loading the library, and by
// then qemu has translated (and caches) the blocks the library's start-up ran,
// some of which the measured calls run again. Which blocks count is decided
// when a region closes, from their addresses, so no block is lost to the order
// of events. A block's instructions all count when it starts, as qemu's
// inline ops run at block entry.
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#include "icount_protocol.h"
#include "qemu_plugin_api.h"

#define ZTK_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

// The plugin API version this plugin was written against.
extern "C" {
__attribute__((visibility("default"))) int qemu_plugin_version = 1;
}

namespace {

struct Block {
  uint64_t vaddr;
  uint64_t insns;
  uint64_t executions;  // qemu adds to it in place: the deque keeps it where it is
};

struct State {
  std::mutex lock;
  std::deque<Block> blocks;
  uint64_t start = 0, end = 0;  // the counted range; empty until the guest names it
  uint64_t regionOpen = 0;      // the range's total when the region opened
  bool open = false;
  uint64_t regions = 0, total = 0;
  long marker = ztk_icount::kMarkerSyscall;
};
State gState;

// The range's instructions executed so far, from every block ever translated
// in it (a block translated again after a flush has a second record).
uint64_t executed_in_range() {
  uint64_t sum = 0;
  for (const Block &b : gState.blocks) {
    if (b.vaddr >= gState.start && b.vaddr < gState.end) sum += b.executions * b.insns;
  }
  return sum;
}

void on_translate(qemu_plugin_id_t, qemu_plugin_tb *tb) {
  const std::lock_guard<std::mutex> hold(gState.lock);
  gState.blocks.push_back(Block{qemu_plugin_tb_vaddr(tb), qemu_plugin_tb_n_insns(tb), 0});
  qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &gState.blocks.back().executions, 1);
}

void say(const char *text) { qemu_plugin_outs(text); }

void on_syscall(qemu_plugin_id_t, unsigned int, int64_t num, uint64_t a1, uint64_t a2, uint64_t a3, uint64_t a4,
                uint64_t, uint64_t, uint64_t, uint64_t) {
  if (num != gState.marker) return;
  const std::lock_guard<std::mutex> hold(gState.lock);
  char line[160];
  switch (static_cast<long>(a1)) {
    case ztk_icount::kRange: {
      const uint64_t mask = a4 >= 64 ? ~uint64_t{0} : (uint64_t{1} << a4) - 1;
      gState.start = a2 & mask;
      gState.end = a3 & mask;
      std::snprintf(line, sizeof line, "icount: counting [0x%" PRIx64 ", 0x%" PRIx64 ")\n", gState.start, gState.end);
      say(line);
      break;
    }
    case ztk_icount::kStart:
      gState.regionOpen = executed_in_range();
      gState.open = true;
      break;
    case ztk_icount::kStop: {
      const uint64_t count = gState.open ? executed_in_range() - gState.regionOpen : 0;
      gState.open = false;
      ++gState.regions;
      gState.total += count;
      // The guest's file descriptors are the host's under qemu user mode.
      const int fd = static_cast<int>(a2 & 0xFFFFFFFF);
      if (write(fd, &count, sizeof count) != static_cast<ssize_t>(sizeof count)) {
        std::snprintf(line, sizeof line, "icount: cannot hand the count to descriptor %d: %s\n", fd,
                      std::strerror(errno));
        say(line);
      }
      break;
    }
    default:
      std::snprintf(line, sizeof line, "icount: unknown mark %" PRIu64 "\n", a1);
      say(line);
  }
}

void on_exit(qemu_plugin_id_t, void *) {
  char line[160];
  std::snprintf(line, sizeof line, "icount: %" PRIu64 " regions, %" PRIu64 " instructions in them, %zu blocks translated\n",
                gState.regions, gState.total, gState.blocks.size());
  say(line);
}

}  // namespace

ZTK_PLUGIN_EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t *info, int argc, char **argv) {
  if (info->system_emulation) {
    say("icount: user mode only (the guest marks its regions with a system call)\n");
    return 1;
  }
  for (int k = 0; k < argc; ++k) {
    // marker=N: another system call number, should a target ever use ours.
    if (std::strncmp(argv[k], "marker=", 7) == 0) {
      gState.marker = std::strtol(argv[k] + 7, nullptr, 0);
    } else {
      char line[160];
      std::snprintf(line, sizeof line, "icount: unknown argument %s\n", argv[k]);
      say(line);
      return 1;
    }
  }
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translate);
  qemu_plugin_register_vcpu_syscall_cb(id, on_syscall);
  qemu_plugin_register_atexit_cb(id, on_exit, nullptr);
  return 0;
}
