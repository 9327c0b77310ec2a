// The signals that end the test application.
#pragma once

namespace TestApp {

/// Blocks SIGINT and SIGTERM in this thread and those it starts, and returns a descriptor that becomes readable when
/// one of them has arrived. The application then ends by itself or, when a check in progress holds it up, is ended 1.5
/// s later with exit code 0 by std::quick_exit. Called once, before any other thread exists.
/// @throws std::system_error if the system has no descriptor left
int WatchEndSignals();

}  // namespace TestApp
