// Every device of the simulated board. A new one is a source in this folder, with a function of that name that returns
// it, and a line here. Where two own the same path, the first one has it.
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
