/* The commands of the command line, and what they share. */
#ifndef KELPOLICY_COMMAND_H
#define KELPOLICY_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "console/output.h"
#include "database/globalOptions.h"

namespace kelpolicy {

/* Runs one command after the command line was understood. Returns an ExitStatus. Throws Failure or HostError. */
using RunCommand = std::function<int(const GlobalOptions&, Output&)>;

/* Adds a command below `parent`. When the command line names it, `chosen` becomes what it runs. */
using AddCommand = void(CLI::App& parent, RunCommand& chosen);

AddCommand addInit;
AddCommand addDescribe;
AddCommand addTree;
AddCommand addShow;
AddCommand addShowWindows; /* below show */
AddCommand addWindow;
AddCommand addWindowCalendar; /* below window, as the next */
AddCommand addWindowLint;
AddCommand addGet;
AddCommand addSet;
AddCommand addValidate;
AddCommand addConvert;
AddCommand addExtract;
AddCommand addSample;
AddCommand addSchema;
AddCommand addInstall;
AddCommand addRetrieve;
AddCommand addHistory;
AddCommand addDump;
AddCommand addLoad;
AddCommand addCompletion;
AddCommand addManual;

/* What a command's --help shows below its options. */
std::string example(const char* commandLine);

/* The check of an option whose value means nothing when it is empty. */
std::string refuseEmpty(const std::string& value);

/* The option --document PATH of commands that read a policy from the table or from a file. */
void addDocumentOption(CLI::App& command, std::string& path);

}  // namespace kelpolicy

#endif
