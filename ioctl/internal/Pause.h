// Pauses that signal handlers do not cut short.
#pragma once

namespace IOCTL {

/// Sleeps for a second or, when signal handlers interrupt it, for up to one more.
void PauseOneSecond();

}  // namespace IOCTL
