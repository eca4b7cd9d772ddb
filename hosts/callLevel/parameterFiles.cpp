// The files stand under the instance directory. The way to one is walked name by name, so that no symbolic link leads
// out of it, whoever may change names there meanwhile.
#include "parameterFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "callLevel.h"
#include "fileWalk.h"

namespace kelhost {
namespace {

Outcome refuse(std::string_view name, std::string_view reason) {
    return failure("58030", "file \"" + std::string(name) + "\": " + std::string(reason));
}

Outcome refuse(std::string_view name, int errorNumber) {
    return refuse(name, std::generic_category().message(errorNumber));
}

Outcome readRegular(std::string_view name, int descriptor, std::string& content) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return refuse(name, errno);
    if (!S_ISREG(status.st_mode)) return refuse(name, "it is no regular file");
    if (static_cast<uint64_t>(status.st_size) > mostParameterFileBytes) return refuse(name, "it is larger than 2 MB");
    content.resize(mostParameterFileBytes + 1);
    size_t done = 0;
    for (;;) {
        const ssize_t got = ::read(descriptor, content.data() + done, content.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return refuse(name, errno);
        done += static_cast<size_t>(got);
        if (done > mostParameterFileBytes) return refuse(name, "it is larger than 2 MB");
        if (got == 0) break;
    }
    content.resize(done);
    return {};
}

Outcome readBelow(const std::string& directory, std::string_view name, std::string& content) {
    std::string_view rest = name;
    if (rest.starts_with('/')) {
        if (!rest.starts_with(directory + "/")) return refuse(name, "it is not under the instance directory");
        rest.remove_prefix(directory.size());
    }
    if (("/" + std::string(rest) + "/").find("/../") != std::string::npos) return refuse(name, "it holds \"..\"");
    FilePlace place;
    Descriptor file;
    int reason = findPlaceBelow(directory.c_str(), rest, place);
    if (reason == 0) reason = openRegularAt(place.directory.number(), place.name, O_RDONLY, 0, file);
    if (reason == EISDIR || reason == ENXIO) return refuse(name, "it is no regular file");
    if (reason != 0) return refuse(name, reason);
    return readRegular(name, file.number(), content);
}

Outcome readFile(const Session& session, FileParameter& file) {
    const auto* chars = reinterpret_cast<const char*>(file.name);
    const SQLSMALLINT length = file.nameLength == nullptr ? SQL_NTS : *file.nameLength;
    if (chars == nullptr || (length < 0 && length != SQL_NTS)) return refuse("", "there is no name");
    const auto room = static_cast<size_t>(std::max<SQLSMALLINT>(file.maximumNameLength, 0));
    const size_t size = length == SQL_NTS ? ::strnlen(chars, room + 1) : static_cast<size_t>(length);
    if (size == 0) return refuse("", "there is no name");
    if (size > room) return refuse(std::string_view(chars, room), "the name is longer than was announced");
    if (file.options == nullptr || *file.options != SQL_FILE_READ)
        return refuse({chars, size}, "only reading is possible");
    const std::string_view name(chars, size);
    if (name.find('\0') != std::string_view::npos) return refuse(name, "the name holds a zero byte");
    return readBelow(session.instance().path(), name, file.content);
}

}  // namespace

bool isNullFile(const FileParameter& file) noexcept {
    return file.indicator != nullptr && *file.indicator == SQL_NULL_DATA;
}

Outcome readParameterFiles(Statement& statement) {
    Outcome outcome;
    for (FileParameter& file : statement.files) {
        if (!isNullFile(file)) outcome = readFile(*statement.session, file);
        if (outcome.failed()) break;
    }
    return outcome;
}

void forgetParameter(Statement& statement, SQLUSMALLINT parameter) {
    std::erase_if(statement.files, [parameter](const FileParameter& file) { return file.number == parameter; });
    std::erase_if(statement.values, [parameter](const BoundValue& value) { return value.number == parameter; });
}

}  // namespace kelhost

SQLRETURN SQLBindFileToParam(SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT /*sqlType*/, SQLCHAR* fileName,
                             SQLSMALLINT* fileNameLength, SQLUINTEGER* fileOptions, SQLSMALLINT maxFileNameLength,
                             SQLINTEGER* indicator) {
    using kelhost::Statement;
    return kelhost::onObject(kelhost::statements.find(stmt), [&](Statement& statement) -> SQLRETURN {
        if (!statement.isPrepared) return kelhost::fail(statement.outcome, "HY010", "nothing was prepared");
        if (parameter == 0) return kelhost::fail(statement.outcome, "07009", "parameters are counted from 1");
        kelhost::forgetParameter(statement, parameter);
        statement.files.push_back({parameter, fileName, fileNameLength, fileOptions, maxFileNameLength, indicator});
        return SQL_SUCCESS;
    });
}
