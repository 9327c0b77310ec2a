// SPDX-License-Identifier: GPL-2.0
/*
 * Drivers of the emulated board's own hardware, for which there are no standard ones. The last requests can be read
 * below /sys/class/misc/dev_status.
 */
#include <linux/module.h>

#include "virtboard.h"

static const struct attribute_group *groups[] = { &status_group, &display_group, NULL };

static int __init virtboard_init(void)
{
	int error = display_init();

	if (error)
		return error;
	error = dev_status_init(groups);
	if (error)
		display_exit();
	return error;
}

static void __exit virtboard_exit(void)
{
	dev_status_exit();
	display_exit();
}

module_init(virtboard_init);
module_exit(virtboard_exit);

MODULE_DESCRIPTION("Status driver and display requests of the emulated board");
MODULE_LICENSE("GPL");
