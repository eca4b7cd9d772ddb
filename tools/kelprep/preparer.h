/* Prepares a source: takes the embedded SQL out of it, gives each statement its section and puts calls in its place.
 *
 * The grammar. Keywords in any case; names of cursors and statements without regard to case, known in the whole source.
 *   EXEC SQL DECLARE PACKAGE collection.name;               once, before all else
 *   EXEC SQL BEGIN DECLARE SECTION; ... EXEC SQL END DECLARE SECTION;
 *       char name[number];  const char* name;  int32_t name;  sqlaBlob name;  and int16_t name; for null indicators,
 *       each by itself, with or without a value
 *   EXEC SQL DECLARE cursor CURSOR FOR SELECT ...;           (or WITH, VALUES), before the cursor's use
 *   EXEC SQL DECLARE cursor CURSOR FOR statement;            of a prepared statement
 *   EXEC SQL OPEN cursor [USING :v, ...];                    USING for a prepared statement only
 *   EXEC SQL FETCH cursor INTO :v, ...;
 *   EXEC SQL CLOSE cursor;
 *   EXEC SQL PREPARE statement FROM :text;
 *   EXEC SQL EXECUTE statement [USING :v, ...];
 *   EXEC SQL INSERT ...; UPDATE, DELETE, MERGE, CALL
 * A host variable is :name, or :name:indicator where the value may be null. A statement has at most 1000 of them.
 *
 * Sections are numbered in the order in which their statements first appear. Every statement that runs leaves its
 * outcome in `ca`, an sqlca that must be in scope. */
#ifndef KELPREP_PREPARER_H
#define KELPREP_PREPARER_H

#include <string>
#include <string_view>
#include <vector>

#include "bindFile.h"
#include "sourceError.h"

namespace kelprep {

struct PreparedSource {
    std::string code{};
    kelhost::BindFile bindFile{};
};

/* `name` is what errors and debuggers call the source. Whatever is wrong is added to `errors`, in the order of the
 * source; the result is of use only when there are none. */
PreparedSource prepareSource(std::string_view source, std::string_view name, std::vector<SourceError>& errors);

}  // namespace kelprep

#endif
