// SPDX-License-Identifier: GPL-2.0
/* Needs bench_option, which cannot be removed before it. */
#include "bench.h"

extern int bench_option_used;

static int __init bench_user_init(void)
{
	++bench_option_used;
	bench_say("in");
	return 0;
}

static void __exit bench_user_exit(void)
{
	--bench_option_used;
	bench_say("out");
}

module_init(bench_user_init);
module_exit(bench_user_exit);
MODULE_LICENSE("GPL");
