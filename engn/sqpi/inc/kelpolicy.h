/* All that the library gives to an engine. What the engine gives to the library stands in the platform's headers. */
#ifndef KELPOLICY_H
#define KELPOLICY_H

#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiFormat.h"
#include "sqlpiMaintWin.h"
#include "sqlpiPolicyBase.h"
#include "sqlpiPolicyCommonParser.h"
#include "sqlpiPolicyConfig.h"
#include "sqlpiPolicySchemas.h"
#include "sqlpiPolicySp.h"
#include "sqlpiStatsProf.h"
#include "sqlpiStatsProfAppl.h"

#endif
