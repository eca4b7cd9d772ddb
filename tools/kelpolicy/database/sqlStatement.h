/* One statement in the unit of work of the thread's engine context. */
#ifndef KELPOLICY_SQL_STATEMENT_H
#define KELPOLICY_SQL_STATEMENT_H

#include <string>
#include <string_view>
#include <vector>

#include "base/sqlpiCliHandles.h"
#include "console/failure.h"

namespace kelpolicy {

/* The rows that a statement answers with. Every function throws Failure. */
class Rows {
public:
    /* `purpose` begins the message of a failure: "cannot ...". REQUIRES: the statement lives as long as this. */
    Rows(std::string purpose, SQLHSTMT statement) : purpose_(std::move(purpose)), statement_(statement) {}

    /* The next row; false when there is none. */
    bool fetch();

    /* Columns of the row, from 1, each read once. A null value is an empty text. */
    std::string shortText(SQLUSMALLINT column);
    std::string bytes(SQLUSMALLINT column);

protected:
    void require(bool done) const;

    std::string purpose_;
    SQLHSTMT statement_;
};

/* What a parameter marker stands for: the bytes of a key or, where it is one, of a document. */
struct SqlValue {
    std::string_view bytes;
    bool isDocument = false;
};
using SqlValues = std::vector<SqlValue>;

class SqlStatement : public Rows {
public:
    /* Throws Failure, as every function does where it does not say otherwise. */
    explicit SqlStatement(std::string purpose);

    void execute(const std::string& text, const SqlValues& values = {}) { require(SQL_SUCCEEDED(run(text, values))); }
    /* False when it failed; `failure` then tells why. */
    bool tryExecute(const std::string& text) { return SQL_SUCCEEDED(run(text, {})); }
    /* Runs a change; false when it touches no row. */
    bool change(const std::string& text, const SqlValues& values = {});

    Failure failure() const;

private:
    SQLRETURN run(const std::string& text, const SqlValues& values);
    void require(bool done) const {
        if (!done) throw failure();
    }

    sqlpiCliHandles handles_;
};

}  // namespace kelpolicy

#endif
