// The part of qemu's TCG plugin interface (API version 1, as qemu 7.2 offers
// it) that the counting plugin uses, declared here because Debian ships qemu
// without its plugin header. The functions are resolved against the qemu
// executable when it loads the plugin, so only their C types matter: they
// must match what qemu 7.2 calls and exports, and nothing more is declared.
#pragma once

#include <stddef.h>
#include <stdint.h>

extern "C" {

typedef uint64_t qemu_plugin_id_t;

// What qemu tells the plugin at load time; only the leading members are read,
// the trailing union (system emulation's vCPU counts) is not declared.
struct qemu_info_t {
  const char *target_name;
  struct {
    int min;
    int cur;
  } version;
  bool system_emulation;
};

struct qemu_plugin_tb;  // opaque: a block being translated

enum qemu_plugin_op {
  QEMU_PLUGIN_INLINE_ADD_U64 = 0,
};

typedef void (*qemu_plugin_vcpu_tb_trans_cb_t)(qemu_plugin_id_t id, struct qemu_plugin_tb *tb);
typedef void (*qemu_plugin_udata_cb_t)(qemu_plugin_id_t id, void *userdata);
typedef void (*qemu_plugin_vcpu_syscall_cb_t)(qemu_plugin_id_t id, unsigned int vcpu_index, int64_t num,
                                              uint64_t a1, uint64_t a2, uint64_t a3, uint64_t a4,
                                              uint64_t a5, uint64_t a6, uint64_t a7, uint64_t a8);

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, qemu_plugin_vcpu_tb_trans_cb_t cb);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *tb);
uint64_t qemu_plugin_tb_vaddr(const struct qemu_plugin_tb *tb);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *tb, enum qemu_plugin_op op, void *ptr,
                                              uint64_t imm);
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t id, qemu_plugin_vcpu_syscall_cb_t cb);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, qemu_plugin_udata_cb_t cb, void *userdata);
void qemu_plugin_outs(const char *string);

}  // extern "C"
