// Every device of the simulated board. A new device is a source in this folder, with a function of the same name that
// returns the device, and a line here. When two devices own a path, the first in the list gets it.
#pragma once

#define SIM_DEVICES(DEVICE)                                                                                            \
    DEVICE(StatusDriver)                                                                                               \
    DEVICE(Clocks)                                                                                                     \
    DEVICE(Disks)                                                                                                      \
    DEVICE(Network)                                                                                                    \
    DEVICE(SerialPorts)                                                                                                \
    DEVICE(Loopback)                                                                                                   \
    DEVICE(Display)                                                                                                    \
    DEVICE(TouchPanel)                                                                                                 \
    DEVICE(SystemLog)
