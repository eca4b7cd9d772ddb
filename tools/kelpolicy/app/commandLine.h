/* The command line: what is said, and which command that runs. */
#ifndef KELPOLICY_COMMAND_LINE_H
#define KELPOLICY_COMMAND_LINE_H

namespace kelpolicy {

/* Parses the command line and runs what it says. Returns the process's exit status. */
int runCommandLine(int argc, char** argv);

}  // namespace kelpolicy

#endif
