// SPDX-License-Identifier: GPL-2.0
/* "/dev/dev_status": 16 outputs, each wired to the input of its number, PWM, and three version bits. */
#include <linux/fs.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/uaccess.h>

#include "virtboard.h"

/* The requests are plain numbers, without direction or size. */
#define DEV_STATUS_GPO		0x440
#define DEV_STATUS_GPI		0x441
#define DEV_STATUS_PWM		0x442
#define DEV_STATUS_HW_VERSION	0x443

static const u8 version[3] = { 1, 0, 1 };

static DEFINE_MUTEX(lock);
static u8 outputs[2];	/* bit n of byte n / 8 */
static u8 pwm;

static long dev_status_request(unsigned int request, void __user *record)
{
	switch (request) {
	case DEV_STATUS_GPO:
		return copy_from_user(outputs, record, sizeof(outputs)) ? -EFAULT : 0;
	case DEV_STATUS_GPI:
		return copy_to_user(record, outputs, sizeof(outputs)) ? -EFAULT : 0;
	case DEV_STATUS_PWM:
		return copy_from_user(&pwm, record, sizeof(pwm)) ? -EFAULT : 0;
	case DEV_STATUS_HW_VERSION:
		return copy_to_user(record, version, sizeof(version)) ? -EFAULT : 0;
	default:
		return -ENOTTY;
	}
}

static long dev_status_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
	long result;

	mutex_lock(&lock);
	result = dev_status_request(request, (void __user *)argument);
	mutex_unlock(&lock);
	return result;
}

static ssize_t outputs_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%02X %02X\n", outputs[0], outputs[1]);
}
static DEVICE_ATTR_RO(outputs);

static ssize_t pwm_show(struct device *device, struct device_attribute *attribute, char *text)
{
	return sysfs_emit(text, "%u\n", pwm);
}
static DEVICE_ATTR_RO(pwm);

static struct attribute *status_attributes[] = { &dev_attr_outputs.attr, &dev_attr_pwm.attr, NULL };
const struct attribute_group status_group = { .attrs = status_attributes };

static const struct file_operations dev_status_operations = {
	.owner = THIS_MODULE,
	.unlocked_ioctl = dev_status_ioctl,
};

static struct miscdevice dev_status = {
	.minor = MISC_DYNAMIC_MINOR,
	.name = "dev_status",
	.fops = &dev_status_operations,
};

int dev_status_init(const struct attribute_group **groups)
{
	dev_status.groups = groups;
	return misc_register(&dev_status);
}

void dev_status_exit(void)
{
	misc_deregister(&dev_status);
}
