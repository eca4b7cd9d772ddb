/* Parameters that are read from a file when the statement is executed. Internal. */
#ifndef KELHOST_PARAMETER_FILES_H
#define KELHOST_PARAMETER_FILES_H

#include "handles.h"

namespace kelhost {

/* Largest file, in bytes. */
inline constexpr size_t mostParameterFileBytes = 2097152;

/* Reads the files and binds what they hold. SQL_ERROR with the outcome set when one cannot be used. */
SQLRETURN readParameterFiles(Statement& statement);

/* Frees what was read. */
void dropParameterFiles(Statement& statement) noexcept;

/* The parameter is bound in another way from now on. */
void forgetParameterFile(Statement& statement, SQLUSMALLINT parameter);

}  // namespace kelhost

#endif
