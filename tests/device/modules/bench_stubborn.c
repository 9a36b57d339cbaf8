// SPDX-License-Identifier: GPL-2.0
/* Holds itself until its parameter says otherwise: the kernel refuses to remove it. */
#include "bench.h"

static bool held;

static int set_held(const char *value, const struct kernel_param *parameter)
{
	bool before = held;
	int result = param_set_bool(value, parameter);

	if (result == 0 && held && !before)
		__module_get(THIS_MODULE);
	if (result == 0 && !held && before)
		module_put(THIS_MODULE);
	return result;
}

static const struct kernel_param_ops held_ops = { .set = set_held, .get = param_get_bool };
module_param_cb(held, &held_ops, &held, 0644);

static int __init bench_stubborn_init(void)
{
	bench_say("in");
	return 0;
}

static void __exit bench_stubborn_exit(void)
{
	bench_say("out");
}

module_init(bench_stubborn_init);
module_exit(bench_stubborn_exit);
MODULE_LICENSE("GPL");
