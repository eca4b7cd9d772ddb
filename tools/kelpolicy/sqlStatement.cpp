#include "sqlStatement.h"

namespace kelpolicy {

SqlStatement::SqlStatement(std::string purpose) : purpose_(std::move(purpose)) {
    require(SQL_SUCCEEDED(handles_.environment.allocate(SQL_NULL_HANDLE)));
    require(SQL_SUCCEEDED(handles_.connection.allocate(handles_.environment.get())));
    require(SQL_SUCCEEDED(handles_.session.connect(handles_.connection.get())));
    require(SQL_SUCCEEDED(handles_.statement.allocate(handles_.connection.get())));
}

bool SqlStatement::tryExecute(const std::string& text) {
    return SQL_SUCCEEDED(handles_.execute(text.c_str()));
}

bool SqlStatement::fetch() {
    const SQLRETURN status = SQLFetch(handles_.statement.get());
    require(status == SQL_NO_DATA || SQL_SUCCEEDED(status));
    return status != SQL_NO_DATA;
}

std::string SqlStatement::shortText(SQLUSMALLINT column) {
    char text[128] = "";
    SQLLEN length = 0;
    require(SQL_SUCCEEDED(SQLGetData(handles_.statement.get(), column, SQL_C_CHAR, text, sizeof text, &length)));
    return length == SQL_NULL_DATA ? std::string() : std::string(text);
}

std::string SqlStatement::bytes(SQLUSMALLINT column) {
    char scratch[4];
    SQLLEN length = 0;
    require(SQL_SUCCEEDED(SQLGetData(handles_.statement.get(), column, SQL_C_BINARY, scratch, 0, &length)));
    if (length <= 0) return {};
    std::string value(static_cast<size_t>(length), '\0');
    require(SQLGetData(handles_.statement.get(), column, SQL_C_BINARY, value.data(), length, &length) == SQL_SUCCESS);
    return value;
}

Failure SqlStatement::failure() const {
    sqlca ca = {};
    handles_.takeSqlca(ca);
    return failureOf(purpose_, ca);
}

}  // namespace kelpolicy
