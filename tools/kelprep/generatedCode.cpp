#include "generatedCode.h"

namespace kelprep {
namespace {

constexpr std::string_view beforeProgram = R"code(
#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "embeddedSql.h"

namespace {
namespace kelprep {

)code";

constexpr std::string_view afterProgram = R"code(
[[maybe_unused]] inline sqlaVariable text(const char* value, size_t size, int16_t* indicator) noexcept {
    return {SQL_VARCHAR, static_cast<uint32_t>(::strnlen(value, size)), const_cast<char*>(value), nullptr, indicator};
}
[[maybe_unused]] inline sqlaVariable text(const char* value, int16_t* indicator) noexcept {
    return value == nullptr ? sqlaVariable{SQL_VARCHAR, 0, nullptr, nullptr, indicator}
                            : text(value, UINT32_MAX, indicator);
}
[[maybe_unused]] inline sqlaVariable number(const int32_t& value, int16_t* indicator) noexcept {
    return {SQL_INTEGER, sizeof value, const_cast<int32_t*>(&value), nullptr, indicator};
}
[[maybe_unused]] inline sqlaVariable blob(const sqlaBlob& value, int16_t* indicator) noexcept {
    return {SQL_LONGVARBINARY, value.length, value.data, nullptr, indicator};
}
[[maybe_unused]] inline sqlaVariable textRoom(char* value, size_t size, int16_t* indicator) noexcept {
    return {SQL_VARCHAR, static_cast<uint32_t>(size), value, nullptr, indicator};
}
[[maybe_unused]] inline sqlaVariable numberRoom(int32_t& value, int16_t* indicator) noexcept {
    return {SQL_INTEGER, sizeof value, &value, nullptr, indicator};
}
[[maybe_unused]] inline sqlaVariable blobRoom(sqlaBlob& value, int16_t* indicator) noexcept {
    return {SQL_LONGVARBINARY, value.room, value.data, &value.length, indicator};
}

inline bool handOver(uint32_t usage, std::initializer_list<sqlaVariable> variables) noexcept {
    const auto count = static_cast<uint32_t>(variables.size());
    return count == 0 || (sqlaaloc(usage, count) == 0 && sqlasetdata(usage, 0, count, variables.begin()) == 0);
}

[[maybe_unused]] inline void run(sqlca& ca, uint32_t kind, uint32_t section, std::initializer_list<sqlaVariable> inputs,
                                 std::initializer_list<sqlaVariable> outputs) noexcept {
    if (sqlastrt(&program, &ca) == 0 && handOver(SQLA_INPUT, inputs) && handOver(SQLA_OUTPUT, outputs)) {
        sqlacall(kind, section);
    }
    sqlastop();
}

[[maybe_unused]] inline void prepare(sqlca& ca, uint32_t section, const sqlaVariable& statement) noexcept {
    if (sqlastrt(&program, &ca) == 0 && sqlastls(statement.length, static_cast<const char*>(statement.data)) == 0) {
        sqlacall(SQLA_CALL_PREPARE, section);
    }
    sqlastop();
}

}  // namespace kelprep
}  // namespace
)code";

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + '"';
}

std::string programOf(const kelhost::BindFile& file) {
    std::string token;
    const std::string digits = kelhost::tokenText(kelhost::consistencyTokenOf(file.sections));
    for (size_t i = 0; i < digits.size(); i += 2) token += (i == 0 ? "'\\x" : ", '\\x") + digits.substr(i, 2) + '\'';
    return "constexpr sqlaProgramId program = {" + quoted(file.collection) + ", " + quoted(file.package) + ", {" +
           token + "}};\n";
}

}  // namespace

std::string generatedHead(const kelhost::BindFile& file, std::string_view sourceName) {
    std::string head = "// Made from embedded SQL by kelprep; changes belong into its source.";
    head += beforeProgram;
    head += programOf(file);
    head += afterProgram;
    return head + "#line 1 " + quoted(sourceName) + '\n';
}

std::string sectionCall(std::string_view kind, size_t section, const std::string& inputs, const std::string& outputs) {
    return "kelprep::run(ca, " + std::string(kind) + ", " + std::to_string(section) + ", {" + inputs + "}, {" +
           outputs + "});";
}

std::string prepareCall(size_t section, const std::string& text) {
    return "kelprep::prepare(ca, " + std::to_string(section) + ", " + text + ");";
}

}  // namespace kelprep
