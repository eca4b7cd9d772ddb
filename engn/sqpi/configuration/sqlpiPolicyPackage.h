/* Whether the package of the configuration procedures is bound. Internal. */
#ifndef SQLPI_POLICY_PACKAGE_H
#define SQLPI_POLICY_PACKAGE_H

#include <cstdint>

#include "sqlca.h"

/* Makes sure that the package of the library's static SQL can be run in the database of the engine context, binding it
 * if needed. Returns 0, or the SQLCODE of what failed, which is also in `ca`. */
int32_t sqlpiCheckPolicyPkgBind(sqlca& ca) noexcept;

/* Binds the file of that name in the instance's "bnd" directory; once more when the first try fails. Returns the bind
 * status, which is also in `ca`. */
int32_t sqlpiBindPolicyPkg(const char* fileName, sqlca& ca) noexcept;

#endif
