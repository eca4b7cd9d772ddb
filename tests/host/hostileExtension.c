/* What a statement would load: an extension of SQLite that does nothing but be loaded. */
int sqlite3_hostileextension_init(void* database, char** message, const void* routines) {
    (void)database;
    (void)message;
    (void)routines;
    return 0;
}
