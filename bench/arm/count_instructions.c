/* SPDX-License-Identifier: MIT */
/*
 * Plugin for the user-mode emulator that counts the guest instructions of a run and prints
 * "instructions N" on standard error at exit. Two runs that differ only in their number of
 * iterations, subtracted, give a figure that repeats exactly. The few prototypes of the plugin
 * interface (version 1) that it needs are declared here, so that no header has to be installed.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

struct qemu_plugin_tb;
struct qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id,
                                           void (*callback)(uint64_t, struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *, enum qemu_plugin_op, void *,
                                              uint64_t);
void qemu_plugin_register_atexit_cb(uint64_t id, void (*callback)(uint64_t, void *), void *);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *);

EXPORTED int qemu_plugin_version = 1;

static uint64_t instructions;

/* A translated block is entered at its start and left at its end, so counting blocks is enough. */
static void count_block(uint64_t id, struct qemu_plugin_tb *block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                           qemu_plugin_tb_n_insns(block));
}

static void report(uint64_t id, void *unused) {
  (void)id;
  (void)unused;
  fprintf(stderr, "instructions %llu\n", (unsigned long long)instructions);
}

EXPORTED int qemu_plugin_install(uint64_t id, const struct qemu_info_t *info, int argc,
                                 char **argv) {
  (void)info;
  (void)argc;
  (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  qemu_plugin_register_atexit_cb(id, report, NULL);
  return 0;
}
