/* A policy document as it is stored, held for one scope. Internal. */
#ifndef SQLPI_STORED_POLICY_H
#define SQLPI_STORED_POLICY_H

#include "base/sqlpiOwn.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiApplReadPolicyTable.h"

struct sqlpiStoredPolicy {
    /* Reads the row of `key`; `sinceTime` (null: always) as sqlpiGetPolicy takes it. */
    explicit sqlpiStoredPolicy(const sqlpiPolicyKey& key, const int64_t* sinceTime = nullptr) noexcept
        : document(nullptr, sqlpiFreeBlock{"sqlpiApplReadPolicyTable"}) {
        char* bytes = nullptr;
        status = sqlpiGetPolicy(key.med, SQLPI_KEY_KIND, key.decision, SQLPI_KEY_KIND, key.name, SQLPI_KEY_KIND, &bytes,
                                &length, sinceTime);
        document.reset(bytes);
    }

    bool isPresent() const noexcept { return status == 0 && document != nullptr; }

    int32_t status = 0; /* the reader's */
    int32_t length = 0; /* bytes of the document */
    sqlpiBlock document;
};

#endif
