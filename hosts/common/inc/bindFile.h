/* The bind file: what the preparer of embedded SQL found in a source, and what the binder puts into a database.
 *
 * A text of lines. The first names the format and its version, the last holds a checksum of all before it; a section's
 * statement text follows its line and has the length stated there. */
#ifndef KELHOST_BIND_FILE_H
#define KELHOST_BIND_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelhost {

enum class HostType {
    varchar, /* text */
    integer, /* a signed 32-bit number */
    blob,    /* a large object */
};

/* The shape of a host variable. */
struct BindVariable {
    HostType type = HostType::varchar;
    uint32_t size = 0;     /* bytes of a text's array; 0: it has no array of its own */
    bool nullable = false; /* it has an indicator */

    friend bool operator==(const BindVariable&, const BindVariable&) = default;
};

enum class SectionKind {
    statement, /* runs by itself */
    cursor,    /* a query that is read row by row */
    dynamic,   /* its text comes at run time */
};

/* One statement of a package. Host variables stand in its text as '?'. */
struct BindSection {
    SectionKind kind = SectionKind::statement;
    std::string text{}; /* empty for a dynamic one */
    std::vector<BindVariable> inputs{};
    std::vector<BindVariable> outputs{};
};

using ConsistencyToken = std::array<char, 8>;

struct BindFile {
    std::string collection{};
    std::string package{};
    std::vector<BindSection> sections{}; /* section 1 is the first */
};

inline constexpr size_t mostBindFileBytes = size_t{1} << 20U;
inline constexpr size_t mostBindSections = 1000;
inline constexpr size_t mostBindVariables = 1000; /* that a section reads, and that it fills */

/* Names of collections and packages: 1 to 128 letters, digits and underscores. */
bool isPackageName(std::string_view name) noexcept;

/* Depends on every statement and the shape of every host variable, and on nothing else. */
ConsistencyToken consistencyTokenOf(const std::vector<BindSection>& sections);
std::string tokenText(const ConsistencyToken& token); /* 16 hexadecimal digits */

std::string writeBindFile(const BindFile& file);

/* Reads what writeBindFile wrote. Otherwise false with `error` saying where and why. */
bool readBindFile(std::string_view text, BindFile& file, std::string& error);

}  // namespace kelhost

#endif
