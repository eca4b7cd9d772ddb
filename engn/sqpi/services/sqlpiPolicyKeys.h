/* The keys under which the engine's policies stand in SYSTOOLS.POLICY. */
#ifndef SQLPI_POLICY_KEYS_H
#define SQLPI_POLICY_KEYS_H

struct sqlpiPolicyKey {
    const char* med;
    const char* decision;
    const char* name;
};

inline constexpr sqlpiPolicyKey SQLPI_MAINT_WINDOW_KEY = {"KELCommonMED", "NOP", "CommonPolicy"};
inline constexpr sqlpiPolicyKey SQLPI_BACKUP_KEY = {"KELDatabaseRecoveryMED", "DBBackupDecision", "DBBackupPolicy"};
inline constexpr sqlpiPolicyKey SQLPI_REORG_KEY = {"KELTableMaintenanceMED", "TableReorgDecision", "TableReorgPolicy"};
inline constexpr sqlpiPolicyKey SQLPI_RUNSTATS_KEY = {"KELTableMaintenanceMED", "TableRunstatsDecision",
                                                      "TableRunstatsPolicy"};
inline constexpr sqlpiPolicyKey SQLPI_STATS_PROFILE_KEY = {"KELTableMaintenanceMED", "StatsProfileDecision",
                                                           "StatsProfilePolicy"};

#endif
