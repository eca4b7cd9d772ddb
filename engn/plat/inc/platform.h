/* All that an engine brings: every contract of this directory. */
#ifndef PLAT_PLATFORM_H
#define PLAT_PLATFORM_H

#include "callLevel.h"
#include "clock.h"
#include "embeddedSql.h"
#include "engineState.h"
#include "files.h"
#include "logs.h"
#include "memoryPool.h"
#include "messages.h"
#include "routines.h"
#include "sqlca.h"
#include "trace.h"

#endif
