/* The schemas of configuration documents, one constant text for each kind. Nothing is ever read from a file. */
#ifndef SQLPI_POLICY_SCHEMAS_H
#define SQLPI_POLICY_SCHEMAS_H

#include <cstddef>

#include "sqlpiApi.h"

/* Terminated; the lengths do not count the terminator. */
extern SQLPI_VISIBLE const char SQLPI_MWP_V1[]; /* maintenance windows */
extern SQLPI_VISIBLE const size_t SQLPI_MWP_V1_LENGTH;
extern SQLPI_VISIBLE const char SQLPI_AUTO_BACKUP_V1[];
extern SQLPI_VISIBLE const size_t SQLPI_AUTO_BACKUP_V1_LENGTH;
extern SQLPI_VISIBLE const char SQLPI_AUTO_REORG_V1[];
extern SQLPI_VISIBLE const size_t SQLPI_AUTO_REORG_V1_LENGTH;
extern SQLPI_VISIBLE const char SQLPI_AUTO_RUNSTATS_V1[];
extern SQLPI_VISIBLE const size_t SQLPI_AUTO_RUNSTATS_V1_LENGTH;

#endif
