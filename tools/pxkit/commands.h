// The subcommands; each takes its own argv (argv[0] = the subcommand's name)
// and returns the process exit code, throwing CliError for the user's mistakes.
#pragma once

namespace pxcli {

int run_demo(int argc, const char* const* argv);
int run_tof(int argc, const char* const* argv);
int run_version(int argc, const char* const* argv);
int run_warp(int argc, const char* const* argv);

}  // namespace pxcli
