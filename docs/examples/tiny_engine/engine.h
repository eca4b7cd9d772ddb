// What the parts of this engine share: one database, one directory, one thread.
#include <sqlite3.h>

#include <string>

#include "platform.h"

extern sqlite3* database;
extern std::string instanceDirectory;
extern long blocksInUse;
extern void* newestHandle;  // of the call level: after a routine that leaves its result set open, that statement

void openEngine(const std::string& newDirectory);
