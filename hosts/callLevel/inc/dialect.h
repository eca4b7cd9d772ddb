/* What differs between databases, one entry for each. Internal. */
#ifndef KELHOST_DIALECT_H
#define KELHOST_DIALECT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

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

/* What quotes and comments look like. */
struct SqlLexis {
    const char* quotes;   /* what a quoted text or name begins with; '[' ends with ']' */
    const char* lineEnds; /* what ends a comment of one line */
    bool nestedComments;
    bool escapes; /* E'...' and U&'...' hold escaped characters: the host writes some, its clients may not */
};

/* What a session must be like, whoever configured the database: the answer that a query must give. */
struct SessionCheck {
    const char* query;
    const char* answer;
    const char* demand; /* says what must be so */
};

struct Dialect {
    const char* databaseSystem; /* as the driver answers SQL_DBMS_NAME */
    SqlLexis lexis;
    std::span<const char* const>
        functions; /* that a client's statement may call, none of which does more than compute */
    std::span<const char* const> ownNames; /* beginnings of names that are the database's own, and no client's */
    TimestampLiteral timestamps;
    UnitStart unitStart;       /* a driver that starts it does not keep a failing statement from spoiling it */
    bool keepsPreparedQueries; /* a prepared query follows changes of its table, so it may be kept for the next use */
    int waitsForALock;         /* how often the driver runs a statement that meets a lock, and waits, before it fails */
    /* "Key=Value" that a connection string needs, unless it has the key; {} stands for how
     * long to wait for a lock, in ms. */
    std::span<const char* const> connectionSettings;
    std::span<const char* const> sessionSetup; /* statements for a new session; {} as above */
    std::span<const SessionCheck> sessionChecks;
    const char* readOnly;          /* has a session write nothing */
    const char* verifyPolicyTable; /* fails when the table or a column is missing */
    std::span<const char* const> createPolicyTable;
    std::span<const char* const> createPackageTable;
    const char* currentUser; /* asks for the session's authorisation id; null: it is the operating system's user */
    /* What must stand before a statement that is no query to have it compiled when it is prepared; null: it is anyway.
     */
    const char* compile;
    std::span<const NativeFailure> failures; /* first match counts */
};

/* Null for a system that is not supported. */
const Dialect* dialectOf(std::string_view databaseSystem) noexcept;

/* "A and B" */
std::string supportedSystems();

}  // namespace kelhost

#endif
