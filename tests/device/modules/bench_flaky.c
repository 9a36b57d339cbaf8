// SPDX-License-Identifier: GPL-2.0
/* Cannot be loaded the first times. */
#include "bench.h"

#include <linux/errno.h>

static unsigned int failures;
module_param(failures, uint, 0444);

static int __init bench_flaky_init(void)
{
	if (bench_attempts++ < failures)
		return -EIO;
	bench_say("in");
	return 0;
}

static void __exit bench_flaky_exit(void)
{
	bench_say("out");
}

module_init(bench_flaky_init);
module_exit(bench_flaky_exit);
MODULE_LICENSE("GPL");
