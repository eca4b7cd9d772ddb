/* What differs between databases, one entry for each. Internal. */
#ifndef KELHOST_DIALECT_H
#define KELHOST_DIALECT_H

#include <cstdint>
#include <span>

namespace kelhost {

/* How a moment stands in a statement's text. */
enum class TimestampLiteral {
    engineText, /* 'yyyy-mm-dd-hh.mm.ss.uuuuuu', stored and compared as it is */
    iso,        /* TIMESTAMP 'yyyy-mm-dd hh:mm:ss.uuuuuu' */
};

/* Who starts a unit of work. */
enum class UnitStart {
    driver, /* the driver, with the first statement */
    host,   /* this host, with the first statement that writes */
};

/* A failure whose SQLSTATE says less than the driver's text, or than the database's own code. */
struct NativeFailure {
    int32_t nativeCode;   /* 0: any; else counts only without a better SQLSTATE than HY000 */
    const char* text;     /* what the message contains, "" anything */
    const char* sqlstate; /* what it means */
};

struct Dialect {
    const char* databaseSystem; /* as the driver answers SQL_DBMS_NAME; null: any other */
    TimestampLiteral timestamps;
    UnitStart unitStart;
    bool savepointForEachStatement; /* a failing statement would spoil the unit of work */
    bool keepsPreparedQueries; /* a prepared query follows changes of its table, so it may be kept for the next use */
    int waitsForALock;         /* how often the driver runs a statement that meets a lock, and waits, before it fails */
    /* "Key=Value" that a connection string needs, unless it has the key; {} stands for how
     * long to wait for a lock, in ms. */
    std::span<const char* const> connectionSettings;
    std::span<const char* const> sessionSetup; /* statements for a new session; {} as above */
    const char* verifyPolicyTable;             /* fails when the table or a column is missing */
    std::span<const char* const> createPolicyTable;
    std::span<const char* const> createPackageTable;
    const char* currentUser; /* asks for the session's authorisation id; null: it is the operating system's user */
    /* What must stand before a statement that is no query to have it compiled when it is prepared; null: it is anyway.
     */
    const char* compile;
    std::span<const NativeFailure> failures; /* first match counts */
};

const Dialect& dialectOf(const char* databaseSystem) noexcept;

}  // namespace kelhost

#endif
