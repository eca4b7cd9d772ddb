/* What differs between databases, however a host reaches them; one entry for each. */
#ifndef KELHOST_DIALECT_H
#define KELHOST_DIALECT_H

#include <cstdint>
#include <span>
#include <string_view>

namespace kelhost {

/* How a moment stands in a statement's text. */
enum class TimestampLiteral {
    engineText, /* 'yyyy-mm-dd-hh.mm.ss.uuuuuu', stored and compared as it is */
    iso,        /* TIMESTAMP 'yyyy-mm-dd hh:mm:ss.uuuuuu' */
};

/* A failure whose SQLSTATE says less than the text, or than the database's own code. */
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

struct Dialect {
    const char* databaseSystem;
    SqlLexis lexis;
    std::span<const char* const>
        functions; /* that a client's statement may call, none of which does more than compute */
    std::span<const char* const> ownNames; /* beginnings of names that are the database's own, and no client's */
    TimestampLiteral timestamps;
    bool failuresSpoilUnit; /* a failing statement takes the unit with it, unless a savepoint stands before it */
    bool keepsPrepared;     /* what is prepared follows changes of its table, so it may be kept for the next use */
    const char* verifyPolicyTable; /* fails when the table or a column is missing */
    std::span<const char* const> createPolicyTable;
    std::span<const char* const> createPackageTable;
    const char* currentUser; /* asks for the session's authorisation id; null: it is the operating system's user */
    std::span<const NativeFailure> failures; /* first match counts */
};

/* For databases that do not themselves refuse a text of several statements. */
bool isOneStatement(std::string_view text, const Dialect& dialect);

extern const Dialect sqliteDialect;
extern const Dialect postgresDialect;

}  // namespace kelhost

#endif
