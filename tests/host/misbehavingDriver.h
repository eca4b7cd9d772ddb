/* An ODBC driver that is SQLite's, but for what a test tells it to do otherwise. */
#ifndef TESTS_HOST_MISBEHAVING_DRIVER_H
#define TESTS_HOST_MISBEHAVING_DRIVER_H

#include <functional>
#include <string>

namespace hosttest {

/* What is empty changes nothing. */
struct Misbehaviour {
    std::string databaseSystem{}; /* SQLGetInfo of SQL_DBMS_NAME */
    bool tellsNoLength = false;   /* SQLGetData does not say how long a value is */
    std::string refusal{};        /* no connection is made, and the driver says this and the connection string */
    /* Of a statement that is about to run, or to give a row: the SQLSTATE with which it fails and does nothing, or "".
     * For a row "02000": there is none. "?": it fails and does not say why. */
    std::function<std::string(const std::string&)> run{};
    std::function<std::string(const std::string&)> fetch{};
};

}  // namespace hosttest

/* The driver's; found with dlsym. */
extern "C" hosttest::Misbehaviour& misbehaviour();

#endif
