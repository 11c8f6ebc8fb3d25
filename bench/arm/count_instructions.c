/* SPDX-License-Identifier: MIT */
/*
 * Plugin for the user-mode emulator that counts the guest instructions of a run and prints
 * "instructions N" on standard error at exit. Two runs that differ only in their number of
 * iterations, subtracted, give a figure that repeats exactly. With the argument mark=N it also
 * notes the count at every system call of number N, and prints "marks C C C ..." before.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "emulator_plugin.h"

static uint64_t instructions;

#define MOST_MARKS 100000
static uint64_t marks[MOST_MARKS];
static unsigned mark_count;
static long marking_call = -1;

/* A translated block is entered at its start and left at its end, so counting blocks is enough. */
static void count_block(uint64_t id, struct qemu_plugin_tb *block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                           qemu_plugin_tb_n_insns(block));
}

/* A system call ends its translated block, so that the count is exact. */
static void note_mark(uint64_t id, unsigned cpu, int64_t number, uint64_t a, uint64_t b, uint64_t c,
                      uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h) {
  (void)id, (void)cpu, (void)a, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
  if (number == marking_call && mark_count < MOST_MARKS) marks[mark_count++] = instructions;
}

static void report(uint64_t id, void *unused) {
  (void)id;
  (void)unused;
  if (marking_call >= 0) {
    fprintf(stderr, "marks");
    for (unsigned i = 0; i < mark_count; i++)
      fprintf(stderr, " %llu", (unsigned long long)marks[i]);
    fprintf(stderr, "\n");
  }
  fprintf(stderr, "instructions %llu\n", (unsigned long long)instructions);
}

EXPORTED int qemu_plugin_install(uint64_t id, const struct qemu_info_t *info, int argc,
                                 char **argv) {
  (void)info;
  for (int i = 0; i < argc; i++) {
    if (strncmp(argv[i], "mark=", 5) == 0) marking_call = strtol(argv[i] + 5, NULL, 10);
  }
  if (marking_call >= 0) qemu_plugin_register_vcpu_syscall_cb(id, note_mark);
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  qemu_plugin_register_atexit_cb(id, report, NULL);
  return 0;
}
