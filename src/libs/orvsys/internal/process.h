// Running a command with SIGCHLD at its default action, shared by orv_system
// and the clock setters.
#pragma once

namespace orv::internal {

// Sets SIGCHLD to its default, runs command through run (system, or a
// stand-in), puts the old action back and returns run's status.
int run_with_default_sigchld(int (*run)(const char *), const char *command);

}  // namespace orv::internal
