#include "sqliteAuthorizer.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "dialect.h"

namespace kelhost {
namespace {

using Names = std::span<const char* const>;

// What LIKE and GLOB are compiled to.
constexpr std::array operators = {"like", "glob"};

// What the database itself calls to alter a table, where no text can, and to rebuild a file.
constexpr const char* alteration = "sqlite_";
constexpr std::array rebuilding = {"quote"};

// Limits of a file and of the session, and questions; none of them lets a statement do more.
constexpr std::array pragmas = {"max_page_count", "page_count",     "freelist_count", "incremental_vacuum",
                                "optimize",       "analysis_limit", "quick_check"};

char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWith(std::string_view name, std::string_view beginning) noexcept {
    return name.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), name.begin(),
                      [](char one, char other) { return lower(one) == lower(other); });
}

bool isOneOf(std::string_view name, Names names) noexcept {
    return std::any_of(names.begin(), names.end(), [name](std::string_view known) {
        return name.size() == known.size() && startsWith(name, known);
    });
}

bool isDatabasesOwn(std::string_view table) noexcept {
    const Names own = sqliteDialect.ownNames;
    return std::any_of(own.begin(), own.end(), [table](const char* beginning) { return startsWith(table, beginning); });
}

bool mayRunPragma(std::string_view name, const char* argument) noexcept {
    if (isOneOf(name, pragmas)) return true;
    return name == "query_only" && argument != nullptr && std::string_view(argument) == "1";
}

bool mayDo(Compiling compiling, int action, std::string_view first, const char* second) noexcept {
    const bool isClient = compiling == Compiling::client;
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_RECURSIVE:
            return true;
        case SQLITE_READ:
        case SQLITE_INSERT:
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
            return !isClient || !isDatabasesOwn(first);
        case SQLITE_FUNCTION:
            return second != nullptr &&
                   (isOneOf(second, sqliteDialect.functions) || isOneOf(second, operators) ||
                    (!isClient && (startsWith(second, alteration) || isOneOf(second, rebuilding))));
        case SQLITE_CREATE_TABLE:
        case SQLITE_CREATE_INDEX:
        case SQLITE_CREATE_VIEW:
        case SQLITE_CREATE_TRIGGER:
        case SQLITE_DROP_TABLE:
        case SQLITE_DROP_INDEX:
        case SQLITE_DROP_VIEW:
        case SQLITE_DROP_TRIGGER:
        case SQLITE_ALTER_TABLE:
        case SQLITE_REINDEX:
        case SQLITE_ANALYZE:
        case SQLITE_TRANSACTION:
        case SQLITE_SAVEPOINT:
            return !isClient;
        case SQLITE_PRAGMA:
            return !isClient && mayRunPragma(first, second);
        case SQLITE_ATTACH:  // VACUUM attaches a file that has no name
            return compiling == Compiling::rebuilding && first.empty();
        default:
            return false;
    }
}

}  // namespace

int authorise(Compiling compiling, int action, const char* first, const char* second) noexcept {
    if (compiling == Compiling::opening) return SQLITE_OK;
    return mayDo(compiling, action, first == nullptr ? "" : first, second) ? SQLITE_OK : SQLITE_DENY;
}

}  // namespace kelhost
