// SPDX-License-Identifier: GPL-2.0
/* The kernel lists it as bench_dash. */
#include "bench.h"

static int __init bench_dash_init(void)
{
	bench_say("in");
	return 0;
}

static void __exit bench_dash_exit(void)
{
	bench_say("out");
}

module_init(bench_dash_init);
module_exit(bench_dash_exit);
MODULE_LICENSE("GPL");
