/* Policies out of an element tree that is there already; a null tree: nothing happens. Internal. */
#ifndef SQLPI_PARSED_TREE_H
#define SQLPI_PARSED_TREE_H

#include "sqlpiBackup.h"
#include "sqlpiPolicyBase.h"
#include "sqlpiStatsProf.h"

/* As sqlpiGetBackupPolicy, sqlpiGetReorgPolicy and sqlpiGetStatsProfilePolicy. They clear the root's parent link and
 * move the tree's search cursors. */
void sqlpiGetBackupFromParsedTree(SQLPIPolicyElement* root, sqlpiBackupPolicy* policy) noexcept;
void sqlpiGetReorgFromParsedTree(SQLPIPolicyElement* root, sqlpiReorgPolicy* policy) noexcept;
void sqlpiGetStatsProfileFromParsedTree(SQLPIPolicyElement* root, sqlpiStatsProfPolicy* policy) noexcept;

/* As sqlpiGetAtmSensors. Searches from where the tree's cursors stand, and moves them. */
void sqlpiGetAtmSensorsParsed(SQLPIPolicyElement* root, sqlpiAtmSensors* sensors) noexcept;

#endif
