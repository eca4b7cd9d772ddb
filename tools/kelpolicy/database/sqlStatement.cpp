#include "database/sqlStatement.h"

#include <algorithm>

#include "database/reportedFailure.h"
#include "document/documentFile.h"

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

SQLRETURN SqlStatement::run(const std::string& text, const SqlValues& values) {
    SQLRETURN status = SQLPrepare(statement_, sqlpiCliText(text.c_str()), SQL_NTS);
    std::vector<SQLLEN> lengths;
    lengths.reserve(values.size());
    for (const auto& [bytes, isDocument] : values) {
        if (!SQL_SUCCEEDED(status)) break;
        lengths.push_back(static_cast<SQLLEN>(bytes.size()));
        const size_t size = isDocument ? largestPolicyDocument : std::max<size_t>(bytes.size(), 1);
        status = SQLBindParameter(statement_, static_cast<SQLUSMALLINT>(lengths.size()), SQL_PARAM_INPUT,
                                  isDocument ? SQL_C_BINARY : SQL_C_CHAR, isDocument ? SQL_LONGVARBINARY : SQL_VARCHAR,
                                  size, 0, const_cast<char*>(bytes.data()), lengths.back(), &lengths.back());
    }
    return SQL_SUCCEEDED(status) ? SQLExecute(statement_) : status;
}

bool SqlStatement::change(const std::string& text, const SqlValues& values) {
    const SQLRETURN status = run(text, values);
    require(status == SQL_NO_DATA || SQL_SUCCEEDED(status));
    return status != SQL_NO_DATA;
}

Failure SqlStatement::failure() const {
    sqlca ca = {};
    handles_.takeSqlca(ca);
    return failureOf(purpose_, ca);
}

}  // namespace kelpolicy
