/* Backup policy: when the engine backs the database up, and where to. */
#ifndef SQLPI_BACKUP_H
#define SQLPI_BACKUP_H

#include <cstdint>

#include "sqlpiApi.h"
#include "sqlpiPolicyBase.h"

enum sqlpiBackupTarget : int32_t {
    BACKUP_TARGET_DISK = 0,
    BACKUP_TARGET_TAPE = 1,
    BACKUP_TARGET_VLT = 2,    /* storage manager */
    BACKUP_TARGET_XBSA = 3,   /* Backup Services API */
    BACKUP_TARGET_VENDOR = 4, /* a vendor's library */
};

enum sqlpiBackupMode : int32_t { BACKUP_MODE_ONLINE = 0, BACKUP_MODE_OFFLINE = 1, BACKUP_MODE_DEFAULT = 2 };

/* Plain data, owned by the caller. */
struct sqlpiBackupPolicy {
    int32_t numberOfFullBackups; /* back up when fewer full backups are kept; default 1 */
    int32_t timeSinceLastBackup; /* hours since the last backup after which one is due; default 168 */
    int32_t logSpaceConsumed;    /* log consumed since the last backup after which one is due, in pages of 4 KB; default
                                    6400. The description tells 256 times as much and calls it MB */
    int32_t targetType;          /* sqlpiBackupTarget; default disk */
    int32_t mode;                /* sqlpiBackupMode; default BACKUP_MODE_DEFAULT: neither said */
    union {
        char targetLocation[2048]; /* disk, tape: the path; vendor: the library's file name; terminated */
        uint32_t numberOfSessions; /* VLT, XBSA */
    };
    char libOptions[2048]; /* vendor: options handed to the library, terminated */
};

/* Fills `policy` from the stored backup policy; what it does not say stays at the defaults, the location at the
 * engine's default backup path. A null record is not filled. Threads: any number at once; needs an engine context on
 * the thread. */
SQLPI_ENTRY void sqlpiGetBackup(sqlpiBackupPolicy* policy) noexcept;

/* Extracts from a policy-language document of `length` bytes into a record that the caller has preset; what the
 * document does not say is left as it is; a null record is not filled. Threads: any number at once. */
SQLPI_ENTRY void sqlpiGetBackupPolicy(char* document, int32_t length, sqlpiBackupPolicy* policy) noexcept;

#endif
