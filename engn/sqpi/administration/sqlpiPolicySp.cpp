/* Policy administration entry points. */
#include "sqlpiPolicySp.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "administration/sqlpiPolicyInstall.h"
#include "base/sqlpiCliHandles.h"
#include "base/sqlpiMemory.h"
#include "base/sqlpiNumber.h"
#include "base/sqlpiOwn.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"
#include "engineState.h"
#include "logs.h"
#include "messages.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiFormat.h"
#include "sqlpiStatsProfAppl.h"

namespace {

constexpr const char* install = "kelPolicyInstallSpCommon";
constexpr const char* retrieve = "kelPolicyRetrieve";
constexpr const char* tag = "sqlpiPolicySp";
constexpr const char* table = "SYSTOOLS.POLICY";

constexpr size_t descriptionSize = 4095;
constexpr size_t messageBufferSize = 4097;
constexpr size_t notificationSize = 4093;
constexpr size_t carriedDocumentSize = 9000;
constexpr size_t statementSize = 2048;
static_assert(carriedDocumentSize >= SQLPI_OLD_REORG_POLICY_SIZE);

bool isNull(const int16_t* indicator) noexcept {
    return indicator != nullptr && *indicator < 0;
}

/* A text argument. One that does not fit is cut, which must be told: the rest of a key is another row's. */
template <size_t Size>
struct Argument {
    char text[Size + 1];
    bool isTooLong;

    Argument(const char* value, const int16_t* indicator, const char* whenNull) noexcept {
        const bool given = value != nullptr && !isNull(indicator);
        const std::string_view source = given ? std::string_view(value, strnlen(value, Size + 1)) : whenNull;
        isTooLong = source.size() > Size;
        text[source.copy(text, Size)] = '\0';
    }
    bool isEmpty() const noexcept { return text[0] == '\0'; }
};
using Key = Argument<SQLPI_KEY_SIZE>;

/* Appends a key as an SQL literal. */
void appendLiteral(sqlpiTextBuilder& statement, const Key& key) noexcept {
    statement.append("'");
    for (const char* rest = key.text; *rest != '\0'; ++rest)
        statement.append(*rest == '\'' ? "''" : std::string_view(rest, 1));
    statement.append("'");
}

/* What stands behind the last such label of a terminated text; null without one. */
const char* findBehind(const char* text, std::string_view label) noexcept {
    const size_t place = std::string_view(text).rfind(label);
    return place == std::string_view::npos ? nullptr : text + place + label.size();
}

/* The settings in a description of the reorg policy, each the number behind its label; -1 without one. */
struct DescribedSettings {
    int64_t reclaim = -1;
    int64_t pages = -1;

    /* Labels count behind the options only: a table filter stands before them. */
    explicit DescribedSettings(const char* description) noexcept {
        const char* const options = findBehind(description, "Reorganization options: ");
        if (options == nullptr) return;
        if (const char* number = findBehind(options, "Reclaim Extents Size for MDC Tables: "))
            reclaim = sqlpiToInt64(number);
        if (const char* number = findBehind(options, "Number of Index Pseudo Emptypage for Volatile Tables: "))
            pages = sqlpiToInt64(number);
    }
};

class Install {
public:
    Install(const char* action, const char* med, const char* decision, const char* name, const char* policyFile,
            const sqludf_lob* policy, const kelPolicyInstallNulls& nulls, char* sqlstate, char* message,
            const sqludf_dbinfo* dbinfo) noexcept
        : action_(action == nullptr || isNull(nulls.action) ? '\0' : *action),
          med_(med, nulls.med, ""),
          decision_(decision, nulls.decision, "NOP"),
          name_(name, nulls.name, table),
          policyFile_(policyFile, nulls.policyFile, ""),
          policy_(isNull(nulls.policy) ? nullptr : policy),
          sqlstate_(sqlstate),
          message_(message),
          dbinfo_(dbinfo) {
        setState("00000");
        message_[0] = '\0';
    }

    int32_t run() noexcept {
        if (!textsFit() || !open()) return -1;
        switch (action_) {
            case 'I':
                return prepare() && bindPolicy() && execute() ? 0 : -1;
            case 'U':
                return prepare() && bindPolicy() ? replace() : -1;
            case 'D':
                return remove() ? 0 : -1;
            default:
                setState("56038");
                return -1;
        }
    }

private:
    void setState(const char* state) noexcept { std::memcpy(sqlstate_, state, SQLUDF_STATE_SIZE); }

    /* The first failure of a call is the one that is told. */
    bool fail(const sqlca& ca) noexcept {
        if (failed_) return false;
        failed_ = true;
        setState("58004");
        const sqlpiBlock text = sqlpiTakeBlock(messageBufferSize, tag);
        if (text != nullptr && sqlaintp_api(text.get(), messageBufferSize, 0, SQL_MESSAGE_FILE, &ca) > 0)
            sqlpiTextBuilder(message_, SQLUDF_MESSAGE_SIZE).append(text.get());
        return false;
    }
    bool check(SQLRETURN status) noexcept {
        if (SQL_SUCCEEDED(status) || status == SQL_NO_DATA) return true;
        sqlca ca = {};
        handles_.takeSqlca(ca);
        trace_.error(10, ca.sqlcode, ca);
        return fail(ca);
    }
    bool failArgument(const char* position) noexcept {
        sqlca ca;
        sqloinca(&ca);
        sqlpiPrepSqlca(ca, SQLPI_BAD_ARGUMENT, nullptr, {position, install});
        return fail(ca);
    }

    bool textsFit() noexcept {
        if (med_.isTooLong) return failArgument("2");
        if (decision_.isTooLong) return failArgument("3");
        if (name_.isTooLong) return failArgument("4");
        return !policyFile_.isTooLong || failArgument("5");
    }

    bool open() noexcept {
        return check(handles_.environment.allocate(SQL_NULL_HANDLE)) &&
               check(handles_.connection.allocate(handles_.environment.get())) &&
               check(SQLSetConnectAttr(handles_.connection.get(), SQL_ATTR_AUTOCOMMIT,
                                       reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0)) &&
               check(handles_.session.connect(handles_.connection.get())) &&
               check(handles_.statement.allocate(handles_.connection.get()));
    }

    void appendWhere(sqlpiTextBuilder& statement) const noexcept {
        statement.append(" WHERE MED = ");
        appendLiteral(statement, med_);
        statement.append(" AND DECISION = ");
        appendLiteral(statement, decision_);
        statement.append(" AND NAME = ");
        appendLiteral(statement, name_);
        statement.append(" ");
    }

    bool prepare() noexcept {
        char text[statementSize];
        sqlpiTextBuilder statement(text, sizeof text);
        if (action_ == 'I') {
            statement.append("INSERT INTO ")
                .append(table)
                .append(" (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (");
            appendLiteral(statement, med_);
            statement.append(", ");
            appendLiteral(statement, decision_);
            statement.append(", ");
            appendLiteral(statement, name_);
            statement.append(", CURRENT TIMESTAMP, ?) ");
        } else {
            statement.append("UPDATE ").append(table).append(" SET UPDATE_TIME=CURRENT TIMESTAMP, POLICY = ?");
            appendWhere(statement);
        }
        return check(SQLPrepare(handles_.statement.get(), sqlpiCliText(text), SQL_NTS));
    }

    bool bindPolicy() noexcept {
        if (!policyFile_.isEmpty()) {
            fileNameLength_ = static_cast<SQLSMALLINT>(std::strlen(policyFile_.text));
            return check(SQLBindFileToParam(handles_.statement.get(), 1, SQL_LONGVARBINARY,
                                            reinterpret_cast<SQLCHAR*>(policyFile_.text), &fileNameLength_,
                                            &fileOptions_, SQLPI_POLICY_FILE_SIZE, nullptr));
        }
        if (policy_ == nullptr || policy_->length > SQLUDF_LARGEST_LOB) return failArgument("6");
        return bind(policy_->data, policy_->length);
    }
    bool bind(const char* bytes, size_t length) noexcept {
        boundLength_ = static_cast<SQLLEN>(length);
        return check(SQLBindParameter(handles_.statement.get(), 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY,
                                      SQLUDF_LARGEST_LOB, 0, const_cast<char*>(bytes), boundLength_, &boundLength_));
    }

    bool execute() noexcept { return check(SQLExecute(handles_.statement.get())); }

    bool remove() noexcept {
        char text[statementSize];
        sqlpiTextBuilder statement(text, sizeof text);
        statement.append("DELETE FROM ").append(table);
        appendWhere(statement);
        return check(handles_.execute(text));
    }

    /* Describes the policy named by the keys as it is stored now. */
    bool describe(char* description, uint32_t probe) const noexcept {
        std::memset(description, 0, descriptionSize);
        if (sqpiGetPolicyFormatString(description, descriptionSize, name_.text) == SQLPI_FORMAT_OK) return true;
        pdLogPrintf(PD_WARNING, install, probe, "Unable to obtain policy format message. Type %s is unknown",
                    name_.text);
        return false;
    }

    int32_t replace() noexcept {
        const sqlpiBlock before = sqlpiTakeBlock(descriptionSize, tag);
        const sqlpiBlock after = sqlpiTakeBlock(descriptionSize, tag);
        if (before == nullptr || after == nullptr) {
            failNoMemory();
            return -1;
        }
        const sqlpiMemoryWatch watch;
        describe(before.get(), 20);
        if (watch.sawShortage()) {
            failNoMemory();  // the description may lack a setting that is to be kept
            return -1;
        }
        const bool replaced = execute();
        const bool carried = carryReorgSettingsOver(before.get());
        if (describe(after.get(), 40)) notify(before.get(), after.get());
        return replaced && carried ? 0 : -1;
    }
    bool failNoMemory() noexcept {
        sqlca ca;
        sqloinca(&ca);
        sqlpiReportNoMemory(ca, install, 30);
        return fail(ca);
    }

    /* Whatever the keys are: administrators' tools write reorg policies that do not know these two settings, and rely
     * on them being kept. */
    bool carryReorgSettingsOver(const char* before) noexcept {
        sqlpiReorgPolicy reorg = {};
        bool changed = false;
        const sqlpiMemoryWatch watch;
        sqlpiGetReorg(&reorg, nullptr, &changed);
        const sqlpiBlock filter(reorg.tablesFilter, sqlpiFreeBlock{tag});
        if (watch.sawShortage()) return failNoMemory();
        // Only the reorg policy is described with them; others may have a filter that reads like its description.
        const DescribedSettings old(SQLPI_REORG_KEY.name == std::string_view(name_.text) ? before : "");
        uint64_t& reclaim = reorg.reclaimExtentsSizeForMDCTables;
        uint64_t& pages = reorg.numInxPseudoEmptyPagesForVolatileTables;
        if (reclaim == 0 && pages == 0 && old.reclaim < 0 && old.pages < 0) return true;
        reclaim = static_cast<uint64_t>(std::max<int64_t>(old.reclaim, 0));
        pages = static_cast<uint64_t>(std::max<int64_t>(old.pages, 0));
        return storeReorg(reorg);
    }

    bool storeReorg(const sqlpiReorgPolicy& reorg) noexcept {
        const auto record = sqlpiMakePlain<sqlpiReleasedRecord<reorgPolicy>>();
        const sqlpiBlock document = sqlpiTakeBlock(carriedDocumentSize, tag);
        if (record == nullptr || document == nullptr) return failNoMemory();
        std::memset(document.get(), 0, carriedDocumentSize);
        if (sqlpiFillAutoReorgValues(&reorg, record.get()) != SQLPI_CONFIG_OK ||
            sqlpiGenerateOldReorgPolicy(*record, document.get()) != SQLPI_CONFIG_OK) {
            sqlca ca;
            sqloinca(&ca);
            sqlpiPrepSqlca(ca, SQLPI_REFUSED_DOCUMENT, nullptr, {SQLPI_TEXT_TOO_LONG});
            return fail(ca);
        }
        return bind(document.get(), std::strlen(document.get())) && execute();
    }

    void notify(const char* before, const char* after) const noexcept {
        constexpr size_t wholeSize = 2 * descriptionSize + SQLPI_KEY_SIZE + sizeof dbinfo_->dbname + 3;
        const sqlpiBlock record = sqlpiTakeBlock(wholeSize, tag);
        if (record == nullptr) return;
        constexpr std::string_view separator("\xFF", 1);
        std::string_view database;
        if (dbinfo_ != nullptr)
            database = {dbinfo_->dbname, std::min<size_t>(dbinfo_->dbnamelen, sizeof dbinfo_->dbname)};
        sqlpiTextBuilder text(record.get(), wholeSize);
        text.append(name_.text).append(separator).append(database).append(separator);
        text.append(before).append(separator).append(after);
        sqlt_logadmin(SQLT_ADMIN_POLICY_CHANGED, PD_INFO, install, 50, record.get(),
                      sqlpiCutUtf8({record.get(), text.length()}, notificationSize).size());
    }

    char action_;
    Key med_;
    Key decision_;
    Key name_;
    Argument<SQLPI_POLICY_FILE_SIZE> policyFile_;
    const sqludf_lob* policy_;
    char* sqlstate_;
    char* message_;
    const sqludf_dbinfo* dbinfo_;

    bool failed_ = false;
    SQLSMALLINT fileNameLength_ = 0;
    SQLUINTEGER fileOptions_ = SQL_FILE_READ;
    SQLLEN boundLength_ = 0;
    sqlpiFunctionTrace trace_{install};
    sqlpiCliHandles handles_;
};

/* The query for the keys that are given; false when it does not fit, with that key's position. */
bool buildQuery(sqlpiTextBuilder& query, const char* const (&keys)[3], const int16_t* nulls,
                const char*& position) noexcept {
    constexpr const char* columns[] = {"MED", "DECISION", "NAME"};
    constexpr const char* positions[] = {"1", "2", "3"};
    query.append("SELECT MED, DECISION, NAME, POLICY FROM SYSTOOLS.POLICY ");
    const char* connective = "WHERE ";
    for (size_t i = 0; i < std::size(keys); ++i) {
        if (isNull(nulls == nullptr ? nullptr : nulls + i) || keys[i] == nullptr || *keys[i] == '\0') continue;
        query.append(connective).append(columns[i]).append("='").append(keys[i]).append("' ");
        connective = "AND ";
        position = positions[i];
        if (query.wasCut()) return false;
    }
    return true;
}

}  // namespace

int32_t kelPolicyInstallSpCommon(const char* action, const char* med, const char* decision, const char* name,
                                 const char* policyFile, const sqludf_lob* policy, const kelPolicyInstallNulls* nulls,
                                 char* sqlstate, char* message, const sqludf_dbinfo* dbinfo) noexcept {
    if (sqlstate == nullptr || message == nullptr) return -1;
    const kelPolicyInstallNulls given = nulls == nullptr ? kelPolicyInstallNulls{} : *nulls;
    return Install(action, med, decision, name, policyFile, policy, given, sqlstate, message, dbinfo).run();
}

int32_t kelPolicyInstallSp(const char* action, const char* med, const char* decision, const char* name,
                           const char* policyFile, const sqludf_lob* policy, const kelPolicyInstallNulls* nulls,
                           char* sqlstate, char* message, const sqludf_dbinfo* dbinfo) noexcept {
    return kelPolicyInstallSpCommon(action, med, decision, name, policyFile, policy, nulls, sqlstate, message, dbinfo);
}

int32_t kelPolicyInstallSpLocal(const char* action, const char* med, const char* decision, const char* name,
                                const char* policyFile, const sqludf_lob* policy, const kelPolicyInstallNulls* nulls,
                                char* sqlstate, char* message, const sqludf_dbinfo* dbinfo) noexcept {
    return kelPolicyInstallSpCommon(action, med, decision, name, policyFile, policy, nulls, sqlstate, message, dbinfo);
}

void kelPolicyRetrieve(const char* med, const char* decision, const char* name, const int16_t* nullIndicators,
                       sqlca* ca) noexcept {
    sqlpiFunctionTrace trace(retrieve);
    if (ca == nullptr) return;
    ossOneTimeOnly();
    *ca = {};
    sqlpiCliHandles handles;
    if (!SQL_SUCCEEDED(handles.environment.allocate(SQL_NULL_HANDLE)) ||
        !SQL_SUCCEEDED(handles.connection.allocate(handles.environment.get())) ||
        !SQL_SUCCEEDED(handles.session.connect(handles.connection.get())) ||
        !SQL_SUCCEEDED(handles.statement.allocate(handles.connection.get()))) {
        handles.takeSqlca(*ca);
        trace.error(10, ca->sqlcode, *ca);
        return;
    }
    char text[statementSize];
    sqlpiTextBuilder query(text, sizeof text);
    const char* position = "1";
    if (!buildQuery(query, {med, decision, name}, nullIndicators, position)) {
        sqlpiPrepSqlca(*ca, SQLPI_BAD_ARGUMENT, nullptr, {position, retrieve});
        std::memcpy(ca->sqlstate, "5U0ZZ", sizeof ca->sqlstate);
        return;
    }
    if (!SQL_SUCCEEDED(handles.execute(text))) {
        handles.takeSqlca(*ca);
        trace.error(20, ca->sqlcode, *ca);
        return;
    }
    handles.statement.leave();  // the open result set is the caller's
}

int32_t kelPolicyValidateUdf(...) noexcept {
    return 0;
}
