/* Policy table reader: connects, makes sure that the policy table exists, runs one SELECT and takes the document out of
 * its first row. Every call uses handles of its own. */
#include "sqlpiApplReadPolicyTable.h"

#include <ctime>

#include "base/sqlpiCliHandles.h"
#include "base/sqlpiOwn.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "clock.h"
#include "services/sqlpiPolicyQuery.h"

namespace {

constexpr const char* tag = "sqlpiApplReadPolicyTable";

/* Addresses of the first page name no text: they come of a member of a null record. */
bool isText(const char* key) noexcept {
    return reinterpret_cast<uintptr_t>(key) >= 4096;
}

void traceKeys(const char* function, const char* med, const char* decision, const char* name) noexcept {
    if (!sqlpiTraceWants(PDT_FLAG_ENTRY)) return;
    const auto item = [](const char* key) { return isText(key) ? sqlpiTextItem(key) : pdtItem{PDT_TEXT, 0, key}; };
    const pdtItem items[] = {item(med), item(decision), item(name)};
    pdtData3(function, 0, &items[0], &items[1], &items[2]);
}

/* The statement's WHERE clause: each predicate is formatted by itself and then appended. */
class Predicates {
public:
    explicit Predicates(sqlpiTextBuilder& query) noexcept : query_(query) {}

    void add(const char* comparison, const char* value) noexcept {
        char clause[SQLPI_QUERY_SIZE];
        sqlpiTextBuilder(clause, sizeof clause)
            .appendFormat("%s %s'%s' ", count_ == 0 ? "WHERE" : "AND", comparison, value);
        query_.append(clause);
        ++count_;
    }
    void addKey(const char* comparison, const char* key) noexcept {
        if (isText(key) && *key != '\0') add(comparison, key);
    }

private:
    sqlpiTextBuilder& query_;
    int count_ = 0;
};

constexpr size_t timestampSize = sizeof "yyyy-mm-dd-hh.mm.ss.uuuuuu";

/* The moment in local time, as the database writes it. False where the year has not four digits. */
bool formatTimestamp(char (&timestamp)[timestampSize], int64_t moment) noexcept {
    tm local = {};
    if (sqlo_localtime(&moment, &local) != 0) return false;
    const int year = local.tm_year + 1900;
    return year >= 1000 && year <= 9999 &&
           std::strftime(timestamp, sizeof timestamp, "%Y-%m-%d-%H.%M.%S.000000", &local) > 0;
}

/* One read: its handles, released with it, and the outcome of the step that failed. */
class PolicyRead {
public:
    PolicyRead(const sqlpiFunctionTrace& trace, sqlca& ca) noexcept : trace_(trace), ca_(ca) {}

    SQLRETURN connect() noexcept {
        SQLRETURN status = cli_.environment.allocate(SQL_NULL_HANDLE);
        if (!SQL_SUCCEEDED(status)) return failed(10, status);
        status = cli_.connection.allocate(cli_.environment.get());
        if (!SQL_SUCCEEDED(status)) return failed(20, status);
        status = cli_.session.connect(cli_.connection.get());
        if (!SQL_SUCCEEDED(status)) return failed(30, status);
        status = cli_.statement.allocate(cli_.connection.get());
        return SQL_SUCCEEDED(status) ? SQL_SUCCESS : failed(40, status);
    }

    /* Verifies the policy table, or creates it. Neither failure stops the read. */
    void checkTable() noexcept {
        SQLRETURN status = cli_.execute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')");
        if (SQL_SUCCEEDED(status)) return;
        failed(45, status);
        status = cli_.execute("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')");
        if (!SQL_SUCCEEDED(status)) failed(47, status);
    }

    /* Positions on the first row. A null query is one that could not be written. */
    SQLRETURN select(const char* query) noexcept {
        if (query == nullptr) return refused(100);
        SQLRETURN status = cli_.execute(query);
        if (!SQL_SUCCEEDED(status)) return failed(100, status);
        status = SQLFetch(cli_.statement.get());
        return SQL_SUCCEEDED(status) ? SQL_SUCCESS : failed(110, status);
    }

    SQLRETURN takeDocument(char** outBuffer, int32_t* outLength) noexcept {
        char scratch[4];
        SQLLEN size = 0;
        SQLRETURN status = getData(scratch, 0, &size);
        if (SQL_SUCCEEDED(status) && (size < 0 || size > INT32_MAX))
            status = SQL_ERROR;  // no value, or no known length
        if (!SQL_SUCCEEDED(status)) return failed(120, status);

        sqlpiBlock document = sqlpiTakeBlock(static_cast<size_t>(size), tag);
        if (document == nullptr) return failed(125, SQL_ERROR);

        SQLLEN length = 0;
        status = getData(document.get(), size, &length);
        if (status == SQL_SUCCESS && (length < 0 || length > size)) status = SQL_ERROR;
        if (status != SQL_SUCCESS) return failed(130, status);
        *outBuffer = document.release();
        *outLength = static_cast<int32_t>(length);
        return SQL_SUCCESS;
    }

private:
    SQLRETURN getData(void* buffer, SQLLEN size, SQLLEN* length) const noexcept {
        return SQLGetData(cli_.statement.get(), 1, SQL_C_BINARY, buffer, size, length);
    }

    SQLRETURN failed(uint32_t probe, SQLRETURN status) const noexcept {
        cli_.takeSqlca(ca_);
        trace_.error(probe, status, ca_);
        return status;
    }

    /* A value that no statement can tell: the engine has not been asked, and knows of no error. */
    SQLRETURN refused(uint32_t probe) const noexcept {
        sqlpiPrepSqlca(ca_, -302, nullptr, {"UPDATE_TIME"});
        trace_.error(probe, SQL_ERROR, ca_);
        return SQL_ERROR;
    }

    const sqlpiFunctionTrace& trace_;
    sqlca& ca_;
    sqlpiCliHandles cli_;
};

}  // namespace

bool sqlpiBuildPolicyQuery(char (&query)[SQLPI_QUERY_SIZE], const char* med, const char* decision, const char* name,
                           const int64_t* sinceTime) noexcept {
    sqlpiTextBuilder text(query, sizeof query);
    text.append("SELECT POLICY FROM SYSTOOLS.POLICY ");
    Predicates predicates(text);
    predicates.addKey("MED=", med);
    predicates.addKey("DECISION=", decision);
    predicates.addKey("NAME=", name);
    if (sinceTime == nullptr) return true;
    char timestamp[timestampSize];
    if (!formatTimestamp(timestamp, *sinceTime)) return false;
    predicates.add("UPDATE_TIME > ", timestamp);
    return true;
}

int32_t sqlpiGetPolicy(const char* med, int32_t /*medKind*/, const char* decision, int32_t /*decisionKind*/,
                       const char* name, int32_t /*nameKind*/, char** outBuffer, int32_t* outLength,
                       const int64_t* sinceTime) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetPolicy");
    traceKeys("sqlpiGetPolicy", med, decision, name);
    if (outBuffer == nullptr || outLength == nullptr) return trace.exit(int32_t{SQL_ERROR});
    *outBuffer = nullptr;
    *outLength = 0;
    sqlca ca = {};
    SQLRETURN status;
    {
        PolicyRead read(trace, ca);
        status = read.connect();
        if (status == SQL_SUCCESS) {
            read.checkTable();
            char query[SQLPI_QUERY_SIZE];
            status = read.select(sqlpiBuildPolicyQuery(query, med, decision, name, sinceTime) ? query : nullptr);
        }
        if (status == SQL_SUCCESS) status = read.takeDocument(outBuffer, outLength);
    }
    if (status != SQL_SUCCESS) trace.data(140, {PDT_SQLCA, sizeof ca, &ca});
    return trace.exit(int32_t{status});
}
