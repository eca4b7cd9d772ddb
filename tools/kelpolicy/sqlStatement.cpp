#include "sqlStatement.h"

#include "documentFile.h"

namespace kelpolicy {

void Rows::require(bool done) const {
    if (done) return;
    sqlca ca = {};
    SQLGetSQLCA(SQL_NULL_HENV, SQL_NULL_HDBC, statement_, &ca);
    throw failureOf(purpose_, ca);
}

bool Rows::fetch() {
    const SQLRETURN status = SQLFetch(statement_);
    require(status == SQL_NO_DATA || SQL_SUCCEEDED(status));
    return status != SQL_NO_DATA;
}

std::string Rows::shortText(SQLUSMALLINT column) {
    char text[128] = "";
    SQLLEN length = 0;
    require(SQL_SUCCEEDED(SQLGetData(statement_, column, SQL_C_CHAR, text, sizeof text, &length)));
    return length == SQL_NULL_DATA ? std::string() : std::string(text);
}

std::string Rows::bytes(SQLUSMALLINT column) {
    char scratch[4];
    SQLLEN length = 0;
    require(SQL_SUCCEEDED(SQLGetData(statement_, column, SQL_C_BINARY, scratch, 0, &length)));
    if (length <= 0) return {};
    std::string value(static_cast<size_t>(length), '\0');
    require(SQLGetData(statement_, column, SQL_C_BINARY, value.data(), length, &length) == SQL_SUCCESS);
    return value;
}

SqlStatement::SqlStatement(std::string purpose) : Rows(std::move(purpose), SQL_NULL_HSTMT) {
    require(SQL_SUCCEEDED(handles_.environment.allocate(SQL_NULL_HANDLE)));
    require(SQL_SUCCEEDED(handles_.connection.allocate(handles_.environment.get())));
    require(SQL_SUCCEEDED(handles_.session.connect(handles_.connection.get())));
    require(SQL_SUCCEEDED(handles_.statement.allocate(handles_.connection.get())));
    statement_ = handles_.statement.get();
}

bool SqlStatement::tryExecute(const std::string& text) {
    return SQL_SUCCEEDED(handles_.execute(text.c_str()));
}

bool SqlStatement::change(const std::string& text, const std::string* value) {
    require(SQL_SUCCEEDED(SQLPrepare(statement_, sqlpiCliText(text.c_str()), SQL_NTS)));
    SQLLEN length = 0;
    if (value != nullptr) {
        length = static_cast<SQLLEN>(value->size());
        require(SQL_SUCCEEDED(SQLBindParameter(statement_, 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY,
                                               largestPolicyDocument, 0, const_cast<char*>(value->data()), length,
                                               &length)));
    }
    const SQLRETURN status = SQLExecute(statement_);
    require(status == SQL_NO_DATA || SQL_SUCCEEDED(status));
    return status != SQL_NO_DATA;
}

Failure SqlStatement::failure() const {
    sqlca ca = {};
    handles_.takeSqlca(ca);
    return failureOf(purpose_, ca);
}

}  // namespace kelpolicy
