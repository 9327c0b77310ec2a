/* SPDX-License-Identifier: GPL-2.0 */
/* The two parts of the emulated board's module. */
#ifndef VIRTBOARD_H
#define VIRTBOARD_H

#include <linux/sysfs.h>

/* "/dev/dev_status", in sysfs with these groups. */
int dev_status_init(const struct attribute_group **groups);
void dev_status_exit(void);
extern const struct attribute_group status_group;

/* The display driver's own requests, added to those of "/dev/fb0". */
int display_init(void);
void display_exit(void);
extern const struct attribute_group display_group;

#endif
