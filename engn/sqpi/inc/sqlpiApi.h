/* How the library's entries are declared: C linkage, visible outside the shared object, no exception crosses them. */
#ifndef SQLPI_API_H
#define SQLPI_API_H

#define SQLPI_VISIBLE __attribute__((visibility("default")))
#define SQLPI_ENTRY extern "C" SQLPI_VISIBLE

#endif
