// SQL: the call level and the package runtime over the C interface of SQLite. One session, no threads.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>
#include <vector>

#include "engine.h"

sqlite3* database = nullptr;
void* newestHandle = nullptr;
namespace {
struct Handle {
    sqlite3_stmt* statement = nullptr;
    std::string file;  // what SQLBindFileToParam read
    const void* value = nullptr;
    const SQLLEN* length = nullptr;
    int code = SQLITE_OK;
    ~Handle() { sqlite3_finalize(statement); }
};
Handle& of(void* handle) { return *static_cast<Handle*>(handle); }

SQLRETURN outcome(Handle& handle, int code) {
    handle.code = code == SQLITE_ROW ? SQLITE_OK : code;
    return code == SQLITE_DONE ? SQL_NO_DATA : handle.code == SQLITE_OK ? SQL_SUCCESS : SQL_ERROR;
}
SQLRETURN prepare(Handle& handle, std::string text) {
    const size_t place = text.find("CURRENT TIMESTAMP");
    if (place != text.npos) text.replace(place, 17, "strftime('%Y-%m-%d-%H.%M.%f000','now','localtime')");
    if (text.find("SYSINSTALLOBJECTS('POLICY','V'") != text.npos) text = "SELECT 1 FROM SYSTOOLS.POLICY";
    if (text.find("SYSINSTALLOBJECTS('POLICY','C'") != text.npos)
        text = "CREATE TABLE SYSTOOLS.POLICY(MED, DECISION, NAME, UPDATE_TIME, POLICY, PRIMARY KEY(MED, DECISION, NAME))";
    sqlite3_finalize(std::exchange(handle.statement, nullptr));
    return outcome(handle, sqlite3_prepare_v2(database, text.c_str(), -1, &handle.statement, nullptr));
}
SQLRETURN run(Handle& handle) {  // a query begins when its first row is fetched
    sqlite3_reset(handle.statement);
    if (sqlite3_column_count(handle.statement) > 0) return outcome(handle, SQLITE_OK);
    const int code = sqlite3_step(handle.statement);
    return outcome(handle, code == SQLITE_DONE ? sqlite3_reset(handle.statement) : code);
}
void report(sqlca& ca, int code) {
    ca = {}, ca.sqlcode = code == SQLITE_OK ? 0 : code == SQLITE_DONE ? 100 : -901;
    std::memcpy(ca.sqlstate, code == SQLITE_OK ? "00000" : code == SQLITE_DONE ? "02000" : "58004", 5);
    if (ca.sqlcode < 0)
        ca.sqlerrml = static_cast<int16_t>(std::string(sqlite3_errmsg(database)).copy(ca.sqlerrmc, sizeof ca.sqlerrmc));
}
const char* chars(SQLCHAR* text) { return reinterpret_cast<const char*>(text); }
}  // namespace

SQLRETURN SQLAllocHandle(SQLSMALLINT, SQLHANDLE, SQLHANDLE* handle) { return *handle = newestHandle = new Handle, SQL_SUCCESS; }
SQLRETURN SQLFreeHandle(SQLSMALLINT, SQLHANDLE handle) { return delete &of(handle), SQL_SUCCESS; }
SQLRETURN SQLSetConnectAttr(SQLHDBC, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
SQLRETURN SQLConnect(SQLHDBC, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT, SQLCHAR*, SQLSMALLINT) { return SQL_SUCCESS; }
SQLRETURN SQLDisconnect(SQLHDBC) { return SQL_SUCCESS; }
SQLRETURN SQLPrepare(SQLHSTMT handle, SQLCHAR* text, SQLINTEGER) { return prepare(of(handle), chars(text)); }
SQLRETURN SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT, SQLSMALLINT, SQLSMALLINT, SQLSMALLINT, SQLULEN, SQLSMALLINT,
                           SQLPOINTER value, SQLLEN, SQLLEN* length) {
    return of(handle).value = value, of(handle).length = length, SQL_SUCCESS;
}
SQLRETURN SQLBindFileToParam(SQLHSTMT handle, SQLUSMALLINT, SQLSMALLINT, SQLCHAR* name, SQLSMALLINT*, SQLUINTEGER*,
                             SQLSMALLINT, SQLINTEGER*) {
    std::ifstream file(chars(name), std::ios::binary);
    of(handle).file.assign(std::istreambuf_iterator<char>(file), {});
    return of(handle).value = nullptr, file ? SQL_SUCCESS : outcome(of(handle), SQLITE_CANTOPEN);
}
SQLRETURN SQLExecute(SQLHSTMT statement) {
    Handle& handle = of(statement);
    const bool isFile = handle.value == nullptr;
    sqlite3_reset(handle.statement);
    sqlite3_bind_blob64(handle.statement, 1, isFile ? handle.file.data() : handle.value,
                        isFile ? handle.file.size() : static_cast<sqlite3_uint64>(*handle.length), SQLITE_STATIC);
    return run(handle);
}
SQLRETURN SQLExecDirect(SQLHSTMT handle, SQLCHAR* text, SQLINTEGER) {
    const SQLRETURN prepared = prepare(of(handle), chars(text));
    return prepared == SQL_SUCCESS ? run(of(handle)) : prepared;
}
SQLRETURN SQLFetch(SQLHSTMT handle) { return outcome(of(handle), sqlite3_step(of(handle).statement)); }
SQLRETURN SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT, SQLPOINTER buffer, SQLLEN room, SQLLEN* length) {
    const void* value = sqlite3_column_blob(of(handle).statement, column - 1);
    *length = sqlite3_column_bytes(of(handle).statement, column - 1);
    std::memcpy(buffer, value, static_cast<size_t>(std::min(room, *length)));
    return *length > room ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}
SQLRETURN SQLGetSQLCA(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement, sqlca* ca) {
    return report(*ca, of(statement ? statement : connection ? connection : environment).code), SQL_SUCCESS;
}

// One package; the library binds it on first use. Host variables are bound and read in order.
static std::string boundToken;
static std::vector<std::string> texts;
static std::map<uint32_t, Handle> sections;
static const sqlaProgramId* program;
static sqlca* area;
static std::string dynamicText;
static std::vector<sqlaVariable> variables[3];

int32_t sqlastrt(const sqlaProgramId* caller, sqlca* ca) { return program = caller, area = ca, report(*ca, SQLITE_OK), 0; }
int32_t sqlaaloc(uint32_t usage, uint32_t count) { return variables[usage].resize(count), 0; }
int32_t sqlasetdata(uint32_t usage, uint32_t first, uint32_t count, const sqlaVariable* values) {
    return std::copy_n(values, count, variables[usage].begin() + first), 0;
}
int32_t sqlastls(uint32_t length, const char* statement) { return dynamicText.assign(statement, length), 0; }
void sqlastop() { variables[SQLA_INPUT].clear(), variables[SQLA_OUTPUT].clear(); }
void sqlacall(uint32_t call, uint32_t number) {
    const std::string token(program->consistencyToken, sizeof program->consistencyToken);
    if ((area->sqlcode = boundToken.empty() ? -805 : boundToken != token ? -818 : 0) != 0) return;
    Handle& section = sections[number];
    if (call == SQLA_CALL_PREPARE || section.statement == nullptr)
        prepare(section, call == SQLA_CALL_PREPARE ? dynamicText : texts.at(number - 1));
    if (call == SQLA_CALL_OPEN || call == SQLA_CALL_EXECUTE) {
        for (const sqlaVariable& input : variables[SQLA_INPUT])
            input.sqlType == SQL_VARCHAR
                ? sqlite3_bind_text(section.statement, 1, static_cast<char*>(input.data), static_cast<int>(input.length), nullptr)
                : sqlite3_bind_blob64(section.statement, 1, input.data, input.length, SQLITE_STATIC);
        run(section);
        if (call == SQLA_CALL_EXECUTE && sqlite3_changes(database) == 0) outcome(section, SQLITE_DONE);
    }
    if (call == SQLA_CALL_FETCH && SQLFetch(&section) == SQL_SUCCESS) {
        const sqlaVariable& output = variables[SQLA_OUTPUT].at(0);
        SQLLEN length = 0;
        SQLGetData(&section, 1, SQL_C_BINARY, output.data, output.length, &length);
        *output.valueLength = static_cast<uint32_t>(length);
    }
    if (call == SQLA_CALL_CLOSE) outcome(section, sqlite3_reset(section.statement));
    report(*area, section.code);
}
int32_t sqlabndx(const char* path, const char*, const sqloptList*, sqlca* ca) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("section ")) std::getline(file, texts.emplace_back());
        if (!line.starts_with("token ")) continue;
        for (boundToken.clear(); boundToken.size() < sizeof program->consistencyToken;)
            boundToken += static_cast<char>(std::stoi(line.substr(6 + 2 * boundToken.size(), 2), nullptr, 16));
    }
    return report(*ca, texts.empty() ? SQLITE_CANTOPEN : SQLITE_OK), ca->sqlcode;
}
