/* SPDX-License-Identifier: GPL-2.0 */
/* What the modules of these tests have in common: each says in the kernel's log when it comes and goes. */
#ifndef BENCH_H
#define BENCH_H

#include <linux/init.h>
#include <linux/module.h>

#define bench_say(word) pr_info("bench: %s %s\n", KBUILD_MODNAME, word)

extern unsigned int bench_attempts;

#endif
