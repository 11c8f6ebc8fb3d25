/* SPDX-License-Identifier: MIT */
/*
 * What the plug-ins of this folder need of the user-mode emulator's plug-in interface (version 1),
 * declared here so that no header has to be installed.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#define EXPORTED __attribute__((visibility("default")))

struct qemu_plugin_tb;
struct qemu_plugin_insn;
struct qemu_info_t;
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id,
                                           void (*callback)(uint64_t, struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb *,
                                          void (*callback)(unsigned, void *),
                                          enum qemu_plugin_cb_flags, void *);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *, enum qemu_plugin_op, void *,
                                              uint64_t);
void qemu_plugin_register_vcpu_syscall_cb(uint64_t id,
                                          void (*callback)(uint64_t, unsigned, int64_t, uint64_t,
                                                           uint64_t, uint64_t, uint64_t, uint64_t,
                                                           uint64_t, uint64_t, uint64_t));
void qemu_plugin_register_atexit_cb(uint64_t id, void (*callback)(uint64_t, void *), void *);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *, size_t);
const void *qemu_plugin_insn_data(const struct qemu_plugin_insn *);
size_t qemu_plugin_insn_size(const struct qemu_plugin_insn *);

EXPORTED int qemu_plugin_version = 1;
