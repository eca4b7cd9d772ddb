/* What the host must know of a statement's text, found in one pass. Internal. */
#ifndef KELHOST_SQL_TEXT_H
#define KELHOST_SQL_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "dialect.h"

namespace kelhost {

enum class SqlKind {
    query,          /* SELECT, VALUES and what else only reads */
    change,         /* INSERT, UPDATE, DELETE, MERGE: answers with a number of rows */
    other,          /* anything else, may change the database */
    unitControl,    /* COMMIT and the like: not for who has only joined the unit of work */
    installObjects, /* CALL [SYSPROC.]SYSINSTALLOBJECTS */
};

/* A place in the text that the database may want spelled in another way. */
struct SqlPlace {
    enum Meaning {
        now,     /* CURRENT TIMESTAMP */
        moment,  /* 'yyyy-mm-dd-hh.mm.ss.uuuuuu' */
        quoted,  /* a text or name with semicolons */
        dropped, /* a comment, which drivers trip over, or a semicolon before or behind the statement */
    };
    Meaning meaning;
    size_t begin;
    size_t length;
};

struct SqlText {
    SqlKind kind = SqlKind::other;
    bool hasStar = false;                 /* its columns depend on the table's */
    size_t parameters = 0;                /* parameter markers */
    std::vector<SqlPlace> places{};       /* in the order of the text */
    std::vector<std::string> arguments{}; /* of installObjects: four */
    const char* error = nullptr;          /* SQLSTATE when the host refuses the text, and why */
    std::string errorDetail{};
};

SqlText scanSql(std::string_view text, const Dialect& dialect);

/* The text in the database's own spelling; `now` is yyyy-mm-dd-hh.mm.ss.uuuuuu. Where the dialect has escapes it holds
 * no semicolon at all: whoever read its quotes in another way could still not make two statements of it. */
std::string spellSql(std::string_view text, const SqlText& scanned, const Dialect& dialect, std::string_view now);

/* The local time as yyyy-mm-dd-hh.mm.ss.uuuuuu. */
std::string currentTimestamp();

}  // namespace kelhost

#endif
