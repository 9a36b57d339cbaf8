// SPDX-License-Identifier: GPL-2.0
/* Has two parameters, and something that another module uses. */
#include "bench.h"

static int number;
module_param(number, int, 0444);
static char *word = "";
module_param(word, charp, 0444);

int bench_option_used;
EXPORT_SYMBOL_GPL(bench_option_used);

static int __init bench_option_init(void)
{
	bench_say("in");
	return 0;
}

static void __exit bench_option_exit(void)
{
	bench_say("out");
}

module_init(bench_option_init);
module_exit(bench_option_exit);
MODULE_LICENSE("GPL");
