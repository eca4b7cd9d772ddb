/* What differs between the drivers of database systems, one entry for each. Internal. */
#ifndef KELHOST_ODBC_SYSTEM_H
#define KELHOST_ODBC_SYSTEM_H

#include <span>
#include <string>
#include <string_view>

#include "dialect.h"

namespace kelhost {

/* What a session must be like, whoever configured the database: the answer that a query must give. */
struct SessionCheck {
    const char* query;
    const char* answer;
    const char* demand; /* says what must be so */
};

struct OdbcSystem {
    const char* name; /* as the driver answers SQL_DBMS_NAME */
    const Dialect& dialect;
    bool hasPolicyFile; /* the policy schema is a file that is attached */
    int waitsForALock;  /* how often the driver runs a statement that meets a lock, and waits, before it fails */
    /* "Key=Value" that a connection string needs, unless it has the key; {} stands for how
     * long to wait for a lock, in ms. */
    std::span<const char* const> connectionSettings;
    std::span<const char* const> sessionSetup; /* statements for a new session; {} as above */
    std::span<const SessionCheck> sessionChecks;
    const char* readOnly; /* has a session write nothing */
    /* What must stand before a statement that is no query to have it compiled when it is prepared; null: it is anyway.
     */
    const char* compile;
    const char* timeLimit; /* has statements end after {} ms; null: there is no such setting */
    const char* noTimeLimit;
};

/* Null for a system that is not supported. */
const OdbcSystem* odbcSystemOf(std::string_view name) noexcept;

/* "A and B" */
std::string supportedSystems();

}  // namespace kelhost

#endif
