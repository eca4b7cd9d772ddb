/* One statement in the unit of work of the thread's engine context. */
#ifndef KELPOLICY_SQL_STATEMENT_H
#define KELPOLICY_SQL_STATEMENT_H

#include <string>

#include "failure.h"
#include "sqlpiCliHandles.h"

namespace kelpolicy {

class SqlStatement {
public:
    /* `purpose` begins the message of a failure: "cannot ...". Throws Failure, as every function does where it does not
     * say otherwise. */
    explicit SqlStatement(std::string purpose);

    void execute(const std::string& text) { require(tryExecute(text)); }
    /* False when it failed; `failure` then tells why. */
    bool tryExecute(const std::string& text);
    /* The next row; false when there is none. */
    bool fetch();

    /* Columns of the row, from 1, each read once. A null value is an empty text. */
    std::string shortText(SQLUSMALLINT column);
    std::string bytes(SQLUSMALLINT column);

    Failure failure() const;

private:
    void require(bool done) const {
        if (!done) throw failure();
    }

    std::string purpose_;
    sqlpiCliHandles handles_;
};

}  // namespace kelpolicy

#endif
