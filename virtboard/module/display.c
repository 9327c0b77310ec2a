// SPDX-License-Identifier: GPL-2.0
/* The display driver's own requests, put in front of those that "/dev/fb0" has. */
#include <linux/err.h>
#include <linux/fb.h>
#include <linux/fs.h>
#include <linux/major.h>
#include <linux/uaccess.h>

#include "virtboard.h"

#define SET_OSD_INFO	_IOW('F', 0x6F, struct osd_info)
#define SET_BRIGHTNESS	_IOW('F', 0x02, s32)

struct osd_info {
	u32 reserved;	/* 0 */
	u32 bits_per_pixel;
	u32 width;
	u32 height;
	u32 x;
	u32 y;
};

static struct file *framebuffer;
static const struct fb_ops *standard_operations;
static struct fb_ops operations;

static struct osd_info area;
static s32 brightness = 100;	/* percent */

static bool is_on_screen(const struct osd_info *info, const struct fb_info *screen)
{
	return info->width > 0 && info->height > 0 &&
		(u64)info->x + info->width <= screen->var.xres && (u64)info->y + info->height <= screen->var.yres;
}

static int set_area(const struct fb_info *screen, const void __user *record)
{
	struct osd_info wanted;

	if (copy_from_user(&wanted, record, sizeof(wanted)))
		return -EFAULT;
	if (wanted.reserved != 0 || wanted.bits_per_pixel != 32 || !is_on_screen(&wanted, screen))
		return -EINVAL;
	area = wanted;
	return 0;
}

static int set_brightness(const void __user *record)
{
	s32 wanted;

	if (copy_from_user(&wanted, record, sizeof(wanted)))
		return -EFAULT;
	if (wanted < 0 || wanted > 100)
		return -EINVAL;
	brightness = wanted;
	return 0;
}

/* Called with the framebuffer's lock held. */
static int display_ioctl(struct fb_info *screen, unsigned int request, unsigned long argument)
{
	switch (request) {
	case SET_OSD_INFO:
		return set_area(screen, (const void __user *)argument);
	case SET_BRIGHTNESS:
		return set_brightness((const void __user *)argument);
	default:
		return standard_operations->fb_ioctl ?
			standard_operations->fb_ioctl(screen, request, argument) : -ENOTTY;
	}
}

static ssize_t area_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%u %u %u %u %u %u\n", area.reserved, area.bits_per_pixel, area.width, area.height,
			  area.x, area.y);
}
static DEVICE_ATTR_RO(area);

static ssize_t brightness_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%d\n", brightness);
}
static DEVICE_ATTR_RO(brightness);

static struct attribute *display_attributes[] = { &dev_attr_area.attr, &dev_attr_brightness.attr, NULL };
const struct attribute_group display_group = { .attrs = display_attributes };

static void use_operations(const struct fb_ops *used)
{
	struct fb_info *screen = framebuffer->private_data;

	lock_fb_info(screen);
	screen->fbops = used;
	unlock_fb_info(screen);
}

/* The file stays open, so that the framebuffer's driver stays as long as its operations are ours. */
int display_init(void)
{
	framebuffer = filp_open("/dev/fb0", O_RDWR, 0);
	if (IS_ERR(framebuffer))
		return PTR_ERR(framebuffer);
	if (imajor(file_inode(framebuffer)) != FB_MAJOR) {
		filp_close(framebuffer, NULL);
		return -ENODEV;
	}
	standard_operations = ((struct fb_info *)framebuffer->private_data)->fbops;
	operations = *standard_operations;
	operations.fb_ioctl = display_ioctl;
	use_operations(&operations);
	return 0;
}

void display_exit(void)
{
	use_operations(standard_operations);
	filp_close(framebuffer, NULL);
}
