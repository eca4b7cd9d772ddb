/* A program of static SQL as its preparer would make it: its sections, and the calls that run them. */
#ifndef TESTS_HOST_PACKAGE_CLIENT_H
#define TESTS_HOST_PACKAGE_CLIENT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "bindFile.h"
#include "embeddedSql.h"
#include "host/callLevelClient.h"

namespace hosttest {

inline constexpr kelhost::BindVariable textShape{};

inline kelhost::BindSection statementSection(const std::string& text, size_t inputs = 0) {
    return {kelhost::SectionKind::statement, text, std::vector(inputs, textShape), {}};
}
inline kelhost::BindSection cursorSection(const std::string& text, size_t inputs = 0, size_t outputs = 1) {
    return {kelhost::SectionKind::cursor, text, std::vector(inputs, textShape), std::vector(outputs, textShape)};
}
inline kelhost::BindSection dynamicSection() {
    return {kelhost::SectionKind::dynamic, "", {}, {}};
}

inline sqlaVariable textIn(const std::string& text, int16_t* indicator = nullptr) {
    return {SQL_VARCHAR, static_cast<uint32_t>(text.size()), const_cast<char*>(text.data()), nullptr, indicator};
}
inline sqlaVariable bytesIn(const std::string& bytes, int16_t* indicator = nullptr) {
    return {SQL_LONGVARBINARY, static_cast<uint32_t>(bytes.size()), const_cast<char*>(bytes.data()), nullptr,
            indicator};
}
inline sqlaVariable numberIn(int32_t& number, int16_t* indicator = nullptr) {
    return {SQL_INTEGER, sizeof number, &number, nullptr, indicator};
}

class PackageClient {
public:
    PackageClient(std::string package, std::vector<kelhost::BindSection> sections)
        : file_{"NULLID", std::move(package), std::move(sections)} {}

    const kelhost::BindFile& file() const { return file_; }

    /* The program's identity; `token` in place of its own. */
    sqlaProgramId id() const { return id(kelhost::consistencyTokenOf(file_.sections)); }
    sqlaProgramId id(const kelhost::ConsistencyToken& token) const {
        sqlaProgramId program = {file_.collection.c_str(), file_.package.c_str(), {}};
        std::copy(token.begin(), token.end(), program.consistencyToken);
        return program;
    }

    sqlca bind(const std::string& directory, uint32_t grant = 1) const {
        const std::string path = directory + "/" + file_.package + ".bnd";
        std::ofstream(path, std::ios::binary) << kelhost::writeBindFile(file_);
        const sqloptValue option = {SQLA_BIND_GRANT, grant};
        const sqloptList options = {1, &option};
        sqlca ca;
        EXPECT_EQ(sqlabndx(path.c_str(), nullptr, &options, &ca), ca.sqlcode);
        return ca;
    }

    sqlca call(uint32_t kind, uint32_t section, const std::vector<sqlaVariable>& inputs = {},
               const std::vector<sqlaVariable>& outputs = {}) const {
        return callAs(id(), kind, section, inputs, outputs);
    }

    static sqlca callAs(const sqlaProgramId& program, uint32_t kind, uint32_t section,
                        const std::vector<sqlaVariable>& inputs = {}, const std::vector<sqlaVariable>& outputs = {},
                        const std::string& text = "") {
        sqlca ca;
        std::memset(&ca, 0x2A, sizeof ca);
        bool ready = sqlastrt(&program, &ca) == 0;
        ready = ready && handOver(SQLA_INPUT, inputs) && handOver(SQLA_OUTPUT, outputs);
        ready = ready && (text.empty() || sqlastls(static_cast<uint32_t>(text.size()), text.data()) == 0);
        if (ready) sqlacall(kind, section);
        sqlastop();
        return ca;
    }

    sqlca execute(uint32_t section, const std::vector<sqlaVariable>& inputs = {}) const {
        return call(SQLA_CALL_EXECUTE, section, inputs);
    }
    sqlca prepare(uint32_t section, const std::string& text) const {
        return callAs(id(), SQLA_CALL_PREPARE, section, {}, {}, text);
    }
    sqlca open(uint32_t section, const std::vector<sqlaVariable>& inputs = {}) const {
        return call(SQLA_CALL_OPEN, section, inputs);
    }
    sqlca fetch(uint32_t section, const std::vector<sqlaVariable>& outputs) const {
        return call(SQLA_CALL_FETCH, section, {}, outputs);
    }
    sqlca close(uint32_t section) const { return call(SQLA_CALL_CLOSE, section); }

    /* One text of the next row, "100" at the end. */
    std::string fetchText(uint32_t section) const {
        char text[200] = "";
        const sqlca ca = fetch(section, {{SQL_VARCHAR, sizeof text, text, nullptr, nullptr}});
        return ca.sqlcode == 0 ? text : std::to_string(ca.sqlcode);
    }

private:
    static bool handOver(uint32_t usage, const std::vector<sqlaVariable>& variables) {
        const auto count = static_cast<uint32_t>(variables.size());
        return count == 0 || (sqlaaloc(usage, count) == 0 && sqlasetdata(usage, 0, count, variables.data()) == 0);
    }

    kelhost::BindFile file_;
};

}  // namespace hosttest

#endif
