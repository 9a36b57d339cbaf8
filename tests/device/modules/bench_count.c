// SPDX-License-Identifier: GPL-2.0
/* Remembers, while it stays loaded, how often the loading of others was tried. */
#include "bench.h"

unsigned int bench_attempts;
EXPORT_SYMBOL_GPL(bench_attempts);
module_param_named(attempts, bench_attempts, uint, 0644);

static int __init bench_count_init(void)
{
	bench_say("in");
	return 0;
}

static void __exit bench_count_exit(void)
{
	bench_say("out");
}

module_init(bench_count_init);
module_exit(bench_count_exit);
MODULE_LICENSE("GPL");
