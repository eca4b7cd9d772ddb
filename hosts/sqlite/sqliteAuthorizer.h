/* What a statement may do, as the database itself sees it when it compiles one. Internal.
 *
 * Whatever a text says, and however it says it, the database asks for each thing that the compiled statement would do:
 * what this host's session needs is listed, and all else refused. */
#ifndef KELHOST_SQLITE_AUTHORIZER_H
#define KELHOST_SQLITE_AUTHORIZER_H

namespace kelhost {

/* For whom a statement is compiled. */
enum class Compiling {
    opening,    /* the session itself: files are attached and settings made */
    client,     /* reads and changes rows */
    host,       /* also makes and changes tables, and divides the unit of work */
    rebuilding, /* the host, in the midst of a statement that rebuilds a file */
};

/* SQLITE_OK or SQLITE_DENY for what sqlite3_set_authorizer hands over. */
int authorise(Compiling compiling, int action, const char* first, const char* second) noexcept;

}  // namespace kelhost

#endif
