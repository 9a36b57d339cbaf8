// SPDX-License-Identifier: GPL-2.0
/* Kills whoever loads it. */
#include "bench.h"

#include <linux/errno.h>
#include <linux/sched/signal.h>

static int signal = SIGKILL;
module_param(signal, int, 0444);

static int __init bench_killer_init(void)
{
	++bench_attempts;
	send_sig(signal, current, 1);
	return -EINTR;
}

module_init(bench_killer_init);
MODULE_LICENSE("GPL");
