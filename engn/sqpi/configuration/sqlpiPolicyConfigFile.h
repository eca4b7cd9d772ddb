/* The files of the automatic-maintenance procedures: where a name leads, and how a file is read and written. Internal.
 */
#ifndef SQLPI_POLICY_CONFIG_FILE_H
#define SQLPI_POLICY_CONFIG_FILE_H

#include <cstdint>
#include <string_view>

#include "base/sqlpiOwn.h"
#include "files.h"
#include "routines.h"

/* What tells one direction's messages from the other's. */
struct sqlpiFileProcedure {
    const char* entry;   /* as logs name it */
    const char* prefix;  /* of log texts */
    const char* routine; /* as message tokens name it */
    int32_t fileCode;    /* SQLCODE of a file that cannot be used */
};

/* A file named by a user, who can reach nothing but what lies below the instance's "tmp" directory. Each function
 * returns false with the error logged and in `ca`. */
class sqlpiPolicyFile {
public:
    sqlpiPolicyFile(const sqlpiFileProcedure& procedure, const char* name) noexcept
        : procedure_(procedure), name_(name) {}

    /* Finds out where the name leads. */
    bool resolve(sqlca& ca) noexcept;

    /* Makes the directory where it is missing. */
    bool makeDirectory(sqlca& ca) const noexcept;

    /* Writes the file whole or not at all; a file that is there keeps its mode and owner. */
    bool replace(std::string_view text, sqlca& ca) const noexcept;

    /* Reads it whole, at most SQLUDF_LARGEST_LOB bytes, terminated. */
    bool read(sqlpiBlock& text, size_t& length, sqlca& ca) const noexcept;

private:
    bool fail(sqlca& ca, uint32_t probe, const char* format, size_t tokenLength) const noexcept;

    const sqlpiFileProcedure& procedure_;
    const char* name_;
    char root_[OSS_PATH_SIZE] = "";      /* the instance's "tmp" directory */
    char directory_[OSS_PATH_SIZE] = ""; /* that of the name, below it */
};

#endif
