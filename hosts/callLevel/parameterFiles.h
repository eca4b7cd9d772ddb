/* Parameters that are read from a file when the statement is executed. Internal. */
#ifndef KELHOST_PARAMETER_FILES_H
#define KELHOST_PARAMETER_FILES_H

#include "handles.h"

namespace kelhost {

/* Largest file, in bytes. */
inline constexpr size_t mostParameterFileBytes = 2097152;

/* Reads the files; a failure when one cannot be used. */
Outcome readParameterFiles(Statement& statement);

bool isNullFile(const FileParameter& file) noexcept;

/* The parameter is bound anew. */
void forgetParameter(Statement& statement, SQLUSMALLINT parameter);

}  // namespace kelhost

#endif
