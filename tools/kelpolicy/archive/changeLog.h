/* The changes of policies that the administration log of an instance tells of. */
#ifndef KELPOLICY_CHANGE_LOG_H
#define KELPOLICY_CHANGE_LOG_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kelpolicy {

struct PolicyChange {
    std::string time;     /* local, yyyy-mm-dd-hh.mm.ss.uuuuuu */
    std::string policy;   /* as who changed it named it: NAME of the row, or type of the configuration */
    std::string database; /* "-": none was told, as of the next */
    std::string user;     /* who started the program */
    std::string action;   /* insert, update or delete */
    std::string before;   /* descriptions */
    std::string after;
    std::string cut; /* the last part, "before" or "after", of a record that was full: its end may be missing, and so is
                      * what stands behind it */
};

struct ChangeLog {
    std::vector<PolicyChange> changes{}; /* in the order in which they were written */
    size_t unreadable = 0;               /* records of changes that are damaged */
};

/* Reads the current log file and the full ones beside it. Throws Failure when one that is there cannot be read. */
ChangeLog readChangeLog(const std::filesystem::path& directory);

/* Adds what the lines of one file tell. */
void readChanges(std::string_view lines, ChangeLog& log);

}  // namespace kelpolicy

#endif
