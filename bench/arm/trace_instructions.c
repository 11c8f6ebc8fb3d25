/* SPDX-License-Identifier: MIT */
/*
 * Plugin for the user-mode emulator that writes what a program executes between the marks 2 N and
 * 2 N + 1 (system calls of number mark=M; window=N) to the file out=PATH:
 *   block ID HEX HEX ...   a translated block, the encodings of its instructions in order of memory
 *   run ID                 the block was executed
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "emulator_plugin.h"

static FILE *out;
static long marking_call = -1, window, marks;
static int recording;
static uintptr_t blocks;

static void note_run(unsigned cpu, void *number) {
  (void)cpu;
  if (recording) fprintf(out, "run %lu\n", (unsigned long)(uintptr_t)number);
}

static void note_block(uint64_t id, struct qemu_plugin_tb *block) {
  (void)id;
  fprintf(out, "block %lu", (unsigned long)blocks);
  for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); i++) {
    struct qemu_plugin_insn *instruction = qemu_plugin_tb_get_insn(block, i);
    const uint8_t *bytes = qemu_plugin_insn_data(instruction);
    size_t size = qemu_plugin_insn_size(instruction);
    if (size > 4) size = 4; /* more is given for one that crosses a page */
    fputc(' ', out);
    for (size_t k = 0; k < size; k++) fprintf(out, "%02x", bytes[k]);
  }
  fputc('\n', out);
  qemu_plugin_register_vcpu_tb_exec_cb(block, note_run, QEMU_PLUGIN_CB_NO_REGS, (void *)blocks++);
}

static void note_call(uint64_t id, unsigned cpu, int64_t number, uint64_t a, uint64_t b, uint64_t c,
                      uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h) {
  (void)id, (void)cpu, (void)a, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
  if (number == marking_call) recording = marks++ == 2 * window;
}

static void finish(uint64_t id, void *unused) {
  (void)id;
  (void)unused;
  fclose(out);
}

EXPORTED int qemu_plugin_install(uint64_t id, const struct qemu_info_t *info, int argc,
                                 char **argv) {
  (void)info;
  for (int i = 0; i < argc; i++) {
    if (strncmp(argv[i], "mark=", 5) == 0) marking_call = strtol(argv[i] + 5, NULL, 10);
    if (strncmp(argv[i], "window=", 7) == 0) window = strtol(argv[i] + 7, NULL, 10);
    if (strncmp(argv[i], "out=", 4) == 0) out = fopen(argv[i] + 4, "w");
  }
  if (out == NULL || marking_call < 0) return 1;
  qemu_plugin_register_vcpu_tb_trans_cb(id, note_block);
  qemu_plugin_register_vcpu_syscall_cb(id, note_call);
  qemu_plugin_register_atexit_cb(id, finish, NULL);
  return 0;
}
