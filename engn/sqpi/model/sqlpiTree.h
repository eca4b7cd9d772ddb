/* An element tree that is given back at the end of the scope. Internal. */
#ifndef SQLPI_TREE_H
#define SQLPI_TREE_H

#include <memory>

#include "sqlpiPolicyBase.h"

using sqlpiTree = std::unique_ptr<SQLPIPolicyElement>;

#endif
